// Operators and scalar mathematics, driven through the evaluator with and without constant
// folding, and for the rules about untouched fields through the bodies themselves.
#include <gtest/gtest.h>
#include <time.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "functions/BodyHelpers.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr const char* kSizes = "vector sizes are not matched";
constexpr const char* kInvalid = "Invalid floating point operation";
constexpr const char* kByZero = "Division by zero";

// Numbers and vectors broadcast; a pair of other kinds gives an empty vector, "+" with a string
// joins display texts. div, mod, and, or, xor, shifts and not round their operands to 64-bit
// integers (ties to even); not flips the lowest bit of the low byte. Numbers compare with a
// tolerance of 1e-30, strings exactly, other kinds are never equal.
TEST(Operators, ArithmeticIntegerOperatorsAndComparisons) {
  const OutcomeRow rows[] = {
      {"[1,2,3] * 2 - [1,2,3]", "[ 1, 2, 3]"},
      {"2 - [1,2] + [6,8] / [2,4]", "[ 4, 2]"},
      {"max([1,5], 3) - min(2, [1,5])", "[ 2, 3]"},
      {"-[1,2] + [50,100]%", "[ -0.5, -1]"},
      {"[-7 div 2, -7 mod 2, 7 mod -2, 2.5 div 1, 3.5 div 1, -1 / 0]", "[ -3, -1, 1, 2, 4, -INF]"},
      {"[6 and 3, 6 or 3, 6 xor 3, -1 and 255, 2.5 << 1, -1 >> 60]", "[ 2, 7, 5, 255, 4, 15]"},
      {"[1 << 64, 1 << -1, 16 >> 64, not 0, not 256, not 1.5, not (-1)]",
       "[ 0, 0, 0, 1, 1, 3, 254]"},
      {"(-1 << 63) + (-9223372036854775808 mod -1)", "-9223372036854775808"},
      {"-9223372036854775808 div -1", "-9223372036854775808"},
      {"[7,8,9] mod [2,3,4] + ([1,2,4] or 1)", "[ 2, 5, 6]"},
      {"[1 > 1, 2 < 2, 0 >= 1e-31, 0 >= 1e-29, 1e-31 <= 0, 0.1 + 0.2 = 0.3, 1e-31 <> 0]",
       "[ 0, 0, 1, 0, 1, 0, 0]"},
      {"[\"ab\" = \"ab\", \"ab\" = \"AB\", \"ab\" <> \"AB\", TRUE <> 0, [1] = [1], \"1\" = 1]",
       "[ 1, 0, 1, 0, 0, 0]"},
      {"TRUE + 1", "]"},
      {"max(TRUE, 2)", "]"},
      {"\"a\" * 2", "]"},
      {"3 + \"ab\" + 3", "\"3ab3\""},
      {"\"v=\" + [1,2]", "\"v=[ 1, 2]\""},
      {"FALSE + \"!\"", "\"False!\""},
  };
  ExpectOutcomesFoldedOrNot<TVXExpressionEvaluator>(rows);
  ExpectEachGives<TVXExpressionEvaluator>(
      kSizes, {"[1] * [1,2]", "[1,2] div [1]", "max([1,2,3], [1])", "[1,2] and [1,2,3]"});
  ExpectEachGives<TVXExpressionEvaluator>(kByZero, {"1 mod 0", "1 div 0.4", "[1,2] mod 0"});
  ExpectEachGives<TVXExpressionEvaluator>(
      kInvalid, {"sqrt(-1) div 1", "9223372036854775808 div 1", "sqrt(-1) or 1", "not (1/0)"});
}

// Integer powers round their exponent; a factorial takes the rounded argument; the integer
// functions Ceil and Floor wrap at 32 bits; Bit reads the low 32 bits; CondEval's condition is
// the low byte of the rounded value.
TEST(Operators, PowersFactorialsAndMathematicalFunctions) {
  const OutcomeRow rows[] = {
      {"[2^0.5, power(4, 0.5), pow(10, 3), (-8)^(1/3), intpower(-1, 9223372036854774784)]",
       "[ 1.4142135623731, 2, 1000, NAN, 1]"},
      {"[intpower(2, -2), intpower(2, 2.5), intpower(-3, 3), intpower(10, 400), intpower(0, -1)]",
       "[ 0.25, 4, -27, INF, INF]"},
      {"[(-4)!, 2.5!, 3.5!, 170!, 171!, 1e18!]", "[ 1, 2, 24, 7.257415615308E306, INF, INF]"},
      {"[sqrt(4), abs(-2.5), round(2.5), round(3.5), trunc(-2.7), Frac(-2.75), sqr(-3)]",
       "[ 2, 2.5, 2, 4, -2, -0.75, 9]"},
      {"[Ceil(-2.1), Ceil(2147483648), Floor(4294967297.5), round(1e20)]",
       "[ -2, -2147483648, 1, 1E20]"},
      {"[sin(pi/2), cos(0), tan(0), arcsin(1) * 2 / pi, arccos(2), arctan2(1, -1) / pi]",
       "[ 1, 1, 0, 1, NAN, 0.75]"},
      {"[radtodeg(pi), exp(1), ln(0), logN(2, 8.4), arctanh(0.5)]",
       "[ 180, 2.71828182845905, -INF, 3, 0.549306144334055]"},
      {"[sinh(0), cosh(0), tanh(0), arcsinh(0), arccosh(1)]", "[ 0, 1, 0, 0, 0]"},
      {"[Bit(5, 32), Bit(5, 1), Bit(5, 33), Bit(5, -1), Bit(-1, 31), Bit(4294967300, 2)]",
       "[ 1, 0, 0, 0, 1, 1]"},
      {"[CondEval(256, 1, 2), CondEval(0.4, 1, 2), CondEval(1, 3, 4)]", "[ 2, 2, 3]"},
      {"[1,2,3]^2", "[ 1, 4, 9]"},
      {"Floor([1.5,-1.5])", "[ 1, -2]"},
      {"Clamp([-1,1,5], 0, 3)", "[ 0, 1, 3]"},
      {"degtorad([90,-180]) / pi", "[ 0.5, -1]"},
      {"log10([1,100]) + logN([2,4], 16)", "[ 4, 4]"},
      {"Bit([1,2,3], 1)", "[ 0, 1, 1]"},
      {"CondEval(1, \"a\", \"b\")", "\"a\""},
      {"CondEval(0, [1], [2,3])", "[ 2, 3]"},
      {"CondEval(1, TRUE, 0)", "True"},
  };
  ExpectOutcomesFoldedOrNot<TVXExpressionEvaluator>(rows);
  ExpectEachGives<TVXExpressionEvaluator>(
      kInvalid, {"(1/0)!", "Floor(1e19)", "Ceil(sqrt(-1))", "CondEval(sqrt(-1), 1, 2)"});
}

// A word's form with a constant right operand (x^2 as a square) must be its binary operation,
// bit for bit: double rounding, signed zeros, infinities and NaN included.
TEST(Operators, ConstantRightFormsComputeExactlyWhatTheOperationDoes) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = HUGE_VAL;
  std::vector<double> xs = {
      0.0,   -0.0,  1.0,    -1.0, 0.1,  -3.5, 1e-320,
      1e154, 1e200, -1e300, inf,  -inf, nan,  std::numeric_limits<double>::min()};
  // Products whose rounding to an extended and then to a double mantissa differs from one
  // rounding are rare; many random mantissas find them if the form rounds differently.
  std::uint64_t state = 0x9e3779b97f4a7c15u;
  for (int i = 0; i < 20000; ++i) {
    state = state * 6364136223846793005u + 1442695040888963407u;
    xs.push_back(std::ldexp(1.0 + static_cast<double>(state >> 11) * 0x1p-53,
                            static_cast<int>(state % 64) - 32));
  }
  const double rights[] = {-3, -2, -1, 0, 1, 2, 3, 4, 5, 2.5, -0.0, 1e300, nan};
  TVXExpressionEvaluator evaluator;
  int forms = 0;
  for (int w = 0; w < evaluator.Words().Count(); ++w) {
    const auto* function = dynamic_cast<TVXParsFunction*>(evaluator.Words().Word(w));
    if (!function || !function->Kernel.WithRight) continue;
    for (const double right : rights) {
      double (*const form)(double) = function->Kernel.WithRight(right);
      if (!form) continue;
      ++forms;
      for (const double x : xs) {
        const double want = function->Kernel.Binary(x, right), got = form(x);
        EXPECT_TRUE(std::memcmp(&want, &got, sizeof want) == 0 ||
                    (std::isnan(want) && std::isnan(got)))
            << function->Name << " " << x << " " << right << ": " << got << " != " << want;
      }
    }
  }
  EXPECT_GE(forms, 7);  // ^@ and intpower have forms for -2 .. 4
}

// Assigning a boolean assigns nothing, deliberately.
TEST(Operators, AssignmentStoresNumbersVectorsAndStringsButNotBooleans) {
  TVXExpressionEvaluator ev;
  for (const char* step : {"y := 7", "y := TRUE", "v := [1,2]", "v := FALSE"}) Evaluated(ev, step);
  const OutcomeRow rows[] = {
      {"y", "7"},
      {"v", "[ 1, 2]"},
      {"x := 5\nx := x * [1,2]", "[ 5, 10]"},
      {"x := \"s\"", "\"s\""},
      {"x + 1", "\"s1\""},
  };
  ExpectOutcomes(ev, rows);
}

TEST(Operators, RandomIsUniformAndRandgHasTheGivenMeanAndDeviation) {
  TVXExpressionEvaluator ev;
  const int uniform = ev.AddExpression("Random");
  const int normal = ev.AddExpression("randg(5, 2)");
  constexpr int kSamples = 8000;
  double sum = 0, normalSum = 0, normalSquares = 0;
  for (int i = 0; i < kSamples; ++i) {
    const double r = ev.GetResults(uniform).Value, x = ev.GetResults(normal).Value;
    ASSERT_TRUE(r >= 0.0 && r < 1.0) << r;
    sum += r, normalSum += x, normalSquares += x * x;
  }
  const double mean = normalSum / kSamples;
  EXPECT_NEAR(sum / kSamples, 0.5, 0.03);
  EXPECT_NEAR(mean, 5.0, 0.15);
  EXPECT_NEAR(std::sqrt(normalSquares / kSamples - mean * mean), 2.0, 0.15);
  EXPECT_EQ(Outcome(ev, "randg(10, 0)"), "10");
}

TEST(Operators, ClocksGiveMonotonicMillisecondsAndTheLocalDayNumber) {
  TVXExpressionEvaluator ev;
  const int tick = ev.AddExpression("GetTickCount");
  const int now = ev.AddExpression("Now");
  timespec monotonic{};
  clock_gettime(CLOCK_MONOTONIC, &monotonic);
  const auto expected =
      static_cast<std::uint32_t>(monotonic.tv_sec * 1000 + monotonic.tv_nsec / 1000000);
  const double ticks = ev.GetResults(tick).Value;
  EXPECT_EQ(ticks, std::floor(ticks));
  EXPECT_LT(static_cast<std::uint32_t>(static_cast<std::uint32_t>(ticks) - expected), 1000u);
  const time_t seconds = time(nullptr);
  tm local{};
  localtime_r(&seconds, &local);
  // Local seconds since 1970 as days, shifted to day 0 = 1899-12-30.
  EXPECT_NEAR(ev.GetResults(now).Value,
              static_cast<double>(seconds + local.tm_gmtoff) / 86400.0 + kUnixEpochDayNumber,
              2.0 / 86400.0);
}

}  // namespace
}  // namespace loom
