// Jump commands, their pairing across expressions, and the section runner that follows them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/Sections.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using Lines = std::vector<std::string>;

// A jump command yields 1 with the jump flag when it jumps (a condition inside the tolerance
// band), 0 without it otherwise; ordinary results never carry the flag. A line that holds the
// command inside a larger expression carries the command's flag, whatever its own value.
TEST(JumpResults, FlagIsSetExactlyWhenTheJumpIsTaken) {
  TVXExpressionEvaluator evaluator;
  std::string shown;
  for (const char* formula :
       {"If(0.05)", "If(-0.1)", "While(0)", "Until(1)", "Else", "Wend", "EndIf", "Repeat",
        "1 + Random", "y := While(0)", "If(0) * 1", "z := Until(1)", "2 + Until(0)", "[If(1), 5]",
        "CondEval(1, Wend, 0)"}) {
    TVXParsDouble result = TVXParsDouble::FromString("stale");
    result.JumpFlag = true;
    evaluator.GetResults(evaluator.AddExpression(formula), result);
    shown += std::to_string(result.JumpFlag) + (result.JumpFlag ? Shown(result) : "") + " ";
  }
  EXPECT_EQ(shown, "11 0 11 0 11 11 0 0 0 11 11 0 13 0 11 ");
}

TEST(PairJumps, TargetsOfValidNests) {
  const std::pair<Lines, std::vector<int>> rows[] = {
      {{"x := 1", "If(x)", "a := 1", "EndIf"}, {-1, 4, -1, -1}},
      {{"If(x)", "", "Else", "", "EndIf"}, {3, -1, 5, -1, -1}},  // empty lines keep their place
      {{"While(x)", "x := x - 1", "Wend"}, {3, -1, 0}},
      {{"Repeat", "x := x - 1", "Until(x)"}, {-1, -1, 1}},
      {{"If(a)", "Else", "If(b)", "Else", "EndIf", "EndIf"}, {2, 6, 4, 5, -1, -1}},
      {{"Repeat", "while(a)", "REPEAT", "Until(b)", "wend", "Until(c)"}, {-1, 5, -1, 3, 1, 1}},
  };
  for (const auto& [lines, targets] : rows) {
    TVXExpressionEvaluator evaluator;
    AddScript(evaluator, lines);
    EXPECT_EQ(PairJumps(evaluator), targets) << lines.front() << " ... " << lines.back();
  }
  TVXExpressionEvaluator evaluator;
  AddScript(evaluator, {"If(1)", "EndIf", "While(0)", "Wend", "x := 1"});
  EXPECT_EQ(PairJumps(evaluator, 2, 4), (std::vector<int>{-1, -1, 4, 2, -1}));
  EXPECT_THROW(PairJumps(evaluator, 1, 4), EVXParserException);  // EndIf without its If
}

TEST(PairJumps, Errors) {
  const std::pair<Lines, const char*> rows[] = {
      {{"If(a)", "Else", "Wend"}, "Invalid loop command: \"Wend\" expects \"EndIf\""},
      {{"If(a)", "Else", "Else", "EndIf"}, "Invalid loop command: \"Else\" expects \"EndIf\""},
      {{"While(a)", "Else", "Wend"}, "Invalid loop command: \"Else\" expects \"Wend\""},
      {{"Repeat", "EndIf"}, "Invalid loop command: \"EndIf\" expects \"Until\""},
      {{"While(a)", "If(b)", "Wend", "EndIf"}, "Invalid loop command: \"Wend\" expects \"EndIf\""},
      {{"Else"}, "Loops or jumps are not matched"},
      {{"Until(1)"}, "Loops or jumps are not matched"},
      {{"x := 1", "Repeat", "x := 2"}, "Loops or jumps are not matched"},
  };
  for (const auto& [lines, message] : rows) {
    TVXExpressionEvaluator evaluator;
    AddScript(evaluator, lines);
    try {
      PairJumps(evaluator);
      ADD_FAILURE() << "paired: " << message;
    } catch (const EVXParserException& e) {
      EXPECT_STREQ(e.what(), message);
    }
  }
}

// Compiles and pairs a script, then runs it whole as one section.
struct Script {
  explicit Script(const Lines& lines) {
    AddScript(evaluator, lines);
    jumps = PairJumps(evaluator);
  }
  TVXSectionOutcome Run(TVXSectionObserver* observer = nullptr) {
    return RunSection(evaluator, jumps, 0, evaluator.GetExpressionCount(), result, observer);
  }
  double Var(const char* name) { return VariableValue(evaluator, name); }

  TVXExpressionEvaluator evaluator;
  TVXJumpTable jumps;
  TVXParsDouble result;
};

// Records the indexes asked about and evaluated; stops before stopAt; reports stopping.
struct TRecordingObserver : TVXSectionObserver {
  bool BeforeExpression(int index) override {
    asked.push_back(index);
    return index != stopAt;
  }
  void AfterExpression(int index, const TVXParsDouble&) override { trace.push_back(index); }
  bool StopRecursion() override { return stopping; }
  std::vector<int> asked, trace;
  int stopAt = -1;
  bool stopping = false;
};

// How a section run ended, in a word or with its error.
std::string Summary(const TVXSectionOutcome& outcome) {
  if (outcome.FailedIndex >= 0)
    return "failed at " + std::to_string(outcome.FailedIndex) + ": " + outcome.ErrorMessage;
  return outcome.Completed ? "completed" : outcome.Aborted ? "aborted" : "ended";
}

// Cuts a run off after a number of expressions, so that a script that would loop for ever
// shows as aborted instead of hanging the test.
struct TStepLimit : TVXSectionObserver {
  bool BeforeExpression(int) override { return ++steps <= 10000; }
  int steps = 0;
};

TEST(RunSection, BranchesAndLoops) {
  const std::pair<Lines, const char*> rows[] = {
      {{"a := 0", "b := 1", "If(a)", "If(b)", "r := 11", "Else", "r := 10", "EndIf", "Else",
        "If(b)", "r := 1", "Else", "r := 0", "EndIf", "EndIf", "r"},
       "1"},
      {{"n := 5", "f := 1", "Repeat", "f := f * n", "n := n - 1", "Until(n < 1)", "f + n"}, "120"},
      {{"i := 0", "t := 0", "While(i < 3)", "i := i + 1", "j := 0", "While(j < 4)", "j := j + 1",
        "t := t + i * j", "Wend", "Wend", "t"},
       "60"},
      {{"s := \"\"", "i := 0", "While(i < 3)", "n := 0", "Repeat", "n := n + 1", "s := s + n",
        "Until(n > i)", "s := s + \"|\"", "i := i + 1", "Wend", "s"},
       "\"1|12|123|\""},
      {{"If(1)", "x := 1", "EndIf"}, "0"},  // the EndIf's own result ends it
      // jump commands inside larger expressions jump as the bare commands do
      {{"y := While(0)", "x := 1", "Wend", "x + y"}, "1"},
      {{"i := 0", "t := 0", "w := While(i < 3) + 0", "i := i + 1", "t := t + i", "Wend", "t"}, "6"},
      {{"c := 3", "Repeat", "c := c - 1", "z := Until(c < 1)", "c"}, "0"},
      {{"r := 0", "If(0) * 1", "r := 1", "EndIf", "r"}, "0"},
      {{"x := 5", "k := If(x > 2)", "r := 1", "e := Else", "r := 2", "EndIf * 1", "r"}, "1"},
  };
  for (const auto& [lines, shown] : rows) {
    Script script(lines);
    TStepLimit bound;
    EXPECT_EQ(Summary(script.Run(&bound)), "completed");
    EXPECT_EQ(Shown(script.result), shown) << lines.front() << " ... " << lines.back();
    EXPECT_FALSE(script.result.JumpFlag);
  }
}

TEST(RunSection, JumpsLeadingOutOfTheSection) {
  TVXExpressionEvaluator evaluator;
  AddScript(evaluator, {"c := 0", "While(c < 3)", "c := c + 1", "Wend", "done := 1"});
  TVXParsDouble result;
  evaluator.GetResults(0);
  // The section holds only "Wend": its jump leads back to the While before the section, and
  // the loop then runs until the While jumps past the end.
  EXPECT_TRUE(RunSection(evaluator, PairJumps(evaluator), 3, 4, result).Completed);
  EXPECT_EQ(VariableValue(evaluator, "c"), 3.0);
  EXPECT_EQ(VariableValue(evaluator, "done"), 0.0);
}

TEST(RunSection, StopRecursionSuppressesJumps) {
  TRecordingObserver hooks;
  hooks.stopping = true;
  Script skipped({"r := 0", "If(0)", "r := 1", "EndIf", "r"});
  skipped.Run(&hooks);
  EXPECT_EQ(Shown(skipped.result), "1");
  Script loop({"n := 0", "While(1)", "n := n + 1", "Wend", "n"});
  EXPECT_TRUE(loop.Run(&hooks).Completed);
  EXPECT_EQ(Shown(loop.result), "1");
}

TEST(RunSection, ErrorsHooksAndStopRequestsEndTheSection) {
  Script failing({"v := [1, 2]", "w := [1, 2, 3]", "before := 1", "z := v + w", "after := 1"});
  EXPECT_EQ(Summary(failing.Run()), "failed at 3: vector sizes are not matched");
  EXPECT_EQ(failing.Var("before") + failing.Var("after"), 1.0);

  Script asked({"a := 1", "b := 1", "c := 1", "d := 1"});
  TRecordingObserver observer;
  observer.stopAt = 2;
  EXPECT_EQ(Summary(asked.Run(&observer)), "aborted");
  EXPECT_EQ(observer.asked, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(asked.Var("b") + asked.Var("c"), 1.0);

  Script stopped({"a := 1", "b := 1"});
  stopped.evaluator.RequestStop();
  EXPECT_EQ(Summary(stopped.Run()), "aborted");
  EXPECT_EQ(stopped.Var("a"), 0.0);
}

}  // namespace
}  // namespace loom
