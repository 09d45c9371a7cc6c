// Fuzz target: compiles one formula text and evaluates it twice (the second run exercises the
// reuse of node buffers). The first byte selects the evaluator kind, decimal separator and
// folding. Any exception other than the engine's own is a finding, and so is a crash.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  auto evaluator = loom::fuzz::MakeEvaluator(data[0]);
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  try {
    const int index = evaluator->AddExpression(text);
    loom::TVXParsDouble result;
    evaluator->GetResults(index, result);
    evaluator->GetResults(index, result);
    (void)loom::ParsDoubleAsString(result, evaluator->DecimalSeparator());
    (void)evaluator->Disassemble(index);
    if (evaluator->isBoolean()) (void)evaluator->GetAsBoolean(index);
  } catch (const loom::EVXParserException&) {
  }
  return 0;
}
