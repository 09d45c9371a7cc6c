// Fuzz target: runs a multi-line script as one section, jumps followed, the way the command
// line and the panel do. Lines are separated by '\n'; the first byte selects the evaluator.
// A run is cut off after a fixed number of expression steps, so endless loops end.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "engine/Sections.h"

namespace {

constexpr int kMaxSteps = 20000;

// Ends the run after kMaxSteps expressions or stretches; lets arithmetic lines and jump
// commands run as stretches, as the panel does (a loop still comes back on every turn).
class TStepLimit : public loom::TVXSectionObserver {
 public:
  bool BeforeExpression(int) override { return ++steps_ <= kMaxSteps; }
  bool EveryExpression() const override { return false; }

 private:
  int steps_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  auto evaluator = loom::fuzz::MakeEvaluator(data[0]);
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data + 1), size - 1));
  std::string line;
  try {
    while (std::getline(lines, line)) {
      if (line.empty())
        evaluator->AddEmptyExpression();
      else
        evaluator->AddExpression(line);
    }
    const loom::TVXJumpTable jumps = loom::PairJumps(*evaluator);
    TStepLimit limit;
    loom::TVXParsDouble result;
    (void)loom::RunSection(*evaluator, jumps, 0, evaluator->GetExpressionCount(), result, &limit);
  } catch (const loom::EVXParserException&) {
  }
  return 0;
}
