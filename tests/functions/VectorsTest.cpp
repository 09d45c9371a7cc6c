// Vector functions, driven through the evaluator: statistics, element access, reshaping, range
// tests, peak holding, the filters whose state lives in a formula variable, matrix channels.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "engine/ParserClasses.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"

namespace loom {
namespace {

// What a formula gives, exactly: a number in shortest round-trip form ("0.75", "-inf"), a vector
// as printed ("[ 1, 2]", "]" if empty), another kind tagged with its number, or the error message.
std::string Outcome(TVXExpressionEvaluator& ev, const std::string& formula) {
  try {
    const TVXParsDouble result = EvaluateOnce(ev, formula);
    if (result.VarType == vtVector) return ParsDoubleAsString(result);
    if (result.VarType != vtDouble)
      return "kind " + std::to_string(result.VarType) + ": " + ParsDoubleAsString(result);
    char text[32];
    return std::string(text, std::to_chars(text, text + sizeof text, result.Value).ptr);
  } catch (const EVXParserException& e) {
    return e.what();
  }
}

// A script: each formula runs in turn in the same evaluator and must give its outcome.
struct Row {
  const char* formula;
  const char* outcome;
};

// A formula, its outcome and what a variable holds afterwards.
struct Step {
  const char* formula;
  const char* outcome;
  const char* after;
};

// An evaluator with an input variable x and a state variable s that a test may also set directly.
class VectorsScript : public ::testing::Test {
 protected:
  VectorsScript() {
    ev_.DefineVariable("x", &x_, "", "");
    ev_.DefineVariable("s", &s_, "", "");
  }
  void Expect(std::initializer_list<Row> rows) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.formula);
      EXPECT_EQ(Outcome(ev_, row.formula), row.outcome);
    }
  }
  // Each step runs after reset (if any); then variable must hold what the step says (if anything).
  template <std::size_t N>
  void ExpectSteps(const char* variable, const char* reset, const Step (&steps)[N]) {
    for (const Step& step : steps) {
      SCOPED_TRACE(step.formula);
      if (reset != nullptr) EvaluateOnce(ev_, reset);
      EXPECT_EQ(Outcome(ev_, step.formula), step.outcome);
      if (step.after != nullptr) {
        EXPECT_EQ(Outcome(ev_, variable), step.after);
      }
    }
  }

  TVXExpressionEvaluator ev_;
  TVXParsDouble x_;
  TVXParsDouble s_;
};

// Stateless tables run twice: folded at compile time and evaluated at run time.
class VectorsFormula : public VectorsScript, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { ev_.ConstantFolding = GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Folding, VectorsFormula, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Folded" : "Unfolded"; });

// --- statistics and element access ---

TEST_P(VectorsFormula, StatisticsOfVectorsNumbersAndEmptyVectors) {
  Expect({
      {"VectorGetFirstValue([4,5,6])", "4"},
      {"VectorGetLastValue([4,5,6])", "6"},
      {"VectorGetRMS([1,7])", "5"},
      {"VectorGetRMS([-2])", "2"},
      {"VectorGetSum([])", "0"},
      {"VectorGetMinimumValue([3,-1,2])", "-1"},
      {"VectorGetMaximumValue([3,-1,2])", "3"},
      {"VectorGetSize([1,2,3])", "3"},
      {"VectorGetSize([])", "0"},
      // Sums accumulate in long double: 1e18 + 1 is lost in double.
      {"VectorGetSum([1e18, 1, -1e18])", "1"},
      {"VectorGetMean([1e18, 1, -1e18, 2])", "0.75"},
      // Positions name the first extreme; an empty vector gives 0.
      {"VectorGetMaximumPosition([1,3,3])", "1"},
      {"VectorGetMinimumPosition([3,-1,-1])", "1"},
      {"VectorGetMinimumPosition([])", "0"},
      {"VectorGetMaximumPosition([])", "0"},
      // The sample deviation; a single element comes back rounded (ties to even).
      {"VectorGetDeviation([2.5])", "2"},
      {"VectorGetDeviation([3.5])", "4"},
      {"VectorGetDeviation([-2.6])", "-3"},
      {"VectorGetDeviation([0.1,0.1,0.1])", "0"},
      {"VectorGetDeviation([1000000001, 1000000002, 1000000003])", "1"},
      // A number argument stands for itself, sign and all.
      {"VectorGetRMS(-3)", "-3"},
      {"VectorGetDeviation(5)", "0"},
      {"VectorGetMinimumPosition(5)", "0"},
      {"VectorGetSize(5)", "0"},
      // Empty vectors have no first, last, extreme or mean.
      {"VectorGetFirstValue([])", "VectorGetFirstValue: the vector is empty"},
      {"VectorGetLastValue([])", "VectorGetLastValue: the vector is empty"},
      {"VectorGetMean([])", "VectorGetMean: the vector is empty"},
      {"VectorGetRMS([])", "VectorGetRMS: the vector is empty"},
      {"VectorGetDeviation([])", "VectorGetDeviation: the vector is empty"},
      {"VectorGetMinimumValue([])", "VectorGetMinimumValue: the vector is empty"},
      {"VectorGetMaximumValue([])", "VectorGetMaximumValue: the vector is empty"},
  });
}

// Indices are checked unrounded (up to n - 0.4 passes), then rounded ties to even.
TEST_P(VectorsFormula, GetValueNeverReadsPastTheEnd) {
  Expect({
      {"VectorGetValue([5,6,7], 2.4)", "7"},
      {"VectorGetValue([5,6,7], 1.5)", "7"},
      {"VectorGetValue([5,6,7], 0.5)", "5"},
      {"VectorGetValue([5,6,7], 3)", "0"},
      {"VectorGetValue([5,6,7], 2.6)", "0"},  // passes the check, rounds to 3
      {"VectorGetValue([5,6,7], -0.1)", "0"},
      {"VectorGetValue([5,6,7], 0/0)", "0"},
      {"VectorGetValue([5,6,7], 1e300)", "0"},
      {"VectorGetValue([], 0)", "0"},
      {"VectorGetValue(4, 0)", "0"},
  });
}

// --- building and reshaping ---

TEST_P(VectorsFormula, ConstantsCopiesAndResamples) {
  Expect({
      {"[1, 2.5, -3]", "[ 1, 2.5, -3]"},
      {"[]", "]"},
      // A vector argument contributes its number field (0), not its elements.
      {"[[1,2], 3]", "[ 0, 3]"},
      // Copy clamps the range to the vector.
      {"VectorCopy([1,2,3,4], 2, 10)", "[ 3, 4]"},
      {"VectorCopy([1,2,3,4], -1, 2)", "[ 1, 2]"},
      {"VectorCopy([1,2,3,4], 0.5, 1.5)", "[ 1, 2]"},
      {"VectorCopy([1,2,3,4], 4, 1)", "]"},
      {"VectorCopy([1,2,3,4], 0, 1e300)", "[ 1, 2, 3, 4]"},
      {"VectorCopy([1,2,3,4], -1e300, 1)", "[ 1]"},
      {"VectorCopy([1,2,3,4], 1, -3)", "]"},
      {"VectorCopy([], 0, 3)", "]"},
      // Resample takes the nearest lower element.
      {"VectorResample([1,2,3,4], 2)", "[ 1, 3]"},
      {"VectorResample(7, 3)", "[ 7, 7, 7]"},
      {"VectorResample([1,2], 4)", "[ 1, 1, 2, 2]"},
      {"VectorResample([1,2,3], 2)", "[ 1, 2]"},
      {"VectorResample([], 0)", "]"},
      {"VectorResample([1,2,3], 1.5)", "[ 1, 2]"},
  });
}

TEST_P(VectorsFormula, SizesAndLengthsAreBoundedAndArgumentsChecked) {
  Expect({
      {"VectorSetSize(v, 1e15)", "VectorSetSize: a vector may hold at most 134217728 elements"},
      {"VectorSetSize(v, -1)", "VectorSetSize: the number of elements must not be negative"},
      {"VectorSetSize(v, 0/0)", "Invalid floating point operation"},
      {"Ramp(r, 0, 1, 1e12)", "Ramp: a vector may hold at most 134217728 elements"},
      {"Ramp(r, 0, 1, 1/0)", "Ramp: a vector may hold at most 134217728 elements"},
      {"Ramp(r, 0, 1, -2)", "Ramp: the number of elements must not be negative"},
      {"VectorResample(1, 134217729)",
       "VectorResample: a vector may hold at most 134217728 elements"},
      {"VectorResample([1], -2)", "VectorResample: the number of elements must not be negative"},
      {"VectorResample([], 2)", "VectorResample: the vector is empty"},
      {"VectorCopy([1,2], 0/0, 1)", "Invalid floating point operation"},
      {"VectorCopy(3, 0, 1)", "Invalid parameters"},
      {"VectorCopy([1], \"a\", 1)", "Invalid parameters"},
      {"VectorCopy([1], 0, [1])", "Invalid parameters"},
      {"InRange(\"a\", 0, 1, i)", "Invalid parameters"},
      {"InRange(1, [0], 1, i)", "Invalid parameters"},
      {"InRange(1, 0, \"b\", i)", "Invalid parameters"},
      {"OutOfRange([1], 0, [1], i)", "Invalid parameters"},
      {"MovingAverage(1, 0.4, s)", "MovingAverage: the length must be at least 1"},
      {"MovingAverage(1, 1e9, s)", "MovingAverage: a vector may hold at most 134217728 elements"},
      {"MovingAverage(1, 0/0, s)", "Invalid floating point operation"},
      {"DelayLine(1, 0, s)", "DelayLine: the length must be at least 1"},
      {"DelayLineReverse(1, -1, s)", "DelayLineReverse: the length must be at least 1"},
      {"DelayLine(1, 1e300, s)", "DelayLine: a vector may hold at most 134217728 elements"},
      {"Histogram(1, 0, 1, 0, 0, s)", "Histogram: the number of bins must be at least 1"},
      {"Histogram(1, 0, 1, 1e9, 0, s)", "Histogram: a vector may hold at most 134217728 elements"},
      {"Histogram(1, 2, 2, 4, 0, s)", "Histogram: endvalue must differ from startvalue"},
      {"s", "0"},  // no failed filter touched its state
  });
}

TEST_F(VectorsScript, SetValueSetSizeRampAndAppendRewriteTheVariable) {
  const Step steps[] = {
      // SetValue writes only inside the vector, with the index rules of GetValue.
      {"v := [1,2,3]", "[ 1, 2, 3]", nullptr},
      {"VectorSetValue(v, 1, 9)", "9", "[ 1, 9, 3]"},
      {"VectorSetValue(v, 2.4, 8)", "8", "[ 1, 9, 8]"},
      {"VectorSetValue(v, 2.6, 5)", "0", "[ 1, 9, 8]"},
      {"VectorSetValue(v, 3, 5)", "0", "[ 1, 9, 8]"},
      {"VectorSetValue(v, -0.2, 5)", "0", "[ 1, 9, 8]"},
      {"VectorSetValue(v, 0/0, 5)", "0", "[ 1, 9, 8]"},
      {"v := 4", "4", nullptr},
      {"VectorSetValue(v, 0, 1)", "0", "4"},
      // SetSize keeps elements, pads with zeros and returns the unrounded count.
      {"v := [1,2]", "[ 1, 2]", nullptr},
      {"VectorSetSize(v, 4)", "4", "[ 1, 2, 0, 0]"},
      {"VectorSetSize(v, 2.5)", "2.5", "[ 1, 2]"},  // ties to even
      {"VectorSetSize(v, 0)", "0", "]"},
      // A number becomes zeros, whatever its unused vector field held before.
      {"v := [7,8]", "[ 7, 8]", nullptr},
      {"v := 1", "1", nullptr},
      {"VectorSetSize(v, 3)", "3", "[ 0, 0, 0]"},
      // Ramp returns 0 and fills by accumulating the increment: ten additions of 0.1 fall just
      // short of 1, where 10 * 0.1 would not.
      {"Ramp(v, 1, 0.5, 4)", "0", "[ 1, 1.5, 2, 2.5]"},
      {"Ramp(v, 0, 0.1, 11)", "0", nullptr},
      {"VectorGetValue(v, 10)", "0.9999999999999999", nullptr},
      {"Ramp(v, 0, 1, 0)", "0", "]"},
      {"Ramp(v, 3, -1, 2.5)", "0", "[ 3, 2]"},
      // Append takes numbers and vectors, the variable itself included; a wrong kind changes
      // nothing; a number variable starts afresh.
      {"v := [1]", "[ 1]", nullptr},
      {"VectorAppend(v, 2)", "0", "[ 1, 2]"},
      {"VectorAppend(v, [3,4])", "0", "[ 1, 2, 3, 4]"},
      {"VectorAppend(v, [])", "0", "[ 1, 2, 3, 4]"},
      {"VectorAppend(v, v)", "0", "[ 1, 2, 3, 4, 1, 2, 3, 4]"},
      {"VectorAppend(v, \"a\")", "Invalid parameters", "[ 1, 2, 3, 4, 1, 2, 3, 4]"},
      {"VectorAppend(v, \"\")", "Invalid parameters", "[ 1, 2, 3, 4, 1, 2, 3, 4]"},
      {"v := 5", "5", nullptr},
      {"VectorAppend(v, 6)", "0", "[ 6]"},
      {"u := 5", "5", nullptr},
      {"VectorAppend(u, u)", "0", "[ 6]"},
  };
  ExpectSteps("v", nullptr, steps);
  EXPECT_EQ(Outcome(ev_, "u"), "[ 5]");
  // Within one compiled formula, appends accumulate.
  EvaluateOnce(ev_, "w := []");
  const int index = ev_.AddExpression("VectorAppend(w, [1,2])");
  for (int i = 0; i < 3; ++i) ev_.GetResults(index);
  EXPECT_EQ(Outcome(ev_, "w"), "[ 1, 2, 1, 2, 1, 2]");
}

// --- range tests and peak holding ---

TEST_F(VectorsScript, InRangeAndOutOfRangeReportTheFirstMatch) {
  const Step steps[] = {
      {"InRange([5,1,2], 0, 2, i)", "1", "1"},
      {"InRange([5,6,-1], 0, 2, i)", "0", "0"},
      {"InRange([0,5], 0, 2, i)", "1", "0"},
      {"InRange([5,2], 0, 2, i)", "1", "1"},  // the interval is closed
      {"InRange(1, 0, 2, i)", "1", "0"},
      {"InRange(3, 0, 2, i)", "0", "0"},
      {"InRange([], 0, 2, i)", "0", "0"},
      {"InRange(1, 2, 0, i)", "0", "0"},  // an empty interval holds nothing
      {"OutOfRange([1,5,2], 0, 2, i)", "1", "1"},
      {"OutOfRange([1,2,0], 0, 2, i)", "0", "0"},
      {"OutOfRange([1,1,-0.5], 0, 2, i)", "1", "2"},
      {"OutOfRange(3, 0, 2, i)", "1", "0"},
      {"InRange([0/0, 1], 0, 2, i)", "1", "1"},  // NaN lies in no interval
      {"OutOfRange([1, 0/0], 0, 2, i)", "1", "1"},
  };
  ExpectSteps("i", "i := 7", steps);
  // The first index may be written into the scanned variable itself.
  Expect({{"i := [5,1,2]", "[ 5, 1, 2]"}, {"InRange(i, 0, 2, i)", "1"}, {"i", "1"}});
}

TEST_F(VectorsScript, LowestAndHighestKeepTheEarliestTimeOfEachExtreme) {
  for (const char* init : {"lo := [5,5,5]", "hi := [5,5,5]", "tlo := [0,0,0]", "thi := [0,0,0]"})
    EvaluateOnce(ev_, init);
  const int lowest = ev_.AddExpression("VectorGetLowest(x, lo, t, tlo)");
  const int highest = ev_.AddExpression("VectorGetHighest(x, hi, t, thi)");
  struct Step {
    const char *x, *t, *lo, *tlo, *hi, *thi;
  };
  const Step steps[] = {
      {"[4,5,6]", "[1,1,1]", "[ 4, 5, 5]", "[ 1, 0, 0]", "[ 5, 5, 6]", "[ 0, 0, 1]"},
      {"[4,3,7]", "[2,2,2]", "[ 4, 3, 5]", "[ 1, 2, 0]", "[ 5, 5, 7]", "[ 0, 0, 2]"},
      {"[1,3,7]", "[3,3,3]", "[ 1, 3, 5]", "[ 3, 2, 0]", "[ 5, 5, 7]", "[ 0, 0, 2]"},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.x);
    EvaluateOnce(ev_, std::string("x := ") + s.x);
    EvaluateOnce(ev_, std::string("t := ") + s.t);
    EXPECT_EQ(ParsDoubleAsString(ev_.GetResults(lowest)), "0");
    EXPECT_EQ(ParsDoubleAsString(ev_.GetResults(highest)), "0");
    Expect({{"lo", s.lo}, {"tlo", s.tlo}, {"hi", s.hi}, {"thi", s.thi}});
  }
  // All four arguments must be vectors of one length; a failed call changes nothing.
  Expect({
      {"a := [1,2]", "[ 1, 2]"},
      {"b := [1,2]", "[ 1, 2]"},
      {"c := [1,2,3]", "[ 1, 2, 3]"},
      {"n := 1", "1"},
      {"VectorGetLowest(a, b, a, c)", "Invalid parameters"},
      {"VectorGetLowest(c, b, a, b)", "Invalid parameters"},
      {"VectorGetHighest(a, n, a, b)", "Invalid parameters"},
      {"VectorGetHighest(1, a, a, b)", "Invalid parameters"},
      {"VectorGetHighest(a, b, \"s\", b)", "Invalid parameters"},
      {"b", "[ 1, 2]"},
  });
}

// --- filters with state in a variable ---

TEST_F(VectorsScript, MovingAverageKeepsItsStateAcrossEvaluationsOfOneFormula) {
  const int index = ev_.AddExpression("MovingAverage(x, 2, s)");
  const Step steps[] = {
      {"x := [4,8]", "[ 2, 6]", "[ 8, 4]"},  // rises from zeros
      {"x := [0]", "[ 4]", "[ 0, 8]"},
      {"x := []", "]", "[ 0, 8]"},
      {"x := 10", "5", "[ 10, 0]"},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.formula);
    EvaluateOnce(ev_, step.formula);
    EXPECT_EQ(ParsDoubleAsString(ev_.GetResults(index)), step.outcome);
    EXPECT_EQ(Outcome(ev_, "s"), step.after);
  }
}

TEST_F(VectorsScript, MovingAverageStartsAfreshWhenTheLengthChangesAndMayReadItsOwnState) {
  const Step steps[] = {
      {"s := [6,6]", "[ 6, 6]", nullptr},
      {"MovingAverage(6, 2, s)", "6", "[ 6, 6]"},
      {"MovingAverage(6, 3, s)", "2", "[ 6, 0, 0]"},
      {"s := [1,2,3,4]", "[ 1, 2, 3, 4]", nullptr},
      {"MovingAverage(s, 4, s)", "[ 1.75, 1.5, 1.75, 2.5]", "[ 4, 3, 2, 1]"},
      // Of another length, the state is reset while its old content is the input.
      {"s := [4,8]", "[ 4, 8]", nullptr},
      {"MovingAverage(s, 3, s)", "[ 1.33333333333333, 4]", "[ 8, 4, 0]"},
      // Infinities and NaN leave the window again.
      {"MovingAverage([1, 1/0, 1, 1, -1/0, 1/0, 2, 2, 0/0, 4, 4], 2, s)",
       "[ 0.5, INF, INF, 1, -INF, NAN, INF, 2, NAN, NAN, 4]", nullptr},
  };
  ExpectSteps("s", nullptr, steps);
  // A number variable whose unused vector field has the right length starts afresh as well.
  s_.VarType = vtDouble;
  s_.Vector = {9, 9, 9};
  Expect({{"MovingAverage(3, 3, s)", "1"}});
}

// Random data of changing magnitude (so that a running sum that drifts would show, once large
// values have left the window), fed in chunks of awkward sizes and as single numbers.
TEST_F(VectorsScript, MovingAverageAgreesWithTheDefinitionOnRandomData) {
  std::mt19937_64 random(20240611);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_real_distribution<double> positive(0.0, 1.0);
  for (const std::size_t length : {1, 2, 7, 257}) {
    SCOPED_TRACE("length " + std::to_string(length));
    s_ = TVXParsDouble();
    const int index = ev_.AddExpression("MovingAverage(x, " + std::to_string(length) + ", s)");
    std::vector<double> state(length, 0.0);  // the reference's
    const std::size_t chunks[] = {0, 1,          length - 1, length, length + 1, 3 * length + 5,
                                  1, 2 * length, 1000,       5};
    for (int round = 0; round < 4; ++round) {
      for (const std::size_t chunk : chunks) {
        // Each chunk changes the magnitude by up to twelve orders, some of them all positive.
        const double magnitude = std::pow(10.0, std::floor(unit(random) * 12));
        const bool allPositive = chunk % 2 == 0;
        std::vector<double> input(chunk);
        for (double& e : input) e = magnitude * (allPositive ? positive(random) : unit(random));
        const bool asNumber = chunk == 1 && round % 2 == 1;
        x_ = asNumber ? TVXParsDouble::Number(input[0]) : TVXParsDouble::FromVector(input);
        const TVXParsDouble result = ev_.GetResults(index);
        ASSERT_EQ(result.VarType, x_.VarType);
        for (std::size_t j = 0; j < chunk; ++j) {
          // As defined: shift the state, store x at element 0, sum in long double in index order,
          // divide by the length; the tolerance is relative to the mean magnitude.
          state.pop_back();
          state.insert(state.begin(), input[j]);
          long double sum = 0.0L;
          long double magnitude = 0.0L;
          for (const double e : state) sum += e, magnitude += std::fabs(e);
          const double got = asNumber ? result.Value : result.Vector[j];
          ASSERT_LE(std::fabs(got - static_cast<double>(sum / length)),
                    static_cast<double>(1e-9L * magnitude / length))
              << "element " << j << " of a chunk of " << chunk;
        }
        // The state is laid out exactly as the shifts of the definition leave it.
        ASSERT_EQ(s_.Vector, state);
      }
    }
  }
}

TEST_F(VectorsScript, DelayLinesReturnTheInputOfLengthMinusOneCallsAgo) {
  for (const auto& [formula, stateAfter] : {std::pair{"DelayLine(x, 3, s)", "[ 5, 4, 3]"},
                                            {"DelayLineReverse(x, 3, s)", "[ 3, 4, 5]"}}) {
    SCOPED_TRACE(formula);
    s_ = TVXParsDouble();
    x_ = TVXParsDouble();
    const int index = ev_.AddExpression(formula);
    for (const char* output : {"0", "0", "1", "2", "3"}) {
      x_ = TVXParsDouble::Number(x_.Value + 1);
      EXPECT_EQ(ParsDoubleAsString(ev_.GetResults(index)), output);
    }
    EXPECT_EQ(Outcome(ev_, "s"), stateAfter);
  }
  // Of length 1 there is no delay; another length discards the state.
  Expect({{"DelayLine(7, 1, s)", "7"}, {"DelayLine(8, 2, s)", "0"}, {"s", "[ 8, 0]"}});
  // A vector input is read through its number field.
  x_ = TVXParsDouble::FromVector({1, 2});
  x_.Value = 3;
  Expect({{"DelayLine(x, 2, s)", "8"}, {"s", "[ 3, 8]"}});
}

TEST_F(VectorsScript, TwoFiltersWithTwoVariablesStayIndependent) {
  const int a = ev_.AddExpression("MovingAverage(4, 2, sa)");
  const int b = ev_.AddExpression("MovingAverage(8, 2, sb)");
  const int da = ev_.AddExpression("DelayLine(VectorGetSize(sa), 2, qa)");
  const int db = ev_.AddExpression("DelayLineReverse(10, 2, qb)");
  const std::pair<int, double> calls[] = {{a, 2},  {b, 4}, {a, 4},  {da, 0},
                                          {db, 0}, {b, 8}, {da, 2}, {db, 10}};
  for (const auto& [index, value] : calls) EXPECT_EQ(ev_.GetResults(index).Value, value);
  Expect({{"sa", "[ 4, 4]"}, {"sb", "[ 8, 8]"}, {"qa", "[ 2, 2]"}, {"qb", "[ 10, 10]"}});
}

// --- histogram ---

TEST_F(VectorsScript, HistogramCountsIntoRoundedBinsAndAccumulates) {
  const Step steps[] = {
      {"Histogram(0.49, 0, 1, 2, 0, h)", "1", "[ 0, 1]"},  // 0.49 * 2 rounds to 1
      {"Histogram(5, 0, 1, 2, 0, h)", "10", "[ 0, 2]"},    // above: the last bin
      {"Histogram(-3, 0, 1, 2, 0, h)", "-6", "[ 1, 2]"},   // below: the first bin
      {"Histogram(-3, 0, 1, 2, 1, h)", "-6", "[ 1, 2]"},   // ignored
      {"Histogram(0.25, 0, 1, 2, 0, h)", "0", "[ 2, 2]"},  // ties to even
      {"Histogram(0.75, 0, 1, 2, 1, h)", "2", "[ 2, 2]"},  // rounds to 2: out of range
      {"Histogram(1e300, 0, 1, 2, 0, h)", "2e+300", "[ 2, 3]"},
      {"Histogram(-1/0, 0, 1, 2, 0, h)", "-inf", "[ 3, 3]"},
      {"Histogram(0.2, 1, 0, 2, 0, h)", "2", "[ 3, 4]"},  // a falling range: 0.2 is near its end
      // Another number of bins starts the counts afresh.
      {"Histogram(2.2, 0, 4, 4, 0, h)", "2", "[ 0, 0, 1, 0]"},
      // A NaN position fails before anything is counted.
      {"Histogram([0.1, 0/0], 0, 4, 4, 0, h)", "Invalid floating point operation", "[ 0, 0, 1, 0]"},
      // The counts may be the counted vector itself: it is read before it becomes the counts.
      {"h := [0.1, 0.9, 0.6]", "[ 0.1, 0.9, 0.6]", nullptr},
      {"Histogram(h, 0, 1, 2, 0, h)", "0", "[ 1, 2]"},
      {"Histogram(h, 0, 1, 2, 0, h)", "0", "[ 1, 4]"},  // 1 and 2 both land in the last bin
  };
  ExpectSteps("h", nullptr, steps);
  // A vector gives 0 and counts every element; counts accumulate over evaluations.
  const int index = ev_.AddExpression("Histogram([0.1, 0.3, 0.6, 0.9, -1], 0, 1, 2, 0, g)");
  EXPECT_EQ(ParsDoubleAsString(ev_.GetResults(index)), "0");
  EXPECT_EQ(Outcome(ev_, "g"), "[ 2, 3]");
  ev_.GetResults(index);
  EXPECT_EQ(Outcome(ev_, "g"), "[ 4, 6]");
}

// --- matrix channels ---

TEST_F(VectorsScript, MatrixChannels) {
  TVXParsDouble m;
  m.VarType = vtMatrix;
  m.Matrix = {{1, 2}, {3, 4, 5}};
  ev_.DefineVariable("m", &m, "", "");
  Expect({
      {"MatrixGetChannelCount(m)", "2"},
      {"MatrixGetChannelVector(m, 0)", "[ 1, 2]"},
      {"MatrixGetChannelVector(m, 0.5)", "[ 1, 2]"},
      {"VectorGetSum(MatrixGetChannelVector(m, 1))", "12"},
      {"MatrixGetChannelCount([1])", "Invalid parameters"},
      {"MatrixGetChannelVector([1], 0)", "Invalid parameters"},
      {"MatrixGetChannelVector(m, \"0\")", "Invalid parameters"},
      {"MatrixGetChannelVector(m, 2)", "Invalid parameters"},
      {"MatrixGetChannelVector(m, 1.6)", "Invalid parameters"},   // rounds to 2
      {"MatrixGetChannelVector(m, -0.2)", "Invalid parameters"},  // checked unrounded
      {"MatrixGetChannelVector(m, 0/0)", "Invalid parameters"},
      {"MatrixSetChannelVector(m, 0, 5)", "Invalid parameters"},
      {"MatrixSetChannelVector(m, 2, [1])", "Invalid parameters"},
      {"MatrixSetChannelVector(v, 0, [1])", "Invalid parameters"},
      {"MatrixSetChannelVector([1], 0, [1])",
       "MatrixSetChannelVector([1], 0, [1]): argument 1 of \"MatrixSetChannelVector\" receives a "
       "result and cannot be a constant"},
  });
  EXPECT_EQ(m.Matrix, (TVXMatrix{{1, 2}, {3, 4, 5}}));
  Expect({{"MatrixSetChannelVector(m, 1, [9, 8])", "0"}});
  EXPECT_EQ(m.Matrix, (TVXMatrix{{1, 2}, {9, 8}}));
  Expect({{"MatrixSetChannelVector(m, 0, [])", "0"}});
  EXPECT_EQ(m.Matrix, (TVXMatrix{{}, {9, 8}}));
}

}  // namespace
}  // namespace loom
