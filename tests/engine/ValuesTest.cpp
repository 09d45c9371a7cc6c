// Values and words: number text, value display text, number conversion, the constant words'
// forms, the logical string operator and the filling of messages.
#include <gtest/gtest.h>

#include <limits>
#include <string>

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
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(FloatToStr(value), text) << text;
  EXPECT_EQ(FloatToStr(-12.75, ','), "-12,75");
  EXPECT_EQ(FloatToStr(1.5e20, ','), "1,5E20");
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
