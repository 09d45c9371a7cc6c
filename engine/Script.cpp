#include "engine/Script.h"

namespace loom {

std::string EScriptError::Describe() const {
  if (Line <= 0) return what();
  return "line " + std::to_string(Line) + ": " + what();
}

std::vector<std::string> SplitScriptLines(std::string_view text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t stop = text.find('\n', start);
    if (stop == std::string_view::npos) stop = text.size();
    std::string_view line = text.substr(start, stop - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.emplace_back(line);
    start = stop + 1;
  }
  return lines;
}

bool IsBlankLine(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

TCompiledScript CompileScript(TVXExpressionEvaluatorBase& evaluator,
                              const std::vector<std::string>& lines) {
  TCompiledScript script;
  script.First = evaluator.GetExpressionCount();
  int lineNumber = 0;
  for (const std::string& line : lines) {
    ++lineNumber;
    try {
      // Blank lines keep their place so that the index of every later line stays its number.
      if (IsBlankLine(line)) {
        evaluator.AddEmptyExpression(line);
      } else {
        evaluator.AddExpression(line);
      }
    } catch (const EVXParserException& error) {
      throw EScriptError(lineNumber, error.what());
    }
  }
  script.End = evaluator.GetExpressionCount();
  int unmatched = script.First;
  try {
    script.Jumps = PairJumps(evaluator, script.First, script.End, &unmatched);
  } catch (const EVXParserException& error) {
    throw EScriptError(script.LineOf(unmatched), error.what());
  }
  return script;
}

namespace {

// Hands every evaluated expression to the trace callback.
class TTraceObserver : public TVXSectionObserver {
 public:
  explicit TTraceObserver(const TTraceCallback& trace) : trace_(trace) {}
  void AfterExpression(int index, const TVXParsDouble& result) override { trace_(index, result); }

 private:
  const TTraceCallback& trace_;
};

}  // namespace

TVXSectionOutcome RunScript(TVXExpressionEvaluatorBase& evaluator, const TCompiledScript& script,
                            TVXParsDouble& result, const TTraceCallback& trace) {
  TTraceObserver observer(trace);
  TVXSectionOutcome outcome = RunSection(evaluator, script.Jumps, script.First, script.End, result,
                                         trace ? &observer : nullptr);
  if (outcome.FailedIndex >= 0) {
    throw EScriptError(script.LineOf(outcome.FailedIndex), outcome.ErrorMessage);
  }
  return outcome;
}

}  // namespace loom
