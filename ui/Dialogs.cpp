#include "ui/Dialogs.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSplitter>
#include <QVBoxLayout>

#include "ui/QtText.h"
#include "ui/core/ContextHelp.h"

namespace loom {

TFFormulaCheckResults::TFFormulaCheckResults(const std::vector<std::string>& lines, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle("Validation result");
  report_ = new QPlainTextEdit(EditorText(lines));
  report_->setReadOnly(true);
  report_->setLineWrapMode(QPlainTextEdit::NoWrap);
  report_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(report_);
  layout->addWidget(buttons);
  resize(640, 480);
}

TFEditor::TFEditor(const QString& title, const QString& text, const TVXExpressionEvaluator& words,
                   const std::vector<std::string>& inputChannels, QWidget* parent)
    : QDialog(parent) {
  setWindowTitle(title);
  editor_ = new TScriptEdit;
  editor_->setPlainText(text);
  auto* lists = new TNameLists(words);
  lists->SetInputChannels(inputChannels);
  auto* help = new QLabel;
  help->setWordWrap(true);
  editor_->OnContextHelp = [help, &words](const std::string& word) {
    std::string description;
    help->setText(FindDescription(words, word, description) ? ToQ(description) : QString());
  };
  auto* splitter = new QSplitter;
  splitter->addWidget(editor_);
  splitter->addWidget(lists);
  splitter->setStretchFactor(0, 3);
  splitter->setStretchFactor(1, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(splitter, 1);
  layout->addWidget(help);
  layout->addWidget(buttons);
  resize(900, 600);
}

TUFFEditMacro::TUFFEditMacro(TMacroFile file, QWidget* parent)
    : QDialog(parent), file_(std::move(file)) {
  setWindowTitle("Edit macros");
  CBMacros = new QComboBox;
  MInitialization = new QPlainTextEdit;
  MFormula = new QPlainTextEdit;
  ENewMacro = new QLineEdit;
  BCreate = new QPushButton("C&reate");
  status_ = new QLabel;
  status_->setWordWrap(true);
  for (QPlainTextEdit* memo : {MInitialization, MFormula}) {
    memo->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    memo->setLineWrapMode(QPlainTextEdit::NoWrap);
    memo->setTabChangesFocus(true);
  }
  auto* form = new QFormLayout;
  form->addRow("&Select macro", CBMacros);
  form->addRow("&Initialization:", MInitialization);
  form->addRow("&Formula:", MFormula);
  auto* create = new QHBoxLayout;
  create->addWidget(ENewMacro, 1);
  create->addWidget(BCreate);
  auto* newLabel = new QLabel("&New macro");
  newLabel->setBuddy(ENewMacro);  // a row of two widgets gets no buddy by itself
  form->addRow(newLabel, create);
  auto* buttons = new QDialogButtonBox;
  buttons->addButton("&Insert into scripts", QDialogButtonBox::AcceptRole);
  buttons->addButton(QDialogButtonBox::Close);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  connect(CBMacros, &QComboBox::textActivated, this, &TUFFEditMacro::ReadMacro);
  connect(BCreate, &QPushButton::clicked, this, [this] { CreateMacro(ENewMacro->text()); });
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(status_);
  layout->addWidget(buttons);
  resize(560, 440);
  FillMacros();
}

QString TUFFEditMacro::Status() const {
  return status_->text();
}

void TUFFEditMacro::Report(const QString& text) {
  status_->setText(text);
}

void TUFFEditMacro::FillMacros() {
  CBMacros->clear();
  try {
    for (const std::string& name : file_.FillMacros()) CBMacros->addItem(ToQ(name));
    CBMacros->setCurrentIndex(-1);
  } catch (const EMacroError& error) {
    Report(error.what());
  }
}

void TUFFEditMacro::ReadMacro(const QString& name) {
  try {
    const TMacro macro = file_.ReadMacro(FromQ(name));
    MInitialization->setPlainText(EditorText(macro.Initialization));
    MFormula->setPlainText(EditorText(macro.Formula));
    Report({});
  } catch (const EMacroError& error) {
    Report(error.what());
  }
}

void TUFFEditMacro::CreateMacro(const QString& name) {
  try {
    const TMacro macro{EditorLines(MInitialization->toPlainText()),
                       EditorLines(MFormula->toPlainText())};
    // A macro of that name is kept as it is, and on purpose without a word.
    if (!file_.CreateMacro(FromQ(name), macro)) return Report({});
    FillMacros();
    CBMacros->setCurrentText(name);
    Report("Macro \"" + name + "\" created in " + ToQ(file_.Path()) + ".");
  } catch (const EMacroError& error) {
    Report(error.what());
  }
}

}  // namespace loom
