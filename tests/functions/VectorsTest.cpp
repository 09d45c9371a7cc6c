// Vector functions, driven through the evaluator: statistics, element access, reshaping, range
// tests, peak holding, the filters whose state lives in a formula variable, matrix channels.
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "engine/ParserClasses.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"

namespace loom {
namespace {

// The error of compiling and evaluating formula once (a constant call fails while folding).

std::string TextOf(TVXExpressionEvaluator& ev, const std::string& formula) {
  return ParsDoubleAsString(EvaluateOnce(ev, formula));
}

// Stateless tables run twice: folded at compile time and evaluated at run time.
class VectorsFormula : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override { ev_.ConstantFolding = GetParam(); }

  void ExpectTexts(std::initializer_list<TextCase> cases) {
    for (const TextCase& c : cases) {
      SCOPED_TRACE(c.formula);
      const TVXParsDouble result = EvaluateOnce(ev_, c.formula);
      EXPECT_EQ(result.VarType, c.kind);
      EXPECT_EQ(ParsDoubleAsString(result), c.text);
    }
  }

  void ExpectNumbers(std::initializer_list<NumberCase> cases) {
    for (const NumberCase& c : cases) {
      SCOPED_TRACE(c.formula);
      const TVXParsDouble result = EvaluateOnce(ev_, c.formula);
      EXPECT_EQ(result.VarType, vtDouble);
      EXPECT_EQ(result.Value, c.value);
    }
  }

  void ExpectErrors(std::initializer_list<ErrorCase> cases) {
    for (const ErrorCase& c : cases) {
      SCOPED_TRACE(c.formula);
      EXPECT_EQ(ErrorOf(ev_, c.formula), c.message);
    }
  }

  TVXExpressionEvaluator ev_;
};

INSTANTIATE_TEST_SUITE_P(Folding, VectorsFormula, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Folded" : "Unfolded"; });

// --- building vectors ---

TEST_P(VectorsFormula, VectorConstantTakesEachArgumentsNumberField) {
  ExpectTexts({
      {"[1, 2.5, -3]", vtVector, "[ 1, 2.5, -3]"},
      {"[]", vtVector, "]"},
      {"[7]", vtVector, "[ 7]"},
      // A vector argument contributes its number field (0), not its elements.
      {"[[1,2], 3]", vtVector, "[ 0, 3]"},
      {"[1+1, 2*3]", vtVector, "[ 2, 6]"},
  });
}

// --- statistics ---

TEST_P(VectorsFormula, StatisticsOfVectors) {
  ExpectNumbers({
      {"VectorGetFirstValue([4,5,6])", 4},
      {"VectorGetLastValue([4,5,6])", 6},
      {"VectorGetLastValue([4])", 4},
      {"VectorGetMean([1,2,3,4])", 2.5},
      {"VectorGetRMS([1,7])", 5},
      {"VectorGetRMS([2,-2,2,-2])", 2},
      {"VectorGetRMS([-2])", 2},
      {"VectorGetSum([1,2,3.5])", 6.5},
      {"VectorGetSum([])", 0},
      {"VectorGetMinimumValue([3,-1,2])", -1},
      {"VectorGetMaximumValue([3,-1,2])", 3},
      {"VectorGetMinimumValue([5])", 5},
      {"VectorGetSize([1,2,3])", 3},
      {"VectorGetSize([])", 0},
  });
}

TEST_P(VectorsFormula, SumsAccumulateInExtendedPrecision) {
  // 1e18 + 1 is exact in long double and lost in double.
  ExpectNumbers({
      {"VectorGetSum([1e18, 1, -1e18])", 1},
      {"VectorGetMean([1e18, 1, -1e18, 2])", 0.75},
      {"VectorGetSum([1e18, 1, 1, 1, 1, -1e18])", 4},
  });
}

TEST_P(VectorsFormula, PositionsNameTheFirstExtreme) {
  ExpectNumbers({
      {"VectorGetMaximumPosition([1,3,3])", 1},
      {"VectorGetMinimumPosition([3,-1,-1])", 1},
      {"VectorGetMinimumPosition([2,5,1,1])", 2},
      {"VectorGetMaximumPosition([9,1,2])", 0},
      {"VectorGetMinimumPosition([])", 0},
      {"VectorGetMaximumPosition([])", 0},
  });
}

TEST_P(VectorsFormula, DeviationIsTheSampleDeviationAndRoundsASingleElement) {
  ExpectNumbers({
      {"VectorGetDeviation([1,2,3])", 1},
      {"VectorGetDeviation([1,3,5])", 2},
      {"VectorGetDeviation([10,-10])", std::sqrt(200.0)},
      {"VectorGetDeviation([2.5])", 2},
      {"VectorGetDeviation([3.5])", 4},
      {"VectorGetDeviation([-2.6])", -3},
      // A constant vector has no spread, not even a little from cancellation.
      {"VectorGetDeviation([7,7,7])", 0},
      {"VectorGetDeviation([0.1,0.1,0.1])", 0},
      // Deviations from a large mean keep their digits.
      {"VectorGetDeviation([1000000001, 1000000002, 1000000003])", 1},
  });
}

TEST_P(VectorsFormula, ANumberArgumentStandsForItself) {
  ExpectNumbers({
      {"VectorGetFirstValue(5)", 5},
      {"VectorGetLastValue(5)", 5},
      {"VectorGetMean(5)", 5},
      {"VectorGetRMS(-3)", -3},
      {"VectorGetSum(5)", 5},
      {"VectorGetMinimumValue(7)", 7},
      {"VectorGetMaximumValue(7)", 7},
      {"VectorGetDeviation(5)", 0},
      {"VectorGetMinimumPosition(5)", 0},
      {"VectorGetMaximumPosition(5)", 0},
      {"VectorGetSize(5)", 0},
  });
}

TEST_P(VectorsFormula, EmptyVectorsHaveNoFirstLastExtremeOrMean) {
  ExpectErrors({
      {"VectorGetFirstValue([])", "VectorGetFirstValue: the vector is empty"},
      {"VectorGetLastValue([])", "VectorGetLastValue: the vector is empty"},
      {"VectorGetMean([])", "VectorGetMean: the vector is empty"},
      {"VectorGetRMS([])", "VectorGetRMS: the vector is empty"},
      {"VectorGetDeviation([])", "VectorGetDeviation: the vector is empty"},
      {"VectorGetMinimumValue([])", "VectorGetMinimumValue: the vector is empty"},
      {"VectorGetMaximumValue([])", "VectorGetMaximumValue: the vector is empty"},
  });
}

// --- element access ---

TEST_P(VectorsFormula, GetValueChecksTheUnroundedIndexAndNeverReadsPastTheEnd) {
  ExpectNumbers({
      {"VectorGetValue([5,6,7], 1)", 6},
      {"VectorGetValue([5,6,7], 0)", 5},
      {"VectorGetValue([5,6,7], 2.4)", 7},
      {"VectorGetValue([5,6,7], 1.5)", 7},  // ties to even: 2
      {"VectorGetValue([5,6,7], 0.5)", 5},  // ties to even: 0
      {"VectorGetValue([5,6,7], 3)", 0},
      {"VectorGetValue([5,6,7], 2.6)", 0},  // passes the check, rounds to 3
      {"VectorGetValue([5,6,7], -0.1)", 0},
      {"VectorGetValue([5,6,7], 0/0)", 0},
      {"VectorGetValue([5,6,7], 1e300)", 0},
      {"VectorGetValue([], 0)", 0},
      {"VectorGetValue(4, 0)", 0},
  });
}

TEST(VectorsElements, SetValueWritesIntoTheVariableOnlyInsideTheVector) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "v := [1,2,3]");
  const NumberCase writes[] = {
      {"VectorSetValue(v, 1, 9)", 9},    {"VectorSetValue(v, 2.4, 8)", 8},
      {"VectorSetValue(v, 2.6, 5)", 0},  {"VectorSetValue(v, 3, 5)", 0},
      {"VectorSetValue(v, -0.2, 5)", 0}, {"VectorSetValue(v, 0/0, 5)", 0},
  };
  for (const NumberCase& c : writes) {
    SCOPED_TRACE(c.formula);
    EXPECT_EQ(EvaluateOnce(ev, c.formula).Value, c.value);
  }
  EXPECT_EQ(TextOf(ev, "v"), "[ 1, 9, 8]");

  EvaluateOnce(ev, "n := 4");
  EXPECT_EQ(EvaluateOnce(ev, "VectorSetValue(n, 0, 1)").Value, 0);
  EXPECT_EQ(TextOf(ev, "n"), "4");
}

// --- reshaping ---

TEST(VectorsReshape, SetSizeKeepsElementsPadsWithZerosAndReturnsTheUnroundedCount) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "v := [1,2]");
  EXPECT_EQ(EvaluateOnce(ev, "VectorSetSize(v, 4)").Value, 4);
  EXPECT_EQ(TextOf(ev, "v"), "[ 1, 2, 0, 0]");
  EXPECT_EQ(EvaluateOnce(ev, "VectorSetSize(v, 1.4)").Value, 1.4);
  EXPECT_EQ(TextOf(ev, "v"), "[ 1]");
  EXPECT_EQ(EvaluateOnce(ev, "VectorSetSize(v, 2.5)").Value, 2.5);
  EXPECT_EQ(TextOf(ev, "v"), "[ 1, 0]");
  EXPECT_EQ(EvaluateOnce(ev, "VectorSetSize(v, 0)").Value, 0);
  EXPECT_EQ(TextOf(ev, "v"), "]");

  // A number becomes a vector of zeros, whatever its unused vector field held before.
  EvaluateOnce(ev, "s := [7,8]");
  EvaluateOnce(ev, "s := 1");
  EvaluateOnce(ev, "VectorSetSize(s, 3)");
  EXPECT_EQ(TextOf(ev, "s"), "[ 0, 0, 0]");
}

TEST(VectorsReshape, AppendGrowsTheVariable) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "v := [1]");
  EvaluateOnce(ev, "VectorAppend(v, 2)");
  EvaluateOnce(ev, "VectorAppend(v, [3,4])");
  EvaluateOnce(ev, "VectorAppend(v, [])");
  EXPECT_EQ(TextOf(ev, "v"), "[ 1, 2, 3, 4]");
  EvaluateOnce(ev, "VectorAppend(v, v)");
  EXPECT_EQ(TextOf(ev, "v"), "[ 1, 2, 3, 4, 1, 2, 3, 4]");

  EvaluateOnce(ev, "x := [9,9]");
  EvaluateOnce(ev, "x := 5");
  EvaluateOnce(ev, "VectorAppend(x, 6)");
  EXPECT_EQ(TextOf(ev, "x"), "[ 6]");
  EvaluateOnce(ev, "y := 5");
  EvaluateOnce(ev, "VectorAppend(y, y)");
  EXPECT_EQ(TextOf(ev, "y"), "[ 5]");

  // A wrong kind to append leaves the target as it was.
  EXPECT_EQ(ErrorOf(ev, "VectorAppend(v, \"a\")"), "Invalid parameters");
  EXPECT_EQ(ErrorOf(ev, "VectorAppend(v, \"\")"), "Invalid parameters");
  EXPECT_EQ(TextOf(ev, "v"), "[ 1, 2, 3, 4, 1, 2, 3, 4]");
}

TEST(VectorsReshape, AppendInOneCompiledFormulaAccumulates) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "v := []");
  const int index = ev.AddExpression("VectorAppend(v, [1,2])");
  for (int i = 0; i < 3; ++i) ev.GetResults(index);
  EXPECT_EQ(TextOf(ev, "v"), "[ 1, 2, 1, 2, 1, 2]");
}

TEST_P(VectorsFormula, CopyClampsTheRangeToTheVector) {
  ExpectTexts({
      {"VectorCopy([1,2,3,4], 2, 10)", vtVector, "[ 3, 4]"},
      {"VectorCopy([1,2,3,4], 1, 2)", vtVector, "[ 2, 3]"},
      {"VectorCopy([1,2,3,4], -1, 2)", vtVector, "[ 1, 2]"},
      {"VectorCopy([1,2,3,4], 0.5, 1.5)", vtVector, "[ 1, 2]"},
      {"VectorCopy([1,2,3,4], 4, 1)", vtVector, "]"},
      {"VectorCopy([1,2,3,4], 5, 1)", vtVector, "]"},
      {"VectorCopy([1,2,3,4], 1e300, 1)", vtVector, "]"},
      {"VectorCopy([1,2,3,4], 0, 1e300)", vtVector, "[ 1, 2, 3, 4]"},
      {"VectorCopy([1,2,3,4], -1e300, 1)", vtVector, "[ 1]"},
      {"VectorCopy([1,2,3,4], 1, -3)", vtVector, "]"},
      {"VectorCopy([], 0, 3)", vtVector, "]"},
  });
}

TEST_P(VectorsFormula, ResampleTakesTheNearestLowerElement) {
  ExpectTexts({
      {"VectorResample([1,2,3,4], 2)", vtVector, "[ 1, 3]"},
      {"VectorResample(7, 3)", vtVector, "[ 7, 7, 7]"},
      {"VectorResample([1,2], 4)", vtVector, "[ 1, 1, 2, 2]"},
      {"VectorResample([1,2,3], 2)", vtVector, "[ 1, 2]"},
      {"VectorResample([1,2,3,4,5,6,7,8,9,10], 3)", vtVector, "[ 1, 4, 7]"},
      {"VectorResample([1,2,3], 3)", vtVector, "[ 1, 2, 3]"},
      {"VectorResample([1,2,3], 0)", vtVector, "]"},
      {"VectorResample([], 0)", vtVector, "]"},
      {"VectorResample([1,2,3], 1.5)", vtVector, "[ 1, 2]"},
  });
}

TEST(VectorsReshape, RampFillsTheVariableByAccumulatingTheIncrement) {
  TVXExpressionEvaluator ev;
  const TVXParsDouble result = EvaluateOnce(ev, "Ramp(r, 1, 0.5, 4)");
  EXPECT_EQ(result.VarType, vtDouble);
  EXPECT_EQ(result.Value, 0);
  EXPECT_EQ(TextOf(ev, "r"), "[ 1, 1.5, 2, 2.5]");
  // Ten additions of 0.1 fall just short of 1, where 10 * 0.1 would not.
  EvaluateOnce(ev, "Ramp(r, 0, 0.1, 11)");
  EXPECT_EQ(EvaluateOnce(ev, "VectorGetValue(r, 10)").Value, 0.9999999999999999);
  EvaluateOnce(ev, "Ramp(r, 0, 1, 0)");
  EXPECT_EQ(TextOf(ev, "r"), "]");
  EvaluateOnce(ev, "Ramp(r, 3, -1, 2.5)");
  EXPECT_EQ(TextOf(ev, "r"), "[ 3, 2]");
}

TEST_P(VectorsFormula, SizesFromFormulasAreBounded) {
  ExpectErrors({
      {"VectorSetSize(v, 1e15)", "VectorSetSize: a vector may hold at most 134217728 elements"},
      {"VectorSetSize(v, -1)", "VectorSetSize: the number of elements must not be negative"},
      {"VectorSetSize(v, 0/0)", "Invalid floating point operation"},
      {"Ramp(r, 0, 1, 1e12)", "Ramp: a vector may hold at most 134217728 elements"},
      {"Ramp(r, 0, 1, 1/0)", "Ramp: a vector may hold at most 134217728 elements"},
      {"Ramp(r, 0, 1, -2)", "Ramp: the number of elements must not be negative"},
      {"VectorResample([1], 1e15)", "VectorResample: a vector may hold at most 134217728 elements"},
      {"VectorResample(1, 134217729)",
       "VectorResample: a vector may hold at most 134217728 elements"},
      {"VectorResample([1], -2)", "VectorResample: the number of elements must not be negative"},
      {"VectorResample([], 2)", "VectorResample: the vector is empty"},
      {"VectorCopy([1,2], 0/0, 1)", "Invalid floating point operation"},
  });
}

TEST_P(VectorsFormula, CopyRequiresAVectorAndNumbers) {
  ExpectErrors({
      {"VectorCopy(3, 0, 1)", "Invalid parameters"},
      {"VectorCopy(\"abc\", 0, 1)", "Invalid parameters"},
      {"VectorCopy([1], \"a\", 1)", "Invalid parameters"},
      {"VectorCopy([1], 0, [1])", "Invalid parameters"},
  });
}

// --- range tests ---

struct RangeCase {
  const char* formula;
  double result;
  double firstIndex;
};

TEST(VectorsRange, InRangeAndOutOfRangeReportTheFirstMatch) {
  TVXExpressionEvaluator ev;
  const RangeCase cases[] = {
      {"InRange([5,1,2], 0, 2, i)", 1, 1},
      {"InRange([5,6,-1], 0, 2, i)", 0, 0},
      {"InRange([0,5], 0, 2, i)", 1, 0},
      {"InRange([5,2], 0, 2, i)", 1, 1},  // the interval is closed
      {"InRange(1, 0, 2, i)", 1, 0},
      {"InRange(2, 0, 2, i)", 1, 0},
      {"InRange(3, 0, 2, i)", 0, 0},
      {"InRange([], 0, 2, i)", 0, 0},
      {"InRange(1, 2, 0, i)", 0, 0},  // an empty interval holds nothing
      {"OutOfRange([1,5,2], 0, 2, i)", 1, 1},
      {"OutOfRange([1,2,0], 0, 2, i)", 0, 0},
      {"OutOfRange([1,1,-0.5], 0, 2, i)", 1, 2},
      {"OutOfRange(3, 0, 2, i)", 1, 0},
      {"OutOfRange(1, 0, 2, i)", 0, 0},
      {"InRange([0/0, 1], 0, 2, i)", 1, 1},  // NaN lies in no interval
      {"OutOfRange([1, 0/0], 0, 2, i)", 1, 1},
  };
  for (const RangeCase& c : cases) {
    SCOPED_TRACE(c.formula);
    EvaluateOnce(ev, "i := 7");
    const TVXParsDouble result = EvaluateOnce(ev, c.formula);
    EXPECT_EQ(result.VarType, vtDouble);
    EXPECT_EQ(result.Value, c.result);
    const TVXParsDouble i = EvaluateOnce(ev, "i");
    EXPECT_EQ(i.VarType, vtDouble);
    EXPECT_EQ(i.Value, c.firstIndex);
  }
}

TEST(VectorsRange, FirstIndexMayBeTheScannedVariable) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "i := [5,1,2]");
  EXPECT_EQ(EvaluateOnce(ev, "InRange(i, 0, 2, i)").Value, 1);
  EXPECT_EQ(TextOf(ev, "i"), "1");
}

TEST_P(VectorsFormula, RangeTestsRequireNumbersOrAVector) {
  ExpectErrors({
      {"InRange(\"a\", 0, 1, i)", "Invalid parameters"},
      {"InRange(1, [0], 1, i)", "Invalid parameters"},
      {"InRange(1, 0, \"b\", i)", "Invalid parameters"},
      {"OutOfRange(\"1\", 0, 1, i)", "Invalid parameters"},
      {"OutOfRange([1], 0, [1], i)", "Invalid parameters"},
  });
}

// --- peak holding ---

TEST(VectorsPeaks, LowestAndHighestKeepTheEarliestTimeOfEachExtreme) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "lo := [5,5,5]");
  EvaluateOnce(ev, "hi := [5,5,5]");
  EvaluateOnce(ev, "tlo := [0,0,0]");
  EvaluateOnce(ev, "thi := [0,0,0]");
  EvaluateOnce(ev, "t := [1,1,1]");
  const int lowest = ev.AddExpression("VectorGetLowest(x, lo, t, tlo)");
  const int highest = ev.AddExpression("VectorGetHighest(x, hi, t, thi)");

  struct Step {
    const char* x;
    const char* t;
    const char* lo;
    const char* tlo;
    const char* hi;
    const char* thi;
  };
  const Step steps[] = {
      {"[4,5,6]", "[1,1,1]", "[ 4, 5, 5]", "[ 1, 0, 0]", "[ 5, 5, 6]", "[ 0, 0, 1]"},
      {"[4,3,7]", "[2,2,2]", "[ 4, 3, 5]", "[ 1, 2, 0]", "[ 5, 5, 7]", "[ 0, 0, 2]"},
      {"[1,3,7]", "[3,3,3]", "[ 1, 3, 5]", "[ 3, 2, 0]", "[ 5, 5, 7]", "[ 0, 0, 2]"},
  };
  for (const Step& s : steps) {
    SCOPED_TRACE(s.x);
    EvaluateOnce(ev, std::string("x := ") + s.x);
    EvaluateOnce(ev, std::string("t := ") + s.t);
    const TVXParsDouble low = ev.GetResults(lowest);
    EXPECT_EQ(low.VarType, vtDouble);
    EXPECT_EQ(low.Value, 0);
    EXPECT_EQ(ev.GetResults(highest).Value, 0);
    EXPECT_EQ(TextOf(ev, "lo"), s.lo);
    EXPECT_EQ(TextOf(ev, "tlo"), s.tlo);
    EXPECT_EQ(TextOf(ev, "hi"), s.hi);
    EXPECT_EQ(TextOf(ev, "thi"), s.thi);
  }
}

TEST(VectorsPeaks, AllFourArgumentsMustBeVectorsOfOneLength) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "a := [1,2]");
  EvaluateOnce(ev, "b := [1,2]");
  EvaluateOnce(ev, "c := [1,2,3]");
  EvaluateOnce(ev, "n := 1");
  const ErrorCase cases[] = {
      {"VectorGetLowest(a, b, a, c)", "Invalid parameters"},
      {"VectorGetLowest(c, b, a, b)", "Invalid parameters"},
      {"VectorGetHighest(a, n, a, b)", "Invalid parameters"},
      {"VectorGetHighest(1, a, a, b)", "Invalid parameters"},
      {"VectorGetHighest(a, b, \"s\", b)", "Invalid parameters"},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.formula);
    EXPECT_EQ(ErrorOf(ev, c.formula), c.message);
  }
  EXPECT_EQ(TextOf(ev, "b"), "[ 1, 2]");
}

// --- filters with state in a variable ---

// An evaluator with an input variable x and a state variable s that the test reads directly.
class FilterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ev_.DefineVariable("x", &x_, "", "");
    ev_.DefineVariable("s", &s_, "", "");
  }

  void SetInput(double value) {
    x_.VarType = vtDouble;
    x_.Value = value;
  }

  void SetInput(const std::vector<double>& values) {
    x_.VarType = vtVector;
    x_.Vector = values;
  }

  TVXExpressionEvaluator ev_;
  TVXParsDouble x_;
  TVXParsDouble s_;
};

TEST_F(FilterTest, MovingAverageRisesFromZerosAndKeepsItsStateBetweenEvaluations) {
  const int index = ev_.AddExpression("MovingAverage(4, 4, s)");
  const double expected[] = {1, 2, 3, 4, 4};
  for (const double e : expected) {
    const TVXParsDouble result = ev_.GetResults(index);
    EXPECT_EQ(result.VarType, vtDouble);
    EXPECT_EQ(result.Value, e);
  }
  EXPECT_EQ(s_.VarType, vtVector);
  EXPECT_EQ(s_.Vector, (std::vector<double>{4, 4, 4, 4}));
}

TEST_F(FilterTest, MovingAverageOverAVectorGivesTheMeanAfterEachElement) {
  const int index = ev_.AddExpression("MovingAverage(x, 2, s)");
  SetInput({4, 8});
  TVXParsDouble result = ev_.GetResults(index);
  EXPECT_EQ(ParsDoubleAsString(result), "[ 2, 6]");
  EXPECT_EQ(s_.Vector, (std::vector<double>{8, 4}));
  SetInput(std::vector<double>{0});
  EXPECT_EQ(ParsDoubleAsString(ev_.GetResults(index)), "[ 4]");
  EXPECT_EQ(s_.Vector, (std::vector<double>{0, 8}));
  SetInput(std::vector<double>{});
  EXPECT_EQ(ParsDoubleAsString(ev_.GetResults(index)), "]");
  EXPECT_EQ(s_.Vector, (std::vector<double>{0, 8}));
  SetInput(10);
  result = ev_.GetResults(index);
  EXPECT_EQ(result.VarType, vtDouble);
  EXPECT_EQ(result.Value, 5);
  EXPECT_EQ(s_.Vector, (std::vector<double>{10, 0}));
}

TEST_F(FilterTest, MovingAverageStartsAfreshWhenTheLengthChanges) {
  s_.VarType = vtVector;
  s_.Vector = {6, 6};
  EXPECT_EQ(EvaluateOnce(ev_, "MovingAverage(6, 2, s)").Value, 6);
  EXPECT_EQ(EvaluateOnce(ev_, "MovingAverage(6, 3, s)").Value, 2);
  EXPECT_EQ(s_.Vector, (std::vector<double>{6, 0, 0}));
  // A number variable whose unused vector field has the right length starts afresh as well.
  s_.VarType = vtDouble;
  s_.Vector = {9, 9, 9};
  EXPECT_EQ(EvaluateOnce(ev_, "MovingAverage(3, 3, s)").Value, 1);
}

TEST_F(FilterTest, MovingAverageMayReadItsOwnState) {
  s_.VarType = vtVector;
  s_.Vector = {1, 2, 3, 4};
  EXPECT_EQ(ParsDoubleAsString(EvaluateOnce(ev_, "MovingAverage(s, 4, s)")),
            "[ 1.75, 1.5, 1.75, 2.5]");
  EXPECT_EQ(s_.Vector, (std::vector<double>{4, 3, 2, 1}));
  // Of another length, the state is reset while its old content is the input.
  s_.Vector = {4, 8};
  EXPECT_EQ(ParsDoubleAsString(EvaluateOnce(ev_, "MovingAverage(s, 3, s)")),
            "[ 1.33333333333333, 4]");
  EXPECT_EQ(s_.Vector, (std::vector<double>{8, 4, 0}));
}

TEST_F(FilterTest, MovingAverageLetsInfinitiesAndNaNLeaveTheWindow) {
  const int index = ev_.AddExpression("MovingAverage(x, 2, s)");
  const double inf = std::numeric_limits<double>::infinity();
  SetInput({1, inf, 1, 1, -inf, inf, 2, 2, NAN, 4, 4});
  const TVXParsDouble result = ev_.GetResults(index);
  EXPECT_EQ(ParsDoubleAsString(result), "[ 0.5, INF, INF, 1, -INF, NAN, INF, 2, NAN, NAN, 4]");
}

// The moving average as defined: shift the state, store x at element 0, sum all elements in
// long double in index order, divide by the length. Also returns the scale of the window (the
// mean of the magnitudes) that the comparison's tolerance is relative to.
struct ReferenceAverage {
  std::vector<double> state;

  double Step(double x, double& scale) {
    for (std::size_t k = state.size() - 1; k > 0; --k) state[k] = state[k - 1];
    state[0] = x;
    long double sum = 0.0L;
    long double magnitude = 0.0L;
    for (const double e : state) {
      sum += e;
      magnitude += std::fabs(e);
    }
    scale = static_cast<double>(magnitude / state.size());
    return static_cast<double>(sum / state.size());
  }
};

// Random data of changing magnitude (so that a running sum that drifts would show, once large
// values have left the window), fed in chunks of awkward sizes and as single numbers.
TEST_F(FilterTest, MovingAverageAgreesWithTheDefinitionOnRandomData) {
  std::mt19937_64 random(20240611);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_real_distribution<double> positive(0.0, 1.0);
  for (const std::size_t length : {1, 2, 3, 7, 100, 257}) {
    SCOPED_TRACE("length " + std::to_string(length));
    TVXExpressionEvaluator ev;
    TVXParsDouble x;
    TVXParsDouble s;
    ev.DefineVariable("x", &x, "", "");
    ev.DefineVariable("s", &s, "", "");
    const int index = ev.AddExpression("MovingAverage(x, " + std::to_string(length) + ", s)");
    ReferenceAverage reference{std::vector<double>(length, 0.0)};
    const std::size_t chunks[] = {0, 1,          length - 1, length, length + 1, 3 * length + 5,
                                  1, 2 * length, 1000,       5};
    double magnitude = 1.0;
    int mismatches = 0;
    for (int round = 0; round < 4; ++round) {
      for (const std::size_t chunk : chunks) {
        // Each chunk changes the magnitude by up to twelve orders, some of them all positive.
        magnitude = std::pow(10.0, std::floor(unit(random) * 12));
        const bool allPositive = chunk % 2 == 0;
        std::vector<double> input(chunk);
        for (double& e : input) e = magnitude * (allPositive ? positive(random) : unit(random));
        const bool asNumber = chunk == 1 && round % 2 == 1;
        if (asNumber) {
          x.VarType = vtDouble;
          x.Value = input[0];
        } else {
          x.VarType = vtVector;
          x.Vector = input;
        }
        const TVXParsDouble result = ev.GetResults(index);
        ASSERT_EQ(result.VarType, asNumber ? vtDouble : vtVector);
        for (std::size_t j = 0; j < chunk; ++j) {
          double scale = 0.0;
          const double expected = reference.Step(input[j], scale);
          const double got = asNumber ? result.Value : result.Vector[j];
          if (!(std::fabs(got - expected) <= 1e-9 * scale)) {
            if (++mismatches <= 5)
              ADD_FAILURE() << "element " << j << " of a chunk of " << chunk << ": " << got
                            << " instead of " << expected;
          }
        }
        // The state is laid out exactly as the shifts of the definition leave it.
        ASSERT_EQ(s.Vector, reference.state);
      }
    }
    EXPECT_EQ(mismatches, 0);
  }
}

// A long window over a long ramp: the expected means are exact sums of integers. Summing the
// window afresh for each element would take 1e10 steps here; the filter takes O(n).
TEST_F(FilterTest, MovingAverageOfALongWindowOverALongInputIsExact) {
  struct Case {
    std::size_t n;
    std::size_t length;
  };
  for (const Case c : {Case{1000000, 100}, Case{200000, 50000}}) {
    SCOPED_TRACE(std::to_string(c.n) + " / " + std::to_string(c.length));
    s_ = TVXParsDouble();
    std::vector<double> ramp(c.n);
    for (std::size_t i = 0; i < c.n; ++i) ramp[i] = static_cast<double>(i);
    SetInput(ramp);
    const TVXParsDouble result =
        EvaluateOnce(ev_, "MovingAverage(x, " + std::to_string(c.length) + ", s)");
    ASSERT_EQ(result.Vector.size(), c.n);
    std::size_t wrong = 0;
    for (std::size_t j = 0; j < c.n; ++j) {
      const std::size_t first = j + 1 >= c.length ? j + 1 - c.length : 0;
      // Sum of first..j.
      const long double sum = (static_cast<long double>(first) + j) * (j - first + 1) / 2;
      const double expected = static_cast<double>(sum / c.length);
      if (result.Vector[j] != expected) ++wrong;
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(s_.Vector.front(), static_cast<double>(c.n - 1));
    EXPECT_EQ(s_.Vector.back(), static_cast<double>(c.n - c.length));
  }
}

TEST_F(FilterTest, DelayLinesReturnTheInputOfLengthMinusOneCallsAgo) {
  struct Case {
    const char* formula;
    std::vector<double> stateAfter;
  };
  const Case cases[] = {
      {"DelayLine(x, 3, s)", {5, 4, 3}},
      {"DelayLineReverse(x, 3, s)", {3, 4, 5}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.formula);
    s_ = TVXParsDouble();
    const int index = ev_.AddExpression(c.formula);
    const double outputs[] = {0, 0, 1, 2, 3};
    for (int k = 0; k < 5; ++k) {
      SetInput(k + 1.0);
      const TVXParsDouble result = ev_.GetResults(index);
      EXPECT_EQ(result.VarType, vtDouble);
      EXPECT_EQ(result.Value, outputs[k]);
    }
    EXPECT_EQ(s_.VarType, vtVector);
    EXPECT_EQ(s_.Vector, c.stateAfter);
  }
}

TEST_F(FilterTest, DelayLineOfLengthOneIsNoDelayAndALengthChangeResets) {
  const int one = ev_.AddExpression("DelayLine(x, 1, s)");
  SetInput(7);
  EXPECT_EQ(ev_.GetResults(one).Value, 7);
  const int two = ev_.AddExpression("DelayLine(x, 2, s)");
  SetInput(8);
  EXPECT_EQ(ev_.GetResults(two).Value, 0);  // the 7 was discarded with the old length
  EXPECT_EQ(s_.Vector, (std::vector<double>{8, 0}));
  // A vector input is read through its number field.
  SetInput({1, 2});
  x_.Value = 3;
  EXPECT_EQ(ev_.GetResults(two).Value, 8);
  EXPECT_EQ(s_.Vector, (std::vector<double>{3, 8}));
}

TEST(VectorsFilters, TwoFiltersWithTwoVariablesStayIndependent) {
  TVXExpressionEvaluator ev;
  const int a = ev.AddExpression("MovingAverage(4, 2, sa)");
  const int b = ev.AddExpression("MovingAverage(8, 2, sb)");
  const int da = ev.AddExpression("DelayLine(VectorGetSize(sa), 2, qa)");
  const int db = ev.AddExpression("DelayLineReverse(10, 2, qb)");
  EXPECT_EQ(ev.GetResults(a).Value, 2);
  EXPECT_EQ(ev.GetResults(b).Value, 4);
  EXPECT_EQ(ev.GetResults(a).Value, 4);
  EXPECT_EQ(ev.GetResults(da).Value, 0);
  EXPECT_EQ(ev.GetResults(db).Value, 0);
  EXPECT_EQ(ev.GetResults(b).Value, 8);
  EXPECT_EQ(ev.GetResults(da).Value, 2);
  EXPECT_EQ(ev.GetResults(db).Value, 10);
  EXPECT_EQ(TextOf(ev, "sa"), "[ 4, 4]");
  EXPECT_EQ(TextOf(ev, "sb"), "[ 8, 8]");
  EXPECT_EQ(TextOf(ev, "qa"), "[ 2, 2]");
  EXPECT_EQ(TextOf(ev, "qb"), "[ 10, 10]");
}

TEST(VectorsFilters, LengthsBelowOneOrTooLargeAreErrors) {
  TVXExpressionEvaluator ev;
  const ErrorCase cases[] = {
      {"MovingAverage(1, 0, s)", "MovingAverage: the length must be at least 1"},
      {"MovingAverage(1, -2, s)", "MovingAverage: the length must be at least 1"},
      {"MovingAverage(1, 0.4, s)", "MovingAverage: the length must be at least 1"},
      {"MovingAverage(1, 1e9, s)", "MovingAverage: a vector may hold at most 134217728 elements"},
      {"MovingAverage(1, 0/0, s)", "Invalid floating point operation"},
      {"DelayLine(1, 0, s)", "DelayLine: the length must be at least 1"},
      {"DelayLineReverse(1, -1, s)", "DelayLineReverse: the length must be at least 1"},
      {"DelayLine(1, 1e300, s)", "DelayLine: a vector may hold at most 134217728 elements"},
      {"Histogram(1, 0, 1, 0, 0, s)", "Histogram: the number of bins must be at least 1"},
      {"Histogram(1, 0, 1, 1e9, 0, s)", "Histogram: a vector may hold at most 134217728 elements"},
      {"Histogram(1, 2, 2, 4, 0, s)", "Histogram: endvalue must differ from startvalue"},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.formula);
    EXPECT_EQ(ErrorOf(ev, c.formula), c.message);
  }
  // None of the failed calls touched the state.
  EXPECT_EQ(TextOf(ev, "s"), "0");
}

// --- histogram ---

TEST(VectorsHistogram, NumbersCountIntoRoundedBins) {
  TVXExpressionEvaluator ev;
  struct Case {
    const char* formula;
    double result;
    const char* counts;
  };
  const Case cases[] = {
      {"Histogram(0.49, 0, 1, 2, 0, h)", 1, "[ 0, 1]"},  // 0.49 * 2 rounds to 1
      {"Histogram(5, 0, 1, 2, 0, h)", 10, "[ 0, 2]"},    // above: the last bin
      {"Histogram(5, 0, 1, 2, 1, h)", 10, "[ 0, 2]"},    // ignored
      {"Histogram(-3, 0, 1, 2, 0, h)", -6, "[ 1, 2]"},   // below: the first bin
      {"Histogram(-3, 0, 1, 2, 1, h)", -6, "[ 1, 2]"},
      {"Histogram(0.2, 0, 1, 2, 0, h)", 0, "[ 2, 2]"},
      {"Histogram(0.25, 0, 1, 2, 0, h)", 0, "[ 3, 2]"},  // ties to even
      {"Histogram(0.75, 0, 1, 2, 1, h)", 2, "[ 3, 2]"},  // rounds to 2: out of range
      {"Histogram(1e300, 0, 1, 2, 0, h)", 2e300, "[ 3, 3]"},
      {"Histogram(-1/0, 0, 1, 2, 0, h)", -std::numeric_limits<double>::infinity(), "[ 4, 3]"},
      {"Histogram(15, 10, 20, 2, 0, h)", 1, "[ 4, 4]"},
      {"Histogram(0.2, 1, 0, 2, 0, h)", 2, "[ 4, 5]"},  // a falling range: 0.2 is near its end
      // Another number of bins starts the counts afresh.
      {"Histogram(2.2, 0, 4, 4, 0, h)", 2, "[ 0, 0, 1, 0]"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.formula);
    const TVXParsDouble result = EvaluateOnce(ev, c.formula);
    EXPECT_EQ(result.VarType, vtDouble);
    EXPECT_EQ(result.Value, c.result);
    EXPECT_EQ(TextOf(ev, "h"), c.counts);
  }
}

TEST(VectorsHistogram, VectorsCountEveryElementAndCountsAccumulate) {
  TVXExpressionEvaluator ev;
  const int index = ev.AddExpression("Histogram([0.1, 0.3, 0.6, 0.9, -1], 0, 1, 2, 0, g)");
  TVXParsDouble result = ev.GetResults(index);
  EXPECT_EQ(result.VarType, vtDouble);
  EXPECT_EQ(result.Value, 0);
  EXPECT_EQ(TextOf(ev, "g"), "[ 2, 3]");
  ev.GetResults(index);
  EXPECT_EQ(TextOf(ev, "g"), "[ 4, 6]");

  // The counts may be the counted vector itself: it is read before it becomes the counts.
  EvaluateOnce(ev, "c := [0.1, 0.9, 0.6]");
  EvaluateOnce(ev, "Histogram(c, 0, 1, 2, 0, c)");
  EXPECT_EQ(TextOf(ev, "c"), "[ 1, 2]");
  EvaluateOnce(ev, "Histogram(c, 0, 1, 2, 0, c)");  // 1 and 2 both land in the last bin
  EXPECT_EQ(TextOf(ev, "c"), "[ 1, 4]");
}

TEST(VectorsHistogram, ANaNPositionFailsBeforeAnythingIsCounted) {
  TVXExpressionEvaluator ev;
  EvaluateOnce(ev, "Histogram(0.9, 0, 1, 2, 0, h)");
  EXPECT_EQ(ErrorOf(ev, "Histogram([0.1, 0/0], 0, 1, 2, 0, h)"),
            "Invalid floating point operation");
  EXPECT_EQ(TextOf(ev, "h"), "[ 0, 1]");
}

// --- matrix channels ---

class MatrixTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_.VarType = vtMatrix;
    m_.Matrix = {{1, 2}, {3, 4, 5}};
    ev_.DefineVariable("m", &m_, "", "");
  }

  TVXExpressionEvaluator ev_;
  TVXParsDouble m_;
};

TEST_F(MatrixTest, ChannelCountAndChannelVectors) {
  EXPECT_EQ(EvaluateOnce(ev_, "MatrixGetChannelCount(m)").Value, 2);
  const TextCase cases[] = {
      {"MatrixGetChannelVector(m, 0)", vtVector, "[ 1, 2]"},
      {"MatrixGetChannelVector(m, 1)", vtVector, "[ 3, 4, 5]"},
      {"MatrixGetChannelVector(m, 1.4)", vtVector, "[ 3, 4, 5]"},
      {"MatrixGetChannelVector(m, 0.5)", vtVector, "[ 1, 2]"},
      // The copied channel works as any vector.
      {"VectorGetSum(MatrixGetChannelVector(m, 1))", vtDouble, "12"},
  };
  for (const TextCase& c : cases) {
    SCOPED_TRACE(c.formula);
    const TVXParsDouble result = EvaluateOnce(ev_, c.formula);
    EXPECT_EQ(result.VarType, c.kind);
    EXPECT_EQ(ParsDoubleAsString(result), c.text);
  }
}

TEST_F(MatrixTest, SetChannelVectorReplacesOneChannel) {
  const TVXParsDouble result = EvaluateOnce(ev_, "MatrixSetChannelVector(m, 1, [9, 8])");
  EXPECT_EQ(result.VarType, vtDouble);
  EXPECT_EQ(result.Value, 0);
  EXPECT_EQ(m_.Matrix, (TVXMatrix{{1, 2}, {9, 8}}));
  EvaluateOnce(ev_, "MatrixSetChannelVector(m, 0, [])");
  EXPECT_EQ(m_.Matrix, (TVXMatrix{{}, {9, 8}}));
}

TEST_F(MatrixTest, WrongKindsAndIndicesAreInvalidParameters) {
  const ErrorCase cases[] = {
      {"MatrixGetChannelCount([1])", "Invalid parameters"},
      {"MatrixGetChannelCount(3)", "Invalid parameters"},
      {"MatrixGetChannelVector([1], 0)", "Invalid parameters"},
      {"MatrixGetChannelVector(m, \"0\")", "Invalid parameters"},
      {"MatrixGetChannelVector(m, 2)", "Invalid parameters"},
      {"MatrixGetChannelVector(m, 1.6)", "Invalid parameters"},   // rounds to 2
      {"MatrixGetChannelVector(m, -0.2)", "Invalid parameters"},  // checked unrounded
      {"MatrixGetChannelVector(m, 0/0)", "Invalid parameters"},
      {"MatrixGetChannelVector(m, 1e300)", "Invalid parameters"},
      {"MatrixSetChannelVector(m, 0, 5)", "Invalid parameters"},
      {"MatrixSetChannelVector(m, 2, [1])", "Invalid parameters"},
      {"MatrixSetChannelVector(v, 0, [1])", "Invalid parameters"},
      {"MatrixSetChannelVector([1], 0, [1])",
       "MatrixSetChannelVector([1], 0, [1]): argument 1 of \"MatrixSetChannelVector\" receives a "
       "result and cannot be a constant"},
  };
  for (const ErrorCase& c : cases) {
    SCOPED_TRACE(c.formula);
    EXPECT_EQ(ErrorOf(ev_, c.formula), c.message);
  }
  EXPECT_EQ(m_.Matrix, (TVXMatrix{{1, 2}, {3, 4, 5}}));
}

}  // namespace
}  // namespace loom
