// The script editors of the property page and the lists whose names can be dragged into them.
#pragma once

#include <QListWidget>
#include <QPlainTextEdit>
#include <functional>
#include <span>
#include <string>

#include "panel/FormulaPanel.h"

namespace loom {

class TVXExpressionEvaluator;

// A list of names; dragging an item carries its name (not the text shown, which for a function
// is its syntax) as plain text.
class TNameList : public QListWidget {
 public:
  explicit TNameList(QWidget* parent = nullptr);
  // Adds an item showing shown that drags name, with tip as its tool tip.
  void AddName(const QString& name, const QString& shown, const QString& tip = {});
  QString NameAt(int row) const;

 protected:
  QMimeData* mimeData(const QList<QListWidgetItem*>& items) const override;
};

// The name lists of the formula pages: system variables, constants, functions and the panel's
// input channels, as tabs of one widget.
class TNameLists : public QWidget {
 public:
  TNameLists(const TVXExpressionEvaluator& words, QWidget* parent = nullptr);
  void SetInputChannels(const std::vector<std::string>& names);
  TNameList* Inputs() const { return inputs_; }

 private:
  TNameList* inputs_;
};

// A script editor: a dropped name is inserted at the caret, and the word under the caret is
// described through OnContextHelp (F1 or when the caret moves).
class TScriptEdit : public QPlainTextEdit {
 public:
  explicit TScriptEdit(QWidget* parent = nullptr);
  // The word under the caret (gettoken on the caret's line).
  std::string WordAtCaret() const;
  std::function<void(const std::string& word)> OnContextHelp;

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dragMoveEvent(QDragMoveEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace loom
