#include "ui/MatlabTestBed.h"

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QScrollBar>
#include <QTextBlock>
#include <QVBoxLayout>

#include "matlab/MatlabInterface.h"
#include "ui/QtText.h"
#include "ui/core/MatlabClipboard.h"

namespace loom {

namespace {

constexpr const char* kClipboardHint =
    "You may insert the clipboard content into the formula editor using <ctrl> + v or the "
    "context menu of the editor";

// ORDER: one memo line each, as the dialog shows them.
constexpr const char* kWarningLines[] = {
    "Your selection seems to contain a matlab loop or flow control keyword",
    "like 'for', 'while', 'if', 'switch' or 'continue'.",
    "These control structures must be passed to matlab in a single line.",
    "",
    "If you do not convert the command lines to a single command line, ",
    "your program might not work correctly.",
    "The command lines can automatically be converted to a single line",
    "if the 'Yes' button is pressed."};

QPlainTextEdit* Memo() {
  auto* memo = new QPlainTextEdit;
  memo->setLineWrapMode(QPlainTextEdit::NoWrap);
  memo->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  memo->setTabChangesFocus(true);
  return memo;
}

}  // namespace

TFormMatlabTestbedWarning::TFormMatlabTestbedWarning(QWidget* parent) : QDialog(parent) {
  setWindowTitle("Matlab test bed warning");
  Memo = new QPlainTextEdit;
  Memo->setReadOnly(true);
  std::vector<std::string> lines(std::begin(kWarningLines), std::end(kWarningLines));
  Memo->setPlainText(EditorText(lines));
  BYes = new QPushButton("&Yes, convert to single command");
  BNo = new QPushButton("&No, use separat commmands");
  BYes->setDefault(true);
  connect(BYes, &QPushButton::clicked, this, &QDialog::accept);
  connect(BNo, &QPushButton::clicked, this, &QDialog::reject);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(BYes);
  buttons->addWidget(BNo);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(Memo);
  layout->addLayout(buttons);
  const QFontMetrics metrics(Memo->font());
  resize(metrics.horizontalAdvance(kWarningLines[0]) + 80, metrics.height() * 12 + 60);
}

TFormMatlabExperimentWindow::TFormMatlabExperimentWindow(QWidget* parent) : QDialog(parent) {
  setWindowTitle("Matlab test bed");
  setWindowFlag(Qt::WindowStaysOnTopHint);
  MCommands = Memo();
  MResults = Memo();
  MResults->setReadOnly(true);
  BExecute = new QPushButton("&Execute");
  BExecute->setToolTip("Press this button to send all commands that you entered to Matlab");
  BExecute->setShortcut(QKeySequence("Ctrl+Return"));
  BClearResult = new QPushButton("C&lear results");
  Button1 = new QPushButton("Ok");
  Button2 = new QPushButton("Copy &selection to clipboard");
  Button3 = new QPushButton("Copy &all to clipboard");
  for (QPushButton* button : {Button1, Button2, Button3}) button->setToolTip(kClipboardHint);

  auto* commands = new QGroupBox("Matlab commands");
  auto* commandsLayout = new QVBoxLayout(commands);
  commandsLayout->addWidget(MCommands);
  auto* results = new QGroupBox("Results");
  auto* resultsLayout = new QVBoxLayout(results);
  resultsLayout->addWidget(MResults);
  auto* buttons = new QHBoxLayout;
  for (QPushButton* button : {BExecute, BClearResult}) buttons->addWidget(button);
  buttons->addStretch();
  for (QPushButton* button : {Button2, Button3, Button1}) buttons->addWidget(button);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(commands, 1);
  layout->addWidget(results, 1);
  layout->addLayout(buttons);
  resize(760, 560);

  AskWarning = [](TFormMatlabTestbedWarning& dialog) { return dialog.exec(); };
  Execute = [](const std::string& command) { return MLExecuteCommand(command); };
  connect(BExecute, &QPushButton::clicked, this, &TFormMatlabExperimentWindow::BExecuteClick);
  connect(BClearResult, &QPushButton::clicked, MResults, &QPlainTextEdit::clear);
  connect(Button1, &QPushButton::clicked, this, [this] {
    setResult(QDialog::Accepted);
    hide();
  });
  connect(Button2, &QPushButton::clicked, this, [this] { CopyToClipboard(true); });
  connect(Button3, &QPushButton::clicked, this, [this] { CopyToClipboard(false); });
}

void TFormMatlabExperimentWindow::BExecuteClick() {
  QString answer;
  QApplication::setOverrideCursor(Qt::WaitCursor);
  try {
    answer = ToQ(Execute(FromQ(MCommands->toPlainText())));
  } catch (const std::exception& error) {
    answer = QString("The engine failed: ") + error.what();
  }
  QApplication::restoreOverrideCursor();
  for (const std::string& line : SplitLines(FromQ(answer))) MResults->appendPlainText(ToQ(line));
  MResults->verticalScrollBar()->setValue(MResults->verticalScrollBar()->maximum());
}

void TFormMatlabExperimentWindow::CopyToClipboard(bool selectionOnly) {
  std::vector<std::string> lines = EditorLines(MCommands->toPlainText());
  if (selectionOnly) {
    const QTextCursor cursor = MCommands->textCursor();
    if (!cursor.hasSelection()) return;
    const QTextDocument* document = MCommands->document();
    const int first = document->findBlock(cursor.selectionStart()).blockNumber();
    const int last = document->findBlock(cursor.selectionEnd()).blockNumber();
    lines.assign(lines.begin() + std::min<std::size_t>(first, lines.size()),
                 lines.begin() + std::min<std::size_t>(last + 1, lines.size()));
  }
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  bool single = false;
  if (ContainsMatlabFlowKeyword(text)) {
    TFormMatlabTestbedWarning warning(this);
    single = AskWarning(warning) == QDialog::Accepted;
  }
  const TClipboardFormula formula = MatlabLinesToFormula(lines, single);
  if (!formula.Error.empty()) {
    QMessageBox::warning(this, "Matlab test bed", ToQ(formula.Error));
    return;
  }
  QApplication::clipboard()->setText(ToQ(formula.Text));
}

}  // namespace loom
