// The operators of the formula language and its scalar mathematics: arithmetic, comparison,
// logical, shift and assignment operators, and the basic, trigonometric, transcendental and
// system functions that work on single numbers (element by element over vectors).
//
// Element-wise operations compute in double so that their loops vectorise; accumulations that
// need the extra range or precision (factorial, integer power) use long double.
#include <cmath>
#include <cstdint>
#include <mutex>
#include <random>

#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/Elements.h"
#include "functions/FormulaHost.h"

namespace loom {

namespace {

// n! as the product 2 * 3 * ... * n in long double; n <= 1 gives 1. The product stops growing
// once it is infinite, so a huge n costs at most a couple of thousand multiplications.
double Factorial(std::int64_t n) {
  long double product = 1.0L;
  for (std::int64_t k = 2; k <= n && !std::isinf(product); ++k)
    product *= static_cast<long double>(k);
  return static_cast<double>(product);
}

// Quotient and remainder of the rounded operands, truncating toward zero. The one quotient that
// overflows, INT64_MIN div -1, wraps to INT64_MIN (and its remainder is 0).
std::int64_t CheckedDivisor(double b) {
  const std::int64_t divisor = RoundToInt64(b);
  if (divisor == 0) [[unlikely]]
    throw EVXParserException(rsDivisionByZero);
  return divisor;
}

double IntDiv(double a, double b) {
  const std::int64_t dividend = RoundToInt64(a);
  const std::int64_t divisor = CheckedDivisor(b);
  if (divisor == -1)
    return static_cast<double>(static_cast<std::int64_t>(0 - static_cast<std::uint64_t>(dividend)));
  return static_cast<double>(dividend / divisor);
}

double IntMod(double a, double b) {
  const std::int64_t dividend = RoundToInt64(a);
  const std::int64_t divisor = CheckedDivisor(b);
  if (divisor == -1) return 0.0;
  return static_cast<double>(dividend % divisor);
}

// Shift counts outside 0..63 give 0, as if every bit had been shifted out.
inline bool ShiftCountValid(std::int64_t count) {
  return count >= 0 && count <= 63;
}

// A whole number as a signed 32-bit integer, wrapping as a 32-bit cast of the 64-bit value.
inline double WrapToInt32(double integral) {
  return static_cast<double>(static_cast<std::int32_t>(IntegralToInt64(integral)));
}

// Appends a value's display text; strings are appended in place, without a temporary.
void AppendText(std::string& text, const TVXParsDouble& value, char decimalSeparator) {
  if (value.VarType == vtString)
    text += value.StrValue;
  else
    text += ParsDoubleAsString(value, decimalSeparator);
}

// The one generator behind Random and randg, shared by every evaluator of the process.
struct SharedGenerator {
  std::mutex mutex;  // guards engine and normal
  std::mt19937_64 engine{std::random_device{}()};
  std::normal_distribution<double> normal{0.0, 1.0};
};

SharedGenerator& Generator() {
  static SharedGenerator generator;
  return generator;
}

}  // namespace

// --- operators ---

void _VXParsFactorial(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = Factorial(RoundToInt64(rec->Arg(0).Value));
}

void _VXParsPercent(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Percent(x); });
}

void _VXParsUnaryMinus(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Negate(x); });
}

// A string or boolean argument passes only its kind.
void _VXParsUnaryPlus(TVXParsExpressionRec* rec) {
  const TVXParsDouble& a = rec->Arg(0);
  TVXParsDouble& result = rec->Result;
  result.VarType = a.VarType;
  if (a.VarType == vtDouble)
    result.Value = a.Value;
  else if (a.VarType == vtVector)
    result.Vector = a.Vector;
}

void _VXParsPower(TVXParsExpressionRec* rec) {
  const double y = rec->Arg(1).Value;
  ApplyUnary(rec, [y](double x) { return element::Power(x, y); });
}

void _VXParsIntPower(TVXParsExpressionRec* rec) {
  const std::int64_t n = RoundToInt64(rec->Arg(1).Value);
  ApplyUnary(rec, [n](double x) { return IntPower(x, n); });
}

void _VXParsMultiply(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) { return a * b; });
}

// Division by zero follows the floating-point unit: an infinity or NaN, no error.
void _VXParsDivide(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) { return a / b; });
}

void _VXParsDiv(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, IntDiv);
}

void _VXParsMod(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, IntMod);
}

// Sum, or, when a string takes part, the concatenation of both operands' display texts.
void _VXParsAdd(TVXParsExpressionRec* rec) {
  if (ApplyBinary(rec, [](double a, double b) { return a + b; }) != atArgOther) return;
  const TVXParsDouble& a = rec->Arg(0);
  const TVXParsDouble& b = rec->Arg(1);
  if (a.VarType != vtString && b.VarType != vtString) return;
  const char separator = EvaluatorOf(rec).DecimalSeparator();
  TVXParsDouble& result = rec->Result;
  result.VarType = vtString;
  result.StrValue.clear();
  AppendText(result.StrValue, a, separator);
  AppendText(result.StrValue, b, separator);
}

void _VXParsSubtract(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) { return a - b; });
}

void _VXParsShiftLeft(TVXParsExpressionRec* rec) {
  const std::int64_t count = RoundToInt64(rec->Arg(1).Value);
  ApplyUnary(rec, [count](double x) {
    const auto bits = static_cast<std::uint64_t>(RoundToInt64(x));
    return ShiftCountValid(count) ? static_cast<double>(static_cast<std::int64_t>(bits << count))
                                  : 0.0;
  });
}

// Zeros enter at the top; the 64 bits are then read back as a signed integer.
void _VXParsShiftRight(TVXParsExpressionRec* rec) {
  const std::int64_t count = RoundToInt64(rec->Arg(1).Value);
  ApplyUnary(rec, [count](double x) {
    const auto bits = static_cast<std::uint64_t>(RoundToInt64(x));
    return ShiftCountValid(count) ? static_cast<double>(static_cast<std::int64_t>(bits >> count))
                                  : 0.0;
  });
}

// The comparisons write only the number of the result; its kind comes from the word (boolean).
// >, >=, < and <= read the numbers of both arguments whatever their kinds.
void _VXParsGreater(TVXParsExpressionRec* rec) {
  rec->Result.Value = element::Greater(rec->Arg(0).Value, rec->Arg(1).Value);
}

void _VXParsGreaterEqual(TVXParsExpressionRec* rec) {
  rec->Result.Value = element::GreaterEqual(rec->Arg(0).Value, rec->Arg(1).Value);
}

void _VXParsLessEqual(TVXParsExpressionRec* rec) {
  rec->Result.Value = element::LessEqual(rec->Arg(0).Value, rec->Arg(1).Value);
}

void _VXParsLess(TVXParsExpressionRec* rec) {
  rec->Result.Value = element::Less(rec->Arg(0).Value, rec->Arg(1).Value);
}

// = and <> compare two numbers or two strings (byte-wise); every other pair, booleans
// included, is deliberately unequal and not different: both give 0.
void _VXParsNotEqual(TVXParsExpressionRec* rec) {
  const TVXParsDouble& a = rec->Arg(0);
  const TVXParsDouble& b = rec->Arg(1);
  bool truth = false;
  if (a.VarType == vtDouble && b.VarType == vtDouble)
    truth = element::NotEqual(a.Value, b.Value) != 0;
  else if (a.VarType == vtString && b.VarType == vtString)
    truth = a.StrValue != b.StrValue;
  rec->Result.Value = BoolToNumber(truth);
}

void _VXParsEqual(TVXParsExpressionRec* rec) {
  const TVXParsDouble& a = rec->Arg(0);
  const TVXParsDouble& b = rec->Arg(1);
  bool truth = false;
  if (a.VarType == vtDouble && b.VarType == vtDouble)
    truth = element::Equal(a.Value, b.Value) != 0;
  else if (a.VarType == vtString && b.VarType == vtString)
    truth = a.StrValue == b.StrValue;
  rec->Result.Value = BoolToNumber(truth);
}

// Works on the low byte only, deliberately: not 0 = 1, not 1 = 0, not 2 = 3.
void _VXParsNot(TVXParsExpressionRec* rec) {
  const auto low = static_cast<std::uint8_t>(RoundToInt64(rec->Arg(0).Value) & 0xFF);
  rec->Result.Value = static_cast<double>(low ^ 1);
}

void _VXParsOr(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) {
    return static_cast<double>(RoundToInt64(a) | RoundToInt64(b));
  });
}

void _VXParsAnd(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) {
    return static_cast<double>(RoundToInt64(a) & RoundToInt64(b));
  });
}

void _VXParsXor(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) {
    return static_cast<double>(RoundToInt64(a) ^ RoundToInt64(b));
  });
}

// Argument 0 is the target variable's own value, argument 1 the source. Only numbers, vectors
// and strings are assigned; any other source (a boolean included) leaves target and result as
// they were. The asymmetry is intended and kept.
void _VXParsAssign(TVXParsExpressionRec* rec) {
  TVXParsDouble& target = rec->Arg(0);
  const TVXParsDouble& source = rec->Arg(1);
  TVXParsDouble& result = rec->Result;
  switch (source.VarType) {
    case vtDouble:
      result.Value = source.Value;
      target.Value = source.Value;
      break;
    case vtVector:
      result.Vector = source.Vector;
      target.Vector = source.Vector;
      break;
    case vtString:
      result.StrValue = source.StrValue;
      target.StrValue = source.StrValue;
      break;
    default:
      return;
  }
  result.VarType = source.VarType;
  target.VarType = source.VarType;
}

// --- basic functions ---

// A negative argument gives NaN.
void _VXParsSqrt(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Sqrt(x); });
}

void _VXParsAbs(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Abs(x); });
}

// Ties to even; stays a double, so any magnitude is allowed.
void _VXParsRound(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Round(x); });
}

void _VXParsTrunc(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Trunc(x); });
}

void _VXParsMax(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) { return element::Max(a, b); });
}

void _VXParsMin(TVXParsExpressionRec* rec) {
  ApplyBinary(rec, [](double a, double b) { return element::Min(a, b); });
}

void _VXParsCeil(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return WrapToInt32(std::ceil(x)); });
}

void _VXParsFloor(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return WrapToInt32(std::floor(x)); });
}

void _VXParsFrac(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Frac(x); });
}

void _VXParsClamp(TVXParsExpressionRec* rec) {
  const double lower = rec->Arg(1).Value;
  const double upper = rec->Arg(2).Value;
  ApplyUnary(rec, [lower, upper](double x) {
    const double raised = x > lower ? x : lower;
    return raised < upper ? raised : upper;
  });
}

// --- trigonometric functions ---

void _VXParsSqr(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Sqr(x); });
}

void _VXParsSin(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Sin(x); });
}

void _VXParsCos(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Cos(x); });
}

void _VXParsTan(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Tan(x); });
}

void _VXParsArcsin(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Arcsin(x); });
}

void _VXParsArccos(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Arccos(x); });
}

// Numbers only: y is argument 0, x argument 1.
void _VXParsArctan2(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = std::atan2(rec->Arg(0).Value, rec->Arg(1).Value);
}

void _VXParsDegtorad(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::DegToRad(x); });
}

void _VXParsRadtodeg(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::RadToDeg(x); });
}

// --- transcendental functions ---

void _VXParsExp(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Exp(x); });
}

void _VXParsLn(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Ln(x); });
}

void _VXParsLog10(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Log10(x); });
}

// The logarithm of argument 1 to the base argument 0. Argument 1 is deliberately rounded first:
// logN(2, 8.4) is 3.
void _VXParsLogN(TVXParsExpressionRec* rec) {
  const long double logValue = std::log(static_cast<long double>(RoundToInt64(rec->Arg(1).Value)));
  ApplyUnary(rec, [logValue](double base) {
    return static_cast<double>(logValue / std::log(static_cast<long double>(base)));
  });
}

void _VXParsSinh(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Sinh(x); });
}

void _VXParsCosh(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Cosh(x); });
}

void _VXParsTanh(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Tanh(x); });
}

void _VXParsArcsinh(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Arcsinh(x); });
}

void _VXParsArccosh(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Arccosh(x); });
}

void _VXParsArctanh(TVXParsExpressionRec* rec) {
  ApplyUnary(rec, [](double x) { return element::Arctanh(x); });
}

// --- system functions ---

// Uniform in [0, 1): the top 53 bits of the generator as the fraction.
void _VXParsRandom(TVXParsExpressionRec* rec) {
  SharedGenerator& generator = Generator();
  std::uint64_t bits;
  {
    std::lock_guard lock(generator.mutex);
    bits = generator.engine();
  }
  rec->Result.VarType = vtDouble;
  rec->Result.Value = static_cast<double>(bits >> 11) * 0x1.0p-53;
}

// Gaussian with mean argument 0 and standard deviation argument 1; a deviation of 0 gives the
// mean itself.
void _VXParsRandg(TVXParsExpressionRec* rec) {
  SharedGenerator& generator = Generator();
  double z;
  {
    std::lock_guard lock(generator.mutex);
    z = generator.normal(generator.engine);
  }
  rec->Result.VarType = vtDouble;
  rec->Result.Value = rec->Arg(0).Value + rec->Arg(1).Value * z;
}

// Bit n of the low 32 bits of rounded x. n = 32 is accepted and reads bit 0, deliberately kept;
// outside 0..32 the number is 0 and the kind is left as it was.
void _VXParsBit(TVXParsExpressionRec* rec) {
  const std::int64_t n = RoundToInt64(rec->Arg(1).Value);
  if (n < 0 || n > 32) {
    rec->Result.Value = 0.0;
    return;
  }
  const unsigned shift = static_cast<unsigned>(n % 32);
  ApplyUnary(rec, [shift](double x) {
    const auto low = static_cast<std::uint32_t>(RoundToInt64(x));
    return static_cast<double>((low >> shift) & 1u);
  });
}

// Milliseconds of the monotonic clock, wrapping at 2^32 (about 49.7 days).
void _VXParsGetTickCount(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = static_cast<double>(HostOf(rec).TickCount());
}

// The local date and time, to the millisecond, as a date-time number.
void _VXParsNow(TVXParsExpressionRec* rec) {
  rec->Result.VarType = vtDouble;
  rec->Result.Value = HostOf(rec).DateTimeNow();
}

// Only the low byte of the rounded condition decides, deliberately: 256 counts as false.
void _VXParsCondEval(TVXParsExpressionRec* rec) {
  const bool condition = (RoundToInt64(rec->Arg(0).Value) & 0xFF) != 0;
  CopyParsDouble(rec->Arg(condition ? 1 : 2), rec->Result);
}

}  // namespace loom
