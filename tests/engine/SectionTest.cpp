// Jump commands, their pairing across expressions, and the section runner that follows them.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "functions/Registry.h"
#include "engine/Sections.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using testing::AddScript;
using testing::VariableValue;

// --- what a jump command yields ---

TEST(JumpResults, FlagIsSetExactlyWhenTheJumpIsTaken) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble c;
  evaluator.DefineVariable("c", &c, "", "");
  struct Row {
    const char* formula;
    double condition;
    bool jumps;
  };
  const Row rows[] = {
      {"If(c)", 0, true},     {"If(c)", 0.05, true},  {"If(c)", -0.0999, true},
      {"If(c)", 0.1, false},  {"If(c)", -0.1, false}, {"If(c)", 1, false},
      {"While(c)", 0, true},  {"While(c)", 2, false}, {"Until(c)", 0, true},
      {"Until(c)", 1, false}, {"Else", 0, true},      {"Wend", 0, true},
      {"EndIf", 0, false},    {"Repeat", 0, false},   {"If(c > 1)", 2, false},
      {"If(c > 1)", 1, true},
  };
  for (const Row& row : rows) {
    c.Value = row.condition;
    const int index = evaluator.AddExpression(row.formula);
    TVXParsDouble result = TVXParsDouble::FromString("stale");
    evaluator.GetResults(index, result);
    EXPECT_EQ(result.JumpFlag, row.jumps) << row.formula << " with " << row.condition;
    EXPECT_EQ(result.VarType, vtDouble) << row.formula;
    EXPECT_EQ(result.Value, row.jumps ? 1.0 : 0.0) << row.formula;
  }
}

TEST(JumpResults, OrdinaryResultsNeverCarryTheFlag) {
  TVXExpressionEvaluator evaluator;
  const int index = evaluator.AddExpression("1 + Random");
  TVXParsDouble result;
  result.JumpFlag = true;
  evaluator.GetResults(index, result);
  EXPECT_FALSE(result.JumpFlag);
  EXPECT_FALSE(evaluator.GetResults(evaluator.AddExpression("x := 0")).JumpFlag);
}

// --- pairing ---

struct PairRow {
  std::vector<std::string> lines;
  std::vector<int> targets;
};

TEST(PairJumps, TargetsOfValidNests) {
  const PairRow rows[] = {
      {{"x := 1", "y := 2"}, {-1, -1}},
      {{"If(x)", "a := 1", "EndIf"}, {3, -1, -1}},
      {{"If(x)", "a := 1", "Else", "a := 2", "EndIf"}, {3, -1, 5, -1, -1}},
      {{"While(x)", "x := x - 1", "Wend"}, {3, -1, 0}},
      {{"Repeat", "x := x - 1", "Until(x)"}, {-1, -1, 1}},
      {{"If(a)", "If(b)", "EndIf", "EndIf"}, {4, 3, -1, -1}},
      {{"If(a)", "Else", "If(b)", "Else", "EndIf", "EndIf"}, {2, 6, 4, 5, -1, -1}},
      {{"While(i < 3)", "If(j)", "k := 1", "Else", "k := 2", "EndIf", "Wend"},
       {7, 4, -1, 6, -1, -1, 0}},
      {{"Repeat", "While(a)", "Repeat", "Until(b)", "Wend", "Until(c)"}, {-1, 5, -1, 3, 1, 1}},
      {{"If(a)", "EndIf", "If(b)", "EndIf"}, {2, -1, 4, -1}},
      {{"while(a)", "wend", "REPEAT", "UNTIL(b)"}, {2, 0, -1, 3}},
  };
  for (const PairRow& row : rows) {
    TVXExpressionEvaluator evaluator;
    AddScript(evaluator, row.lines);
    const TVXJumpTable table = PairJumps(evaluator);
    EXPECT_EQ(table, row.targets) << row.lines.front() << " ... " << row.lines.back();
  }
}

TEST(PairJumps, EmptyLinesKeepTheirPlace) {
  TVXExpressionEvaluator evaluator;
  AddScript(evaluator, {"If(x)", "", "Else", "", "EndIf"});
  EXPECT_EQ(PairJumps(evaluator), (std::vector<int>{3, -1, 5, -1, -1}));
}

TEST(PairJumps, PairsWithinTheGivenRange) {
  TVXExpressionEvaluator evaluator;
  AddScript(evaluator, {"If(1)", "EndIf", "While(0)", "Wend", "x := 1"});
  const TVXJumpTable table = PairJumps(evaluator, 2, 4);
  ASSERT_GE(table.size(), 4u);
  EXPECT_EQ(table[2], 4);
  EXPECT_EQ(table[3], 2);
  EXPECT_THROW(PairJumps(evaluator, 1, 4), EVXParserException);  // EndIf without its If
}

struct PairErrorRow {
  std::vector<std::string> lines;
  const char* message;
};

TEST(PairJumps, WrongPartnerNamesTheCommandAndTheExpectedCloser) {
  const PairErrorRow rows[] = {
      {{"If(a)", "Wend"}, "Invalid loop command: \"Wend\" expects \"EndIf\""},
      {{"If(a)", "Until(b)"}, "Invalid loop command: \"Until\" expects \"EndIf\""},
      {{"If(a)", "Else", "Wend"}, "Invalid loop command: \"Wend\" expects \"EndIf\""},
      {{"If(a)", "Else", "Else", "EndIf"}, "Invalid loop command: \"Else\" expects \"EndIf\""},
      {{"While(a)", "Until(b)"}, "Invalid loop command: \"Until\" expects \"Wend\""},
      {{"While(a)", "Else", "Wend"}, "Invalid loop command: \"Else\" expects \"Wend\""},
      {{"Repeat", "Wend"}, "Invalid loop command: \"Wend\" expects \"Until\""},
      {{"Repeat", "Else"}, "Invalid loop command: \"Else\" expects \"Until\""},
      {{"While(a)", "If(b)", "Wend", "EndIf"}, "Invalid loop command: \"Wend\" expects \"EndIf\""},
  };
  for (const PairErrorRow& row : rows) {
    TVXExpressionEvaluator evaluator;
    AddScript(evaluator, row.lines);
    try {
      PairJumps(evaluator);
      ADD_FAILURE() << "paired: " << row.message;
    } catch (const EVXParserException& e) {
      EXPECT_STREQ(e.what(), row.message);
    }
  }
}

TEST(PairJumps, WrongPartnerEndIfInALoop) {
  for (const char* opener : {"While(a)", "Repeat"}) {
    TVXExpressionEvaluator evaluator;
    AddScript(evaluator, {opener, "EndIf"});
    try {
      PairJumps(evaluator);
      ADD_FAILURE() << opener;
    } catch (const EVXParserException& e) {
      const std::string message = e.what();
      EXPECT_EQ(message.rfind("Invalid loop command: \"EndI", 0), 0u) << message;
    }
  }
}

TEST(PairJumps, UnmatchedCommands) {
  const std::vector<std::vector<std::string>> scripts = {
      {"EndIf"},
      {"Else"},
      {"Wend"},
      {"Until(1)"},
      {"If(1)"},
      {"While(1)"},
      {"Repeat"},
      {"If(1)", "Else"},
      {"If(1)", "EndIf", "EndIf"},
      {"While(1)", "Wend", "Wend"},
      {"x := 1", "Repeat", "x := 2"},
  };
  for (const auto& script : scripts) {
    TVXExpressionEvaluator evaluator;
    AddScript(evaluator, script);
    try {
      PairJumps(evaluator);
      ADD_FAILURE() << "paired: " << script.front();
    } catch (const EVXParserException& e) {
      EXPECT_STREQ(e.what(), "Loops or jumps are not matched") << script.front();
    }
  }
}

// --- the section runner ---

// Compiles and pairs a script, then runs it whole as one section.
struct Script {
  explicit Script(const std::vector<std::string>& lines) {
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

TEST(RunSection, IfElseTakesOneBranch) {
  struct Row {
    double x;
    double r;
    std::vector<int> trace;
  };
  const Row rows[] = {{5, 1, {0, 1, 2, 3, 6}}, {1, 2, {0, 1, 4, 5, 6}}};
  for (const Row& row : rows) {
    Script script(
        {"x := " + std::to_string(row.x), "If(x > 3)", "r := 1", "Else", "r := 2", "EndIf", "r"});
    TRecordingObserver observer;
    const TVXSectionOutcome outcome = script.Run(&observer);
    const std::vector<int>& trace = observer.trace;
    EXPECT_TRUE(outcome.Completed);
    EXPECT_FALSE(outcome.Aborted);
    EXPECT_EQ(outcome.FailedIndex, -1);
    EXPECT_EQ(script.result.Value, row.r);
    EXPECT_EQ(trace, row.trace);
  }
}

TEST(RunSection, IfWithoutElseSkipsItsBody) {
  for (double x : {0.0, 1.0}) {
    Script script({"x := " + std::to_string(x), "r := 10", "If(x)", "r := 20", "EndIf", "r"});
    script.Run();
    EXPECT_EQ(script.result.Value, x != 0 ? 20.0 : 10.0);
  }
}

TEST(RunSection, NestedIfElse) {
  struct Row {
    int a, b;
    double r;
  };
  const Row rows[] = {{1, 1, 11}, {1, 0, 10}, {0, 1, 1}, {0, 0, 0}};
  for (const Row& row : rows) {
    Script script({"a := " + std::to_string(row.a), "b := " + std::to_string(row.b), "If(a)",
                   "If(b)", "r := 11", "Else", "r := 10", "EndIf", "Else", "If(b)", "r := 1",
                   "Else", "r := 0", "EndIf", "EndIf", "r"});
    script.Run();
    EXPECT_EQ(script.result.Value, row.r) << row.a << row.b;
  }
}

TEST(RunSection, WhileLoopSums) {
  Script script({"i := 0", "s := 0", "While(i < 5)", "i := i + 1", "s := s + i", "Wend", "s"});
  EXPECT_TRUE(script.Run().Completed);
  EXPECT_EQ(script.result.Value, 15.0);
  EXPECT_EQ(script.Var("i"), 5.0);
}

TEST(RunSection, WhileWithFalseConditionNeverRunsItsBody) {
  Script script({"n := 0", "While(0)", "n := n + 1", "Wend", "n"});
  script.Run();
  EXPECT_EQ(script.result.Value, 0.0);
}

TEST(RunSection, RepeatLoopComputesAFactorial) {
  Script script({"n := 5", "f := 1", "Repeat", "f := f * n", "n := n - 1", "Until(n < 1)", "f"});
  script.Run();
  EXPECT_EQ(script.result.Value, 120.0);
  EXPECT_EQ(script.Var("n"), 0.0);
}

TEST(RunSection, RepeatRunsItsBodyAtLeastOnce) {
  Script script({"n := 0", "Repeat", "n := n + 1", "Until(1)", "n"});
  script.Run();
  EXPECT_EQ(script.result.Value, 1.0);
}

TEST(RunSection, NestedLoops) {
  Script script({"i := 0", "t := 0", "While(i < 3)", "i := i + 1", "j := 0", "While(j < 4)",
                 "j := j + 1", "t := t + i * j", "Wend", "Wend", "t"});
  script.Run();
  EXPECT_EQ(script.result.Value, 60.0);  // (1+2+3) * (1+2+3+4)
}

TEST(RunSection, IfInsideLoopCountsEvenNumbers) {
  Script script({"k := 0", "e := 0", "While(k < 10)", "k := k + 1", "If(k mod 2 = 0)", "e := e + 1",
                 "EndIf", "Wend", "e"});
  script.Run();
  EXPECT_EQ(script.result.Value, 5.0);
}

TEST(RunSection, RepeatInsideWhileBuildsAText) {
  Script script({"s := \"\"", "i := 0", "While(i < 3)", "n := 0", "Repeat", "n := n + 1",
                 "s := s + n", "Until(n > i)", "s := s + \"|\"", "i := i + 1", "Wend", "s"});
  const TVXSectionOutcome outcome = script.Run();
  EXPECT_TRUE(outcome.Completed) << outcome.ErrorMessage;
  EXPECT_EQ(script.result.VarType, vtString);
  EXPECT_EQ(script.result.StrValue, "1|12|123|");
}

TEST(RunSection, JumpTargetBeforeTheSectionStartIsHonoured) {
  TVXExpressionEvaluator evaluator;
  AddScript(evaluator, {"c := 0", "While(c < 3)", "c := c + 1", "Wend", "done := 1"});
  const TVXJumpTable jumps = PairJumps(evaluator);
  evaluator.GetResults(0);
  TVXParsDouble result;
  // The section holds only "Wend": its jump leads back to the While before the section, and
  // the loop then runs until the While jumps past the end.
  const TVXSectionOutcome outcome = RunSection(evaluator, jumps, 3, 4, result);
  EXPECT_TRUE(outcome.Completed);
  EXPECT_EQ(VariableValue(evaluator, "c"), 3.0);
  EXPECT_EQ(VariableValue(evaluator, "done"), 0.0);
}

TEST(RunSection, JumpBeyondTheEndEndsTheSection) {
  TVXExpressionEvaluator evaluator;
  AddScript(evaluator, {"If(0)", "a := 1", "b := 1", "EndIf", "c := 1"});
  const TVXJumpTable jumps = PairJumps(evaluator);
  TVXParsDouble result;
  EXPECT_TRUE(RunSection(evaluator, jumps, 0, 3, result).Completed);
  EXPECT_EQ(VariableValue(evaluator, "a"), 0.0);
  EXPECT_EQ(VariableValue(evaluator, "b"), 0.0);
  EXPECT_EQ(VariableValue(evaluator, "c"), 0.0);
}

TEST(RunSection, StopRecursionSuppressesJumps) {
  TRecordingObserver hooks;
  hooks.stopping = true;

  Script skipped({"r := 0", "If(0)", "r := 1", "EndIf", "r"});
  skipped.Run(&hooks);
  EXPECT_EQ(skipped.result.Value, 1.0);

  Script loop({"n := 0", "While(1)", "n := n + 1", "Wend", "n"});
  EXPECT_TRUE(loop.Run(&hooks).Completed);
  EXPECT_EQ(loop.result.Value, 1.0);

  hooks.stopping = false;
  Script taken({"r := 0", "If(0)", "r := 1", "EndIf", "r"});
  taken.Run(&hooks);
  EXPECT_EQ(taken.result.Value, 0.0);
}

TEST(RunSection, ExceptionEndsTheSection) {
  Script script({"v := [1, 2]", "w := [1, 2, 3]", "before := 1", "z := v + w", "after := 1"});
  const TVXSectionOutcome outcome = script.Run();
  EXPECT_FALSE(outcome.Completed);
  EXPECT_FALSE(outcome.Aborted);
  EXPECT_EQ(outcome.FailedIndex, 3);
  EXPECT_EQ(outcome.ErrorMessage, "vector sizes are not matched");
  EXPECT_EQ(script.Var("before"), 1.0);
  EXPECT_EQ(script.Var("after"), 0.0);
}

TEST(RunSection, BeforeExpressionHookCanAbort) {
  Script script({"a := 1", "b := 1", "c := 1", "d := 1"});
  TRecordingObserver observer;
  observer.stopAt = 2;
  const TVXSectionOutcome outcome = script.Run(&observer);
  const std::vector<int>& asked = observer.asked;
  EXPECT_FALSE(outcome.Completed);
  EXPECT_TRUE(outcome.Aborted);
  EXPECT_EQ(outcome.FailedIndex, -1);
  EXPECT_EQ(asked, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(script.Var("b"), 1.0);
  EXPECT_EQ(script.Var("c"), 0.0);
  EXPECT_EQ(script.Var("d"), 0.0);
}

TEST(RunSection, StopRequestEndsTheSection) {
  Script script({"a := 1", "b := 1"});
  script.evaluator.RequestStop();
  const TVXSectionOutcome outcome = script.Run();
  EXPECT_FALSE(outcome.Completed);
  EXPECT_TRUE(outcome.Aborted);
  EXPECT_EQ(script.Var("b"), 0.0);
}

TEST(RunSection, ResultStartsClearedAndEndsWithTheLastExpression) {
  Script empty({"x := 1"});
  empty.result = TVXParsDouble::FromString("stale");
  empty.result.Value = 9;
  empty.result.JumpFlag = true;
  EXPECT_TRUE(RunSection(empty.evaluator, empty.jumps, 1, 1, empty.result).Completed);
  EXPECT_EQ(empty.result.VarType, vtDouble);
  EXPECT_EQ(empty.result.Value, 0.0);
  EXPECT_FALSE(empty.result.JumpFlag);

  Script text({"s := \"a\" + \"b\"", "s + \"c\""});
  text.Run();
  EXPECT_EQ(text.result.VarType, vtString);
  EXPECT_EQ(text.result.StrValue, "abc");

  Script ending({"If(1)", "x := 1", "EndIf"});
  ending.Run();
  EXPECT_EQ(ending.result.Value, 0.0);
  EXPECT_FALSE(ending.result.JumpFlag);
}

}  // namespace
}  // namespace loom
