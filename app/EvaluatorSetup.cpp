#include "app/EvaluatorSetup.h"

#include "functions/Registry.h"
#include "panel/MatlabLink.h"

namespace loom {

namespace {

// What formulas run from the command line reach: the engine bridge and the system clock.
class TCommandLineHost : public TFormulaHost {
 public:
  TFormulaEngine* Engine() override { return &engine_; }

 private:
  TMatlabFormulaEngine engine_{MLBridge()};
};

}  // namespace

std::unique_ptr<TVXExpressionEvaluatorBase> MakeEvaluator(const TEvaluatorOptions& options) {
  std::unique_ptr<TVXExpressionEvaluatorBase> evaluator;
  if (options.CStyle) {
    evaluator = std::make_unique<TVXParsCStyleEvaluator>(options.DecimalSeparator);
  } else {
    evaluator = std::make_unique<TVXExpressionEvaluator>(options.DecimalSeparator);
  }
  // Folding is decided when an expression is compiled, so it must be set before the first one.
  evaluator->ConstantFolding = options.ConstantFolding;
  static TCommandLineHost host;  // stateless apart from the process-wide bridge
  evaluator->Host = &host;
  if (options.ConnectEngine) MLConnect();
  return evaluator;
}

}  // namespace loom
