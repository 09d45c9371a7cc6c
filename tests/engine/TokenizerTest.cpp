// Scanning and the rewriting done by the syntax check: sign runs, repeated negation, integer
// powers, hexadecimal and decimal-comma literals, string literals, names and the end marker.
#include <gtest/gtest.h>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

// A run of signs collapses into one unary sign at the start and after "(", "[", "," or a binary
// operator, and stays binary after a postfix one. Of a run of "not" an even run vanishes and an
// odd one leaves one "not" (which works on the low byte of the rounded value, so only a vanished
// pair keeps 2.5), deliberately not after a separator. Hexadecimal literals are unsigned and at
// most 64 bits wide. Names match without regard to case; a backslash ends the formula.
TEST(Scanning, FormulaOutcomes) {
  TVXExpressionEvaluator evaluator;
  const OutcomeRow rows[] = {
      {"y := 4", "4"},     {"-+-+-3", "-3"},     {"2--3", "5"},          {"2 - - - 3", "-1"},
      {"-2^2", "4"},       {"3 - -y * 2", "11"}, {"max(-1, -2)", "-1"},  {"3!-1", "5"},
      {"50% - 1", "-0.5"}, {"a := 2.5", "2.5"},  {"not not a", "2.5"},   {"not not not a", "3"},
      {"$1A + 1", "27"},   {"-$10", "-16"},      {".5", "0.5"},          {"2.5E-1", "0.25"},
      {"007", "7"},        {"1e400", "inf"},     {"  1   +   2  ", "3"}, {"_my.v1 := 4", "4"},
      {"_MY.V1", "4"},
  };
  const OutcomeRow rowsLong[] = {
      {"[-1, +2] * 1", "[ -1, 2]"},      {"1 + (not not a)", "3.5"},
      {"max(1, not not a)", "2"},        {"$FFFFFFFFFFFFFFFF", "18446744073709551616"},
      {"\"#;'@ \\\"", "\"#;'@ \\\""},    {"SIN(0) + Sin(0) + PI", "3.141592653589793"},
      {"2 * 3 \\ # never scanned", "6"},
  };
  ExpectOutcomes(evaluator, rows);
  ExpectOutcomes(evaluator, rowsLong);
  EXPECT_EQ(Outcome(evaluator, "$1FFFFFFFFFFFFFFFF"),
            "$1FFFFFFFFFFFFFFFF: \"$1FFFFFFFFFFFFFFFF\" is not a valid number");
}

TEST(Scanning, DecimalCommaTakesTheSemicolonAsListSeparator) {
  TVXExpressionEvaluator evaluator(',');
  EXPECT_EQ(evaluator.ListSeparator(), ';');
  EXPECT_EQ(Outcome(evaluator, "1,5 + ,25 + Clamp(7; 1; 5)"), "6.75");
  EXPECT_EQ(Outcome(evaluator, "max(1,2)"), "max(1,2): function or operand has too few arguments");
}

// Signs, repeated "not" and the integer power (for an integer literal only) are rewritten
// before the tree is built; a bracket keeps signs apart.
TEST(Scanning, RewrittenForms) {
  TVXExpressionEvaluator evaluator;
  Evaluated(evaluator, "x := 3");
  const OutcomeRow rows[] = {
      {"x^2", "^@ (x, 2)"},      {"x^2.0", "^ (x, 2)"},        {"x^pi", "^ (x, pi)"},
      {"x^(2)", "^ (x, 2)"},     {"- - x", "+@ (x)"},          {"-(-x)", "-@ (x); -@ (#0)"},
      {"not not x", "load (x)"}, {"not not not x", "not (x)"},
  };
  for (const OutcomeRow& row : rows) EXPECT_EQ(Compiled(evaluator, row.formula), row.outcome);
  ExpectOutcomes(evaluator, {{"x^2", "9"}, {"x^2.0", "9"}, {"x^-1", "0.3333333333333333"}});
}

TEST(Scanning, EmptyTextGivesNoExpressionAndUnknownNamesBecomeVariables) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(evaluator.AddExpression("1"), 0);
  EXPECT_EQ(evaluator.AddExpression(""), -1);
  EXPECT_EQ(evaluator.CurrentIndex(), -1);
  EXPECT_EQ(evaluator.GetExpressionCount(), 1);
  EXPECT_EQ(evaluator.Words().Find("fresh"), nullptr);
  ExpectOutcomes(evaluator, {{"fresh + 1", "1"}, {"Fresh := 3", "3"}, {"FRESH", "3"}});
  EXPECT_NE(dynamic_cast<TVXParsGeneratedVariable*>(evaluator.Words().Find("fresh")), nullptr);
}

}  // namespace
}  // namespace loom
