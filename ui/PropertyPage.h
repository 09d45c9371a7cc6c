// The property page of one formula panel: its scripts, options, inputs, outputs, serial port and
// user events. It edits a copy of the panel's settings; Settings() gives them back as the page
// shows them, for the same writer that the panel's settings file is written with.
#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <functional>
#include <memory>

#include "functions/Registry.h"
#include "panel/PanelSettings.h"
#include "ui/ScriptEdit.h"

namespace loom {

class TSerialPage;
class TFormMatlabExperimentWindow;

class TPropertyPageFormulaPanel : public QDialog {
 public:
  // macroFile: the macro file the macros dialog works on.
  TPropertyPageFormulaPanel(const TPanelSettings& settings, std::string macroFile,
                            QWidget* parent = nullptr);
  ~TPropertyPageFormulaPanel() override;

  // The settings as the page shows them.
  TPanelSettings Settings();

  // Validate: the report of the scripts in a fresh evaluator, shown in "Validation result".
  void BValidateClick();
  // The larger editor on the script that had the focus last.
  void BEditorClick();
  void BMacrosClick();
  void BMatlabWindowClick();
  // The first number cell of the tables that holds no number, as a message; "" when none.
  std::string NumberProblem() const;
  // The close check: a cell without its number keeps the page open; when a script fails, asks
  // whether to close anyway. True to close.
  bool CloseCheck();
  void accept() override;

  // How the page shows a modal dialog; tests look at the dialog and answer in the user's place.
  std::function<int(QDialog&)> ExecDialog = [](QDialog& dialog) { return dialog.exec(); };

  TScriptEdit *MInitialization, *MFormula, *MExit;
  QLabel* LHelp;
  QPushButton *BValidate, *BEditor, *BMacros, *BMatlabWindow;
  QTabWidget* Pages;
  // Options.
  QCheckBox *CBImmediateEvaluation, *CBBooleanResult, *CBUseFixedDt, *CBOnlyBooleanChanges,
      *CBEvaluateImmediately, *CBEvaluateAsynchronously, *CBLimitExecutionInterval;
  QDoubleSpinBox* SEDt;
  QSpinBox* SETimer;
  // Inputs: data channels (origin, variable) and control inputs (variable).
  QTableWidget *TChannels, *TControls;
  QPushButton *BAddChannel, *BAddControl, *BDeleteInputs;
  // Outputs: variable, name, unit, min, max, colour.
  QTableWidget* TOutputs;
  QPushButton *BAddOutput, *BDeleteOutput;
  TSerialPage* SerialPage;
  // User events: ID, user name, internal name, type, then a use and a description column per
  // argument.
  QTableWidget* TUserEvents;
  QPushButton *BAddUserEvent, *BDeleteUserEvent;
  TFormMatlabExperimentWindow* MatlabWindow() const { return matlabWindow_; }

 private:
  QWidget* FormulaPage();
  QWidget* OptionsPage(const TPanelSettings& s);
  QWidget* InputsPage(const TPanelSettings& s);
  QWidget* OutputsPage(const TPanelSettings& s);
  QWidget* UserEventsPage(const TPanelSettings& s);
  void DeleteSelectedInputs();
  void ShowHelp(const std::string& word);
  // The channel variables of the inputs page, for the name lists.
  std::vector<std::string> ChannelVariableNames() const;

  TVXExpressionEvaluator words_;  // the registry's texts for lists and context help
  TPanelSettings original_;
  std::string macroFile_;
  TNameLists* lists_;
  TScriptEdit* lastScript_;
  TFormMatlabExperimentWindow* matlabWindow_ = nullptr;
  bool cleaning_ = false;  // a cell is being rewritten to the character rule
};

}  // namespace loom
