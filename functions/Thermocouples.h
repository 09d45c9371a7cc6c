// Thermocouple reference functions and temperature units.
//
// The eight letter-designated types follow the NIST ITS-90 reference functions (NIST Monograph
// 175): the voltage of a temperature is the reference polynomial of the temperature's range
// (type K above 0 °C with its exponential term); the temperature of a voltage is the published
// approximate inverse polynomial of the voltage's range, accurate to a few hundredths of a degree
// (type B from 250 °C up, the others over their whole inverse range). Voltages are in volts and
// temperatures in degrees Celsius; the published coefficients are in millivolts and converted
// here.
//
// Outside a type's range the nearest range's polynomial is used as it stands (extrapolated),
// with no error: the result grows less accurate the further out it lies, as with any polynomial.
// Type NONE is no linearisation: both directions return the value unchanged, so a signal that
// is already a temperature difference passes through (and cold-junction compensation adds the
// ambient temperature to it).
#pragma once

namespace loom {

// The type codes of the thermocouple functions; their numbers are part of the language.
enum TThermoCoupleTypes : int {
  tcNone = 0,
  tcB = 1,
  tcE = 2,
  tcJ = 3,
  tcK = 4,
  tcN = 5,
  tcR = 6,
  tcS = 7,
  tcT = 8,
};

// Temperature units of TempUnitConversion.
enum TDegreesUnit : int {
  duCelsius = 0,
  duFahrenheit = 1,
  duKelvin = 2,
};

// Thermocouple voltage (volts, reference junction at 0 °C) to temperature (°C).
double DoLinearization(TThermoCoupleTypes type, double volts);

// Temperature (°C) to thermocouple voltage (volts, reference junction at 0 °C).
double DoInverseLinearization(TThermoCoupleTypes type, double celsius);

// A temperature from one unit to another: °F = °C * 9 / 5 + 32, K = °C + 273.15.
double TempUnitConversion(double value, TDegreesUnit from, TDegreesUnit to);

}  // namespace loom
