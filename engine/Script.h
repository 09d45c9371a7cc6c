// Scripts: formula texts of one expression per line, compiled into an evaluator and run once as
// one section, jumps followed. Line n of a script is the expression at index first + n - 1, so
// an error of an expression can always be reported with its line.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "engine/Sections.h"

namespace loom {

// An error of a script: the engine's message and the 1-based line it belongs to (0 when it
// belongs to no single line). A jump-pairing error belongs to the command left unmatched.
class EScriptError : public std::runtime_error {
 public:
  EScriptError(int line, const std::string& message) : std::runtime_error(message), Line(line) {}
  int Line;
  // "line 3: message", or the message alone when Line is 0.
  std::string Describe() const;
};

// Cuts text into lines at "\n", dropping one "\r" at the end of each line. A final "\n" ends
// the last line rather than starting an empty one.
std::vector<std::string> SplitScriptLines(std::string_view text);

// True for a line of blanks and tabs only: such a line is an expression that yields nothing.
bool IsBlankLine(std::string_view line);

// A compiled script: the expressions first .. end-1 of the evaluator and their jump pairing.
struct TCompiledScript {
  int First = 0;
  int End = 0;
  TVXJumpTable Jumps;
  int LineOf(int index) const { return index - First + 1; }
};

// Compiles every line (blank lines as empty expressions), then pairs the jump commands.
// Throws EScriptError: a compile error with its line, a pairing error with the line of the
// command that could not be paired.
TCompiledScript CompileScript(TVXExpressionEvaluatorBase& evaluator,
                              const std::vector<std::string>& lines);

// Told each evaluated expression's index and result, in order of evaluation.
using TTraceCallback = std::function<void(int index, const TVXParsDouble& result)>;

// Runs the script once as one section; result receives the section's result. A run-time error
// is thrown as EScriptError with its line; a stop request returns an outcome with Aborted set.
TVXSectionOutcome RunScript(TVXExpressionEvaluatorBase& evaluator, const TCompiledScript& script,
                            TVXParsDouble& result, const TTraceCallback& trace = {});

}  // namespace loom
