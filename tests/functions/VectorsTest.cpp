// Vector functions through the evaluator: statistics, access, reshaping, ranges, peaks, filters
// with state in a variable, matrices. A row "f(v) + \" \" + v" shows a result, then what v holds.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr const char* kInvalid = "Invalid parameters";

// Sums accumulate in long double (1e18 + 1 is lost in double); positions name the first extreme;
// a single element's deviation comes back rounded (ties to even); a number stands for itself;
// indices are checked unrounded (up to n - 0.4 passes), then rounded ties to even. A vector inside
// "[...]" contributes its number field. Copy clamps the range; Resample takes the nearest lower
// element.
TEST(Vectors, StatisticsAccessAndReshaping) {
  const OutcomeRow rows[] = {
      {"[VectorGetFirstValue([4,5,6]), VectorGetLastValue([4,5,6]), VectorGetRMS([1,7]), "
       "VectorGetSum([]), VectorGetMinimumValue([3,-1,2]), VectorGetMaximumValue([3,-1,2])]",
       "[ 4, 6, 5, 0, -1, 3]"},
      {"[VectorGetSize([1,2,3]), VectorGetSum([1e18, 1, -1e18]), "
       "VectorGetMean([1e18, 1, -1e18, 2]), VectorGetMaximumPosition([1,3,3]), "
       "VectorGetMinimumPosition([3,-1,-1]), VectorGetMaximumPosition([])]",
       "[ 3, 1, 0.75, 1, 1, 0]"},
      {"[VectorGetDeviation([2.5]), VectorGetDeviation([3.5]), VectorGetDeviation([-2.6]), "
       "VectorGetDeviation([0.1,0.1,0.1]), VectorGetDeviation([1000000001, 1000000002, "
       "1000000003])]",
       "[ 2, 4, -3, 0, 1]"},
      {"[VectorGetRMS(-3), VectorGetDeviation(5), VectorGetMinimumPosition(5), VectorGetSize(5)]",
       "[ -3, 0, 0, 0]"},
      {"VectorGetFirstValue([])", "VectorGetFirstValue: the vector is empty"},
      {"VectorGetDeviation([])", "VectorGetDeviation: the vector is empty"},
      {"[VectorGetValue([5,6,7], 2.4), VectorGetValue([5,6,7], 0.5), VectorGetValue([5,6,7], 2.6), "
       "VectorGetValue([5,6,7], -0.1), VectorGetValue([5,6,7], 0/0), VectorGetValue(4, 0)]",
       "[ 7, 5, 0, 0, 0, 0]"},
      {"[[1,2], 3]", "[ 0, 3]"},
      {"VectorCopy([1,2,3,4], 2, 10)", "[ 3, 4]"},
      {"VectorCopy([1,2,3,4], 0.5, 1.5)", "[ 1, 2]"},
      {"VectorCopy([1,2,3,4], 1, -3)", "]"},
      {"VectorResample(7, 3)", "[ 7, 7, 7]"},
      {"VectorResample([1,2], 4)", "[ 1, 1, 2, 2]"},
      {"VectorResample([1,2,3], 1.5)", "[ 1, 2]"},
  };
  ExpectOutcomesFoldedOrNot<TVXExpressionEvaluator>(rows);
}

// Sizes and lengths are bounded, counts are never negative, NaN counts and positions are errors,
// and no failed filter touches its state.
TEST(Vectors, SizesLengthsAndArgumentKinds) {
  const OutcomeRow rows[] = {
      {"VectorSetSize(v, 1e15)", "VectorSetSize: a vector may hold at most 134217728 elements"},
      {"VectorSetSize(v, -1)", "VectorSetSize: the number of elements must not be negative"},
      {"Ramp(r, 0, 1, 1/0)", "Ramp: a vector may hold at most 134217728 elements"},
      {"VectorResample(1, 134217729)",
       "VectorResample: a vector may hold at most 134217728 elements"},
      {"VectorCopy([1,2], 0/0, 1)", "Invalid floating point operation"},
      {"MovingAverage(1, 0.4, s)", "MovingAverage: the length must be at least 1"},
      {"DelayLineReverse(1, -1, s)", "DelayLineReverse: the length must be at least 1"},
      {"Histogram(1, 0, 1, 0, 0, s)", "Histogram: the number of bins must be at least 1"},
      {"Histogram(1, 2, 2, 4, 0, s)", "Histogram: endvalue must differ from startvalue"},
      {"s", "0"},
  };
  ExpectOutcomesFoldedOrNot<TVXExpressionEvaluator>(rows);
  ExpectEachGives<TVXExpressionEvaluator>(
      kInvalid, {"VectorCopy([1], 0, [1])", "OutOfRange([1], 0, [1], i)"});
}

// Each row runs in turn in the same evaluator.
TEST(Vectors, FunctionsThatRewriteTheirVariable) {
  TVXExpressionEvaluator ev;
  const OutcomeRow rows[] = {
      // SetValue writes only inside the vector, with the index rules of GetValue.
      {"v := [1,2,3]", "[ 1, 2, 3]"},
      {"VectorSetValue(v, 2.4, 8) + \" \" + v", "\"8 [ 1, 2, 8]\""},
      {"VectorSetValue(v, 2.6, 5) + \" \" + v", "\"0 [ 1, 2, 8]\""},
      {"VectorSetValue(v, 0/0, 5) + \" \" + v", "\"0 [ 1, 2, 8]\""},
      // SetSize keeps elements, pads with zeros and returns the unrounded count; a number
      // becomes zeros, whatever its unused vector field held before.
      {"VectorSetSize(v, 4) + \" \" + v", "\"4 [ 1, 2, 8, 0]\""},
      {"VectorSetSize(v, 2.5) + \" \" + v", "\"2.5 [ 1, 2]\""},
      {"v := 1", "1"},
      {"VectorSetSize(v, 3) + \" \" + v", "\"3 [ 0, 0, 0]\""},
      // Ramp fills by accumulating the increment: ten additions of 0.1 fall just short of 1.
      {"Ramp(v, 3, -1, 2.5) + \" \" + v", "\"0 [ 3, 2]\""},
      {"Ramp(v, 0, 0.1, 11)", "0"},
      {"VectorGetValue(v, 10)", "0.9999999999999999"},
      // Append takes numbers and vectors, the variable itself included; a wrong kind changes
      // nothing; a number variable starts afresh.
      {"v := [1]", "[ 1]"},
      {"VectorAppend(v, 2) + \" \" + v", "\"0 [ 1, 2]\""},
      {"VectorAppend(v, []) + VectorAppend(v, v) + \" \" + v", "\"0 [ 1, 2, 1, 2]\""},
      {"VectorAppend(v, \"a\")", kInvalid},
      {"v", "[ 1, 2, 1, 2]"},
      {"u := 5\nVectorAppend(u, u) + \" \" + u", "\"0 [ 5]\""},
  };
  ExpectOutcomes(ev, rows);
}

// The interval is closed and NaN lies in none; an empty interval holds nothing. The first index
// may be written into the scanned variable itself.
TEST(Vectors, InRangeAndOutOfRangeReportTheFirstMatch) {
  TVXExpressionEvaluator ev;
  // "i + 0" reads i where it stands; a lone i would be read when the vector is built.
  const OutcomeRow rows[] = {
      {"[InRange([5,1,2], 0, 2, i), i + 0, InRange([5,6,-1], 0, 2, i), i + 0]", "[ 1, 1, 0, 0]"},
      {"[InRange([5,2], 0, 2, i), i + 0, InRange(3, 0, 2, i), i + 0]", "[ 1, 1, 0, 0]"},
      {"[InRange([0/0, 1], 0, 2, i), i + 0, InRange(1, 2, 0, i), i + 0]", "[ 1, 1, 0, 0]"},
      {"[OutOfRange([1,1,-0.5], 0, 2, i), i + 0, OutOfRange([1,2,0], 0, 2, i), i + 0]",
       "[ 1, 2, 0, 0]"},
      {"[OutOfRange([1, 0/0], 0, 2, i), i]", "[ 1, 1]"},
      {"i := [5,1,2]", "[ 5, 1, 2]"},
      {"InRange(i, 0, 2, i) + \" \" + i", "\"1 1\""},
  };
  ExpectOutcomes(ev, rows);
}

// All four arguments must be vectors of one length; a failed call changes nothing.
TEST(Vectors, LowestAndHighestKeepTheEarliestTimeOfEachExtreme) {
  TVXExpressionEvaluator ev;
  const char* const step =
      "VectorGetLowest(x, lo, t, tlo) + VectorGetHighest(x, hi, t, thi) + \"\" + lo + tlo + hi + "
      "thi";
  const OutcomeRow rows[] = {
      {"lo := [5,5,5]\nhi := lo\ntlo := [0,0,0]\nthi := tlo\nc := [1,2]", "[ 1, 2]"},
      {"x := [4,5,6]\nt := [1,1,1]", "[ 1, 1, 1]"},
      {step, "\"0[ 4, 5, 5][ 1, 0, 0][ 5, 5, 6][ 0, 0, 1]\""},
      {"x := [4,3,7]\nt := [2,2,2]", "[ 2, 2, 2]"},
      {step, "\"0[ 4, 3, 5][ 1, 2, 0][ 5, 5, 7][ 0, 0, 2]\""},
      {"x := [1,3,7]\nt := [3,3,3]", "[ 3, 3, 3]"},
      {step, "\"0[ 1, 3, 5][ 3, 2, 0][ 5, 5, 7][ 0, 0, 2]\""},
      {"VectorGetLowest(c, lo, c, c)", kInvalid},
      {"VectorGetLowest(lo, c, lo, lo)", kInvalid},
      {"VectorGetHighest(c, i, c, c)", kInvalid},
      {"c", "[ 1, 2]"},
  };
  ExpectOutcomes(ev, rows);
}

// A filter's state lives in its last argument and starts afresh when that is not a vector of
// the right length (even a number whose unused vector field has it); infinities and NaN leave
// the window again.
TEST(Vectors, MovingAverageAndDelayLinesKeepTheirStateInAVariable) {
  TVXExpressionEvaluator ev;
  TVXParsDouble s, xv = TVXParsDouble::FromVector({1, 2});
  xv.Value = 3;
  ev.DefineVariable("s", &s, "", "");
  ev.DefineVariable("xv", &xv, "", "");
  const OutcomeRow rows[] = {
      {"MovingAverage([4,8], 2, s) + \" \" + s", "\"[ 2, 6] [ 8, 4]\""},
      {"MovingAverage(0, 2, s) + \" \" + s", "\"4 [ 0, 8]\""},
      {"MovingAverage([], 2, s) + \" \" + s", "\"] [ 0, 8]\""},
      {"MovingAverage(6, 3, s) + \" \" + s", "\"2 [ 6, 0, 0]\""},
      {"s := [1,2,3,4]", "[ 1, 2, 3, 4]"},
      {"MovingAverage(s, 4, s) + \" \" + s", "\"[ 1.75, 1.5, 1.75, 2.5] [ 4, 3, 2, 1]\""},
      {"s := [4,8]\nMovingAverage(s, 3, s) + \" \" + s", "\"[ 1.33333333333333, 4] [ 8, 4, 0]\""},
      {"MovingAverage([1, 1/0, 1, 1, -1/0, 1/0, 2, 2, 0/0, 4, 4], 2, s)",
       "[ 0.5, INF, INF, 1, -INF, NAN, INF, 2, NAN, NAN, 4]"},
      {"DelayLine(7, 1, s)", "7"},
      {"DelayLine(8, 2, s) + \" \" + s", "\"0 [ 8, 0]\""},
      {"DelayLine(xv, 2, s) + \" \" + s", "\"8 [ 3, 8]\""},  // a vector's number field
  };
  ExpectOutcomes(ev, rows);
  s.VarType = vtDouble;
  s.Vector = {9, 9, 9};
  EXPECT_EQ(Outcome(ev, "MovingAverage(3, 3, s)"), "1");
  // Delay lines return the input of length - 1 calls ago; two filters with two variables stay
  // independent.
  const int forward = ev.AddExpression("DelayLine(n, 3, qa)");
  const int reverse = ev.AddExpression("DelayLineReverse(n, 3, qb)");
  std::string outputs;
  for (int n = 1; n <= 5; ++n) {
    Evaluated(ev, "n := " + std::to_string(n));
    outputs += Shown(ev.GetResults(forward)) + Shown(ev.GetResults(reverse)) + " ";
  }
  EXPECT_EQ(outputs, "00 00 11 22 33 ");
  EXPECT_EQ(Outcome(ev, "\"\" + qa + qb"), "\"[ 5, 4, 3][ 3, 4, 5]\"");
}

// Random data of changing magnitude (so that a running sum that drifts would show once large
// values have left the window), fed in chunks of awkward sizes and as single numbers.
TEST(Vectors, MovingAverageAgreesWithTheDefinitionOnRandomData) {
  TVXExpressionEvaluator ev;
  TVXParsDouble x, s;
  ev.DefineVariable("x", &x, "", "");
  ev.DefineVariable("s", &s, "", "");
  std::mt19937_64 random(20240611);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (const std::size_t length : {1, 7, 257}) {
    const int index = ev.AddExpression("MovingAverage(x, " + std::to_string(length) + ", s)");
    std::vector<double> state(length, 0.0);  // the reference's
    s = TVXParsDouble();
    for (int round = 0; round < 4; ++round) {
      for (const std::size_t chunk :
           {0ul, 1ul, length - 1, length + 1, 3 * length + 5, 1ul, 1000ul}) {
        const double magnitude = std::pow(10.0, std::floor(unit(random) * 12));
        std::vector<double> input(chunk);
        for (double& e : input)
          e = magnitude * (chunk % 2 ? unit(random) : std::fabs(unit(random)));
        const bool asNumber = chunk == 1 && round % 2 == 1;
        x = asNumber ? TVXParsDouble::Number(input[0]) : TVXParsDouble::FromVector(input);
        const TVXParsDouble result = ev.GetResults(index);
        ASSERT_EQ(result.VarType, x.VarType);
        for (std::size_t j = 0; j < chunk; ++j) {
          // As defined: shift the state, store x at element 0, sum in long double in index
          // order, divide by the length; the tolerance is relative to the mean magnitude.
          state.pop_back();
          state.insert(state.begin(), input[j]);
          long double sum = 0.0L, size = 0.0L;
          for (const double e : state) sum += e, size += std::fabs(e);
          ASSERT_LE(std::fabs((asNumber ? result.Value : result.Vector[j]) - double(sum / length)),
                    double(1e-9L * size / length))
              << "length " << length << ", element " << j << " of a chunk of " << chunk;
        }
        ASSERT_EQ(s.Vector, state);  // laid out exactly as the shifts of the definition leave it
      }
    }
  }
}

// Bins are rounded (ties to even); values outside go to the end bins unless ignored; another
// number of bins starts afresh; a NaN position fails before anything is counted. The counts may
// be the counted vector itself: it is read before it becomes the counts.
TEST(Vectors, HistogramCountsIntoRoundedBinsAndAccumulates) {
  TVXExpressionEvaluator ev;
  const OutcomeRow rows[] = {
      {"Histogram(0.49, 0, 1, 2, 0, h) + \" \" + h", "\"1 [ 0, 1]\""},
      {"Histogram(5, 0, 1, 2, 0, h) + \" \" + h", "\"10 [ 0, 2]\""},
      {"Histogram(-3, 0, 1, 2, 0, h) + \" \" + h", "\"-6 [ 1, 2]\""},
      {"Histogram(0.25, 0, 1, 2, 0, h) + \" \" + h", "\"0 [ 2, 2]\""},
      {"Histogram(0.75, 0, 1, 2, 1, h) + \" \" + h", "\"2 [ 2, 2]\""},
      {"Histogram(-1/0, 0, 1, 2, 0, h) + \" \" + h", "\"-INF [ 3, 2]\""},
      {"Histogram(0.2, 1, 0, 2, 0, h) + \" \" + h", "\"2 [ 3, 3]\""},
      {"Histogram(2.2, 0, 4, 4, 0, h) + \" \" + h", "\"2 [ 0, 0, 1, 0]\""},
      {"Histogram([0.1, 0/0], 0, 4, 4, 0, h)", "Invalid floating point operation"},
      {"h", "[ 0, 0, 1, 0]"},
      {"h := [0.1, 0.9, 0.6]", "[ 0.1, 0.9, 0.6]"},
      {"Histogram(h, 0, 1, 2, 0, h) + \" \" + h", "\"0 [ 1, 2]\""},
      {"Histogram(h, 0, 1, 2, 0, h) + \" \" + h", "\"0 [ 1, 4]\""},
  };
  ExpectOutcomes(ev, rows);
  const int index =
      ev.AddExpression("Histogram([0.1, 0.3, 0.6, 0.9, -1], 0, 1, 2, 0, g) + \" \" + g");
  EXPECT_EQ(Shown(ev.GetResults(index)), "\"0 [ 2, 3]\"");
  EXPECT_EQ(Shown(ev.GetResults(index)), "\"0 [ 4, 6]\"");  // counts accumulate
}

TEST(Vectors, MatrixChannels) {
  TVXExpressionEvaluator ev;
  TVXParsDouble m;
  m.VarType = vtMatrix;
  m.Matrix = {{1, 2}, {3, 4, 5}};
  ev.DefineVariable("m", &m, "", "");
  // Channel indices are checked unrounded, then rounded.
  for (const char* formula :
       {"MatrixGetChannelCount([1])", "MatrixGetChannelVector(m, \"0\")",
        "MatrixGetChannelVector(m, 1.6)", "MatrixGetChannelVector(m, -0.2)",
        "MatrixSetChannelVector(m, 0, 5)", "MatrixSetChannelVector(m, 2, [1])"})
    EXPECT_EQ(Outcome(ev, formula), kInvalid) << formula;
  EXPECT_EQ(Outcome(ev,
                    "MatrixGetChannelCount(m) + \" \" + MatrixGetChannelVector(m, 0.5) + "
                    "MatrixGetChannelVector(m, 1)"),
            "\"2 [ 1, 2][ 3, 4, 5]\"");
  EXPECT_EQ(Outcome(ev, "MatrixSetChannelVector(m, 1, [9, 8]) + MatrixSetChannelVector(m, 0, [])"),
            "0");
  EXPECT_EQ(m.Matrix, (TVXMatrix{{}, {9, 8}}));
}

}  // namespace
}  // namespace loom
