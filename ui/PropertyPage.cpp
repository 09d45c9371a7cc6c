#include "ui/PropertyPage.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QMessageBox>
#include <QShortcut>
#include <QSplitter>
#include <QVBoxLayout>

#include "panel/Validation.h"
#include "ui/Dialogs.h"
#include "ui/MatlabTestBed.h"
#include "ui/QtText.h"
#include "ui/SerialPage.h"
#include "ui/core/ChannelNames.h"
#include "ui/core/ContextHelp.h"

namespace loom {

namespace {

const char* const kArgumentNames[TKQWLUserEvent::kArguments] = {
    "IData1", "IData2",     "DData1",     "DData2",   "DData3",
    "DData4", "Parameter1", "Parameter2", "Tolerance"};
constexpr int kEventFixedColumns = 4;  // ID, user name, internal name, type

QTableWidget* Table(const QStringList& headers) {
  auto* table = new QTableWidget(0, static_cast<int>(headers.size()));
  table->setHorizontalHeaderLabels(headers);
  table->horizontalHeader()->setStretchLastSection(true);
  table->verticalHeader()->setVisible(false);
  table->setSelectionBehavior(QAbstractItemView::SelectRows);
  table->setTabKeyNavigation(false);  // Tab leaves the table, arrows move inside
  return table;
}

void AddRow(QTableWidget* table, const QStringList& cells) {
  const int row = table->rowCount();
  table->insertRow(row);
  for (int column = 0; column < cells.size(); ++column)
    table->setItem(row, column, new QTableWidgetItem(cells[column]));
}

void AddCheckCell(QTableWidget* table, int row, int column, bool checked) {
  auto* item = new QTableWidgetItem;
  item->setFlags(Qt::ItemIsUserCheckable | Qt::ItemIsEnabled | Qt::ItemIsSelectable);
  item->setCheckState(checked ? Qt::Checked : Qt::Unchecked);
  table->setItem(row, column, item);
}

std::string Cell(const QTableWidget* table, int row, int column) {
  const QTableWidgetItem* item = table->item(row, column);
  return item != nullptr ? FromQ(item->text()) : std::string();
}

double NumberCell(const QTableWidget* table, int row, int column) {
  return QString::fromStdString(Cell(table, row, column)).toDouble();
}

QString Number(double value) {
  return QString::number(value, 'g', 15);
}

// The script editor's lines into the expression list.
void Append(std::vector<std::string>& expressions, const TScriptEdit* editor) {
  for (std::string& line : EditorLines(editor->toPlainText())) expressions.push_back(line);
}

std::vector<std::string> Slice(const std::vector<std::string>& lines, int first, int end) {
  first = std::clamp(first, 0, static_cast<int>(lines.size()));
  end = std::clamp(end, first, static_cast<int>(lines.size()));
  return {lines.begin() + first, lines.begin() + end};
}

// The first error of a report: the line after "Expression is invalid, reason is: ".
std::string FirstError(const TValidationReport& report) {
  for (std::size_t i = 0; i + 1 < report.Lines.size(); ++i)
    if (report.Lines[i] == "Expression is invalid, reason is: ") return report.Lines[i + 1];
  return {};
}

}  // namespace

TPropertyPageFormulaPanel::TPropertyPageFormulaPanel(const TPanelSettings& settings,
                                                     std::string macroFile, QWidget* parent)
    : QDialog(parent), original_(settings), macroFile_(std::move(macroFile)) {
  setWindowTitle("Loom panel properties");
  Pages = new QTabWidget;
  Pages->addTab(FormulaPage(), "&Formulas");
  Pages->addTab(OptionsPage(settings), "O&ptions");
  Pages->addTab(InputsPage(settings), "I&nputs");
  Pages->addTab(OutputsPage(settings), "Ou&tputs");
  SerialPage = new TSerialPage(settings.Serial);
  Pages->addTab(SerialPage, "&Serial port");
  Pages->addTab(UserEventsPage(settings), "User &events");

  const int count = static_cast<int>(settings.Expressions.size());
  const int exitStart = std::clamp(settings.ExitStartIndex, 0, count);
  const int initEnd = std::clamp(settings.InitializationEndIndex, 0, exitStart);
  MInitialization->setPlainText(EditorText(Slice(settings.Expressions, 0, initEnd)));
  MFormula->setPlainText(EditorText(Slice(settings.Expressions, initEnd, exitStart)));
  MExit->setPlainText(EditorText(Slice(settings.Expressions, exitStart, count)));
  lists_->SetInputChannels(ChannelVariableNames());
  // Columns as wide as their headers and texts, so that nothing shows cut at the default font.
  for (QTableWidget* table : {TChannels, TControls, TOutputs, TUserEvents}) {
    table->resizeColumnsToContents();
    table->horizontalHeader()->setMinimumSectionSize(60);
  }

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  buttons->button(QDialogButtonBox::Ok)->setToolTip("Save the settings (Ctrl+Return)");
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  // Ctrl+Return saves from anywhere, also from inside a script editor.
  auto* ok = new QShortcut(QKeySequence("Ctrl+Return"), this);
  connect(ok, &QShortcut::activated, this, &QDialog::accept);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(Pages, 1);
  layout->addWidget(buttons);
  resize(980, 680);
}

TPropertyPageFormulaPanel::~TPropertyPageFormulaPanel() = default;

QWidget* TPropertyPageFormulaPanel::FormulaPage() {
  auto* page = new QWidget;
  MInitialization = new TScriptEdit;
  MFormula = new TScriptEdit;
  MExit = new TScriptEdit;
  lastScript_ = MFormula;
  auto* scripts = new QSplitter(Qt::Vertical);
  for (auto [editor, caption] : {std::pair{MInitialization, "&Initialization:"},
                                 std::pair{MFormula, "Fo&rmula:"}, std::pair{MExit, "E&xit:"}}) {
    auto* box = new QWidget;
    auto* boxLayout = new QVBoxLayout(box);
    boxLayout->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel(caption);
    label->setBuddy(editor);
    boxLayout->addWidget(label);
    boxLayout->addWidget(editor);
    scripts->addWidget(box);
    editor->OnContextHelp = [this, editor = editor](const std::string& word) {
      lastScript_ = editor;
      ShowHelp(word);
    };
  }
  scripts->setStretchFactor(1, 2);
  lists_ = new TNameLists(words_);
  auto* splitter = new QSplitter;
  splitter->addWidget(scripts);
  splitter->addWidget(lists_);
  splitter->setStretchFactor(0, 3);
  splitter->setStretchFactor(1, 1);
  LHelp = new QLabel;
  LHelp->setWordWrap(true);
  LHelp->setMinimumHeight(LHelp->fontMetrics().height() * 2);
  LHelp->setTextInteractionFlags(Qt::TextSelectableByMouse);

  BValidate = new QPushButton("&Validate");
  BValidate->setToolTip("Check the scripts in a fresh evaluator (F9)");
  BEditor = new QPushButton("E&ditor...");
  BMacros = new QPushButton("&Macros...");
  BMatlabWindow = new QPushButton("Matlab test &bed...");
  auto* validate = new QShortcut(QKeySequence(Qt::Key_F9), this);
  connect(validate, &QShortcut::activated, this, &TPropertyPageFormulaPanel::BValidateClick);
  connect(BValidate, &QPushButton::clicked, this, &TPropertyPageFormulaPanel::BValidateClick);
  connect(BEditor, &QPushButton::clicked, this, &TPropertyPageFormulaPanel::BEditorClick);
  connect(BMacros, &QPushButton::clicked, this, &TPropertyPageFormulaPanel::BMacrosClick);
  connect(BMatlabWindow, &QPushButton::clicked, this,
          &TPropertyPageFormulaPanel::BMatlabWindowClick);
  auto* buttons = new QHBoxLayout;
  for (QPushButton* button : {BValidate, BEditor, BMacros, BMatlabWindow})
    buttons->addWidget(button);
  buttons->addStretch();
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(splitter, 1);
  layout->addWidget(LHelp);
  layout->addLayout(buttons);
  return page;
}

QWidget* TPropertyPageFormulaPanel::OptionsPage(const TPanelSettings& s) {
  auto* page = new QWidget;
  const auto box = [](const char* text, bool checked) {
    auto* check = new QCheckBox(text);
    check->setChecked(checked);
    return check;
  };
  CBImmediateEvaluation =
      box("Evaluate on e&very execute call of the host (new data)", s.ImmediateEvaluation);
  CBBooleanResult =
      box("&Boolean result (drive the control channels with true/false)", s.BooleanResult);
  CBOnlyBooleanChanges =
      box("In boolean mode drive the controls &only on changes", s.OnlyBooleanChanges);
  CBEvaluateImmediately =
      box("Run the cycle &inside the execute call (not posted)", s.EvaluateImmediately);
  CBEvaluateAsynchronously =
      box("Evaluate on the panel's own thread (&asynchronously)", s.evaluateAsynchronously);
  CBUseFixedDt = box("Use fixed &dt", s.UseFixedDt);
  SEDt = new QDoubleSpinBox;
  SEDt->setDecimals(6);
  SEDt->setRange(0, 1e9);
  SEDt->setSuffix(" s");
  SEDt->setValue(s.Dt);
  CBLimitExecutionInterval = box("&Limit the execution interval", s.limitExecutionInterval);
  SETimer = new QSpinBox;
  SETimer->setRange(1, 86400000);
  SETimer->setSuffix(" ms");
  SETimer->setValue(s.limitExecutionIntervalTimer);
  auto* form = new QFormLayout(page);
  for (QCheckBox* check : {CBImmediateEvaluation, CBBooleanResult, CBOnlyBooleanChanges,
                           CBEvaluateImmediately, CBEvaluateAsynchronously})
    form->addRow(check);
  form->addRow(CBUseFixedDt, SEDt);
  form->addRow(CBLimitExecutionInterval, SETimer);
  return page;
}

QWidget* TPropertyPageFormulaPanel::InputsPage(const TPanelSettings& s) {
  auto* page = new QWidget;
  TChannels = Table({"Data channel (SOURCE.CHANNEL)", "Variable"});
  TControls = Table({"Control input variable"});
  // The variable that each channel feeds, as the panel maps it; the rest are control inputs.
  std::vector<std::string> fed;
  for (std::size_t k = 0; k < s.ChannelOrigins.size(); ++k) {
    std::string variable = k < s.InputVariables.size() ? s.InputVariables[k] : std::string();
    if (k < s.ChannelVariables.size() && std::find(s.InputVariables.begin(), s.InputVariables.end(),
                                                   s.ChannelVariables[k]) != s.InputVariables.end())
      variable = s.ChannelVariables[k];
    fed.push_back(variable);
    AddRow(TChannels, {ToQ(s.ChannelOrigins[k]), ToQ(variable)});
  }
  for (const std::string& name : s.InputVariables)
    if (std::find(fed.begin(), fed.end(), name) == fed.end()) AddRow(TControls, {ToQ(name)});

  BAddChannel = new QPushButton("Add &channel");
  BAddControl = new QPushButton("Add c&ontrol input");
  BDeleteInputs = new QPushButton("De&lete");
  connect(BAddChannel, &QPushButton::clicked, this, [this] {
    AddRow(TChannels, {"", ""});
    TChannels->setCurrentCell(TChannels->rowCount() - 1, 0);
    TChannels->editItem(TChannels->currentItem());
  });
  connect(BAddControl, &QPushButton::clicked, this, [this] {
    AddRow(TControls, {""});
    TControls->setCurrentCell(TControls->rowCount() - 1, 0);
    TControls->editItem(TControls->currentItem());
  });
  connect(BDeleteInputs, &QPushButton::clicked, this,
          &TPropertyPageFormulaPanel::DeleteSelectedInputs);
  // Names keep to the character rule; a channel without a variable gets its item name.
  connect(TChannels, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
    if (cleaning_) return;
    cleaning_ = true;
    const int row = item->row();
    if (item->column() == 0 && Cell(TChannels, row, 1).empty()) {
      std::string name, group;
      SplitName(FromQ(item->text()), name, group);
      TChannels->setItem(row, 1,
                         new QTableWidgetItem(ToQ(ReplaceSomeCharactersForChannelName(name))));
    }
    if (item->column() == 1)
      item->setText(ToQ(ReplaceSomeCharactersForChannelName(FromQ(item->text()))));
    cleaning_ = false;
    lists_->SetInputChannels(ChannelVariableNames());
  });
  connect(TControls, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
    if (cleaning_) return;
    cleaning_ = true;
    item->setText(ToQ(ReplaceSomeCharactersForChannelName(FromQ(item->text()))));
    cleaning_ = false;
  });
  auto* buttons = new QHBoxLayout;
  for (QPushButton* button : {BAddChannel, BAddControl, BDeleteInputs}) buttons->addWidget(button);
  buttons->addStretch();
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(new QLabel("Data channels and the formula variables they feed:"));
  layout->addWidget(TChannels, 2);
  layout->addWidget(new QLabel("Control inputs (set by other components):"));
  layout->addWidget(TControls, 1);
  layout->addLayout(buttons);
  return page;
}

void TPropertyPageFormulaPanel::DeleteSelectedInputs() {
  QList<int> channels, controls;
  for (const QModelIndex& index : TChannels->selectionModel()->selectedRows())
    channels << index.row();
  for (const QModelIndex& index : TControls->selectionModel()->selectedRows())
    controls << index.row();
  if (channels.isEmpty() && controls.isEmpty()) return;
  QMessageBox ask(QMessageBox::Warning, "Warning",
                  "Do you really want to delete all selected inputs?",
                  QMessageBox::Yes | QMessageBox::No, this);
  ask.setDefaultButton(QMessageBox::No);
  if (ExecDialog(ask) != QMessageBox::Yes) return;
  std::sort(channels.rbegin(), channels.rend());
  std::sort(controls.rbegin(), controls.rend());
  for (int row : channels) TChannels->removeRow(row);
  for (int row : controls) TControls->removeRow(row);
  lists_->SetInputChannels(ChannelVariableNames());
}

QWidget* TPropertyPageFormulaPanel::OutputsPage(const TPanelSettings& s) {
  auto* page = new QWidget;
  TOutputs = Table({"Variable", "Channel name", "Unit", "Min", "Max", "Colour"});
  for (const TOutputChannelDefinition& c : s.OutputChannels)
    AddRow(TOutputs, {ToQ(c.Origin), ToQ(c.Name), ToQ(c.Unit), Number(c.Minimum), Number(c.Maximum),
                      QString::number(c.Color)});
  BAddOutput = new QPushButton("&Add output");
  BDeleteOutput = new QPushButton("&Delete output");
  connect(BAddOutput, &QPushButton::clicked, this, [this] {
    AddRow(TOutputs, {"", "", "", "0", "1", "0"});
    TOutputs->setCurrentCell(TOutputs->rowCount() - 1, 0);
  });
  connect(BDeleteOutput, &QPushButton::clicked, this,
          [this] { TOutputs->removeRow(TOutputs->currentRow()); });
  connect(TOutputs, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
    if (cleaning_ || item->column() > 1) return;
    cleaning_ = true;
    // A new channel is named after its variable until the user names it.
    if (item->column() == 0 && Cell(TOutputs, item->row(), 1).empty())
      TOutputs->setItem(item->row(), 1, new QTableWidgetItem(item->text()));
    if (QTableWidgetItem* name = TOutputs->item(item->row(), 1))
      name->setText(ToQ(ReplaceSomeCharactersForChannelName(FromQ(name->text()))));
    cleaning_ = false;
  });
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(BAddOutput);
  buttons->addWidget(BDeleteOutput);
  buttons->addStretch();
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(new QLabel("Output data channels: the formula variable each one carries:"));
  layout->addWidget(TOutputs, 1);
  layout->addLayout(buttons);
  return page;
}

QWidget* TPropertyPageFormulaPanel::UserEventsPage(const TPanelSettings& s) {
  auto* page = new QWidget;
  QStringList headers{"ID", "User name", "Internal name", "Type"};
  for (const char* argument : kArgumentNames)
    headers << QString("%1").arg(argument) << QString("%1 description").arg(argument);
  TUserEvents = Table(headers);
  TUserEvents->horizontalHeader()->setStretchLastSection(false);
  const auto addEvent = [this](const TKQWLUserEvent& e) {
    AddRow(TUserEvents,
           {QString::number(e.ID), ToQ(e.userName), ToQ(e.internalName), QString::number(e.type)});
    const int row = TUserEvents->rowCount() - 1;
    for (int a = 0; a < TKQWLUserEvent::kArguments; ++a) {
      AddCheckCell(TUserEvents, row, kEventFixedColumns + 2 * a, e.use[a]);
      TUserEvents->setItem(row, kEventFixedColumns + 2 * a + 1,
                           new QTableWidgetItem(ToQ(e.description[a])));
    }
  };
  for (const TKQWLUserEvent& e : s.UserEvents) addEvent(e);
  BAddUserEvent = new QPushButton("&Add event");
  BDeleteUserEvent = new QPushButton("&Delete event");
  connect(BAddUserEvent, &QPushButton::clicked, this, [this, addEvent] {
    TKQWLUserEvent e;
    e.ID = 1000 + TUserEvents->rowCount();
    e.userName = "Event " + std::to_string(TUserEvents->rowCount() + 1);
    addEvent(e);
    TUserEvents->setCurrentCell(TUserEvents->rowCount() - 1, 1);
  });
  connect(BDeleteUserEvent, &QPushButton::clicked, this,
          [this] { TUserEvents->removeRow(TUserEvents->currentRow()); });
  connect(TUserEvents, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
    if (cleaning_ || item->column() != 2) return;
    cleaning_ = true;
    item->setText(ToQ(ReplaceSomeCharactersForChannelName(FromQ(item->text()))));
    cleaning_ = false;
  });
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(BAddUserEvent);
  buttons->addWidget(BDeleteUserEvent);
  buttons->addStretch();
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(new QLabel(
      "Events a formula fires with FireEvent; an empty internal name is made from the user "
      "name (USEREVENT_...)."));
  layout->addWidget(TUserEvents, 1);
  layout->addLayout(buttons);
  return page;
}

std::vector<std::string> TPropertyPageFormulaPanel::ChannelVariableNames() const {
  std::vector<std::string> names;
  for (int row = 0; row < TChannels->rowCount(); ++row)
    if (!Cell(TChannels, row, 1).empty()) names.push_back(Cell(TChannels, row, 1));
  return names;
}

TPanelSettings TPropertyPageFormulaPanel::Settings() {
  TPanelSettings s = original_;
  s.Expressions.clear();
  Append(s.Expressions, MInitialization);
  s.InitializationEndIndex = static_cast<std::int32_t>(s.Expressions.size());
  Append(s.Expressions, MFormula);
  s.ExitStartIndex = static_cast<std::int32_t>(s.Expressions.size());
  Append(s.Expressions, MExit);

  s.ImmediateEvaluation = CBImmediateEvaluation->isChecked();
  s.BooleanResult = CBBooleanResult->isChecked();
  s.UseFixedDt = CBUseFixedDt->isChecked();
  s.Dt = SEDt->value();
  s.OnlyBooleanChanges = CBOnlyBooleanChanges->isChecked();
  s.EvaluateImmediately = CBEvaluateImmediately->isChecked();
  s.evaluateAsynchronously = CBEvaluateAsynchronously->isChecked();
  s.limitExecutionInterval = CBLimitExecutionInterval->isChecked();
  s.limitExecutionIntervalTimer = SETimer->value();

  // Channel variables first, in channel order, so that channel k feeds input slot k.
  s.InputVariables.clear();
  s.ChannelOrigins.clear();
  s.ChannelVariables.clear();
  for (int row = 0; row < TChannels->rowCount(); ++row) {
    s.ChannelOrigins.push_back(Cell(TChannels, row, 0));
    s.ChannelVariables.push_back(Cell(TChannels, row, 1));
    s.InputVariables.push_back(Cell(TChannels, row, 1));
  }
  for (int row = 0; row < TControls->rowCount(); ++row)
    if (!Cell(TControls, row, 0).empty()) s.InputVariables.push_back(Cell(TControls, row, 0));

  s.OutputChannels.clear();
  for (int row = 0; row < TOutputs->rowCount(); ++row)
    s.OutputChannels.push_back({Cell(TOutputs, row, 1), Cell(TOutputs, row, 0),
                                Cell(TOutputs, row, 2), NumberCell(TOutputs, row, 3),
                                NumberCell(TOutputs, row, 4),
                                static_cast<std::int32_t>(NumberCell(TOutputs, row, 5))});
  s.Serial = SerialPage->Settings();

  s.UserEvents.clear();
  for (int row = 0; row < TUserEvents->rowCount(); ++row) {
    TKQWLUserEvent e;
    e.ID = static_cast<std::int32_t>(NumberCell(TUserEvents, row, 0));
    e.userName = Cell(TUserEvents, row, 1);
    e.internalName = Cell(TUserEvents, row, 2);
    e.type = static_cast<std::int32_t>(NumberCell(TUserEvents, row, 3));
    for (int a = 0; a < TKQWLUserEvent::kArguments; ++a) {
      const QTableWidgetItem* use = TUserEvents->item(row, kEventFixedColumns + 2 * a);
      e.use[a] = use != nullptr && use->checkState() == Qt::Checked;
      e.description[a] = Cell(TUserEvents, row, kEventFixedColumns + 2 * a + 1);
    }
    s.UserEvents.push_back(std::move(e));
  }
  return s;
}

void TPropertyPageFormulaPanel::BValidateClick() {
  const TValidationReport report = ValidatePanelScripts(Settings());
  TFFormulaCheckResults dialog(report.Lines, this);
  ExecDialog(dialog);
}

void TPropertyPageFormulaPanel::BEditorClick() {
  const QString titles[] = {"Initialization", "Formula", "Exit"};
  const int index = lastScript_ == MInitialization ? 0 : lastScript_ == MFormula ? 1 : 2;
  TFEditor editor(titles[index], lastScript_->toPlainText(), words_, ChannelVariableNames(), this);
  if (ExecDialog(editor) == QDialog::Accepted)
    lastScript_->setPlainText(editor.Editor()->toPlainText());
}

void TPropertyPageFormulaPanel::BMacrosClick() {
  TUFFEditMacro dialog(TMacroFile(macroFile_), this);
  dialog.MInitialization->setPlainText(MInitialization->toPlainText());
  dialog.MFormula->setPlainText(MFormula->toPlainText());
  if (ExecDialog(dialog) != QDialog::Accepted) return;
  // The macro's scripts replace the panel's Initialization and Formula scripts.
  MInitialization->setPlainText(dialog.MInitialization->toPlainText());
  MFormula->setPlainText(dialog.MFormula->toPlainText());
}

void TPropertyPageFormulaPanel::BMatlabWindowClick() {
  if (matlabWindow_ == nullptr) matlabWindow_ = new TFormMatlabExperimentWindow(this);
  matlabWindow_->show();
  matlabWindow_->raise();
}

void TPropertyPageFormulaPanel::ShowHelp(const std::string& word) {
  std::string description;
  LHelp->setText(FindDescription(words_, word, description) ? ToQ(description) : QString());
}

std::string TPropertyPageFormulaPanel::NumberProblem() const {
  const struct {
    const QTableWidget* table;
    int column;
    const char* page;
    const char* what;
    bool integer;
  } cells[] = {{TOutputs, 3, "Outputs", "Min", false},
               {TOutputs, 4, "Outputs", "Max", false},
               {TOutputs, 5, "Outputs", "Colour", true},
               {TUserEvents, 0, "User events", "ID", true},
               {TUserEvents, 3, "User events", "Type", true}};
  for (const auto& cell : cells)
    for (int row = 0; row < cell.table->rowCount(); ++row) {
      const QString text = ToQ(Cell(cell.table, row, cell.column)).trimmed();
      bool ok = false;
      if (cell.integer)
        text.toInt(&ok);
      else
        text.toDouble(&ok);
      if (!ok)
        return std::string(cell.page) + ", row " + std::to_string(row + 1) + ", " + cell.what +
               ": \"" + FromQ(text) + "\" is not " +
               (cell.integer ? "a whole number" : "a number") + ".";
    }
  return {};
}

bool TPropertyPageFormulaPanel::CloseCheck() {
  if (const std::string problem = NumberProblem(); !problem.empty()) {
    QMessageBox refuse(QMessageBox::Warning, "Loom panel properties", ToQ(problem), QMessageBox::Ok,
                       this);
    ExecDialog(refuse);
    return false;
  }
  const TPanelSettings settings = Settings();
  std::string error = FirstError(ValidatePanelScripts(settings));
  if (error.empty()) {
    const std::vector<std::string> jumps = CheckPanelJumps(settings);
    if (!jumps.empty()) error = jumps.front();
  }
  if (error.empty()) return true;
  QMessageBox ask(QMessageBox::Warning, "Validation result",
                  "Expression is invalid, reason is: \n" + ToQ(error),
                  QMessageBox::Save | QMessageBox::Cancel, this);
  ask.button(QMessageBox::Save)->setText("&Save anyway");
  ask.button(QMessageBox::Cancel)->setText("&Keep editing");
  ask.setDefaultButton(QMessageBox::Cancel);
  return ExecDialog(ask) == QMessageBox::Save;
}

void TPropertyPageFormulaPanel::accept() {
  if (CloseCheck()) QDialog::accept();
}

}  // namespace loom
