// The live plot of `loom run --plot`: every input and output channel of the worksheet as a strip
// over the last seconds of data, drawn with QPainter from the binned store, and the event log
// beside it.
#pragma once

#include <QLabel>
#include <QPlainTextEdit>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <string>

#include "host/ReferenceHost.h"
#include "ui/core/PlotStore.h"

namespace loom {

// The strips: one per channel, the newest data at the right edge.
class TPlotView : public QWidget {
 public:
  TPlotView(const TPlotStore& store, QWidget* parent = nullptr);
  double WindowSeconds = 10;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  const TPlotStore& store_;
};

class TPlotWindow : public QWidget {
 public:
  TPlotWindow(const QString& title, TPlotStore& store, QWidget* parent = nullptr);
  // Takes the events and repaints; the window's timer calls it about 30 times a second.
  void Refresh();
  void SetStatus(const QString& text) { status_->setText(text); }
  TPlotView* View() const { return view_; }
  QPlainTextEdit* Events() const { return events_; }

 private:
  TPlotStore& store_;
  TPlotView* view_;
  QPlainTextEdit* events_;
  QLabel* status_;
  QTimer timer_;
};

// The event as one line of the log beside the plot.
std::string PlotEventLine(const THostEvent& event);

// Runs run (which builds and runs the host with options) on a thread of its own while the plot
// window shows its channels and events; options gets the taps first. The window stays open
// after the run until the user closes it; closing it earlier stops the run as Ctrl-C does.
// Returns run's report; an exception of run reaches the caller.
TRunReport RunWithPlot(const std::string& title, TRunOptions& options,
                       const std::function<TRunReport()>& run);

}  // namespace loom
