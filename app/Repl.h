// `loom repl`: reads formulas line by line, compiles each into one evaluator and prints its
// result. A line that opens a jump block (If, While, Repeat) is continued with more lines until
// the block is closed; the block then runs as one section, jumps followed.
#pragma once

#include <iosfwd>
#include <string>

#include "app/LineReader.h"
#include "engine/Evaluator.h"

namespace loom {

inline constexpr const char* kReplPrompt = "loom> ";
inline constexpr const char* kReplContinuationPrompt = "....> ";

// How a jump command changes the nesting of blocks: +1 for If, While and Repeat, -1 for EndIf,
// Wend and Until, 0 for Else and for every other expression.
int BlockDepthChange(TVXParsJumpType type);

// Asks a running REPL section to stop before its next expression; safe in a signal handler.
void InterruptRepl();

class TRepl {
 public:
  TRepl(TVXExpressionEvaluatorBase& evaluator, TLineReader& reader, std::ostream& out,
        std::ostream& err);

  // Reads and handles lines until :quit or the end of the input; returns the exit status.
  int Run();

  // Handles one line read at the main prompt; false when the REPL is to end.
  bool HandleLine(const std::string& line);

 private:
  // Runs a ":" command line; false for :quit.
  bool RunCommand(const std::string& text);
  bool RunCommand(const std::string& command, const std::string& argument);
  // Compiles line; when it opens a block, reads the rest of the block, then runs it all.
  void CompileAndRun(const std::string& line);
  // Reads continuation lines until the block opened at first is closed; false when the input
  // ended or a line failed to compile (the block is then dropped).
  bool ReadBlock(int first);
  void RunRange(int first, int end);
  void Dump(const std::string& text);
  void PrintVars();
  void PrintHelp();
  void ReportError(const std::string& message);

  TVXExpressionEvaluatorBase& evaluator_;
  TLineReader& reader_;
  std::ostream& out_;
  std::ostream& err_;
  bool endOfInput_ = false;
  bool quit_ = false;
};

}  // namespace loom
