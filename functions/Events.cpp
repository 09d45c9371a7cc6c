// Events, timing and panel exchange: the functions through which a formula talks to the panel
// that runs it. Events are queued on the evaluator for the panel to fire after the run; the
// panel itself is reached through the evaluator's host, so without a panel these do nothing.
#include "engine/Evaluator.h"
#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/FormulaHost.h"

namespace loom {

namespace {

[[noreturn]] void FailInvalidParameters() {
  throw EVXParserException(rsInvalidParameters);
}

const TVXParsDouble& NumberArg(TVXParsExpressionRec* rec, std::size_t index) {
  const TVXParsDouble& arg = rec->Arg(index);
  if (arg.VarType != vtDouble) FailInvalidParameters();
  return arg;
}

const std::string& StringArg(TVXParsExpressionRec* rec, std::size_t index) {
  const TVXParsDouble& arg = rec->Arg(index);
  if (arg.VarType != vtString) FailInvalidParameters();
  return arg.StrValue;
}

// A rounded number as a 32-bit integer, wrapping as the conversion of the 64-bit value does.
std::int32_t RoundToInt32(const TVXParsDouble& arg) {
  return static_cast<std::int32_t>(RoundToInt64(arg.Value));
}

}  // namespace

void _VXParsFireEvent(TVXParsExpressionRec* rec) {
  const std::int32_t id = RoundToInt32(NumberArg(rec, 0));
  EvaluatorOf(rec).DeferredEvents.push_back(
      std::make_unique<TDeferredEvent>(id, StringArg(rec, 1)));
}

void _VXParsFireEventEx(TVXParsExpressionRec* rec) {
  for (std::size_t i = 0; i < 10; ++i) NumberArg(rec, i);
  const std::string& text = StringArg(rec, 10);
  auto number = [rec](std::size_t i) { return rec->Arg(i).Value; };
  EvaluatorOf(rec).DeferredEvents.push_back(std::make_unique<TDeferredEvent>(
      RoundToInt32(rec->Arg(0)), RoundToInt32(rec->Arg(1)), number(2), number(3),
      RoundToInt32(rec->Arg(4)), RoundToInt32(rec->Arg(5)), number(6), number(7), number(8),
      number(9), text));
}

// Waits on the evaluator's stop event, so a stop request (the panel's Abort) ends it at once.
void _VXParsWait(TVXParsExpressionRec* rec) {
  EvaluatorOf(rec).WaitForStop(RoundToInt64(NumberArg(rec, 0).Value));
}

void _VXParsUpdateOutputs(TVXParsExpressionRec* rec) {
  HostOf(rec).UpdateOutputs();
}

void _VXParsUpdateInputData(TVXParsExpressionRec* rec) {
  HostOf(rec).UpdateInputData();
}

void _VXParsTic(TVXParsExpressionRec* rec) {
  EvaluatorOf(rec).TicTime = HostOf(rec).FileTimeNow();
}

// Seconds since the last tic of this evaluator; without one, since the epoch of the 100-ns clock.
void _VXParsToc(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value =
      static_cast<double>(HostOf(rec).FileTimeNow() - EvaluatorOf(rec).TicTime) / 1e7;
}

}  // namespace loom
