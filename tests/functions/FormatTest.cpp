// Number pictures and date-time patterns: the languages behind Format and FormatDateTime,
// checked directly against tables of pattern, value and text, then through formulas.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "engine/ParserClasses.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"
#include "functions/TextFormats.h"

namespace loom {
namespace {

struct PictureCase {
  const char* picture;
  double value;
  const char* text;
};

void ExpectPictures(std::initializer_list<PictureCase> cases) {
  for (const PictureCase& c : cases) {
    SCOPED_TRACE(testing::Message() << "picture [" << c.picture << "] value " << c.value);
    EXPECT_EQ(FormatFloat(c.picture, c.value), c.text);
  }
}

// The reference table of the picture language: four values through each kind of picture.
TEST(FormatFloatPicture, ReferenceTableOfPictures) {
  ExpectPictures({
      {"", 1234, "1234"},
      {"", -1234, "-1234"},
      {"", 0.5, "0.5"},
      {"", 0, "0"},
      {"0", 1234, "1234"},
      {"0", -1234, "-1234"},
      {"0", 0.5, "1"},
      {"0", 0, "0"},
      {"0.00", 1234, "1234.00"},
      {"0.00", -1234, "-1234.00"},
      {"0.00", 0.5, "0.50"},
      {"0.00", 0, "0.00"},
      {"#.##", 1234, "1234"},
      {"#.##", -1234, "-1234"},
      {"#.##", 0.5, ".5"},
      {"#.##", 0, ""},
      {"#,##0.00", 1234, "1,234.00"},
      {"#,##0.00", -1234, "-1,234.00"},
      {"#,##0.00", 0.5, "0.50"},
      {"#,##0.00", 0, "0.00"},
      {"#,##0.00;(#,##0.00)", 1234, "1,234.00"},
      {"#,##0.00;(#,##0.00)", -1234, "(1,234.00)"},
      {"#,##0.00;(#,##0.00)", 0.5, "0.50"},
      {"#,##0.00;(#,##0.00)", 0, "0.00"},
      {"#,##0.00;;Zero", 1234, "1,234.00"},
      {"#,##0.00;;Zero", -1234, "-1,234.00"},
      {"#,##0.00;;Zero", 0.5, "0.50"},
      {"#,##0.00;;Zero", 0, "Zero"},
      {"0.000E+00", 1234, "1.234E+03"},
      {"0.000E+00", -1234, "-1.234E+03"},
      {"0.000E+00", 0.5, "5.000E-01"},
      {"0.000E+00", 0, "0.000E+00"},
      {"#.###E-0", 1234, "1.234E3"},
      {"#.###E-0", -1234, "-1.234E3"},
      {"#.###E-0", 0.5, "5E-1"},
      {"#.###E-0", 0, "0E0"},
  });
}

TEST(FormatFloatPicture, RoundsTheLastShownDigitHalfAwayFromZero) {
  ExpectPictures({
      {"0", 534.5, "535"},
      {"0", 2.5, "3"},
      {"0", -2.5, "-3"},
      {"0.00", 0.125, "0.13"},
      {"0.00", -0.125, "-0.13"},
      {"###.###", 12.3456, "12.346"},
      {"0.0", 9.96, "10.0"},
      {"#,##0", 999999.5, "1,000,000"},
      {"#,##0", -1234567.8, "-1,234,568"},
      {"#.#", 0.05, ".1"},
      // What the number really is decides, not how it was written: 2.675 is held as
      // 2.67499999999999982..., and 129809.495 as 129809.49499999999...
      {"0.00", 2.675, "2.67"},
      {"#,##0.00", 129809.495, "129,809.49"},
  });
}

TEST(FormatFloatPicture, ZerosAndHashesDecideWhichPlacesShow) {
  ExpectPictures({
      {"000.000", 12.3456, "012.346"},
      {"#.###", 12.3, "12.3"},
      {"0.000", 12.3, "12.300"},
      {"#0.0#", 3, "3.0"},
      {"#0.0#", 3.14159, "3.14"},
      {"#.##", 0.05, ".05"},
      {".00", 12.5, "12.50"},  // integer digits beyond the picture go to its first place
      {"0", 1e15, "1000000000000000"},
      {"0.0.0", 1.25, "1.25"},  // only the first point counts
      {"00.0;(0.00)", 1.123, "01.1"},
      {"00.0;(0.00)", -1.123, "(1.12)"},
  });
}

TEST(FormatFloatPicture, ThousandsSeparatorsGroupTheIntegerDigits) {
  ExpectPictures({
      {"#,#.#", 1234567, "1,234,567"},
      {"0,0.0", 1234567, "1,234,567.0"},
      {"0,000", 5, "0,005"},
      {"#,##0", 999, "999"},
      {"#,##0", 1000, "1,000"},
      {"#,##0.00", 1234567.891, "1,234,567.89"},
  });
}

TEST(FormatFloatPicture, ScientificNotation) {
  ExpectPictures({
      {"0.00E+0", 1234567, "1.23E+6"},
      {"0.00E+00", 1234567, "1.23E+06"},
      {"0.00E-00", 1234567, "1.23E06"},
      {"0.00e-00", 0.000123, "1.23e-04"},
      {"0.0E+0000", 5, "5.0E+0000"},
      {"0.0E+000000", 5, "5.0E+0000"},  // at most four exponent digits are asked for
      {"##0.0E+0", 12345, "123.5E+2"},
      {"0.00E+00", -0.000999, "-9.99E-04"},
      {"0.0E+0", 9.96, "1.0E+1"},
  });
}

TEST(FormatFloatPicture, SectionsForNegativeAndZeroValues) {
  ExpectPictures({
      {"0.0;0.0-", -2.25, "2.3-"},  // the negative section spells its own sign
      {"0.0;0.0-;'nil'", 0, "nil"},
      {"0.0;;'nil'", -2, "-2.0"},  // an empty section falls back to the first
      {"0.0;(0.0)", 0, "0.0"},     // a missing zero section falls back to the first
      {"0.00", -0.001, "0.00"},    // rounded to zero: no "-0.00"
      {"0.00;(0.00)", -0.004, "0.00"},
      {"0.0;(0.0);'zero'", -0.01, "zero"},
      {"0;-0;'nil'", 0.4, "nil"},
      {"0;(0)", -0.0, "0"},
      {";(0.0)", -2, "(2.0)"},
      {";(0.0)", 2.5, "2.5"},  // an empty first section is the general number text
  });
}

TEST(FormatFloatPicture, LiteralsAreCopied) {
  ExpectPictures({
      {"'Total: '0.00' kg'", 3.5, "Total: 3.50 kg"},
      {"\"$\"#,##0.00", 1234.5, "$1,234.50"},
      {"\"$\"0.00", -5, "-$5.00"},  // the first section's sign leads the whole text
      {"0.00 %", 12.5, "12.50 %"},
      {"0.0 'a;b'", 1, "1.0 a;b"},  // a quoted ';' does not end the section
      {"0.0 \"#0.\"", 1, "1.0 #0."},
      {"0E", 5, "5E"},  // E without a sign is an ordinary character
      {"[0]", 7, "[7]"},
      {"0 'open", 7, "7 open"},  // an unclosed quote runs to the end
  });
}

TEST(FormatFloatPicture, GeneralNumberTextForWhatAPictureCannotShow) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  ExpectPictures({
      {"0.00", 1e20, "1E20"},
      {"0.00", -1e19, "-1E19"},
      {"0.00E+00", 1e20, "1.00E+20"},
      {"0.00", nan, "NAN"},
      {"0.00", inf, "INF"},
      {"0.00", -inf, "-INF"},
      {"", 1234.5, "1234.5"},
  });
}

TEST(FormatFloatPicture, WritesTheGivenSeparators) {
  EXPECT_EQ(FormatFloat("#,##0.00", 1234567.5, ',', '.'), "1.234.567,50");
  EXPECT_EQ(FormatFloat("0.00", 0.5, ',', '.'), "0,50");
  EXPECT_EQ(FormatFloat("", 2.5, ',', '.'), "2,5");
  EXPECT_EQ(FormatFloat("0.0E+00", 1234, ',', '.'), "1,2E+03");
}

// --- date-time patterns ---

// 2026-11-21, a Saturday, 13:04:05.250.
constexpr double kSaturday = 46347.0 + (13 * 3600000.0 + 4 * 60000.0 + 5250.0) / 86400000.0;
// 2000-02-29, a Tuesday, 09:07:03.045.
constexpr double kLeapDay = 36585.0 + (9 * 3600000.0 + 7 * 60000.0 + 3045.0) / 86400000.0;
constexpr double kMidnight = 46347.0;
constexpr double kNoon = 46347.5;

struct PatternCase {
  const char* pattern;
  double dayNumber;
  const char* text;
};

void ExpectPatterns(std::initializer_list<PatternCase> cases,
                    const TVXFormatSettings& settings = {}) {
  for (const PatternCase& c : cases) {
    SCOPED_TRACE(testing::Message() << "pattern [" << c.pattern << "] day " << c.dayNumber);
    EXPECT_EQ(FormatDateTime(c.pattern, c.dayNumber, settings), c.text);
  }
}

TEST(FormatDateTimePattern, DateFields) {
  ExpectPatterns({
      {"yyyy-mm-dd hh:nn:ss.zzz", kSaturday, "2026-11-21 13:04:05.250"},
      {"d", kLeapDay, "29"},
      {"d", 35065, "1"},
      {"dd", 35065, "01"},
      {"ddd", kSaturday, "Sat"},
      {"dddd", kLeapDay, "Tuesday"},
      {"m", kLeapDay, "2"},
      {"mm", kLeapDay, "02"},
      {"mmm", kSaturday, "Nov"},
      {"mmmm", kLeapDay, "February"},
      {"yy", kLeapDay, "00"},
      {"yy", 35065, "96"},
      {"yyyy", kLeapDay, "2000"},
      {"yyy", kLeapDay, "2000"},
      {"ddd d mmm yyyy", 2.75, "Mon 1 Jan 1900"},
      {"c", 0, "1899-12-30"},
  });
}

TEST(FormatDateTimePattern, TimeFields) {
  ExpectPatterns({
      {"h", kLeapDay, "9"},
      {"hh", kLeapDay, "09"},
      {"hh", kSaturday, "13"},
      {"n", kLeapDay, "7"},
      {"nn", kLeapDay, "07"},
      {"s", kLeapDay, "3"},
      {"ss", kLeapDay, "03"},
      {"z", kLeapDay, "45"},
      {"zz", kLeapDay, "45"},
      {"zzz", kLeapDay, "045"},
      {"z", kSaturday, "250"},
      {"hh:nn", 2.75, "18:00"},
      // The time is rounded to milliseconds, and the rounding may reach the next day.
      {"yyyy-mm-dd hh:nn:ss.zzz", 0.99999999999, "1899-12-31 00:00:00.000"},
  });
}

TEST(FormatDateTimePattern, MAfterAnHourMeansMinutes) {
  ExpectPatterns({
      {"h:mm", kLeapDay, "9:07"},
      {"hh:mm:ss", kSaturday, "13:04:05"},
      {"hhmm", kSaturday, "1304"},
      {"mm", kLeapDay, "02"},
      {"mm/dd hh:mm", kLeapDay, "02-29 09:07"},
  });
}

TEST(FormatDateTimePattern, TwelveHourClocks) {
  ExpectPatterns({
      {"h:nn am/pm", kSaturday, "1:04 pm"},
      {"h:nn AM/PM", kLeapDay, "9:07 AM"},
      {"hh:nn a/p", kSaturday, "01:04 p"},
      {"h A/P", kLeapDay, "9 A"},
      {"h ampm", kSaturday, "1 PM"},
      {"hh ampm", kMidnight, "12 AM"},
      {"h:nn am/pm", kNoon, "12:00 pm"},
      {"am/pm h", kSaturday, "pm 1"},         // a marker before the hour counts as well
      {"hh 'am/pm'", kSaturday, "13 am/pm"},  // a quoted marker does not
      {"h a", kSaturday, "13 a"},             // a lone a is an ordinary letter
  });
}

TEST(FormatDateTimePattern, CombinedFormatsFromTheSettings) {
  ExpectPatterns({
      {"ddddd", kSaturday, "2026-11-21"},
      {"dddddd", kSaturday, "Saturday, November 21, 2026"},
      {"t", kSaturday, "13:04"},
      {"tt", kSaturday, "13:04:05"},
      {"c", kSaturday, "2026-11-21 13:04:05"},
      {"c", kMidnight, "2026-11-21"},
      {"", kSaturday, "2026-11-21 13:04:05"},
  });
}

TEST(FormatDateTimePattern, SeparatorsAndLiterals) {
  ExpectPatterns({
      {"yyyy/mm/dd", kSaturday, "2026-11-21"},
      {"'Date:' yyyy", kSaturday, "Date: 2026"},
      {"\"at\" hh", kSaturday, "at 13"},
      {"h'h'nn", kSaturday, "13h04"},
      {"x yyyy", kSaturday, "x 2026"},
      {"'unclosed yyyy", kSaturday, "unclosed yyyy"},
  });
}

TEST(FormatDateTimePattern, NegativeDayNumbersCountTheTimeForward) {
  ExpectPatterns({
      {"dd.mm.yyyy", -1.25, "29.12.1899"},
      {"hh:nn", -1.25, "06:00"},
      {"dddd", -1.25, "Friday"},
      {"", -1.25, "1899-12-29 06:00:00"},
  });
}

TEST(FormatDateTimePattern, FollowsTheEvaluatorsSettings) {
  TVXFormatSettings settings;
  settings.DateSeparator = '.';
  settings.TimeSeparator = '.';
  settings.ShortDateFormat = "dd/mm/yy";
  settings.LongTimeFormat = "hh:nn:ss";
  settings.TimeAMString = "vorm.";
  settings.TimePMString = "nachm.";
  ExpectPatterns(
      {
          {"dd/mm/yyyy", kSaturday, "21.11.2026"},
          {"hh:nn", kSaturday, "13.04"},
          {"ddddd", kSaturday, "21.11.26"},
          {"c", kSaturday, "21.11.26 13.04.05"},
          {"h ampm", kSaturday, "1 nachm."},
          {"h ampm", kLeapDay, "9 vorm."},
      },
      settings);
}

TEST(FormatDateTimePattern, SettingsFormatsAreExpandedOneLevelDeep) {
  TVXFormatSettings settings;
  settings.ShortDateFormat = "'<'ddddd'>'";  // names itself
  EXPECT_EQ(FormatDateTime("c", kMidnight, settings), "<>");
  EXPECT_EQ(FormatDateTime("ddddd", kMidnight, settings), "<>");
}

TEST(FormatDateTimePattern, AnInvalidDayNumberFailsOnlyWhenItIsRead) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(FormatDateTime("'fixed'", nan), "fixed");
  for (double bad : {nan, 1e300, -std::numeric_limits<double>::infinity()}) {
    try {
      FormatDateTime("yyyy", bad);
      ADD_FAILURE() << "no error for " << bad;
    } catch (const EVXParserException& e) {
      EXPECT_STREQ(e.what(), "Invalid floating point operation");
    }
  }
}

TEST(FormatDateTimePattern, DatesBeforeYearOneHaveNoCalendarDate) {
  EXPECT_EQ(FormatDateTime("yyyy-mm-dd dddd", -693594.0), "0000-00-00 ");
  EXPECT_EQ(FormatDateTime("yyyy-mm-dd dddd", -693593.0), "0001-01-01 Monday");
}

// --- reading date-time texts ---

struct ReadCase {
  const char* text;
  double dayNumber;  // NaN: the text is not accepted
};

constexpr double kRejected = std::numeric_limits<double>::quiet_NaN();

void ExpectReadings(std::initializer_list<ReadCase> cases, const TVXFormatSettings& settings = {},
                    int currentYear = 2026) {
  for (const ReadCase& c : cases) {
    SCOPED_TRACE(c.text);
    double value = -12345;
    const bool accepted = TryStrToDateTime(c.text, settings, currentYear, value);
    if (std::isnan(c.dayNumber)) {
      EXPECT_FALSE(accepted);
      EXPECT_EQ(value, -12345);
    } else {
      EXPECT_TRUE(accepted);
      EXPECT_NEAR(value, c.dayNumber, 1e-9);
    }
  }
}

TEST(DateTimeText, Iso8601DatesAndTimes) {
  ExpectReadings({
      {"2026-11-21", 46347},
      {"2026-11-21 13:04:05", 46347 + 47045 / 86400.0},
      {"2026-11-21T13:04:05.250", 46347 + 47045.25 / 86400.0},
      {"2026-11-21T13:04", 46347 + 47040 / 86400.0},
      {"13:04:05", 47045 / 86400.0},
      {"13:04", 47040 / 86400.0},
      {"  2000-02-29  ", 36585},
      {"1899-12-29 06:00", -1.25},
      {"1899-12-30", 0},
      {"0001-01-01", -693593},
      {"9999-12-31", 2958465},
  });
}

TEST(DateTimeText, TwelveHourTimes) {
  ExpectReadings({
      {"1:05 PM", (13 * 60 + 5) / 1440.0},
      {"1:05 pm", (13 * 60 + 5) / 1440.0},
      {"12:00 AM", 0},
      {"12:30:15 PM", (12 * 3600 + 30 * 60 + 15) / 86400.0},
      {"2026-11-21 9:15 AM", 46347 + (9 * 60 + 15) / 1440.0},
      {"13:00 PM", kRejected},
      {"0:30 AM", kRejected},
  });
}

TEST(DateTimeText, RejectsWhatIsNotADateOrTime) {
  ExpectReadings({
      {"", kRejected},
      {"abc", kRejected},
      {"2026-02-29", kRejected},
      {"2026-13-01", kRejected},
      {"2026-00-10", kRejected},
      {"2026-11-31", kRejected},
      {"0000-01-01", kRejected},
      {"25:00", kRejected},
      {"13:60", kRejected},
      {"13:04:60", kRejected},
      {"13", kRejected},
      {"2026-11-21T", kRejected},
      {"2026-11-21 13", kRejected},
      {"2026-11-21T13:04:05Z", kRejected},
      {"2026-11-21 13:04:05 +01:00", kRejected},
      {"2026-11-21x", kRejected},
      {"13:04:05.", kRejected},
  });
}

TEST(DateTimeText, FollowsTheShortDateFormat) {
  TVXFormatSettings german;
  german.DateSeparator = '.';
  german.ShortDateFormat = "dd.mm.yyyy";
  ExpectReadings(
      {
          {"21.11.2026", 46347},
          {"21.11.2026 13:04:05", 46347 + 47045 / 86400.0},
          {"1.2.2000", 36557},
          {"2026-11-21", 46347},  // ISO 8601 is always understood
          {"21.11.26", 46347},
          {"1.1.76", 27760},
          {"1.1.75", 63920},  // two-digit years run from 50 years back to 49 ahead
          {"21.11", 46347},   // a date without its year is in the current year
          {"21/11/2026", 46347},
          {"21-11-2026", kRejected},
          {"32.11.2026", kRejected},
      },
      german);

  TVXFormatSettings american;
  american.DateSeparator = '/';
  american.ShortDateFormat = "m/d/yyyy";
  ExpectReadings({{"11/21/2026", 46347},
                  {"11/21/2026 1:04 PM", 46347 + 47040 / 86400.0},
                  {"21/11/2026", kRejected}},
                 american);
}

// --- through formulas ---

class FormatFormula : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { ev_.ConstantFolding = GetParam(); }
  void ExpectText(const std::string& formula, const std::string& text) {
    SCOPED_TRACE(formula);
    const TVXParsDouble result = EvaluateOnce(ev_, formula);
    EXPECT_EQ(result.VarType, vtString);
    EXPECT_EQ(result.StrValue, text);
  }
  TVXExpressionEvaluator ev_;
};

INSTANTIATE_TEST_SUITE_P(Folding, FormatFormula, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Folded" : "Unfolded"; });

TEST_P(FormatFormula, FormatsNumbersAndDayNumbers) {
  ExpectText("Format(\"0.00\", 3.14159)", "3.14");
  ExpectText("Format(\"#,##0.0;(#,##0.0)\", -1234.56)", "(1,234.6)");
  ExpectText("Format(\"0.00' V'\", 2)", "2.00 V");
  ExpectText("FormatDateTime(\"yyyy-mm-dd hh:nn\", 46347.5)", "2026-11-21 12:00");
  ExpectText("FormatDateTime(\"dddd\", 36585)", "Tuesday");
  ExpectText("FormatDateTime(\"'x'\", sqrt(-1))", "x");
}

TEST_P(FormatFormula, WrongKindsGiveATextInsteadOfAnError) {
  for (const char* formula : {
           "Format(3, 4)",
           "Format(\"0\", \"4\")",
           "Format(\"0\", [1,2])",
           "Format(\"0\", TRUE)",
           "FormatDateTime(46347, \"yyyy\")",
           "FormatDateTime(\"yyyy\", \"x\")",
           "FormatDateTime(\"yyyy\", [46347])",
       })
    ExpectText(formula, "Invalid argument types");
}

TEST_P(FormatFormula, AnInvalidDayNumberIsAnError) {
  try {
    EvaluateOnce(ev_, "FormatDateTime(\"yyyy\", sqrt(-1))");
    ADD_FAILURE() << "no error";
  } catch (const EVXParserException& e) {
    EXPECT_STREQ(e.what(), "Invalid floating point operation");
  }
}

TEST(FormatFormulaSettings, UsesTheEvaluatorsSeparatorsAndFormats) {
  TVXExpressionEvaluator ev(',');
  EXPECT_EQ(EvaluateOnce(ev, "Format(\"#,##0.00\"; 1234,5)").StrValue, "1.234,50");
  ev.FormatSettings.ShortDateFormat = "dd/mm/yyyy";
  ev.FormatSettings.DateSeparator = '.';
  EXPECT_EQ(EvaluateOnce(ev, "FormatDateTime(\"c\"; 46347)").StrValue, "21.11.2026");
}

}  // namespace
}  // namespace loom
