// The jump commands. Each writes a number result, 1 when the section runner is to jump and 0
// otherwise, and sets the result's jump flag accordingly; where to jump is the runner's
// business (the pairing of the commands in a section).
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"

namespace loom {

namespace {

// A condition is false exactly when its value lies strictly between -0.1 and 0.1, the band
// the evaluator applies to every boolean result.
bool ConditionHolds(const TVXParsDouble& condition) {
  return !(condition.Value > -0.1 && condition.Value < 0.1);
}

void SetJump(TVXParsExpressionRec* rec, bool jump) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = jump ? 1.0 : 0.0;
  rec->Result.JumpFlag = jump;
}

}  // namespace

void _VXParsIf(TVXParsExpressionRec* rec) {
  SetJump(rec, !ConditionHolds(rec->Arg(0)));
}
void _VXParsElse(TVXParsExpressionRec* rec) {
  SetJump(rec, true);
}
void _VXParsEndIF(TVXParsExpressionRec* rec) {
  SetJump(rec, false);
}
void _VXParsWhile(TVXParsExpressionRec* rec) {
  SetJump(rec, !ConditionHolds(rec->Arg(0)));
}
void _VXParsWend(TVXParsExpressionRec* rec) {
  SetJump(rec, true);
}
void _VXParsRepeat(TVXParsExpressionRec* rec) {
  SetJump(rec, false);
}
void _VXParsUntil(TVXParsExpressionRec* rec) {
  SetJump(rec, !ConditionHolds(rec->Arg(0)));
}

}  // namespace loom
