#include "app/EvaluatorSetup.h"

#include "functions/Registry.h"

namespace loom {

std::unique_ptr<TVXExpressionEvaluatorBase> MakeEvaluator(const TEvaluatorOptions& options) {
  std::unique_ptr<TVXExpressionEvaluatorBase> evaluator;
  if (options.CStyle) {
    evaluator = std::make_unique<TVXParsCStyleEvaluator>(options.DecimalSeparator);
  } else {
    evaluator = std::make_unique<TVXExpressionEvaluator>(options.DecimalSeparator);
  }
  // Folding is decided when an expression is compiled, so it must be set before the first one.
  evaluator->ConstantFolding = options.ConstantFolding;
  return evaluator;
}

}  // namespace loom
