// The smaller dialogs of the property page: the validation report, the larger script editor and
// the macros dialog.
#pragma once

#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <string>
#include <vector>

#include "ui/ScriptEdit.h"
#include "ui/core/MacroFile.h"

namespace loom {

// "Validation result": the report, read only, closed with its button.
class TFFormulaCheckResults : public QDialog {
 public:
  TFFormulaCheckResults(const std::vector<std::string>& lines, QWidget* parent = nullptr);
  QPlainTextEdit* Report() const { return report_; }

 private:
  QPlainTextEdit* report_;
};

// The larger editor window of one script, with the name lists beside it.
class TFEditor : public QDialog {
 public:
  TFEditor(const QString& title, const QString& text, const TVXExpressionEvaluator& words,
           const std::vector<std::string>& inputChannels, QWidget* parent = nullptr);
  TScriptEdit* Editor() const { return editor_; }

 private:
  TScriptEdit* editor_;
};

// "Edit macros": lists the macros of the macro file, shows the chosen one and creates new ones.
// Accepting the dialog ("Insert") hands the shown scripts to the caller.
class TUFFEditMacro : public QDialog {
 public:
  TUFFEditMacro(TMacroFile file, QWidget* parent = nullptr);
  // Fills CBMacros with the file's macro names; a file that cannot be read is reported.
  void FillMacros();
  // Shows macro name in the two editors.
  void ReadMacro(const QString& name);
  // Writes the two editors as macro name unless the file has one of that name already.
  void CreateMacro(const QString& name);

  QComboBox* CBMacros;
  QPlainTextEdit* MInitialization;
  QPlainTextEdit* MFormula;
  QLineEdit* ENewMacro;
  QPushButton* BCreate;

  // What the dialog last reported (a file problem, or that a macro was created or kept).
  QString Status() const;

 private:
  void Report(const QString& text);
  TMacroFile file_;
  QLabel* status_;
};

}  // namespace loom
