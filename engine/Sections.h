// Sections: a run of expressions of one evaluator that executes as one program, with the jump
// commands (If/Else/EndIf, While/Wend, Repeat/Until) moving the expression index.
#pragma once

#include <string>
#include <vector>

#include "engine/Evaluator.h"

namespace loom {

// The pairing of jump commands: for each expression index, where execution continues when
// that expression's result carries the jump flag (-1 for expressions that never jump).
using TVXJumpTable = std::vector<int>;

// Pairs If/Else/EndIF, While/Wend and Repeat/Until over expressions first .. end-1 of the
// evaluator (the whole list by default). Throws "Invalid loop command" for a wrong partner and
// "Loops or jumps are not matched" for a command left without one; before it throws, unmatched
// (when given) receives the index of that command (the innermost block left open at the end).
TVXJumpTable PairJumps(const TVXExpressionEvaluatorBase& evaluator, int first = 0, int end = -1,
                       int* unmatched = nullptr);

// What a section run reports: whether it ran to its end, and where and why it stopped.
struct TVXSectionOutcome {
  bool Completed = true;
  bool Aborted = false;      // a stop request ended it between two expressions
  int FailedIndex = -1;      // the expression that raised, or -1
  std::string ErrorMessage;  // that expression's error message
};

// What the section runner tells its caller and asks of it. The defaults let a section run as
// it is, so an observer overrides only what it needs.
class TVXSectionObserver {
 public:
  virtual ~TVXSectionObserver() = default;
  // Asked before each expression; false ends the section as aborted.
  virtual bool BeforeExpression(int /*index*/) { return true; }
  // Told after each expression with its result.
  virtual void AfterExpression(int /*index*/, const TVXParsDouble& /*result*/) {}
  // While true, no jump is taken (the host is stopping). Asked after each jump command, and
  // before each stretch.
  virtual bool StopRecursion() { return false; }
  // False lets the runner take a stretch of arithmetic lines and jump commands as one
  // expression: it is asked before the stretch and told after it, with its last line run. A
  // jump backwards ends a stretch, so a loop comes back to the observer on every turn.
  virtual bool EveryExpression() const { return true; }
};

// Runs expressions first .. end-1 as one section, following jumps: the result's number and
// jump flag are cleared first, each expression's result then overwrites it. An exception ends
// the section and is reported in the outcome; a stop request is honoured between expressions
// (between stretches of arithmetic lines and jump commands, which run as one, and on every
// turn of a loop).
// A jump may lead before first; only end bounds the run.
TVXSectionOutcome RunSection(TVXExpressionEvaluatorBase& evaluator, const TVXJumpTable& jumps,
                             int first, int end, TVXParsDouble& result,
                             TVXSectionObserver* observer = nullptr);

}  // namespace loom
