// Tree building (grouping and precedence), constant folding, linear lists and the evaluator's
// interface: results, conditions, variables and the word list operations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "engine/Messages.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using testing::Bits;
using testing::CompileError;
using testing::Evaluated;
using testing::Number;

constexpr std::uint64_t kAllOnes = 0xFFFFFFFFFFFFFFFFull;

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Test procedures for words defined by the tests.
void CopyArgument(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = rec->Arg(0).Value;
}
void Twice(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = 2 * rec->Arg(0).Value;
}

// The message of the EVXParserException that action raises, or "<no error>".
template <typename Action>
std::string ErrorOf(Action action) {
  try {
    action();
  } catch (const EVXParserException& e) {
    return e.what();
  }
  return "<no error>";
}

const TVXParsDoubleConstant* FoldedConstant(const TVXExpressionEvaluatorBase& evaluator,
                                            int index) {
  const TVXParsExpression& compiled = evaluator.GetCompiled(index);
  if (compiled.Head == nullptr || compiled.Head != compiled.Last) return nullptr;
  return dynamic_cast<const TVXParsDoubleConstant*>(compiled.Last->Word);
}

// --- grouping and precedence ---

TEST(Grouping, LeftGroupingAndPrecedence) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble a = TVXParsDouble::Number(10), b = TVXParsDouble::Number(3),
                c = TVXParsDouble::Number(2);
  evaluator.DefineVariable("a", &a, "", "");
  evaluator.DefineVariable("b", &b, "", "");
  evaluator.DefineVariable("c", &c, "", "");
  const struct {
    const char* formula;
    double value;
  } rows[] = {
      {"a-b-c", 5}, {"a/c/c", 2.5}, {"2^3^2", 64}, {"a div b * b", 9},  // from the left
      {"1 or 0 and 0", 0}, {"2+3*4", 14}, {"(2+3)*4", 20}, {"2*3^2", 18},
      {"1 + 1 << 2", 5}, {"8 >> 1 * 2", 8},  // shifts bind like multiplication
      {"1 + 2 = 3", 1}, {"not 1 = 2", 1},  // not binds more loosely than comparisons
      {"2 * 3!", 12}, {"50% * 2", 1}, {"x := 2 + 3 * 4", 14}, {"sin(0) + cos(0) * 3", 3},
      {"max(1 + 2, 2 * 2)", 4}};
  for (const auto& row : rows)
    EXPECT_DOUBLE_EQ(Number(evaluator, row.formula), row.value) << row.formula;
  a.Value = 1;
  c.Value = 0;
  EXPECT_EQ(Number(evaluator, "a < b and not c"), 1.0);
}

// --- constant folding ---

TEST(Folding, ConstantPartsBecomeOneConstantUnlessSwitchedOff) {
  const struct {
    const char* formula;
    bool folding;
    int size;
    bool oneConstant;
    double value;  // NaN: not checked
  } rows[] = {{"1+2*3", true, 1, true, 7},   {"sin(0) + 1", true, 1, true, 1},
              {"-(2^3)", true, 1, true, -8}, {"x+2*3", true, 1, false, 7},  // "+" alone
              {"1+2*3", false, 2, false, 7}, {"x+2*3", false, 2, false, 7},
              {"Random", true, 1, false, NAN}, {"2 * 3 + Random", true, 2, false, NAN}};
  for (const auto& row : rows) {
    TVXExpressionEvaluator evaluator;
    evaluator.ConstantFolding = row.folding;
    Evaluated(evaluator, "x := 1");
    const int index = evaluator.AddExpression(row.formula);
    EXPECT_EQ(evaluator.GetExprSize(index), row.size) << row.formula;
    EXPECT_EQ(FoldedConstant(evaluator, index) != nullptr, row.oneConstant) << row.formula;
    if (!std::isnan(row.value)) {
      EXPECT_DOUBLE_EQ(evaluator.GetResults(index).Value, row.value) << row.formula;
    }
  }
  TVXExpressionEvaluator evaluator;
  for (const char* formula : {"[1, 2, 3] * 2", "\"ab\" + \"cd\""})
    EXPECT_NE(FoldedConstant(evaluator, evaluator.AddExpression(formula)), nullptr) << formula;
  // A folded comparison stays a boolean constant; a folded sum does not.
  const int index = evaluator.AddExpression("1<2");
  EXPECT_NE(dynamic_cast<const TVXParsBooleanConstant*>(FoldedConstant(evaluator, index)), nullptr);
  EXPECT_EQ(evaluator.GetResults(index).Value, 1.0);
  EXPECT_TRUE(evaluator.isBoolean());
  EXPECT_TRUE(evaluator.GetAsBoolean(index));
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("2 < 1")));
  const int numeric = evaluator.AddExpression("1+2");
  ASSERT_NE(FoldedConstant(evaluator, numeric), nullptr);
  EXPECT_EQ(dynamic_cast<const TVXParsBooleanConstant*>(FoldedConstant(evaluator, numeric)),
            nullptr);
}

// --- results ---

TEST(Results, EmptyResultsAndExpressionIndices) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble reused = TVXParsDouble::FromString("stale");
  evaluator.GetResults(-1, reused);
  for (const TVXParsDouble& result : {evaluator.Evaluate(""), evaluator.GetResults(-1), reused}) {
    EXPECT_EQ(result.VarType, vtDouble);
    EXPECT_EQ(Bits(result.Value), kAllOnes);
  }
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);  // Evaluate("") adds nothing
  EXPECT_EQ(evaluator.AddExpression("1 + 2"), 0);
  EXPECT_EQ(evaluator.AddExpression("x := 5"), 1);
  EXPECT_EQ(evaluator.AddEmptyExpression("   "), 2);
  EXPECT_EQ(evaluator.GetExpression(1), "x := 5");
  EXPECT_EQ(evaluator.GetExpression(2), "   ");
  EXPECT_EQ(Bits(evaluator.GetResults(2).Value), kAllOnes);
  EXPECT_EQ(evaluator.Evaluate("1+1").Value, 2.0);  // compiles and adds each time
  EXPECT_EQ(evaluator.Evaluate("1+1").Value, 2.0);
  EXPECT_EQ(evaluator.GetExpressionCount(), 5);
}

TEST(Results, SecondFormAsStringAndRunTimeErrors) {
  TVXExpressionEvaluator evaluator;
  const int number = evaluator.AddExpression("x := 2");
  const int vector = evaluator.AddExpression("[1, 2] * x");
  const int text = evaluator.AddExpression("\"n=\" + x");
  TVXParsDouble result;
  evaluator.GetResults(number, result);
  evaluator.GetResults(vector, result);
  EXPECT_EQ(result.VarType, vtVector);
  EXPECT_EQ(result.Vector, (TVXVect{2, 4}));
  evaluator.GetResults(text, result);
  EXPECT_EQ(result.VarType, vtString);
  EXPECT_EQ(result.StrValue, "n=2");
  evaluator.GetResults(number, result);
  EXPECT_EQ(result.VarType, vtDouble);
  EXPECT_EQ(result.Value, 2.0);
  Evaluated(evaluator, "[1, 2.5]");
  EXPECT_EQ(evaluator.GetAsString(), "[ 1, 2.5]");
  Evaluated(evaluator, "1/4");
  EXPECT_EQ(evaluator.GetAsString(), "0.25");
  Evaluated(evaluator, "w := [1, 2, 3]");
  const int mismatched = evaluator.AddExpression("[1, 2] * x + w");
  EXPECT_EQ(ErrorOf([&] { evaluator.GetResults(mismatched); }), "vector sizes are not matched");
  // The same error in a constant expression surfaces while folding, at compile time.
  EXPECT_EQ(CompileError(evaluator, "[1, 2] + [1, 2, 3]"), "vector sizes are not matched");
}

// --- conditions ---

TEST(Conditions, ToleranceBandComparisonsAndBooleanConstants) {
  TVXExpressionEvaluator evaluator;
  evaluator.AddWord(std::make_unique<TVXParsBooleanFunction>("cond", &CopyArgument, 1, "cond( x )",
                                                             vxtBasic, "", "", ""));
  TVXParsDouble x;
  evaluator.DefineVariable("x", &x, "", "");
  const int varying = evaluator.AddExpression("cond(x)");
  for (const double value : {0.0, 0.05, -0.0999}) {
    x.Value = value;
    EXPECT_FALSE(evaluator.GetAsBoolean(varying)) << value;
  }
  for (const double value : {0.1, -0.1, EmptyNaN()}) {
    x.Value = value;
    EXPECT_TRUE(evaluator.GetAsBoolean(varying)) << value;
  }
  // A folded condition keeps the boolean kind and the same band.
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("cond(0.05)")));
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("cond(-0.1)")));
  x.Value = 2;
  const int greater = evaluator.AddExpression("x > 1");
  EXPECT_EQ(evaluator.GetResults(greater).VarType, vtDouble);  // boolean, but of the number kind
  EXPECT_TRUE(evaluator.isBoolean());
  Evaluated(evaluator, "x + 1");
  EXPECT_FALSE(evaluator.isBoolean());
  x.Value = 1;
  EXPECT_FALSE(evaluator.GetAsBoolean(greater));
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("not (x > 1)")));
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("FALSE")));
  // Every registered constant but pi reports boolean, whatever number it holds.
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("FILE_END")));
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("WINDOW_RECTANGLE")));
  const int lone = evaluator.AddExpression("x");
  EXPECT_EQ(ErrorOf([&] { evaluator.GetAsBoolean(lone); }), "x: expression is not boolean");
}

// --- variables ---

TEST(Variables, PersistBetweenEvaluationsAndTakeTheAssignedKind) {
  TVXExpressionEvaluator evaluator;
  const int increment = evaluator.AddExpression("n := n + 1");
  const int twice = evaluator.AddExpression("n * 2");
  for (int i = 0; i < 3; ++i) evaluator.GetResults(increment);
  EXPECT_EQ(evaluator.GetResults(twice).Value, 6.0);
  EXPECT_EQ(evaluator.GetResults(increment).Value, 4.0);
  const struct {
    const char* formula;
    TVXPArsVarType type;
  } rows[] = {{"g := [1, 2]", vtVector}, {"g := \"text\"", vtString}, {"g := 3", vtDouble}};
  for (const auto& row : rows) {
    Evaluated(evaluator, row.formula);
    EXPECT_EQ(evaluator.Words().Find("g")->GeTVXPArsVarType(), row.type) << row.formula;
  }
  EXPECT_EQ(testing::VariableValue(evaluator, "g"), 3.0);
}

TEST(Variables, DefinedVariablesUseCallerStorageAndAllAreListed) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble storage = TVXParsDouble::Number(3);
  std::string text = "abc";
  evaluator.DefineVariable("v", &storage, "a value", "V.htm");
  evaluator.DefineStringVariable("s", &text);
  const int read = evaluator.AddExpression("v * 2");
  const int concatenated = evaluator.AddExpression("s + \"!\"");
  EXPECT_EQ(evaluator.GetResults(read).Value, 6.0);
  EXPECT_EQ(evaluator.GetResults(concatenated).StrValue, "abc!");
  storage.Value = 7;
  text = "xy";
  EXPECT_EQ(evaluator.GetResults(read).Value, 14.0);
  EXPECT_EQ(evaluator.GetResults(concatenated).StrValue, "xy!");
  Evaluated(evaluator, "v := [1, 2, 3]");
  EXPECT_EQ(storage.VarType, vtVector);
  EXPECT_EQ(storage.Vector, (TVXVect{1, 2, 3}));
  EXPECT_EQ(evaluator.GetHelpTopicID("V"), "V.htm");
  const int lone = evaluator.AddExpression("v");  // a lone variable needs no list
  const TVXParsExpression& compiled = evaluator.GetCompiled(lone);
  ASSERT_EQ(compiled.Head, compiled.Last);
  EXPECT_EQ(compiled.Last->Word, evaluator.Words().Find("v"));
  storage.Vector = {3};
  EXPECT_EQ(evaluator.GetResults(lone).Vector, (TVXVect{3}));
  Evaluated(evaluator, "alpha := 1");
  Evaluated(evaluator, "beta := alpha + 1");
  std::vector<std::string> generated;
  std::vector<TVXParsExprWord*> words;
  evaluator.GetGeneratedVars(generated, &words);
  std::sort(generated.begin(), generated.end());
  EXPECT_EQ(generated, (std::vector<std::string>{"alpha", "beta"}));
  ASSERT_EQ(words.size(), 2u);
  EXPECT_NE(dynamic_cast<TVXParsGeneratedVariable*>(words[0]), nullptr);
  std::vector<std::string> all;
  evaluator.GetVars(all);
  for (const char* name : {"alpha", "beta", "v", "s"}) EXPECT_TRUE(Contains(all, name)) << name;
  for (const char* name : {"pi", "TRUE", "sin", "+"}) EXPECT_FALSE(Contains(all, name)) << name;
}

// --- the word list operations ---

TEST(WordOperations, DefineKeepsTheFirstWordOfANameReplaceFunctionSwapsIt) {
  TVXExpressionEvaluator evaluator;
  evaluator.DefineConstant("K", 42, "answer", "K.htm");
  const int index = evaluator.AddExpression("K + 1");
  EXPECT_EQ(evaluator.GetResults(index).Value, 43.0);
  EXPECT_NE(FoldedConstant(evaluator, index), nullptr);
  EXPECT_EQ(evaluator.GetHelpTopicID("k"), "K.htm");
  evaluator.DefineFunction("twice", &Twice, 1, "twice( x )");
  EXPECT_EQ(Number(evaluator, "twice(4) + 1"), 9.0);
  TVXParsExprWord* sine = evaluator.Words().Find("sin");
  TVXParsDouble storage = TVXParsDouble::Number(5);
  evaluator.DefineVariable("Sin", &storage, "", "");
  evaluator.DefineConstant("PI", 3, "", "");
  evaluator.DefineFunction("MAX", &Twice, 1, "");
  EXPECT_EQ(evaluator.Words().Find("SIN"), sine);
  EXPECT_EQ(Number(evaluator, "sin(0)"), 0.0);
  EXPECT_DOUBLE_EQ(Number(evaluator, "pi"), M_PI);
  EXPECT_EQ(Number(evaluator, "max(1, 2)"), 2.0);
  std::vector<std::string> vars;
  evaluator.GetVars(vars);
  EXPECT_FALSE(Contains(vars, "Sin"));
  // ReplaceFunction swaps, removes or adds a word.
  evaluator.ReplaceFunction(
      "SIN", std::make_unique<TVXParsFunction>("sin", &Twice, 1, "Sin( arg )", vxtTrigonometric, "",
                                               "", "Sin.htm"));
  EXPECT_EQ(Number(evaluator, "sin(4)"), 8.0);
  evaluator.ReplaceFunction("sin", nullptr);
  EXPECT_EQ(evaluator.Words().Find("sin"), nullptr);
  EXPECT_EQ(CompileError(evaluator, "sin(1)"), "sin(1): unknown function \"sin\"");
  evaluator.ReplaceFunction(
      "double", std::make_unique<TVXParsVaryingFunction>("double", &Twice, 1, "double( x )",
                                                         vxtSystem, "", "", ""));
  EXPECT_EQ(Number(evaluator, "double(50) + 1"), 101.0);
}

TEST(WordOperations, ClearExpressionsKeepsVariablesResetDropsThem) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble storage = TVXParsDouble::Number(9);
  evaluator.DefineVariable("v", &storage, "", "");
  evaluator.DefineFunction("twice", &Twice, 1, "");
  Evaluated(evaluator, "q := 3");
  evaluator.ClearExpressions();
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
  EXPECT_EQ(evaluator.AddExpression("q * 2"), 0);
  EXPECT_EQ(evaluator.GetResults(0).Value, 6.0);
  evaluator.Reset();
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
  for (const char* name : {"v", "twice", "q"})
    EXPECT_EQ(evaluator.Words().Find(name), nullptr) << name;
  EXPECT_EQ(Number(evaluator, "q + sin(0)"), 0.0);
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
  EXPECT_EQ(Number(evaluator, "x + 1"), 8.0);  // new formulas read the new word
  evaluator.ClearExpressions();
  EXPECT_EQ(Number(evaluator, "x * 2"), 14.0);
}

}  // namespace
}  // namespace loom
