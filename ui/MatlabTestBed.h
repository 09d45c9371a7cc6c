// The engine test bed: a window in which the user tries engine commands before putting them into
// a formula, and copies them to the clipboard as formula text.
#pragma once

#include <QDialog>
#include <QPlainTextEdit>
#include <QPushButton>
#include <functional>
#include <string>
#include <vector>

namespace loom {

// "Matlab test bed warning": asks whether commands with flow control become one command.
class TFormMatlabTestbedWarning : public QDialog {
 public:
  explicit TFormMatlabTestbedWarning(QWidget* parent = nullptr);
  QPlainTextEdit* Memo;
  QPushButton *BYes, *BNo;
};

// "Matlab test bed": commands above, the engine's answers below.
class TFormMatlabExperimentWindow : public QDialog {
 public:
  explicit TFormMatlabExperimentWindow(QWidget* parent = nullptr);

  // Sends the whole of MCommands as one command and appends the answer to MResults.
  void BExecuteClick();
  // Puts the chosen lines of MCommands on the clipboard as formula text; selectionOnly takes
  // the lines that the selection touches.
  void CopyToClipboard(bool selectionOnly);

  QPlainTextEdit *MCommands, *MResults;
  QPushButton *BExecute, *BClearResult, *Button1, *Button2, *Button3;

  // How the window asks the warning dialog (tests answer in its place); returns the dialog's
  // result, QDialog::Accepted for Yes.
  std::function<int(TFormMatlabTestbedWarning&)> AskWarning;
  // How a command reaches the engine (the process-wide bridge unless replaced).
  std::function<std::string(const std::string&)> Execute;
};

}  // namespace loom
