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

TEST_P(OperatorsFormula, ArithmeticBroadcastsNumbersOverVectors) {
  ExpectTexts({
      {"[1,2,3] * 2", vtVector, "[ 2, 4, 6]"},
      {"2 - [1,2]", vtVector, "[ 1, 0]"},
      {"[1,2] + [10,20]", vtVector, "[ 11, 22]"},
      {"[6,8] / [2,4]", vtVector, "[ 3, 2]"},
      {"[1,2] - 0.5", vtVector, "[ 0.5, 1.5]"},
      {"7 - 2 - 1", vtDouble, "4"},
      {"1 / 0", vtDouble, "INF"},
      {"-1 / 0", vtDouble, "-INF"},
      {"max([1,5], 3)", vtVector, "[ 3, 5]"},
      {"min(2, [1,5])", vtVector, "[ 1, 2]"},
      {"max(-1, -2)", vtDouble, "-1"},
      {"min([4,1], [2,3])", vtVector, "[ 2, 1]"},
  });
}

TEST_P(OperatorsFormula, OtherKindPairsComputeNothingAndYieldAVector) {
  ExpectTexts({
      {"TRUE + 1", vtVector, "]"},
      {"1 * FALSE", vtVector, "]"},
      {"TRUE - [1,2]", vtVector, "]"},
      {"max(TRUE, 2)", vtVector, "]"},
      {"\"a\" * 2", vtVector, "]"},
  });
}

TEST_P(OperatorsFormula, PlusWithAStringConcatenatesDisplayTexts) {
  ExpectTexts({
      {"\"ab\" + 3", vtString, "ab3"},
      {"3 + \"ab\"", vtString, "3ab"},
      {"\"ab\" + \"cd\"", vtString, "abcd"},
      {"\"v=\" + 2.5", vtString, "v=2.5"},
      {"\"v=\" + [1,2]", vtString, "v=[ 1, 2]"},
      {"\"t=\" + TRUE", vtString, "t=True"},
      {"FALSE + \"!\"", vtString, "False!"},
  });
}

TEST(OperatorsConcatenation, UsesTheEvaluatorsDecimalSeparator) {
  TVXExpressionEvaluator ev(',');
  EXPECT_EQ(EvaluateOnce(ev, "\"x\" + 2,5").StrValue, "x2,5");
}

TEST_P(OperatorsFormula, VectorsOfDifferentLengthsAreRejected) {
  ExpectErrors({
      {"[1,2] + [1,2,3]", "vector sizes are not matched"},
      {"[1] * [1,2]", "vector sizes are not matched"},
      {"max([1,2,3], [1])", "vector sizes are not matched"},
      {"[1,2] div [1]", "vector sizes are not matched"},
      {"[1,2] and [1,2,3]", "vector sizes are not matched"},
  });
}

TEST_P(OperatorsFormula, IntegerDivisionAndModuloRoundThenTruncate) {
  ExpectTexts({
      {"7 div 2", vtDouble, "3"},
      {"-7 div 2", vtDouble, "-3"},
      {"-7 mod 2", vtDouble, "-1"},
      {"7 mod -2", vtDouble, "1"},
      {"2.5 div 1", vtDouble, "2"},
      {"3.5 div 1", vtDouble, "4"},
      {"7 div 2.5", vtDouble, "3"},
      {"[7,8,9] div 2", vtVector, "[ 3, 4, 4]"},
      {"[7,8,9] mod [2,3,4]", vtVector, "[ 1, 2, 1]"},
      {"-9223372036854775808 div -1", vtDouble, "-9.22337203685478E18"},
      {"-9223372036854775808 mod -1", vtDouble, "0"},
  });
}

TEST_P(OperatorsFormula, IntegerDivisionFailures) {
  ExpectErrors({
      {"1 div 0", "Division by zero"},
      {"1 mod 0", "Division by zero"},
      {"1 div 0.4", "Division by zero"},
      {"[1,2] mod 0", "Division by zero"},
      {"sqrt(-1) div 1", "Invalid floating point operation"},
      {"1 mod (1/0)", "Invalid floating point operation"},
      {"9223372036854775808 div 1", "Invalid floating point operation"},
  });
}

TEST_P(OperatorsFormula, LogicalOperatorsAreBitwiseOnRoundedIntegers) {
  ExpectTexts({
      {"6 and 3", vtDouble, "2"},
      {"6 or 3", vtDouble, "7"},
      {"6 xor 3", vtDouble, "5"},
      {"-1 and 255", vtDouble, "255"},
      {"2.5 or 1", vtDouble, "3"},
      {"[1,2,4] or 1", vtVector, "[ 1, 3, 5]"},
      {"12 xor [4,8]", vtVector, "[ 8, 4]"},
      {"TRUE or 1", vtVector, "]"},
  });
  ExpectErrors({{"sqrt(-1) or 1", "Invalid floating point operation"}});
}

TEST_P(OperatorsFormula, NotFlipsTheLowestBitOfTheLowByte) {
  ExpectNumbers({
      {"not 0", 1},
      {"not 1", 0},
      {"not 2", 3},
      {"not 255", 254},
      {"not 256", 1},
      {"not 1.5", 3},
      {"not (-1)", 254},
  });
  ExpectErrors({{"not (1/0)", "Invalid floating point operation"}});
}

TEST_P(OperatorsFormula, ShiftsWorkOnRoundedSixtyFourBitIntegers) {
  ExpectTexts({
      {"1 << 4", vtDouble, "16"},
      {"256 >> 4", vtDouble, "16"},
      {"2.5 << 1", vtDouble, "4"},
      {"-1 >> 60", vtDouble, "15"},
      {"-8 >> 0", vtDouble, "-8"},
      {"-1 << 63", vtDouble, "-9.22337203685478E18"},
      {"1 << 64", vtDouble, "0"},
      {"1 << -1", vtDouble, "0"},
      {"16 >> 64", vtDouble, "0"},
      {"[1,2] << 1", vtVector, "[ 2, 4]"},
  });
}

TEST_P(OperatorsFormula, ComparisonsUseATinyTolerance) {
  ExpectNumbers({
      {"2 > 1", 1},
      {"1 > 1", 0},
      {"1 < 2", 1},
      {"2 < 2", 0},
      {"1 >= 1", 1},
      {"0 >= 1", 0},
      {"0 >= 1e-31", 1},
      {"0 >= 1e-29", 0},
      {"2 <= 2", 1},
      {"3 <= 2", 0},
      {"1e-31 <= 0", 1},
      {"1 = 1", 1},
      {"0.1 + 0.2 = 0.3", 0},
      {"1e-31 = 0", 1},
      {"1e-29 = 0", 0},
      {"1 <> 2", 1},
      {"1 <> 1", 0},
      {"1e-31 <> 0", 0},
  });
}

TEST_P(OperatorsFormula, EqualityComparesStringsExactlyAndOtherPairsNever) {
  ExpectNumbers({
      {"\"ab\" = \"ab\"", 1},
      {"\"ab\" = \"AB\"", 0},
      {"\"ab\" <> \"AB\"", 1},
      {"\"ab\" <> \"ab\"", 0},
      {"TRUE = 1", 0},
      {"TRUE <> 0", 0},
      {"[1] = [1]", 0},
      {"\"1\" = 1", 0},
  });
}

TEST_P(OperatorsFormula, UnaryOperatorsApplyElementWise) {
  ExpectTexts({
      {"-[1,2]", vtVector, "[ -1, -2]"},
      {"- - 3", vtDouble, "3"},
      {"+[1,2]", vtVector, "[ 1, 2]"},
      {"50%", vtDouble, "0.5"},
      {"[50,100]%", vtVector, "[ 0.5, 1]"},
  });
}

TEST_P(OperatorsFormula, PowersRealAndInteger) {
  ExpectTexts({
      {"2^10", vtDouble, "1024"},
      {"2^0.5", vtDouble, "1.4142135623731"},
      {"2^-1", vtDouble, "0.5"},
      {"[1,2,3]^2", vtVector, "[ 1, 4, 9]"},
      {"power(4, 0.5)", vtDouble, "2"},
      {"pow(10, 3)", vtDouble, "1000"},
      {"(-8)^(1/3)", vtDouble, "NAN"},
      {"intpower(2, -2)", vtDouble, "0.25"},
      {"intpower(2, 2.5)", vtDouble, "4"},
      {"intpower(-3, 3)", vtDouble, "-27"},
      {"intpower(3, 0)", vtDouble, "1"},
      {"intpower(10, 400)", vtDouble, "INF"},
      {"intpower(0, -1)", vtDouble, "INF"},
      {"intpower(-1, 9223372036854774784)", vtDouble, "1"},
      {"intpower([2,3], 3)", vtVector, "[ 8, 27]"},
  });
}

TEST_P(OperatorsFormula, FactorialOfTheRoundedArgument) {
  ExpectTexts({
      {"3!", vtDouble, "6"},
      {"1!", vtDouble, "1"},
      {"0!", vtDouble, "1"},
      {"(-4)!", vtDouble, "1"},
      {"2.5!", vtDouble, "2"},
      {"3.5!", vtDouble, "24"},
      {"3! - 1", vtDouble, "5"},
      {"20!", vtDouble, "2.43290200817664E18"},
      {"170!", vtDouble, "7.257415615308E306"},
      {"171!", vtDouble, "INF"},
      {"1e18!", vtDouble, "INF"},
  });
  ExpectErrors({{"(1/0)!", "Invalid floating point operation"}});
}

TEST_P(OperatorsFormula, BasicFunctions) {
  ExpectTexts({
      {"sqrt(16)", vtDouble, "4"},
      {"sqrt([4,9])", vtVector, "[ 2, 3]"},
      {"sqrt(-1)", vtDouble, "NAN"},
      {"abs(-2.5)", vtDouble, "2.5"},
      {"abs([-1,2])", vtVector, "[ 1, 2]"},
      {"round(2.5)", vtDouble, "2"},
      {"round(3.5)", vtDouble, "4"},
      {"round(-2.5)", vtDouble, "-2"},
      {"round(1e20)", vtDouble, "1E20"},
      {"trunc(-2.7)", vtDouble, "-2"},
      {"Ceil(2.1)", vtDouble, "3"},
      {"Ceil(-2.1)", vtDouble, "-2"},
      {"Floor(-2.1)", vtDouble, "-3"},
      {"Floor([1.5,-1.5])", vtVector, "[ 1, -2]"},
      {"Ceil(2147483648)", vtDouble, "-2147483648"},
      {"Floor(4294967297.5)", vtDouble, "1"},
      {"Frac(-2.75)", vtDouble, "-0.75"},
      {"Frac(3)", vtDouble, "0"},
      {"Clamp(5, 0, 3)", vtDouble, "3"},
      {"Clamp(-1, 0, 3)", vtDouble, "0"},
      {"Clamp([-1,1,5], 0, 3)", vtVector, "[ 0, 1, 3]"},
  });
  ExpectErrors({
      {"Ceil(sqrt(-1))", "Invalid floating point operation"},
      {"Floor(1e19)", "Invalid floating point operation"},
  });
}

TEST_P(OperatorsFormula, TrigonometricFunctions) {
  ExpectTexts({
      {"sqr(-3)", vtDouble, "9"},
      {"sqr([2,3])", vtVector, "[ 4, 9]"},
      {"sin(0)", vtDouble, "0"},
      {"cos(0)", vtDouble, "1"},
      {"tan(0)", vtDouble, "0"},
      {"sin(pi/2)", vtDouble, "1"},
      {"arcsin(1)", vtDouble, "1.5707963267949"},
      {"arccos(1)", vtDouble, "0"},
      {"arccos(2)", vtDouble, "NAN"},
      {"arctan2(1, 1)", vtDouble, "0.785398163397448"},
      {"arctan2(1, -1)", vtDouble, "2.35619449019234"},
      {"degtorad(180)", vtDouble, "3.14159265358979"},
      {"radtodeg(pi)", vtDouble, "180"},
      {"degtorad([90,-180])", vtVector, "[ 1.5707963267949, -3.14159265358979]"},
  });
}

TEST_P(OperatorsFormula, TranscendentalFunctions) {
  ExpectTexts({
      {"exp(0)", vtDouble, "1"},
      {"exp(1)", vtDouble, "2.71828182845905"},
      {"ln(1)", vtDouble, "0"},
      {"ln(0)", vtDouble, "-INF"},
      {"ln(-1)", vtDouble, "NAN"},
      {"log10(1000)", vtDouble, "3"},
      {"log10([1,100])", vtVector, "[ 0, 2]"},
      {"logN(2, 8.4)", vtDouble, "3"},
      {"logN(10, 1000)", vtDouble, "3"},
      {"logN([2,4], 16)", vtVector, "[ 4, 2]"},
      {"sinh(0)", vtDouble, "0"},
      {"cosh(0)", vtDouble, "1"},
      {"tanh(0)", vtDouble, "0"},
      {"arcsinh(0)", vtDouble, "0"},
      {"arccosh(1)", vtDouble, "0"},
      {"arctanh(0)", vtDouble, "0"},
      {"arctanh(0.5)", vtDouble, "0.549306144334055"},
  });
}

TEST_P(OperatorsFormula, BitReadsOneOfTheLowThirtyTwoBits) {
  ExpectTexts({
      {"Bit(5, 0)", vtDouble, "1"},
      {"Bit(5, 1)", vtDouble, "0"},
      {"Bit(5, 2)", vtDouble, "1"},
      {"Bit(5, 32)", vtDouble, "1"},
      {"Bit(5, 33)", vtDouble, "0"},
      {"Bit(5, -1)", vtDouble, "0"},
      {"Bit(-1, 31)", vtDouble, "1"},
      {"Bit(4294967300, 2)", vtDouble, "1"},
      {"Bit(4294967300, 32)", vtDouble, "0"},
      {"Bit([1,2,3], 1)", vtVector, "[ 0, 1, 1]"},
  });
}

TEST_P(OperatorsFormula, CondEvalDecidesByTheLowByte) {
  ExpectTexts({
      {"CondEval(1, 10, 20)", vtDouble, "10"},
      {"CondEval(0, 10, 20)", vtDouble, "20"},
      {"CondEval(256, 1, 2)", vtDouble, "2"},
      {"CondEval(257, 1, 2)", vtDouble, "1"},
      {"CondEval(0.4, 1, 2)", vtDouble, "2"},
      {"CondEval(1, \"a\", \"b\")", vtString, "a"},
      {"CondEval(0, [1], [2,3])", vtVector, "[ 2, 3]"},
      {"CondEval(1, TRUE, 0)", vtBoolean, "True"},
  });
  ExpectErrors({{"CondEval(sqrt(-1), 1, 2)", "Invalid floating point operation"}});
}

TEST_P(OperatorsFormula, PrecedenceOfOperatorsAsRegistered) {
  ExpectTexts({
      {"1 + 2 * 3", vtDouble, "7"},
      {"2 * 3 ^ 2", vtDouble, "18"},
      {"-2 ^ 2", vtDouble, "4"},
      {"1 + 1 << 2", vtDouble, "5"},
      {"10 - 2 div 2", vtDouble, "9"},
  });
}

TEST(OperatorsAssignment, StoresNumbersVectorsAndStringsInTheTarget) {
  TVXExpressionEvaluator ev;
  const TextCase script[] = {
      {"x := 5", vtDouble, "5"},
      {"x", vtDouble, "5"},
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
}

TEST(OperatorsAssignment, ABooleanSourceLeavesTheTargetUnchanged) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "y := 7");
  EvaluateOnce(ev, "y := TRUE");
  EXPECT_EQ(ParsDoubleAsString(EvaluateOnce(ev, "y")), "7");
  EvaluateOnce(ev, "v := [1,2]");
  EvaluateOnce(ev, "v := FALSE");
  EXPECT_EQ(ParsDoubleAsString(EvaluateOnce(ev, "v")), "[ 1, 2]");
}

TEST(OperatorsSystem, RandomIsUniformInTheHalfOpenUnitInterval) {
  TVXExpressionEvaluator ev;
  const int index = ev.AddExpression("Random");
  constexpr int kSamples = 4000;
  double sum = 0;
  std::set<double> distinct;
  for (int i = 0; i < kSamples; ++i) {
    const TVXParsDouble r = ev.GetResults(index);
    ASSERT_EQ(r.VarType, vtDouble);
    ASSERT_GE(r.Value, 0.0);
    ASSERT_LT(r.Value, 1.0);
    sum += r.Value;
    distinct.insert(r.Value);
  }
  EXPECT_NEAR(sum / kSamples, 0.5, 0.03);
  EXPECT_GT(distinct.size(), kSamples - 5u);
}

TEST(OperatorsSystem, RandgHasTheGivenMeanAndDeviation) {
  TVXExpressionEvaluator ev;
  EXPECT_EQ(EvaluateOnce(ev, "randg(10, 0)").Value, 10.0);
  const int index = ev.AddExpression("randg(5, 2)");
  constexpr int kSamples = 8000;
  double sum = 0, sumSquares = 0;
  for (int i = 0; i < kSamples; ++i) {
    const double x = ev.GetResults(index).Value;
    sum += x;
    sumSquares += x * x;
  }
  const double mean = sum / kSamples;
  EXPECT_NEAR(mean, 5.0, 0.15);
  EXPECT_NEAR(std::sqrt(sumSquares / kSamples - mean * mean), 2.0, 0.15);
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

TEST(OperatorsDayNumber, CountsDaysFromTheEndOf1899) {
  EXPECT_EQ(EncodeDayNumber(1899, 12, 30, 0), 0.0);
  EXPECT_EQ(EncodeDayNumber(1900, 1, 1, 0), 2.0);
  EXPECT_EQ(EncodeDayNumber(1970, 1, 1, 0), 25569.0);
  EXPECT_EQ(EncodeDayNumber(2000, 1, 1, 0), 36526.0);
  EXPECT_EQ(EncodeDayNumber(2024, 2, 29, 43200), 45351.5);
  EXPECT_EQ(EncodeDayNumber(2024, 3, 1, 21600), 45352.25);
}

TEST(OperatorsRounding, TiesToEvenAndRejectsWhatNoIntegerHolds) {
  EXPECT_EQ(RoundToInt64(2.5), 2);
  EXPECT_EQ(RoundToInt64(3.5), 4);
  EXPECT_EQ(RoundToInt64(-2.5), -2);
  EXPECT_EQ(RoundToInt64(-0.4), 0);
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

// One call of a body with its own argument values; Owner stays null.
struct BodyCall {
  explicit BodyCall(std::vector<TVXParsDouble> arguments) : args(std::move(arguments)) {
    for (TVXParsDouble& a : args) rec.ArgData.push_back(&a);
  }
  std::vector<TVXParsDouble> args;
  TVXParsExpressionRec rec;
};

TVXParsDouble Num(double v) {
  return TVXParsDouble::Number(v);
}
TVXParsDouble Vec(TVXVect v) {
  return TVXParsDouble::FromVector(std::move(v));
}

TEST(OperatorsBodies, VectorResultsReuseTheirStorage) {
  BodyCall call({Vec(TVXVect(1000, 1.5)), Num(2)});
  _VXParsMultiply(&call.rec);
  const double* storage = call.rec.Result.Vector.data();
  call.args[0].Vector.assign(1000, 4.0);
  _VXParsMultiply(&call.rec);
  EXPECT_EQ(call.rec.Result.Vector.data(), storage);
  EXPECT_EQ(call.rec.Result.Vector, TVXVect(1000, 8.0));
  _VXParsSqrt(&call.rec);
  EXPECT_EQ(call.rec.Result.Vector.data(), storage);
  EXPECT_EQ(call.rec.Result.Vector, TVXVect(1000, 2.0));
}

TEST(OperatorsBodies, EmptyVectorsGiveEmptyVectors) {
  BodyCall call({Vec({}), Num(2)});
  call.rec.Result.Vector = {9};
  _VXParsAdd(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtVector);
  EXPECT_TRUE(call.rec.Result.Vector.empty());
}

TEST(OperatorsBodies, AnOtherKindPairKeepsTheVectorTheResultHeld) {
  BodyCall call({TVXParsDouble::Boolean(true), Num(1)});
  call.rec.Result.Value = 3;
  call.rec.Result.Vector = {9, 8};
  _VXParsSubtract(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtVector);
  EXPECT_EQ(call.rec.Result.Vector, (TVXVect{9, 8}));
}

TEST(OperatorsBodies, TheElementRuleReadsBooleansAndStringsAsVectors) {
  TVXParsDouble flag = TVXParsDouble::Boolean(true);
  flag.Vector = {4, 9};
  BodyCall call({flag});
  call.rec.Result.Value = 7;
  _VXParsSqrt(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtBoolean);
  EXPECT_EQ(call.rec.Result.Value, 7);  // the number is not written
  EXPECT_EQ(call.rec.Result.Vector, (TVXVect{2, 3}));
}

TEST(OperatorsBodies, UnaryPlusPassesOnlyTheKindOfAString) {
  BodyCall call({TVXParsDouble::FromString("new")});
  call.rec.Result.StrValue = "old";
  _VXParsUnaryPlus(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtString);
  EXPECT_EQ(call.rec.Result.StrValue, "old");
}

TEST(OperatorsBodies, ComparisonsWriteOnlyTheNumber) {
  BodyCall call({Num(2), Num(1)});
  call.rec.Result.VarType = vtBoolean;
  _VXParsGreater(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtBoolean);
  EXPECT_EQ(call.rec.Result.Value, 1);
  _VXParsLess(&call.rec);
  EXPECT_EQ(call.rec.Result.Value, 0);
}

TEST(OperatorsBodies, FactorialReadsTheNumberOfAVector) {
  TVXParsDouble v = Vec({1, 2});
  v.Value = 4;
  BodyCall call({v});
  _VXParsFactorial(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtDouble);
  EXPECT_EQ(call.rec.Result.Value, 24);
}

TEST(OperatorsBodies, BitOutOfRangeZeroesTheNumberAndKeepsTheKind) {
  BodyCall call({Vec({1, 2}), Num(40)});
  call.rec.Result.VarType = vtVector;
  call.rec.Result.Vector = {5};
  _VXParsBit(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtVector);
  EXPECT_EQ(call.rec.Result.Value, 0);
  EXPECT_EQ(call.rec.Result.Vector, TVXVect{5});
}

TEST(OperatorsBodies, ConcatenationWithoutAnEvaluatorUsesAPoint) {
  BodyCall call({TVXParsDouble::FromString("x"), Num(0.5)});
  _VXParsAdd(&call.rec);
  EXPECT_EQ(call.rec.Result.VarType, vtString);
  EXPECT_EQ(call.rec.Result.StrValue, "x0.5");
}

TEST(OperatorsBodies, AssignmentWritesTargetAndResult) {
  BodyCall call({Num(1), Vec({3, 4})});
  _VXParsAssign(&call.rec);
  EXPECT_EQ(call.args[0].VarType, vtVector);
  EXPECT_EQ(call.args[0].Vector, (TVXVect{3, 4}));
  EXPECT_EQ(call.rec.Result.VarType, vtVector);
  EXPECT_EQ(call.rec.Result.Vector, (TVXVect{3, 4}));

  call.args[1] = TVXParsDouble::Boolean(true);
  call.rec.Result = Num(6);
  _VXParsAssign(&call.rec);
  EXPECT_EQ(call.args[0].VarType, vtVector);
  EXPECT_EQ(call.args[0].Vector, (TVXVect{3, 4}));
  EXPECT_EQ(call.rec.Result.VarType, vtDouble);
  EXPECT_EQ(call.rec.Result.Value, 6);
}

}  // namespace
}  // namespace loom
