#include "app/Repl.h"

#include <atomic>
#include <iostream>

#include "app/EvaluatorSetup.h"
#include "engine/Script.h"

namespace loom {
namespace {

// Set by InterruptRepl (a signal handler), read between two expressions of a running section.
std::atomic<bool> interruptRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "InterruptRepl runs in a signal handler");

// Ends a running block between two expressions once Ctrl-C was pressed.
class TInterruptObserver : public TVXSectionObserver {
 public:
  bool BeforeExpression(int /*index*/) override {
    return !interruptRequested.load(std::memory_order_relaxed);
  }
};

std::string Trim(const std::string& text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string::npos) return {};
  const std::size_t last = text.find_last_not_of(" \t");
  return text.substr(first, last - first + 1);
}

}  // namespace

int BlockDepthChange(TVXParsJumpType type) {
  switch (type) {
    case jtIf:
    case jtWhile:
    case jtRepeat:
      return 1;
    case jtEndIF:
    case jtWend:
    case jtUntil:
      return -1;
    default:
      return 0;
  }
}

void InterruptRepl() {
  interruptRequested.store(true, std::memory_order_relaxed);
}

TRepl::TRepl(TVXExpressionEvaluatorBase& evaluator, TLineReader& reader, std::ostream& out,
             std::ostream& err)
    : evaluator_(evaluator), reader_(reader), out_(out), err_(err) {}

int TRepl::Run() {
  std::string line;
  while (!endOfInput_ && !quit_ && reader_.ReadLine(kReplPrompt, line)) {
    if (!HandleLine(line)) break;
  }
  return kExitOk;
}

bool TRepl::HandleLine(const std::string& line) {
  const std::string text = Trim(line);
  if (text.empty()) return true;
  reader_.AddHistory(line);
  if (text.front() == ':') return RunCommand(text);
  CompileAndRun(line);
  return !quit_;
}

bool TRepl::RunCommand(const std::string& text) {
  const std::size_t space = text.find_first_of(" \t");
  const std::string command = text.substr(0, space);
  const std::string argument = space == std::string::npos ? "" : Trim(text.substr(space));
  return RunCommand(command, argument);
}

bool TRepl::RunCommand(const std::string& command, const std::string& argument) {
  if (command == ":quit" || command == ":q" || command == ":exit") return false;
  if (command == ":help") {
    PrintHelp();
  } else if (command == ":dump") {
    if (argument.empty()) {
      ReportError(":dump needs an expression");
    } else {
      Dump(argument);
    }
  } else if (command == ":vars") {
    PrintVars();
  } else {
    ReportError("unknown command \"" + command + "\" (:help lists the commands)");
  }
  return true;
}

void TRepl::CompileAndRun(const std::string& line) {
  int first = -1;
  try {
    first = evaluator_.AddExpression(line);
  } catch (const std::exception& error) {
    ReportError(error.what());
    return;
  }
  if (BlockDepthChange(evaluator_.GetJumpType(first)) > 0 && !ReadBlock(first)) return;
  RunRange(first, evaluator_.GetExpressionCount());
}

bool TRepl::ReadBlock(int first) {
  int depth = BlockDepthChange(evaluator_.GetJumpType(first));
  std::string line;
  while (depth > 0) {
    if (!reader_.ReadLine(kReplContinuationPrompt, line)) {
      endOfInput_ = true;
      // Pairing what was read names the unclosed block with the engine's own message.
      RunRange(first, evaluator_.GetExpressionCount());
      return false;
    }
    reader_.AddHistory(line);
    if (Trim(line).starts_with(':')) {
      // Commands work inside a block too; :quit drops the block and leaves.
      if (!RunCommand(Trim(line))) {
        quit_ = true;
        return false;
      }
      continue;
    }
    try {
      if (IsBlankLine(line)) {
        evaluator_.AddEmptyExpression(line);
        continue;
      }
      const int index = evaluator_.AddExpression(line);
      depth += BlockDepthChange(evaluator_.GetJumpType(index));
    } catch (const std::exception& error) {
      ReportError(error.what());
      ReportError("block dropped");
      return false;
    }
  }
  return true;
}

void TRepl::RunRange(int first, int end) {
  TVXJumpTable jumps;
  try {
    jumps = PairJumps(evaluator_, first, end);
  } catch (const std::exception& error) {
    ReportError(error.what());
    return;
  }
  interruptRequested.store(false);
  evaluator_.ClearStop();
  TInterruptObserver observer;
  TVXParsDouble result;
  const TVXSectionOutcome outcome = RunSection(evaluator_, jumps, first, end, result, &observer);
  if (outcome.FailedIndex >= 0) {
    ReportError(outcome.ErrorMessage);
  } else if (outcome.Aborted) {
    ReportError("interrupted");
  } else {
    out_ << ParsDoubleAsString(result, evaluator_.DecimalSeparator()) << '\n';
  }
  out_.flush();
}

void TRepl::Dump(const std::string& text) {
  try {
    const int index = evaluator_.AddExpression(text);
    const std::string listing = evaluator_.Disassemble(index);
    out_ << listing;
    if (listing.empty() || listing.back() != '\n') out_ << '\n';
  } catch (const std::exception& error) {
    ReportError(error.what());
  }
}

void TRepl::PrintVars() {
  std::vector<std::string> names;
  std::vector<TVXParsExprWord*> words;
  evaluator_.GetVars(names, &words);
  for (std::size_t i = 0; i < names.size(); ++i) {
    TVXParsExprWord* word = i < words.size() ? words[i] : nullptr;
    std::string value;
    if (word != nullptr) {
      const TVXParsDouble* data = word->AsPointer();
      value = data != nullptr ? ParsDoubleAsString(*data, evaluator_.DecimalSeparator())
                              : word->GetAsString();
    }
    out_ << names[i] << " = " << value << '\n';
  }
}

void TRepl::PrintHelp() {
  out_ << "Type a formula to compile and evaluate it; variables stay from line to line.\n"
          "A line starting If, While or Repeat opens a block that is read up to its EndIf,\n"
          "Wend or Until and then runs once, jumps followed.\n"
          "Commands:\n"
          "  :help        this text\n"
          "  :dump EXPR   the compiled list of EXPR, without evaluating it\n"
          "  :vars        the variables and their values\n"
          "  :quit        leave (also Ctrl-D)\n";
}

void TRepl::ReportError(const std::string& message) {
  out_.flush();
  err_ << message << '\n';
  err_.flush();
}

}  // namespace loom
