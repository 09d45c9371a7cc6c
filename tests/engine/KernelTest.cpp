// The fast path of arithmetic formulas must compute exactly what the linear list computes, for
// every mix of numbers, vectors and other kinds, errors and assignments included.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "functions/Registry.h"

namespace loom {
namespace {

// What an evaluation leaves behind: its result or error, and the variables afterwards.
struct Outcome {
  std::string result;
  std::string error;
  std::vector<std::string> variables;
};

// The inputs a formula sees; each setup is a list of assignments run before it.
const char* const kSetups[] = {
    "a := 1.5; b := -2; c := 0.25; d := 3; e := 7",                               // numbers
    "a := [1, 2, 3]; b := [4, 5, 6]; c := [0.5, 0, -1]; d := 2; e := [1, 1, 2]",  // vectors
    "a := [1, 2, 3]; b := 2; c := [2, 3]; d := 1; e := 1",                        // lengths differ
    "a := []; b := []; c := 1; d := []; e := 2",                                  // empty vectors
    "a := \"x\"; b := 1; c := 2; d := 3; e := 4",                                 // a string
    "a := 1; b := [1, 2]; c := 1; d := 1; e := 1",                                // mixed
    "Ramp(a, 0, 1, 257); b := a * 0.5; c := 3; d := 1; e := a + 1",  // beyond one block
};

const char* const kFormulas[] = {
    "a+b*c",
    "a / b",
    "(a+b)*(c-d)/e",
    "sin(a)*cos(b)+sqrt(abs(c))",
    "-a + +b - c%",
    "a^2 + b^0.5 - c^-1",
    "max(a, b) - min(c, d)",
    "y := a + b*c",
    "a := a * 2 + 1",
    "y := a",
    "y := -a",
    "a > b",
    "a >= b + 1e-31",
    "(a = b) + (a <> c)",
    "exp(ln(abs(a) + 1)) + log10(d) + sqr(e) + frac(c) + trunc(b) + round(c)",
    "a ^ b",
    "intpower(a, b) + a^2",
    "y := e ^ b",
    "degtorad(radtodeg(a)) + tanh(b) + arcsinh(c) + arctan2(1, 2)"};

std::vector<std::string> Split(const std::string& text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find("; ", start);
    if (end == std::string::npos) end = text.size();
    parts.push_back(text.substr(start, end - start));
    start = end + 2;
  }
  return parts;
}

Outcome Evaluate(bool useKernels, const std::string& setup, const std::string& formula, int times,
                 bool* tookFastPath = nullptr) {
  TVXExpressionEvaluator evaluator;
  evaluator.UseKernels = useKernels;
  for (const std::string& line : Split(setup)) evaluator.Evaluate(line);
  evaluator.Evaluate("y := 0");
  Outcome outcome;
  try {
    const int index = evaluator.AddExpression(formula);
    if (tookFastPath) *tookFastPath = evaluator.GetCompiled(index).Program != nullptr;
    TVXParsDouble result;
    for (int i = 0; i < times; ++i) evaluator.GetResults(index, result);
    outcome.result = std::to_string(result.VarType) + ":" + ParsDoubleAsString(result);
  } catch (const EVXParserException& error) {
    outcome.error = error.what();
  }
  for (const char* name : {"a", "b", "c", "d", "e", "y"}) {
    TVXParsDouble value = evaluator.Evaluate(name);
    outcome.variables.push_back(std::to_string(value.VarType) + ":" + ParsDoubleAsString(value));
  }
  return outcome;
}

TEST(Kernel, FastPathAndListAgreeForEveryKindOfInput) {
  for (const char* setup : kSetups) {
    for (const char* formula : kFormulas) {
      SCOPED_TRACE(std::string(setup) + " | " + formula);
      // Twice, so that buffers kept from the first run are exercised by the second.
      const Outcome fast = Evaluate(true, setup, formula, 2);
      const Outcome list = Evaluate(false, setup, formula, 2);
      EXPECT_EQ(fast.result, list.result);
      EXPECT_EQ(fast.error, list.error);
      EXPECT_EQ(fast.variables, list.variables);
    }
  }
}

// Without this the test above would compare the list with itself.
TEST(Kernel, ArithmeticFormulasTakeTheFastPathAndOthersDoNot) {
  const std::pair<const char*, bool> rows[] = {
      {"y := (a+b)*(c-d)/e", true}, {"a > b", true},
      {"\"s\" + a", true},  // a string constant leaves it at run time, not at compile time
      {"a div b", false},           {"a + Random", false},
      {"(y := a) + 1", false},  // an assignment that is not the last operation
      {"If(a > 1)", false},
  };
  for (const auto& [formula, fast] : rows) {
    bool tookFastPath = false;
    Evaluate(true, kSetups[0], formula, 1, &tookFastPath);
    EXPECT_EQ(tookFastPath, fast) << formula;
  }
}

TEST(Kernel, AVectorRunThatFailsLeavesTheTargetUntouched) {
  // intpower rounds its exponent, which raises for NaN: the target must keep its old value.
  TVXExpressionEvaluator evaluator;
  evaluator.Evaluate("v := [1, 2, 3]");
  evaluator.Evaluate("n := 0/0");
  evaluator.Evaluate("y := [9, 9, 9]");
  const int index = evaluator.AddExpression("y := intpower(v, n)");
  ASSERT_NE(evaluator.GetCompiled(index).Program, nullptr);
  EXPECT_THROW(evaluator.GetResults(index), EVXParserException);
  EXPECT_EQ(ParsDoubleAsString(evaluator.Evaluate("y")), "[ 9, 9, 9]");
}

}  // namespace
}  // namespace loom
