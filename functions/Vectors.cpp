// Vector functions: building vectors, reading and writing elements, statistics, range tests,
// element-wise peak holding, the stateful filters (moving average, delay lines, histogram) and
// the channels of matrices.
//
// Functions that write into an argument write into the formula's variable itself (its value is
// what the argument points at), so the memory of every filter lives in the variable the formula
// hands in and two filters with two variables never share state. An argument may be the same
// variable as the state (MovingAverage(s, 4, s)); the bodies read such inputs before they
// reshape the state. Sums, means, RMS and deviation accumulate in long double.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "engine/Evaluator.h"
#include "engine/Messages.h"
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"

namespace loom {

namespace {

[[noreturn]] void Fail(const char* message, const char* name) {
  throw EVXParserException(FormatMessage(message, {name}));
}

[[noreturn]] void FailInvalidParameters() {
  throw EVXParserException(rsInvalidParameters);
}

[[noreturn]] void FailTooLarge(const char* name) {
  throw EVXParserException(
      FormatMessage(rsVectorTooLarge, {name, std::to_string(kMaxVectorLength)}));
}

// A number rounded for use as an integer; NaN raises as rounding does everywhere else.
double RoundedOrFail(double x) {
  const double rounded = std::nearbyint(x);
  if (std::isnan(rounded)) [[unlikely]]
    throw EVXParserException(rsInvalidFloatingPoint);
  return rounded;
}

// A count of elements from a formula: rounded, at least 0, at most kMaxVectorLength.
std::size_t ElementCount(double count, const char* name) {
  const double rounded = RoundedOrFail(count);
  if (rounded < 0) Fail(rsCountNegative, name);
  if (rounded > static_cast<double>(kMaxVectorLength)) FailTooLarge(name);
  return static_cast<std::size_t>(rounded);
}

// The length of a filter's state: rounded, at least 1 (else tooShort), at most kMaxVectorLength.
std::size_t StateLength(double length, const char* name, const char* tooShort) {
  const double rounded = RoundedOrFail(length);
  if (rounded < 1) Fail(tooShort, name);
  if (rounded > static_cast<double>(kMaxVectorLength)) FailTooLarge(name);
  return static_cast<std::size_t>(rounded);
}

// A filter's state starts afresh as `length` zeros unless it already is a vector of that length.
// (A number variable whose vector field still holds an old vector of the right length starts
// afresh too: only the vector kind carries history.)
void PrepareState(TVXParsDouble& state, std::size_t length) {
  if (state.VarType == vtVector && state.Vector.size() == length) return;
  state.VarType = vtVector;
  state.Vector.assign(length, 0.0);
}

void SetNumber(TVXParsDouble& value, double number) {
  value.VarType = vtDouble;
  value.Value = number;
}

// --- statistics ---

// A one-argument statistic: a number argument gives ofNumber(x); every other kind is read
// through its vector, as the element rule of the library reads it. The result is a number.
template <class OfNumber, class OfVector>
void Statistic(TVXParsExpressionRec* rec, OfNumber ofNumber, OfVector ofVector) {
  const TVXParsDouble& a = rec->Arg(0);
  const double value = a.VarType == vtDouble ? ofNumber(a.Value) : ofVector(a.Vector);
  SetNumber(rec->Result, value);
}

const TVXVect& NonEmpty(const TVXVect& v, const char* name) {
  if (v.empty()) [[unlikely]]
    Fail(rsVectorEmpty, name);
  return v;
}

double Identity(double x) {
  return x;
}

double Zero(double) {
  return 0.0;
}

long double SumOfSquares(const TVXVect& v) {
  long double squares = 0.0L;
  for (const double x : v) {
    const long double e = x;
    squares += e * e;
  }
  return squares;
}

long double SumOf(const TVXVect& v) {
  long double sum = 0.0L;
  for (const double x : v) sum += x;
  return sum;
}

// Running Min and Max with the comparisons of the min and max functions.
double MinOf(const TVXVect& v) {
  double m = v[0];
  for (const double x : v) m = m < x ? m : x;
  return m;
}

double MaxOf(const TVXVect& v) {
  double m = v[0];
  for (const double x : v) m = m > x ? m : x;
  return m;
}

// The index of the first extreme: only a strictly better element replaces the running one.
template <class Better>
double PositionOf(const TVXVect& v, Better better) {
  if (v.empty()) return 0.0;
  std::size_t best = 0;
  for (std::size_t i = 1; i < v.size(); ++i)
    if (better(v[i], v[best])) best = i;
  return static_cast<double>(best);
}

// --- element access ---

constexpr std::size_t kNoElement = static_cast<std::size_t>(-1);

// The element an index names, or kNoElement. The check is on the unrounded index
// (0 <= index < n); an index that passes it but rounds to n (n - 0.4) names no element either.
std::size_t ElementIndex(double index, std::size_t n) {
  if (!(index >= 0 && index < static_cast<double>(n))) return kNoElement;
  const double rounded = std::nearbyint(index);
  if (!(rounded < static_cast<double>(n))) return kNoElement;
  return static_cast<std::size_t>(rounded);
}

// A rounded start or count clamped into [0, limit].
std::size_t ClampedCount(double x, std::size_t limit) {
  const double rounded = RoundedOrFail(x);
  if (rounded <= 0) return 0;
  if (rounded >= static_cast<double>(limit)) return limit;
  return static_cast<std::size_t>(rounded);
}

// --- range tests and peak holding ---

// InRange (wantInside) and OutOfRange: the result is 1 when arg (or one of its elements) lies
// inside (outside) [min, max]; firstIndex receives the first such element's index, else 0.
void RangeTest(TVXParsExpressionRec* rec, bool wantInside) {
  const TVXParsDouble& arg = rec->Arg(0);
  const TVXParsDouble& low = rec->Arg(1);
  const TVXParsDouble& high = rec->Arg(2);
  if ((arg.VarType != vtDouble && arg.VarType != vtVector) || low.VarType != vtDouble ||
      high.VarType != vtDouble)
    FailInvalidParameters();
  const double min = low.Value;
  const double max = high.Value;
  auto matches = [&](double x) { return (min <= x && x <= max) == wantInside; };
  double found = 0.0;
  double first = 0.0;
  if (arg.VarType == vtDouble) {
    found = matches(arg.Value) ? 1.0 : 0.0;
  } else {
    const TVXVect& v = arg.Vector;
    for (std::size_t i = 0; i < v.size(); ++i) {
      if (matches(v[i])) {
        found = 1.0;
        first = static_cast<double>(i);
        break;
      }
    }
  }
  // firstIndex is written last: it may be the very variable that arg reads.
  SetNumber(rec->Result, found);
  SetNumber(rec->Arg(3), first);
}

// VectorGetLowest / VectorGetHighest: where argVector[i] beats held[i] (strictly, so the
// earliest time of an extreme stays), held[i] takes the value and times[i] the time.
template <class Beats>
void HoldPeaks(TVXParsExpressionRec* rec, Beats beats) {
  const TVXParsDouble& arg = rec->Arg(0);
  TVXParsDouble& held = rec->Arg(1);
  const TVXParsDouble& time = rec->Arg(2);
  TVXParsDouble& times = rec->Arg(3);
  if (arg.VarType != vtVector || held.VarType != vtVector || time.VarType != vtVector ||
      times.VarType != vtVector)
    FailInvalidParameters();
  const std::size_t n = arg.Vector.size();
  if (held.Vector.size() != n || time.Vector.size() != n || times.Vector.size() != n)
    FailInvalidParameters();
  for (std::size_t i = 0; i < n; ++i) {
    const double x = arg.Vector[i];
    if (beats(x, held.Vector[i])) {
      held.Vector[i] = x;
      times.Vector[i] = time.Vector[i];
    }
  }
  SetNumber(rec->Result, 0.0);
}

// --- moving average ---

// The sum of a sliding window in long double with a compensation term (Neumaier's summation),
// so that adding the newest value and taking the oldest out costs O(1) without drift: after
// any number of steps the total agrees with a fresh summation of the window to its last bits.
// Infinities and NaN are counted apart, so that one leaving the window leaves no inf - inf.
class WindowSum {
 public:
  void Add(double x) { Step(x, 1); }
  void Remove(double x) { Step(-x, -1); }

  long double Total() const {
    if (nan_ > 0 || (positiveInf_ > 0 && negativeInf_ > 0))
      return std::numeric_limits<long double>::quiet_NaN();
    if (positiveInf_ > 0) return std::numeric_limits<long double>::infinity();
    if (negativeInf_ > 0) return -std::numeric_limits<long double>::infinity();
    return sum_ + compensation_;
  }

 private:
  // x is the signed term; count is +1 when a value enters and -1 when it leaves.
  void Step(double x, std::int64_t count) {
    if (std::isnan(x)) {
      nan_ += count;
    } else if (std::isinf(x)) {
      // Removing -inf arrives as +inf: the sign of the term, times count, names the counter.
      ((x > 0) == (count > 0) ? positiveInf_ : negativeInf_) += count;
    } else {
      const long double term = x;
      const long double t = sum_ + term;
      if (std::fabs(sum_) >= std::fabs(term))
        compensation_ += (sum_ - t) + term;
      else
        compensation_ += (term - t) + sum_;
      sum_ = t;
    }
  }

  long double sum_ = 0.0L;
  long double compensation_ = 0.0L;
  std::int64_t nan_ = 0;
  std::int64_t positiveInf_ = 0;
  std::int64_t negativeInf_ = 0;
};

// Feeds x[0..n-1] through the moving average whose state s[0..length-1] holds the newest value
// first, writes the mean after each input to out[0..n-1], and leaves s as n single shifts would
// have left it. Cost O(length + n): the value leaving the window at input j is the one `length`
// places earlier in the sequence ... s[1], s[0], x[0], x[1] ..., and the state is laid out once.
void RunMovingAverage(double* s, std::size_t length, const double* x, std::size_t n, double* out) {
  WindowSum window;
  for (std::size_t k = 0; k < length; ++k) window.Add(s[k]);
  const long double divisor = static_cast<long double>(length);
  for (std::size_t j = 0; j < n; ++j) {
    const double oldest = j < length ? s[length - 1 - j] : x[j - length];
    window.Add(x[j]);
    window.Remove(oldest);
    out[j] = static_cast<double>(window.Total() / divisor);
  }
  const std::size_t fresh = std::min(n, length);
  if (fresh < length) std::memmove(s + fresh, s, (length - fresh) * sizeof(double));
  for (std::size_t k = 0; k < fresh; ++k) s[k] = x[n - 1 - k];
}

// DelayLine (forward) and DelayLineReverse: one input in, the input of `length` - 1 calls ago
// out. The forward line keeps the newest value first, the reverse line last.
void RunDelayLine(TVXParsExpressionRec* rec, bool forward, const char* name) {
  const double x = rec->Arg(0).Value;
  const std::size_t length = StateLength(rec->Arg(1).Value, name, rsLengthTooShort);
  TVXParsDouble& state = rec->Arg(2);
  PrepareState(state, length);
  double* s = state.Vector.data();
  double out;
  if (forward) {
    std::memmove(s + 1, s, (length - 1) * sizeof(double));
    s[0] = x;
    out = s[length - 1];
  } else {
    std::memmove(s, s + 1, (length - 1) * sizeof(double));
    s[length - 1] = x;
    out = s[0];
  }
  SetNumber(rec->Result, out);
}

// The values a filter reads from arg: its elements for a vector, else its number. When arg is
// the filter's own state variable its elements are copied to scratch first, since the filter
// may reshape the state before it reads them.
struct FilterInput {
  const double* data;
  std::size_t count;
  bool isVector;
};

FilterInput InputOf(const TVXParsDouble& arg, const TVXParsDouble& state, const double& number,
                    TVXVect& scratch) {
  if (arg.VarType != vtVector) return {&number, 1, false};
  if (&arg != &state) return {arg.Vector.data(), arg.Vector.size(), true};
  scratch = arg.Vector;
  return {scratch.data(), scratch.size(), true};
}

// --- matrix channels ---

// The channel index argument names: matrix a matrix, index a number with 0 <= index and
// rounded index below the channel count; anything else is "Invalid parameters".
std::size_t ChannelIndex(const TVXParsDouble& matrix, const TVXParsDouble& index) {
  if (matrix.VarType != vtMatrix || index.VarType != vtDouble) FailInvalidParameters();
  const double i = index.Value;
  if (!(i >= 0)) FailInvalidParameters();
  const double rounded = std::nearbyint(i);
  if (!(rounded < static_cast<double>(matrix.Matrix.size()))) FailInvalidParameters();
  return static_cast<std::size_t>(rounded);
}

}  // namespace

// "[a0, a1, ...]": one element per argument, each the argument's number field (a vector
// argument contributes its number field, not its elements).
void _VXParsVectorConstant(TVXParsExpressionRec* rec) {
  TVXParsDouble& result = rec->Result;
  result.VarType = vtVector;
  result.Value = 0;
  const std::size_t count = rec->ArgData.size();
  result.Vector.resize(count);
  for (std::size_t i = 0; i < count; ++i) result.Vector[i] = rec->ArgData[i]->Value;
}

// --- statistics: a number argument stands for itself (0 for positions and deviation) ---

// An empty vector is an error here: it has no first element.
void _VXParsVectorGetFirstValue(TVXParsExpressionRec* rec) {
  Statistic(rec, Identity, [](const TVXVect& v) { return NonEmpty(v, "VectorGetFirstValue")[0]; });
}

// An empty vector is an error here: it has no last element.
void _VXParsVectorGetLastValue(TVXParsExpressionRec* rec) {
  Statistic(rec, Identity,
            [](const TVXVect& v) { return NonEmpty(v, "VectorGetLastValue").back(); });
}

// An empty vector is an error here: the mean of nothing is undefined.
void _VXParsVectorGetMean(TVXParsExpressionRec* rec) {
  Statistic(rec, Identity, [](const TVXVect& v) {
    return static_cast<double>(SumOf(NonEmpty(v, "VectorGetMean")) /
                               static_cast<long double>(v.size()));
  });
}

// An empty vector is an error here, as for the mean.
void _VXParsVectorGetRMS(TVXParsExpressionRec* rec) {
  Statistic(rec, Identity, [](const TVXVect& v) {
    const long double squares = SumOfSquares(NonEmpty(v, "VectorGetRMS"));
    return static_cast<double>(std::sqrt(squares / static_cast<long double>(v.size())));
  });
}

// The sample standard deviation, sqrt((sum of squares - sum^2 / n) / (n - 1)), computed from
// the deviations from the mean: equal in exact arithmetic, without the one-pass form's
// cancellation (a constant vector gives exactly 0). One element gives that element rounded: the
// language's own rule, kept. An empty vector is an error.
void _VXParsVectorGetDeviation(TVXParsExpressionRec* rec) {
  Statistic(rec, Zero, [](const TVXVect& v) {
    const std::size_t n = NonEmpty(v, "VectorGetDeviation").size();
    if (n == 1) return static_cast<double>(RoundToInt64(v[0]));
    const long double count = static_cast<long double>(n);
    const long double mean = SumOf(v) / count;
    long double squares = 0.0L;
    for (const double x : v) {
      const long double d = x - mean;
      squares += d * d;
    }
    return static_cast<double>(std::sqrt(squares / (count - 1)));
  });
}

// An empty vector is an error here: it has no smallest element.
void _VXParsVectorGetMinimumValue(TVXParsExpressionRec* rec) {
  Statistic(rec, Identity,
            [](const TVXVect& v) { return MinOf(NonEmpty(v, "VectorGetMinimumValue")); });
}

void _VXParsVectorGetMinimumPosition(TVXParsExpressionRec* rec) {
  Statistic(rec, Zero, [](const TVXVect& v) {
    return PositionOf(v, [](double a, double b) { return a < b; });
  });
}

// An empty vector is an error here: it has no largest element.
void _VXParsVectorGetMaximumValue(TVXParsExpressionRec* rec) {
  Statistic(rec, Identity,
            [](const TVXVect& v) { return MaxOf(NonEmpty(v, "VectorGetMaximumValue")); });
}

void _VXParsVectorGetMaximumPosition(TVXParsExpressionRec* rec) {
  Statistic(rec, Zero, [](const TVXVect& v) {
    return PositionOf(v, [](double a, double b) { return a > b; });
  });
}

// An empty vector sums to 0.
void _VXParsVectorGetSum(TVXParsExpressionRec* rec) {
  Statistic(rec, Identity, [](const TVXVect& v) { return static_cast<double>(SumOf(v)); });
}

void _VXParsVectorGetSize(TVXParsExpressionRec* rec) {
  Statistic(rec, Zero, [](const TVXVect& v) { return static_cast<double>(v.size()); });
}

// --- building and reshaping vectors ---

// v grows by w's elements (or by w's number). A v of another kind becomes an empty vector
// first; w of another kind is "Invalid parameters" and leaves v as it was. The result is left
// untouched. VectorAppend(v, v) doubles v.
void _VXParsVectorAppend(TVXParsExpressionRec* rec) {
  TVXParsDouble& v = rec->Arg(0);
  const TVXParsDouble& w = rec->Arg(1);
  if (w.VarType != vtDouble && w.VarType != vtVector) FailInvalidParameters();
  // Read before v changes: w may be v.
  const bool appendVector = w.VarType == vtVector;
  const double number = w.Value;
  const std::size_t count = appendVector ? w.Vector.size() : 1;
  if (v.VarType != vtVector) {
    v.VarType = vtVector;
    v.Vector.clear();
  }
  if (count < 1) return;
  const std::size_t old = v.Vector.size();
  if (count > kMaxVectorLength - std::min(old, kMaxVectorLength)) FailTooLarge("VectorAppend");
  v.Vector.resize(old + count);
  // Taken after the resize: when w is v its first `old` elements are the ones to append.
  const double* source = appendVector ? w.Vector.data() : &number;
  std::copy_n(source, count, v.Vector.data() + old);
}

// count elements from start, clamped to the vector: a negative start counts as 0, a start
// beyond the end gives an empty vector, a count beyond the end is shortened.
void _VXParsVectorCopy(TVXParsExpressionRec* rec) {
  const TVXParsDouble& v = rec->Arg(0);
  const TVXParsDouble& start = rec->Arg(1);
  const TVXParsDouble& count = rec->Arg(2);
  if (v.VarType != vtVector || start.VarType != vtDouble || count.VarType != vtDouble)
    FailInvalidParameters();
  const std::size_t n = v.Vector.size();
  const std::size_t first = ClampedCount(start.Value, n);
  const std::size_t taken = ClampedCount(count.Value, n - first);
  TVXParsDouble& result = rec->Result;
  result.VarType = vtVector;
  result.Vector.assign(v.Vector.begin() + static_cast<std::ptrdiff_t>(first),
                       v.Vector.begin() + static_cast<std::ptrdiff_t>(first + taken));
}

// v becomes a vector of rounded count elements: new ones are 0, existing ones stay (a v of
// another kind starts empty). The result is count, unrounded.
void _VXParsVectorSetSize(TVXParsExpressionRec* rec) {
  TVXParsDouble& v = rec->Arg(0);
  const double count = rec->Arg(1).Value;
  const std::size_t size = ElementCount(count, "VectorSetSize");
  if (v.VarType != vtVector) {
    v.VarType = vtVector;
    v.Vector.clear();
  }
  v.Vector.resize(size);
  SetNumber(rec->Result, count);
}

// v[index], or 0 for an index outside the vector and for a number v.
void _VXParsVectorGetValue(TVXParsExpressionRec* rec) {
  const TVXParsDouble& v = rec->Arg(0);
  double value = 0.0;
  if (v.VarType != vtDouble) {
    const std::size_t i = ElementIndex(rec->Arg(1).Value, v.Vector.size());
    if (i != kNoElement) value = v.Vector[i];
  }
  SetNumber(rec->Result, value);
}

// v[index] := value, giving value; an index outside the vector (or a number v) changes
// nothing and gives 0.
void _VXParsVectorSetValue(TVXParsExpressionRec* rec) {
  TVXParsDouble& v = rec->Arg(0);
  const double index = rec->Arg(1).Value;
  const double value = rec->Arg(2).Value;
  double written = 0.0;
  if (v.VarType != vtDouble) {
    const std::size_t i = ElementIndex(index, v.Vector.size());
    if (i != kNoElement) {
      v.Vector[i] = value;
      written = value;
    }
  }
  SetNumber(rec->Result, written);
}

// v becomes start, start + increment, ... (rounded count elements, accumulated in double).
void _VXParsRamp(TVXParsExpressionRec* rec) {
  TVXParsDouble& v = rec->Arg(0);
  const double start = rec->Arg(1).Value;
  const double increment = rec->Arg(2).Value;
  const std::size_t size = ElementCount(rec->Arg(3).Value, "Ramp");
  v.VarType = vtVector;
  v.Vector.resize(size);
  double element = start;
  for (double& e : v.Vector) {
    e = element;
    element += increment;
  }
  SetNumber(rec->Result, 0.0);
}

// Nearest-lower sampling to rounded newsize elements: element i is v[trunc(i * n / m)], the
// position accumulated step by step. A number gives newsize copies of itself; an empty vector
// cannot be resampled to a non-empty one and is an error.
void _VXParsVectorResample(TVXParsExpressionRec* rec) {
  const TVXParsDouble& v = rec->Arg(0);
  const std::size_t m = ElementCount(rec->Arg(1).Value, "VectorResample");
  TVXParsDouble& result = rec->Result;
  result.VarType = vtVector;
  if (v.VarType == vtDouble) {
    result.Vector.assign(m, v.Value);
    return;
  }
  const std::size_t n = v.Vector.size();
  if (n == 0 && m > 0) Fail(rsVectorEmpty, "VectorResample");
  result.Vector.resize(m);
  const double step = static_cast<double>(n) / static_cast<double>(m);
  double position = 0.0;
  for (std::size_t i = 0; i < m; ++i) {
    // The accumulated position stays below n in exact arithmetic; the clamp guards rounding.
    result.Vector[i] = v.Vector[std::min(static_cast<std::size_t>(position), n - 1)];
    position += step;
  }
}

// --- range tests and peak holding ---

void _VXParsInRange(TVXParsExpressionRec* rec) {
  RangeTest(rec, true);
}

void _VXParsOutOfRange(TVXParsExpressionRec* rec) {
  RangeTest(rec, false);
}

void _VXParsVectorGetLowest(TVXParsExpressionRec* rec) {
  HoldPeaks(rec, [](double x, double held) { return x < held; });
}

void _VXParsVectorGetHighest(TVXParsExpressionRec* rec) {
  HoldPeaks(rec, [](double x, double held) { return x > held; });
}

// --- filters with state in a variable ---

// Each input shifts the state up one place, enters at element 0, and yields the mean of all
// `averagelength` elements. A length below 1 is an error.
void _VXParsMovingAverage(TVXParsExpressionRec* rec) {
  const TVXParsDouble& arg = rec->Arg(0);
  const std::size_t length = StateLength(rec->Arg(1).Value, "MovingAverage", rsLengthTooShort);
  TVXParsDouble& state = rec->Arg(2);
  const double number = arg.Value;
  TVXVect scratch;
  const FilterInput input = InputOf(arg, state, number, scratch);
  PrepareState(state, length);
  TVXParsDouble& result = rec->Result;
  double* out = &result.Value;
  if (input.isVector) {
    result.VarType = vtVector;
    result.Vector.resize(input.count);
    out = result.Vector.data();
  } else {
    result.VarType = vtDouble;
  }
  RunMovingAverage(state.Vector.data(), length, input.data, input.count, out);
}

// A delay length below 1 is an error; 1 gives the input back at once.
void _VXParsDelayLine(TVXParsExpressionRec* rec) {
  RunDelayLine(rec, true, "DelayLine");
}

void _VXParsDelayLineReverse(TVXParsExpressionRec* rec) {
  RunDelayLine(rec, false, "DelayLineReverse");
}

// Counts values into numbins bins centred on startvalue + k * width (the position is rounded,
// not truncated: the language's rule). Out-of-range values go to the end bins unless ignoreouts
// is set. Fewer than 1 bin, or endvalue = startvalue, is an error; so is a NaN position, found
// before anything is counted.
void _VXParsHistogram(TVXParsExpressionRec* rec) {
  const TVXParsDouble& arg = rec->Arg(0);
  const double start = rec->Arg(1).Value;
  const double end = rec->Arg(2).Value;
  const std::size_t bins = StateLength(rec->Arg(3).Value, "Histogram", rsBinsTooFew);
  const bool ignoreOuts = rec->Arg(4).Value != 0;
  TVXParsDouble& counts = rec->Arg(5);
  if (end == start) Fail(rsHistogramRangeEmpty, "Histogram");
  const double number = arg.Value;
  TVXParsDouble& result = rec->Result;
  // The result's unused vector is the scratch for an arg that is the counts variable itself.
  const FilterInput input = InputOf(arg, counts, number, result.Vector);
  const double scale = static_cast<double>(bins) / (end - start);
  const double offset = -start * scale;
  auto position = [&](double x) { return std::nearbyint(x * scale + offset); };
  for (std::size_t i = 0; i < input.count; ++i)
    if (std::isnan(position(input.data[i]))) throw EVXParserException(rsInvalidFloatingPoint);
  PrepareState(counts, bins);
  double* count = counts.Vector.data();
  const double limit = static_cast<double>(bins);
  double last = 0.0;
  for (std::size_t i = 0; i < input.count; ++i) {
    last = position(input.data[i]);
    if (last >= 0 && last < limit)
      count[static_cast<std::size_t>(last)] += 1;
    else if (!ignoreOuts)
      count[last < 0 ? 0 : bins - 1] += 1;
  }
  SetNumber(result, input.isVector ? 0.0 : last);
}

// --- matrix channels ---

void _VXParsMatrixGetChannelCount(TVXParsExpressionRec* rec) {
  const TVXParsDouble& matrix = rec->Arg(0);
  if (matrix.VarType != vtMatrix) FailInvalidParameters();
  SetNumber(rec->Result, static_cast<double>(matrix.Matrix.size()));
}

// The result is of the vector kind, so that the copied channel works as any other vector.
void _VXParsMatrixGetChannelVector(TVXParsExpressionRec* rec) {
  const TVXParsDouble& matrix = rec->Arg(0);
  const std::size_t i = ChannelIndex(matrix, rec->Arg(1));
  TVXParsDouble& result = rec->Result;
  result.VarType = vtVector;
  result.Vector = matrix.Matrix[i];
}

void _VXParsMatrixSetChannelVector(TVXParsExpressionRec* rec) {
  TVXParsDouble& matrix = rec->Arg(0);
  const std::size_t i = ChannelIndex(matrix, rec->Arg(1));
  const TVXParsDouble& vector = rec->Arg(2);
  if (vector.VarType != vtVector) FailInvalidParameters();
  matrix.Matrix[i] = vector.Vector;
  SetNumber(rec->Result, 0.0);
}

}  // namespace loom
