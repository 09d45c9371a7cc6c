#include "ui/SerialPage.h"

#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QMessageBox>
#include <QVBoxLayout>

#include "ui/QtText.h"
#include "ui/core/CommaText.h"
#include "ui/core/EolSequence.h"
#include "ui/core/SerialTexts.h"

namespace loom {

namespace {

// ORDER: by stop-bits code.
const char* const kStopBitsTexts[] = {"1", "1.5", "2"};

void Fill(QComboBox* box, const std::string& commaList) {
  box->clear();
  for (const std::string& item : LinesOfCommaText(commaList)) box->addItem(ToQ(item));
}

// The parameter string with its first item (the port number) replaced.
std::string WithPortNumber(const std::string& parameter, std::int32_t port) {
  const std::size_t comma = parameter.find(',');
  return std::to_string(port) + (comma == std::string::npos ? "" : parameter.substr(comma));
}

}  // namespace

// --- TQtSerialWindow ---

bool TQtSerialWindow::PostMessage(std::uint32_t message) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pending_.push_back(message);
  }
  QMetaObject::invokeMethod(
      &receiver_, [this] { Deliver(); }, Qt::QueuedConnection);
  return true;
}

int TQtSerialWindow::RemoveMessages(std::uint32_t message) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto removed = std::erase(pending_, message);
  return static_cast<int>(removed);
}

void TQtSerialWindow::Deliver() {
  std::uint32_t message;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (pending_.empty()) return;  // removed after it was posted
    message = pending_.front();
    pending_.pop_front();
  }
  if (port_ != nullptr) port_->MSGWndProc(message);
}

// --- TEolEditor ---

TEolEditor::TEolEditor(QWidget* parent) : QWidget(parent) {
  List = new QTreeWidget;
  List->setColumnCount(2);
  List->setHeaderLabels({"Code", "Character"});
  List->setRootIsDecorated(false);
  List->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
  BAdd = new QPushButton("&Add");
  BEdit = new QPushButton("&Edit...");
  BRemove = new QPushButton("Re&move");
  BUp = new QPushButton("U&p");
  BDown = new QPushButton("Do&wn");
  auto* buttons = new QVBoxLayout;
  for (QPushButton* button : {BAdd, BEdit, BRemove, BUp, BDown}) buttons->addWidget(button);
  buttons->addStretch();
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(List, 1);
  layout->addLayout(buttons);

  OnRefused = [this](const QString& message) {
    QMessageBox::warning(this, "Character code", message);
  };
  connect(BAdd, &QPushButton::clicked, this, [this] { AddRow(0); });
  connect(BEdit, &QPushButton::clicked, this, [this] {
    QTreeWidgetItem* item = List->currentItem();
    if (item == nullptr) return;
    bool ok = false;
    const QString text = QInputDialog::getText(
        this, "Character code", "Character code:", QLineEdit::Normal, item->text(0), &ok);
    if (ok) SetCode(List->indexOfTopLevelItem(item), text);
  });
  connect(BRemove, &QPushButton::clicked, this,
          [this] { delete List->currentItem(); });  // a tree item removes itself from its list
  connect(BUp, &QPushButton::clicked, this,
          [this] { MoveRow(List->indexOfTopLevelItem(List->currentItem()), -1); });
  connect(BDown, &QPushButton::clicked, this,
          [this] { MoveRow(List->indexOfTopLevelItem(List->currentItem()), 1); });
  // In-place editing of a code: the same check as the Edit button.
  connect(List, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item, int column) {
    if (updating_ || column != 0) return;
    const QString text = item->text(0);
    const QString previous = item->data(0, Qt::UserRole).toString();
    updating_ = true;
    item->setText(0, previous);
    updating_ = false;
    SetCode(List->indexOfTopLevelItem(item), text);
  });
}

void TEolEditor::AddRow(int code) {
  updating_ = true;  // the new row has no code yet
  auto* item = new QTreeWidgetItem(List);
  item->setFlags(item->flags() | Qt::ItemIsEditable);
  updating_ = false;
  SetCode(List->indexOfTopLevelItem(item), QString::number(code), true);
  List->setCurrentItem(item);
}

bool TEolEditor::SetCode(int row, const QString& text, bool quiet) {
  QTreeWidgetItem* item = List->topLevelItem(row);
  if (item == nullptr) return false;
  int code = 0;
  try {
    code = CharacterCodeOf(FromQ(text));
  } catch (const ECharacterCodeError& error) {
    if (!quiet) OnRefused(error.what());
    return false;
  }
  updating_ = true;
  item->setText(0, QString::number(code));
  item->setData(0, Qt::UserRole, QString::number(code));
  item->setText(1, QString::fromLatin1(ANSICodeToString(code)));
  updating_ = false;
  return true;
}

void TEolEditor::MoveRow(int row, int delta) {
  const int target = row + delta;
  if (row < 0 || target < 0 || target >= List->topLevelItemCount()) return;
  QTreeWidgetItem* item = List->takeTopLevelItem(row);
  List->insertTopLevelItem(target, item);
  List->setCurrentItem(item);
}

void TEolEditor::SetSequence(const std::string& sequence) {
  List->clear();
  for (unsigned char c : sequence) AddRow(c);
}

std::string TEolEditor::Sequence() const {
  std::vector<std::string> captions;
  for (int i = 0; i < List->topLevelItemCount(); ++i)
    captions.push_back(FromQ(List->topLevelItem(i)->text(0)));
  return FillEOLStringWithListview(captions);
}

// --- TSerialPage ---

TSerialPage::TSerialPage(const TSerialSettings& settings, QWidget* parent)
    : QWidget(parent), storedParameter_(settings.Parameter) {
  port_ = std::make_unique<TSerialIO>(window_);
  window_.Attach(port_.get());
  hint_ = "Choose the port and its line settings. The panel opens the port when it is loaded.";

  CBPort = new QComboBox;
  CBBaudRate = new QComboBox;
  CBDataBits = new QComboBox;
  CBStopBits = new QComboBox;
  CBParity = new QComboBox;
  CBFlowControl = new QComboBox;
  SECharCount = new QSpinBox;
  SECharCount->setRange(0, 65535);
  SECharCount->setValue(settings.MaxSequenceLength);
  RBNoInput = new QRadioButton("&No input");
  RBCharCount = new QRadioButton("Number of &characters");
  RBEolSequence = new QRadioButton("E&OL sequence");
  LDescription = new QLabel;
  LDescription->setWordWrap(true);
  LDescription->setMinimumHeight(LDescription->fontMetrics().height() * 5);
  LDescription->setAlignment(Qt::AlignTop | Qt::AlignLeft);
  Eol = new TEolEditor;
  Eol->SetSequence(settings.EOLSequence);

  auto* line = new QGroupBox("Port");
  auto* form = new QFormLayout(line);
  form->addRow("&Port", CBPort);
  form->addRow("&Baud rate", CBBaudRate);
  form->addRow("&Data bits", CBDataBits);
  form->addRow("&Stop bits", CBStopBits);
  form->addRow("P&arity", CBParity);
  form->addRow("&Flow control", CBFlowControl);
  auto* input = new QGroupBox("Input");
  auto* inputLayout = new QVBoxLayout(input);
  for (QRadioButton* button : {RBNoInput, RBCharCount, RBEolSequence})
    inputLayout->addWidget(button);
  auto* count = new QFormLayout;
  count->addRow("Character c&ount", SECharCount);
  inputLayout->addLayout(count);
  inputLayout->addWidget(new QLabel("End-of-line sequence:"));
  inputLayout->addWidget(Eol, 1);
  auto* columns = new QHBoxLayout;
  columns->addWidget(line);
  columns->addWidget(input, 1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(columns, 1);
  layout->addWidget(LDescription);

  const TPortInputOperationModes mode =
      static_cast<TPortInputOperationModes>(std::clamp(settings.InputOperationMode, 0, 2));
  (mode == iomNoInput           ? RBNoInput
   : mode == iomFixedCharNumber ? RBCharCount
                                : RBEolSequence)
      ->setChecked(true);
  connect(RBNoInput, &QRadioButton::clicked, this, [this] { SetInputMode(iomNoInput); });
  connect(RBCharCount, &QRadioButton::clicked, this, [this] { SetInputMode(iomFixedCharNumber); });
  connect(RBEolSequence, &QRadioButton::clicked, this, [this] { SetInputMode(iomEOLSequenze); });
  connect(CBDataBits, &QComboBox::activated, this, [this] { DataStopBitsChanged(CBDataBits); });
  connect(CBStopBits, &QComboBox::activated, this, [this] { DataStopBitsChanged(CBStopBits); });
  connect(CBPort, &QComboBox::activated, this,
          [this](int index) { ChoosePort(CBPort->itemData(index).toInt()); });

  port_->SetEOLSequenze(settings.EOLSequence);
  port_->SetInputCharacterCount(settings.MaxSequenceLength);
  std::int32_t current = -1;
  try {
    port_->SetParameterString(settings.Parameter);
    current = port_->GetPortNumber();
  } catch (const std::exception& error) {
    LDescription->setText(QString("The stored parameters \"%1\" are not usable: %2")
                              .arg(ToQ(settings.Parameter), error.what()));
  }
  FillPortList(current);
  if (current >= 0) ChoosePort(current);
  UpdateSerialPortControls();
  port_->SetInputOperationMode(mode);
  if (LDescription->text().isEmpty()) LDescription->setText(InputModeDescription(mode));
}

TSerialPage::~TSerialPage() {
  port_.reset();  // before the window it posts to
}

void TSerialPage::FillPortList(std::int32_t current) {
  CBPort->clear();
  CBPort->addItem("None", -1);
  std::vector<TPortListEntry> ports;
  TSerialIO::GetFreePortList(ports, current);
  for (const TPortListEntry& entry : ports)
    CBPort->addItem(ToQ(entry.Text + (entry.Path.empty() ? "" : "  " + entry.Path)), entry.Number);
  CBPort->setCurrentIndex(std::max(0, CBPort->findData(current)));
}

void TSerialPage::ChoosePort(std::int32_t portNumber) {
  try {
    port_->Close();
  } catch (const EPortException&) {
    // "Port not opend.": nothing to let go of
  }
  try {
    if (portNumber >= 0) {
      port_->SetPortNumber(portNumber);
      if (port_->GetPortNumber() == portNumber) port_->Open();
    }
  } catch (const EPortException& error) {
    LDescription->setText(error.what());
  }
  if (portNumber >= 0 && !port_->IsOpen())
    LDescription->setText(
        QString("COM%1: cannot be opened now; its stored settings are kept.").arg(portNumber));
  storedParameter_ = WithPortNumber(storedParameter_, portNumber);
  CBPort->setCurrentIndex(std::max(0, CBPort->findData(portNumber)));
  UpdateSerialPortControls();
}

void TSerialPage::UpdateSerialPortControls() {
  const bool open = port_->IsOpen();
  TPortParams params;
  if (open) {
    port_->InitDataStopBitsCombinationMatrix();
    port_->GetPortConfig(params);
  }
  Fill(CBBaudRate, open ? port_->GetPossibleBaudRates() : "");
  Fill(CBDataBits, open ? port_->GetPossibleDataBits() : "");
  Fill(CBStopBits, open ? port_->GetPossibleStopBits() : "");
  Fill(CBParity, open ? port_->GetPossibleParitys() : "");
  Fill(CBFlowControl, open ? port_->GetPossibleFlowControl() : "");
  for (QComboBox* box : {CBBaudRate, CBDataBits, CBStopBits, CBParity, CBFlowControl})
    box->setEnabled(open);
  if (!open) return;
  CBBaudRate->setCurrentText(QString::number(params.BaudRate));
  CBDataBits->setCurrentText(QString::number(params.DataBits));
  CBStopBits->setCurrentText(kStopBitsTexts[std::clamp(params.StopBits, 0, 2)]);
  CBParity->setCurrentIndex(params.Parity);
  CBFlowControl->setCurrentIndex(params.FlowControl);
  SECharCount->setValue(port_->GetInputCharacterCount());
  dataIndex_ = CBDataBits->currentIndex();
  stopIndex_ = CBStopBits->currentIndex();
}

void TSerialPage::DataStopBitsChanged(QComboBox* changed) {
  const std::string data = FromQ(CBDataBits->currentText());
  const std::string stop = FromQ(CBStopBits->currentText());
  if (port_->IsDataStopBitsCombiValid(data, stop)) {
    dataIndex_ = CBDataBits->currentIndex();
    stopIndex_ = CBStopBits->currentIndex();
    ShowHint();
    return;
  }
  LDescription->setText(ToQ(DataStopBitsRefusal(data, stop)));
  changed->setCurrentIndex(changed == CBDataBits ? dataIndex_ : stopIndex_);
}

void TSerialPage::ApplySerialIOParams() {
  if (!port_->IsOpen()) return;
  port_->SetParityMode(CBParity->currentIndex());
  port_->SetFLowControl(static_cast<TPortFlowControl>(CBFlowControl->currentIndex()));
  port_->SetInputCharacterCount(SECharCount->value());
  port_->SetBaudRate(CBBaudRate->currentText().toInt());
  port_->SetNumDataBits(CBDataBits->currentText().toInt());
  for (std::int32_t code = 0; code < 3; ++code)
    if (CBStopBits->currentText() == kStopBitsTexts[code]) port_->SetNumStopBits(code);
}

TSerialSettings TSerialPage::Settings() {
  TSerialSettings settings;
  if (port_->IsOpen()) {
    try {
      ApplySerialIOParams();
    } catch (const EPortException& error) {
      LDescription->setText(error.what());
    }
    settings.Parameter = port_->GetParameterString();
  } else {
    settings.Parameter = storedParameter_;
  }
  settings.EOLSequence = Eol->Sequence();
  settings.MaxSequenceLength = SECharCount->value();
  settings.InputOperationMode = RBCharCount->isChecked()     ? iomFixedCharNumber
                                : RBEolSequence->isChecked() ? iomEOLSequenze
                                                             : iomNoInput;
  return settings;
}

void TSerialPage::SetInputMode(TPortInputOperationModes mode) {
  port_->SetInputOperationMode(mode);
  LDescription->setText(InputModeDescription(mode));
}

void TSerialPage::ShowHint() {
  LDescription->setText(hint_);
}

}  // namespace loom
