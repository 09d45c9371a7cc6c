// Table interpolation, the spline preparation, the polynomial and the PID loop, driven through
// the evaluator; results are read from the variables the functions write.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr const char* kParameters = "Interpolation parameters are invalid";
constexpr const char* kBounds = "Interpolation vector invalid or value out of bounds";

// Outside the table the first or last interval is extended; the function's own result is 0 and
// the result variable may be the value or a table. A natural end needs a derivative above 1e30.
TEST(Interpolation, LinearAndCubic) {
  TVXExpressionEvaluator ev;
  const OutcomeRow rows[] = {
      {"r := [1, 2, 3]", "[ 1, 2, 3]"},
      {"InterpolLin(1.5, r, [1,2], [10,20]) + \" \" + r", "\"0 15\""},
      {"VectorGetSize(r)", "0"},  // a number result clears the vector
      {"InterpolLin([1, 1.5, 2.5, 4, 6, -1], r, [1,2,3,5], [10,20,40,0]) + \" \" + r",
       "\"0 [ 10, 15, 30, 20, -20, -10]\""},
      {"v := [1.5, 2.5]\nInterpolLin(v, v, [1,2,3], [10,20,40]) + \" \" + v", "\"0 [ 15, 30]\""},
      {"xs := [1, 2, 3]\nInterpolLin([1.5, 3], xs, xs, [10, 20, 40]) + \" \" + xs",
       "\"0 [ 15, 40]\""},
      // 0.5 + ((0.125 - 0.5) * 0 + (0.125 - 0.5) * -3) / 6
      {"InterpolCubicPrepare([0,1,2], [0,1,0], yd, 2e30, 2e30)", "[ 0, -3, 0]"},
      {"InterpolCubic(0.5, r, [0,1,2], [0,1,0], yd) + \" \" + r", "\"0 0.6875\""},
      {"InterpolCubicPrepare([0,1,2], [0,1,0], yd, 1e31, 1e30)",
       "[ 0, -8.57142857142857E29, 3.42857142857143E30]"},
      // y = x^2 with the true end slopes: the spline is the parabola itself, extrapolation too.
      {"InterpolCubicPrepare([0,1,2,3], [0,1,4,9], yd, 0, 6)", "[ 2, 2, 2, 2]"},
      {"InterpolCubic([0.5, 1.5, 2.25, 3, 4], r, [0,1,2,3], [0,1,4,9], yd) + \" \" + r",
       "\"0 [ 0.25, 2.25, 5.0625, 9, 16]\""},
      // the derivatives are worked out before the y table, which is also ydvector, is written
      {"t := [0, 1, 0]\nInterpolCubicPrepare([0,1,2], t, t, 1e31, 1e31) + \" \" + t",
       "\"[ 0, -3, 0] [ 0, -3, 0]\""},
  };
  ExpectOutcomes(ev, rows);
  for (const char* formula :
       {"InterpolLin(1, r, [1,2], [10,20,30])", "InterpolLin(TRUE, r, [1,2], [10,20])",
        "InterpolCubicPrepare([1], [1], yd, 1e31, 1e31)",
        "InterpolCubicPrepare([1,2], [1,2], yd, [1], 1)",
        "InterpolCubic(1, r, [1,2], [1,2], [0,0,0])",
        "InterpolCubic(\"s\", r, [1,2], [1,2], [0,0])"})
    EXPECT_EQ(Outcome(ev, formula), kParameters) << formula;
  for (const char* formula :
       {"InterpolLin(1, r, [1,1], [10,20])", "InterpolLin(0.5, r, [1,1,2,3], [1,2,3,4])",
        "InterpolCubic(1, r, [1,1], [1,2], [0,0])"})
    EXPECT_EQ(Outcome(ev, formula), kBounds) << formula;
}

// Horner in long double, the coefficients from k0 up.
TEST(Interpolation, Polynomials) {
  TVXExpressionEvaluator ev;
  const OutcomeRow rows[] = {
      {"[Polynom(2, 0, 0, 0, 0, 0, 0, 0, 0, 1), Polynom(-1, 1, 1, 1, 1, 1, 1, 1, 1, 1), "
       "Polynom(0.5, 1, -2, 4, 0, 0, 0, 0, 0, 0), Polynom(10, 1, 2, 3, 4, 5, 6, 7, 8, 9)]",
       "[ 256, 1, 1, 987654321]"},
      {"k := -1\nPolynom([2, 3], 0, 1, k, 0, 0, 0, 0, 0, 0)", "[ -2, -6]"},
      // a boolean x is its number, and the result keeps the boolean kind
      {"Polynom(True, 1, 1, 0, 0, 0, 0, 0, 0, 0)", "True"},
      {"Polynom(False, 0, 0, 0, 0, 0, 0, 0, 0, 0)", "False"},
      {"Polynom(\"2\", 1, 1, 0, 0, 0, 0, 0, 0, 0)", "Invalid parameters"},
  };
  ExpectOutcomes(ev, rows);
}

// The velocity form: output += gain * (change of error + integral * time * error + derivative /
// time * second difference), with the state in the formula's variables. Proportional action
// alone acts on the change of the error only. With gain 2, integral 0.5 per unit time,
// derivative 0.2, time 0.1 and errors 1, 3, 2:
//   e=1: p=1, i=0.05, d=2*(1)=2         -> 0 + 2*3.05 = 6.1
//   e=3: p=2, i=0.15, d=2*(3-2+0)=2     -> 6.1 + 2*4.15 = 14.4
//   e=2: p=-1, i=0.1, d=2*(2-6+1)=-6    -> 14.4 + 2*(-6.9) = 0.6
TEST(Interpolation, PidLoopStepsComputedByHand) {
  TVXExpressionEvaluator ev;
  const std::string step =
      "[PIDLoop(v, 10, gain, integral, derivative, output, time, internal1, internal2), output, "
      "internal1, internal2]";
  Outcome(ev, "v := 7\ngain := 1\ntime := 1");
  EXPECT_EQ(Outcome(ev, step), "[ 3, 3, 3, 0]");
  EXPECT_EQ(Outcome(ev, step), "[ 3, 3, 3, 3]");
  Outcome(ev,
          "gain := 2\nintegral := 0.5\nderivative := 0.2\ntime := 0.1\noutput := 0\n"
          "internal1 := 0\ninternal2 := 0");
  for (const auto& [v, shown] : {std::pair{"9", "[ 6.1, 6.1, 1, 0]"},
                                 {"7", "[ 14.4, 14.4, 3, 1]"},
                                 {"8", "[ 0.6, 0.6, 2, 3]"}})
    EXPECT_EQ(Outcome(ev, std::string("v := ") + v + "\n" + step), shown) << v;
}

}  // namespace
}  // namespace loom
