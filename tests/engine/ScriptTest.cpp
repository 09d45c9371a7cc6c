// Scripts: line splitting, compiling with line numbers, and one run as a section.
#include <gtest/gtest.h>

#include "engine/Script.h"
#include "functions/Registry.h"

namespace loom {
namespace {

struct SplitCase {
  std::string text;
  std::vector<std::string> lines;
};

TEST(SplitScriptLines, CutsAtLineBreaksAndDropsCarriageReturns) {
  const std::vector<SplitCase> cases = {
      {"", {}},
      {"a", {"a"}},
      {"a\r\nb\r\n", {"a", "b"}},
      {"\n\nx", {"", "", "x"}},
      {"a\r\r\n", {"a\r"}},  // only one "\r" belongs to the line break
  };
  for (const auto& c : cases) EXPECT_EQ(SplitScriptLines(c.text), c.lines) << c.text;
}

// Runs a script in a fresh evaluator; returns "result" or the described error, and the trace.
struct ScriptRun {
  std::string output;
  std::string trace;
};

ScriptRun RunText(const std::string& text) {
  TVXExpressionEvaluator evaluator;
  ScriptRun run;
  try {
    const TCompiledScript script = CompileScript(evaluator, SplitScriptLines(text));
    TVXParsDouble result;
    RunScript(evaluator, script, result, [&](int index, const TVXParsDouble& value) {
      run.trace += std::to_string(index) + "=" + ParsDoubleAsString(value) + " ";
    });
    run.output = ParsDoubleAsString(result);
  } catch (const EScriptError& error) {
    run.output = error.Describe();
  }
  return run;
}

TEST(RunScript, GivesTheLastResultOrTheErrorWithItsLine) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"x:=1\n\n\nx+1", "2"},
      // compile errors: blank lines count as lines
      {"x:=1\n\n1+", "line 3: 1+: Can not find operand/function \"+\""},
      {"3 4", "line 1: 3 4: two successive variables/constants \"3\""},
      // run-time errors
      {"x:=1\n[1,2]+[1,2,3]", "line 2: vector sizes are not matched"},
      // pairing errors belong to the command that cannot be paired
      {"If(1)\n2", "line 1: Loops or jumps are not matched"},
      {"While(1)\nEndIf", "line 2: Invalid loop command: \"EndIf\" expects \"Wend\""},
      {"x:=1\nWend", "line 2: Loops or jumps are not matched"},
      {"Repeat\nIf(1)\nWhile(0)\nWend\nx:=1", "line 2: Loops or jumps are not matched"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(RunText(text).output, expected) << text;
}

TEST(RunScript, TraceTellsEveryEvaluatedIndexInOrder) {
  // The condition holds, so the If does not jump; the Else jumps past the EndIf (index 5).
  const ScriptRun run = RunText("x:=5\nIf(x>3)\ny:=7\nElse\ny:=2\nEndIf\ny");
  EXPECT_EQ(run.output + " | " + run.trace, "7 | 0=5 1=0 2=7 3=1 6=7 ");
}

TEST(CompileScript, IndexesFollowLinesFromTheFirstFreeIndex) {
  TVXExpressionEvaluator evaluator;
  evaluator.GetResults(evaluator.AddExpression("a:=1"));
  const TCompiledScript script = CompileScript(evaluator, {"b:=2", "", "a+b"});
  EXPECT_EQ(std::to_string(script.First) + std::to_string(script.End) +
                std::to_string(script.LineOf(3)) + evaluator.GetExpression(3),
            "143a+b");
  TVXParsDouble result;
  RunScript(evaluator, script, result);
  EXPECT_EQ(ParsDoubleAsString(result), "3");
}

}  // namespace
}  // namespace loom
