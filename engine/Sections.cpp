// Jump pairing and the section runner: how a list of expressions with If/Else/EndIF,
// While/Wend and Repeat/Until runs as one section.
#include "engine/Sections.h"

#include <stdexcept>

#include "engine/Messages.h"

namespace loom {

namespace {

// The command that closes a block opened (or continued) by type.
TVXParsJumpType CloserOf(TVXParsJumpType type) {
  switch (type) {
    case jtIf:
    case jtElse:
      return jtEndIF;
    case jtWhile:
      return jtWend;
    case jtRepeat:
      return jtUntil;
    default:
      return jtNone;
  }
}

[[noreturn]] void InvalidCommand(TVXParsJumpType met, TVXParsJumpType open) {
  throw EVXParserException(
      FormatMessage(rsInvalidLoopCommand, {JumpCommandName(met), JumpCommandName(CloserOf(open))}));
}

}  // namespace

TVXJumpTable PairJumps(const TVXExpressionEvaluatorBase& evaluator, int first, int end,
                       int* unmatched) {
  if (end < 0) end = evaluator.GetExpressionCount();
  TVXJumpTable targets(static_cast<std::size_t>(evaluator.GetExpressionCount()), -1);
  // Open blocks: the index of their opening command and, for If, of its Else.
  struct Open {
    int index;
    TVXParsJumpType type;
    int elseIndex = -1;
  };
  std::vector<Open> open;
  auto target = [&](int index) -> int& { return targets[static_cast<std::size_t>(index)]; };

  // Names the command that cannot be paired before the error leaves.
  auto blame = [&](int index) {
    if (unmatched) *unmatched = index;
  };
  for (int i = first; i < end; ++i) {
    const TVXParsJumpType type = evaluator.GetJumpType(i);
    blame(i);
    switch (type) {
      case jtIf:
      case jtWhile:
      case jtRepeat:
        open.push_back({i, type});
        break;
      case jtElse:
        if (open.empty()) throw EVXParserException(rsLoopsNotMatched);
        if (open.back().type != jtIf || open.back().elseIndex >= 0)
          InvalidCommand(type, open.back().elseIndex >= 0 ? jtElse : open.back().type);
        open.back().elseIndex = i;
        target(open.back().index) = i + 1;  // a false condition continues after Else
        break;
      case jtEndIF:
      case jtWend:
      case jtUntil: {
        if (open.empty()) throw EVXParserException(rsLoopsNotMatched);
        const Open block = open.back();
        if (CloserOf(block.type) != type) InvalidCommand(type, block.type);
        open.pop_back();
        if (type == jtEndIF) {
          if (block.elseIndex >= 0)
            target(block.elseIndex) = i + 1;  // the true branch skips the false one
          else
            target(block.index) = i + 1;
        } else if (type == jtWend) {
          target(block.index) = i + 1;  // a false condition leaves the loop
          target(i) = block.index;      // Wend goes back to test the condition again
        } else {
          target(i) = block.index + 1;  // a false condition repeats the body
        }
        break;
      }
      default:
        break;
    }
  }
  if (!open.empty()) {
    blame(open.back().index);
    throw EVXParserException(rsLoopsNotMatched);
  }
  return targets;
}

TVXSectionOutcome RunSection(TVXExpressionEvaluatorBase& evaluator, const TVXJumpTable& jumps,
                             int first, int end, TVXParsDouble& result,
                             TVXSectionObserver* observer) {
  TVXSectionOutcome outcome;
  result.Value = 0;
  result.JumpFlag = false;
  result.VarType = vtDouble;
  // Results are read in place; only the last one becomes the section's result, so a section
  // of vector formulas does not copy every intermediate vector.
  const TVXParsDouble* last = nullptr;
  const int jumpCount = static_cast<int>(jumps.size());
  const bool stretches = !observer || !observer->EveryExpression();
  int running = -1;  // the expression being evaluated: only its exceptions end the section here
  bool inStretch = false;
  int previous = -1;  // in a stretch, the line run before the running one (-1 for none)
  try {
    for (int i = first; i < end; ++i) {
      if (evaluator.StopRequested() || (observer && !observer->BeforeExpression(i))) {
        outcome.Completed = false;
        outcome.Aborted = true;
        break;
      }
      // Arithmetic lines and jump commands on numbers run as one stretch, which ends at a
      // jump that leads out of it: the jump is taken below, as after any other line.
      inStretch = stretches && evaluator.StretchStartsAt(i, end);
      const TVXParsDouble* stretchLast =
          inStretch ? evaluator.RunStretch(
                          i, end, observer && observer->StopRecursion() ? nullptr : jumps.data(),
                          jumpCount, running, previous)
                    : nullptr;
      if (stretchLast) {
        i = running;
        last = stretchLast;
      } else {
        inStretch = false;
        running = i;
        last = &evaluator.GetResultRef(i);
      }
      inStretch = false;
      running = -1;
      if (observer) observer->AfterExpression(i, *last);
      if (last->JumpFlag && i >= 0 && i < jumpCount && jumps[static_cast<std::size_t>(i)] >= 0 &&
          !(observer && observer->StopRecursion()))
        i = jumps[static_cast<std::size_t>(i)] - 1;
    }
  } catch (const std::exception& error) {
    if (running < 0) throw;  // the observer's, not the section's
    // A line that raises inside a stretch leaves the line run before it as the last one.
    if (inStretch && previous >= 0) last = &evaluator.LastResult(previous);
    outcome.Completed = false;
    outcome.FailedIndex = running;
    outcome.ErrorMessage = error.what();
  }
  if (last) CopyResult(*last, result);
  return outcome;
}

}  // namespace loom
