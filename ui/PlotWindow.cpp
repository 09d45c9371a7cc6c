#include "ui/PlotWindow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QPainter>
#include <QScrollBar>
#include <QSplitter>
#include <QVBoxLayout>
#include <atomic>
#include <cmath>
#include <exception>
#include <thread>

#include "host/InputError.h"
#include "ui/EditCommand.h"
#include "ui/QtText.h"

namespace loom {

namespace {

// ORDER: the strips take these colours in turn.
const QColor kColours[] = {QColor(31, 119, 180),  QColor(214, 39, 40),  QColor(44, 160, 44),
                           QColor(148, 103, 189), QColor(255, 127, 14), QColor(23, 190, 207)};

QString Compact(double value) {
  return QString::number(value, 'g', 4);
}

}  // namespace

TPlotView::TPlotView(const TPlotStore& store, QWidget* parent) : QWidget(parent), store_(store) {
  setMinimumSize(480, 240);
  setAttribute(Qt::WA_OpaquePaintEvent);
}

void TPlotView::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.fillRect(rect(), Qt::white);
  const std::vector<TPlotSeries> series = store_.Snapshot();
  if (series.empty()) {
    painter.drawText(rect(), Qt::AlignCenter, "Waiting for data...");
    return;
  }
  const double bin = store_.BinSeconds();
  const double end = store_.LatestTime();
  const double start = end - WindowSeconds;
  const int labelWidth = 200;
  const double plotWidth = std::max(1, width() - labelWidth - 8);
  const double stripHeight = static_cast<double>(height()) / static_cast<double>(series.size());
  const QFontMetrics metrics(painter.font());
  for (std::size_t s = 0; s < series.size(); ++s) {
    const TPlotSeries& one = series[s];
    const double top = stripHeight * static_cast<double>(s);
    const QRectF strip(labelWidth, top + 4, plotWidth, stripHeight - 8);
    double low = INFINITY, high = -INFINITY;
    for (const TPlotBin& b : one.Bins)
      if (static_cast<double>(b.Index) * bin >= start) {
        low = std::min(low, b.Min);
        high = std::max(high, b.Max);
      }
    painter.setPen(QColor(220, 220, 220));
    painter.drawLine(QPointF(0, top), QPointF(width(), top));
    painter.setPen(Qt::black);
    painter.drawText(QRectF(4, top + 2, labelWidth - 8, metrics.height()), Qt::AlignLeft,
                     metrics.elidedText(ToQ(one.Name), Qt::ElideMiddle, labelWidth - 8));
    painter.setPen(Qt::darkGray);
    painter.drawText(QRectF(4, top + 2 + metrics.height(), labelWidth - 8, metrics.height()),
                     Qt::AlignLeft,
                     std::isfinite(low) ? Compact(low) + " .. " + Compact(high) : QString("-"));
    if (!std::isfinite(low)) continue;
    const double span = high > low ? high - low : 1;
    const auto y = [&](double v) { return strip.bottom() - (v - low) / span * strip.height(); };
    QVector<QLineF> lines;
    lines.reserve(static_cast<qsizetype>(one.Bins.size()) * 2);
    QPointF previous;
    bool first = true;
    for (const TPlotBin& b : one.Bins) {
      const double t = static_cast<double>(b.Index) * bin;
      if (t < start) continue;
      const double x = strip.left() + (t - start) / WindowSeconds * plotWidth;
      lines.append(QLineF(x, y(b.Min), x, y(b.Max)));  // the bin's range
      const QPointF middle(x, y((b.Min + b.Max) / 2));
      if (!first) lines.append(QLineF(previous, middle));
      previous = middle;
      first = false;
    }
    painter.setPen(QPen(kColours[s % std::size(kColours)], 1));
    painter.drawLines(lines);
  }
  painter.setPen(Qt::darkGray);
  painter.drawText(QRectF(labelWidth, height() - metrics.height() - 2, plotWidth, metrics.height()),
                   Qt::AlignRight, QString("t = %1 s").arg(end, 0, 'f', 3));
}

TPlotWindow::TPlotWindow(const QString& title, TPlotStore& store, QWidget* parent)
    : QWidget(parent), store_(store) {
  setWindowTitle(title);
  view_ = new TPlotView(store);
  events_ = new QPlainTextEdit;
  events_->setReadOnly(true);
  events_->setLineWrapMode(QPlainTextEdit::NoWrap);
  events_->setMaximumBlockCount(10000);  // the log beside the plot keeps the newest lines
  events_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  status_ = new QLabel("Running...");
  auto* splitter = new QSplitter;
  splitter->addWidget(view_);
  splitter->addWidget(events_);
  splitter->setStretchFactor(0, 2);
  splitter->setStretchFactor(1, 1);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(splitter, 1);
  layout->addWidget(status_);
  resize(1100, 620);
  splitter->setSizes({720, 380});
  connect(&timer_, &QTimer::timeout, this, &TPlotWindow::Refresh);
  timer_.start(33);
}

void TPlotWindow::Refresh() {
  const std::vector<std::string> lines = store_.TakeEvents();
  for (const std::string& line : lines) events_->appendPlainText(ToQ(line));
  if (!lines.empty()) {  // the newest line in view, from its start (the time)
    events_->moveCursor(QTextCursor::End);
    events_->moveCursor(QTextCursor::StartOfBlock);
    events_->horizontalScrollBar()->setValue(0);
  }
  view_->update();
}

std::string PlotEventLine(const THostEvent& event) {
  char time[32];
  std::snprintf(time, sizeof time, "%.3f", event.Time);
  return std::string(time) + "  " + event.Panel + "  " + event.Name +
         (event.Text.empty() ? "" : ": " + event.Text);
}

TRunReport RunWithPlot(const std::string& title, TRunOptions& options,
                       const std::function<TRunReport()>& run) {
  if (const std::string problem = DisplayProblem(); !problem.empty())
    throw EInputError("--plot: " + problem);
  static int argc = 1;
  static char name[] = "loom";
  static char* argv[] = {name, nullptr};
  QApplication application(argc, argv);
  TPlotStore store;
  options.OnRows = [&store](const TRunRows& rows) {
    store.Append(rows.Producer, rows.FromPanel, rows.Names, rows.Columns, rows.Times);
  };
  options.OnEvent = [&store](const THostEvent& event) { store.AppendEvent(PlotEventLine(event)); };
  TPlotWindow window(ToQ("loom run " + title), store);
  window.show();

  TRunReport report;
  std::exception_ptr failure;
  std::atomic<bool> done{false};
  std::thread runner([&] {
    try {
      report = run();
    } catch (...) {
      failure = std::current_exception();
    }
    done = true;
    // Back on the GUI thread: a failed run closes the window, a finished one says so.
    QMetaObject::invokeMethod(&window, [&] {
      if (failure) return window.close();
      window.Refresh();
      window.SetStatus(
          QString("Finished: %1 samples. Close the window to end.").arg(store.SamplesSeen()));
      return true;
    });
  });
  application.exec();
  if (!done) RequestHostInterrupt();  // the window was closed while the run went on
  runner.join();
  if (failure) std::rethrow_exception(failure);
  return report;
}

}  // namespace loom
