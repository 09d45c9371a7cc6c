#include "ui/ScriptEdit.h"

#include <QDropEvent>
#include <QFontDatabase>
#include <QMimeData>
#include <QTabWidget>
#include <QTextBlock>
#include <QVBoxLayout>

#include "functions/Registry.h"
#include "ui/QtText.h"
#include "ui/core/ContextHelp.h"

namespace loom {

namespace {

constexpr int kNameRole = Qt::UserRole;

// The name part of a function list line ("Sin( arg )" gives "Sin").
QString NameOfSyntax(const std::string& line) {
  const std::size_t bracket = line.find('(');
  std::string name = line.substr(0, bracket);
  while (!name.empty() && name.back() == ' ') name.pop_back();
  return ToQ(name);
}

}  // namespace

TNameList::TNameList(QWidget* parent) : QListWidget(parent) {
  setDragEnabled(true);
  setDragDropMode(QAbstractItemView::DragOnly);
  setSelectionMode(QAbstractItemView::SingleSelection);
}

void TNameList::AddName(const QString& name, const QString& shown, const QString& tip) {
  auto* item = new QListWidgetItem(shown, this);
  item->setData(kNameRole, name);
  if (!tip.isEmpty()) item->setToolTip(tip);
}

QString TNameList::NameAt(int row) const {
  const QListWidgetItem* it = item(row);
  return it != nullptr ? it->data(kNameRole).toString() : QString();
}

QMimeData* TNameList::mimeData(const QList<QListWidgetItem*>& items) const {
  // Only an item that carries a name can be dragged.
  if (items.isEmpty() || items.front()->data(kNameRole).toString().isEmpty()) return nullptr;
  auto* data = new QMimeData;
  data->setText(items.front()->data(kNameRole).toString());
  return data;
}

TNameLists::TNameLists(const TVXExpressionEvaluator& words, QWidget* parent) : QWidget(parent) {
  auto* tabs = new QTabWidget(this);
  auto* system = new TNameList;
  for (const TPanelName& name : PanelSystemVariables())
    system->AddName(name.Name, name.Name, name.Description);
  auto* constants = new TNameList;
  for (const TPanelName& name : PanelConstants())
    constants->AddName(name.Name, name.Name, name.Description);
  auto* functions = new TNameList;
  std::vector<std::string> lines;
  words.GetFunctionList(lines);
  for (const std::string& line : lines) functions->AddName(NameOfSyntax(line), ToQ(line));
  inputs_ = new TNameList;
  tabs->addTab(system, "S&ystem variables");
  tabs->addTab(constants, "C&onstants");
  tabs->addTab(functions, "F&unctions");
  tabs->addTab(inputs_, "Input c&hannels");
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(tabs);
}

void TNameLists::SetInputChannels(const std::vector<std::string>& names) {
  inputs_->clear();
  for (const std::string& name : names) inputs_->AddName(ToQ(name), ToQ(name));
}

TScriptEdit::TScriptEdit(QWidget* parent) : QPlainTextEdit(parent) {
  setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  setLineWrapMode(QPlainTextEdit::NoWrap);
  setTabChangesFocus(true);  // keyboard users leave the editor with Tab
  setAcceptDrops(true);
  connect(this, &QPlainTextEdit::cursorPositionChanged, this, [this] {
    if (OnContextHelp) OnContextHelp(WordAtCaret());
  });
}

std::string TScriptEdit::WordAtCaret() const {
  const QTextCursor cursor = textCursor();
  return gettoken(FromQ(cursor.block().text()), cursor.positionInBlock());
}

void TScriptEdit::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasText())
    event->acceptProposedAction();
  else
    event->ignore();
}

void TScriptEdit::dragMoveEvent(QDragMoveEvent* event) {
  if (event->mimeData()->hasText())
    event->acceptProposedAction();
  else
    event->ignore();
}

void TScriptEdit::dropEvent(QDropEvent* event) {
  if (!event->mimeData()->hasText()) return event->ignore();
  insertPlainText(event->mimeData()->text());  // at the caret, not where the mouse let go
  event->acceptProposedAction();
  setFocus();
}

void TScriptEdit::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_F1 && OnContextHelp) {
    OnContextHelp(WordAtCaret());
    return;
  }
  QPlainTextEdit::keyPressEvent(event);
}

}  // namespace loom
