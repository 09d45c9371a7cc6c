#include "app/EvalCommand.h"

#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "app/Watchdog.h"
#include "engine/Script.h"

namespace loom {
namespace {

// Writes text and ends it with exactly one line break.
void WriteBlock(std::ostream& out, const std::string& text) {
  out << text;
  if (text.empty() || text.back() != '\n') out << '\n';
}

// Evaluates each EXPR in turn. With several, an error is prefixed with its EXPR's position
// ("expression 2: vector sizes are not matched"), as a script's error is with its line.
int EvaluateExpressions(TVXExpressionEvaluatorBase& evaluator, const TEvalOptions& options,
                        std::ostream& out, std::ostream& err) {
  const char separator = options.Evaluator.DecimalSeparator;
  TVXParsDouble result;
  const std::size_t count = options.Expressions.size();
  for (std::size_t i = 0; i < count; ++i) {
    try {
      const int index = evaluator.AddExpression(options.Expressions[i]);
      if (options.Dump && index >= 0) WriteBlock(out, evaluator.Disassemble(index));
      if (options.Boolean && i + 1 == count) {
        out << (evaluator.GetAsBoolean(index) ? "True" : "False") << '\n';
      } else {
        evaluator.GetResults(index, result);
        out << ParsDoubleAsString(result, separator) << '\n';
      }
    } catch (const std::exception& error) {  // EVXParserException, or a failed allocation
      out.flush();
      if (count > 1) err << "expression " << i + 1 << ": ";
      err << error.what() << '\n';
      return kExitError;
    }
  }
  return kExitOk;
}

// Reads the whole script; false when the file cannot be read.
bool ReadScript(const std::string& name, std::istream& in, std::string& text) {
  if (name == "-") {
    text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
  }
  std::ifstream file(name, std::ios::binary);
  if (!file) return false;
  text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return !file.bad();
}

int RunScriptFile(TVXExpressionEvaluatorBase& evaluator, const TEvalOptions& options,
                  std::istream& in, std::ostream& out, std::ostream& err) {
  const char separator = options.Evaluator.DecimalSeparator;
  std::string text;
  if (!ReadScript(options.ScriptFile, in, text)) {
    err << "cannot read script \"" << options.ScriptFile << "\"\n";
    return kExitError;
  }
  try {
    const TCompiledScript script = CompileScript(evaluator, SplitScriptLines(text));
    if (options.Dump) {
      for (int index = script.First; index < script.End; ++index) {
        if (IsBlankLine(evaluator.GetExpression(index))) continue;
        out << "line " << script.LineOf(index) << ":\n";
        WriteBlock(out, evaluator.Disassemble(index));
      }
    }
    TTraceCallback trace;
    if (options.Trace) {
      // Blank lines yield nothing and are left out of the trace.
      trace = [&](int index, const TVXParsDouble& value) {
        if (IsBlankLine(evaluator.GetExpression(index))) return;
        out << index - script.First << ": " << ParsDoubleAsString(value, separator) << '\n';
      };
    }
    TVXParsDouble result;
    TVXSectionOutcome outcome;
    {
      TStopWatchdog watchdog(evaluator, std::chrono::duration<double>(options.TimeoutSeconds));
      outcome = RunScript(evaluator, script, result, trace);
    }
    if (outcome.Aborted) {
      out.flush();
      err << "script stopped after " << FloatToStr(options.TimeoutSeconds) << " s (timeout)\n";
      return kExitTimeout;
    }
    out << ParsDoubleAsString(result, separator) << '\n';
  } catch (const EScriptError& error) {
    out.flush();
    err << error.Describe() << '\n';
    return kExitError;
  }
  return kExitOk;
}

}  // namespace

int RunEvalCommand(const TEvalOptions& options, std::istream& in, std::ostream& out,
                   std::ostream& err) {
  std::unique_ptr<TVXExpressionEvaluatorBase> evaluator;
  try {
    evaluator = MakeEvaluator(options.Evaluator);
  } catch (const std::exception& error) {
    err << "the engine did not start: " << error.what() << '\n';
    return kExitError;
  }
  if (!options.ScriptFile.empty()) return RunScriptFile(*evaluator, options, in, out, err);
  return EvaluateExpressions(*evaluator, options, out, err);
}

}  // namespace loom
