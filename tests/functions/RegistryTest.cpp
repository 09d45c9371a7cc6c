// The registry: every constant, operator and function of the language with its class,
// argument count, precedence, group, syntax and help page; the C-style additions; and the
// function list, operator list and help topics built from the word list.
#include <gtest/gtest.h>
#include <strings.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "functions/Registry.h"

namespace loom {
namespace {

// --- expected vocabulary ---

struct ConstantRow {
  const char* name;
  double value;
  const char* description;
};

const ConstantRow kConstants[] = {
    {"TRUE", 1, ""},
    {"FALSE", 0, ""},
    {"FILE_CURRENT", 1, "Seek from current file Position"},
    {"FILE_BEGIN", 0, "Seek from begin of file"},
    {"FILE_END", 2, "Seek from end of file"},
    {"INVALID_FILEHANDLE", 4294967295.0, "Invalid filehandle constant"},
    {"TC_TYPE_NONE", 0, "Thermocouple no linearization"},
    {"TC_TYPE_B", 1, "Thermocouple type B"},
    {"TC_TYPE_E", 2, "Thermocouple type E"},
    {"TC_TYPE_J", 3, "Thermocouple type J"},
    {"TC_TYPE_K", 4, "Thermocouple type K"},
    {"TC_TYPE_N", 5, "Thermocouple type N"},
    {"TC_TYPE_R", 6, "Thermocouple type R"},
    {"TC_TYPE_S", 7, "Thermocouple type S"},
    {"TC_TYPE_T", 8, "Thermocouple type T"},
    {"WINDOW_RECTANGLE", 0, "FFT Window: Rectangle"},
    {"WINDOW_HANNING", 1, "FFT Window: Hanning"},
    {"WINDOW_HAMMING", 2, "FFT Window: Hamming"},
    {"WINDOW_BLACKMAN", 3, "FFT Window: Blackman"},
    {"WINDOW_HANN", 5, "FFT Window: Hann"},
    {"WINDOW_BLACKMAN_HARRIS_67DB", 6, "FFT Window: Blackman Harris 67 dB"},
    {"WINDOW_BLACKMAN_HARRIS_92DB", 7, "FFT Window: Blackman Harris 92 dB"},
    {"SERIAL_NO_INPUT", 0, "No input"},
    {"SERIAL_RECEIVE_FIXED_NUMBER_OF_BYTES", 1, "Fixed char count input"},
    {"SERIAL_WAIT_FOR_BYTE_SEQUENCE", 2, "Character sequence"},
};

struct OperatorRow {
  const char* name;
  int args;
  int precedence;
  bool boolean;
  const char* help;
};

const OperatorRow kOperators[] = {
    {"!", 1, 10, false, "!_(Factorial)_Operator.htm"},
    {"%", 1, 10, false, "__(Percentage)_Operator.htm"},
    {"-@", 1, 10, false, ""},
    {"+@", 1, 10, false, ""},
    {"^", 2, 20, false, "^_(Power)_Operator.htm"},
    {"^@", 2, 20, false, ""},
    {"*", 2, 30, false, "__(Multiplication)_Operator.htm"},
    {"/", 2, 30, false, "__(Division)_Operator.htm"},
    {"div", 2, 30, false, "div_(Integer_Division)_Operator.htm"},
    {"mod", 2, 30, false, "mod_(Modulo)_Operator.htm"},
    {"+", 2, 40, false, "+_(Sum___Concatenation)_Operator.htm"},
    {"-", 2, 40, false, "-_(Minus)_Operator.htm"},
    {"<<", 2, 30, false, "-_(Minus)_Operator.htm"},
    {">>", 2, 30, false, "-_(Minus)_Operator.htm"},
    {">", 2, 50, true, "__(Greater_Than)_Operator.htm"},
    {">=", 2, 50, true, "_=_(Greater_Than_or_Equal_To)_Operator.htm"},
    {"<=", 2, 50, true, "_=_(Less_Than_or_Equal_To)_Operator.htm"},
    {"<", 2, 50, true, "__(Less_Than)_Operator.htm"},
    {"<>", 2, 50, true, "___(Not_Equal_To)_Operator.htm"},
    {"=", 2, 50, true, "=_(Equal_To)_Operator.htm"},
    {"not", 1, 60, true, "NOT_Operator.htm"},
    {"or", 2, 70, true, "OR_Operator.htm"},
    {"and", 2, 70, true, "And_Operator.htm"},
    {"xor", 2, 70, true, "XOR_Operator.htm"},
    {":=", 2, 200, false, "_=_(Assignment)_Operator.htm"},
};

enum class Kind { Plain, Varying, Jump };

struct FunctionRow {
  const char* name;
  int args;
  TVXParsFunctionType type;
  Kind kind;
  const char* syntax = nullptr;  // null where the registered text is not fixed here
  const char* help = nullptr;
};

constexpr Kind P = Kind::Plain;
constexpr Kind V = Kind::Varying;
constexpr Kind J = Kind::Jump;

const FunctionRow kFunctions[] = {
    // vxtBasic
    {"sqrt", 1, vxtBasic, P},
    {"abs", 1, vxtBasic, P},
    {"round", 1, vxtBasic, P},
    {"trunc", 1, vxtBasic, P},
    {"power", 2, vxtBasic, P},
    {"pow", 2, vxtBasic, P},
    {"intpower", 2, vxtBasic, P},
    {"max", 2, vxtBasic, P, "Max( arg1, arg2 )"},
    {"min", 2, vxtBasic, P},
    {"Ceil", 1, vxtBasic, P},
    {"Floor", 1, vxtBasic, P},
    {"Frac", 1, vxtBasic, P},
    {"Clamp", 3, vxtBasic, P},
    {"MovingAverage", 3, vxtBasic, P, "MovingAverage( arg, averagelength, averagevector )"},
    // vxtSpecial
    {"PIDLoop", 9, vxtSpecial, P,
     "PIDLoop( value, setpoint, gain, integral, derivative, output, time, internal1, internal2)",
     "PIDLoop_Function.htm"},
    {"Polynom", 10, vxtSpecial, P, "Polynom( x, k0, k1, k2, k3, k4, k5, k6, k7, k8 )",
     "Polynom_(Polynomial)_Function.htm"},
    {"TCVoltageToTemperature", 2, vxtSpecial, P, "TCVoltageToTemperature( TCVoltage, tctype)"},
    {"TCTemperatureToVoltage", 2, vxtSpecial, P, "TCTemperatureToVoltage( TCTemperature, tctype)"},
    {"TCVoltageToTemperatureWithCJC", 3, vxtSpecial, P,
     "TCVoltageToTemperatureWithCJC( TCVoltage, AmbientTemperature, tctype)"},
    {"CelsiusToFahrenheit", 1, vxtSpecial, P, "CelsiusToFahrenheit( inputvector )",
     "Celcius_To_Fahrenheit_Function.htm"},
    {"CelsiusToKelvin", 1, vxtSpecial, P, "CelsiusToKelvin( inputvector )"},
    {"FahrenheitToCelsius", 1, vxtSpecial, P, "FahrenheitToCelsius( inputvector )",
     "Farenheit_To_Celcius_Function.htm"},
    {"FahrenheitToKelvin", 1, vxtSpecial, P, "FahrenheitToKelvin( inputvector )"},
    {"KelvinToCelsius", 1, vxtSpecial, P, "KelvinToCelsius( inputvector )"},
    {"KelvinToFahrenheit", 1, vxtSpecial, P, "KelvinToFahrenheit( inputvector )"},
    {"InterpolLin", 4, vxtSpecial, P, "InterpolLin( value, result, xvector, yvector )"},
    {"InterpolCubic", 5, vxtSpecial, P,
     "InterpolCubic( value, result, xvector, yvector, ydvector )"},
    {"InterpolCubicPrepare", 5, vxtSpecial, P,
     "InterpolCubicPrepare( xvector, yvector, ydvector, yd0, ydn )"},
    // vxtTrigonometric
    {"sqr", 1, vxtTrigonometric, P},
    {"sin", 1, vxtTrigonometric, P, "Sin( arg )", "Sin_(Sine)_Function.htm"},
    {"cos", 1, vxtTrigonometric, P},
    {"tan", 1, vxtTrigonometric, P},
    {"arcsin", 1, vxtTrigonometric, P},
    {"arccos", 1, vxtTrigonometric, P},
    {"arctan2", 2, vxtTrigonometric, P},
    {"degtorad", 1, vxtTrigonometric, P},
    {"radtodeg", 1, vxtTrigonometric, P},
    // vxtVector ("[" is checked on its own)
    {"RealFFT", 4, vxtVector, P, "RealFFT( inputvector, window, calcphases, phasevector )",
     "RealFFT%20Function.htm"},
    {"RealInverseFFT", 3, vxtVector, P, "RealInverseFFT( amplitudevector, phasevector, window)"},
    {"AutoCorrelation", 2, vxtVector, P, "AutoCorrelation( inputvector, window)"},
    {"PowerSpectrum", 2, vxtVector, P, "PowerSpectrum( inputvector, window)"},
    {"CrossCorrelation", 3, vxtVector, P, "CrossCorrelation( inputvector1, inputvector2, window)"},
    {"CrossPowerSpectrum", 3, vxtVector, P,
     "CrossPowerSpectrum( inputvector1, inputvector2, window)"},
    {"VectorGetFirstValue", 1, vxtVector, P},
    {"VectorGetLastValue", 1, vxtVector, P},
    {"VectorGetMean", 1, vxtVector, P, "VectorGetMean( vector_arg )"},
    {"VectorGetRMS", 1, vxtVector, P},
    {"VectorGetDeviation", 1, vxtVector, P},
    {"VectorGetMinimumValue", 1, vxtVector, P},
    {"VectorGetMinimumPosition", 1, vxtVector, P},
    {"VectorGetMaximumValue", 1, vxtVector, P},
    {"VectorGetMaximumPosition", 1, vxtVector, P},
    {"VectorGetSum", 1, vxtVector, P},
    {"VectorAppend", 2, vxtVector, P, "VectorAppend( vector_arg, vectortoappend )"},
    {"VectorCopy", 3, vxtVector, P, "VectorCopy( vector_arg, start, count )"},
    {"Histogram", 6, vxtVector, P,
     "Histogram( arg, startvalue, endvalue, numbins, ignoreouts, histogramvector )"},
    {"InRange", 4, vxtVector, P, "InRange( arg, min, max, firstIndex )",
     "VectorInRange_Function.htm"},
    {"OutOfRange", 4, vxtVector, P},
    {"VectorGetLowest", 4, vxtVector, P,
     "VectorGetLowest( argVector, LowestVector, timeVector, tminVector )"},
    {"VectorGetHighest", 4, vxtVector, P},
    {"VectorGetSize", 1, vxtVector, P},
    {"VectorSetSize", 2, vxtVector, P, "VectorSetSize( vector_arg, count )"},
    {"VectorGetValue", 2, vxtVector, P, "VectorGetValue( vector_arg, index )"},
    {"VectorSetValue", 3, vxtVector, P, "VectorSetValue( vector_arg, index, value )"},
    {"Ramp", 4, vxtVector, P, "Ramp( vector, start, increment, count )"},
    {"VectorResample", 2, vxtVector, P, "VectorResample( vector_arg, newsize )"},
    // vxtTranscendent
    {"exp", 1, vxtTranscendent, P},
    {"ln", 1, vxtTranscendent, P},
    {"log10", 1, vxtTranscendent, P},
    {"logN", 2, vxtTranscendent, P, "LogN( base, arg )"},
    {"sinh", 1, vxtTranscendent, P},
    {"cosh", 1, vxtTranscendent, P},
    {"tanh", 1, vxtTranscendent, P},
    {"arcsinh", 1, vxtTranscendent, P},
    {"arccosh", 1, vxtTranscendent, P},
    {"arctanh", 1, vxtTranscendent, P},
    // vxtSystem
    {"Random", 0, vxtSystem, V, "Random", "Random_Function.htm"},
    {"randg", 2, vxtSystem, V},
    {"Bit", 2, vxtSystem, P},
    {"GetTickCount", 0, vxtSystem, V},
    {"DelayLine", 3, vxtSystem, P, "DelayLine( arg, delaylength, delayvector )"},
    {"DelayLineReverse", 3, vxtSystem, P},
    {"Now", 0, vxtSystem, V},
    {"FireEvent", 2, vxtSystem, V, nullptr, "FIreEvent_Function.htm"},
    {"FireEventEx", 11, vxtSystem, V, nullptr, "FIreEvent_Function.htm"},
    {"Wait", 1, vxtSystem, V, nullptr, "Wait_Function.htm"},
    {"UpdateOutputs", 0, vxtSystem, V, "UpdateOutputs"},
    {"UpdateInputData", 0, vxtSystem, V, "UpdateInputData"},
    {"tic", 0, vxtSystem, V, "tic"},
    {"toc", 0, vxtSystem, V, "toc"},
    // vxtJump
    {"CondEval", 3, vxtJump, P, "CondEval( condition, truevalue, falsevalue )",
     "CondEval_(Conditional_Evaluation)_Function.htm"},
    {"If", 1, vxtJump, J, "If( arg )", "If_Function.htm"},
    {"While", 1, vxtJump, J},
    {"Until", 1, vxtJump, J},
    {"Else", 0, vxtJump, J},
    {"EndIF", 0, vxtJump, J, "EndIf", "EndIf_Function.htm"},
    {"Wend", 0, vxtJump, J},
    {"Repeat", 0, vxtJump, J},
    // vxtString
    {"FormatDateTime", 2, vxtString, P, "FormatDateTime( formatstring, datetime )"},
    {"Format", 2, vxtString, P, "Format( formatstring, arg )"},
    {"Chr", 1, vxtString, P, "Chr( charactercode )"},
    {"Pos", 3, vxtString, P, "Pos( substr, string, offset )"},
    {"Left", 2, vxtString, P, "Left( string, count )"},
    {"Right", 2, vxtString, P, "Right( string, count )"},
    {"Mid", 3, vxtString, P, "Mid( string, start, count )"},
    {"GetToken", 2, vxtString, P, "tok:=GetToken( string, delimiter )", "Get_Token_Function.htm"},
    {"Trim", 1, vxtString, P, "Trim( string )"},
    {"ConvertStringToNumber", 3, vxtString, P,
     "ConvertStringToNumber( string, decimalseparator, error )"},
    {"ConvertStringDateTimeToNumber", 2, vxtString, P,
     "ConvertStringDateTimeToNumber( string, error )"},
    {"ConvertStringHexToInt", 2, vxtString, P, "ConvertStringHexToInt( string, error )"},
    {"StrChar", 2, vxtString, P, "StrChar( string, index )"},
    {"StrLen", 1, vxtString, P, "StrLen( string )"},
    {"StrComp", 2, vxtString, P, "StrComp( string1, string2 )"},
    {"StrLComp", 3, vxtString, P, "StrLComp( string1, string2, len )"},
    // vxtMatlab
    {"MatlabCommand", 1, vxtMatlab, V, "MatlabCommand( commandstring )"},
    {"MatlabPutVector", 2, vxtMatlab, V, "MatlabPutVector( name, vector )"},
    {"MatlabGetVector", 2, vxtMatlab, V, "MatlabGetVector( name, vector )"},
    // vxtFileIO
    {"FileOpen", 1, vxtFileIO, V, "filehandle := FileOpen( filename )", "File_Open.htm"},
    {"FileCreate", 1, vxtFileIO, V, "filehandle := FileCreate( filename )"},
    {"FileAppend", 1, vxtFileIO, V, "filehandle := FileAppend( filename )"},
    {"FileClose", 1, vxtFileIO, V, "FileClose( filehandle )"},
    {"FileEOF", 1, vxtFileIO, V, "FileEOF( filehandle )"},
    {"FileSeek", 3, vxtFileIO, V, "FileSeek( filehandle, offset, mode )"},
    {"FileSize", 2, vxtFileIO, V, "FileSize( filehandle, errorcode )"},
    {"FileWriteString", 2, vxtFileIO, V, "FileWriteString( filehandle, string )"},
    {"FileWriteStringLn", 2, vxtFileIO, V, "FileWriteStringLn( filehandle, string )"},
    {"FileWriteStringFixed", 3, vxtFileIO, V, "FileWriteStringFixed( filehandle, string, length)"},
    {"FileWriteBinaryWord", 2, vxtFileIO, V, "FileWriteBinaryWord( filehandle, word )"},
    {"FileWriteBinaryByte", 2, vxtFileIO, V},
    {"FileWriteBinaryFloat32", 2, vxtFileIO, V},
    {"FileWriteBinaryFloat64", 2, vxtFileIO, V},
    {"FileWriteBinaryInteger", 2, vxtFileIO, V},
    {"FileWriteBinaryLongWord", 2, vxtFileIO, V},
    {"FileWriteBinarySmallInteger", 2, vxtFileIO, V},
    {"FileWriteBinaryShortInteger", 2, vxtFileIO, V},
    {"FileReadStringLn", 3, vxtFileIO, V, "FileReadStringLn( filehandle, string, delimiter )"},
    {"FileReadStringFixed", 3, vxtFileIO, V, "FileReadStringFixed( filehandle, string, length)"},
    {"FileReadBinaryWord", 2, vxtFileIO, V, "FileReadBinaryWord( filehandle, word )"},
    {"FileReadBinaryByte", 2, vxtFileIO, V},
    {"FileReadBinaryFloat32", 2, vxtFileIO, V},
    {"FileReadBinaryFloat64", 2, vxtFileIO, V},
    {"FileReadBinaryInteger", 2, vxtFileIO, V},
    {"FileReadBinaryLongWord", 2, vxtFileIO, V},
    {"FileReadBinarySmallInteger", 2, vxtFileIO, V},
    {"FileReadBinaryShortInteger", 2, vxtFileIO, V},
    {"FileReadBinaryWordVector", 4, vxtFileIO, V,
     "FileReadBinaryWordVector( filehandle, wordvector, count, elements_read )"},
    {"FileReadBinaryByteVector", 4, vxtFileIO, V},
    {"FileReadBinaryFloat32Vector", 4, vxtFileIO, V},
    {"FileReadBinaryFloat64Vector", 4, vxtFileIO, V},
    {"FileReadBinaryIntegerVector", 4, vxtFileIO, V},
    {"FileReadBinaryLongWordVector", 4, vxtFileIO, V},
    {"FileReadBinarySmallIntegerVector", 4, vxtFileIO, V},
    {"FileReadBinaryShortIntegerVector", 4, vxtFileIO, V},
    {"CreateDirectory", 1, vxtFileIO, V, "result := CreateDirectory( directory )",
     "Create_Directory.htm"},
    // vxtRS232Output
    {"SerialWriteString", 1, vxtRS232Output, V, "SerialWriteString( string )"},
    {"StringWriteBinaryWord", 1, vxtRS232Output, P, "StringWriteBinaryWord( word )"},
    {"StringWriteBinaryByte", 1, vxtRS232Output, P},
    {"StringWriteBinaryFloat32", 1, vxtRS232Output, P},
    {"StringWriteBinaryFloat64", 1, vxtRS232Output, P},
    {"StringWriteBinaryInteger", 1, vxtRS232Output, P},
    {"StringWriteBinaryLongWord", 1, vxtRS232Output, P},
    {"StringWriteBinaryShortInteger", 1, vxtRS232Output, P},
    {"StringWriteBinarySmallInteger", 1, vxtRS232Output, P},
    // vxtMatrix
    {"MatrixGetChannelCount", 1, vxtMatrix, P, "MatrixGetChannelCount( matrix )"},
    {"MatrixGetChannelVector", 2, vxtMatrix, P, "MatrixGetChannelCount( matrix, index )",
     "MatrixGetChannelCount_Function.htm"},
    {"MatrixSetChannelVector", 3, vxtMatrix, P, "MatrixSetChannelCount( matrix, index, vector )",
     "MatrixSetChannelCount_Function.htm"},
};

const char* const kStructuralWords[] = {"(", ")", "[", "]", ","};

template <typename T>
T* WordAs(const TVXExpressionEvaluatorBase& evaluator, const char* name) {
  return dynamic_cast<T*>(evaluator.Words().Find(name));
}

// --- the vocabulary ---

TEST(Registry, Constants) {
  TVXExpressionEvaluator evaluator;
  auto* pi = WordAs<TVXParsDoubleConstant>(evaluator, "pi");
  ASSERT_NE(pi, nullptr);
  EXPECT_EQ(pi->Name, "pi");
  EXPECT_EQ(WordAs<TVXParsBooleanConstant>(evaluator, "pi"), nullptr);
  EXPECT_EQ(pi->Value.Value, 3.141592653589793);
  EXPECT_EQ(pi->HelpFile, "Constants.htm");
  EXPECT_EQ(pi->GeTVXPArsVarType(), vtDouble);

  for (const ConstantRow& row : kConstants) {
    auto* constant = WordAs<TVXParsBooleanConstant>(evaluator, row.name);
    ASSERT_NE(constant, nullptr) << row.name;
    EXPECT_EQ(constant->Name, row.name);
    EXPECT_EQ(constant->Value.Value, row.value) << row.name;
    EXPECT_EQ(constant->Description, row.description) << row.name;
    EXPECT_EQ(constant->HelpFile, "Constants.htm") << row.name;
    EXPECT_EQ(constant->GeTVXPArsVarType(), vtBoolean) << row.name;
    EXPECT_FALSE(constant->GetCanVary()) << row.name;
  }
  // Window number 4 is deliberately unassigned.
  for (const ConstantRow& row : kConstants)
    if (std::string(row.name).rfind("WINDOW_", 0) == 0) {
      EXPECT_NE(row.value, 4.0);
    }
}

TEST(Registry, Operators) {
  TVXExpressionEvaluator evaluator;
  for (const OperatorRow& row : kOperators) {
    auto* oper = WordAs<TVXParsFunction>(evaluator, row.name);
    ASSERT_NE(oper, nullptr) << row.name;
    EXPECT_EQ(oper->Name, row.name);
    EXPECT_TRUE(oper->IsOper) << row.name;
    EXPECT_TRUE(oper->GetIsOper()) << row.name;
    EXPECT_EQ(oper->NFunctionArg, row.args) << row.name;
    EXPECT_EQ(oper->Precedence, row.precedence) << row.name;
    EXPECT_EQ(oper->HelpFile, row.help) << row.name;
    EXPECT_EQ(dynamic_cast<TVXParsBooleanFunction*>(oper) != nullptr, row.boolean) << row.name;
    EXPECT_EQ(oper->GeTVXPArsVarType(), row.boolean ? vtBoolean : vtDouble) << row.name;
    EXPECT_EQ(dynamic_cast<TVXParsVaryingFunction*>(oper), nullptr) << row.name;
    EXPECT_NE(oper->Func, nullptr) << row.name;
  }
}

TEST(Registry, Functions) {
  TVXExpressionEvaluator evaluator;
  for (const FunctionRow& row : kFunctions) {
    auto* function = WordAs<TVXParsFunction>(evaluator, row.name);
    ASSERT_NE(function, nullptr) << row.name;
    EXPECT_EQ(function->Name, row.name);
    EXPECT_FALSE(function->IsOper) << row.name;
    EXPECT_EQ(function->Precedence, 0) << row.name;
    EXPECT_EQ(function->NFunctionArg, row.args) << row.name;
    EXPECT_EQ(function->FunctionType, row.type) << row.name;
    EXPECT_NE(function->Func, nullptr) << row.name;
    EXPECT_EQ(dynamic_cast<TVXParsBooleanFunction*>(function), nullptr) << row.name;
    const bool jump = dynamic_cast<TVXParsJumpFunction*>(function) != nullptr;
    const bool varying = dynamic_cast<TVXParsVaryingFunction*>(function) != nullptr;
    EXPECT_EQ(jump, row.kind == Kind::Jump) << row.name;
    EXPECT_EQ(varying, row.kind != Kind::Plain) << row.name;
    EXPECT_EQ(function->GetCanVary(), row.kind != Kind::Plain) << row.name;
    EXPECT_EQ(function->GeTVXPArsVarType(), jump ? vtJump : vtDouble) << row.name;
    if (row.syntax) {
      EXPECT_EQ(function->Syntax, row.syntax) << row.name;
    }
    if (row.help) {
      EXPECT_EQ(function->HelpFile, row.help) << row.name;
    }
  }
}

TEST(Registry, BracketsAndListSeparator) {
  TVXExpressionEvaluator evaluator;
  EXPECT_NE(WordAs<TVXParsLeftBracket>(evaluator, "("), nullptr);
  EXPECT_NE(WordAs<TVXParsRightBracket>(evaluator, ")"), nullptr);
  EXPECT_NE(WordAs<TVXParsVectorRightBracket>(evaluator, "]"), nullptr);
  EXPECT_NE(WordAs<TVXParsComma>(evaluator, ","), nullptr);
  EXPECT_EQ(evaluator.Words().Find(";"), nullptr);
  auto* vector = WordAs<TVXParsVectorLeftBracket>(evaluator, "[");
  ASSERT_NE(vector, nullptr);
  EXPECT_EQ(vector->FunctionType, vxtVector);
  EXPECT_TRUE(vector->GetDynamicArgs());
  EXPECT_FALSE(vector->IsOper);
  EXPECT_FALSE(vector->GetCanVary());

  TVXExpressionEvaluator comma(',');
  EXPECT_NE(WordAs<TVXParsComma>(comma, ";"), nullptr);
  EXPECT_EQ(comma.Words().Find(","), nullptr);
}

TEST(Registry, NothingMoreIsRegistered) {
  TVXExpressionEvaluator evaluator;
  std::set<std::string> expected = {"pi"};
  for (const ConstantRow& row : kConstants) expected.insert(row.name);
  for (const OperatorRow& row : kOperators) expected.insert(row.name);
  for (const FunctionRow& row : kFunctions) expected.insert(row.name);
  for (const char* name : kStructuralWords) expected.insert(name);
  std::set<std::string> registered;
  for (int i = 0; i < evaluator.Words().Count(); ++i)
    registered.insert(evaluator.Words().Word(i)->Name);
  EXPECT_EQ(registered, expected);
  EXPECT_EQ(evaluator.Words().Count(), static_cast<int>(expected.size()));
}

TEST(Registry, SharedProcedures) {
  TVXExpressionEvaluator evaluator;
  auto func = [&](const char* name) { return evaluator.Words().Find(name)->Func; };
  EXPECT_EQ(func("power"), func("pow"));
  EXPECT_EQ(func("power"), func("^"));
  EXPECT_EQ(func("^@"), func("intpower"));
  EXPECT_NE(func("^"), func("^@"));
  EXPECT_NE(func("MatrixGetChannelVector"), func("MatrixGetChannelCount"));
  EXPECT_NE(func("and"), func("or"));
  EXPECT_NE(func("<<"), func("-"));
}

TEST(Registry, FirstRegistrationOfANameWins) {
  TVXExpressionEvaluator evaluator;
  auto* word = WordAs<TVXParsFunction>(evaluator, "StringWriteBinaryWord");
  ASSERT_NE(word, nullptr);
  EXPECT_NE(word->Syntax, "StringWriteBinarySmallInteger( smallint )");
  EXPECT_NE(word->Func, evaluator.Words().Find("StringWriteBinarySmallInteger")->Func);
}

TEST(Registry, DefaultsTexts) {
  TVXExpressionEvaluator evaluator;
  EXPECT_EQ(WordAs<TVXParsFunction>(evaluator, "PIDLoop")->Defaults,
            "gain := 1\rintegral := 0\rderivative := 0\routput := 0\rtime := 1\r"
            "internal1 := 0\rinternal2 := 0");
  EXPECT_EQ(WordAs<TVXParsFunction>(evaluator, "Polynom")->Defaults,
            "k0 := 0\rk1 := 1\rk2 := 0\rk3 := 0\rk4 := 0\rk5 := 0\rk6 := 0\rk7 := 0\rk8 := 0");
  EXPECT_EQ(WordAs<TVXParsFunction>(evaluator, "sin")->Defaults, "");
}

TEST(Registry, NamesMatchWithoutRegardToCase) {
  TVXExpressionEvaluator evaluator;
  for (const char* name : {"SIN", "Sin", "ENDIF", "endif", "Pi", "true", "MOD", "Not"})
    EXPECT_NE(evaluator.Words().Find(name), nullptr) << name;
  EXPECT_EQ(evaluator.Words().Find("EndIf"), evaluator.Words().Find("EndIF"));
}

TEST(Registry, DefiningAVariableNamedSinLeavesTheFunction) {
  TVXExpressionEvaluator evaluator;
  TVXParsExprWord* sine = evaluator.Words().Find("sin");
  TVXParsDouble storage = TVXParsDouble::Number(4);
  evaluator.DefineVariable("Sin", &storage, "", "");
  EXPECT_EQ(evaluator.Words().Find("sin"), sine);
  EXPECT_NE(dynamic_cast<TVXParsFunction*>(evaluator.Words().Find("SIN")), nullptr);
  std::vector<std::string> vars;
  evaluator.GetVars(vars);
  EXPECT_EQ(std::find(vars.begin(), vars.end(), "Sin"), vars.end());
  EXPECT_EQ(evaluator.GetResults(evaluator.AddExpression("sin(0)")).Value, 0.0);
}

// --- the C-style evaluator ---

TEST(CStyle, AddedWords) {
  TVXParsCStyleEvaluator evaluator;
  auto func = [&](const char* name) { return evaluator.Words().Find(name)->Func; };
  struct Row {
    const char* name;
    bool isOper;
    bool boolean;
    int args;
    int precedence;
    const char* procedureOf;
  };
  const Row rows[] = {
      {"fact", false, false, 1, 0, "!"}, {"perc", false, false, 1, 0, "%"},
      {"||", true, true, 2, 70, "or"},   {"&&", true, true, 2, 70, "or"},
      {"==", true, true, 2, 50, "="},    {"!=", true, true, 2, 50, "<>"},
  };
  for (const Row& row : rows) {
    auto* word = WordAs<TVXParsFunction>(evaluator, row.name);
    ASSERT_NE(word, nullptr) << row.name;
    EXPECT_EQ(word->IsOper, row.isOper) << row.name;
    EXPECT_EQ(dynamic_cast<TVXParsBooleanFunction*>(word) != nullptr, row.boolean) << row.name;
    EXPECT_EQ(word->NFunctionArg, row.args) << row.name;
    EXPECT_EQ(word->Precedence, row.precedence) << row.name;
    EXPECT_EQ(word->Func, func(row.procedureOf)) << row.name;
  }
  EXPECT_EQ(WordAs<TVXParsFunction>(evaluator, "fact")->Syntax, "Fact");
  EXPECT_EQ(WordAs<TVXParsFunction>(evaluator, "perc")->Syntax, "Perc");

  TVXExpressionEvaluator basic;
  for (const char* name : {"fact", "perc", "||", "&&", "==", "!="})
    EXPECT_EQ(basic.Words().Find(name), nullptr) << name;
}

TEST(CStyle, ExistingSpellingsKeepTheirBasicMeaning) {
  TVXParsCStyleEvaluator evaluator;
  TVXExpressionEvaluator basic;
  for (const char* name : {"div", "%", "=", "!"}) {
    auto* word = WordAs<TVXParsFunction>(evaluator, name);
    auto* reference = WordAs<TVXParsFunction>(basic, name);
    ASSERT_NE(word, nullptr) << name;
    EXPECT_EQ(word->IsOper, reference->IsOper) << name;
    EXPECT_EQ(word->NFunctionArg, reference->NFunctionArg) << name;
    EXPECT_EQ(word->Precedence, reference->Precedence) << name;
    EXPECT_EQ(word->Func, reference->Func) << name;
    EXPECT_EQ(word->GeTVXPArsVarType(), reference->GeTVXPArsVarType()) << name;
  }
  EXPECT_EQ(evaluator.Words().Count(), basic.Words().Count() + 6);
}

TEST(CStyle, Evaluation) {
  TVXParsCStyleEvaluator evaluator;
  struct Row {
    const char* formula;
    double value;
  };
  const Row rows[] = {
      {"0 && 1", 1},
      {"1 && 0", 1},
      {"0 && 0", 0},
      {"6 && 3", 7},
      {"1 || 0", 1},
      {"3 == 3", 1},
      {"3 == 4", 0},
      {"3 != 4", 1},
      {"3 != 3", 0},
      {"fact(3)", 6},
      {"3!", 6},
      {"perc(50)", 0.5},
      {"50%", 0.5},
      {"7 div 2", 3},
      {"2 = 2", 1},
      {"2 = 3", 0},
      {"fact(4) - 3! == 18", 1},
  };
  for (const Row& row : rows) {
    const int index = evaluator.AddExpression(row.formula);
    EXPECT_EQ(evaluator.GetResults(index).Value, row.value) << row.formula;
  }
  EXPECT_TRUE(evaluator.GetAsBoolean(evaluator.AddExpression("0 && 1")));
  EXPECT_FALSE(evaluator.GetAsBoolean(evaluator.AddExpression("0 && 0")));
}

// --- lists for the user ---

TEST(OperatorList, HidesInternalForms) {
  TVXExpressionEvaluator evaluator;
  std::vector<std::string> names;
  std::vector<TVXParsExprWord*> words = {nullptr};
  names.push_back("stale");
  evaluator.GetOperatorList(names, &words);
  std::set<std::string> expected;
  for (const OperatorRow& row : kOperators)
    if (std::string(row.name).find('@') == std::string::npos) expected.insert(row.name);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
  EXPECT_EQ(names.size(), 22u);
  ASSERT_EQ(words.size(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(words[i]->Name, names[i]);

  TVXParsCStyleEvaluator cstyle;
  cstyle.GetOperatorList(names);
  for (const char* name : {"||", "&&", "==", "!="}) expected.insert(name);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
}

TEST(FunctionList, DisplayLines) {
  TVXExpressionEvaluator evaluator;
  evaluator.DefineFunction("zzTwo", nullptr, 2, "");
  evaluator.DefineFunction("zzOne", nullptr, 1, "");
  evaluator.DefineFunction("zzNone", nullptr, 0, "zzNone( ignored )");
  std::vector<std::string> lines = {"stale"};
  std::vector<TVXParsExprWord*> words;
  evaluator.GetFunctionList(lines, &words);
  ASSERT_EQ(words.size(), lines.size());

  auto lineOf = [&](const char* name) -> std::string {
    for (std::size_t i = 0; i < words.size(); ++i)
      if (words[i]->Name == name) return lines[i];
    return "<missing>";
  };
  EXPECT_EQ(lineOf("Random"), "Random");
  EXPECT_EQ(lineOf("max"), "Max( arg1, arg2 )");
  EXPECT_EQ(lineOf("sin"), "Sin( arg )");
  EXPECT_EQ(lineOf("EndIF"), "EndIF");
  EXPECT_EQ(lineOf("Else"), "Else");
  EXPECT_EQ(lineOf("If"), "If( arg )");
  EXPECT_EQ(lineOf("zzTwo"), "zzTwo( arg1 , arg2 )");
  EXPECT_EQ(lineOf("zzOne"), "zzOne( arg1 )");
  EXPECT_EQ(lineOf("zzNone"), "zzNone");
  EXPECT_EQ(lineOf("+"), "<missing>");
  EXPECT_EQ(lineOf("div"), "<missing>");
  EXPECT_EQ(lineOf("pi"), "<missing>");
  EXPECT_EQ(lineOf("("), "<missing>");

  // Every non-operator function once, in the list's case-insensitive order.
  EXPECT_EQ(words.size(), std::size(kFunctions) + 1 + 3);  // + "[" + the three defined
  for (std::size_t i = 1; i < words.size(); ++i)
    EXPECT_LT(strcasecmp(words[i - 1]->Name.c_str(), words[i]->Name.c_str()), 0)
        << words[i - 1]->Name << " before " << words[i]->Name;

  std::vector<std::string> only;
  evaluator.GetFunctionList(only);
  EXPECT_EQ(only, lines);
}

TEST(HelpTopics, WordsAndReservedVariables) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble storage;
  evaluator.DefineVariable("speed", &storage, "", "Speed.htm");
  evaluator.AddExpression("generated := 1");
  struct Row {
    const char* name;
    const char* topic;
  };
  const Row rows[] = {
      {"sin", "Functions/Sin_(Sine)_Function.htm"},
      {"SIN", "Functions/Sin_(Sine)_Function.htm"},
      {"*", "Operators/__(Multiplication)_Operator.htm"},
      {"mod", "Operators/mod_(Modulo)_Operator.htm"},
      {"<<", "Operators/-_(Minus)_Operator.htm"},
      {"If", "Functions/If_Function.htm"},
      {"endif", "Functions/EndIf_Function.htm"},
      {"Random", "Functions/Random_Function.htm"},
      {"PI", "Constants.htm"},
      {"TRUE", "Constants.htm"},
      {"timestart", "Variables.htm"},
      {"TIMELENGTH", "Variables.htm"},
      {"dt", "Variables.htm"},
      {"t", "Variables.htm"},
      {"controloutput", "Variables.htm"},
      {"EnableOutput", "Variables.htm"},
      {"speed", "Speed.htm"},
      {"generated", ""},
      {"(", ""},
      {"nosuch", ""},
      {"", ""},
  };
  for (const Row& row : rows) EXPECT_EQ(evaluator.GetHelpTopicID(row.name), row.topic) << row.name;
}

}  // namespace
}  // namespace loom
