// The fast path of arithmetic formulas must compute exactly what the linear list computes, for
// every mix of numbers, vectors and other kinds, errors and assignments included.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "engine/Sections.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

// The inputs a formula sees; each setup is a list of assignments run before it.
const char* const kSetups[] = {
    "a := 1.5\nb := -2\nc := 0.25\nd := 3\ne := 7",                               // numbers
    "a := [1, 2, 3]\nb := [4, 5, 6]\nc := [0.5, 0, -1]\nd := 2\ne := [1, 1, 2]",  // vectors
    "a := [1, 2, 3]\nb := 2\nc := [2, 3]\nd := 1\ne := 1",                        // lengths differ
    "a := []\nb := []\nc := 1\nd := []\ne := 2",                                  // empty vectors
    "a := \"x\"\nb := 1\nc := 2\nd := 3\ne := 4",                                 // a string
    "a := 1\nb := [1, 2]\nc := 1\nd := 1\ne := 1",                                // mixed
    "Ramp(a, 0, 1, 257)\nb := a * 0.5\nc := 3\nd := 1\ne := a + 1",  // beyond one block
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
    "sqrt(a*b) - (a-b)/(c+d) + max(a/e, c*d) + y*-(a+e)",
    "intpower(a, b) + a^2",
    "a^3 - b^-2 + c^4 * d^0 + e^1 - a^-1",
    "intpower(d + 1, d)",  // a variable exponent, fixed by nothing
    "y := intpower(a, 0/0)",
    "y := e ^ b",
    "degtorad(radtodeg(a)) + tanh(b) + arcsinh(c) + arctan2(1, 2)"};

// What one formula gives after setup, evaluated twice (so that buffers kept from the first run
// are used by the second), and the variables afterwards; with or without the fast path. The
// formula is compiled and run on numbers first, so the setup changes the kinds of values the
// compiled formula has already read.
std::string Observed(bool useKernels, const std::string& setup, const std::string& formula,
                     bool* tookFastPath = nullptr) {
  TVXExpressionEvaluator evaluator;
  evaluator.SetUseKernels(useKernels);
  Outcome(evaluator, std::string(kSetups[0]) + "\ny := 0");
  std::string outcome;
  int index = -1;
  try {
    index = evaluator.AddExpression(formula);
    if (tookFastPath) *tookFastPath = evaluator.GetCompiled(index).Program != nullptr;
    outcome = Shown(evaluator.GetResults(index)) + " |";
  } catch (const EVXParserException& error) {
    outcome = std::string(error.what()) + " |";
  }
  Outcome(evaluator, setup);
  try {
    evaluator.GetResults(index);
    outcome += Shown(evaluator.GetResults(index));
  } catch (const EVXParserException& error) {
    outcome += error.what();
  }
  for (const char* name : {"a", "b", "c", "d", "e", "y"}) outcome += " " + Outcome(evaluator, name);
  return outcome;
}

TEST(Kernel, FastPathAndListAgreeForEveryKindOfInput) {
  for (const char* setup : kSetups)
    for (const char* formula : kFormulas)
      EXPECT_EQ(Observed(true, setup, formula), Observed(false, setup, formula))
          << setup << " | " << formula;
}

// Without this the test above would compare the list with itself.
TEST(Kernel, ArithmeticFormulasTakeTheFastPathAndOthersDoNot) {
  const std::pair<const char*, bool> rows[] = {
      {"y := (a+b)*(c-d)/e", true},
      {"\"s\" + a", true},  // a string constant leaves it at run time, not at compile time
      {"a div b", false},
      {"a + Random", false},
      {"(y := a) + 1", false},  // an assignment that is not the last operation
      {"If(a > 1)", false},
  };
  for (const auto& [formula, fast] : rows) {
    bool tookFastPath = false;
    Observed(true, kSetups[0], formula, &tookFastPath);
    EXPECT_EQ(tookFastPath, fast) << formula;
  }
}

// Sections whose arithmetic lines run as stretches: a stretch that a vector enters halfway,
// jumps into and out of stretches, and a line that raises inside one.
const char* const kSections[] = {
    "x := a + 1\ny := x * b\nz := y - c\ny := z / e",
    "x := a + 1\nx := [1, 2]\ny := x * b\nz := y - c",
    "n := 0\nWhile(n < 3)\nn := n + 1\ny := y + n * a\nIf(y > 4)\ny := y - b\nElse\n"
    "y := y * 2\nz := y + c\nEndIf\nWend\ny + z",
    "x := a * 2\ny := intpower(x, 0/0)\nz := 5",
    "x := a\ny := x + b\na := y * [2, 3]\nz := a + x\nz / 2",
    // a value written only in a branch that is jumped over keeps its kind
    "y := [1, 2]\nIf(a < -100)\ny := 5\nEndIf\nz := y + 1\nx := z * 2",
    // a line that raises after a jump: the line run before it is the one jumped from
    "If(a < -100)\nx := 1\nEndIf\ny := intpower(a, 0/0)\nz := 3",
    "If(a < -100)\nx := 1\nElse\nx := 2\nEndIf\ny := intpower(x, 0/0)",
    "n := 0\nRepeat\nn := n + 1\nUntil(n >= 3)\nn * a",
    "If(a)\nx := 1\nElse\nx := b\nEndIf\nIf(0/0)\nz := x + c\nEndIf\nIf(a * 0)\nz := 9\nEndIf",
    // conditions on the edges of the false band
    "If(c * 0 + 0.1)\nx := 1\nEndIf\nIf(c * 0 - 0.1)\nz := 2\nEndIf\nIf(c * 0 + 0.0999)\ny := "
    "3\nEndIf",
};

// Asks for stretches and suppresses every jump, as a host that is stopping does.
class NoJumps : public TVXSectionObserver {
 public:
  bool StopRecursion() override { return true; }
  bool EveryExpression() const override { return false; }
};

// A section's outcome (completed, the failing line and its message), its result and the
// variables afterwards, run twice so that the second run finds the first one's kinds.
// jumps, when given, replaces the paired jump table: (line, target) pairs within the section.
std::string SectionObserved(bool useKernels, const std::string& setup, const char* text,
                            TVXSectionObserver* observer,
                            const std::vector<std::pair<int, int>>* jumps = nullptr) {
  TVXExpressionEvaluator evaluator;
  evaluator.SetUseKernels(useKernels);
  Outcome(evaluator, setup + "\nx := 0\nz := 0\nn := 0\ny := 0");
  const int first = evaluator.GetExpressionCount();
  std::string outcome;
  try {
    const std::string lines(text);
    for (std::size_t start = 0, end = 0; start <= lines.size(); start = end + 1) {
      end = std::min(lines.find('\n', start), lines.size());
      evaluator.AddExpression(lines.substr(start, end - start));
    }
  } catch (const EVXParserException& error) {
    return error.what();
  }
  const int end = evaluator.GetExpressionCount();
  TVXJumpTable table =
      jumps ? TVXJumpTable(static_cast<std::size_t>(end), -1) : PairJumps(evaluator);
  if (jumps)
    for (const auto& [line, target] : *jumps) table[first + line] = first + target;
  TVXParsDouble result;
  for (int run = 0; run < 2; ++run) {
    const TVXSectionOutcome o = RunSection(evaluator, table, first, end, result, observer);
    outcome += std::to_string(o.Completed) + " " + std::to_string(o.FailedIndex - first) + " " +
               o.ErrorMessage + " " + Shown(result) + " |";
  }
  for (const char* name : {"a", "b", "c", "e", "x", "y", "z"})
    outcome += " " + Outcome(evaluator, name);
  return outcome;
}

TEST(Kernel, SectionsRunTheSameWithStretchesOfArithmeticLinesAndJumps) {
  NoJumps noJumps;
  for (TVXSectionObserver* observer :
       {static_cast<TVXSectionObserver*>(nullptr), static_cast<TVXSectionObserver*>(&noJumps)})
    for (const char* setup : kSetups)
      for (const char* section : kSections)
        EXPECT_EQ(SectionObserved(true, setup, section, observer),
                  SectionObserved(false, setup, section, observer))
            << setup << " | " << section << " | observer " << (observer != nullptr);
}

// A table of the runner's callers that is not paired: the If jumps over the line that makes y a
// number, onto a line that reads it. Stretches follow only jumps that land right after a jump
// command; this one must leave the stretch, so that y is checked where it is read.
TEST(Kernel, AJumpOntoAnOrdinaryLineLeavesTheStretch) {
  const char* section = "y := [1, 2]\nIf(a < -1000)\ny := 5\nz := y + 1\nx := z * 2";
  const std::vector<std::pair<int, int>> jumps = {{1, 3}};
  for (const char* setup : kSetups)
    EXPECT_EQ(SectionObserved(true, setup, section, nullptr, &jumps),
              SectionObserved(false, setup, section, nullptr, &jumps))
        << setup;
}

TEST(Kernel, AVectorRunThatFailsLeavesTheTargetUntouched) {
  // intpower rounds its exponent, which raises for NaN: the target must keep its old value.
  TVXExpressionEvaluator evaluator;
  Outcome(evaluator, "v := [1, 2, 3]\nn := 0/0\ny := [9, 9, 9]");
  const int index = evaluator.AddExpression("y := intpower(v, n)");
  ASSERT_NE(evaluator.GetCompiled(index).Program, nullptr);
  EXPECT_THROW(evaluator.GetResults(index), EVXParserException);
  EXPECT_EQ(Outcome(evaluator, "y"), "[ 9, 9, 9]");
}

}  // namespace
}  // namespace loom
