// The registry: every word of the formula language, one table row per word.
//
// FillExpressList registers, in this order, the brackets, the vector brackets, the list
// separator, the constants, the operators and the functions group by group. The word list keeps
// the first registration of a name, so the order of the rows decides which word owns a name
// whenever two rows share one (see the end of the serial output group and the C-style table).
// Syntax texts, help pages and defaults are shown by the property page exactly as written here,
// odd spellings included. A row's last column holds its facts: the arguments a function writes
// into, or the element operation of the fast path. Adding a function is one row and one body.
#include "functions/Registry.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "engine/Kernel.h"
#include "functions/Bodies.h"
#include "functions/Elements.h"

namespace loom {
namespace {

// The word class of a row: it fixes the word's kind for the syntax check and whether constant
// folding may evaluate it ahead of time.
enum class WordClass : std::uint8_t {
  kFunction,  // TVXParsFunction
  kVarying,   // TVXParsVaryingFunction: evaluated on every pass, never folded
  kBoolean,   // TVXParsBooleanFunction: yields a boolean to the syntax check
  kJump,      // TVXParsJumpFunction: a jump command
};

constexpr WordClass F = WordClass::kFunction;
constexpr WordClass V = WordClass::kVarying;
constexpr WordClass B = WordClass::kBoolean;
constexpr WordClass J = WordClass::kJump;

struct ConstantRow {
  const char* name;
  double value;
  const char* description;
  bool holdsBoolean = false;  // TRUE and FALSE hold booleans, the others numbers
};

// What a row tells beyond the word itself: the arguments a function writes into (results it
// hands back through a variable, or state it keeps there; they may not be constants), or the
// element operation that the fast path of arithmetic formulas computes for a pure arithmetic word.
struct RowFacts {
  std::uint32_t writes = 0;
  TVXParsKernel kernel = {};
};

template <int... Args>
constexpr RowFacts Writes{((std::uint32_t{1} << Args) | ...), {}};
constexpr RowFacts Fast(TVXKernelOp op) {
  return {0, {op}};
}
// The block functions of element operations: the operation inlined into the loop.
template <double (*F)(double)>
void UnaryBlock(const double* x, double* out, std::size_t n) {
  for (std::size_t i = 0; i < n; ++i) out[i] = F(x[i]);
}
template <double (*F)(double, double)>
void BinaryBlock(const double* x, bool xs, const double* y, bool ys, double* out, std::size_t n) {
  ApplyBlock(x, xs, y, ys, out, n, [](double a, double b) { return F(a, b); });
}

template <double (*F)(double)>
constexpr RowFacts Unary() {
  return {0, {TVXKernelOp::kUnary, F, nullptr, false, &UnaryBlock<F>}};
}
template <double (*F)(double, double)>
constexpr RowFacts Binary() {
  return {0, {TVXKernelOp::kBinary, nullptr, F, false, nullptr, &BinaryBlock<F>}};
}
template <double (*F)(double, double)>
constexpr RowFacts ScalarRight(bool mayThrow = false,
                               double (*(*withRight)(double))(double) = nullptr) {
  return {0,
          {TVXKernelOp::kScalarRight, nullptr, F, mayThrow, nullptr, &BinaryBlock<F>, withRight}};
}
constexpr RowFacts Compare(double (*f)(double, double)) {
  return {0, {TVXKernelOp::kCompare, nullptr, f}};
}
using enum TVXKernelOp;
// ^@ and intpower: the rounding of the exponent may raise; small constant exponents have
// unrolled forms.
constexpr RowFacts kIntegerPower =
    ScalarRight<element::IntegerPower>(/*mayThrow=*/true, &element::IntegerPowerWith);

struct OperatorRow {
  const char* name;
  WordClass cls;
  int args;
  int precedence;
  TVXParsProc body;
  const char* helpFile;
  const char* description;
  RowFacts facts = {};
};

struct FunctionRow {
  const char* name;
  WordClass cls;
  int args;
  TVXParsProc body;
  const char* syntax;
  const char* helpFile;
  const char* description;
  RowFacts facts = {};
  const char* defaults = "";
};

struct FunctionGroup {
  TVXParsFunctionType type;
  std::span<const FunctionRow> rows;
};

constexpr const char* kConstantsHelp = "Constants.htm";

// Example declarations that the property page pastes with the function: one per line.
constexpr const char* kPIDLoopDefaults =
    "gain := 1\rintegral := 0\rderivative := 0\routput := 0\rtime := 1\rinternal1 := 0\r"
    "internal2 := 0";
constexpr const char* kPolynomDefaults =
    "k0 := 0\rk1 := 1\rk2 := 0\rk3 := 0\rk4 := 0\rk5 := 0\rk6 := 0\rk7 := 0\rk8 := 0";

// clang-format off

// pi alone is a number constant. Every other constant is deliberately a boolean constant: the
// syntax check sees a boolean. TRUE and FALSE also hold boolean values; the others hold numbers,
// so that they can be passed wherever a number is required (FILE_END, TC_TYPE_K, ...).
constexpr ConstantRow kConstants[] = {
  {"TRUE",                                 1, "", true},
  {"FALSE",                                0, "", true},
  {"FILE_CURRENT",                         1, "Seek from current file Position"},
  {"FILE_BEGIN",                           0, "Seek from begin of file"},
  {"FILE_END",                             2, "Seek from end of file"},
  {"INVALID_FILEHANDLE",          4294967295, "Invalid filehandle constant"},
  {"TC_TYPE_NONE",                         0, "Thermocouple no linearization"},
  {"TC_TYPE_B",                            1, "Thermocouple type B"},
  {"TC_TYPE_E",                            2, "Thermocouple type E"},
  {"TC_TYPE_J",                            3, "Thermocouple type J"},
  {"TC_TYPE_K",                            4, "Thermocouple type K"},
  {"TC_TYPE_N",                            5, "Thermocouple type N"},
  {"TC_TYPE_R",                            6, "Thermocouple type R"},
  {"TC_TYPE_S",                            7, "Thermocouple type S"},
  {"TC_TYPE_T",                            8, "Thermocouple type T"},
  {"WINDOW_RECTANGLE",                     0, "FFT Window: Rectangle"},
  {"WINDOW_HANNING",                       1, "FFT Window: Hanning"},
  {"WINDOW_HAMMING",                       2, "FFT Window: Hamming"},
  {"WINDOW_BLACKMAN",                      3, "FFT Window: Blackman"},
  // Window 4 has no name; the spectral functions still accept the number.
  {"WINDOW_HANN",                          5, "FFT Window: Hann"},
  {"WINDOW_BLACKMAN_HARRIS_67DB",          6, "FFT Window: Blackman Harris 67 dB"},
  {"WINDOW_BLACKMAN_HARRIS_92DB",          7, "FFT Window: Blackman Harris 92 dB"},
  {"SERIAL_NO_INPUT",                      0, "No input"},
  {"SERIAL_RECEIVE_FIXED_NUMBER_OF_BYTES", 1, "Fixed char count input"},
  {"SERIAL_WAIT_FOR_BYTE_SEQUENCE",        2, "Character sequence"},
};

// A smaller precedence binds tighter. The shift operators bind like multiplication and share the
// minus operator's help page; both are intended. The "@" forms are internal spellings that the
// tokenizer produces (unary minus and plus, power with an integer exponent) and have no page.
constexpr OperatorRow kOperators[] = {
  // name class args prec body                help file                                       description  (facts)
  {"!",   F, 1,  10, _VXParsFactorial,    "!_(Factorial)_Operator.htm",                  "Factorial (postfix)"},
  {"%",   F, 1,  10, _VXParsPercent,      "__(Percentage)_Operator.htm",                 "Percent: the value times 0.01 (postfix)", Unary<element::Percent>()},
  {"-@",  F, 1,  10, _VXParsUnaryMinus,   "",                                            "Unary minus", Unary<element::Negate>()},
  {"+@",  F, 1,  10, _VXParsUnaryPlus,    "",                                            "Unary plus", Fast(kCopy)},
  {"^",   F, 2,  20, _VXParsPower,        "^_(Power)_Operator.htm",                      "Power with a real exponent", ScalarRight<element::Power>()},
  {"^@",  F, 2,  20, _VXParsIntPower,     "",                                            "Power with an integer exponent", kIntegerPower},
  {"*",   F, 2,  30, _VXParsMultiply,     "__(Multiplication)_Operator.htm",             "Multiplication", Fast(kMultiply)},
  {"/",   F, 2,  30, _VXParsDivide,       "__(Division)_Operator.htm",                   "Division", Fast(kDivide)},
  {"div", F, 2,  30, _VXParsDiv,          "div_(Integer_Division)_Operator.htm",         "Integer division, truncating toward zero"},
  {"mod", F, 2,  30, _VXParsMod,          "mod_(Modulo)_Operator.htm",                   "Remainder of the integer division"},
  {"+",   F, 2,  40, _VXParsAdd,          "+_(Sum___Concatenation)_Operator.htm",        "Sum, or concatenation when a string takes part", Fast(kAdd)},
  {"-",   F, 2,  40, _VXParsSubtract,     "-_(Minus)_Operator.htm",                      "Difference", Fast(kSubtract)},
  {"<<",  F, 2,  30, _VXParsShiftLeft,    "-_(Minus)_Operator.htm",                      "Shift left by a number of bits"},
  {">>",  F, 2,  30, _VXParsShiftRight,   "-_(Minus)_Operator.htm",                      "Shift right by a number of bits, zeros entering at the top"},
  {">",   B, 2,  50, _VXParsGreater,      "__(Greater_Than)_Operator.htm",               "Greater than", Compare(element::Greater)},
  {">=",  B, 2,  50, _VXParsGreaterEqual, "_=_(Greater_Than_or_Equal_To)_Operator.htm",  "Greater than or equal to", Compare(element::GreaterEqual)},
  {"<=",  B, 2,  50, _VXParsLessEqual,    "_=_(Less_Than_or_Equal_To)_Operator.htm",     "Less than or equal to", Compare(element::LessEqual)},
  {"<",   B, 2,  50, _VXParsLess,         "__(Less_Than)_Operator.htm",                  "Less than", Compare(element::Less)},
  {"<>",  B, 2,  50, _VXParsNotEqual,     "___(Not_Equal_To)_Operator.htm",              "Not equal to", Compare(element::NotEqual)},
  {"=",   B, 2,  50, _VXParsEqual,        "=_(Equal_To)_Operator.htm",                   "Equal to", Compare(element::Equal)},
  {"not", B, 1,  60, _VXParsNot,          "NOT_Operator.htm",                            "Logical not"},
  {"or",  B, 2,  70, _VXParsOr,           "OR_Operator.htm",                             "Bitwise or of the rounded operands"},
  {"and", B, 2,  70, _VXParsAnd,          "And_Operator.htm",                            "Bitwise and of the rounded operands"},
  {"xor", B, 2,  70, _VXParsXor,          "XOR_Operator.htm",                            "Bitwise exclusive or of the rounded operands"},
  {":=",  F, 2, 200, _VXParsAssign,       "_=_(Assignment)_Operator.htm",                "Assignment to a variable", Fast(kAssign)},
};

// power and pow share one body and one help page. MovingAverage belongs to this group.
constexpr FunctionRow kBasicFunctions[] = {
  // name           class args body                  syntax                                               help file                     description  (facts)
  {"sqrt",          F, 1, _VXParsSqrt,          "Sqrt( arg )",                                       "Sqrt_Function.htm",          "Square root", Unary<element::Sqrt>()},
  {"abs",           F, 1, _VXParsAbs,           "Abs( arg )",                                        "Abs_Function.htm",           "Absolute value", Unary<element::Abs>()},
  {"round",         F, 1, _VXParsRound,         "Round( arg )",                                      "Round_Function.htm",         "Nearest integer, halves to the even neighbour", Unary<element::Round>()},
  {"trunc",         F, 1, _VXParsTrunc,         "Trunc( arg )",                                      "Trunc_Function.htm",         "Integer part, truncated toward zero", Unary<element::Trunc>()},
  {"power",         F, 2, _VXParsPower,         "Power( base, exponent )",                           "Power_Function.htm",         "Base raised to a real exponent", ScalarRight<element::Power>()},
  {"pow",           F, 2, _VXParsPower,         "Pow( base, exponent )",                             "Power_Function.htm",         "Base raised to a real exponent", ScalarRight<element::Power>()},
  {"intpower",      F, 2, _VXParsIntPower,      "IntPower( base, exponent )",                        "IntPower_Function.htm",      "Base raised to an integer exponent", kIntegerPower},
  {"max",           F, 2, _VXParsMax,           "Max( arg1, arg2 )",                                 "Max_Function.htm",           "The larger of two values", Binary<element::Max>()},
  {"min",           F, 2, _VXParsMin,           "Min( arg1, arg2 )",                                 "Min_Function.htm",           "The smaller of two values", Binary<element::Min>()},
  {"Ceil",          F, 1, _VXParsCeil,          "Ceil( arg )",                                       "Ceil_Function.htm",          "Smallest integer not below the value"},
  {"Floor",         F, 1, _VXParsFloor,         "Floor( arg )",                                      "Floor_Function.htm",         "Largest integer not above the value"},
  {"Frac",          F, 1, _VXParsFrac,          "Frac( arg )",                                       "Frac_Function.htm",          "Fractional part", Unary<element::Frac>()},
  {"Clamp",         F, 3, _VXParsClamp,         "Clamp( arg, min, max )",                            "Clamp_Function.htm",         "The value limited to a range"},
  {"MovingAverage", F, 3, _VXParsMovingAverage, "MovingAverage( arg, averagelength, averagevector )", "MovingAverage_Function.htm", "Moving average kept in a state vector", Writes<2>},
};

// The temperature unit conversions belong to this group; their help pages keep the spellings
// "Celcius" and, as a source unit, "Farenheit".
constexpr FunctionRow kSpecialFunctions[] = {
  // name                           class args body                                  syntax                                                                                      help file                                   description  (facts)
  {"PIDLoop",                       F,  9, _VXParsPIDLoop,                       "PIDLoop( value, setpoint, gain, integral, derivative, output, time, internal1, internal2)", "PIDLoop_Function.htm",                    "Incremental PID controller", Writes<5, 7, 8>, kPIDLoopDefaults},
  {"Polynom",                       F, 10, _VXParsPolynom,                       "Polynom( x, k0, k1, k2, k3, k4, k5, k6, k7, k8 )",                                          "Polynom_(Polynomial)_Function.htm",       "Polynomial of up to eighth degree", {}, kPolynomDefaults},
  {"TCVoltageToTemperature",        F,  2, _VXParsTCVoltageToTemperature,        "TCVoltageToTemperature( TCVoltage, tctype)",                                                "TCVoltageToTemperature_Function.htm",        "Thermocouple voltage to temperature"},
  {"TCTemperatureToVoltage",        F,  2, _VXParsTCTemperatureToVoltage,        "TCTemperatureToVoltage( TCTemperature, tctype)",                                            "TCTemperatureToVoltage_Function.htm",        "Temperature to thermocouple voltage"},
  {"TCVoltageToTemperatureWithCJC", F,  3, _VXParsTCVoltageToTemperatureWithCJC, "TCVoltageToTemperatureWithCJC( TCVoltage, AmbientTemperature, tctype)",                     "TCVoltageToTemperatureWithCJC_Function.htm", "Thermocouple voltage to temperature with cold-junction compensation"},
  {"CelsiusToFahrenheit",           F,  1, _VXParsCelsiusToFahrenheit,           "CelsiusToFahrenheit( inputvector )",                                                        "Celcius_To_Fahrenheit_Function.htm",      "Degrees Celsius to degrees Fahrenheit"},
  {"CelsiusToKelvin",               F,  1, _VXParsCelsiusToKelvin,               "CelsiusToKelvin( inputvector )",                                                            "Celcius_To_Kelvin_Function.htm",          "Degrees Celsius to kelvin"},
  {"FahrenheitToCelsius",           F,  1, _VXParsFahrenheitToCelsius,           "FahrenheitToCelsius( inputvector )",                                                        "Farenheit_To_Celcius_Function.htm",       "Degrees Fahrenheit to degrees Celsius"},
  {"FahrenheitToKelvin",            F,  1, _VXParsFahrenheitToKelvin,            "FahrenheitToKelvin( inputvector )",                                                         "Farenheit_To_Kelvin_Function.htm",        "Degrees Fahrenheit to kelvin"},
  {"KelvinToCelsius",               F,  1, _VXParsKelvinToCelsius,               "KelvinToCelsius( inputvector )",                                                            "Kelvin_To_Celcius_Function.htm",          "Kelvin to degrees Celsius"},
  {"KelvinToFahrenheit",            F,  1, _VXParsKelvinToFahrenheit,            "KelvinToFahrenheit( inputvector )",                                                         "Kelvin_To_Fahrenheit_Function.htm",       "Kelvin to degrees Fahrenheit"},
  {"InterpolLin",                   F,  4, _VXParsInterpolLin,                   "InterpolLin( value, result, xvector, yvector )",                                            "InterpolLin_Function.htm",                "Linear interpolation in a table", Writes<1>},
  {"InterpolCubic",                 F,  5, _VXParsInterpolCubic,                 "InterpolCubic( value, result, xvector, yvector, ydvector )",                                "InterpolCubic_Function.htm",              "Cubic spline interpolation in a table", Writes<1>},
  {"InterpolCubicPrepare",          F,  5, _VXParsInterpolCubicPrepare,          "InterpolCubicPrepare( xvector, yvector, ydvector, yd0, ydn )",                              "InterpolCubicPrepare_Function.htm",       "Second derivatives of a cubic spline for InterpolCubic", Writes<2>},
};

// sqr belongs to this group.
constexpr FunctionRow kTrigonometricFunctions[] = {
  // name      class args body            syntax               help file                  description  (facts)
  {"sqr",      F, 1, _VXParsSqr,      "Sqr( arg )",        "Sqr_Function.htm",        "Square", Unary<element::Sqr>()},
  {"sin",      F, 1, _VXParsSin,      "Sin( arg )",        "Sin_(Sine)_Function.htm", "Sine of an angle in radians", Unary<element::Sin>()},
  {"cos",      F, 1, _VXParsCos,      "Cos( arg )",        "Cos_Function.htm",        "Cosine of an angle in radians", Unary<element::Cos>()},
  {"tan",      F, 1, _VXParsTan,      "Tan( arg )",        "Tan_Function.htm",        "Tangent of an angle in radians", Unary<element::Tan>()},
  {"arcsin",   F, 1, _VXParsArcsin,   "ArcSin( arg )",     "ArcSin_Function.htm",     "Inverse sine, in radians", Unary<element::Arcsin>()},
  {"arccos",   F, 1, _VXParsArccos,   "ArcCos( arg )",     "ArcCos_Function.htm",     "Inverse cosine, in radians", Unary<element::Arccos>()},
  {"arctan2",  F, 2, _VXParsArctan2,  "ArcTan2( y, x )",   "ArcTan2_Function.htm",    "Angle of the point (x, y), in radians"},
  {"degtorad", F, 1, _VXParsDegtorad, "DegToRad( arg )",   "DegToRad_Function.htm",   "Degrees to radians", Unary<element::DegToRad>()},
  {"radtodeg", F, 1, _VXParsRadtodeg, "RadToDeg( arg )",   "RadToDeg_Function.htm",   "Radians to degrees", Unary<element::RadToDeg>()},
};

// The vector constant "[" of this group is registered with the brackets.
constexpr FunctionRow kVectorFunctions[] = {
  // name                      class args body                             syntax                                                                  help file                                  description  (facts)
  {"RealFFT",                  F, 4, _VXParsRealFFT,                  "RealFFT( inputvector, window, calcphases, phasevector )",              "RealFFT%20Function.htm",                  "Amplitude (and phase) spectrum of a real signal", Writes<3>},
  {"RealInverseFFT",           F, 3, _VXParsRealInverseFFT,           "RealInverseFFT( amplitudevector, phasevector, window)",                "RealInverseFFT%20Function.htm",           "Real signal from its amplitude and phase spectrum"},
  {"AutoCorrelation",          F, 2, _VXParsAutoCorrelation,          "AutoCorrelation( inputvector, window)",                                "AutoCorrelation%20Function.htm",          "Autocorrelation of a signal"},
  {"PowerSpectrum",            F, 2, _VXParsPowerSpectrum,            "PowerSpectrum( inputvector, window)",                                  "PowerSpectrum%20Function.htm",            "Power spectrum of a signal"},
  {"CrossCorrelation",         F, 3, _VXParsCrossCorrelation,         "CrossCorrelation( inputvector1, inputvector2, window)",                "CrossCorrelation%20Function.htm",         "Cross-correlation of two signals"},
  {"CrossPowerSpectrum",       F, 3, _VXParsCrossPowerSpectrum,       "CrossPowerSpectrum( inputvector1, inputvector2, window)",              "CrossPowerSpectrum%20Function.htm",       "Cross power spectrum of two signals"},
  {"VectorGetFirstValue",      F, 1, _VXParsVectorGetFirstValue,      "VectorGetFirstValue( vector_arg )",                                    "VectorGetFirstValue_Function.htm",        "First element of a vector"},
  {"VectorGetLastValue",       F, 1, _VXParsVectorGetLastValue,       "VectorGetLastValue( vector_arg )",                                     "VectorGetLastValue_Function.htm",         "Last element of a vector"},
  {"VectorGetMean",            F, 1, _VXParsVectorGetMean,            "VectorGetMean( vector_arg )",                                          "VectorGetMean_Function.htm",              "Mean of the elements"},
  {"VectorGetRMS",             F, 1, _VXParsVectorGetRMS,             "VectorGetRMS( vector_arg )",                                           "VectorGetRMS_Function.htm",               "Root mean square of the elements"},
  {"VectorGetDeviation",       F, 1, _VXParsVectorGetDeviation,       "VectorGetDeviation( vector_arg )",                                     "VectorGetDeviation_Function.htm",         "Sample standard deviation of the elements"},
  {"VectorGetMinimumValue",    F, 1, _VXParsVectorGetMinimumValue,    "VectorGetMinimumValue( vector_arg )",                                  "VectorGetMinimumValue_Function.htm",      "Smallest element"},
  {"VectorGetMinimumPosition", F, 1, _VXParsVectorGetMinimumPosition, "VectorGetMinimumPosition( vector_arg )",                               "VectorGetMinimumPosition_Function.htm",   "Index of the first smallest element"},
  {"VectorGetMaximumValue",    F, 1, _VXParsVectorGetMaximumValue,    "VectorGetMaximumValue( vector_arg )",                                  "VectorGetMaximumValue_Function.htm",      "Largest element"},
  {"VectorGetMaximumPosition", F, 1, _VXParsVectorGetMaximumPosition, "VectorGetMaximumPosition( vector_arg )",                               "VectorGetMaximumPosition_Function.htm",   "Index of the first largest element"},
  {"VectorGetSum",             F, 1, _VXParsVectorGetSum,             "VectorGetSum( vector_arg )",                                           "VectorGetSum_Function.htm",               "Sum of the elements"},
  {"VectorAppend",             F, 2, _VXParsVectorAppend,             "VectorAppend( vector_arg, vectortoappend )",                           "VectorAppend_Function.htm",               "Appends a value or a vector to a vector variable", Writes<0>},
  {"VectorCopy",               F, 3, _VXParsVectorCopy,               "VectorCopy( vector_arg, start, count )",                               "VectorCopy_Function.htm",                 "Part of a vector"},
  {"Histogram",                F, 6, _VXParsHistogram,                "Histogram( arg, startvalue, endvalue, numbins, ignoreouts, histogramvector )", "Histogram_Function.htm",          "Counts values into the bins of a histogram vector", Writes<5>},
  {"InRange",                  F, 4, _VXParsInRange,                  "InRange( arg, min, max, firstIndex )",                                 "VectorInRange_Function.htm",              "Whether a value lies inside a range, and where first", Writes<3>},
  {"OutOfRange",               F, 4, _VXParsOutOfRange,               "OutOfRange( arg, min, max, firstIndex )",                              "OutOfRange_Function.htm",                 "Whether a value lies outside a range, and where first", Writes<3>},
  {"VectorGetLowest",          F, 4, _VXParsVectorGetLowest,          "VectorGetLowest( argVector, LowestVector, timeVector, tminVector )",   "VectorGetLowest_Function.htm",            "Holds the lowest value of each element and its time", Writes<1, 3>},
  {"VectorGetHighest",         F, 4, _VXParsVectorGetHighest,         "VectorGetHighest( argVector, HighestVector, timeVector, tmaxVector )", "VectorGetHighest_Function.htm",           "Holds the highest value of each element and its time", Writes<1, 3>},
  {"VectorGetSize",            F, 1, _VXParsVectorGetSize,            "VectorGetSize( vector_arg )",                                          "VectorGetSize_Function.htm",              "Number of elements"},
  {"VectorSetSize",            F, 2, _VXParsVectorSetSize,            "VectorSetSize( vector_arg, count )",                                   "VectorSetSize_Function.htm",              "Sets the number of elements of a vector variable", Writes<0>},
  {"VectorGetValue",           F, 2, _VXParsVectorGetValue,           "VectorGetValue( vector_arg, index )",                                  "VectorGetValue_Function.htm",             "Element at a zero-based index"},
  {"VectorSetValue",           F, 3, _VXParsVectorSetValue,           "VectorSetValue( vector_arg, index, value )",                           "VectorSetValue_Function.htm",             "Sets the element at a zero-based index", Writes<0>},
  {"Ramp",                     F, 4, _VXParsRamp,                     "Ramp( vector, start, increment, count )",                              "Ramp_Function.htm",                       "Fills a vector variable with evenly spaced values", Writes<0>},
  {"VectorResample",           F, 2, _VXParsVectorResample,           "VectorResample( vector_arg, newsize )",                                "VectorResample_Function.htm",             "Vector resampled to a new number of elements"},
};

constexpr FunctionRow kTranscendentFunctions[] = {
  // name     class args body           syntax              help file               description  (facts)
  {"exp",     F, 1, _VXParsExp,     "Exp( arg )",        "Exp_Function.htm",     "Exponential function", Unary<element::Exp>()},
  {"ln",      F, 1, _VXParsLn,      "Ln( arg )",         "Ln_Function.htm",      "Natural logarithm", Unary<element::Ln>()},
  {"log10",   F, 1, _VXParsLog10,   "Log10( arg )",      "Log10_Function.htm",   "Decimal logarithm", Unary<element::Log10>()},
  {"logN",    F, 2, _VXParsLogN,    "LogN( base, arg )", "LogN_Function.htm",    "Logarithm to a given base"},
  {"sinh",    F, 1, _VXParsSinh,    "Sinh( arg )",       "Sinh_Function.htm",    "Hyperbolic sine", Unary<element::Sinh>()},
  {"cosh",    F, 1, _VXParsCosh,    "Cosh( arg )",       "Cosh_Function.htm",    "Hyperbolic cosine", Unary<element::Cosh>()},
  {"tanh",    F, 1, _VXParsTanh,    "Tanh( arg )",       "Tanh_Function.htm",    "Hyperbolic tangent", Unary<element::Tanh>()},
  {"arcsinh", F, 1, _VXParsArcsinh, "ArcSinh( arg )",    "ArcSinh_Function.htm", "Inverse hyperbolic sine", Unary<element::Arcsinh>()},
  {"arccosh", F, 1, _VXParsArccosh, "ArcCosh( arg )",    "ArcCosh_Function.htm", "Inverse hyperbolic cosine", Unary<element::Arccosh>()},
  {"arctanh", F, 1, _VXParsArctanh, "ArcTanh( arg )",    "ArcTanh_Function.htm", "Inverse hyperbolic tangent", Unary<element::Arctanh>()},
};

// DelayLine and Bit belong to this group. FireEvent, FireEventEx and Wait carry a template to
// paste as their syntax and the parameter names as their description.
constexpr FunctionRow kSystemFunctions[] = {
  // name              class args body                    syntax                                                                                                  help file                      description  (facts)
  {"Random",           V,  0, _VXParsRandom,          "Random",                                                                                               "Random_Function.htm",           "Uniform random number in [0, 1)"},
  {"randg",            V,  2, _VXParsRandg,           "RandG( mean, deviation )",                                                                             "RandG_Function.htm",            "Gaussian random number"},
  {"Bit",              F,  2, _VXParsBit,             "Bit( arg, bitnumber )",                                                                                "Bit_Function.htm",              "One bit of the rounded value"},
  {"GetTickCount",     V,  0, _VXParsGetTickCount,    "GetTickCount",                                                                                         "GetTickCount_Function.htm",     "Milliseconds since the system started"},
  {"DelayLine",        F,  3, _VXParsDelayLine,       "DelayLine( arg, delaylength, delayvector )",                                                           "DelayLine_Function.htm",        "The input of a number of calls ago", Writes<2>},
  {"DelayLineReverse", F,  3, _VXParsDelayLineReverse, "DelayLineReverse( arg, delaylength, delayvector )",                                                   "DelayLineReverse_Function.htm", "The input of a number of calls ago, buffer in reverse order", Writes<2>},
  {"Now",              V,  0, _VXParsNow,             "Now",                                                                                                  "Now_Function.htm",              "Current local date and time as a day number"},
  {"FireEvent",        V,  2, _VXParsFireEvent,       "FireEvent( ID, \"\")",                                                                                 "FIreEvent_Function.htm",        "FireEvent( ID, additionalText  )"},
  {"FireEventEx",      V, 11, _VXParsFireEventEx,     "FireEventEx( eventID, channelIndex, startTime, endTime, iData1, iData2, dData1, dData2, dData3, dData4, \"\")", "FIreEvent_Function.htm", "FireEventEx( eventID, channelIndex, startTime, endTime, iData1, iData2, dData1, dData2, dData3, dData4, additionalText)"},
  {"Wait",             V,  1, _VXParsWait,            "Wait( 1000 )",                                                                                         "Wait_Function.htm",             "Wait( milliseconds )"},
  {"UpdateOutputs",    V,  0, _VXParsUpdateOutputs,   "UpdateOutputs",                                                                                        "UpdateOutputs_Function.htm",    "Sends the outputs computed so far at once"},
  {"UpdateInputData",  V,  0, _VXParsUpdateInputData, "UpdateInputData",                                                                                      "UpdateInputData_Function.htm",  "Fetches the next queued block of input data"},
  {"tic",              V,  0, _VXParsTic,             "tic",                                                                                                  "Tic_Function.htm",              "Starts a stopwatch"},
  {"toc",              V,  0, _VXParsToc,             "toc",                                                                                                  "Toc_Function.htm",              "Seconds since the last tic"},
};

// CondEval belongs to this group but is an ordinary function; the others are jump commands.
constexpr FunctionRow kJumpFunctions[] = {
  // name      class args body          syntax                                          help file                                        description
  {"CondEval", F, 3, _VXParsCondEval, "CondEval( condition, truevalue, falsevalue )", "CondEval_(Conditional_Evaluation)_Function.htm", "One of two values, chosen by a condition"},
  {"If",       J, 1, _VXParsIf,       "If( arg )",                                    "If_Function.htm",                               "Runs the following lines when the condition holds"},
  {"While",    J, 1, _VXParsWhile,    "While( arg )",                                 "While_Function.htm",                            "Repeats the lines up to Wend while the condition holds"},
  {"Until",    J, 1, _VXParsUntil,    "Until( arg )",                                 "Until_Function.htm",                            "Ends a Repeat loop when the condition holds"},
  {"Else",     J, 0, _VXParsElse,     "Else",                                         "Else_Function.htm",                             "Starts the lines run when the If condition fails"},
  {"EndIF",    J, 0, _VXParsEndIF,    "EndIf",                                        "EndIf_Function.htm",                            "Ends an If block"},
  {"Wend",     J, 0, _VXParsWend,     "Wend",                                         "Wend_Function.htm",                             "Ends a While loop"},
  {"Repeat",   J, 0, _VXParsRepeat,   "Repeat",                                       "Repeat_Function.htm",                           "Starts a loop that runs until its Until condition holds"},
};

constexpr FunctionRow kStringFunctions[] = {
  // name                           class args body                                  syntax                                                       help file                                   description  (facts)
  {"FormatDateTime",                F, 2, _VXParsFormatDateTime,                "FormatDateTime( formatstring, datetime )",                  "FormatDateTime_Function.htm",                "Date and time as text in a given format"},
  {"Format",                        F, 2, _VXParsFormat,                        "Format( formatstring, arg )",                               "Format_Function.htm",                        "Number as text in a picture format"},
  {"Chr",                           F, 1, _VXParsChr,                           "Chr( charactercode )",                                      "Chr_Function.htm",                           "One-character string of a character code"},
  {"Pos",                           F, 3, _VXParsPos,                           "Pos( substr, string, offset )",                             "Pos_Function.htm",                           "Position of a substring"},
  {"Left",                          F, 2, _VXParsLeft,                          "Left( string, count )",                                     "Left_Function.htm",                          "First characters of a string"},
  {"Right",                         F, 2, _VXParsRight,                         "Right( string, count )",                                    "Right_Function.htm",                         "Last characters of a string"},
  {"Mid",                           F, 3, _VXParsMid,                           "Mid( string, start, count )",                               "Mid_Function.htm",                           "Characters from the middle of a string"},
  {"GetToken",                      F, 2, _VXParsGetToken,                      "tok:=GetToken( string, delimiter )",                        "Get_Token_Function.htm",                     "Takes the text up to a delimiter off a string variable", Writes<0>},
  {"Trim",                          F, 1, _VXParsTrim,                          "Trim( string )",                                            "Trim_Function.htm",                          "String without leading and trailing blanks"},
  {"ConvertStringToNumber",         F, 3, _VXParsConvertStringToNumber,         "ConvertStringToNumber( string, decimalseparator, error )",  "ConvertStringToNumber_Function.htm",         "Number read from a text", Writes<2>},
  {"ConvertStringDateTimeToNumber", F, 2, _VXParsConvertStringDateTimeToNumber, "ConvertStringDateTimeToNumber( string, error )",            "ConvertStringDateTimeToNumber_Function.htm", "Day number read from a date and time text", Writes<1>},
  {"ConvertStringHexToInt",         F, 2, _VXParsConvertStringHexToInt,         "ConvertStringHexToInt( string, error )",                    "ConvertStringHexToInt_Function.htm",         "Integer read from a hexadecimal text", Writes<1>},
  {"StrChar",                       F, 2, _VXParsStrChar,                       "StrChar( string, index )",                                  "StrChar_Function.htm",                       "Code of the character at a position"},
  {"StrLen",                        F, 1, _VXParsStrLen,                        "StrLen( string )",                                          "StrLen_Function.htm",                        "Length of a string"},
  {"StrComp",                       F, 2, _VXParsStrComp,                       "StrComp( string1, string2 )",                               "StrComp_Function.htm",                       "Whether two strings are equal"},
  {"StrLComp",                      F, 3, _VXParsStrLComp,                      "StrLComp( string1, string2, len )",                         "StrLComp_Function.htm",                      "Whether the beginnings of two strings are equal"},
};

constexpr FunctionRow kMatlabFunctions[] = {
  // name            class args body                  syntax                                help file                       description  (facts)
  {"MatlabCommand",   V, 1, _VXParsMatlabCommand,   "MatlabCommand( commandstring )",     "MatlabCommand_Function.htm",   "Runs a command in the MATLAB engine and returns its output"},
  {"MatlabPutVector", V, 2, _VXParsMatlabPutVector, "MatlabPutVector( name, vector )",    "MatlabPutVector_Function.htm", "Puts a vector into the MATLAB workspace"},
  {"MatlabGetVector", V, 2, _VXParsMatlabGetVector, "MatlabGetVector( name, vector )",    "MatlabGetVector_Function.htm", "Reads a vector from the MATLAB workspace", Writes<1>},
};

constexpr FunctionRow kFileFunctions[] = {
  // name                                class args body                                       syntax                                                                         help file                                        description  (facts)
  {"FileOpen",                           V, 1, _VXParsFileOpen,                           "filehandle := FileOpen( filename )",                                          "File_Open.htm",                                 "Opens or creates a file for reading and writing"},
  {"FileCreate",                         V, 1, _VXParsFileCreate,                         "filehandle := FileCreate( filename )",                                        "FileCreate_Function.htm",                       "Creates an empty file for reading and writing"},
  {"FileAppend",                         V, 1, _VXParsFileAppend,                         "filehandle := FileAppend( filename )",                                        "FileAppend_Function.htm",                       "Opens a file and moves to its end"},
  {"FileClose",                          V, 1, _VXParsFileClose,                          "FileClose( filehandle )",                                                     "FileClose_Function.htm",                        "Closes a file"},
  {"FileEOF",                            V, 1, _VXParsFileEOF,                            "FileEOF( filehandle )",                                                       "FileEOF_Function.htm",                          "Whether the end of a file is reached"},
  {"FileSeek",                           V, 3, _VXParsFileSeek,                           "FileSeek( filehandle, offset, mode )",                                        "FileSeek_Function.htm",                         "Moves the position in a file"},
  {"FileSize",                           V, 2, _VXParsFileSize,                           "FileSize( filehandle, errorcode )",                                           "FileSize_Function.htm",                         "Size of a file in bytes", Writes<1>},
  {"FileWriteString",                    V, 2, _VXParsFileWriteString,                    "FileWriteString( filehandle, string )",                                       "FileWriteString_Function.htm",                  "Writes a string"},
  {"FileWriteStringLn",                  V, 2, _VXParsFileWriteStringLn,                  "FileWriteStringLn( filehandle, string )",                                     "FileWriteStringLn_Function.htm",                "Writes a string and a line end"},
  {"FileWriteStringFixed",               V, 3, _VXParsFileWriteStringFixed,               "FileWriteStringFixed( filehandle, string, length)",                           "FileWriteStringFixed_Function.htm",             "Writes a string cut or zero-padded to a length"},
  {"FileWriteBinaryWord",                V, 2, _VXParsFileWriteBinaryWord,                "FileWriteBinaryWord( filehandle, word )",                                     "FileWriteBinaryWord_Function.htm",              "Writes unsigned 16-bit values"},
  {"FileWriteBinaryByte",                V, 2, _VXParsFileWriteBinaryByte,                "FileWriteBinaryByte( filehandle, byte )",                                     "FileWriteBinaryByte_Function.htm",              "Writes unsigned 8-bit values"},
  {"FileWriteBinaryFloat32",             V, 2, _VXParsFileWriteBinaryFloat32,             "FileWriteBinaryFloat32( filehandle, float32 )",                               "FileWriteBinaryFloat32_Function.htm",           "Writes single-precision values"},
  {"FileWriteBinaryFloat64",             V, 2, _VXParsFileWriteBinaryFloat64,             "FileWriteBinaryFloat64( filehandle, float64 )",                               "FileWriteBinaryFloat64_Function.htm",           "Writes double-precision values"},
  {"FileWriteBinaryInteger",             V, 2, _VXParsFileWriteBinaryInteger,             "FileWriteBinaryInteger( filehandle, integer )",                               "FileWriteBinaryInteger_Function.htm",           "Writes signed 32-bit values"},
  {"FileWriteBinaryLongWord",            V, 2, _VXParsFileWriteBinaryLongWord,            "FileWriteBinaryLongWord( filehandle, longword )",                             "FileWriteBinaryLongWord_Function.htm",          "Writes unsigned 32-bit values"},
  {"FileWriteBinarySmallInteger",        V, 2, _VXParsFileWriteBinarySmallInteger,        "FileWriteBinarySmallInteger( filehandle, smallint )",                         "FileWriteBinarySmallInteger_Function.htm",      "Writes signed 16-bit values"},
  {"FileWriteBinaryShortInteger",        V, 2, _VXParsFileWriteBinaryShortInteger,        "FileWriteBinaryShortInteger( filehandle, shortint )",                         "FileWriteBinaryShortInteger_Function.htm",      "Writes signed 8-bit values"},
  {"FileReadStringLn",                   V, 3, _VXParsFileReadStringLn,                   "FileReadStringLn( filehandle, string, delimiter )",                           "FileReadStringLn_Function.htm",                 "Reads a string up to a delimiter", Writes<1>},
  {"FileReadStringFixed",                V, 3, _VXParsFileReadStringFixed,                "FileReadStringFixed( filehandle, string, length)",                            "FileReadStringFixed_Function.htm",              "Reads a string of a fixed length", Writes<1>},
  {"FileReadBinaryWord",                 V, 2, _VXParsFileReadBinaryWord,                 "FileReadBinaryWord( filehandle, word )",                                      "FileReadBinaryWord_Function.htm",               "Reads an unsigned 16-bit value", Writes<1>},
  {"FileReadBinaryByte",                 V, 2, _VXParsFileReadBinaryByte,                 "FileReadBinaryByte( filehandle, byte )",                                      "FileReadBinaryByte_Function.htm",               "Reads an unsigned 8-bit value", Writes<1>},
  {"FileReadBinaryFloat32",              V, 2, _VXParsFileReadBinaryFloat32,              "FileReadBinaryFloat32( filehandle, float32 )",                                "FileReadBinaryFloat32_Function.htm",            "Reads a single-precision value", Writes<1>},
  {"FileReadBinaryFloat64",              V, 2, _VXParsFileReadBinaryFloat64,              "FileReadBinaryFloat64( filehandle, float64 )",                                "FileReadBinaryFloat64_Function.htm",            "Reads a double-precision value", Writes<1>},
  {"FileReadBinaryInteger",              V, 2, _VXParsFileReadBinaryInteger,              "FileReadBinaryInteger( filehandle, integer )",                                "FileReadBinaryInteger_Function.htm",            "Reads a signed 32-bit value", Writes<1>},
  {"FileReadBinaryLongWord",             V, 2, _VXParsFileReadBinaryLongWord,             "FileReadBinaryLongWord( filehandle, longword )",                              "FileReadBinaryLongWord_Function.htm",           "Reads an unsigned 32-bit value", Writes<1>},
  {"FileReadBinarySmallInteger",         V, 2, _VXParsFileReadBinarySmallInteger,         "FileReadBinarySmallInteger( filehandle, smallint )",                          "FileReadBinarySmallInteger_Function.htm",       "Reads a signed 16-bit value", Writes<1>},
  {"FileReadBinaryShortInteger",         V, 2, _VXParsFileReadBinaryShortInteger,         "FileReadBinaryShortInteger( filehandle, shortint )",                          "FileReadBinaryShortInteger_Function.htm",       "Reads a signed 8-bit value", Writes<1>},
  {"FileReadBinaryWordVector",           V, 4, _VXParsFileReadBinaryWordVector,           "FileReadBinaryWordVector( filehandle, wordvector, count, elements_read )",            "FileReadBinaryWordVector_Function.htm",         "Reads a vector of unsigned 16-bit values", Writes<1, 3>},
  {"FileReadBinaryByteVector",           V, 4, _VXParsFileReadBinaryByteVector,           "FileReadBinaryByteVector( filehandle, bytevector, count, elements_read )",            "FileReadBinaryByteVector_Function.htm",         "Reads a vector of unsigned 8-bit values", Writes<1, 3>},
  {"FileReadBinaryFloat32Vector",        V, 4, _VXParsFileReadBinaryFloat32Vector,        "FileReadBinaryFloat32Vector( filehandle, float32vector, count, elements_read )",      "FileReadBinaryFloat32Vector_Function.htm",      "Reads a vector of single-precision values", Writes<1, 3>},
  {"FileReadBinaryFloat64Vector",        V, 4, _VXParsFileReadBinaryFloat64Vector,        "FileReadBinaryFloat64Vector( filehandle, float64vector, count, elements_read )",      "FileReadBinaryFloat64Vector_Function.htm",      "Reads a vector of double-precision values", Writes<1, 3>},
  {"FileReadBinaryIntegerVector",        V, 4, _VXParsFileReadBinaryIntegerVector,        "FileReadBinaryIntegerVector( filehandle, integervector, count, elements_read )",      "FileReadBinaryIntegerVector_Function.htm",      "Reads a vector of signed 32-bit values", Writes<1, 3>},
  {"FileReadBinaryLongWordVector",       V, 4, _VXParsFileReadBinaryLongWordVector,       "FileReadBinaryLongWordVector( filehandle, longwordvector, count, elements_read )",    "FileReadBinaryLongWordVector_Function.htm",     "Reads a vector of unsigned 32-bit values", Writes<1, 3>},
  {"FileReadBinarySmallIntegerVector",   V, 4, _VXParsFileReadBinarySmallIntegerVector,   "FileReadBinarySmallIntegerVector( filehandle, smallintvector, count, elements_read )", "FileReadBinarySmallIntegerVector_Function.htm", "Reads a vector of signed 16-bit values", Writes<1, 3>},
  {"FileReadBinaryShortIntegerVector",   V, 4, _VXParsFileReadBinaryShortIntegerVector,   "FileReadBinaryShortIntegerVector( filehandle, shortintvector, count, elements_read )", "FileReadBinaryShortIntegerVector_Function.htm", "Reads a vector of signed 8-bit values", Writes<1, 3>},
  {"CreateDirectory",                    V, 1, _VXParsCreateDirectory,                    "result := CreateDirectory( directory )",                                      "Create_Directory.htm",                          "Creates a directory with its missing parents"},
};

// StringWriteBinaryWord is registered a second time at the end, with the small-integer syntax;
// the list keeps the first registration, so the last row has no effect. Kept as it stands.
constexpr FunctionRow kSerialOutputFunctions[] = {
  // name                            class args body                                 syntax                                         help file                                   description
  {"SerialWriteString",              V, 1, _VXParsSerialWriteString,             "SerialWriteString( string )",                 "SerialWriteString_Function.htm",             "Sends a string through the serial port"},
  {"StringWriteBinaryWord",          F, 1, _VXParsStringWriteBinaryWord,         "StringWriteBinaryWord( word )",               "StringWriteBinaryWord_Function.htm",         "Unsigned 16-bit values as a binary string"},
  {"StringWriteBinaryByte",          F, 1, _VXParsStringWriteBinaryByte,         "StringWriteBinaryByte( byte )",               "StringWriteBinaryByte_Function.htm",         "Unsigned 8-bit values as a binary string"},
  {"StringWriteBinaryFloat32",       F, 1, _VXParsStringWriteBinaryFloat32,      "StringWriteBinaryFloat32( float32 )",         "StringWriteBinaryFloat32_Function.htm",      "Single-precision values as a binary string"},
  {"StringWriteBinaryFloat64",       F, 1, _VXParsStringWriteBinaryFloat64,      "StringWriteBinaryFloat64( float64 )",         "StringWriteBinaryFloat64_Function.htm",      "Double-precision values as a binary string"},
  {"StringWriteBinaryInteger",       F, 1, _VXParsStringWriteBinaryInteger,      "StringWriteBinaryInteger( integer )",         "StringWriteBinaryInteger_Function.htm",      "Signed 32-bit values as a binary string"},
  {"StringWriteBinaryLongWord",      F, 1, _VXParsStringWriteBinaryLongWord,     "StringWriteBinaryLongWord( longword )",       "StringWriteBinaryLongWord_Function.htm",     "Unsigned 32-bit values as a binary string"},
  {"StringWriteBinaryShortInteger",  F, 1, _VXParsStringWriteBinaryShortInteger, "StringWriteBinaryShortInteger( shortint )",   "StringWriteBinaryShortInteger_Function.htm", "Signed 8-bit values as a binary string"},
  {"StringWriteBinarySmallInteger",  F, 1, _VXParsStringWriteBinarySmallInteger, "StringWriteBinarySmallInteger( smallint )",   "StringWriteBinarySmallInteger_Function.htm", "Signed 16-bit values as a binary string"},
  {"StringWriteBinaryWord",          F, 1, _VXParsStringWriteBinaryWord,         "StringWriteBinarySmallInteger( smallint )",   "StringWriteBinaryWord_Function.htm",         "Unsigned 16-bit values as a binary string"},
};

// The channel vector functions carry the syntax and help page of the channel count functions;
// kept as they stand.
constexpr FunctionRow kMatrixFunctions[] = {
  // name                    class args body                         syntax                                           help file                              description  (facts)
  {"MatrixGetChannelCount",  F, 1, _VXParsMatrixGetChannelCount,  "MatrixGetChannelCount( matrix )",               "MatrixGetChannelCount_Function.htm",  "Number of channels of a matrix"},
  {"MatrixGetChannelVector", F, 2, _VXParsMatrixGetChannelVector, "MatrixGetChannelCount( matrix, index )",        "MatrixGetChannelCount_Function.htm",  "One channel of a matrix as a vector"},
  {"MatrixSetChannelVector", F, 3, _VXParsMatrixSetChannelVector, "MatrixSetChannelCount( matrix, index, vector )", "MatrixSetChannelCount_Function.htm", "Replaces one channel of a matrix", Writes<0>},
};

// No function is registered in the serial input group.
constexpr FunctionGroup kFunctionGroups[] = {
  {vxtBasic,         kBasicFunctions},
  {vxtSpecial,       kSpecialFunctions},
  {vxtTrigonometric, kTrigonometricFunctions},
  {vxtVector,        kVectorFunctions},
  {vxtTranscendent,  kTranscendentFunctions},
  {vxtSystem,        kSystemFunctions},
  {vxtJump,          kJumpFunctions},
  {vxtString,        kStringFunctions},
  {vxtMatlab,        kMatlabFunctions},
  {vxtFileIO,        kFileFunctions},
  {vxtRS232Output,   kSerialOutputFunctions},
  {vxtMatrix,        kMatrixFunctions},
};

// The C-style spellings, added after the basic words. Since the first registration of a name
// wins, div, %, = and ! keep their basic meaning; only fact, perc, ||, &&, == and != are new.
// && shares the body of or: that is the required behaviour of this spelling, not an oversight.
constexpr FunctionRow kCStyleFunctions[] = {
  // name   class args body              syntax  help file  description  (facts)
  {"fact",  F, 1, _VXParsFactorial,  "Fact", "",        "Factorial"},
  {"div",   F, 2, _VXParsDiv,        "Div",  "",        "Integer division, truncating toward zero"},
  {"perc",  F, 1, _VXParsPercent,    "Perc", "",        "Percent: the value times 0.01", Unary<element::Percent>()},
};

constexpr OperatorRow kCStyleOperators[] = {
  // name class args prec body             help file                                  description  (facts)
  {"%",   F, 2,  30, _VXParsMod,       "mod_(Modulo)_Operator.htm",              "Remainder of the integer division"},
  {"||",  B, 2,  70, _VXParsOr,        "OR_Operator.htm",                        "Bitwise or of the rounded operands"},
  {"&&",  B, 2,  70, _VXParsOr,        "OR_Operator.htm",                        "Bitwise or of the rounded operands"},
  {"=",   F, 2, 200, _VXParsAssign,    "_=_(Assignment)_Operator.htm",           "Assignment to a variable", Fast(kAssign)},
  {"==",  B, 2,  50, _VXParsEqual,     "=_(Equal_To)_Operator.htm",              "Equal to", Compare(element::Equal)},
  {"!=",  B, 2,  50, _VXParsNotEqual,  "___(Not_Equal_To)_Operator.htm",         "Not equal to", Compare(element::NotEqual)},
  {"!",   B, 1,  60, _VXParsNot,       "NOT_Operator.htm",                       "Logical not"},
};

// clang-format on

// Builds the word of a row in its class; Args are the arguments of one TVXParsFunction form.
template <typename... Args>
std::unique_ptr<TVXParsFunction> MakeFunctionWordOfClass(WordClass cls, Args&&... args) {
  switch (cls) {
    case WordClass::kVarying:
      return std::make_unique<TVXParsVaryingFunction>(std::forward<Args>(args)...);
    case WordClass::kBoolean:
      return std::make_unique<TVXParsBooleanFunction>(std::forward<Args>(args)...);
    case WordClass::kJump:
      return std::make_unique<TVXParsJumpFunction>(std::forward<Args>(args)...);
    case WordClass::kFunction:
      break;
  }
  return std::make_unique<TVXParsFunction>(std::forward<Args>(args)...);
}

// As above, with the facts of the row.
template <typename... Args>
std::unique_ptr<TVXParsExprWord> MakeFunctionWord(WordClass cls, const RowFacts& facts,
                                                  Args&&... args) {
  auto word = MakeFunctionWordOfClass(cls, std::forward<Args>(args)...);
  word->Kernel = facts.kernel;
  word->WrittenArgs = facts.writes;
  return word;
}

void AddOperators(TVXExpressionEvaluatorBase& evaluator, std::span<const OperatorRow> rows) {
  for (const OperatorRow& row : rows) {
    evaluator.AddWord(MakeFunctionWord(row.cls, row.facts, row.name, row.body, row.args,
                                       /*isOper=*/true, row.precedence, row.description,
                                       row.helpFile));
  }
}

void AddFunctions(TVXExpressionEvaluatorBase& evaluator, TVXParsFunctionType type,
                  std::span<const FunctionRow> rows) {
  for (const FunctionRow& row : rows) {
    evaluator.AddWord(MakeFunctionWord(row.cls, row.facts, row.name, row.body, row.args, row.syntax,
                                       type, row.description, row.defaults, row.helpFile));
  }
}

}  // namespace

TVXExpressionEvaluator::TVXExpressionEvaluator(char decimalSeparator)
    : TVXExpressionEvaluatorBase(decimalSeparator) {
  // While this constructor runs the object is a TVXExpressionEvaluator, so this fills the basic
  // words even for a derived evaluator; derived constructors add their own words afterwards.
  FillExpressList();
}

void TVXExpressionEvaluator::FillExpressList() {
  AddWord(std::make_unique<TVXParsLeftBracket>("("));
  AddWord(std::make_unique<TVXParsRightBracket>(")"));
  AddWord(std::make_unique<TVXParsVectorLeftBracket>(
      "[", _VXParsVectorConstant, /*nFunctionArg=*/-1, "[ arg1, arg2, ... ]", vxtVector,
      "Vector of the listed values", "", "VectorConstant_Function.htm"));
  AddWord(std::make_unique<TVXParsVectorRightBracket>("]"));
  AddWord(std::make_unique<TVXParsComma>(std::string(1, ListSeparator())));

  AddWord(std::make_unique<TVXParsDoubleConstant>("pi", 3.141592653589793, "", kConstantsHelp));
  for (const ConstantRow& row : kConstants) {
    auto constant = std::make_unique<TVXParsBooleanConstant>(row.name, row.value, row.description,
                                                             kConstantsHelp);
    if (row.holdsBoolean) constant->Value.VarType = vtBoolean;
    AddWord(std::move(constant));
  }

  AddOperators(*this, kOperators);
  for (const FunctionGroup& group : kFunctionGroups) AddFunctions(*this, group.type, group.rows);
}

TVXParsCStyleEvaluator::TVXParsCStyleEvaluator(char decimalSeparator)
    : TVXExpressionEvaluator(decimalSeparator) {
  // The base constructor has registered the basic words only (see there).
  FillCStyleWords();
}

void TVXParsCStyleEvaluator::FillExpressList() {
  TVXExpressionEvaluator::FillExpressList();
  FillCStyleWords();
}

void TVXParsCStyleEvaluator::FillCStyleWords() {
  AddFunctions(*this, vxtBasic, kCStyleFunctions);
  AddOperators(*this, kCStyleOperators);
}

}  // namespace loom
