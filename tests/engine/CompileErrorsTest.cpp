// Every compile-time message, each produced by a formula, with its exact text. A failed
// compilation leaves nothing behind in the expression list.
#include <gtest/gtest.h>

#include <string>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

TEST(CompileErrors, ExactMessages) {
  TVXExpressionEvaluator evaluator;
  const OutcomeRow rows[] = {
      // scanning
      {"1+#", "1+#: illegal character \"#\""},
      {"1\t+ 2", "1\t+ 2: illegal character \"\t\""},  // only the blank is white space
      {"2 * 1e+", "2 * 1e+: \"1e+\" is not a valid number"},
      {"\"ab", "\"ab: string is not closed: \"ab"},
      // bracket balance comes first and names no expression
      {"(1+2", "Unbalanced brackets"},
      {"3 4 (", "Unbalanced brackets"},
      // the syntax check
      {"3 4", "3 4: two successive variables/constants \"3\""},
      {"1 + pi 2", "1 + pi 2: two successive variables/constants \"pi\""},
      {"2 * bar(1, 2)", "2 * bar(1, 2): unknown function \"bar\""},
      {"sin()", "sin(): empty brackets \"()\""},
      {"1)+(", "1)+(: empty brackets \"()\""},
      {"(1)(2)", "(1)(2): missing operand between brackets \")(\""},
      {"(1) pi", "(1) pi: missing operand between bracket \")\" and constant/variable"},
      {"pi(2)", "pi(2): missing operand between constant/variable and bracket \"(\""},
      // operator-like tokens that are no word of the language become variables
      {"a && b", "a && b: two successive variables/constants \"a\""},
      // tree building and arguments
      {"Clamp(1, 2)", "Clamp(1, 2): function or operand has too few arguments"},
      {"max(1, 2, 3)", "max(1, 2, 3): function \"max\" has too many arguments\""},
      {"2*", "2*: Can not find operand/function \"*\""},
      {"pi := 3", "pi := 3: \"pi\" is not a variable and cannot be assigned"},
      // a function that writes into an argument refuses a constant there
      {"Ramp(pi, 0, 1, 3)",
       "Ramp(pi, 0, 1, 3): argument 1 of \"Ramp\" receives a result and cannot be a constant"},
      {"FileSize(h, FILE_END)",
       "FileSize(h, FILE_END): argument 2 of \"FileSize\" receives a result and cannot be a "
       "constant"},
      // [1] becomes a constant when folded; appending to it would grow it every evaluation
      {"VectorAppend([1], x)",
       "VectorAppend([1], x): argument 1 of \"VectorAppend\" receives a "
       "result and cannot be a constant"},
      // a line is paired as one jump command
      {"If(a) + While(b)",
       "If(a) + While(b): a line holds at most one jump command, \"While\" is a second one"},
      {"If(Until(b))",
       "If(Until(b)): a line holds at most one jump command, \"Until\" is a "
       "second one"},
      // a constant expression that fails at run time fails while it is folded
      {"[1, 2] + [1, 2, 3]", "vector sizes are not matched"},
  };
  for (const OutcomeRow& row : rows) {
    EXPECT_EQ(Outcome(evaluator, row.formula), row.outcome) << row.formula;
    EXPECT_EQ(evaluator.GetExpressionCount(), 0) << row.formula;
  }
  const std::string message = Outcome(evaluator, "1 sin(2)");
  EXPECT_EQ(message.rfind("1 sin(2): syntax error in expression \"", 0), 0u) << message;
  // Messages begin with the whole text of the expression, however long it is.
  std::string text = std::string(300, '1') + " + #";
  EXPECT_EQ(Outcome(evaluator, text), text + ": illegal character \"#\"");
  // The evaluator stays usable, and variables may receive results.
  EXPECT_EQ(Outcome(evaluator, "Ramp(v, 0, 1, 3) + VectorGetSize(v)"), "3");
  EXPECT_EQ(evaluator.GetExpression(0), "Ramp(v, 0, 1, 3) + VectorGetSize(v)");
}

TEST(CompileErrors, Limits) {
  TVXExpressionEvaluator evaluator;
  std::string text = "1";
  while (text.size() <= kMaxFormulaLength) text += "+1";
  // Only the beginning of so long a text is quoted.
  EXPECT_EQ(Outcome(evaluator, text), text.substr(0, 80) + "...: formula is longer than " +
                                          std::to_string(kMaxFormulaLength) + " characters");
  const std::string nested =
      ": formula is nested more than " + std::to_string(kMaxNestingDepth) + " levels deep";
  const int depth = kMaxNestingDepth + 50;
  std::string calls;
  for (int i = 0; i < depth; ++i) calls += "sin(";
  calls += "x" + std::string(depth, ')');
  for (const std::string& deep : {std::string(depth, '(') + "1" + std::string(depth, ')'), calls})
    EXPECT_EQ(Outcome(evaluator, deep), deep + nested);
  // A chain of operators (1+1+...) is bounded as well; the exact boundary is the tree
  // builder's to keep, so only clear cases are pinned here.
  std::string chain = "1";
  for (int i = 0; i < kMaxChainLength; ++i) chain += "+1";
  EXPECT_EQ(Outcome(evaluator, chain + "+1"), chain + "+1: formula chains more than " +
                                                  std::to_string(kMaxChainLength) + " operators");
  EXPECT_EQ(evaluator.GetExpressionCount(), 0);
  chain.resize(kMaxChainLength + 1);  // half as many operators
  EXPECT_EQ(Outcome(evaluator, chain), std::to_string(kMaxChainLength / 2 + 1));
  EXPECT_EQ(Outcome(evaluator, std::string(200, '(') + "1+x" + std::string(200, ')')), "1");
}

TEST(CompileErrors, NotBooleanIsRaisedWhenAConditionIsTaken) {
  TVXExpressionEvaluator evaluator;
  try {
    evaluator.GetAsBoolean(evaluator.AddExpression("x + 1"));
    ADD_FAILURE() << "no error";
  } catch (const EVXParserException& e) {
    EXPECT_STREQ(e.what(), "x + 1: expression is not boolean");
  }
}

}  // namespace
}  // namespace loom
