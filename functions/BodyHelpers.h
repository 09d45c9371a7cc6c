// Building blocks shared by the function bodies: the conversion of numbers to integers, the
// classification of argument kinds, the broadcasting and element rules, and day numbers.
//
// Every helper writes into rec->Result in place and resizes its vector rather than replacing
// it, so a node that yields the same shape on every evaluation stops allocating after the first.
#pragma once

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "engine/Evaluator.h"
#include "engine/Messages.h"
#include "engine/ParserClasses.h"

namespace loom {

// 2^63: the first double above the signed 64-bit range (its lower end, -2^63, is exact).
inline constexpr double kInt64Limit = 9223372036854775808.0;

// An integral double as a signed 64-bit integer. NaN, infinities and values outside the range
// raise "Invalid floating point operation", as the conversion unit of the processor would.
inline std::int64_t IntegralToInt64(double integral) {
  if (!(integral >= -kInt64Limit && integral < kInt64Limit)) [[unlikely]]
    throw EVXParserException(rsInvalidFloatingPoint);
  return static_cast<std::int64_t>(integral);
}

// "Rounded": to the nearest integer, ties to even (2.5 gives 2, 3.5 gives 4).
inline std::int64_t RoundToInt64(double x) {
  return IntegralToInt64(std::nearbyint(x));
}

// The kind pair of two arguments. Only numbers and vectors classify; a string, a boolean or a
// matrix on either side gives atArgOther. The first four pairs are numbered kind0 * 2 + kind1.
inline TVXPArsArgsType ClassifyArgs(const TVXParsDouble& a, const TVXParsDouble& b) {
  static_assert(vtDouble == 0 && vtVector == 1 && atArg0DoubleArg1Vector == 1 &&
                atArg0VectorArg1Double == 2 && atArg0VectorArg1Vector == 3);
  if (a.VarType <= vtVector && b.VarType <= vtVector)
    return static_cast<TVXPArsArgsType>(a.VarType * 2 + b.VarType);
  return atArgOther;
}

// dst[i] = f(src[i]) over the whole of src; dst takes src's length and keeps its storage.
template <class F>
inline void MapVector(TVXVect& dst, const TVXVect& src, F f) {
  const std::size_t n = src.size();
  dst.resize(n);
  const double* s = src.data();
  double* d = dst.data();
  for (std::size_t i = 0; i < n; ++i) d[i] = f(s[i]);
}

// The element rule of one-argument functions: the result takes argument 0's kind; a number
// gives f(x), every other kind (boolean and string included) is read as its vector, element by
// element. Wrong kinds are deliberately no error: the unused fields simply stay as they were.
template <class F>
inline void ApplyUnary(TVXParsExpressionRec* rec, F f) {
  const TVXParsDouble& a = rec->Arg(0);
  TVXParsDouble& result = rec->Result;
  result.VarType = a.VarType;
  if (a.VarType == vtDouble) [[likely]] {
    result.Value = f(a.Value);
    return;
  }
  MapVector(result.Vector, a.Vector, f);
}

// The broadcasting rule of two-argument operations: number with number gives a number; number
// with vector applies op between the number and every element; two vectors must be of one
// length ("vector sizes are not matched"). Any other pair computes nothing and leaves the
// result of the vector kind with whatever vector it held; callers that treat such pairs
// themselves (string concatenation) look at the returned kind pair.
template <class Op>
inline TVXPArsArgsType ApplyBinary(TVXParsExpressionRec* rec, Op op) {
  const TVXParsDouble& a = rec->Arg(0);
  const TVXParsDouble& b = rec->Arg(1);
  TVXParsDouble& result = rec->Result;
  const TVXPArsArgsType kinds = ClassifyArgs(a, b);
  if (kinds == atArg0DoubleArg1Double) [[likely]] {
    result.VarType = vtDouble;
    result.Value = op(a.Value, b.Value);
    return kinds;
  }
  result.VarType = vtVector;
  switch (kinds) {
    case atArg0DoubleArg1Vector: {
      const double x = a.Value;
      MapVector(result.Vector, b.Vector, [&](double y) { return op(x, y); });
      break;
    }
    case atArg0VectorArg1Double: {
      const double y = b.Value;
      MapVector(result.Vector, a.Vector, [&](double x) { return op(x, y); });
      break;
    }
    case atArg0VectorArg1Vector: {
      const std::size_t n = a.Vector.size();
      if (b.Vector.size() != n) throw EVXParserException(rsVectorSizesNotMatched);
      result.Vector.resize(n);
      const double* x = a.Vector.data();
      const double* y = b.Vector.data();
      double* d = result.Vector.data();
      for (std::size_t i = 0; i < n; ++i) d[i] = op(x[i], y[i]);
      break;
    }
    default:
      break;
  }
  return kinds;
}

// Days between 1899-12-30, day 0 of the language's date-time numbers, and 1970-01-01.
inline constexpr int kUnixEpochDayNumber = 25569;

// A calendar date and a time of day as a date-time number: whole days since 1899-12-30 plus the
// time as the fraction of a day. Valid for dates from day 0 on.
inline double EncodeDayNumber(int year, unsigned month, unsigned day, double secondsOfDay) {
  const std::chrono::sys_days date{std::chrono::year{year} / std::chrono::month{month} /
                                   std::chrono::day{day}};
  return static_cast<double>(date.time_since_epoch().count() + kUnixEpochDayNumber) +
         secondsOfDay / 86400.0;
}

}  // namespace loom
