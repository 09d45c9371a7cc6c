// Values and words: number text, value display text, number conversion, the constant words'
// forms, the logical string operator and the filling of messages.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "engine/Messages.h"
#include "engine/ParserClasses.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(FloatToStr, FifteenSignificantDigitsExponentFormSpecialValuesAndSeparator) {
  const std::pair<double, const char*> rows[] = {
      {0.0, "0"},
      {-1.0, "-1"},
      {0.1 + 0.2, "0.3"},
      {1e15, "1E15"},
      {1e-7, "1E-7"},
      {0.00001, "0.00001"},
      {0.000001, "1E-6"},
      {EmptyNaN(), "NAN"},
      {-kInf, "-INF"},
      {2.0 / 3.0, "0.666666666666667"},
      {999999999999999.0, "999999999999999"},
      {123456789012345678.0, "1.23456789012346E17"},
      {1.7976931348623157e308, "1.79769313486232E308"},
      // the 16th digit rounds half up on 17 digits, not on the binary value
      {100000000000000.5, "100000000000001"},
      {1234567890123.125, "1234567890123.13"},
      {-1234567890123.125, "-1234567890123.13"},
      {0.1234567890123125, "0.123456789012313"},
      {999999999999999.5, "1E15"},
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(FloatToStr(value), text) << text;
  EXPECT_EQ(FloatToStr(-12.75, ','), "-12,75");
  EXPECT_EQ(FloatToStr(1.5e20, ','), "1,5E20");
}

// The number text rule written out on its own: the 17 significant digits as one integer,
// rounded half up to 15 by integer arithmetic, then placed around the decimal point.
std::string FifteenDigitText(double value) {
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "%.16e", std::fabs(value));
  std::uint64_t digits17 = 0;
  const char* p = buffer;
  for (; *p != 'e'; ++p)
    if (*p != '.') digits17 = digits17 * 10 + static_cast<std::uint64_t>(*p - '0');
  int exponent = std::atoi(p + 1);
  std::uint64_t digits15 = (digits17 + 50) / 100;
  if (digits15 == 1000000000000000u) digits15 /= 10, ++exponent;
  std::string mantissa = std::to_string(digits15);
  mantissa.erase(mantissa.find_last_not_of('0') + 1);
  std::string text = value < 0 ? "-" : "";
  if (exponent > 14 || exponent < -5) {
    if (mantissa.size() > 1) mantissa.insert(1, ".");
    return text + mantissa + "E" + std::to_string(exponent);
  }
  if (exponent < 0) return text + "0." + std::string(-exponent - 1, '0') + mantissa;
  const auto point = static_cast<std::size_t>(exponent) + 1;
  if (mantissa.size() <= point) return text + mantissa + std::string(point - mantissa.size(), '0');
  return text + mantissa.insert(point, ".");
}

TEST(FloatToStr, AgreesWithTheRuleOnRandomValues) {
  std::mt19937_64 generator(17);
  std::uniform_int_distribution<int> digit(0, 9), exponent(-9, 20);
  std::vector<double> values;
  for (int i = 0; i < 3000; ++i) {
    // Any finite double, and decimals of 16 digits whose last one is 5: the halfway cases.
    const double any = std::bit_cast<double>(generator());
    if (std::isfinite(any)) values.push_back(any);
    std::string text = std::to_string(1 + digit(generator) % 9) + ".";
    for (int d = 0; d < 14; ++d) text += std::to_string(digit(generator));
    text += "5e" + std::to_string(exponent(generator));
    values.push_back((i % 2 ? -1 : 1) * std::strtod(text.c_str(), nullptr));
  }
  int differences = 0;
  for (double value : values)
    if (FloatToStr(value) != FifteenDigitText(value) && ++differences <= 5)
      ADD_FAILURE() << Num(value) << ": " << FloatToStr(value) << ", by the rule "
                    << FifteenDigitText(value);
  EXPECT_EQ(differences, 0);
}

TEST(ParsDoubleAsString, EachKindByItsTypeOnly) {
  TVXParsDouble matrix;
  matrix.VarType = vtMatrix;
  TVXParsDouble text = TVXParsDouble::FromString("abc");
  text.Value = 7;  // fields outside the kind are ignored
  TVXParsDouble boolean = TVXParsDouble::Boolean(false);
  boolean.Value = -0.5;  // any non-zero value is true
  const std::pair<TVXParsDouble, const char*> rows[] = {
      {TVXParsDouble::FromVector({}), "]"},
      {TVXParsDouble::FromVector({1, 2.5}), "[ 1, 2.5]"},
      {TVXParsDouble::FromVector({-100000000000000.5, 0.5}), "[ -100000000000001, 0.5]"},
      {text, "abc"},
      {TVXParsDouble::Boolean(false), "False"},
      {boolean, "True"},
      {matrix, "Invalid datatype"},
  };
  for (const auto& [value, shown] : rows) EXPECT_EQ(ParsDoubleAsString(value), shown) << shown;
  EXPECT_EQ(ParsDoubleAsString(TVXParsDouble::FromVector({1.5, 2}), ','), "[ 1,5, 2]");
}

TEST(TryStrToFloat, AcceptsOnlyWholeDecimalNumbers) {
  const struct {
    const char* text;
    char separator;
    bool ok;
    double value;
  } rows[] = {
      {".5", '.', true, 0.5},       {"-3", '.', true, -3.0},  {"+3", '.', true, 3.0},
      {"2.5e+1", '.', true, 25.0},  {"1,5", ',', true, 1.5},  {"1e-400", '.', true, 0.0},
      {"-1e400", '.', true, -kInf}, {"", '.', false, 0},      {".", '.', false, 0},
      {"1e+", '.', false, 0},       {"1.5", ',', false, 0},   {"0x10", '.', false, 0},
      {"inf", '.', false, 0},       {"1.2.3", '.', false, 0}, {" 1", '.', false, 0},
  };
  for (const auto& row : rows) {
    double value = -999;
    EXPECT_EQ(TryStrToFloat(row.text, row.separator, value), row.ok) << row.text;
    EXPECT_EQ(value, row.ok ? row.value : -999) << row.text;
  }
}

TEST(FormatMessage, FillsPlacesInOrderAndKeepsSurplusPlaces) {
  EXPECT_EQ(FormatMessage("%s and %s", {"a"}), "a and %s");
  EXPECT_EQ(FormatMessage("%s", {"100%s", "b"}), "100%s");
}

}  // namespace
}  // namespace loom
