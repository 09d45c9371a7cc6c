// Number pictures and date-time patterns: the languages behind Format and FormatDateTime,
// checked directly against tables of pattern, value and text, then through formulas.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "functions/Registry.h"
#include "functions/TextFormats.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

struct PictureCase {
  const char* picture;
  double value;
  const char* text;
};

// One row per rule of the picture language and per quirk. Values are rounded half away from
// zero at the last digit shown, but what the number really is decides: 2.675 is held as
// 2.67499999999999982. Integer digits beyond the picture go to its first place; only the first
// point counts; at most four exponent digits are asked for; "E" without a sign is an ordinary
// character. The negative section spells its own sign, an empty or missing section falls back
// to the first, the value's own sign chooses the section whatever its rounded digits show
// (-0.004 is "-0.00"), and an empty first section is the general number text; so is what a
// picture cannot show.
TEST(FormatFloatPicture, Rules) {
  const PictureCase cases[] = {
      {"", 0.5, "0.5"},       {"0", 0.5, "1"},       {"#.##", 0.5, ".5"},    {"#.##", 0, ""},
      {"#.###E-0", 0, "0E0"}, {"0", -2.5, "-3"},     {"0.0", 9.96, "10.0"},  {"#.#", 0.05, ".1"},
      {".00", 12.5, "12.50"}, {"0,000", 5, "0,005"}, {"0;(0)", -0.0, "0"},   {";(0.0)", 2.5, "2.5"},
      {"0E", 5, "5E"},        {"[0]", 7, "[7]"},     {"0.00", 1e20, "1E20"}, {"0.00", kNaN, "NAN"},
  };
  const PictureCase cases2[] = {
      {"0.00", 2.675, "2.67"},     {"#0.0#", 3.14159, "3.14"},  {"0.0.0", 1.25, "1.25"},
      {"0.0E+0", 9.96, "1.0E+1"},  {"0.0;0.0-", -2.25, "2.3-"}, {"0.0;(0.0)", 0, "0.0"},
      {"0.00", -0.004, "-0.00"},   {"0;-0;'nil'", 0.4, "0"},    {";(0.0)", -2, "(2.0)"},
      {"\"$\"0.00", -5, "-$5.00"}, {"0.0 'a;b'", 1, "1.0 a;b"}, {"0 'open", 7, "7 open"},
  };
  const PictureCase cases3[] = {
      {"#,##0.00", 1234, "1,234.00"},         {"#,##0.00;(#,##0.00)", -1234, "(1,234.00)"},
      {"#,##0.00;;Zero", 0, "Zero"},          {"0.000E+00", 0, "0.000E+00"},
      {"#.###E-0", 1234, "1.234E3"},          {"#,##0", 999999.5, "1,000,000"},
      {"#,##0.00", 129809.495, "129,809.49"}, {"000.000", 12.3456, "012.346"},
      {"0", 1e15, "1000000000000000"},        {"0.00e-00", 0.000123, "1.23e-04"},
      {"0.0E+000000", 5, "5.0E+0000"},        {"##0.0E+0", 12345, "123.5E+2"},
      {"0.00E+00", -0.000999, "-9.99E-04"},   {"00.0;(0.00)", -1.123, "(1.12)"},
      {"0.0;(0.0);'zero'", -0.04, "(0.0)"},   {"'Total: '0.00' kg'", 3.5, "Total: 3.50 kg"},
      {"0.00;(0.00)", -0.001, "(0.00)"},      {"0;-0;'nil'", 0, "nil"},
  };
  for (const PictureCase& c : Rows(cases, cases2, cases3))
    EXPECT_EQ(FormatFloat(c.picture, c.value), c.text) << c.picture << " of " << c.value;
  EXPECT_EQ(FormatFloat("#,##0.00", 1234567.5, ',', '.'), "1.234.567,50");
  EXPECT_EQ(FormatFloat("", 2.5, ',', '.'), "2,5");
  EXPECT_EQ(FormatFloat("0.0E+00", 1234, ',', '.'), "1,2E+03");
}

// 2026-11-21, a Saturday, 13:04:05.250.
constexpr double kSaturday = 46347.0 + (13 * 3600000.0 + 4 * 60000.0 + 5250.0) / 86400000.0;
// 2000-02-29, a Tuesday, 09:07:03.045.
constexpr double kLeapDay = 36585.0 + (9 * 3600000.0 + 7 * 60000.0 + 3045.0) / 86400000.0;
constexpr double kMidnight = 46347.0;

struct PatternCase {
  const char* pattern;
  double dayNumber;
  const char* text;
};

// m right after an hour means minutes; a marker before the hour counts as well, a quoted one
// and a lone "a" do not. The time is rounded to milliseconds, which may reach the next day;
// negative day numbers count the time forward; before year one there is no calendar date.
TEST(FormatDateTimePattern, Fields) {
  const PatternCase cases[] = {
      {"d", kLeapDay, "29"},    {"ddd", kSaturday, "Sat"},  {"dddd", kLeapDay, "Tuesday"},
      {"zzz", kLeapDay, "045"}, {"h:mm", kLeapDay, "9:07"}, {"h a", kSaturday, "13 a"},
  };
  const PatternCase cases2[] = {
      {"mmmm", kLeapDay, "February"},         {"ddd d mmm yyyy", 2.75, "Mon 1 Jan 1900"},
      {"hh nn ss", kLeapDay, "09 07 03"},     {"mm/dd hh:mm", kLeapDay, "02-29 09:07"},
      {"h:nn am/pm", kSaturday, "1:04 pm"},   {"hh:nn a/p", kSaturday, "01:04 p"},
      {"hh ampm", kMidnight, "12 AM"},        {"h:nn am/pm", 46347.5, "12:00 pm"},
      {"am/pm h", kSaturday, "pm 1"},         {"hh 'am/pm'", kSaturday, "13 am/pm"},
      {"t tt", kSaturday, "13:04 13:04:05"},  {"c", kMidnight, "2026-11-21"},
      {"", kSaturday, "2026-11-21 13:04:05"}, {"yyyy-mm-dd dddd", -693594.0, "0000-00-00 "},
  };
  const PatternCase cases3[] = {
      {"yyyy-mm-dd hh:nn:ss.zzz", kSaturday, "2026-11-21 13:04:05.250"},
      {"yyyy-mm-dd hh:nn:ss.zzz", 0.99999999999, "1899-12-31 00:00:00.000"},
      {"dddddd", kSaturday, "Saturday, November 21, 2026"},
      {"'Date:' \"at\" h'h'nn", kSaturday, "Date: at 13h04"},
      {"x yyyy 'unclosed yyyy", kSaturday, "x 2026 unclosed yyyy"},
      {"dd.mm.yyyy hh:nn dddd", -1.25, "29.12.1899 06:00 Friday"},
      {"yyyy-mm-dd dddd", -693593.0, "0001-01-01 Monday"},
  };
  for (const PatternCase& c : Rows(cases, cases2, cases3))
    EXPECT_EQ(FormatDateTime(c.pattern, c.dayNumber), c.text) << c.pattern << " of " << c.dayNumber;
  // An invalid day number fails only when it is read.
  EXPECT_EQ(FormatDateTime("'fixed'", kNaN), "fixed");
  for (double bad : {kNaN, 1e300, -kInf})
    EXPECT_THROW(FormatDateTime("yyyy", bad), EVXParserException);
}

TEST(FormatDateTimePattern, FollowsTheSettingsOneLevelDeep) {
  TVXFormatSettings settings;
  settings.DateSeparator = '.';
  settings.TimeSeparator = '.';
  settings.ShortDateFormat = "dd/mm/yy";
  settings.TimeAMString = "vorm.";
  settings.TimePMString = "nachm.";
  const PatternCase cases[] = {
      {"dd/mm/yyyy", kSaturday, "21.11.2026"},
      {"c", kSaturday, "21.11.26 13.04.05"},
      {"h ampm", kSaturday, "1 nachm."},
      {"h ampm", kLeapDay, "9 vorm."},
  };
  for (const PatternCase& c : cases)
    EXPECT_EQ(FormatDateTime(c.pattern, c.dayNumber, settings), c.text) << c.pattern;
  settings.ShortDateFormat = "'<'ddddd'>'";  // names itself: expanded one level deep
  EXPECT_EQ(FormatDateTime("c", kMidnight, settings), "<>");
}

// Rows of text and day number; NaN: the text is not accepted.
void ExpectReadings(std::initializer_list<std::pair<const char*, double>> cases,
                    const TVXFormatSettings& settings = {}) {
  for (const auto& [text, dayNumber] : cases) {
    double value = -12345;
    EXPECT_EQ(TryStrToDateTime(text, settings, 2026, value), !std::isnan(dayNumber)) << text;
    EXPECT_NEAR(value, std::isnan(dayNumber) ? -12345 : dayNumber, 1e-9) << text;
  }
}

TEST(DateTimeText, IsoTwelveHourTimesAndTheShortDateFormat) {
  ExpectReadings({
      {"2026-11-21T13:04:05.250", 46347 + 47045.25 / 86400.0},
      {"  2000-02-29  ", 36585},
      {"12:30:15 pm", (12 * 3600 + 30 * 60 + 15) / 86400.0},
      {"2026-11-21 9:15 AM", 46347 + (9 * 60 + 15) / 1440.0},
      {"13:00 PM", kNaN},
      {"0:30 AM", kNaN},
      {"2026-02-29", kNaN},
  });
  TVXFormatSettings german;
  german.DateSeparator = '.';
  german.ShortDateFormat = "dd.mm.yyyy";
  // Two-digit years run from 50 years back to 49 ahead; a date without its year is this year's.
  ExpectReadings({{"21.11.2026 13:04:05", 46347 + 47045 / 86400.0},
                  {"2026-11-21", 46347},
                  {"1.1.76", 27760},
                  {"1.1.75", 63920},
                  {"21.11", 46347},
                  {"32.11.2026", kNaN}},
                 german);
  german.ShortDateFormat = "m/d/yyyy";  // the month first
  german.DateSeparator = '/';
  ExpectReadings({{"11/21/2026 1:04 PM", 46347 + 47040 / 86400.0}}, german);
}

// Wrong argument kinds give a text instead of an error; an unreadable day number is an error.
TEST(FormatFormula, FormatsNumbersAndDayNumbers) {
  const OutcomeRow rows[] = {
      {"Format(\"#,##0.0;(#,##0.0)\", -1234.56)", "\"(1,234.6)\""},
      {"FormatDateTime(\"yyyy-mm-dd hh:nn\", 46347.5)", "\"2026-11-21 12:00\""},
      {"FormatDateTime(\"'x'\", sqrt(-1))", "\"x\""},
      {"Format(3, 4)", "\"Invalid argument types\""},
      {"FormatDateTime(\"yyyy\", TRUE)", "\"Invalid argument types\""},
      {"FormatDateTime(\"yyyy\", sqrt(-1))", "Invalid floating point operation"},
  };
  ExpectOutcomesFoldedOrNot<TVXExpressionEvaluator>(rows);
  TVXExpressionEvaluator ev(',');
  EXPECT_EQ(Outcome(ev, "Format(\"#,##0.00\"; 1234,5)"), "\"1.234,50\"");
  ev.FormatSettings.ShortDateFormat = "dd/mm/yyyy";
  ev.FormatSettings.DateSeparator = '.';
  EXPECT_EQ(Outcome(ev, "FormatDateTime(\"c\"; 46347)"), "\"21.11.2026\"");
}

}  // namespace
}  // namespace loom
