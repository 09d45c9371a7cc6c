// String functions and conversions driven through formulas: extraction, search, comparison,
// reading numbers and day numbers from text, and packing numbers into little-endian bytes.
#include <gtest/gtest.h>

#include <string>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr const char* kInvalid = "Invalid parameters";

// Positions are one-based; counts and positions are rounded ties to even, the range tests of
// StrChar come before the rounding. Right starts two places left of the last count characters,
// deliberately: formulas rely on it.
TEST(Strings, ExtractionSearchAndComparison) {
  const OutcomeRow rows[] = {
      {"Chr(321) + Chr(65.5) + Chr(66.5)", "\"ABB\""},
      {"[StrChar(Chr(-1), 1), StrLen(Chr(0) + Chr(0)), StrLen(Trim(Chr(9) + Chr(200)))]",
       "[ 255, 2, 1]"},
      {"Chr(\"a\")", "\"Invalid argument types\""},
      {"[Pos(\"cb\", \"abcb\", 2), Pos(\"b\", \"abcb\", 2.5), Pos(\"b\", \"abcb\", 5)]",
       "[ 3, 2, 0]"},
      {"[Pos(\"b\", \"abcb\", 0), Pos(\"\", \"abc\", 1)]", "[ 0, 0]"},
      {"Left(\"abc\", 5) + \"|\" + Left(\"abc\", 1.5) + \"|\" + Left(\"abc\", -1)", "\"abc|ab|\""},
      {"Mid(\"abcdef\", 2, 3) + \"|\" + Mid(\"abcdef\", -4, 2) + \"|\" + Mid(\"abcdef\", 7, 1)",
       "\"bcd|ab|\""},
      {"Mid(\"abcdef\", 1e15, 1) + \"|\" + Mid(\"abcdef\", 2, 1e15)", "\"|bcdef\""},
      {"Right(\"abcdef\", 2) + \"|\" + Right(\"abcdef\", 6) + \"|\" + Right(\"ab\", 5)",
       "\"cd|abcdef|ab\""},
      {"Right(\"abcdef\", 0) + \"|\" + Right(\"abcdef\", 1e15)", "\"|abcdef\""},
      {"Trim(Chr(0) + \" a b\" + Chr(10) + Chr(32)) + \"|\" + Trim(\"   \")", "\"a b|\""},
      {"[StrChar(\"abc\", 3), StrChar(\"abc\", 0.5), StrChar(\"abc\", 0.6), StrChar(\"abc\", 3.4)]",
       "[ 99, 0, 97, 0]"},
      {"[StrComp(\"abc\", \"ABC\"), StrComp(\"ab\", \"abc\"), StrComp(\"a\" + Chr(0) + \"x\", "
       "\"a\")]",
       "[ 0, 0, 1]"},
      {"[StrLComp(\"abcdef\", \"abcxyz\", 3), StrLComp(\"ab\", \"abc\", 3), "
       "StrLComp(\"abc\", \"abd\", 2.5), StrLComp(\"abc\", \"abc\", -1)]",
       "[ 1, 0, 1, 1]"},
      {"Chr(sqrt(-1))", "Invalid floating point operation"},
      {"Mid(\"abcdef\", 2, 1e300)", "Invalid floating point operation"},
  };
  ExpectOutcomesFoldedOrNot<TVXExpressionEvaluator>(rows);
  ExpectEachGives<TVXExpressionEvaluator>(
      kInvalid, {"Pos(1, \"abc\", 1)", "Left(\"abc\", TRUE)", "Mid([1], 1, 1)",
                 "StrChar(\"abc\", \"1\")", "StrLen([1,2])", "StrLComp(\"a\", \"a\", \"1\")"});
}

// GetToken takes the text up to the delimiter out of its variable; with a delimiter longer than
// one character the token loses as many characters as the delimiter has beyond the first.
TEST(Strings, GetTokenConsumesItsVariable) {
  TVXExpressionEvaluator ev;
  const OutcomeRow rows[] = {
      {"s := \"a;b\"", "\"a;b\""},
      {"GetToken(s, \";\") + \"|\" + s", "\"a|b\""},
      {"GetToken(s, \";\") + \"|\" + s", "\"b|\""},
      {"GetToken(s, \";\") + \"|\" + s", "\"|\""},
      {"s := \"ab::cd::e\"", "\"ab::cd::e\""},
      {"GetToken(s, \"::\") + \"|\" + s", "\"a|cd::e\""},
      {"s := \"abc\"", "\"abc\""},
      {"GetToken(s, \"\") + \"|\" + s", "\"abc|\""},
      {"s := \"ab\"", "\"ab\""},
      {"GetToken(s, s) + \"|\" + s", "\"|\""},
      {"n := 3", "3"},
      {"GetToken(n, \";\")", kInvalid},
      {"GetToken(\"a;b\", \";\")",
       "GetToken(\"a;b\", \";\"): argument 1 of \"GetToken\" receives a "
       "result and cannot be a constant"},
  };
  ExpectOutcomes(ev, rows);
}

// The error variable is 1 after a failed conversion and 0 otherwise; a wrong argument kind raises
// instead and leaves it alone. ConvertStringHexToInt never reports a failure.
TEST(Strings, Conversions) {
  TVXExpressionEvaluator ev;
  const OutcomeRow rows[] = {
      {"e := 5", "5"},
      {"ConvertStringToNumber(3, \".\", e)", kInvalid},
      {"ConvertStringToNumber(\"3\", 0, e)", kInvalid},
      {"[ConvertStringToNumber(\" 3,5 \", \",\", e), e]", "[ 3.5, 0]"},
      {"[ConvertStringToNumber(\"3.5\", \",\", e), e]", "[ 0, 1]"},
      {"[ConvertStringToNumber(\"2.5\", \"\", e), e]", "[ 2.5, 0]"},
      // beyond the range of a double is a failed conversion; an underflow is 0
      {"[ConvertStringToNumber(\"1e400\", \".\", e), e]", "[ 0, 1]"},
      {"[ConvertStringToNumber(\" -1e400\", \".\", e), e]", "[ 0, 1]"},
      {"[ConvertStringToNumber(\"1.8e308\", \".\", e), e]", "[ 0, 1]"},
      {"[ConvertStringToNumber(\"1e-400\", \".\", e), e]", "[ 0, 0]"},
      {"[ConvertStringHexToInt(\"  ff  \", e), e]", "[ 255, 0]"},
      {"ConvertStringHexToInt(\"$1F\", e) + ConvertStringHexToInt(\"0x1f\", e)", "62"},
      {"ConvertStringHexToInt(\"FFFFFFFF\", e)", "4294967295"},
      {"[ConvertStringHexToInt(\"100000000\", e), e]", "[ 0, 0]"},
      {"ConvertStringHexToInt(\"1G\", e) + ConvertStringHexToInt(\"-1\", e)", "0"},
      {"ConvertStringHexToInt(31, e)", kInvalid},
      {"round((ConvertStringDateTimeToNumber(\"2026-11-21T13:04:05.250\", e) - 46347) * 864e5)",
       "47045250"},
      {"[ConvertStringDateTimeToNumber(\"21.11.2026\", e), e]", "[ 0, 1]"},
      {"ConvertStringDateTimeToNumber(46347, e)", kInvalid},
      {"ConvertStringToNumber(\"x\", \".\", 7)",
       "ConvertStringToNumber(\"x\", \".\", 7): argument 3 of \"ConvertStringToNumber\" receives "
       "a result and cannot be a constant"},
  };
  ExpectOutcomes(ev, rows);
  ev.FormatSettings.ShortDateFormat = "dd.mm.yyyy";
  ev.FormatSettings.DateSeparator = '.';
  EXPECT_EQ(Outcome(ev, "[ConvertStringDateTimeToNumber(\"21.11.2026\", e), e]"), "[ 46347, 0]");
  TVXExpressionEvaluator comma(',');  // an empty separator means the evaluator's own
  EXPECT_EQ(Outcome(comma, "[ConvertStringToNumber(\"2,5\"; \"\"; e); e]"), "[ 2.5, 0]");
}

TEST(Strings, BinaryPackingIsLittleEndian) {
  const OutcomeRow rows[] = {
      {"StringWriteBinaryWord([1, 258])", "01 00 02 01"},
      {"StringWriteBinarySmallInteger([-2, 32767])", "FE FF FF 7F"},
      {"StringWriteBinaryFloat32(0.1)", "CD CC CC 3D"},
      {"StringWriteBinaryFloat32(-1e39)", "00 00 80 FF"},
      {"StringWriteBinaryFloat64(-2.5)", "00 00 00 00 00 00 04 C0"},
      {"StringWriteBinaryByte([263, -1, 2.5, 3.5])", "07 FF 02 04"},
      {"StringWriteBinaryShortInteger([-128, 200])", "80 C8"},
      {"StringWriteBinaryInteger(-2)", "FE FF FF FF"},
      {"StringWriteBinaryLongWord(305419896)", "78 56 34 12"},
      {"StringWriteBinaryWord(VectorCopy([1], 0, 0))", ""},
  };
  TVXExpressionEvaluator ev;
  for (const OutcomeRow& row : rows)
    EXPECT_EQ(Hex(Evaluated(ev, row.formula).StrValue), row.outcome) << row.formula;
  EXPECT_EQ(Outcome(ev, "StringWriteBinaryByte(\"a\")"), kInvalid);
  EXPECT_EQ(Outcome(ev, "StringWriteBinaryInteger(1e300)"), "Invalid floating point operation");
}

}  // namespace
}  // namespace loom
