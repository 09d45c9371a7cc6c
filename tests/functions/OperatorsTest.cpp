// Operators and scalar mathematics, driven through the full evaluator (with and without constant
// folding) and, for the rules about untouched fields, through the bodies themselves.
#include <gtest/gtest.h>
#include <time.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"

namespace loom {
namespace {

constexpr const char* kSizes = "vector sizes are not matched";
constexpr const char* kInvalid = "Invalid floating point operation";

// Every table runs twice: folded at compile time and evaluated at run time.
class OperatorsFormula : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { ev_.ConstantFolding = GetParam(); }

  void ExpectTexts(std::initializer_list<TextCase> cases) {
    for (const TextCase& c : cases) {
      SCOPED_TRACE(c.formula);
      const TVXParsDouble result = EvaluateOnce(ev_, c.formula);
      EXPECT_EQ(result.VarType, c.kind);
      EXPECT_EQ(ParsDoubleAsString(result), c.text);
    }
  }

  // For operators that write only the number of their result.
  void ExpectNumbers(std::initializer_list<NumberCase> cases) {
    for (const NumberCase& c : cases) {
      SCOPED_TRACE(c.formula);
      EXPECT_EQ(EvaluateOnce(ev_, c.formula).Value, c.value);
    }
  }

  void ExpectErrors(std::initializer_list<ErrorCase> cases) {
    for (const ErrorCase& c : cases) {
      SCOPED_TRACE(c.formula);
      EXPECT_EQ(ErrorOf(ev_, c.formula), c.message);
    }
  }

  TVXExpressionEvaluator ev_;
};

INSTANTIATE_TEST_SUITE_P(Folding, OperatorsFormula, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Folded" : "Unfolded"; });

TEST_P(OperatorsFormula, ArithmeticBroadcastsAndOtherKindPairsYieldAnUntouchedVector) {
  ExpectTexts({
      {"[1,2,3] * 2", vtVector, "[ 2, 4, 6]"}, {"2 - [1,2]", vtVector, "[ 1, 0]"},
      {"[6,8] / [2,4]", vtVector, "[ 3, 2]"},  {"7 - 2 - 1", vtDouble, "4"},
      {"1 / 0", vtDouble, "INF"},              {"-1 / 0", vtDouble, "-INF"},
      {"max([1,5], 3)", vtVector, "[ 3, 5]"},  {"min(2, [1,5])", vtVector, "[ 1, 2]"},
      {"max(-1, -2)", vtDouble, "-1"},         {"TRUE + 1", vtVector, "]"},
      {"1 * FALSE", vtVector, "]"},            {"max(TRUE, 2)", vtVector, "]"},
      {"\"a\" * 2", vtVector, "]"},
  });
  ExpectErrors({
      {"[1] * [1,2]", "vector sizes are not matched"}, {"[1,2] div [1]", kSizes},
      {"max([1,2,3], [1])", kSizes},                    {"[1,2] and [1,2,3]", kSizes},
  });
}

TEST_P(OperatorsFormula, PlusWithAStringConcatenatesDisplayTexts) {
  ExpectTexts({
      {"\"ab\" + 3", vtString, "ab3"},         {"3 + \"ab\"", vtString, "3ab"},
      {"\"ab\" + \"cd\"", vtString, "abcd"},   {"\"v=\" + [1,2]", vtString, "v=[ 1, 2]"},
      {"\"t=\" + TRUE", vtString, "t=True"},   {"FALSE + \"!\"", vtString, "False!"},
  });
}

TEST(OperatorsConcatenation, UsesTheEvaluatorsDecimalSeparator) {
  TVXExpressionEvaluator ev(',');
  EXPECT_EQ(EvaluateOnce(ev, "\"x\" + 2,5").StrValue, "x2,5");
}

// div, mod, and, or, xor, shifts and not round their operands to 64-bit integers (ties to even).
TEST_P(OperatorsFormula, IntegerOperatorsRoundTheirOperands) {
  ExpectTexts({
      {"-7 div 2", vtDouble, "-3"},   {"-7 mod 2", vtDouble, "-1"},  {"7 mod -2", vtDouble, "1"},
      {"2.5 div 1", vtDouble, "2"},   {"3.5 div 1", vtDouble, "4"},
      {"[7,8,9] mod [2,3,4]", vtVector, "[ 1, 2, 1]"},
      {"-9223372036854775808 div -1", vtDouble, "-9.22337203685478E18"},
      {"-9223372036854775808 mod -1", vtDouble, "0"},
      {"6 and 3", vtDouble, "2"},     {"6 or 3", vtDouble, "7"},     {"6 xor 3", vtDouble, "5"},
      {"-1 and 255", vtDouble, "255"}, {"[1,2,4] or 1", vtVector, "[ 1, 3, 5]"},
      {"1 << 4", vtDouble, "16"},     {"2.5 << 1", vtDouble, "4"},   {"-1 >> 60", vtDouble, "15"},
      {"-1 << 63", vtDouble, "-9.22337203685478E18"},
      {"1 << 64", vtDouble, "0"},     {"1 << -1", vtDouble, "0"},    {"16 >> 64", vtDouble, "0"},
  });
  ExpectErrors({
      {"1 div 0", "Division by zero"},   {"1 mod 0", "Division by zero"},
      {"1 div 0.4", "Division by zero"}, {"[1,2] mod 0", "Division by zero"},
      {"sqrt(-1) div 1", kInvalid}, {"9223372036854775808 div 1", kInvalid},
      {"sqrt(-1) or 1", kInvalid},  {"not (1/0)", "Invalid floating point operation"},
  });
}

TEST_P(OperatorsFormula, NotFlipsTheLowestBitOfTheLowByte) {
  ExpectNumbers({{"not 0", 1}, {"not 2", 3}, {"not 256", 1}, {"not 1.5", 3}, {"not (-1)", 254}});
}

TEST_P(OperatorsFormula, ComparisonsUseATinyToleranceAndStringsCompareExactly) {
  ExpectNumbers({
      {"2 > 1", 1},           {"1 > 1", 0},       {"1 < 2", 1},       {"2 < 2", 0},
      {"0 >= 1e-31", 1},      {"0 >= 1e-29", 0},  {"1e-31 <= 0", 1},  {"3 <= 2", 0},
      {"0.1 + 0.2 = 0.3", 0}, {"1e-31 = 0", 1},   {"1e-29 = 0", 0},
      {"1 <> 2", 1},          {"1e-31 <> 0", 0},
      {"\"ab\" = \"ab\"", 1}, {"\"ab\" = \"AB\"", 0}, {"\"ab\" <> \"AB\"", 1},
      {"TRUE <> 0", 0},       {"[1] = [1]", 0},   {"\"1\" = 1", 0},
  });
}

TEST_P(OperatorsFormula, UnaryOperatorsAndPrecedenceAsRegistered) {
  ExpectTexts({
      {"-[1,2]", vtVector, "[ -1, -2]"},       {"- - 3", vtDouble, "3"},
      {"[50,100]%", vtVector, "[ 0.5, 1]"},    {"2 * 3 ^ 2", vtDouble, "18"},
      {"-2 ^ 2", vtDouble, "4"},               {"1 + 1 << 2", vtDouble, "5"},
      {"10 - 2 div 2", vtDouble, "9"},
  });
}

TEST_P(OperatorsFormula, PowersRealAndInteger) {
  ExpectTexts({
      {"2^0.5", vtDouble, "1.4142135623731"},  {"[1,2,3]^2", vtVector, "[ 1, 4, 9]"},
      {"power(4, 0.5)", vtDouble, "2"},        {"pow(10, 3)", vtDouble, "1000"},
      {"(-8)^(1/3)", vtDouble, "NAN"},         {"intpower(2, -2)", vtDouble, "0.25"},
      {"intpower(2, 2.5)", vtDouble, "4"},     {"intpower(-3, 3)", vtDouble, "-27"},
      {"intpower(10, 400)", vtDouble, "INF"},  {"intpower(0, -1)", vtDouble, "INF"},
      {"intpower(-1, 9223372036854774784)", vtDouble, "1"},
  });
}

TEST_P(OperatorsFormula, FactorialOfTheRoundedArgument) {
  ExpectTexts({
      {"3!", vtDouble, "6"},     {"1!", vtDouble, "1"},      {"0!", vtDouble, "1"},
      {"(-4)!", vtDouble, "1"},  {"2.5!", vtDouble, "2"},    {"3.5!", vtDouble, "24"},
      {"3! - 1", vtDouble, "5"}, {"20!", vtDouble, "2.43290200817664E18"},
      {"170!", vtDouble, "7.257415615308E306"},
      {"171!", vtDouble, "INF"}, {"1e18!", vtDouble, "INF"},
  });
  ExpectErrors({{"(1/0)!", kInvalid}});
}

// One row per function, plus its boundaries and quirks.
TEST_P(OperatorsFormula, MathematicalFunctions) {
  ExpectTexts({
      {"sqrt([4,9])", vtVector, "[ 2, 3]"},    {"sqrt(-1)", vtDouble, "NAN"},
      {"abs(-2.5)", vtDouble, "2.5"},          {"round(2.5)", vtDouble, "2"},
      {"round(3.5)", vtDouble, "4"},           {"round(1e20)", vtDouble, "1E20"},
      {"trunc(-2.7)", vtDouble, "-2"},         {"Ceil(-2.1)", vtDouble, "-2"},
      {"Floor([1.5,-1.5])", vtVector, "[ 1, -2]"},
      {"Ceil(2147483648)", vtDouble, "-2147483648"},
      {"Floor(4294967297.5)", vtDouble, "1"},  {"Frac(-2.75)", vtDouble, "-0.75"},
      {"Clamp([-1,1,5], 0, 3)", vtVector, "[ 0, 1, 3]"},
      {"sqr(-3)", vtDouble, "9"},              {"sin(pi/2)", vtDouble, "1"},
      {"cos(0)", vtDouble, "1"},               {"tan(0)", vtDouble, "0"},
      {"arcsin(1)", vtDouble, "1.5707963267949"},
      {"arccos(2)", vtDouble, "NAN"},          {"arctan2(1, -1)", vtDouble, "2.35619449019234"},
      {"degtorad([90,-180])", vtVector, "[ 1.5707963267949, -3.14159265358979]"},
      {"radtodeg(pi)", vtDouble, "180"},       {"exp(1)", vtDouble, "2.71828182845905"},
      {"ln(0)", vtDouble, "-INF"},             {"ln(-1)", vtDouble, "NAN"},
      {"log10([1,100])", vtVector, "[ 0, 2]"}, {"logN(2, 8.4)", vtDouble, "3"},
      {"logN([2,4], 16)", vtVector, "[ 4, 2]"},
      {"sinh(0)", vtDouble, "0"},              {"cosh(0)", vtDouble, "1"},
      {"tanh(0)", vtDouble, "0"},              {"arcsinh(0)", vtDouble, "0"},
      {"arccosh(1)", vtDouble, "0"},           {"arctanh(0.5)", vtDouble, "0.549306144334055"},
  });
  ExpectErrors({{"Ceil(sqrt(-1))", kInvalid}, {"Floor(1e19)", "Invalid floating point operation"}});
}

TEST_P(OperatorsFormula, BitAndCondEvalReadTheLowBits) {
  ExpectTexts({
      {"Bit(5, 0)", vtDouble, "1"},            {"Bit(5, 1)", vtDouble, "0"},
      {"Bit(5, 32)", vtDouble, "1"},           {"Bit(5, 33)", vtDouble, "0"},
      {"Bit(5, -1)", vtDouble, "0"},           {"Bit(-1, 31)", vtDouble, "1"},
      {"Bit(4294967300, 2)", vtDouble, "1"},   {"Bit([1,2,3], 1)", vtVector, "[ 0, 1, 1]"},
      {"CondEval(256, 1, 2)", vtDouble, "2"},  {"CondEval(0.4, 1, 2)", vtDouble, "2"},
      {"CondEval(1, \"a\", \"b\")", vtString, "a"},
      {"CondEval(0, [1], [2,3])", vtVector, "[ 2, 3]"},
      {"CondEval(1, TRUE, 0)", vtBoolean, "True"},
  });
  ExpectErrors({{"CondEval(sqrt(-1), 1, 2)", kInvalid}});
}

TEST(OperatorsAssignment, StoresNumbersVectorsAndStringsButNotBooleans) {
  TVXExpressionEvaluator ev;
  const TextCase script[] = {
      {"x := 5", vtDouble, "5"},
      {"x := x * [1,2]", vtVector, "[ 5, 10]"},
      {"x", vtVector, "[ 5, 10]"},
      {"x := \"s\"", vtString, "s"},
      {"x + 1", vtString, "s1"},
      {"x := 2", vtDouble, "2"},
      {"x", vtDouble, "2"},
  };
  for (const TextCase& c : script) {
    SCOPED_TRACE(c.formula);
    const TVXParsDouble result = EvaluateOnce(ev, c.formula);
    EXPECT_EQ(result.VarType, c.kind);
    EXPECT_EQ(ParsDoubleAsString(result), c.text);
  }
  for (const char* step : {"y := 7", "y := TRUE", "v := [1,2]", "v := FALSE"})
    EvaluateOnce(ev, step);
  EXPECT_EQ(ParsDoubleAsString(EvaluateOnce(ev, "y")), "7");
  EXPECT_EQ(ParsDoubleAsString(EvaluateOnce(ev, "v")), "[ 1, 2]");
}

TEST(OperatorsSystem, RandomIsUniformAndRandgHasTheGivenMeanAndDeviation) {
  TVXExpressionEvaluator ev;
  const int uniform = ev.AddExpression("Random");
  const int normal = ev.AddExpression("randg(5, 2)");
  constexpr int kSamples = 8000;
  double sum = 0, normalSum = 0, normalSquares = 0;
  std::set<double> distinct;
  for (int i = 0; i < kSamples; ++i) {
    const TVXParsDouble r = ev.GetResults(uniform);
    ASSERT_EQ(r.VarType, vtDouble);
    ASSERT_GE(r.Value, 0.0);
    ASSERT_LT(r.Value, 1.0);
    sum += r.Value;
    distinct.insert(r.Value);
    const double x = ev.GetResults(normal).Value;
    normalSum += x;
    normalSquares += x * x;
  }
  EXPECT_NEAR(sum / kSamples, 0.5, 0.03);
  EXPECT_GT(distinct.size(), kSamples - 5u);
  const double mean = normalSum / kSamples;
  EXPECT_NEAR(mean, 5.0, 0.15);
  EXPECT_NEAR(std::sqrt(normalSquares / kSamples - mean * mean), 2.0, 0.15);
  EXPECT_EQ(EvaluateOnce(ev, "randg(10, 0)").Value, 10.0);
}

TEST(OperatorsSystem, GetTickCountIsMonotonicMillisecondsModuloTwoToThe32) {
  TVXExpressionEvaluator ev;
  const int index = ev.AddExpression("GetTickCount");
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto expected = static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
  const TVXParsDouble tick = ev.GetResults(index);
  EXPECT_EQ(tick.VarType, vtDouble);
  EXPECT_EQ(tick.Value, std::floor(tick.Value));
  EXPECT_LT(static_cast<std::uint32_t>(static_cast<std::uint32_t>(tick.Value) - expected), 1000u);
}

TEST(OperatorsSystem, NowIsTheLocalDayNumber) {
  TVXExpressionEvaluator ev;
  const int index = ev.AddExpression("Now");
  const time_t seconds = time(nullptr);
  tm local{};
  localtime_r(&seconds, &local);
  // Local seconds since 1970 as days, shifted to day 0 = 1899-12-30.
  const double expected =
      static_cast<double>(seconds + local.tm_gmtoff) / 86400.0 + kUnixEpochDayNumber;
  const TVXParsDouble now = ev.GetResults(index);
  EXPECT_EQ(now.VarType, vtDouble);
  EXPECT_NEAR(now.Value, expected, 2.0 / 86400.0);
}

TEST(OperatorsHelpers, DayNumbersCountFromTheEndOf1899) {
  EXPECT_EQ(EncodeDayNumber(1899, 12, 30, 0), 0.0);
  EXPECT_EQ(EncodeDayNumber(1970, 1, 1, 0), 25569.0);
  EXPECT_EQ(EncodeDayNumber(2024, 2, 29, 43200), 45351.5);
  EXPECT_EQ(EncodeDayNumber(2024, 3, 1, 21600), 45352.25);
}

TEST(OperatorsHelpers, RoundingTiesToEvenAndRejectsWhatNoIntegerHolds) {
  EXPECT_EQ(RoundToInt64(2.5), 2);
  EXPECT_EQ(RoundToInt64(3.5), 4);
  EXPECT_EQ(RoundToInt64(-2.5), -2);
  EXPECT_EQ(RoundToInt64(-9223372036854775808.0), INT64_MIN);
  EXPECT_EQ(RoundToInt64(9223372036854774784.0), 9223372036854774784);
  const double inf = std::numeric_limits<double>::infinity();
  for (double bad : {9223372036854775808.0, -9223372036854777856.0, inf, -inf,
                     std::numeric_limits<double>::quiet_NaN()}) {
    SCOPED_TRACE(bad);
    try {
      RoundToInt64(bad);
      ADD_FAILURE() << "no error";
    } catch (const EVXParserException& e) {
      EXPECT_STREQ(e.what(), "Invalid floating point operation");
    }
  }
}

// --- the bodies themselves: which fields of the result a body writes and which it leaves ---

TVXParsDouble Value(TVXPArsVarType kind, double number, TVXVect vec = {}, std::string str = {}) {
  return {kind, false, number, std::move(vec), {}, std::move(str)};
}

// One call of a body with its own argument values; Owner stays null.
struct BodyCall {
  explicit BodyCall(std::vector<TVXParsDouble> arguments) : args(std::move(arguments)) {
    for (TVXParsDouble& a : args) rec.ArgData.push_back(&a);
  }
  std::vector<TVXParsDouble> args;
  TVXParsExpressionRec rec;
};

TEST(OperatorsBodies, WriteOnlyTheFieldsTheirRuleNames) {
  struct Case {
    const char* name;
    TVXParsProc body;
    std::vector<TVXParsDouble> args;
    TVXParsDouble before, after;
  };
  const Case cases[] = {
      {"empty vector", _VXParsAdd, {Value(vtVector, 0), Value(vtDouble, 2)},
       Value(vtDouble, 0, {9}), Value(vtVector, 0)},
      {"other-kind pair", _VXParsSubtract, {Value(vtBoolean, 1), Value(vtDouble, 1)},
       Value(vtDouble, 3, {9, 8}), Value(vtVector, 3, {9, 8})},
      {"element rule on a boolean", _VXParsSqrt, {Value(vtBoolean, 1, {4, 9})},
       Value(vtDouble, 7), Value(vtBoolean, 7, {2, 3})},
      {"unary plus of a string", _VXParsUnaryPlus, {Value(vtString, 0, {}, "new")},
       Value(vtDouble, 0, {}, "old"), Value(vtString, 0, {}, "old")},
      {"comparison", _VXParsGreater, {Value(vtDouble, 2), Value(vtDouble, 1)},
       Value(vtBoolean, 0), Value(vtBoolean, 1)},
      {"factorial of a vector", _VXParsFactorial, {Value(vtVector, 4, {1, 2})},
       Value(vtDouble, 0), Value(vtDouble, 24)},
      {"bit out of range", _VXParsBit, {Value(vtVector, 0, {1, 2}), Value(vtDouble, 40)},
       Value(vtVector, 9, {5}), Value(vtVector, 0, {5})},
      {"concatenation without an evaluator", _VXParsAdd,
       {Value(vtString, 0, {}, "x"), Value(vtDouble, 0.5)}, Value(vtDouble, 0),
       Value(vtString, 0, {}, "x0.5")},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    BodyCall call(c.args);
    call.rec.Result = c.before;
    c.body(&call.rec);
    EXPECT_EQ(call.rec.Result.VarType, c.after.VarType);
    EXPECT_EQ(call.rec.Result.Value, c.after.Value);
    EXPECT_EQ(call.rec.Result.Vector, c.after.Vector);
    EXPECT_EQ(call.rec.Result.StrValue, c.after.StrValue);
  }
}

TEST(OperatorsBodies, AssignmentOfABooleanWritesNeitherTargetNorResult) {
  BodyCall call({Value(vtDouble, 1), Value(vtVector, 0, {3, 4})});
  _VXParsAssign(&call.rec);
  EXPECT_EQ(call.args[0].Vector, (TVXVect{3, 4}));
  EXPECT_EQ(call.rec.Result.VarType, vtVector);
  EXPECT_EQ(call.rec.Result.Vector, (TVXVect{3, 4}));

  call.args[1] = TVXParsDouble::Boolean(true);
  call.rec.Result = TVXParsDouble::Number(6);
  _VXParsAssign(&call.rec);
  EXPECT_EQ(call.args[0].VarType, vtVector);
  EXPECT_EQ(call.args[0].Vector, (TVXVect{3, 4}));
  EXPECT_EQ(call.rec.Result.VarType, vtDouble);
  EXPECT_EQ(call.rec.Result.Value, 6);
}

}  // namespace
}  // namespace loom
