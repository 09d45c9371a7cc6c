// Tree building (grouping and precedence), constant folding, linear lists and the evaluator's
// interface: results, conditions, variables and the word list operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <memory>
#include <string>
#include <vector>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr std::uint64_t kAllOnes = 0xFFFFFFFFFFFFFFFFull;

void CopyArgument(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = rec->Arg(0).Value;
}
void Twice(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = 2 * rec->Arg(0).Value;
}

// Operators of one precedence group from the left; shifts bind like multiplication, "not" more
// loosely than comparisons.
TEST(Grouping, LeftGroupingAndPrecedence) {
  TVXExpressionEvaluator evaluator;
  const OutcomeRow rows[] = {
      {"a := 10", "10"},  {"b := 3", "3"},          {"c := 2", "2"},      {"a-b-c", "5"},
      {"a/c/c", "2.5"},   {"2^3^2", "64"},          {"a div b * b", "9"}, {"1 or 0 and 0", "0"},
      {"(2+3)*4", "20"},  {"2*3^2", "18"},          {"1 + 1 << 2", "5"},  {"8 >> 1 * 2", "8"},
      {"1 + 2 = 3", "1"}, {"not 1 = 2", "1"},       {"2 * 3!", "12"},     {"50% * 2", "1"},
      {"c := 0", "0"},    {"b > 1 and not c", "1"},
  };
  ExpectOutcomes(evaluator, rows);
}

// Constant subtrees become one constant; variables, varying functions and assignments stay.
TEST(Folding, CompiledFormsWithAndWithoutFolding) {
  const struct {
    const char *formula, *folded, *unfolded;
  } rows[] = {
      {"1+2*3", "load (7)", "* (2, 3); + (1, #0)"},
      {"-(2^3)", "load (-8)", "^@ (2, 3); -@ (#0)"},
      {"x+2*3", "+ (x, 6)", "* (2, 3); + (x, #0)"},
      {"K + 1", "load (43)", "+ (K, 1)"},
      {"max(1+1, x)", "max (2, x)", "+ (1, 1); max (#0, x)"},
      {"[1, 2, 3] * 2", "load ([ 2, 4, 6])", "[ (1, 2, 3); * (#0, 2)"},
      {"\"ab\" + \"cd\"", "load (\"abcd\")", "+ (\"ab\", \"cd\")"},
      {"2 * 3 + Random", "Random (); + (6, #0)", "* (2, 3); Random (); + (#0, #1)"},
      {"x := 2 + 3 * 4", ":= (x, 14)", "* (3, 4); + (2, #0); := (x, #1)"},
      {"x", "load (x)", "load (x)"},  // a lone variable needs no list
      {"If(x > 1)", "> (x, 1); If (#0); jump If", "> (x, 1); If (#0); jump If"},
  };
  for (const bool folding : {true, false}) {
    TVXExpressionEvaluator evaluator;
    evaluator.ConstantFolding = folding;
    evaluator.DefineConstant("K", 42, "answer", "K.htm");
    Evaluated(evaluator, "x := 1");
    for (const auto& row : rows)
      EXPECT_EQ(Compiled(evaluator, row.formula), folding ? row.folded : row.unfolded)
          << row.formula;
    ExpectOutcomes(evaluator, {{"1+2*3", "7"}, {"x+2*3", "7"}, {"-(2^3)", "-8"}, {"K + 1", "43"}});
  }
}

// An empty text or a negative index yields the empty result: the all-ones NaN. The second form
// of GetResults reuses the storage of its result whatever kind it held.
TEST(Results, EmptyResultsIndicesAndTheSecondForm) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble result = TVXParsDouble::FromString("stale");
  evaluator.GetResults(-1, result);
  for (const TVXParsDouble& empty : {evaluator.Evaluate(""), result})
    EXPECT_EQ(std::to_string(empty.VarType) + " " +
                  std::to_string(std::bit_cast<std::uint64_t>(empty.Value)),
              std::to_string(vtDouble) + " " + std::to_string(kAllOnes));
  EXPECT_EQ(evaluator.AddExpression("x := 2"), 0);  // Evaluate("") added nothing
  EXPECT_EQ(evaluator.AddEmptyExpression("   "), 1);
  EXPECT_EQ(evaluator.GetExpression(1) + Shown(evaluator.GetResults(1)), "   nan");
  const int vector = evaluator.AddExpression("[1, 2] * x");
  const int text = evaluator.AddExpression("\"n=\" + x");
  std::string shown;
  for (const int index : {0, vector, text, 0}) {
    evaluator.GetResults(index, result);
    shown += Shown(result) + " ";
  }
  EXPECT_EQ(shown, "2 [ 2, 4] \"n=2\" 2 ");
  EXPECT_EQ(evaluator.GetAsString() + std::to_string(evaluator.GetExprSize(vector)) +
                std::to_string(evaluator.GetExprSize(-1)),
            "210");
}

// A condition is false exactly when its value lies strictly between -0.1 and 0.1, folded or not;
// a comparison is a condition of the number kind, and every registered constant but pi reports
// boolean whatever number it holds.
TEST(Conditions, ToleranceBandAndBooleanKinds) {
  TVXExpressionEvaluator evaluator;
  evaluator.AddWord(std::make_unique<TVXParsBooleanFunction>("cond", &CopyArgument, 1, "cond( x )",
                                                             vxtBasic, "", "", ""));
  TVXParsDouble x;
  evaluator.DefineVariable("x", &x, "", "");
  const int varying = evaluator.AddExpression("cond(x)");
  std::string truths;
  for (const double value : {0.0, 0.05, -0.0999, 0.1, -0.1, EmptyNaN()}) {
    x.Value = value;
    truths += std::to_string(evaluator.GetAsBoolean(varying));
  }
  x.Value = 2;
  for (const char* formula : {"cond(0.05)", "cond(-0.1)", "x > 1", "FILE_END", "WINDOW_RECTANGLE"})
    truths += std::to_string(evaluator.GetAsBoolean(evaluator.AddExpression(formula)));
  EXPECT_EQ(truths, "00011101110");
  EXPECT_EQ(evaluator.GetResults(evaluator.AddExpression("x > 1")).VarType, vtDouble);
  Evaluated(evaluator, "x + 1");
  EXPECT_FALSE(evaluator.isBoolean());
}

TEST(Variables, PersistTakeTheAssignedKindAndDefinedOnesUseCallerStorage) {
  TVXExpressionEvaluator evaluator;
  const int increment = evaluator.AddExpression("n := n + 1");
  for (int i = 0; i < 3; ++i) evaluator.GetResults(increment);
  const OutcomeRow rows[] = {
      {"n * 2", "6"},
      {"g := [1, 2]", "[ 1, 2]"},
      {"g := \"text\"", "\"text\""},
      {"g + 1", "\"text1\""},
      {"g := 3", "3"},
  };
  ExpectOutcomes(evaluator, rows);
  // Defined variables read and write the caller's storage in place.
  TVXParsDouble storage = TVXParsDouble::Number(3);
  std::string text = "abc";
  evaluator.DefineVariable("v", &storage, "a value", "V.htm");
  evaluator.DefineStringVariable("s", &text);
  const int read = evaluator.AddExpression("s + \"!\" + v");
  storage.Value = 7;
  text = "xy";
  EXPECT_EQ(Shown(evaluator.GetResults(read)), "\"xy!7\"");
  Evaluated(evaluator, "v := [1, 2, 3]");
  EXPECT_EQ(Shown(storage) + evaluator.GetHelpTopicID("V"), "[ 1, 2, 3]V.htm");
  std::vector<std::string> generated, all;
  std::vector<TVXParsExprWord*> words;
  evaluator.GetGeneratedVars(generated, &words);
  evaluator.GetVars(all);
  std::sort(generated.begin(), generated.end());
  std::sort(all.begin(), all.end());
  EXPECT_EQ(generated, (std::vector<std::string>{"g", "n"}));
  EXPECT_EQ(all, (std::vector<std::string>{"g", "n", "s", "v"}));
  EXPECT_NE(dynamic_cast<TVXParsGeneratedVariable*>(words.at(0)), nullptr);
}

TEST(WordOperations, TheFirstWordOfANameStaysReplaceFunctionSwapsIt) {
  TVXExpressionEvaluator evaluator;
  evaluator.DefineFunction("twice", &Twice, 1, "twice( x )");
  TVXParsExprWord* sine = evaluator.Words().Find("sin");
  TVXParsDouble storage = TVXParsDouble::Number(5);
  evaluator.DefineVariable("Sin", &storage, "", "");
  evaluator.DefineConstant("PI", 3, "", "");
  evaluator.DefineFunction("MAX", &Twice, 1, "");
  EXPECT_EQ(evaluator.Words().Find("SIN"), sine);
  EXPECT_EQ(Outcome(evaluator, "[twice(4) + 1, sin(0) + max(1, 2), pi]"),
            "[ 9, 2, 3.14159265358979]");
  evaluator.ReplaceFunction("SIN", std::make_unique<TVXParsFunction>("sin", &Twice, 1, "Sin( arg )",
                                                                     vxtTrigonometric, "", "", ""));
  EXPECT_EQ(Outcome(evaluator, "sin(4)"), "8");
  evaluator.ReplaceFunction("sin", nullptr);
  EXPECT_EQ(Outcome(evaluator, "sin(1)"), "sin(1): unknown function \"sin\"");
}

TEST(WordOperations, ClearExpressionsKeepsVariablesResetDropsThem) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble storage = TVXParsDouble::Number(9);
  evaluator.DefineVariable("v", &storage, "", "");
  Evaluated(evaluator, "q := 3");
  evaluator.ClearExpressions();
  EXPECT_EQ(evaluator.AddExpression("q * 2"), 0);
  EXPECT_EQ(Shown(evaluator.GetResults(0)), "6");
  evaluator.Reset();
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
  EXPECT_EQ(evaluator.Words().Find("v"), nullptr);
  EXPECT_EQ(Outcome(evaluator, "q + sin(0)"), "0");
  EXPECT_EQ(storage.Value, 9.0);
}

TEST(WordOperations, JumpTypeOfEachCommand) {
  TVXExpressionEvaluator evaluator;
  const struct {
    const char* formula;
    TVXParsJumpType type;
  } rows[] = {{"If(x > 1)", jtIf},   {"else", jtElse},  {"ENDIF", jtEndIF},
              {"While(1)", jtWhile}, {"Wend", jtWend},  {"repeat", jtRepeat},
              {"Until(x)", jtUntil}, {"x + 1", jtNone}, {"CondEval(1, 2, 3)", jtNone}};
  for (const auto& row : rows)
    EXPECT_EQ(evaluator.GetJumpType(evaluator.AddExpression(row.formula)), row.type) << row.formula;
}

// Compiled lists point at the words they read; replacing a word must not free it under them.
TEST(WordOperations, ReplacedWordsLiveAsLongAsTheExpressionsThatReadThem) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "x := 1");
  const int sum = evaluator.AddExpression("x + 1");
  const int test = evaluator.AddExpression("x > 0");
  TVXParsDouble storage = TVXParsDouble::Number(7);
  evaluator.ReplaceFunction("x", std::make_unique<TVXParsDoubleVariable>("x", &storage, "", ""));
  EXPECT_EQ(evaluator.GetResults(sum).Value, 2.0);  // still the replaced word's value
  EXPECT_TRUE(evaluator.GetAsBoolean(test));
  EXPECT_TRUE(evaluator.isBoolean());
  EXPECT_EQ(Outcome(evaluator, "x + 1"), "8");  // new formulas read the new word
  evaluator.ClearExpressions();
  EXPECT_EQ(Outcome(evaluator, "x * 2"), "14");
}

}  // namespace
}  // namespace loom
