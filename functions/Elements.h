// The element operations of the arithmetic words: what one element of a result is, given one
// element (or number) of each argument.
//
// The bodies apply them through the broadcasting and element rules, and the registry hands the
// very same functions to the fast path of arithmetic formulas, so both paths compute the same
// results. Element-wise operations compute in double so that their loops vectorise; integer
// powers accumulate in long double.
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>

#include "functions/BodyHelpers.h"

namespace loom {

// The comparisons' tolerance: it makes >= and <= slightly generous and = and <> an almost exact
// comparison. Intended as it stands.
constexpr long double kCompareTolerance = 1e-30L;

inline double BoolToNumber(bool truth) {
  return truth ? 1.0 : 0.0;
}

// x^n by repeated squaring; a negative n gives 1 / x^|n|.
inline double IntPower(double x, std::int64_t n) {
  std::uint64_t e = n < 0 ? 0 - static_cast<std::uint64_t>(n) : static_cast<std::uint64_t>(n);
  long double base = x;
  long double product = 1.0L;
  while (e != 0) {
    if (e & 1) product *= base;
    e >>= 1;
    if (e != 0) base *= base;
  }
  return static_cast<double>(n < 0 ? 1.0L / product : product);
}

// The element operations of the arithmetic words. The bodies apply them through the
// broadcasting and element rules; the fast path of arithmetic formulas applies the very same
// functions, so both paths compute the same results.
namespace element {
inline double Percent(double x) {
  return x * 0.01;
}
inline double Negate(double x) {
  return -x;
}
inline double Power(double x, double y) {
  return std::pow(x, y);
}
inline double IntegerPower(double x, double n) {
  return IntPower(x, RoundToInt64(n));
}
// IntegerPower with its exponent fixed at compile time: the same loop, unrolled.
template <std::int64_t N>
double IntegerPowerOf(double x) {
  return IntPower(x, N);
}
// IntegerPower(x, n) as a function of x alone, for the small exponents that formulas write as
// literals (a^2); null for any other n.
inline double (*IntegerPowerWith(double n))(double) {
  static constexpr double (*kForms[])(double) = {
      &IntegerPowerOf<-2>, &IntegerPowerOf<-1>, &IntegerPowerOf<0>, &IntegerPowerOf<1>,
      &IntegerPowerOf<2>,  &IntegerPowerOf<3>,  &IntegerPowerOf<4>};
  if (n != std::trunc(n) || n < -2 || n > 4) return nullptr;
  return kForms[static_cast<int>(n) + 2];
}
inline double Greater(double a, double b) {
  return BoolToNumber(a > b);
}
inline double GreaterEqual(double a, double b) {
  return BoolToNumber(static_cast<long double>(a) + kCompareTolerance >= b);
}
inline double LessEqual(double a, double b) {
  return BoolToNumber(static_cast<long double>(b) + kCompareTolerance >= a);
}
inline double Less(double a, double b) {
  return BoolToNumber(a < b);
}
inline double Equal(double a, double b) {
  return BoolToNumber(std::fabs(static_cast<long double>(a) - b) < kCompareTolerance);
}
inline double NotEqual(double a, double b) {
  return BoolToNumber(std::fabs(static_cast<long double>(a) - b) > kCompareTolerance);
}
inline double Sqrt(double x) {
  return std::sqrt(x);
}
inline double Abs(double x) {
  return std::fabs(x);
}
inline double Round(double x) {
  return std::nearbyint(x);
}
inline double Trunc(double x) {
  return std::trunc(x);
}
inline double Max(double a, double b) {
  return a > b ? a : b;
}
inline double Min(double a, double b) {
  return a < b ? a : b;
}
inline double Frac(double x) {
  return x - std::trunc(x);
}
inline double Sqr(double x) {
  return x * x;
}
inline double Sin(double x) {
  return std::sin(x);
}
inline double Cos(double x) {
  return std::cos(x);
}
inline double Tan(double x) {
  return std::tan(x);
}
inline double Arcsin(double x) {
  return std::asin(x);
}
inline double Arccos(double x) {
  return std::acos(x);
}
inline double DegToRad(double x) {
  return x * std::numbers::pi / 180.0;
}
inline double RadToDeg(double x) {
  return x * 180.0 / std::numbers::pi;
}
inline double Exp(double x) {
  return std::exp(x);
}
inline double Ln(double x) {
  return std::log(x);
}
inline double Log10(double x) {
  return std::log10(x);
}
inline double Sinh(double x) {
  return std::sinh(x);
}
inline double Cosh(double x) {
  return std::cosh(x);
}
inline double Tanh(double x) {
  return std::tanh(x);
}
inline double Arcsinh(double x) {
  return std::asinh(x);
}
inline double Arccosh(double x) {
  return std::acosh(x);
}
inline double Arctanh(double x) {
  return std::atanh(x);
}
}  // namespace element

}  // namespace loom
