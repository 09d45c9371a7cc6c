// What both fuzz targets share: evaluators without the words that reach outside the process.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "functions/Registry.h"

namespace loom::fuzz {

// Removes the words that touch files, the serial port, the MATLAB engine or the clock's
// patience (Wait), so that arbitrary input can neither write to the disk nor block.
inline void Sandbox(TVXExpressionEvaluatorBase& evaluator) {
  std::vector<std::string> outside;
  for (int i = 0; i < evaluator.Words().Count(); ++i) {
    auto* function = dynamic_cast<TVXParsFunction*>(evaluator.Words().Word(i));
    if (!function) continue;
    if (function->FunctionType == vxtFileIO || function->FunctionType == vxtMatlab ||
        function->Name == "SerialWriteString" || function->Name == "Wait")
      outside.push_back(function->Name);
  }
  for (const std::string& name : outside) evaluator.ReplaceFunction(name, nullptr);
}

// The evaluator a fuzz input asks for: its first byte picks C-style or not and the decimal
// separator.
inline std::unique_ptr<TVXExpressionEvaluatorBase> MakeEvaluator(unsigned char selector) {
  const char decimal = (selector & 1) ? ',' : '.';
  std::unique_ptr<TVXExpressionEvaluatorBase> evaluator;
  if (selector & 2)
    evaluator = std::make_unique<TVXParsCStyleEvaluator>(decimal);
  else
    evaluator = std::make_unique<TVXExpressionEvaluator>(decimal);
  evaluator->ConstantFolding = (selector & 4) == 0;
  Sandbox(*evaluator);
  return evaluator;
}

}  // namespace loom::fuzz
