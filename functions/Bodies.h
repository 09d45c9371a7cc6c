// The evaluation procedure of every word of the language, one per registered name. Each reads
// its arguments through rec->ArgData and writes rec->Result; the registry binds them to names.
#pragma once

#include "engine/ParserClasses.h"

namespace loom {

// Operators, by the name they are registered under.
void _VXParsFactorial(TVXParsExpressionRec* rec);     // !
void _VXParsPercent(TVXParsExpressionRec* rec);       // %
void _VXParsUnaryMinus(TVXParsExpressionRec* rec);    // -@
void _VXParsUnaryPlus(TVXParsExpressionRec* rec);     // +@
void _VXParsPower(TVXParsExpressionRec* rec);         // ^
void _VXParsIntPower(TVXParsExpressionRec* rec);      // ^@
void _VXParsMultiply(TVXParsExpressionRec* rec);      // *
void _VXParsDivide(TVXParsExpressionRec* rec);        // /
void _VXParsDiv(TVXParsExpressionRec* rec);           // div
void _VXParsMod(TVXParsExpressionRec* rec);           // mod
void _VXParsAdd(TVXParsExpressionRec* rec);           // +
void _VXParsSubtract(TVXParsExpressionRec* rec);      // -
void _VXParsShiftLeft(TVXParsExpressionRec* rec);     // <<
void _VXParsShiftRight(TVXParsExpressionRec* rec);    // >>
void _VXParsGreater(TVXParsExpressionRec* rec);       // >
void _VXParsGreaterEqual(TVXParsExpressionRec* rec);  // >=
void _VXParsLessEqual(TVXParsExpressionRec* rec);     // <=
void _VXParsLess(TVXParsExpressionRec* rec);          // <
void _VXParsNotEqual(TVXParsExpressionRec* rec);      // <>
void _VXParsEqual(TVXParsExpressionRec* rec);         // =
void _VXParsNot(TVXParsExpressionRec* rec);           // not
void _VXParsOr(TVXParsExpressionRec* rec);            // or
void _VXParsAnd(TVXParsExpressionRec* rec);           // and
void _VXParsXor(TVXParsExpressionRec* rec);           // xor
void _VXParsAssign(TVXParsExpressionRec* rec);        // :=

// Operators and scalar mathematics (functions/Operators.cpp)
void _VXParsSqrt(TVXParsExpressionRec* rec);
void _VXParsAbs(TVXParsExpressionRec* rec);
void _VXParsRound(TVXParsExpressionRec* rec);
void _VXParsTrunc(TVXParsExpressionRec* rec);
void _VXParsMax(TVXParsExpressionRec* rec);
void _VXParsMin(TVXParsExpressionRec* rec);
void _VXParsCeil(TVXParsExpressionRec* rec);
void _VXParsFloor(TVXParsExpressionRec* rec);
void _VXParsFrac(TVXParsExpressionRec* rec);
void _VXParsClamp(TVXParsExpressionRec* rec);
void _VXParsSqr(TVXParsExpressionRec* rec);
void _VXParsSin(TVXParsExpressionRec* rec);
void _VXParsCos(TVXParsExpressionRec* rec);
void _VXParsTan(TVXParsExpressionRec* rec);
void _VXParsArcsin(TVXParsExpressionRec* rec);
void _VXParsArccos(TVXParsExpressionRec* rec);
void _VXParsArctan2(TVXParsExpressionRec* rec);
void _VXParsDegtorad(TVXParsExpressionRec* rec);
void _VXParsRadtodeg(TVXParsExpressionRec* rec);
void _VXParsExp(TVXParsExpressionRec* rec);
void _VXParsLn(TVXParsExpressionRec* rec);
void _VXParsLog10(TVXParsExpressionRec* rec);
void _VXParsLogN(TVXParsExpressionRec* rec);
void _VXParsSinh(TVXParsExpressionRec* rec);
void _VXParsCosh(TVXParsExpressionRec* rec);
void _VXParsTanh(TVXParsExpressionRec* rec);
void _VXParsArcsinh(TVXParsExpressionRec* rec);
void _VXParsArccosh(TVXParsExpressionRec* rec);
void _VXParsArctanh(TVXParsExpressionRec* rec);
void _VXParsRandom(TVXParsExpressionRec* rec);
void _VXParsRandg(TVXParsExpressionRec* rec);
void _VXParsBit(TVXParsExpressionRec* rec);
void _VXParsGetTickCount(TVXParsExpressionRec* rec);
void _VXParsNow(TVXParsExpressionRec* rec);
void _VXParsCondEval(TVXParsExpressionRec* rec);

// Jump commands (functions/Jumps.cpp)
void _VXParsIf(TVXParsExpressionRec* rec);
void _VXParsElse(TVXParsExpressionRec* rec);
void _VXParsEndIF(TVXParsExpressionRec* rec);
void _VXParsWhile(TVXParsExpressionRec* rec);
void _VXParsWend(TVXParsExpressionRec* rec);
void _VXParsRepeat(TVXParsExpressionRec* rec);
void _VXParsUntil(TVXParsExpressionRec* rec);

// Vector functions (functions/Vectors.cpp)
void _VXParsVectorConstant(TVXParsExpressionRec* rec);
void _VXParsVectorGetFirstValue(TVXParsExpressionRec* rec);
void _VXParsVectorGetLastValue(TVXParsExpressionRec* rec);
void _VXParsVectorGetMean(TVXParsExpressionRec* rec);
void _VXParsVectorGetRMS(TVXParsExpressionRec* rec);
void _VXParsVectorGetDeviation(TVXParsExpressionRec* rec);
void _VXParsVectorGetMinimumValue(TVXParsExpressionRec* rec);
void _VXParsVectorGetMinimumPosition(TVXParsExpressionRec* rec);
void _VXParsVectorGetMaximumValue(TVXParsExpressionRec* rec);
void _VXParsVectorGetMaximumPosition(TVXParsExpressionRec* rec);
void _VXParsVectorGetSum(TVXParsExpressionRec* rec);
void _VXParsVectorAppend(TVXParsExpressionRec* rec);
void _VXParsVectorCopy(TVXParsExpressionRec* rec);
void _VXParsHistogram(TVXParsExpressionRec* rec);
void _VXParsInRange(TVXParsExpressionRec* rec);
void _VXParsOutOfRange(TVXParsExpressionRec* rec);
void _VXParsVectorGetLowest(TVXParsExpressionRec* rec);
void _VXParsVectorGetHighest(TVXParsExpressionRec* rec);
void _VXParsVectorGetSize(TVXParsExpressionRec* rec);
void _VXParsVectorSetSize(TVXParsExpressionRec* rec);
void _VXParsVectorGetValue(TVXParsExpressionRec* rec);
void _VXParsVectorSetValue(TVXParsExpressionRec* rec);
void _VXParsRamp(TVXParsExpressionRec* rec);
void _VXParsVectorResample(TVXParsExpressionRec* rec);
void _VXParsMovingAverage(TVXParsExpressionRec* rec);
void _VXParsDelayLine(TVXParsExpressionRec* rec);
void _VXParsDelayLineReverse(TVXParsExpressionRec* rec);
void _VXParsMatrixGetChannelCount(TVXParsExpressionRec* rec);
void _VXParsMatrixGetChannelVector(TVXParsExpressionRec* rec);
void _VXParsMatrixSetChannelVector(TVXParsExpressionRec* rec);

// Signal processing (functions/Signal.cpp)
void _VXParsRealFFT(TVXParsExpressionRec* rec);
void _VXParsRealInverseFFT(TVXParsExpressionRec* rec);
void _VXParsAutoCorrelation(TVXParsExpressionRec* rec);
void _VXParsPowerSpectrum(TVXParsExpressionRec* rec);
void _VXParsCrossCorrelation(TVXParsExpressionRec* rec);
void _VXParsCrossPowerSpectrum(TVXParsExpressionRec* rec);

// Interpolation, polynomial and PID loop (functions/Interpolation.cpp)
void _VXParsInterpolLin(TVXParsExpressionRec* rec);
void _VXParsInterpolCubic(TVXParsExpressionRec* rec);
void _VXParsInterpolCubicPrepare(TVXParsExpressionRec* rec);
void _VXParsPolynom(TVXParsExpressionRec* rec);
void _VXParsPIDLoop(TVXParsExpressionRec* rec);

// Strings and conversions (functions/Strings.cpp)
void _VXParsFormatDateTime(TVXParsExpressionRec* rec);
void _VXParsFormat(TVXParsExpressionRec* rec);
void _VXParsChr(TVXParsExpressionRec* rec);
void _VXParsPos(TVXParsExpressionRec* rec);
void _VXParsLeft(TVXParsExpressionRec* rec);
void _VXParsRight(TVXParsExpressionRec* rec);
void _VXParsMid(TVXParsExpressionRec* rec);
void _VXParsGetToken(TVXParsExpressionRec* rec);
void _VXParsTrim(TVXParsExpressionRec* rec);
void _VXParsConvertStringToNumber(TVXParsExpressionRec* rec);
void _VXParsConvertStringDateTimeToNumber(TVXParsExpressionRec* rec);
void _VXParsConvertStringHexToInt(TVXParsExpressionRec* rec);
void _VXParsStrChar(TVXParsExpressionRec* rec);
void _VXParsStrLen(TVXParsExpressionRec* rec);
void _VXParsStrComp(TVXParsExpressionRec* rec);
void _VXParsStrLComp(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinaryWord(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinaryByte(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinaryFloat32(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinaryFloat64(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinaryInteger(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinaryLongWord(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinaryShortInteger(TVXParsExpressionRec* rec);
void _VXParsStringWriteBinarySmallInteger(TVXParsExpressionRec* rec);

// File I/O (functions/FileIO.cpp)
void _VXParsFileOpen(TVXParsExpressionRec* rec);
void _VXParsFileCreate(TVXParsExpressionRec* rec);
void _VXParsFileAppend(TVXParsExpressionRec* rec);
void _VXParsFileClose(TVXParsExpressionRec* rec);
void _VXParsFileEOF(TVXParsExpressionRec* rec);
void _VXParsFileSeek(TVXParsExpressionRec* rec);
void _VXParsFileSize(TVXParsExpressionRec* rec);
void _VXParsFileWriteString(TVXParsExpressionRec* rec);
void _VXParsFileWriteStringLn(TVXParsExpressionRec* rec);
void _VXParsFileWriteStringFixed(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinaryWord(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinaryByte(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinaryFloat32(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinaryFloat64(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinaryInteger(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinaryLongWord(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinarySmallInteger(TVXParsExpressionRec* rec);
void _VXParsFileWriteBinaryShortInteger(TVXParsExpressionRec* rec);
void _VXParsFileReadStringLn(TVXParsExpressionRec* rec);
void _VXParsFileReadStringFixed(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryWord(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryByte(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryFloat32(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryFloat64(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryInteger(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryLongWord(TVXParsExpressionRec* rec);
void _VXParsFileReadBinarySmallInteger(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryShortInteger(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryWordVector(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryByteVector(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryFloat32Vector(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryFloat64Vector(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryIntegerVector(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryLongWordVector(TVXParsExpressionRec* rec);
void _VXParsFileReadBinarySmallIntegerVector(TVXParsExpressionRec* rec);
void _VXParsFileReadBinaryShortIntegerVector(TVXParsExpressionRec* rec);
void _VXParsCreateDirectory(TVXParsExpressionRec* rec);

// Temperature (functions/Temperature.cpp)
void _VXParsTCVoltageToTemperature(TVXParsExpressionRec* rec);
void _VXParsTCTemperatureToVoltage(TVXParsExpressionRec* rec);
void _VXParsTCVoltageToTemperatureWithCJC(TVXParsExpressionRec* rec);
void _VXParsCelsiusToFahrenheit(TVXParsExpressionRec* rec);
void _VXParsCelsiusToKelvin(TVXParsExpressionRec* rec);
void _VXParsFahrenheitToCelsius(TVXParsExpressionRec* rec);
void _VXParsFahrenheitToKelvin(TVXParsExpressionRec* rec);
void _VXParsKelvinToCelsius(TVXParsExpressionRec* rec);
void _VXParsKelvinToFahrenheit(TVXParsExpressionRec* rec);

// Serial and MATLAB (functions/SerialMatlab.cpp)
void _VXParsSerialWriteString(TVXParsExpressionRec* rec);
void _VXParsMatlabCommand(TVXParsExpressionRec* rec);
void _VXParsMatlabPutVector(TVXParsExpressionRec* rec);
void _VXParsMatlabGetVector(TVXParsExpressionRec* rec);

// Events, timing and panel exchange (functions/Events.cpp)
void _VXParsFireEvent(TVXParsExpressionRec* rec);
void _VXParsFireEventEx(TVXParsExpressionRec* rec);
void _VXParsWait(TVXParsExpressionRec* rec);
void _VXParsUpdateOutputs(TVXParsExpressionRec* rec);
void _VXParsUpdateInputData(TVXParsExpressionRec* rec);
void _VXParsTic(TVXParsExpressionRec* rec);
void _VXParsToc(TVXParsExpressionRec* rec);

// Closes every file that formulas left open.
void _closeallfiles();

}  // namespace loom
