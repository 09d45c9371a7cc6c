// The evaluators of the formula language: TVXExpressionEvaluator registers every bracket,
// constant, operator and function of the language; TVXParsCStyleEvaluator adds the C-style
// spellings on top.
#pragma once

#include "engine/Evaluator.h"

namespace loom {

class TVXExpressionEvaluator : public TVXExpressionEvaluatorBase {
 public:
  explicit TVXExpressionEvaluator(char decimalSeparator = '.');
  // Registers, in this order: brackets, vector brackets, the list separator, the constants,
  // the operators and the functions.
  void FillExpressList() override;
};

class TVXParsCStyleEvaluator : public TVXExpressionEvaluator {
 public:
  explicit TVXParsCStyleEvaluator(char decimalSeparator = '.');
  // The basic words, then fact, div, perc, %, ||, &&, =, ==, != and ! with the list's Add, so
  // that a spelling the basic language already has keeps its basic meaning.
  void FillExpressList() override;

 private:
  void FillCStyleWords();
};

}  // namespace loom
