// The --timeout watchdog: it stops a running section once, and only when the time is up.
#include <gtest/gtest.h>

#include "app/Watchdog.h"
#include "engine/Script.h"
#include "functions/Registry.h"

namespace loom {
namespace {

TEST(StopWatchdog, StopsALoopThatNeverEnds) {
  TVXExpressionEvaluator evaluator;
  const TCompiledScript script = CompileScript(evaluator, {"i:=0", "While(1)", "i:=i+1", "Wend"});
  TVXParsDouble result;
  TStopWatchdog watchdog(evaluator, std::chrono::milliseconds(50));
  const TVXSectionOutcome outcome = RunScript(evaluator, script, result);
  const bool fired = watchdog.Fired();
  EXPECT_TRUE(fired && outcome.Aborted && !outcome.Completed && evaluator.StopRequested());
}

// Without a limit it never fires; with one it does not fire early, and destroying it does not
// wait for the limit.
TEST(StopWatchdog, EndsQuietlyWhenTheRunIsShorterOrThereIsNoLimit) {
  TVXExpressionEvaluator evaluator;
  const auto started = std::chrono::steady_clock::now();
  for (const double seconds : {60.0, 0.0}) {
    TStopWatchdog watchdog(evaluator, std::chrono::duration<double>(seconds));
    EXPECT_FALSE(watchdog.Fired());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
  EXPECT_FALSE(evaluator.StopRequested());
}

}  // namespace
}  // namespace loom
