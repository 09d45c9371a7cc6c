// Table interpolation (piecewise linear and cubic spline over a characteristic given as two
// vectors), the polynomial of up to eighth degree and the incremental PID controller. The
// interpolations and the controller write into their variable arguments, which keep their
// values between evaluations.
#include <cstddef>

#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"

namespace loom {

namespace {

// The interval of a sorted x table that holds v, with the weights of its two ends. A value
// outside the table ends in the first or last interval and is extrapolated from it; only two
// equal neighbouring x values are an error.
struct TInterval {
  std::size_t lo;
  std::size_t hi;
  double a;  // weight of y[lo]
  double b;  // weight of y[hi]
  double h;  // x[hi] - x[lo]
};

TInterval FindInterval(const TVXVect& x, double v) {
  std::size_t lo = 0;
  std::size_t hi = x.size() - 1;
  while (hi - lo > 1) {
    const std::size_t k = (lo + hi) / 2;
    if (x[k] <= v)
      lo = k;
    else
      hi = k;
  }
  const double h = x[hi] - x[lo];
  if (h == 0.0) throw EVXParserException(rsInterpolationVectorInvalid);
  return {lo, hi, (x[hi] - v) / h, (v - x[lo]) / h, h};
}

bool IsTable(const TVXParsDouble& value, std::size_t length) {
  return value.VarType == vtVector && value.Vector.size() == length;
}

// The checks common to both interpolations: x and y vectors of one length of at least 2, and a
// number or vector to interpolate at.
void CheckInterpolation(const TVXParsDouble& value, const TVXParsDouble& x,
                        const TVXParsDouble& y) {
  if (x.VarType != vtVector || x.Vector.size() < 2 || !IsTable(y, x.Vector.size()) ||
      (value.VarType != vtDouble && value.VarType != vtVector))
    throw EVXParserException(rsInterpolationParametersInvalid);
}

// Writes f(value) into the result variable: a number for a number (its vector cleared), a
// vector of f of every element for a vector. When the result variable is also one of the
// tables, the values are gathered first so that the tables stay intact while they are read.
template <class F>
void WriteInterpolated(TVXParsExpressionRec* rec, F f) {
  const TVXParsDouble& value = rec->Arg(0);
  TVXParsDouble& result = rec->Arg(1);
  if (value.VarType == vtDouble) {
    const double y = f(value.Value);
    result.VarType = vtDouble;
    result.Value = y;
    result.Vector.clear();
    return;
  }
  bool aliased = false;
  for (std::size_t i = 2; i < rec->ArgCount(); ++i) aliased |= &rec->Arg(i) == &result;
  if (aliased) {
    TVXVect values(value.Vector.size());
    for (std::size_t i = 0; i < values.size(); ++i) values[i] = f(value.Vector[i]);
    result.Vector.swap(values);
  } else {
    // Element i depends on value[i] only, so result may be the value variable itself.
    MapVector(result.Vector, value.Vector, f);
  }
  result.VarType = vtVector;
}

// One end condition of the spline: above the threshold the end is natural (zero curvature),
// otherwise the value is the first derivative there. The threshold is deliberately one plus
// 1e30: 1e31 means natural, 1e30 still counts as a derivative.
bool IsNaturalEnd(double derivative) {
  return derivative - 1.0 > 1e30;
}

}  // namespace

// InterpolLin(value, result, xvector, yvector): result := the straight line through the
// interval that holds value. The function's own result is left as it is.
void _VXParsInterpolLin(TVXParsExpressionRec* rec) {
  const TVXParsDouble& x = rec->Arg(2);
  const TVXParsDouble& y = rec->Arg(3);
  CheckInterpolation(rec->Arg(0), x, y);
  WriteInterpolated(rec, [&](double v) {
    const TInterval s = FindInterval(x.Vector, v);
    return s.a * y.Vector[s.lo] + s.b * y.Vector[s.hi];
  });
}

// InterpolCubic(value, result, xvector, yvector, ydvector): result := the cubic spline whose
// second derivatives InterpolCubicPrepare put into ydvector.
void _VXParsInterpolCubic(TVXParsExpressionRec* rec) {
  const TVXParsDouble& x = rec->Arg(2);
  const TVXParsDouble& y = rec->Arg(3);
  const TVXParsDouble& yd = rec->Arg(4);
  CheckInterpolation(rec->Arg(0), x, y);
  if (!IsTable(yd, x.Vector.size())) throw EVXParserException(rsInterpolationParametersInvalid);
  WriteInterpolated(rec, [&](double v) {
    const TInterval s = FindInterval(x.Vector, v);
    return s.a * y.Vector[s.lo] + s.b * y.Vector[s.hi] +
           ((s.a * s.a * s.a - s.a) * yd.Vector[s.lo] + (s.b * s.b * s.b - s.b) * yd.Vector[s.hi]) *
               (s.h * s.h) / 6.0;
  });
}

// InterpolCubicPrepare(xvector, yvector, ydvector, yd0, ydn): ydvector := the second
// derivatives of the cubic spline through the points, with the first derivative yd0 at the
// start and ydn at the end (natural ends above 1e30). The function's result is the same vector.
void _VXParsInterpolCubicPrepare(TVXParsExpressionRec* rec) {
  const TVXParsDouble& xs = rec->Arg(0);
  const TVXParsDouble& ys = rec->Arg(1);
  const TVXParsDouble& start = rec->Arg(3);
  const TVXParsDouble& end = rec->Arg(4);
  if (xs.VarType != vtVector || xs.Vector.size() < 2 || !IsTable(ys, xs.Vector.size()) ||
      start.VarType != vtDouble || end.VarType != vtDouble)
    throw EVXParserException(rsInterpolationParametersInvalid);
  const TVXVect& x = xs.Vector;
  const TVXVect& y = ys.Vector;
  const std::size_t n = x.size();
  // Worked in the result's own vector and a per-thread u, then copied into ydvector: ydvector
  // may be one of the tables.
  TVXVect& yd = rec->Result.Vector;
  thread_local TVXVect u;
  yd.resize(n);
  u.resize(n);
  if (IsNaturalEnd(start.Value)) {
    yd[0] = 0.0;
    u[0] = 0.0;
  } else {
    yd[0] = -0.5;
    u[0] = (3.0 / (x[1] - x[0])) * ((y[1] - y[0]) / (x[1] - x[0]) - start.Value);
  }
  for (std::size_t i = 1; i + 1 < n; ++i) {
    const double sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1]);
    const double p = sig * yd[i - 1] + 2.0;
    yd[i] = (sig - 1.0) / p;
    u[i] = (6.0 * ((y[i + 1] - y[i]) / (x[i + 1] - x[i]) - (y[i] - y[i - 1]) / (x[i] - x[i - 1])) /
                (x[i + 1] - x[i - 1]) -
            sig * u[i - 1]) /
           p;
  }
  double qn = 0.0;
  double un = 0.0;
  if (!IsNaturalEnd(end.Value)) {
    qn = 0.5;
    un =
        (3.0 / (x[n - 1] - x[n - 2])) * (end.Value - (y[n - 1] - y[n - 2]) / (x[n - 1] - x[n - 2]));
  }
  yd[n - 1] = (un - qn * u[n - 2]) / (qn * yd[n - 2] + 1.0);
  for (std::size_t k = n - 1; k-- > 0;) yd[k] = yd[k] * yd[k + 1] + u[k];
  rec->Result.VarType = vtVector;
  TVXParsDouble& target = rec->Arg(2);
  target.VarType = vtVector;
  target.Vector = yd;
}

// Polynom(x, k0, ..., k8): k0 + k1 x + ... + k8 x^8 by Horner's rule in extended precision. A
// vector x gives the polynomial of every element; a number or a boolean x is its number, and the
// result takes x's kind (Polynom(True, 1, 1, ...) is 2, True). Text has no number to take.
void _VXParsPolynom(TVXParsExpressionRec* rec) {
  long double k[9];
  for (std::size_t i = 0; i < 9; ++i) k[i] = rec->Arg(i + 1).Value;
  auto horner = [&](double x) {
    const long double lx = x;
    long double sum = k[8];
    for (std::size_t i = 8; i-- > 0;) sum = sum * lx + k[i];
    return static_cast<double>(sum);
  };
  const TVXParsDouble& x = rec->Arg(0);
  if (x.VarType == vtVector) {
    ApplyUnary(rec, horner);
  } else if (x.VarType == vtDouble || x.VarType == vtBoolean) {
    rec->Result.VarType = x.VarType;
    rec->Result.Value = horner(x.Value);
  } else {
    throw EVXParserException(rsInvalidParameters);
  }
}

// PIDLoop(value, setpoint, gain, integral, derivative, output, time, internal1, internal2): one
// step of the incremental (velocity-form) controller. output, internal1 (the last error) and
// internal2 (the error before it) are the controller's state, written back into their
// variables; integral is a gain per unit of time, derivative a time constant, time the sample
// interval. No limit and no anti-windup: a formula clamps the output itself where it must.
void _VXParsPIDLoop(TVXParsExpressionRec* rec) {
  const double value = rec->Arg(0).Value;
  const double setpoint = rec->Arg(1).Value;
  const double gain = rec->Arg(2).Value;
  const double integral = rec->Arg(3).Value;
  const double derivative = rec->Arg(4).Value;
  const double output = rec->Arg(5).Value;
  const double time = rec->Arg(6).Value;
  const double lastError = rec->Arg(7).Value;
  const double errorBefore = rec->Arg(8).Value;

  const double e = setpoint - value;
  const double p = e - lastError;
  const double i = integral * time * e;
  const double d = (derivative / time) * (e - 2.0 * lastError + errorBefore);
  const double newOutput = output + gain * (p + i + d);

  TVXParsDouble& internal2 = rec->Arg(8);
  internal2.VarType = vtDouble;
  internal2.Value = lastError;
  TVXParsDouble& internal1 = rec->Arg(7);
  internal1.VarType = vtDouble;
  internal1.Value = e;
  TVXParsDouble& out = rec->Arg(5);
  out.VarType = vtDouble;
  out.Value = newOutput;
  rec->Result.VarType = vtDouble;
  rec->Result.Value = newOutput;
}

}  // namespace loom
