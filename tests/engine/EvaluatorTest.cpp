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
void Hundred(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = 100;
}

// --- grouping and precedence ---

TEST(Grouping, OperatorsOfEqualPrecedenceGroupFromTheLeft) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble a = TVXParsDouble::Number(10), b = TVXParsDouble::Number(3),
                c = TVXParsDouble::Number(2);
  evaluator.DefineVariable("a", &a, "", "");
  evaluator.DefineVariable("b", &b, "", "");
  evaluator.DefineVariable("c", &c, "", "");
  struct Row {
    const char* formula;
    double value;
  };
  const Row rows[] = {
      {"a-b-c", 5},    {"a/c/c", 2.5},      {"2^3^2", 64},
      {"a-b+c", 9},    {"a div b * b", 9},  {"a - (b - c)", 9},
      {"100/a*c", 20}, {"1 or 0 and 0", 0}, {"a mod b mod c", 1},
  };
  for (const Row& row : rows)
    EXPECT_DOUBLE_EQ(Number(evaluator, row.formula), row.value) << row.formula;
}

TEST(Grouping, SmallerPrecedenceNumberBindsTighter) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "a := 1");
  Evaluated(evaluator, "b := 2");
  Evaluated(evaluator, "c := 0");
  struct Row {
    const char* formula;
    double value;
  };
  const Row rows[] = {
      {"2+3*4", 14},
      {"(2+3)*4", 20},
      {"2*3+4", 10},
      {"2+3^2", 11},
      {"2*3^2", 18},
      {"2^2*3", 12},
      {"1 + 1 << 2", 5},  // shifts bind like multiplication
      {"8 >> 1 * 2", 8},
      {"1 << 2 + 1", 5},
      {"1 + 2 = 3", 1},  // comparisons bind more loosely than arithmetic
      {"not 1 = 2", 1},  // not binds more loosely than comparisons
      {"a < b and not c", 1},
      {"a > b or not c", 1},
      {"a < b and not a", 0},
      {"3! + 1", 7},
      {"2 * 3!", 12},
      {"50% * 2", 1},
      {"x := 2 + 3 * 4", 14},
      {"x", 14},
      {"sin(0) + cos(0) * 3", 3},
      {"max(2, 3) * min(4, 5)", 12},
      {"max(1 + 2, 2 * 2)", 4},
      {"Clamp(2 * 5, 1, 4 + 1)", 5},
  };
  for (const Row& row : rows)
    EXPECT_DOUBLE_EQ(Number(evaluator, row.formula), row.value) << row.formula;
}

TEST(Grouping, ComparisonsAreBooleanButKeepTheNumberKind) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "x := 2");
  const int index = evaluator.AddExpression("x > 1");
  const TVXParsDouble result = evaluator.GetResults(index);
  EXPECT_EQ(result.VarType, vtDouble);
  EXPECT_EQ(result.Value, 1.0);
  EXPECT_TRUE(evaluator.isBoolean());
  evaluator.GetResults(evaluator.AddExpression("x + 1"));
  EXPECT_FALSE(evaluator.isBoolean());
}

// --- constant folding ---

const TVXParsDoubleConstant* FoldedConstant(const TVXExpressionEvaluatorBase& evaluator,
                                            int index) {
  const TVXParsExpression& compiled = evaluator.GetCompiled(index);
  if (compiled.Head == nullptr || compiled.Head != compiled.Last) return nullptr;
  return dynamic_cast<const TVXParsDoubleConstant*>(compiled.Last->Word);
}

TEST(Folding, ConstantExpressionBecomesOneConstant) {
  TVXExpressionEvaluator evaluator;
  struct Row {
    const char* formula;
    double value;
  };
  const Row rows[] = {{"1+2*3", 7},         {"sin(0) + 1", 1},         {"-(2^3)", -8},
                      {"pi * 2", 2 * M_PI}, {"(1 + 2) * (3 + 4)", 21}, {"max(3!, 5)", 6}};
  for (const Row& row : rows) {
    const int index = evaluator.AddExpression(row.formula);
    EXPECT_EQ(evaluator.GetExprSize(index), 1) << row.formula;
    const TVXParsDoubleConstant* constant = FoldedConstant(evaluator, index);
    ASSERT_NE(constant, nullptr) << row.formula;
    EXPECT_DOUBLE_EQ(constant->Value.Value, row.value) << row.formula;
    EXPECT_DOUBLE_EQ(evaluator.GetResults(index).Value, row.value) << row.formula;
  }
}

TEST(Folding, VectorAndStringResultsFoldToo) {
  TVXExpressionEvaluator evaluator;
  const int vector = evaluator.AddExpression("[1, 2, 3] * 2");
  ASSERT_NE(FoldedConstant(evaluator, vector), nullptr);
  const TVXParsDouble v = evaluator.GetResults(vector);
  EXPECT_EQ(v.VarType, vtVector);
  EXPECT_EQ(v.Vector, (TVXVect{2, 4, 6}));

  const int text = evaluator.AddExpression("\"ab\" + \"cd\"");
  ASSERT_NE(FoldedConstant(evaluator, text), nullptr);
  const TVXParsDouble s = evaluator.GetResults(text);
  EXPECT_EQ(s.VarType, vtString);
  EXPECT_EQ(s.StrValue, "abcd");
}

TEST(Folding, OnlyTheConstantPartBesideAVariableIsFolded) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "x := 1");
  const int index = evaluator.AddExpression("x+2*3");
  EXPECT_EQ(evaluator.GetExprSize(index), 1);  // "+" alone: x and 6 are read in place
  const TVXParsExpression& compiled = evaluator.GetCompiled(index);
  ASSERT_NE(compiled.Last, nullptr);
  EXPECT_EQ(compiled.Last->Word->Name, "+");
  ASSERT_EQ(compiled.Last->ArgCount(), 2u);
  EXPECT_EQ(compiled.Last->Arg(1).Value, 6.0);
  EXPECT_EQ(evaluator.GetResults(index).Value, 7.0);

  EXPECT_EQ(evaluator.GetExprSize(evaluator.AddExpression("x*2 + 3*4 - x")), 3);
}

TEST(Folding, SwitchedOffKeepsEveryNode) {
  TVXExpressionEvaluator evaluator;
  evaluator.ConstantFolding = false;
  Evaluated(evaluator, "x := 1");
  struct Row {
    const char* formula;
    int size;
    double value;
  };
  const Row rows[] = {{"1+2*3", 2, 7}, {"x+2*3", 2, 7}, {"-(1+2)", 2, -3}, {"sin(0)+1", 2, 1}};
  for (const Row& row : rows) {
    const int index = evaluator.AddExpression(row.formula);
    EXPECT_EQ(evaluator.GetExprSize(index), row.size) << row.formula;
    EXPECT_EQ(evaluator.GetResults(index).Value, row.value) << row.formula;
  }
}

TEST(Folding, BooleanConstantStaysBoolean) {
  TVXExpressionEvaluator evaluator;
  const int index = evaluator.AddExpression("1<2");
  const TVXParsDoubleConstant* constant = FoldedConstant(evaluator, index);
  ASSERT_NE(constant, nullptr);
  EXPECT_NE(dynamic_cast<const TVXParsBooleanConstant*>(constant), nullptr);
  EXPECT_EQ(evaluator.GetResults(index).Value, 1.0);
  EXPECT_TRUE(evaluator.isBoolean());
  EXPECT_TRUE(evaluator.GetAsBoolean(index));

  const int falseIndex = evaluator.AddExpression("2 < 1");
  EXPECT_NE(dynamic_cast<const TVXParsBooleanConstant*>(FoldedConstant(evaluator, falseIndex)),
            nullptr);
  EXPECT_FALSE(evaluator.GetAsBoolean(falseIndex));

  const int numeric = evaluator.AddExpression("1+2");
  EXPECT_EQ(dynamic_cast<const TVXParsBooleanConstant*>(FoldedConstant(evaluator, numeric)),
            nullptr);
  evaluator.GetResults(numeric);
  EXPECT_FALSE(evaluator.isBoolean());
}

TEST(Folding, VaryingFunctionsAreNeverFolded) {
  TVXExpressionEvaluator evaluator;
  const int random = evaluator.AddExpression("Random");
  EXPECT_EQ(FoldedConstant(evaluator, random), nullptr);
  EXPECT_EQ(evaluator.GetCompiled(random).Last->Word->Name, "Random");
  EXPECT_EQ(evaluator.GetExprSize(evaluator.AddExpression("Random * 0 + 1")), 3);
  EXPECT_EQ(evaluator.GetExprSize(evaluator.AddExpression("2 * 3 + Random")), 2);

  const int sum = evaluator.AddExpression("Random + Random + Random + Random");
  double first = evaluator.GetResults(sum).Value;
  bool changed = false;
  for (int i = 0; i < 20 && !changed; ++i) changed = evaluator.GetResults(sum).Value != first;
  EXPECT_TRUE(changed);
  EXPECT_GE(first, 0.0);
  EXPECT_LT(first, 4.0);
}

// --- linear lists and results ---

TEST(LinearList, LoneVariableNeedsNoList) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble value = TVXParsDouble::FromVector({1, 2});
  evaluator.DefineVariable("v", &value, "", "");
  const int index = evaluator.AddExpression("v");
  const TVXParsExpression& compiled = evaluator.GetCompiled(index);
  EXPECT_EQ(compiled.Head, compiled.Last);
  ASSERT_NE(compiled.Last, nullptr);
  EXPECT_EQ(compiled.Last->Word, evaluator.Words().Find("v"));
  EXPECT_EQ(evaluator.GetExprSize(index), 1);
  EXPECT_EQ(evaluator.GetResults(index).Vector, (TVXVect{1, 2}));
  value.Vector = {3};
  EXPECT_EQ(evaluator.GetResults(index).Vector, (TVXVect{3}));
}

TEST(LinearList, ArgumentsComeBeforeTheirOperation) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "a := 1");
  const int index = evaluator.AddExpression("sin(a) * cos(a) + a");
  std::vector<std::string> order;
  for (const TVXParsExpressionRec* node = evaluator.GetCompiled(index).Head; node;
       node = node->Next)
    order.push_back(node->Word->Name);
  EXPECT_EQ(order, (std::vector<std::string>{"sin", "cos", "*", "+"}));
  EXPECT_EQ(evaluator.GetExprSize(index), 4);
}

TEST(Results, EmptyTextAndNegativeIndexGiveTheEmptyResult) {
  TVXExpressionEvaluator evaluator;
  const TVXParsDouble empty = evaluator.Evaluate("");
  EXPECT_EQ(empty.VarType, vtDouble);
  EXPECT_EQ(Bits(empty.Value), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);

  const TVXParsDouble negative = evaluator.GetResults(-1);
  EXPECT_EQ(negative.VarType, vtDouble);
  EXPECT_EQ(Bits(negative.Value), 0xFFFFFFFFFFFFFFFFull);

  TVXParsDouble reused = TVXParsDouble::FromString("stale");
  evaluator.GetResults(-1, reused);
  EXPECT_EQ(reused.VarType, vtDouble);
  EXPECT_EQ(Bits(reused.Value), 0xFFFFFFFFFFFFFFFFull);
}

TEST(Results, EvaluateCompilesAndAddsEachTime) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(evaluator.Evaluate("1+1").Value, 2.0);
  EXPECT_EQ(evaluator.Evaluate("1+1").Value, 2.0);
  EXPECT_EQ(evaluator.GetExpressionCount(), 2);
}

TEST(Results, AddExpressionIndicesAndTexts) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(evaluator.AddExpression("1 + 2"), 0);
  EXPECT_EQ(evaluator.AddExpression("x := 5"), 1);
  EXPECT_EQ(evaluator.AddEmptyExpression("   "), 2);
  EXPECT_EQ(evaluator.GetExpressionCount(), 3);
  EXPECT_EQ(evaluator.GetExpression(0), "1 + 2");
  EXPECT_EQ(evaluator.GetExpression(1), "x := 5");
  EXPECT_EQ(evaluator.GetExpression(2), "   ");
  EXPECT_EQ(Bits(evaluator.GetResults(2).Value), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(evaluator.GetResults(1).Value, 5.0);
}

TEST(Results, SecondFormWritesKindAndMatchingField) {
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
}

TEST(Results, RunTimeErrorsReachTheCaller) {
  TVXExpressionEvaluator evaluator;
  evaluator.AddExpression("v := [1, 2]");
  evaluator.AddExpression("w := [1, 2, 3]");
  evaluator.GetResults(0);
  evaluator.GetResults(1);
  const int index = evaluator.AddExpression("v + w");
  try {
    evaluator.GetResults(index);
    ADD_FAILURE() << "no error";
  } catch (const EVXParserException& e) {
    EXPECT_STREQ(e.what(), "vector sizes are not matched");
  }
  // The same error in a constant expression surfaces while folding, at compile time.
  EXPECT_EQ(CompileError(evaluator, "[1, 2] + [1, 2, 3]"), "vector sizes are not matched");
}

TEST(Results, AsStringShowsTheCurrentResult) {
  TVXExpressionEvaluator evaluator;
  evaluator.GetResults(evaluator.AddExpression("[1, 2.5]"));
  EXPECT_EQ(evaluator.GetAsString(), "[ 1, 2.5]");
  evaluator.GetResults(evaluator.AddExpression("1/4"));
  EXPECT_EQ(evaluator.GetAsString(), "0.25");
}

// --- conditions ---

TEST(Conditions, ToleranceBandAroundZero) {
  TVXExpressionEvaluator evaluator;
  evaluator.AddWord(std::make_unique<TVXParsBooleanFunction>("cond", &CopyArgument, 1, "cond( x )",
                                                             vxtBasic, "", "", ""));
  TVXParsDouble x;
  evaluator.DefineVariable("x", &x, "", "");
  const int varying = evaluator.AddExpression("cond(x)");
  struct Row {
    double value;
    bool truth;
  };
  const Row rows[] = {{0.0, false},     {0.05, false},      {-0.05, false},  {0.0999, false},
                      {-0.0999, false}, {0.1, true},        {-0.1, true},    {1.0, true},
                      {-7.0, true},     {EmptyNaN(), true}, {INFINITY, true}};
  for (const Row& row : rows) {
    x.Value = row.value;
    EXPECT_EQ(evaluator.GetAsBoolean(varying), row.truth) << row.value;
  }
  // A folded condition keeps the boolean kind and the same band.
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("cond(0.05)")));
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("cond(-0.1)")));
}

TEST(Conditions, ComparisonsAndBooleanConstants) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble x = TVXParsDouble::Number(2);
  evaluator.DefineVariable("x", &x, "", "");
  const int greater = evaluator.AddExpression("x > 1");
  EXPECT_TRUE(evaluator.GetAsBoolean(greater));
  x.Value = 1;
  EXPECT_FALSE(evaluator.GetAsBoolean(greater));
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("TRUE")));
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("FALSE")));
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("not (x > 1)")));
  // Every registered constant but pi reports boolean, whatever number it holds.
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("FILE_END")));
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("WINDOW_RECTANGLE")));
}

TEST(Conditions, LoneNumberVariableIsNotBoolean) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble x = TVXParsDouble::Number(1);
  evaluator.DefineVariable("x", &x, "", "");
  const int index = evaluator.AddExpression("x");
  try {
    evaluator.GetAsBoolean(index);
    ADD_FAILURE() << "no error";
  } catch (const EVXParserException& e) {
    EXPECT_STREQ(e.what(), "x: expression is not boolean");
  }
}

// --- variables ---

TEST(Variables, PersistBetweenEvaluations) {
  TVXExpressionEvaluator evaluator;
  const int increment = evaluator.AddExpression("n := n + 1");
  const int twice = evaluator.AddExpression("n * 2");
  for (int i = 0; i < 3; ++i) evaluator.GetResults(increment);
  EXPECT_EQ(evaluator.GetResults(twice).Value, 6.0);
  EXPECT_EQ(evaluator.GetResults(increment).Value, 4.0);
}

TEST(Variables, GeneratedVariablesTakeTheAssignedKind) {
  TVXExpressionEvaluator evaluator;
  struct Row {
    const char* formula;
    TVXPArsVarType type;
  };
  const Row rows[] = {{"g := 1", vtDouble},
                      {"g := [1, 2]", vtVector},
                      {"g := \"text\"", vtString},
                      {"g := 3", vtDouble}};
  for (const Row& row : rows) {
    Evaluated(evaluator, row.formula);
    EXPECT_EQ(evaluator.Words().Find("g")->GeTVXPArsVarType(), row.type) << row.formula;
  }
  EXPECT_EQ(testing::VariableValue(evaluator, "g"), 3.0);
}

TEST(Variables, GeneratedAndDefinedVariablesAreListed) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble defined;
  std::string text;
  evaluator.DefineVariable("dt", &defined, "", "Variables.htm");
  evaluator.DefineStringVariable("label", &text);
  Evaluated(evaluator, "alpha := 1");
  Evaluated(evaluator, "beta := alpha + 1");

  std::vector<std::string> generated;
  std::vector<TVXParsExprWord*> words;
  evaluator.GetGeneratedVars(generated, &words);
  std::sort(generated.begin(), generated.end());
  EXPECT_EQ(generated, (std::vector<std::string>{"alpha", "beta"}));
  ASSERT_EQ(words.size(), 2u);
  for (TVXParsExprWord* word : words)
    EXPECT_NE(dynamic_cast<TVXParsGeneratedVariable*>(word), nullptr);

  std::vector<std::string> all;
  evaluator.GetVars(all);
  for (const char* name : {"alpha", "beta", "dt", "label"})
    EXPECT_TRUE(Contains(all, name)) << name;
  for (const char* name : {"pi", "TRUE", "sin", "+"}) EXPECT_FALSE(Contains(all, name)) << name;
}

TEST(Variables, DefinedVariableReadsAndWritesCallerStorage) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble storage = TVXParsDouble::Number(3);
  evaluator.DefineVariable("v", &storage, "a value", "V.htm");
  const int read = evaluator.AddExpression("v * 2");
  EXPECT_EQ(evaluator.GetResults(read).Value, 6.0);
  storage.Value = 7;
  EXPECT_EQ(evaluator.GetResults(read).Value, 14.0);
  Evaluated(evaluator, "v := 10");
  EXPECT_EQ(storage.VarType, vtDouble);
  EXPECT_EQ(storage.Value, 10.0);
  Evaluated(evaluator, "v := [1, 2, 3]");
  EXPECT_EQ(storage.VarType, vtVector);
  EXPECT_EQ(storage.Vector, (TVXVect{1, 2, 3}));
  EXPECT_EQ(evaluator.GetHelpTopicID("V"), "V.htm");
}

TEST(Variables, DefinedStringVariableIsReadEachTime) {
  TVXExpressionEvaluator evaluator;
  std::string text = "abc";
  evaluator.DefineStringVariable("s", &text);
  const int index = evaluator.AddExpression("s + \"!\"");
  EXPECT_EQ(evaluator.GetResults(index).StrValue, "abc!");
  text = "xy";
  EXPECT_EQ(evaluator.GetResults(index).StrValue, "xy!");
}

// --- the word list operations ---

TEST(WordOperations, DefiningAnExistingNameKeepsTheFirstWord) {
  TVXExpressionEvaluator evaluator;
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
}

TEST(WordOperations, DefineConstantAndFunction) {
  TVXExpressionEvaluator evaluator;
  evaluator.DefineConstant("K", 42, "answer", "K.htm");
  const int index = evaluator.AddExpression("K + 1");
  EXPECT_EQ(evaluator.GetResults(index).Value, 43.0);
  EXPECT_NE(FoldedConstant(evaluator, index), nullptr);
  EXPECT_EQ(evaluator.GetHelpTopicID("k"), "K.htm");

  evaluator.DefineFunction("twice", &Twice, 1, "twice( x )");
  EXPECT_EQ(Number(evaluator, "twice(4) + 1"), 9.0);
  auto* word = dynamic_cast<TVXParsFunction*>(evaluator.Words().Find("twice"));
  ASSERT_NE(word, nullptr);
  EXPECT_FALSE(word->IsOper);
  EXPECT_EQ(word->Precedence, 0);
  EXPECT_EQ(word->NFunctionArg, 1);
  EXPECT_EQ(word->Syntax, "twice( x )");
}

TEST(WordOperations, ReplaceFunctionSwapsOrRemovesTheWord) {
  TVXExpressionEvaluator evaluator;
  evaluator.ReplaceFunction(
      "SIN", std::make_unique<TVXParsFunction>("sin", &Twice, 1, "Sin( arg )", vxtTrigonometric, "",
                                               "", "Sin.htm"));
  EXPECT_EQ(Number(evaluator, "sin(4)"), 8.0);
  evaluator.ReplaceFunction("sin", nullptr);
  EXPECT_EQ(evaluator.Words().Find("sin"), nullptr);
  EXPECT_EQ(CompileError(evaluator, "sin(1)"), "sin(1): unknown function \"sin\"");
  evaluator.ReplaceFunction(
      "hundred", std::make_unique<TVXParsVaryingFunction>("hundred", &Hundred, 0, "hundred",
                                                          vxtSystem, "", "", ""));
  EXPECT_EQ(Number(evaluator, "hundred + 1"), 101.0);
}

TEST(WordOperations, ClearExpressionsKeepsVariables) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "q := 3");
  evaluator.ClearExpressions();
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
  EXPECT_EQ(evaluator.AddExpression("q * 2"), 0);
  EXPECT_EQ(evaluator.GetResults(0).Value, 6.0);
}

TEST(WordOperations, ResetDropsVariablesAndExpressions) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble storage = TVXParsDouble::Number(9);
  evaluator.DefineVariable("v", &storage, "", "");
  evaluator.DefineFunction("twice", &Twice, 1, "");
  Evaluated(evaluator, "q := 3");
  evaluator.Reset();
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
  EXPECT_EQ(evaluator.Words().Find("v"), nullptr);
  EXPECT_EQ(evaluator.Words().Find("twice"), nullptr);
  EXPECT_EQ(evaluator.Words().Find("q"), nullptr);
  std::vector<std::string> vars;
  evaluator.GetVars(vars);
  EXPECT_TRUE(vars.empty());
  EXPECT_EQ(Number(evaluator, "q + sin(0)"), 0.0);
  EXPECT_EQ(Number(evaluator, "1 + 2 * 3"), 7.0);
  EXPECT_EQ(storage.Value, 9.0);
}

TEST(WordOperations, JumpTypeOfEachCommand) {
  TVXExpressionEvaluator evaluator;
  struct Row {
    const char* formula;
    TVXParsJumpType type;
  };
  const Row rows[] = {{"If(x > 1)", jtIf},   {"else", jtElse},  {"ENDIF", jtEndIF},
                      {"While(1)", jtWhile}, {"Wend", jtWend},  {"repeat", jtRepeat},
                      {"Until(x)", jtUntil}, {"x + 1", jtNone}, {"CondEval(1, 2, 3)", jtNone}};
  for (const Row& row : rows)
    EXPECT_EQ(evaluator.GetJumpType(evaluator.AddExpression(row.formula)), row.type) << row.formula;
}

}  // namespace
}  // namespace loom
