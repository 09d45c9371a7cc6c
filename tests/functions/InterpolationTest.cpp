// Table interpolation, the spline preparation, the polynomial and the PID loop, driven through
// the evaluator; results are read from the variables the functions write.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>

#include "engine/ParserClasses.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"

namespace loom {
namespace {

struct VariableCase {
  const char* formula;  // writes the variable r
  const char* r;        // ParsDoubleAsString of r afterwards
};

std::string Text(TVXExpressionEvaluator& ev, const std::string& formula) {
  return ParsDoubleAsString(ev.Evaluate(formula));
}

class InterpolationFormula : public ::testing::Test {
 protected:
  void ExpectVariables(std::initializer_list<VariableCase> cases) {
    for (const VariableCase& c : cases) {
      SCOPED_TRACE(c.formula);
      ev_.Evaluate("r := 0");
      ev_.Evaluate(c.formula);
      EXPECT_EQ(Text(ev_, "r"), c.r);
    }
  }
  void ExpectErrors(std::initializer_list<ErrorCase> cases) {
    for (const ErrorCase& c : cases) {
      SCOPED_TRACE(c.formula);
      EXPECT_EQ(ErrorOf(ev_, c.formula), c.message);
    }
  }
  double Number(const std::string& formula) {
    const TVXParsDouble value = ev_.Evaluate(formula);
    EXPECT_EQ(value.VarType, vtDouble) << formula;
    return value.Value;
  }

  TVXExpressionEvaluator ev_;
};

// ---- InterpolLin ------------------------------------------------------------------------------

TEST_F(InterpolationFormula, LinearInterpolationAndExtrapolation) {
  ExpectVariables({
      {"InterpolLin(1.5, r, [1,2], [10,20])", "15"},
      {"InterpolLin(3, r, [1,2], [10,20])", "30"},  // beyond the end: extrapolated
      {"InterpolLin(0, r, [1,2], [10,20])", "0"},   // before the start likewise
      {"InterpolLin(2, r, [1,2], [10,20])", "20"},
      {"InterpolLin(2.5, r, [1,2,3,5], [10,20,40,0])", "30"},
      {"InterpolLin(4, r, [1,2,3,5], [10,20,40,0])", "20"},
      {"InterpolLin(6, r, [1,2,3,5], [10,20,40,0])", "-20"},
      {"InterpolLin(-1, r, [1,2,3,5], [10,20,40,0])", "-10"},
      // A vector gives a vector of the same length.
      {"InterpolLin([1, 1.5, 2.5, 4], r, [1,2,3,5], [10,20,40,0])", "[ 10, 15, 30, 20]"},
  });
}

TEST_F(InterpolationFormula, NumberResultClearsTheVectorOfTheResultVariable) {
  ev_.Evaluate("r := [1, 2, 3]");
  ev_.Evaluate("InterpolLin(1.5, r, [1,2], [10,20])");
  const TVXParsDouble r = ev_.Evaluate("r");
  EXPECT_EQ(r.VarType, vtDouble);
  EXPECT_EQ(r.Value, 15.0);
  EXPECT_TRUE(r.Vector.empty());
}

TEST_F(InterpolationFormula, TheFunctionsOwnResultIsNotWritten) {
  const TVXParsDouble result = ev_.Evaluate("InterpolLin(1.5, r, [1,2], [10,20])");
  EXPECT_EQ(result.VarType, vtDouble);
  EXPECT_EQ(result.Value, 0.0);
}

TEST_F(InterpolationFormula, ResultMayBeTheValueOrATable) {
  ev_.Evaluate("v := [1.5, 2.5]");
  ev_.Evaluate("InterpolLin(v, v, [1,2,3], [10,20,40])");
  EXPECT_EQ(Text(ev_, "v"), "[ 15, 30]");
  ev_.Evaluate("xs := [1, 2, 3]");
  ev_.Evaluate("InterpolLin([1.5, 2.5, 3], xs, xs, [10, 20, 40])");
  EXPECT_EQ(Text(ev_, "xs"), "[ 15, 30, 40]");
}

TEST_F(InterpolationFormula, LinearErrors) {
  ExpectErrors({
      {"InterpolLin(1, r, [1,1], [10,20])", "Interpolation vector invalid or value out of bounds"},
      {"InterpolLin(0.5, r, [1,1,2,3], [1,2,3,4])",
       "Interpolation vector invalid or value out of bounds"},
      {"InterpolLin(1, r, [1], [10])", "Interpolation parameters are invalid"},
      {"InterpolLin(1, r, [1,2], [10,20,30])", "Interpolation parameters are invalid"},
      {"InterpolLin(1, r, 1, 2)", "Interpolation parameters are invalid"},
      {"InterpolLin(1, r, [1,2], \"ab\")", "Interpolation parameters are invalid"},
      {"InterpolLin(\"1\", r, [1,2], [10,20])", "Interpolation parameters are invalid"},
      {"InterpolLin(TRUE, r, [1,2], [10,20])", "Interpolation parameters are invalid"},
  });
}

// ---- Splines ----------------------------------------------------------------------------------

TEST_F(InterpolationFormula, NaturalSplineSecondDerivatives) {
  ev_.Evaluate("InterpolCubicPrepare([0,1,2], [0,1,0], yd, 2e30, 2e30)");
  EXPECT_EQ(Text(ev_, "yd"), "[ 0, -3, 0]");
  ev_.Evaluate("InterpolCubic(0.5, r, [0,1,2], [0,1,0], yd)");
  // 0.5 + ((0.125 - 0.5) * 0 + (0.125 - 0.5) * -3) / 6
  EXPECT_EQ(Text(ev_, "r"), "0.6875");
}

TEST_F(InterpolationFormula, ThePreparationReturnsTheSecondDerivativesToo) {
  const TVXParsDouble result =
      ev_.Evaluate("InterpolCubicPrepare([0,1,2], [0,1,0], yd, 1e31, 1e31)");
  EXPECT_EQ(ParsDoubleAsString(result), "[ 0, -3, 0]");
}

TEST_F(InterpolationFormula, NaturalEndNeedsMoreThanOnePlus1e30) {
  // 1e30 is still a first derivative (a huge one), 1e31 is a natural end.
  ev_.Evaluate("InterpolCubicPrepare([0,1,2], [0,1,0], yd, 1e31, 1e30)");
  const TVXVect clampedEnd = ev_.Evaluate("yd").Vector;
  EXPECT_EQ(clampedEnd[0], 0.0);
  EXPECT_GT(std::abs(clampedEnd[2]), 1e29);
  ev_.Evaluate("InterpolCubicPrepare([0,1,2], [0,1,0], yd, 1e30, 1e31)");
  const TVXVect clampedStart = ev_.Evaluate("yd").Vector;
  EXPECT_GT(std::abs(clampedStart[0]), 1e29);
  EXPECT_EQ(clampedStart[2], 0.0);
}

TEST_F(InterpolationFormula, ClampedSplineReproducesAQuadratic) {
  // y = x^2 with the true end slopes 0 and 6: every second derivative is 2 and the spline is
  // the parabola itself, extrapolation included.
  ev_.Evaluate("InterpolCubicPrepare([0,1,2,3], [0,1,4,9], yd, 0, 6)");
  const TVXVect yd = ev_.Evaluate("yd").Vector;
  ASSERT_EQ(yd.size(), 4u);
  for (double v : yd) EXPECT_NEAR(v, 2.0, 1e-12);
  ev_.Evaluate("InterpolCubic([0.5, 1.5, 2.25, 3], r, [0,1,2,3], [0,1,4,9], yd)");
  const TVXVect r = ev_.Evaluate("r").Vector;
  const double expected[] = {0.25, 2.25, 5.0625, 9.0};
  ASSERT_EQ(r.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(r[i], expected[i], 1e-12);
}

TEST_F(InterpolationFormula, SplineThroughASineIsFourthOrderAccurate) {
  // Twenty points of sin over one period; sin'' vanishes at both ends, so the natural spline
  // fits. Its error bound is 5/384 h^4 max|sin''''| (about 1.6e-4 here); a straight line between
  // the points misses by up to h^2 / 8 (about 0.014).
  constexpr int kPoints = 20;
  const double h = 2.0 * std::numbers::pi / (kPoints - 1);
  std::string xs = "[", ys = "[";
  for (int i = 0; i < kPoints; ++i) {
    xs += (i ? ", " : "") + Num(i * h);
    ys += (i ? ", " : "") + Num(std::sin(i * h));
  }
  xs += "]";
  ys += "]";
  ev_.Evaluate("xs := " + xs);
  ev_.Evaluate("ys := " + ys);
  ev_.Evaluate("InterpolCubicPrepare(xs, ys, yd, 1e31, 1e31)");
  double cubicError = 0.0, linearError = 0.0;
  for (int i = 0; i <= 400; ++i) {
    const double v = i * 2.0 * std::numbers::pi / 400;
    ev_.Evaluate("InterpolCubic(" + Num(v) + ", r, xs, ys, yd)");
    cubicError = std::max(cubicError, std::abs(ev_.Evaluate("r").Value - std::sin(v)));
    ev_.Evaluate("InterpolLin(" + Num(v) + ", r, xs, ys)");
    linearError = std::max(linearError, std::abs(ev_.Evaluate("r").Value - std::sin(v)));
  }
  EXPECT_LT(cubicError, 2e-4);
  EXPECT_GT(linearError, 1e-2);
  EXPECT_LT(linearError, 1.4e-2);
}

TEST_F(InterpolationFormula, SplineTablesMayBeTheDerivativeVariable) {
  // ydvector is also the y table: the derivatives are worked out before either is written.
  ev_.Evaluate("t := [0, 1, 0]");
  ev_.Evaluate("InterpolCubicPrepare([0,1,2], t, t, 1e31, 1e31)");
  EXPECT_EQ(Text(ev_, "t"), "[ 0, -3, 0]");
}

TEST_F(InterpolationFormula, SplineErrors) {
  ExpectErrors({
      {"InterpolCubicPrepare([1], [1], yd, 1e31, 1e31)", "Interpolation parameters are invalid"},
      {"InterpolCubicPrepare([1,2], [1,2,3], yd, 1e31, 1e31)",
       "Interpolation parameters are invalid"},
      {"InterpolCubicPrepare(\"a\", [1,2], yd, 1e31, 1e31)",
       "Interpolation parameters are invalid"},
      {"InterpolCubicPrepare([1,2], [1,2], yd, [1], 1e31)", "Interpolation parameters are invalid"},
      {"InterpolCubicPrepare([1,2], [1,2], yd, 0, \"a\")", "Interpolation parameters are invalid"},
      {"InterpolCubic(1, r, [1,2], [1,2], [0,0,0])", "Interpolation parameters are invalid"},
      {"InterpolCubic(1, r, [1,2], [1,2], 0)", "Interpolation parameters are invalid"},
      {"InterpolCubic(1, r, [1], [1], [0])", "Interpolation parameters are invalid"},
      {"InterpolCubic(\"s\", r, [1,2], [1,2], [0,0])", "Interpolation parameters are invalid"},
      {"InterpolCubic(1, r, [1,1], [1,2], [0,0])",
       "Interpolation vector invalid or value out of bounds"},
  });
}

// ---- Polynom ----------------------------------------------------------------------------------

TEST_F(InterpolationFormula, Polynomials) {
  const struct {
    const char* formula;
    const char* text;
  } cases[] = {
      {"Polynom(2, 1, 1, 0, 0, 0, 0, 0, 0, 0)", "3"},
      {"Polynom(2, 0, 0, 0, 0, 0, 0, 0, 0, 1)", "256"},
      {"Polynom(-1, 1, 1, 1, 1, 1, 1, 1, 1, 1)", "1"},
      {"Polynom(0.5, 1, -2, 4, 0, 0, 0, 0, 0, 0)", "1"},
      {"Polynom(3, 5, 0, 0, 0, 0, 0, 0, 0, 0)", "5"},
      {"Polynom([0, 1, 2], 1, 2, 3, 0, 0, 0, 0, 0, 0)", "[ 1, 6, 17]"},
      {"Polynom(10, 1, 2, 3, 4, 5, 6, 7, 8, 9)", "987654321"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.formula);
    EXPECT_EQ(Text(ev_, c.formula), c.text);
  }
}

TEST_F(InterpolationFormula, PolynomWithCoefficientVariables) {
  ev_.Evaluate("k0 := 0");
  ev_.Evaluate("k1 := 1");
  for (const char* k : {"k2", "k3", "k4", "k5", "k6", "k7", "k8"})
    ev_.Evaluate(std::string(k) + " := 0");
  EXPECT_EQ(Text(ev_, "Polynom(7.25, k0, k1, k2, k3, k4, k5, k6, k7, k8)"), "7.25");
  ev_.Evaluate("k2 := -1");
  EXPECT_EQ(Text(ev_, "Polynom([2, 3], k0, k1, k2, k3, k4, k5, k6, k7, k8)"), "[ -2, -6]");
}

// ---- PIDLoop ----------------------------------------------------------------------------------

class PidFormula : public InterpolationFormula {
 protected:
  void Declare(double gain, double integral, double derivative, double time) {
    ev_.Evaluate("gain := " + Num(gain));
    ev_.Evaluate("integral := " + Num(integral));
    ev_.Evaluate("derivative := " + Num(derivative));
    ev_.Evaluate("time := " + Num(time));
    ev_.Evaluate("output := 0");
    ev_.Evaluate("internal1 := 0");
    ev_.Evaluate("internal2 := 0");
  }
};

TEST_F(PidFormula, ProportionalOnlyActsOnTheChangeOfTheError) {
  Declare(1, 0, 0, 1);
  const int step = ev_.AddExpression(
      "PIDLoop(2, 5, gain, integral, derivative, output, time, internal1, internal2)");
  for (int i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(ev_.GetResults(step).Value, 3.0);
    EXPECT_EQ(Number("output"), 3.0);
    EXPECT_EQ(Number("internal1"), 3.0);
  }
  EXPECT_EQ(Number("internal2"), 3.0);
}

TEST_F(PidFormula, StepsComputedByHand) {
  // gain 2, integral 0.5 per unit time, derivative 0.2, time 0.1; errors 1, 3, 2.
  Declare(2, 0.5, 0.2, 0.1);
  const struct {
    double value;
    double output;
    double internal1;
    double internal2;
  } steps[] = {
      // e=1: p=1, i=0.05, d=2*(1)=2            -> 0 + 2*3.05 = 6.1
      {9, 6.1, 1, 0},
      // e=3: p=2, i=0.15, d=2*(3-2+0)=2         -> 6.1 + 2*4.15 = 14.4
      {7, 14.4, 3, 1},
      // e=2: p=-1, i=0.1, d=2*(2-6+1)=-6        -> 14.4 + 2*(-6.9) = 0.6
      {8, 0.6, 2, 3},
  };
  const int step = ev_.AddExpression(
      "PIDLoop(v, 10, gain, integral, derivative, output, time, internal1, internal2)");
  for (const auto& s : steps) {
    SCOPED_TRACE(s.value);
    ev_.Evaluate("v := " + Num(s.value));
    EXPECT_NEAR(ev_.GetResults(step).Value, s.output, 1e-12);
    EXPECT_NEAR(Number("output"), s.output, 1e-12);
    EXPECT_EQ(Number("internal1"), s.internal1);
    EXPECT_EQ(Number("internal2"), s.internal2);
  }
}

TEST_F(PidFormula, ClosesTheLoopOnAFirstOrderPlant) {
  // A plant with time constant tau driven by the controller output, one sample per pass; the
  // integral action removes the steady-state error, so the plant settles at the set point.
  Declare(0.8, 1.5, 0.05, 0.1);
  ev_.Evaluate("plant := 0");
  ev_.Evaluate("tau := 2");
  const int control = ev_.AddExpression(
      "u := PIDLoop(plant, 25, gain, integral, derivative, output, time, internal1, internal2)");
  const int simulate = ev_.AddExpression("plant := plant + time / tau * (u - plant)");
  double peak = 0.0;
  for (int pass = 0; pass < 600; ++pass) {
    ev_.GetResults(control);
    peak = std::max(peak, ev_.GetResults(simulate).Value);
  }
  EXPECT_NEAR(Number("plant"), 25.0, 1e-6);
  EXPECT_NEAR(Number("output"), 25.0, 1e-6);
  EXPECT_NEAR(Number("internal1"), 0.0, 1e-6);
  EXPECT_GT(peak, 20.0);
  EXPECT_LT(peak, 30.0);  // settles without running away
}

}  // namespace
}  // namespace loom
