// Every compile-time message, each produced by a formula, with its exact text. A failed
// compilation leaves nothing behind in the expression list.
#include <gtest/gtest.h>

#include <string>

#include "engine/Messages.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using testing::CompileError;

struct ErrorRow {
  const char* formula;
  const char* message;
};

void ExpectErrors(TVXExpressionEvaluatorBase& evaluator, const ErrorRow* rows, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) {
    const int before = evaluator.GetExpressionCount();
    EXPECT_EQ(CompileError(evaluator, rows[i].formula), rows[i].message)
        << "formula: " << rows[i].formula;
    EXPECT_EQ(evaluator.GetExpressionCount(), before) << "formula: " << rows[i].formula;
  }
}

TEST(CompileErrors, Scanner) {
  TVXExpressionEvaluator evaluator;
  const ErrorRow rows[] = {
      {"1+#", "1+#: illegal character \"#\""},
      {"a ? b", "a ? b: illegal character \"?\""},
      {"x := 'a'", "x := 'a': illegal character \"'\""},
      {"@", "@: illegal character \"@\""},
      {"{1}", "{1}: illegal character \"{\""},
      {"1;2", "1;2: illegal character \";\""},
      {"1\t+ 2", "1\t+ 2: illegal character \"\t\""},
      {"1e", "1e: \"1e\" is not a valid number"},
      {"2 * 1e+", "2 * 1e+: \"1e+\" is not a valid number"},
      {"\"ab", "\"ab: string is not closed: \"ab"},
  };
  ExpectErrors(evaluator, rows, std::size(rows));
}

TEST(CompileErrors, BracketBalanceComesFirstAndHasNoExpressionText) {
  TVXExpressionEvaluator evaluator;
  const ErrorRow rows[] = {
      {"(1+2", "Unbalanced brackets"},  {"1+2)", "Unbalanced brackets"},
      {"((1)", "Unbalanced brackets"},  {"sin(1", "Unbalanced brackets"},
      {"3 4 (", "Unbalanced brackets"},
  };
  ExpectErrors(evaluator, rows, std::size(rows));
}

TEST(CompileErrors, SyntaxCheck) {
  TVXExpressionEvaluator evaluator;
  const ErrorRow rows[] = {
      {"3 4", "3 4: two successive variables/constants \"3\""},
      {"a b", "a b: two successive variables/constants \"a\""},
      {"1 + pi 2", "1 + pi 2: two successive variables/constants \"pi\""},
      {"foo(1)", "foo(1): unknown function \"foo\""},
      {"2 * bar(1, 2)", "2 * bar(1, 2): unknown function \"bar\""},
      {"()", "(): empty brackets \"()\""},
      {"sin()", "sin(): empty brackets \"()\""},
      {"1)+(", "1)+(: empty brackets \"()\""},
      {"(1)(2)", "(1)(2): missing operand between brackets \")(\""},
      {"(1)2", "(1)2: missing operand between bracket \")\" and constant/variable"},
      {"(1) pi", "(1) pi: missing operand between bracket \")\" and constant/variable"},
      {"2(1)", "2(1): missing operand between constant/variable and bracket \"(\""},
      {"pi(2)", "pi(2): missing operand between constant/variable and bracket \"(\""},
      // Operator-like tokens that are no word of the language become variables.
      {"1 =< 2", "1 =< 2: two successive variables/constants \"1\""},
      {"1 == 2", "1 == 2: two successive variables/constants \"1\""},
      {"a && b", "a && b: two successive variables/constants \"a\""},
  };
  ExpectErrors(evaluator, rows, std::size(rows));
}

TEST(CompileErrors, DecimalCommaMakesCommaPartOfANumber) {
  TVXExpressionEvaluator evaluator(',');
  const ErrorRow rows[] = {
      {"max(1,2)", "max(1,2): function or operand has too few arguments"},
      {"1,5,5", "1,5,5: two successive variables/constants \"1,5\""},
  };
  ExpectErrors(evaluator, rows, std::size(rows));
}

TEST(CompileErrors, TreeBuildingAndArguments) {
  TVXExpressionEvaluator evaluator;
  const ErrorRow rows[] = {
      {"max(1)", "max(1): function or operand has too few arguments"},
      {"Clamp(1, 2)", "Clamp(1, 2): function or operand has too few arguments"},
      {"sin(1, 2)", "sin(1, 2): function \"sin\" has too many arguments\""},
      {"max(1, 2, 3)", "max(1, 2, 3): function \"max\" has too many arguments\""},
      {"1+", "1+: Can not find operand/function \"+\""},
      {"2*", "2*: Can not find operand/function \"*\""},
      {"pi := 3", "pi := 3: \"pi\" is not a variable and cannot be assigned"},
      {"TRUE := 0", "TRUE := 0: \"TRUE\" is not a variable and cannot be assigned"},
  };
  ExpectErrors(evaluator, rows, std::size(rows));
}

TEST(CompileErrors, SyntaxErrorWhenNoOperatorJoinsTheParts) {
  TVXExpressionEvaluator evaluator;
  const std::string message = CompileError(evaluator, "1 sin(2)");
  EXPECT_EQ(message.rfind("1 sin(2): syntax error in expression \"", 0), 0u) << message;
  EXPECT_EQ(message.back(), '"') << message;
}

bool EndsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

TEST(CompileErrors, FormulaTooLong) {
  TVXExpressionEvaluator evaluator;
  std::string text = "1";
  while (text.size() <= kMaxFormulaLength) text += "+1";
  // Only the beginning of so long a text is quoted.
  EXPECT_EQ(CompileError(evaluator, text), text.substr(0, 80) + "...: formula is longer than " +
                                               std::to_string(kMaxFormulaLength) + " characters");
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
}

TEST(CompileErrors, NestedTooDeeply) {
  TVXExpressionEvaluator evaluator;
  const std::string expected =
      ": formula is nested more than " + std::to_string(kMaxNestingDepth) + " levels deep";
  const int depth = kMaxNestingDepth + 50;
  const std::string brackets = std::string(depth, '(') + "1" + std::string(depth, ')');
  const std::string bracketMessage = CompileError(evaluator, brackets);
  EXPECT_TRUE(EndsWith(bracketMessage, expected)) << bracketMessage.substr(0, 300);
  EXPECT_EQ(bracketMessage.rfind("(((", 0), 0u);

  std::string calls;
  for (int i = 0; i < depth; ++i) calls += "sin(";
  calls += "x" + std::string(depth, ')');
  const std::string callMessage = CompileError(evaluator, calls);
  EXPECT_TRUE(EndsWith(callMessage, expected)) << callMessage.substr(0, 300);
  EXPECT_EQ(callMessage.rfind("sin(sin(", 0), 0u);
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
}

// Messages begin with the text of the expression being compiled, however long it is.
TEST(CompileErrors, LongExpressionTextAppearsWholeInMessages) {
  TVXExpressionEvaluator evaluator;
  std::string text = "1";
  while (text.size() < 300) text += " + 1";
  text += " + #";
  EXPECT_EQ(CompileError(evaluator, text), text + ": illegal character \"#\"");
}

TEST(CompileErrors, ModerateNestingCompiles) {
  TVXExpressionEvaluator evaluator;
  const int depth = 200;
  const std::string brackets = std::string(depth, '(') + "1+x" + std::string(depth, ')');
  EXPECT_EQ(testing::Number(evaluator, brackets), 1.0);
}

TEST(CompileErrors, NotBooleanIsRaisedWhenAConditionIsTaken) {
  TVXExpressionEvaluator evaluator;
  evaluator.AddExpression("x := 1");
  const int lone = evaluator.AddExpression("x");
  const int sum = evaluator.AddExpression("x + 1");
  const int constant = evaluator.AddExpression("pi");
  struct Row {
    int index;
    const char* message;
  };
  const Row rows[] = {{lone, "x: expression is not boolean"},
                      {sum, "x + 1: expression is not boolean"},
                      {constant, "pi: expression is not boolean"}};
  for (const Row& row : rows) {
    try {
      evaluator.GetAsBoolean(row.index);
      ADD_FAILURE() << row.message;
    } catch (const EVXParserException& e) {
      EXPECT_STREQ(e.what(), row.message);
    }
  }
}

TEST(CompileErrors, EvaluatorStaysUsableAfterAnError) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(evaluator.AddExpression("1 + 1"), 0);
  EXPECT_NE(CompileError(evaluator, "1 +"), "<compiled>");
  EXPECT_NE(CompileError(evaluator, "(1"), "<compiled>");
  EXPECT_EQ(evaluator.AddExpression("2 * 3"), 1);
  EXPECT_EQ(evaluator.GetResults(1).Value, 6.0);
  EXPECT_EQ(evaluator.GetResults(0).Value, 2.0);
  EXPECT_EQ(evaluator.GetExpression(1), "2 * 3");
}

}  // namespace
}  // namespace loom

namespace loom {
namespace {

// A function that writes into an argument refuses a constant there, so named constants and
// literals keep their values.
TEST(CompileErrors, ConstantsCannotReceiveResults) {
  TVXExpressionEvaluator evaluator;
  const struct {
    const char* formula;
    const char* message;
  } rows[] = {
      {"Ramp(pi, 0, 1, 3)",
       "Ramp(pi, 0, 1, 3): argument 1 of \"Ramp\" receives a result and cannot be a constant"},
      {"InRange(1, 0, 2, pi)",
       "InRange(1, 0, 2, pi): argument 4 of \"InRange\" receives a result and cannot be a "
       "constant"},
      // [1] becomes a constant when folded; appending to it would grow it every evaluation.
      {"VectorAppend([1], x)",
       "VectorAppend([1], x): argument 1 of \"VectorAppend\" receives a result and cannot be a "
       "constant"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.formula);
    EXPECT_EQ(CompileError(evaluator, row.formula), row.message);
  }
  EXPECT_EQ(evaluator.Evaluate("pi").Value, 3.141592653589793);
  // Variables and results of other operations may receive results.
  EXPECT_EQ(ParsDoubleAsString(evaluator.Evaluate("Ramp(v, 0, 1, 3)")), "0");
  EXPECT_EQ(ParsDoubleAsString(evaluator.Evaluate("v")), "[ 0, 1, 2]");
}

}  // namespace
}  // namespace loom
