// Values and words: number text, value display text, number conversion, the constructors of
// the constant and variable words, and the logical string operator.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "engine/Messages.h"
#include "engine/ParserClasses.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using testing::Bits;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(FloatToStr, FifteenSignificantDigitsExponentFormSpecialValuesAndSeparator) {
  struct Row {
    double value;
    const char* text;
  };
  const Row forms[] = {
      // fixed or exponent form, special values
      {0.0, "0"},         {-1.0, "-1"},        {0.1 + 0.2, "0.3"},   {1e15, "1E15"},
      {1.5e20, "1.5E20"}, {1e-7, "1E-7"},      {0.00001, "0.00001"}, {0.000001, "1E-6"},
      {kNaN, "NAN"},      {EmptyNaN(), "NAN"}, {kInf, "INF"},        {-kInf, "-INF"},
  };
  const Row digits[] = {
      // fifteen significant digits, rounded
      {1.0 / 3.0, "0.333333333333333"},
      {2.0 / 3.0, "0.666666666666667"},
      {999999999999999.0, "999999999999999"},
      {123456789012345678.0, "1.23456789012346E17"},
      {1.7976931348623157e308, "1.79769313486232E308"},
  };
  for (const Row& row : forms) EXPECT_EQ(FloatToStr(row.value), row.text) << row.text;
  for (const Row& row : digits) EXPECT_EQ(FloatToStr(row.value), row.text) << row.text;
  EXPECT_EQ(FloatToStr(-12.75, ','), "-12,75");
  EXPECT_EQ(FloatToStr(1.5e20, ','), "1,5E20");
  EXPECT_EQ(FloatToStr(42.0, ','), "42");
}

TEST(ParsDoubleAsString, EachKindByItsTypeOnly) {
  TVXParsDouble matrix;
  matrix.VarType = vtMatrix;
  TVXParsDouble text = TVXParsDouble::FromString("abc");
  text.Value = 7;  // fields outside the kind are ignored
  TVXParsDouble boolean = TVXParsDouble::Boolean(false);
  boolean.Value = -0.5;  // any non-zero value is true
  struct Row {
    TVXParsDouble value;
    const char* text;
  };
  const Row rows[] = {
      {TVXParsDouble::Number(2.5), "2.5"},
      {TVXParsDouble::FromVector({}), "]"},
      {TVXParsDouble::FromVector({3}), "[ 3]"},
      {TVXParsDouble::FromVector({1, 2.5}), "[ 1, 2.5]"},
      {text, "abc"},
      {TVXParsDouble::Boolean(true), "True"},
      {TVXParsDouble::Boolean(false), "False"},
      {boolean, "True"},
      {matrix, "Invalid datatype"},
  };
  for (const Row& row : rows) EXPECT_EQ(ParsDoubleAsString(row.value), row.text) << row.text;
  EXPECT_EQ(ParsDoubleAsString(TVXParsDouble::FromVector({1.5, 2}), ','), "[ 1,5, 2]");
  text.VarType = vtDouble;
  EXPECT_EQ(ParsDoubleAsString(text), "7");
}

TEST(TryStrToFloat, AcceptsOnlyWholeDecimalNumbers) {
  struct Row {
    const char* text;
    char separator;
    bool ok;
    double value;
  };
  const Row rows[] = {
      {"1.5", '.', true, 1.5},     {".5", '.', true, 0.5},       {"5.", '.', true, 5.0},
      {"-3", '.', true, -3.0},     {"+3", '.', true, 3.0},       {"1E-2", '.', true, 0.01},
      {"2.5e+1", '.', true, 25.0}, {"1,5", ',', true, 1.5},      {"1e-400", '.', true, 0.0},
      {"1e400", '.', true, kInf},  {"-1e400", '.', true, -kInf}, {"", '.', false, 0},
      {".", '.', false, 0},        {"1e", '.', false, 0},        {"1e+", '.', false, 0},
      {"1.5", ',', false, 0},      {"1,5", '.', false, 0},       {"0x10", '.', false, 0},
      {"inf", '.', false, 0},      {"1.2.3", '.', false, 0},     {" 1", '.', false, 0},
      {"1 ", '.', false, 0},       {"e5", '.', false, 0},        {"--1", '.', false, 0},
  };
  for (const Row& row : rows) {
    double value = -999;
    EXPECT_EQ(TryStrToFloat(row.text, row.separator, value), row.ok) << row.text;
    if (row.ok) {
      EXPECT_DOUBLE_EQ(value, row.value) << row.text;
    }
  }
}

TEST(DoubleConstant, EmptyTextIsAllOnesNaNNumberTextUsesTheSeparatorAndOtherForms) {
  TVXParsDoubleConstant constant("c", std::string());
  EXPECT_EQ(constant.Value.VarType, vtDouble);
  EXPECT_EQ(Bits(constant.Value.Value), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(Bits(EmptyNaN()), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(Bits(EmptyResult().Value), 0xFFFFFFFFFFFFFFFFull);
  EXPECT_EQ(EmptyResult().VarType, vtDouble);
  EXPECT_EQ(TVXParsDoubleConstant("c", std::string("2,5"), ',').Value.Value, 2.5);
  EXPECT_EQ(TVXParsDoubleConstant("c", std::string("2.5")).Value.Value, 2.5);
  EXPECT_THROW(TVXParsDoubleConstant("c", std::string("abc")), EVXParserException);
  TVXParsDoubleConstant number("n", 4.25, "four", "N.htm");
  EXPECT_TRUE(number.GetIsVariable());
  EXPECT_FALSE(number.GetCanVary());
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
  for (const char* text : {"\"abc\"", "\""}) {
    const std::string value = text[1] ? "abc" : "";
    TVXParsStringConstant constant(text);
    EXPECT_EQ(constant.Name, text);
    EXPECT_EQ(constant.GetAsString(), value);
    EXPECT_EQ(constant.GeTVXPArsVarType(), vtString);
    ASSERT_NE(constant.AsPointer(), nullptr);
    EXPECT_EQ(constant.AsPointer()->StrValue, value);
  }
}

TEST(VariableWords, GeneratedFollowsItsTypeDoubleAndStringReadTheCallersStorage) {
  TVXParsGeneratedVariable generated("g");
  EXPECT_EQ(generated.GeTVXPArsVarType(), vtDouble);
  EXPECT_EQ(generated.Value.Value, 0.0);
  EXPECT_TRUE(generated.GetCanVary());
  for (TVXPArsVarType type : {vtString, vtVector, vtBoolean, vtMatrix, vtDouble}) {
    generated.SetVarType(type);
    EXPECT_EQ(generated.GeTVXPArsVarType(), type);
  }
  TVXParsDouble storage = TVXParsDouble::Number(1);
  TVXParsDoubleVariable number("dt", &storage, "step", "Variables.htm");
  EXPECT_EQ(number.AsPointer(), &storage);
  EXPECT_TRUE(number.GetCanVary());
  std::string text = "abc";
  TVXParsStringVariable string("s", &text);
  text = "xyz";
  EXPECT_EQ(string.GetAsString(), "xyz");
  EXPECT_EQ(string.GeTVXPArsVarType(), vtString);
  EXPECT_TRUE(string.GetCanVary());
}

TEST(LogicalStringOper, AnyOtherTextIsRejected) {
  TVXParsStringConstant word("\"a\"");
  for (const char* text : {"==", "IN", ""}) {
    try {
      TVXParsLogicalStringOper oper(text, &word, &word);
      ADD_FAILURE() << "accepted " << text;
    } catch (const EVXParserException& e) {
      EXPECT_EQ(std::string(e.what()),
                "\"" + std::string(text) + "\" is not a valid string operand");
    }
  }
}

TEST(LogicalStringOper, OperatorTextSelectsTheKindThatComparesAndVariesWithAnOperand) {
  TVXParsStringConstant fixed("\"a\"");
  std::string text;
  TVXParsStringVariable varying("s", &text);
  EXPECT_FALSE(TVXParsLogicalStringOper("=", &fixed, &fixed).GetCanVary());
  EXPECT_TRUE(TVXParsLogicalStringOper("=", &fixed, &varying).GetCanVary());
  EXPECT_TRUE(TVXParsLogicalStringOper("=", &varying, &fixed).GetCanVary());
  struct Row {
    const char* oper;
    int kind;
    const char* left;
    const char* right;
    double truth;
  };
  const Row rows[] = {
      {"=", 0, "abc", "abc", 1},  {"=", 0, "abc", "ABC", 0}, {">", 1, "b", "a", 1},
      {"<", 2, "a", "b", 1},      {">=", 3, "a", "a", 1},    {"<=", 4, "b", "a", 0},
      {"in", 5, "bc", "abcd", 1}, {"in", 5, "x", "abcd", 0},
  };
  for (const Row& row : rows) {
    std::string left = row.left, right = row.right;
    TVXParsStringVariable l("l", &left);
    TVXParsStringVariable r("r", &right);
    TVXParsLogicalStringOper oper(row.oper, &l, &r);
    EXPECT_EQ(oper.OperKind, row.kind) << row.oper;
    EXPECT_EQ(oper.GeTVXPArsVarType(), vtBoolean);
    TVXParsExpressionRec rec;
    rec.Word = &oper;
    rec.Func = oper.Func;
    rec.Result.Value = -1;
    oper.Func(&rec);
    EXPECT_EQ(rec.Result.Value, row.truth) << row.left << ' ' << row.oper << ' ' << row.right;
  }
}

TEST(FormatMessage, FillsPlacesInOrderAndKeepsSurplusPlaces) {
  EXPECT_EQ(FormatMessage(rsTwoSuccessive, {"3 4", "3"}),
            "3 4: two successive variables/constants \"3\"");
  EXPECT_EQ(FormatMessage("%s and %s", {"a"}), "a and %s");
  EXPECT_EQ(FormatMessage("none", {"a", "b"}), "none");
  EXPECT_EQ(FormatMessage("%s", {"100%s"}), "100%s");
}

}  // namespace
}  // namespace loom
