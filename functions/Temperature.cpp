// Thermocouples and temperature units.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// clang-format off
LOOM_PENDING(_VXParsTCVoltageToTemperature,        "TCVoltageToTemperature")
LOOM_PENDING(_VXParsTCTemperatureToVoltage,        "TCTemperatureToVoltage")
LOOM_PENDING(_VXParsTCVoltageToTemperatureWithCJC, "TCVoltageToTemperatureWithCJC")
LOOM_PENDING(_VXParsCelsiusToFahrenheit,           "CelsiusToFahrenheit")
LOOM_PENDING(_VXParsCelsiusToKelvin,               "CelsiusToKelvin")
LOOM_PENDING(_VXParsFahrenheitToCelsius,           "FahrenheitToCelsius")
LOOM_PENDING(_VXParsFahrenheitToKelvin,            "FahrenheitToKelvin")
LOOM_PENDING(_VXParsKelvinToCelsius,               "KelvinToCelsius")
LOOM_PENDING(_VXParsKelvinToFahrenheit,            "KelvinToFahrenheit")
// clang-format on

}  // namespace loom
