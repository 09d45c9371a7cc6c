// String functions and conversions driven through formulas, folded at compile time and
// evaluated at run time: extraction, search, comparison, reading numbers and day numbers from
// text, and packing numbers into little-endian bytes.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "engine/ParserClasses.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"

namespace loom {
namespace {

using namespace std::string_view_literals;

struct BytesCase {
  const char* formula;
  std::string_view text;  // may hold zero bytes
};

class StringsFormula : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { ev_.ConstantFolding = GetParam(); }

  void ExpectTexts(std::initializer_list<BytesCase> cases) {
    for (const BytesCase& c : cases) {
      SCOPED_TRACE(c.formula);
      const TVXParsDouble result = EvaluateOnce(ev_, c.formula);
      EXPECT_EQ(result.VarType, vtString);
      EXPECT_EQ(result.StrValue, c.text);
    }
  }

  void ExpectNumbers(std::initializer_list<NumberCase> cases) {
    for (const NumberCase& c : cases) {
      SCOPED_TRACE(c.formula);
      const TVXParsDouble result = EvaluateOnce(ev_, c.formula);
      EXPECT_EQ(result.VarType, vtDouble);
      EXPECT_DOUBLE_EQ(result.Value, c.value);
    }
  }

  void ExpectErrors(std::initializer_list<ErrorCase> cases) {
    for (const ErrorCase& c : cases) {
      SCOPED_TRACE(c.formula);
      std::string message = "<no error>";
      try {
        EvaluateOnce(ev_, c.formula);
      } catch (const EVXParserException& e) {
        message = e.what();
      }
      EXPECT_EQ(message, c.message);
    }
  }

  // Runs the expression at index and checks its text and what variable name holds afterwards.
  void ExpectStep(int index, std::string_view result, const char* name, std::string_view rest) {
    const TVXParsDouble value = ev_.GetResults(index);
    EXPECT_EQ(value.VarType, vtString);
    EXPECT_EQ(value.StrValue, result);
    const TVXParsDouble variable = EvaluateOnce(ev_, name);
    EXPECT_EQ(variable.VarType, vtString);
    EXPECT_EQ(variable.StrValue, rest);
  }

  double NumberOf(const char* formula) { return EvaluateOnce(ev_, formula).Value; }

  TVXExpressionEvaluator ev_;
};

INSTANTIATE_TEST_SUITE_P(Folding, StringsFormula, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Folded" : "Unfolded"; });

TEST_P(StringsFormula, ChrTakesTheRoundedCodeModulo256) {
  ExpectTexts({
      {"Chr(65)", "A"},
      {"Chr(321)", "A"},
      {"Chr(-1)", "\xFF"},
      {"Chr(65.5)", "B"},
      {"Chr(66.5)", "B"},
      {"Chr(0)", "\0"sv},
      {"Chr(\"a\")", "Invalid argument types"},
      {"Chr([65])", "Invalid argument types"},
      {"Chr(TRUE)", "Invalid argument types"},
  });
  ExpectErrors({{"Chr(sqrt(-1))", "Invalid floating point operation"}});
}

TEST_P(StringsFormula, PosSearchesFromAnOffset) {
  ExpectNumbers({
      {"Pos(\"b\", \"abcb\", 3)", 4},
      {"Pos(\"x\", \"abc\", 1)", 0},
      {"Pos(\"b\", \"abcb\", 1)", 2},
      {"Pos(\"b\", \"abcb\", 4)", 4},
      {"Pos(\"cb\", \"abcb\", 2)", 3},
      {"Pos(\"b\", \"abcb\", 2.5)", 2},
      {"Pos(\"b\", \"abcb\", 5)", 0},
      {"Pos(\"b\", \"abcb\", 0)", 0},
      {"Pos(\"b\", \"abcb\", -3)", 0},
      {"Pos(\"\", \"abc\", 1)", 0},
      {"Pos(\"abcd\", \"abc\", 1)", 0},
  });
}

TEST_P(StringsFormula, LeftMidAndRight) {
  ExpectTexts({
      {"Left(\"abc\", 5)", "abc"},
      {"Left(\"abc\", 2)", "ab"},
      {"Left(\"abc\", 1.5)", "ab"},
      {"Left(\"abc\", 0.5)", ""},
      {"Left(\"abc\", 0)", ""},
      {"Left(\"abc\", -1)", ""},
      {"Mid(\"abcdef\", 2, 3)", "bcd"},
      {"Mid(\"abcdef\", 5, 10)", "ef"},
      {"Mid(\"abcdef\", 0, 2)", "ab"},
      {"Mid(\"abcdef\", -4, 2)", "ab"},
      {"Mid(\"abcdef\", 7, 1)", ""},
      {"Mid(\"abcdef\", 2, 0)", ""},
      {"Mid(\"abcdef\", 2, -1)", ""},
      {"Mid(\"abcdef\", 1e15, 1)", ""},
      {"Mid(\"abcdef\", 2, 1e15)", "bcdef"},
  });
}

// Right starts two places left of the last count characters; formulas rely on it.
TEST_P(StringsFormula, RightKeepsItsOwnStartFormula) {
  ExpectTexts({
      {"Right(\"abcdef\", 2)", "cd"},
      {"Right(\"abcdef\", 4)", "abcd"},
      {"Right(\"abcdef\", 1)", "d"},
      {"Right(\"abcdef\", 5)", "abcde"},
      {"Right(\"abcdef\", 6)", "abcdef"},
      {"Right(\"ab\", 5)", "ab"},
      {"Right(\"abcdef\", 0)", ""},
      {"Right(\"abcdef\", -2)", ""},
      {"Right(\"abcdef\", -1e15)", ""},
      {"Right(\"abcdef\", 1e15)", "abcdef"},
  });
}

TEST_P(StringsFormula, TrimDropsControlCharactersAndBlanks) {
  ExpectTexts({
      {"Trim(\"  ab c  \")", "ab c"},
      {"Trim(Chr(0) + \"x\" + Chr(10) + Chr(32))", "x"},
      {"Trim(Chr(9) + Chr(200) + \" \")", "\xC8"},
      {"Trim(\"   \")", ""},
      {"Trim(\"\")", ""},
  });
}

TEST_P(StringsFormula, LengthsAndCharacterCodes) {
  ExpectNumbers({
      {"StrLen(\"abc\")", 3},
      {"StrLen(\"\")", 0},
      {"StrLen(Chr(0) + Chr(0))", 2},
      {"StrChar(\"abc\", 1)", 97},
      {"StrChar(\"abc\", 3)", 99},
      {"StrChar(\"abc\", 4)", 0},
      {"StrChar(\"abc\", 0)", 0},
      {"StrChar(\"abc\", -1)", 0},
      {"StrChar(\"abc\", 0.3)", 0},
      {"StrChar(\"abc\", 0.5)", 0},  // passes the range test, rounds to no position
      {"StrChar(\"abc\", 0.6)", 97},
      {"StrChar(\"abc\", 2.5)", 98},
      {"StrChar(\"abc\", 3.4)", 0},  // the range is tested before rounding
      {"StrChar(\"abc\", sqrt(-1))", 0},
      {"StrChar(Chr(200), 1)", 200},
      {"StrChar(\"\", 1)", 0},
  });
}

TEST_P(StringsFormula, ComparisonsEndAtAZeroByte) {
  ExpectNumbers({
      {"StrComp(\"abc\", \"abc\")", 1},
      {"StrComp(\"abc\", \"abd\")", 0},
      {"StrComp(\"abc\", \"ABC\")", 0},
      {"StrComp(\"ab\", \"abc\")", 0},
      {"StrComp(\"\", \"\")", 1},
      {"StrComp(\"ab\" + Chr(0) + \"x\", \"ab\" + Chr(0) + \"y\")", 1},
      {"StrLComp(\"abcdef\", \"abcxyz\", 3)", 1},
      {"StrLComp(\"abcdef\", \"abcxyz\", 4)", 0},
      {"StrLComp(\"ab\", \"abc\", 2)", 1},
      {"StrLComp(\"ab\", \"abc\", 3)", 0},
      {"StrLComp(\"abc\", \"ABC\", 1)", 0},
      {"StrLComp(\"abc\", \"xyz\", 0)", 1},
      {"StrLComp(\"abc\", \"abd\", 2.5)", 1},
      {"StrLComp(\"abc\", \"abd\", -1)", 0},
      {"StrLComp(\"abc\", \"abc\", -1)", 1},
      {"StrLComp(\"a\" + Chr(0) + \"b\", \"a\" + Chr(0) + \"c\", 3)", 1},
  });
}

TEST_P(StringsFormula, GetTokenConsumesItsVariable) {
  EvaluateOnce(ev_, "s := \"a;b;c\"");
  const int take = ev_.AddExpression("t := GetToken(s, \";\")");
  ExpectStep(take, "a", "s", "b;c");
  ExpectStep(take, "b", "s", "c");
  ExpectStep(take, "c", "s", "");
  ExpectStep(take, "", "s", "");
  EXPECT_EQ(EvaluateOnce(ev_, "t").StrValue, "");
}

TEST_P(StringsFormula, GetTokenWithALongerDelimiterShortensTheToken) {
  EvaluateOnce(ev_, "x := \"ab::cd::efg\"");
  const int take = ev_.AddExpression("GetToken(x, \"::\")");
  ExpectStep(take, "a", "x", "cd::efg");
  ExpectStep(take, "c", "x", "efg");
  ExpectStep(take, "efg", "x", "");
}

TEST_P(StringsFormula, GetTokenEdgeCases) {
  EvaluateOnce(ev_, "s := \";x\"");
  ExpectStep(ev_.AddExpression("GetToken(s, \";\")"), "", "s", "x");
  EvaluateOnce(ev_, "s := \"::x\"");
  ExpectStep(ev_.AddExpression("GetToken(s, \"::\")"), "", "s", "x");
  EvaluateOnce(ev_, "s := \"abc\"");
  ExpectStep(ev_.AddExpression("GetToken(s, \"\")"), "abc", "s", "");
  EvaluateOnce(ev_, "s := \"abc\"");
  ExpectStep(ev_.AddExpression("GetToken(s, \";\")"), "abc", "s", "");
  EvaluateOnce(ev_, "s := \"a\" + Chr(0) + \"b;c\"");
  ExpectStep(ev_.AddExpression("GetToken(s, \";\")"), "a\0b"sv, "s", "c");
  EvaluateOnce(ev_, "s := \"ab\"");
  ExpectStep(ev_.AddExpression("GetToken(s, s)"), "", "s", "");
}

TEST_P(StringsFormula, ConvertStringToNumberUsesItsOwnSeparator) {
  struct Case {
    const char* formula;
    double value;
    double error;
  };
  for (const Case& c : std::initializer_list<Case>{
           {"ConvertStringToNumber(\" 3,5 \", \",\", e)", 3.5, 0},
           {"ConvertStringToNumber(\"3.5\", \".\", e)", 3.5, 0},
           {"ConvertStringToNumber(\"-1.5e3\", \".x\", e)", -1500, 0},
           {"ConvertStringToNumber(\"+.5\", \".\", e)", 0.5, 0},
           {"ConvertStringToNumber(\"2.5\", \"\", e)", 2.5, 0},
           {"ConvertStringToNumber(Chr(9) + \"7\" + Chr(13), \".\", e)", 7, 0},
           {"ConvertStringToNumber(\"abc\", \".\", e)", 0, 1},
           {"ConvertStringToNumber(\"3.5\", \",\", e)", 0, 1},
           {"ConvertStringToNumber(\"1,234.5\", \".\", e)", 0, 1},
           {"ConvertStringToNumber(\"3 5\", \".\", e)", 0, 1},
           {"ConvertStringToNumber(\"\", \".\", e)", 0, 1},
           {"ConvertStringToNumber(\"1e\", \".\", e)", 0, 1},
           {"ConvertStringToNumber(\"0x10\", \".\", e)", 0, 1},
           {"ConvertStringToNumber(\"nan\", \".\", e)", 0, 1},
       }) {
    SCOPED_TRACE(c.formula);
    EvaluateOnce(ev_, "e := \"untouched\"");
    const TVXParsDouble result = EvaluateOnce(ev_, c.formula);
    EXPECT_EQ(result.VarType, vtDouble);
    EXPECT_DOUBLE_EQ(result.Value, c.value);
    const TVXParsDouble error = EvaluateOnce(ev_, "e");
    EXPECT_EQ(error.VarType, vtDouble);
    EXPECT_EQ(error.Value, c.error);
  }
}

TEST_P(StringsFormula, ConvertStringHexToIntNeverReportsAFailure) {
  struct Case {
    const char* text;
    double value;
  };
  for (const Case& c : std::initializer_list<Case>{
           {"1F", 31},
           {"  ff  ", 255},
           {"$1F", 31},
           {"0x1f", 31},
           {"FFFFFFFF", 4294967295.0},
           {"000000001F", 31},
           {"100000000", 0},
           {"zz", 0},
           {"1G", 0},
           {"-1", 0},
           {"", 0},
           {"$", 0},
       }) {
    SCOPED_TRACE(c.text);
    EvaluateOnce(ev_, "e := 1");
    const TVXParsDouble result =
        EvaluateOnce(ev_, std::string("ConvertStringHexToInt(\"") + c.text + "\", e)");
    EXPECT_EQ(result.VarType, vtDouble);
    EXPECT_EQ(result.Value, c.value);
    EXPECT_EQ(NumberOf("e"), 0);
  }
}

TEST_P(StringsFormula, ConvertStringDateTimeToNumberReadsIsoAndTheShortDateFormat) {
  struct Case {
    const char* text;
    double value;
    double error;
  };
  for (const Case& c : std::initializer_list<Case>{
           {"2026-11-21", 46347, 0},
           {"2026-11-21 13:04:05", 46347 + 47045 / 86400.0, 0},
           {"2026-11-21T13:04:05.250", 46347 + 47045.25 / 86400.0, 0},
           {"13:04:05", 47045 / 86400.0, 0},
           {" 1899-12-29 06:00 ", -1.25, 0},
           {"2026-02-30", 0, 1},
           {"21.11.2026", 0, 1},
           {"tomorrow", 0, 1},
       }) {
    SCOPED_TRACE(c.text);
    EvaluateOnce(ev_, "e := 5");
    const TVXParsDouble result =
        EvaluateOnce(ev_, std::string("ConvertStringDateTimeToNumber(\"") + c.text + "\", e)");
    EXPECT_EQ(result.VarType, vtDouble);
    EXPECT_NEAR(result.Value, c.value, 1e-9);
    EXPECT_EQ(NumberOf("e"), c.error);
  }
  ev_.FormatSettings.ShortDateFormat = "dd.mm.yyyy";
  ev_.FormatSettings.DateSeparator = '.';
  EXPECT_EQ(NumberOf("ConvertStringDateTimeToNumber(\"21.11.2026\", e)"), 46347);
  EXPECT_EQ(NumberOf("e"), 0);
}

TEST_P(StringsFormula, LiteralsCannotReceiveResults) {
  ExpectErrors({
      {"GetToken(\"a;b\", \";\")",
       "GetToken(\"a;b\", \";\"): argument 1 of \"GetToken\" receives a result and cannot be a "
       "constant"},
      {"ConvertStringToNumber(\"x\", \".\", 7)",
       "ConvertStringToNumber(\"x\", \".\", 7): argument 3 of \"ConvertStringToNumber\" receives "
       "a result and cannot be a constant"},
      {"ConvertStringHexToInt(\"1F\", TRUE)",
       "ConvertStringHexToInt(\"1F\", TRUE): argument 2 of \"ConvertStringHexToInt\" receives a "
       "result and cannot be a constant"},
  });
  EXPECT_EQ(NumberOf("7 + 0"), 7);
}

TEST_P(StringsFormula, BinaryPackingIsLittleEndian) {
  ExpectTexts({
      {"StringWriteBinaryWord([1, 258])", "\x01\x00\x02\x01"sv},
      {"StringWriteBinarySmallInteger(-1)", "\xFF\xFF"sv},
      {"StringWriteBinaryFloat32(1)", "\x00\x00\x80\x3F"sv},
      {"StringWriteBinaryFloat32(0.1)", "\xCD\xCC\xCC\x3D"sv},
      {"StringWriteBinaryFloat32(1e39)", "\x00\x00\x80\x7F"sv},
      {"StringWriteBinaryFloat32(-1e39)", "\x00\x00\x80\xFF"sv},
      {"StringWriteBinaryFloat64(1)", "\x00\x00\x00\x00\x00\x00\xF0\x3F"sv},
      {"StringWriteBinaryFloat64(-2.5)", "\x00\x00\x00\x00\x00\x00\x04\xC0"sv},
      {"StringWriteBinaryByte(263)", "\x07"sv},
      {"StringWriteBinaryByte(-1)", "\xFF"sv},
      {"StringWriteBinaryByte([2.5, 3.5])", "\x02\x04"sv},
      {"StringWriteBinaryShortInteger(-128)", "\x80"sv},
      {"StringWriteBinaryShortInteger(200)", "\xC8"sv},
      {"StringWriteBinaryWord(65537)", "\x01\x00"sv},
      {"StringWriteBinarySmallInteger([-2, 32767])", "\xFE\xFF\xFF\x7F"sv},
      {"StringWriteBinaryInteger(-2)", "\xFE\xFF\xFF\xFF"sv},
      {"StringWriteBinaryInteger(0)", "\x00\x00\x00\x00"sv},
      {"StringWriteBinaryLongWord(4294967295)", "\xFF\xFF\xFF\xFF"sv},
      {"StringWriteBinaryLongWord(4294967296)", "\x00\x00\x00\x00"sv},
      {"StringWriteBinaryLongWord(305419896)", "\x78\x56\x34\x12"sv},
  });
}

TEST_P(StringsFormula, WrongArgumentKindsAreInvalidParameters) {
  constexpr const char* kInvalid = "Invalid parameters";
  EvaluateOnce(ev_, "e := 0");
  EvaluateOnce(ev_, "text := \"a\"");
  EvaluateOnce(ev_, "number := 3");
  ExpectErrors({
      {"Pos(1, \"abc\", 1)", kInvalid},
      {"Pos(\"a\", 1, 1)", kInvalid},
      {"Pos(\"a\", \"abc\", \"1\")", kInvalid},
      {"Left(1, 1)", kInvalid},
      {"Left(\"abc\", TRUE)", kInvalid},
      {"Right(\"abc\", \"1\")", kInvalid},
      {"Mid(\"abc\", 1, [1])", kInvalid},
      {"Mid([1], 1, 1)", kInvalid},
      {"GetToken(text, 1)", kInvalid},
      {"GetToken(number, \";\")", kInvalid},
      {"Trim(3)", kInvalid},
      {"ConvertStringToNumber(3, \".\", e)", kInvalid},
      {"ConvertStringToNumber(\"3\", 0, e)", kInvalid},
      {"ConvertStringDateTimeToNumber(46347, e)", kInvalid},
      {"ConvertStringHexToInt(31, e)", kInvalid},
      {"StrChar(1, 1)", kInvalid},
      {"StrChar(\"abc\", \"1\")", kInvalid},
      {"StrLen([1,2])", kInvalid},
      {"StrComp(\"a\", 1)", kInvalid},
      {"StrLComp(\"a\", \"a\", \"1\")", kInvalid},
      {"StringWriteBinaryByte(\"a\")", kInvalid},
      {"StringWriteBinaryFloat64(TRUE)", kInvalid},
      {"StringWriteBinaryWord(\"\")", kInvalid},
  });
  ExpectErrors({
      {"Left(\"abc\", sqrt(-1))", "Invalid floating point operation"},
      {"Mid(\"abcdef\", 2, 1e300)", "Invalid floating point operation"},
      {"StringWriteBinaryInteger(1e300)", "Invalid floating point operation"},
      {"StringWriteBinaryWord([1, sqrt(-1)])", "Invalid floating point operation"},
  });
}

TEST_P(StringsFormula, AnEmptyVectorPacksToAnEmptyString) {
  TVXParsDouble empty = TVXParsDouble::FromVector({});
  ev_.DefineVariable("empty", &empty, "", "");
  for (const char* formula : {"StringWriteBinaryWord(empty)", "StringWriteBinaryFloat64(empty)"}) {
    const TVXParsDouble result = EvaluateOnce(ev_, formula);
    EXPECT_EQ(result.VarType, vtString);
    EXPECT_EQ(result.StrValue, "");
  }
}

TEST(StringsFormulaErrors, AWrongKindDoesNotTouchTheErrorVariable) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "e := 5");
  EXPECT_THROW(EvaluateOnce(ev, "ConvertStringToNumber(3, \".\", e)"), EVXParserException);
  EXPECT_EQ(EvaluateOnce(ev, "e").Value, 5);
}

TEST(StringsFormulaSeparator, AnEmptySeparatorMeansTheEvaluatorsOwn) {
  TVXExpressionEvaluator ev(',');
  EXPECT_EQ(EvaluateOnce(ev, "ConvertStringToNumber(\"2,5\"; \"\"; e)").Value, 2.5);
  EXPECT_EQ(EvaluateOnce(ev, "e").Value, 0);
  EXPECT_EQ(EvaluateOnce(ev, "ConvertStringToNumber(\"2.5\"; \".\"; e)").Value, 2.5);
  EXPECT_EQ(EvaluateOnce(ev, "ConvertStringToNumber(\"2.5\"; \"\"; e)").Value, 0);
  EXPECT_EQ(EvaluateOnce(ev, "e").Value, 1);
}

}  // namespace
}  // namespace loom
