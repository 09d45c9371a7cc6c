// Scanning and the rewriting done by the syntax check: sign runs, repeated negation, integer
// powers, hexadecimal and decimal-comma literals, string literals and the end marker.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using testing::Evaluated;
using testing::Number;

struct ValueRow {
  const char* formula;
  double value;
};

void ExpectValues(TVXExpressionEvaluatorBase& evaluator, const ValueRow* rows, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const char* formula = rows[i].formula;
    try {
      EXPECT_DOUBLE_EQ(Number(evaluator, formula), rows[i].value) << "formula: " << formula;
    } catch (const EVXParserException& e) {
      ADD_FAILURE() << "formula: " << formula << " raised: " << e.what();
    }
  }
}

TEST(SignRuns, CollapseToOneUnaryWord) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "y := 4");
  const ValueRow rows[] = {
      {"- - 3", 3},      {"-+-+-3", -3}, {"--3", 3},          {"+3", 3},
      {"-3", -3},        {"2--3", 5},    {"2-+-3", 5},        {"2*-3", -6},
      {"2 - - - 3", -1}, {"(-2)", -2},   {"max(-1, -2)", -1}, {"-y", -4},
      {"- -y", 4},       {"-2^2", 4},    {"3 - -y * 2", 11},  {"y^-1", 0.25},
  };
  ExpectValues(evaluator, rows, std::size(rows));
  // After "[" the sign is unary as well.
  const TVXParsDouble vector = Evaluated(evaluator, "[-1, +2] * 1");
  EXPECT_EQ(vector.VarType, vtVector);
  EXPECT_EQ(vector.Vector, (TVXVect{-1, 2}));
}

TEST(SignRuns, SignsBeforeBracketsStaySeparate) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "y := 4");
  const int index = evaluator.AddExpression("x := -(-y)");
  EXPECT_EQ(evaluator.GetResults(index).Value, 4.0);
  EXPECT_EQ(testing::VariableValue(evaluator, "x"), 4.0);
  // Two unary minus nodes and the assignment.
  EXPECT_EQ(evaluator.GetExprSize(index), 3);
}

TEST(SignRuns, AfterAPostfixOperatorTheSignIsBinary) {
  TVXExpressionEvaluator evaluator;
  const ValueRow rows[] = {
      {"3! - 1", 5}, {"3!-1", 5}, {"3! + 1", 7}, {"50% - 1", -0.5}, {"3! * 2", 12},
  };
  ExpectValues(evaluator, rows, std::size(rows));
}

TEST(RepeatedNot, EvenRunsVanishAndOddRunsLeaveOne) {
  TVXExpressionEvaluator evaluator;
  // not works on the low byte of the rounded value, so only a vanished pair keeps 2.5.
  Evaluated(evaluator, "a := 2.5");
  const ValueRow rows[] = {
      {"not not a", 2.5},       {"not not not a", 3}, {"not not not not a", 2.5},
      {"1 + (not not a)", 3.5}, {"not a", 3},
  };
  ExpectValues(evaluator, rows, std::size(rows));
}

TEST(IntegerPower, OnlyAnIntegerLiteralSelectsTheIntegerForm) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "x := 3");
  struct Row {
    const char* formula;
    const char* oper;
  };
  const Row rows[] = {
      {"x^2", "^@"}, {"x^2.0", "^"}, {"x^pi", "^"}, {"x^(2)", "^"}, {"x^y", "^"},
  };
  for (const Row& row : rows) {
    const int index = evaluator.AddExpression(row.formula);
    const TVXParsExpression& compiled = evaluator.GetCompiled(index);
    ASSERT_NE(compiled.Last, nullptr) << row.formula;
    EXPECT_EQ(compiled.Last->Word->Name, row.oper) << row.formula;
    EXPECT_EQ(evaluator.Disassemble(index).find("^@") != std::string::npos,
              std::string(row.oper) == "^@")
        << evaluator.Disassemble(index);
  }
  EXPECT_EQ(Number(evaluator, "x^2"), 9.0);
  EXPECT_EQ(Number(evaluator, "x^2.0"), 9.0);
  EXPECT_DOUBLE_EQ(Number(evaluator, "x^-1"), 1.0 / 3.0);
  EXPECT_EQ(Number(evaluator, "2.5^2"), 6.25);
}

TEST(Literals, HexadecimalIsUnsigned) {
  TVXExpressionEvaluator evaluator;
  const ValueRow rows[] = {
      {"$1A + 1", 27},
      {"$FF", 255},
      {"$ff", 255},
      {"$0", 0},
      {"$7FFFFFFFFFFFFFFF", 9223372036854775807.0},
      {"$FFFFFFFFFFFFFFFF", 18446744073709551615.0},
      {"-$10", -16},
  };
  ExpectValues(evaluator, rows, std::size(rows));
  const int index = evaluator.AddExpression("$1A");
  const TVXParsExprWord* word = evaluator.GetCompiled(index).Last->Word;
  ASSERT_NE(dynamic_cast<const TVXParsDoubleConstant*>(word), nullptr);
  EXPECT_EQ(static_cast<const TVXParsDoubleConstant*>(word)->Value.Value, 26.0);
}

TEST(Literals, DecimalNumbers) {
  TVXExpressionEvaluator evaluator;
  const ValueRow rows[] = {
      {"1.5", 1.5}, {".5", 0.5}, {"1e3", 1000}, {"2.5E-1", 0.25}, {"1e+2", 100}, {"007", 7},
  };
  ExpectValues(evaluator, rows, std::size(rows));
  EXPECT_TRUE(std::isinf(Number(evaluator, "1e400")));
  EXPECT_EQ(Number(evaluator, "1e-400"), 0.0);
}

TEST(Literals, DecimalCommaAndSemicolonSeparator) {
  TVXExpressionEvaluator evaluator(',');
  EXPECT_EQ(evaluator.DecimalSeparator(), ',');
  EXPECT_EQ(evaluator.ListSeparator(), ';');
  const ValueRow rows[] = {
      {"1,5", 1.5},    {"1,5 + 2,25", 3.75},   {",5", 0.5},
      {"max(1;2)", 2}, {"max(1,5; 2,5)", 2.5}, {"Clamp(7; 1; 5)", 5},
  };
  ExpectValues(evaluator, rows, std::size(rows));
  EXPECT_EQ(ParsDoubleAsString(Evaluated(evaluator, "[1,5; 2]"), ','), "[ 1,5, 2]");
}

TEST(Literals, PointSeparatorUsesCommaBetweenArguments) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(evaluator.DecimalSeparator(), '.');
  EXPECT_EQ(evaluator.ListSeparator(), ',');
  EXPECT_EQ(Number(evaluator, "max(1.5, 2.5)"), 2.5);
}

TEST(Literals, StringsHaveNoEscapes) {
  TVXExpressionEvaluator evaluator;
  struct Row {
    const char* formula;
    const char* text;
  };
  const Row rows[] = {
      {"\"abc\"", "abc"}, {"\"\"", ""},         {"\"a b  c\"", "a b  c"},
      {"\"1+2\"", "1+2"}, {"\"#;'@\"", "#;'@"}, {"\"ab\" + \"cd\"", "abcd"},
  };
  for (const Row& row : rows) {
    const TVXParsDouble value = Evaluated(evaluator, row.formula);
    EXPECT_EQ(value.VarType, vtString) << row.formula;
    EXPECT_EQ(value.StrValue, row.text) << row.formula;
  }
}

TEST(Scanning, NamesAndBlanks) {
  TVXExpressionEvaluator evaluator;
  const ValueRow rows[] = {
      {"  1   +   2  ", 3}, {"my_var.x := 4", 4}, {"my_var.x * 2", 8},
      {"_a1 := 5", 5},      {"_a1", 5},           {"SIN(0) + Sin(0) + sin(0)", 0},
      {"PI", M_PI},         {"7 mod 4", 3},       {"7 MOD 4", 3},
      {"1 <> 2", 1},        {"2 >= 2", 1},        {"1 << 3", 8},
  };
  ExpectValues(evaluator, rows, std::size(rows));
}

TEST(Scanning, BackslashEndsTheFormula) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(Number(evaluator, "7 \\ 8"), 7.0);
  EXPECT_EQ(Number(evaluator, "2 * 3 \\ # this is never scanned"), 6.0);
}

TEST(Scanning, EmptyTextGivesNoExpression) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(evaluator.AddExpression(""), -1);
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
  EXPECT_EQ(evaluator.CurrentIndex(), -1);
  EXPECT_EQ(evaluator.AddExpression("1"), 0);
  EXPECT_EQ(evaluator.CurrentIndex(), 0);
  EXPECT_EQ(evaluator.AddExpression(""), -1);
  EXPECT_EQ(evaluator.CurrentIndex(), -1);
  EXPECT_EQ(evaluator.GetExpressionCount(), 1);
}

TEST(Scanning, UnknownNamesBecomeVariables) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(evaluator.Words().Find("fresh"), nullptr);
  EXPECT_EQ(Number(evaluator, "fresh + 1"), 1.0);
  TVXParsExprWord* word = evaluator.Words().Find("FRESH");
  ASSERT_NE(word, nullptr);
  EXPECT_NE(dynamic_cast<TVXParsGeneratedVariable*>(word), nullptr);
  // The same name in another case is the same variable.
  EXPECT_EQ(Number(evaluator, "Fresh := 3"), 3.0);
  EXPECT_EQ(Number(evaluator, "fresh"), 3.0);
}

}  // namespace
}  // namespace loom
