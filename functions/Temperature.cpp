// Thermocouples and temperature units: linearisation of thermocouple voltages (in volts) to
// degrees Celsius and back, with cold-junction compensation, and the six unit conversions. The
// numerical work is in Thermocouples.h; the bodies check the arguments and apply it to a number
// or to every element of a vector.
#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/Thermocouples.h"

namespace loom {

namespace {

// The first argument of every function here: a number or a vector, else "Invalid parameters".
const TVXParsDouble& CheckedInput(const TVXParsExpressionRec* rec) {
  const TVXParsDouble& input = rec->Arg(0);
  if (input.VarType != vtDouble && input.VarType != vtVector)
    throw EVXParserException(rsInvalidParameters);
  return input;
}

// A thermocouple type code: 0 <= code <= 8, truncated toward zero (3.7 is type J), else
// "Invalid parameters".
TThermoCoupleTypes CheckedType(double code) {
  if (!(code >= 0.0 && code <= 8.0)) throw EVXParserException(rsInvalidParameters);
  return static_cast<TThermoCoupleTypes>(static_cast<int>(code));
}

// f of a number, or of every element of a vector; the result takes the input's kind.
template <class F>
void ApplyToInput(TVXParsExpressionRec* rec, F f) {
  CheckedInput(rec);
  ApplyUnary(rec, f);
}

template <TDegreesUnit From, TDegreesUnit To>
void ConvertUnits(TVXParsExpressionRec* rec) {
  ApplyToInput(rec, [](double x) { return TempUnitConversion(x, From, To); });
}

}  // namespace

// TCVoltageToTemperature(TCVoltage, tctype): degrees Celsius of a voltage in volts.
void _VXParsTCVoltageToTemperature(TVXParsExpressionRec* rec) {
  CheckedInput(rec);
  const TThermoCoupleTypes type = CheckedType(rec->Arg(1).Value);
  ApplyUnary(rec, [type](double volts) { return DoLinearization(type, volts); });
}

// TCTemperatureToVoltage(TCTemperature, tctype): volts of a temperature in degrees Celsius.
void _VXParsTCTemperatureToVoltage(TVXParsExpressionRec* rec) {
  CheckedInput(rec);
  const TThermoCoupleTypes type = CheckedType(rec->Arg(1).Value);
  ApplyUnary(rec, [type](double celsius) { return DoInverseLinearization(type, celsius); });
}

// TCVoltageToTemperatureWithCJC(TCVoltage, AmbientTemperature, tctype): the measuring
// junction's temperature when the reference junction sits at the ambient temperature: the
// voltage that the ambient temperature would give is added before linearising.
void _VXParsTCVoltageToTemperatureWithCJC(TVXParsExpressionRec* rec) {
  CheckedInput(rec);
  const TVXParsDouble& ambient = rec->Arg(1);
  const TVXParsDouble& code = rec->Arg(2);
  if (ambient.VarType != vtDouble || code.VarType != vtDouble)
    throw EVXParserException(rsInvalidParameters);
  const TThermoCoupleTypes type = CheckedType(code.Value);
  const double coldJunction = DoInverseLinearization(type, ambient.Value);
  ApplyUnary(rec, [type, coldJunction](double volts) {
    return DoLinearization(type, volts + coldJunction);
  });
}

void _VXParsCelsiusToFahrenheit(TVXParsExpressionRec* rec) {
  ConvertUnits<duCelsius, duFahrenheit>(rec);
}

void _VXParsCelsiusToKelvin(TVXParsExpressionRec* rec) {
  ConvertUnits<duCelsius, duKelvin>(rec);
}

void _VXParsFahrenheitToCelsius(TVXParsExpressionRec* rec) {
  ConvertUnits<duFahrenheit, duCelsius>(rec);
}

void _VXParsFahrenheitToKelvin(TVXParsExpressionRec* rec) {
  ConvertUnits<duFahrenheit, duKelvin>(rec);
}

void _VXParsKelvinToCelsius(TVXParsExpressionRec* rec) {
  ConvertUnits<duKelvin, duCelsius>(rec);
}

void _VXParsKelvinToFahrenheit(TVXParsExpressionRec* rec) {
  ConvertUnits<duKelvin, duFahrenheit>(rec);
}

}  // namespace loom
