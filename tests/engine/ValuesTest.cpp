// Values and words: number text, value display text, number conversion, the constructors of
// the constant and variable words, and the logical string operator.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "engine/Messages.h"
#include "engine/ParserClasses.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using testing::Bits;

// --- number text ---

TEST(FloatToStr, GeneralFormWithFifteenSignificantDigits) {
  struct Row {
    double value;
    const char* text;
  };
  const Row rows[] = {
      {0.0, "0"},
      {1.0, "1"},
      {-1.0, "-1"},
      {0.5, "0.5"},
      {-0.25, "-0.25"},
      {100.0, "100"},
      {123.456, "123.456"},
      {1.0 / 3.0, "0.333333333333333"},
      {2.0 / 3.0, "0.666666666666667"},
      {0.1 + 0.2, "0.3"},
      {1e14, "100000000000000"},
      {999999999999999.0, "999999999999999"},
      {1e15, "1E15"},
      {123456789012345678.0, "1.23456789012346E17"},
      {1.5e20, "1.5E20"},
      {-1.5e20, "-1.5E20"},
      {1e-7, "1E-7"},
      {-2.5e-10, "-2.5E-10"},
      {0.00001, "0.00001"},
      {0.000012, "0.000012"},
      {0.000001, "1E-6"},
      {1.7976931348623157e308, "1.79769313486232E308"},
  };
  for (const Row& row : rows) EXPECT_EQ(FloatToStr(row.value), row.text) << row.text;
}

TEST(FloatToStr, NotANumberAndInfinities) {
  EXPECT_EQ(FloatToStr(std::numeric_limits<double>::quiet_NaN()), "NAN");
  EXPECT_EQ(FloatToStr(EmptyNaN()), "NAN");
  EXPECT_EQ(FloatToStr(std::numeric_limits<double>::infinity()), "INF");
  EXPECT_EQ(FloatToStr(-std::numeric_limits<double>::infinity()), "-INF");
}

TEST(FloatToStr, UsesTheGivenDecimalSeparator) {
  EXPECT_EQ(FloatToStr(0.5, ','), "0,5");
  EXPECT_EQ(FloatToStr(-12.75, ','), "-12,75");
  EXPECT_EQ(FloatToStr(1.5e20, ','), "1,5E20");
  EXPECT_EQ(FloatToStr(42.0, ','), "42");
}

// --- value display text ---

TEST(ParsDoubleAsString, EachKind) {
  TVXParsDouble matrix;
  matrix.VarType = vtMatrix;
  matrix.Matrix = {{1, 2}, {3}};
  TVXParsDouble jump;
  jump.VarType = vtJump;
  struct Row {
    TVXParsDouble value;
    const char* text;
  };
  const Row rows[] = {
      {TVXParsDouble::Number(2.5), "2.5"},
      {TVXParsDouble::FromVector({}), "]"},
      {TVXParsDouble::FromVector({3}), "[ 3]"},
      {TVXParsDouble::FromVector({1, 2.5}), "[ 1, 2.5]"},
      {TVXParsDouble::FromVector({-1, 1e20, 0.5}), "[ -1, 1E20, 0.5]"},
      {TVXParsDouble::FromString("abc"), "abc"},
      {TVXParsDouble::FromString(""), ""},
      {TVXParsDouble::Boolean(true), "True"},
      {TVXParsDouble::Boolean(false), "False"},
      {matrix, "Invalid datatype"},
      {jump, "Invalid datatype"},
  };
  for (const Row& row : rows) EXPECT_EQ(ParsDoubleAsString(row.value), row.text) << row.text;
}

TEST(ParsDoubleAsString, AnyNonZeroBooleanIsTrue) {
  TVXParsDouble value = TVXParsDouble::Boolean(false);
  for (double truth : {-0.5, 0.01, 2.0, EmptyNaN()}) {
    value.Value = truth;
    EXPECT_EQ(ParsDoubleAsString(value), "True") << truth;
  }
}

TEST(ParsDoubleAsString, FieldsOutsideTheKindAreIgnored) {
  TVXParsDouble value = TVXParsDouble::FromString("text");
  value.Value = 7;
  value.Vector = {1, 2};
  EXPECT_EQ(ParsDoubleAsString(value), "text");
  value.VarType = vtDouble;
  EXPECT_EQ(ParsDoubleAsString(value), "7");
}

TEST(ParsDoubleAsString, DecimalCommaInsideVectors) {
  EXPECT_EQ(ParsDoubleAsString(TVXParsDouble::FromVector({1.5, 2}), ','), "[ 1,5, 2]");
  EXPECT_EQ(ParsDoubleAsString(TVXParsDouble::Number(0.25), ','), "0,25");
}

// --- number conversion ---

TEST(TryStrToFloat, AcceptsOnlyWholeDecimalNumbers) {
  struct Row {
    const char* text;
    char separator;
    bool ok;
    double value;
  };
  const Row rows[] = {
      {"1.5", '.', true, 1.5},    {".5", '.', true, 0.5},      {"5.", '.', true, 5.0},
      {"-3", '.', true, -3.0},    {"+3", '.', true, 3.0},      {"1e3", '.', true, 1000.0},
      {"1E-2", '.', true, 0.01},  {"2.5e+1", '.', true, 25.0}, {"1,5", ',', true, 1.5},
      {"1e-400", '.', true, 0.0}, {"", '.', false, 0},         {".", '.', false, 0},
      {"1e", '.', false, 0},      {"1e+", '.', false, 0},      {"1.5", ',', false, 0},
      {"1,5", '.', false, 0},     {"0x10", '.', false, 0},     {"inf", '.', false, 0},
      {"nan", '.', false, 0},     {"1.2.3", '.', false, 0},    {" 1", '.', false, 0},
      {"1 ", '.', false, 0},      {"e5", '.', false, 0},       {"--1", '.', false, 0},
  };
  for (const Row& row : rows) {
    double value = -999;
    EXPECT_EQ(TryStrToFloat(row.text, row.separator, value), row.ok) << row.text;
    if (row.ok) {
      EXPECT_DOUBLE_EQ(value, row.value) << row.text;
    }
  }
}

TEST(TryStrToFloat, OverflowGivesInfinity) {
  double value = 0;
  ASSERT_TRUE(TryStrToFloat("1e400", '.', value));
  EXPECT_TRUE(std::isinf(value) && value > 0);
  ASSERT_TRUE(TryStrToFloat("-1e400", '.', value));
  EXPECT_TRUE(std::isinf(value) && value < 0);
}

// --- constant and variable words ---

TEST(DoubleConstant, EmptyTextMarksAConstantWithoutValue) {
  TVXParsDoubleConstant constant("c", std::string());
  EXPECT_EQ(constant.Value.VarType, vtDouble);
  EXPECT_EQ(Bits(constant.Value.Value), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(Bits(EmptyNaN()), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(Bits(EmptyResult().Value), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(EmptyResult().VarType, vtDouble);
}

TEST(DoubleConstant, NumberTextUsesTheDecimalSeparator) {
  EXPECT_EQ(TVXParsDoubleConstant("c", std::string("2.5")).Value.Value, 2.5);
  EXPECT_EQ(TVXParsDoubleConstant("c", std::string("2,5"), ',').Value.Value, 2.5);
  EXPECT_EQ(TVXParsDoubleConstant("c", std::string("1E3")).Value.Value, 1000.0);
  EXPECT_THROW(TVXParsDoubleConstant("c", std::string("abc")), EVXParserException);
}

TEST(DoubleConstant, TheOtherConstructors) {
  TVXParsDoubleConstant number("n", 4.25, "four", "N.htm");
  EXPECT_EQ(number.Value.VarType, vtDouble);
  EXPECT_EQ(number.Value.Value, 4.25);
  EXPECT_EQ(number.Description, "four");
  EXPECT_EQ(number.HelpFile, "N.htm");
  EXPECT_EQ(number.AsPointer(), &number.Value);
  EXPECT_TRUE(number.GetIsVariable());
  EXPECT_FALSE(number.GetCanVary());
  EXPECT_EQ(number.GeTVXPArsVarType(), vtDouble);

  TVXParsDoubleConstant vector("v", TVXVect{1, 2, 3}, "", "");
  EXPECT_EQ(vector.Value.VarType, vtVector);
  EXPECT_EQ(vector.Value.Vector, (TVXVect{1, 2, 3}));
}

TEST(DoubleConstant, StringFormStripsOneEnclosingPairOfQuotes) {
  struct Row {
    const char* text;
    const char* value;
  };
  const Row rows[] = {
      {"\"abc\"", "abc"}, {"abc", "abc"}, {"\"abc", "\"abc"},     {"abc\"", "abc\""},
      {"\"\"", ""},       {"\"", ""},     {"\"\"x\"\"", "\"x\""}, {"", ""},
  };
  for (const Row& row : rows) {
    TVXParsDoubleConstant constant("s", std::string(row.text), "", "", true);
    EXPECT_EQ(constant.Value.VarType, vtString) << row.text;
    EXPECT_EQ(constant.Value.StrValue, row.value) << row.text;
  }
}

TEST(StringConstant, KeepsTheQuotedNameAndStripsTheText) {
  struct Row {
    const char* text;
    const char* value;
  };
  const Row rows[] = {{"\"abc\"", "abc"}, {"\"", ""}, {"\"\"", ""}, {"plain", "plain"}};
  for (const Row& row : rows) {
    TVXParsStringConstant constant(row.text);
    EXPECT_EQ(constant.Name, row.text);
    EXPECT_EQ(constant.Text(), row.value);
    EXPECT_EQ(constant.GetAsString(), row.value);
    EXPECT_EQ(constant.GeTVXPArsVarType(), vtString);
    ASSERT_NE(constant.AsPointer(), nullptr);
    EXPECT_EQ(constant.AsPointer()->VarType, vtString);
    EXPECT_EQ(constant.AsPointer()->StrValue, row.value);
  }
}

TEST(BooleanConstant, ReportsBooleanWhileHoldingTheNumber) {
  TVXParsBooleanConstant constant("FILE_END", 2, "Seek from end of file", "Constants.htm");
  EXPECT_EQ(constant.GeTVXPArsVarType(), vtBoolean);
  EXPECT_EQ(constant.Value.Value, 2.0);
  EXPECT_TRUE(constant.GetIsVariable());
  EXPECT_FALSE(constant.GetCanVary());
}

TEST(GeneratedVariable, StartsAsNumberZeroAndFollowsItsType) {
  TVXParsGeneratedVariable variable("g");
  EXPECT_EQ(variable.GeTVXPArsVarType(), vtDouble);
  EXPECT_EQ(variable.Value.Value, 0.0);
  EXPECT_TRUE(variable.GetCanVary());
  EXPECT_TRUE(variable.GetIsVariable());
  for (TVXPArsVarType type : {vtString, vtVector, vtBoolean, vtMatrix, vtDouble}) {
    variable.SetVarType(type);
    EXPECT_EQ(variable.GeTVXPArsVarType(), type);
  }
}

TEST(DoubleVariable, PointsAtTheCallersValue) {
  TVXParsDouble storage = TVXParsDouble::Number(1);
  TVXParsDoubleVariable variable("dt", &storage, "step", "Variables.htm");
  EXPECT_EQ(variable.AsPointer(), &storage);
  EXPECT_TRUE(variable.GetCanVary());
  EXPECT_TRUE(variable.GetIsVariable());
  EXPECT_EQ(variable.HelpFile, "Variables.htm");
}

TEST(StringVariable, ReadsTheCallersText) {
  std::string text = "abc";
  TVXParsStringVariable variable("s", &text);
  EXPECT_EQ(variable.GetAsString(), "abc");
  text = "xyz";
  EXPECT_EQ(variable.GetAsString(), "xyz");
  EXPECT_EQ(variable.GeTVXPArsVarType(), vtString);
  EXPECT_TRUE(variable.GetCanVary());
}

TEST(FunctionWord, TheTwoFormsAndTheSubclassKinds) {
  TVXParsFunction function("f", nullptr, 2, "f( a, b )", vxtString, "desc", "a := 1", "f.htm");
  EXPECT_FALSE(function.GetIsOper());
  EXPECT_EQ(function.Precedence, 0);
  EXPECT_EQ(function.GetNFunctionArg(), 2);
  EXPECT_EQ(function.FunctionType, vxtString);
  EXPECT_EQ(function.Defaults, "a := 1");
  EXPECT_FALSE(function.GetIsVariable());

  TVXParsFunction oper("+", nullptr, 2, true, 40, "", "plus.htm");
  EXPECT_TRUE(oper.GetIsOper());
  EXPECT_EQ(oper.Precedence, 40);

  TVXParsJumpFunction jump("If", nullptr, 1, "If( arg )", vxtJump, "", "", "");
  EXPECT_EQ(jump.GeTVXPArsVarType(), vtJump);
  EXPECT_TRUE(jump.GetCanVary());

  TVXParsVectorLeftBracket bracket("[", nullptr, 0, "[ arg1, arg2, ... ]", vxtVector, "", "", "");
  EXPECT_EQ(bracket.GeTVXPArsVarType(), vtVectorLeftBracket);
  EXPECT_TRUE(bracket.GetDynamicArgs());
  EXPECT_FALSE(bracket.GetCanVary());

  TVXParsBooleanFunction comparison("<", nullptr, 2, true, 50, "", "");
  EXPECT_EQ(comparison.GeTVXPArsVarType(), vtBoolean);
  EXPECT_FALSE(comparison.GetCanVary());
}

// --- logical string operator ---

TEST(LogicalStringOper, OperatorTextSelectsTheKind) {
  TVXParsStringConstant left("\"a\"");
  TVXParsStringConstant right("\"b\"");
  const char* texts[] = {"=", ">", "<", ">=", "<=", "in"};
  for (int kind = 0; kind < 6; ++kind) {
    TVXParsLogicalStringOper oper(texts[kind], &left, &right);
    EXPECT_EQ(oper.OperKind, kind) << texts[kind];
    EXPECT_EQ(oper.GeTVXPArsVarType(), vtBoolean);
  }
}

TEST(LogicalStringOper, AnyOtherTextIsRejected) {
  TVXParsStringConstant word("\"a\"");
  for (const char* text : {"==", "<>", "IN", "", "=<", "contains"}) {
    try {
      TVXParsLogicalStringOper oper(text, &word, &word);
      ADD_FAILURE() << "accepted " << text;
    } catch (const EVXParserException& e) {
      EXPECT_EQ(std::string(e.what()),
                "\"" + std::string(text) + "\" is not a valid string operand");
    }
  }
}

TEST(LogicalStringOper, VariesWhenEitherOperandVaries) {
  TVXParsStringConstant fixed("\"a\"");
  std::string text;
  TVXParsStringVariable varying("s", &text);
  EXPECT_FALSE(TVXParsLogicalStringOper("=", &fixed, &fixed).GetCanVary());
  EXPECT_TRUE(TVXParsLogicalStringOper("=", &fixed, &varying).GetCanVary());
  EXPECT_TRUE(TVXParsLogicalStringOper("=", &varying, &fixed).GetCanVary());
}

TEST(LogicalStringOper, ComparesTheTexts) {
  struct Row {
    const char* oper;
    const char* left;
    const char* right;
    double truth;
  };
  const Row rows[] = {
      {"=", "abc", "abc", 1}, {"=", "abc", "ABC", 0},  {">", "b", "a", 1},
      {">", "a", "b", 0},     {"<", "a", "b", 1},      {">=", "a", "a", 1},
      {"<=", "b", "a", 0},    {"in", "bc", "abcd", 1}, {"in", "x", "abcd", 0},
  };
  for (const Row& row : rows) {
    std::string left = row.left;
    std::string right = row.right;
    TVXParsStringVariable l("l", &left);
    TVXParsStringVariable r("r", &right);
    TVXParsLogicalStringOper oper(row.oper, &l, &r);
    TVXParsExpressionRec rec;
    rec.Word = &oper;
    rec.Func = oper.Func;
    rec.Result.Value = -1;
    oper.Func(&rec);
    EXPECT_EQ(rec.Result.Value, row.truth) << row.left << ' ' << row.oper << ' ' << row.right;
  }
}

// --- message formatting ---

TEST(FormatMessage, FillsPlacesInOrderAndKeepsSurplusPlaces) {
  EXPECT_EQ(FormatMessage(rsTwoSuccessive, {"3 4", "3"}),
            "3 4: two successive variables/constants \"3\"");
  EXPECT_EQ(FormatMessage("%s and %s", {"a"}), "a and %s");
  EXPECT_EQ(FormatMessage("none", {"a", "b"}), "none");
  EXPECT_EQ(FormatMessage("%s", {"100%s"}), "100%s");
}

}  // namespace
}  // namespace loom
