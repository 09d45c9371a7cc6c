// Thermocouple linearisation and temperature units, driven through the evaluator. The
// thermocouple points are values of the NIST ITS-90 reference tables (thermoelectric voltage in
// mV, rounded to 1 µV, reference junction at 0 °C): a few per type, the ends of the type's range
// and of its polynomial pieces among them.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "functions/Registry.h"
#include "functions/Thermocouples.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

struct TypeLimits {
  const char* type;  // the formula's name of the type
  // From inverseFrom °C up the inverse polynomials are published; there the temperature of a
  // point's voltage must be within `tolerance`: the inverse's published error bound plus what
  // the table's rounding to 1 µV is worth at the type's smallest sensitivity there.
  double inverseFrom, tolerance;
};

const TypeLimits kTypes[] = {
    {"TC_TYPE_B", 300, 0.2},
    {"TC_TYPE_E", -200, 0.05},
    {"TC_TYPE_J", -210, 0.08},
    {"TC_TYPE_K", -200, 0.1},
    {"TC_TYPE_N", -200, 0.09},
    // At -50 °C the table's rounding alone is worth more than 0.1 °C of type R or S.
    {"TC_TYPE_R", 0, 0.09},
    {"TC_TYPE_S", 0, 0.09},
    {"TC_TYPE_T", -200, 0.08},
};

struct Point {
  const char* type;
  double celsius, millivolts;
};

const Point kPoints[] = {
    {"TC_TYPE_B", 300, 0.431},   {"TC_TYPE_B", 600, 1.792},   {"TC_TYPE_B", 700, 2.431},
    {"TC_TYPE_B", 1000, 4.834},  {"TC_TYPE_B", 1820, 13.820}, {"TC_TYPE_E", -270, -9.835},
    {"TC_TYPE_E", -200, -8.825}, {"TC_TYPE_E", 0, 0},         {"TC_TYPE_E", 500, 37.005},
    {"TC_TYPE_E", 1000, 76.373}, {"TC_TYPE_J", -210, -8.095}, {"TC_TYPE_J", 0, 0},
    {"TC_TYPE_J", 400, 21.848},  {"TC_TYPE_J", 760, 42.919},  {"TC_TYPE_J", 800, 45.494},
    {"TC_TYPE_J", 1200, 69.553}, {"TC_TYPE_K", -270, -6.458}, {"TC_TYPE_K", -200, -5.891},
    {"TC_TYPE_K", 0, 0},         {"TC_TYPE_K", 500, 20.644},  {"TC_TYPE_K", 600, 24.905},
    {"TC_TYPE_K", 1372, 54.886}, {"TC_TYPE_N", -270, -4.345}, {"TC_TYPE_N", -200, -3.990},
    {"TC_TYPE_N", 0, 0},         {"TC_TYPE_N", 600, 20.613},  {"TC_TYPE_N", 1300, 47.513},
    {"TC_TYPE_R", -50, -0.226},  {"TC_TYPE_R", 0, 0},         {"TC_TYPE_R", 300, 2.401},
    {"TC_TYPE_R", 1100, 11.850}, {"TC_TYPE_R", 1600, 18.849}, {"TC_TYPE_R", 1700, 20.222},
    {"TC_TYPE_R", 1768, 21.101}, {"TC_TYPE_S", -50, -0.236},  {"TC_TYPE_S", 0, 0},
    {"TC_TYPE_S", 300, 2.323},   {"TC_TYPE_S", 1100, 10.757}, {"TC_TYPE_S", 1600, 16.777},
    {"TC_TYPE_S", 1700, 17.947}, {"TC_TYPE_S", 1768, 18.693}, {"TC_TYPE_T", -270, -6.258},
    {"TC_TYPE_T", -200, -5.603}, {"TC_TYPE_T", 0, 0},         {"TC_TYPE_T", 200, 9.288},
    {"TC_TYPE_T", 400, 20.872},
};

class TemperatureFormula : public ::testing::Test {
 protected:
  double Number(const std::string& formula) {
    const TVXParsDouble value = ev_.Evaluate(formula);
    EXPECT_EQ(value.VarType, vtDouble) << formula;
    return value.Value;
  }

  TVXExpressionEvaluator ev_;
};

TEST_F(TemperatureFormula, ReferencePointsBothWays) {
  for (const TypeLimits& type : kTypes) {
    for (const Point& point : kPoints) {
      if (std::string(point.type) != type.type) continue;
      SCOPED_TRACE(std::string(type.type) + " at " + Num(point.celsius) + " °C");
      const double volts =
          Number("TCTemperatureToVoltage(" + Num(point.celsius) + ", " + type.type + ")");
      EXPECT_NEAR(volts * 1000.0, point.millivolts, 0.0005 + 1e-9);
      if (point.celsius < type.inverseFrom) continue;
      EXPECT_NEAR(Number("TCVoltageToTemperature(" + Num(point.millivolts / 1000.0) + ", " +
                         type.type + ")"),
                  point.celsius, type.tolerance);
    }
  }
}

// Type K's exponential term adds about 0.119 mV around 127 °C; outside a type's range the
// nearest polynomial is extended, continuous across the published end and still rising.
TEST_F(TemperatureFormula, TypeKExponentialTermAndExtrapolation) {
  EXPECT_NEAR(Number("TCTemperatureToVoltage(127, TC_TYPE_K)") * 1000.0, 5.206, 0.0005);
  EXPECT_NEAR(
      DoInverseLinearization(tcK, 127.0) * 1000.0 - DoInverseLinearization(tcK, 126.0) * 1000.0,
      0.041, 0.001);
  EXPECT_NEAR(DoInverseLinearization(tcK, 1400.0) - DoInverseLinearization(tcK, 1372.0), 0.000944,
              0.000002);  // about 34 µV per °C there
  EXPECT_GT(DoLinearization(tcK, 0.056), 1372.0);
  EXPECT_LT(DoLinearization(tcT, -0.0058), -200.0);
  EXPECT_TRUE(std::isnan(DoLinearization(tcJ, std::nan(""))));
}

// Type codes are truncated; TC_TYPE_NONE passes values through, and with compensation the
// ambient temperature is added to the already linear signal. Type K at 100 °C against 25 °C reads
// 4.096 - 1.000 mV, type J at 300 °C against 20 °C 16.327 - 1.019 mV.
TEST_F(TemperatureFormula, TypeCodesVectorsCompensationAndUnits) {
  const OutcomeRow rows[] = {
      {"TCVoltageToTemperature(0.02, 3.7) = TCVoltageToTemperature(0.02, TC_TYPE_J)", "1"},
      {"TCTemperatureToVoltage(500, 4.99) = TCTemperatureToVoltage(500, TC_TYPE_K)", "1"},
      {"TCVoltageToTemperature(0.02, TC_TYPE_J) = TCVoltageToTemperature(0.02, TC_TYPE_K)", "0"},
      {"[TCVoltageToTemperature(0.5, 0.9), TCTemperatureToVoltage(-12.5, TC_TYPE_NONE), "
       "TCVoltageToTemperatureWithCJC(2, 25, TC_TYPE_NONE)]",
       "[ 0.5, -12.5, 27]"},
      {"round(TCVoltageToTemperature([0, 0.004096], TC_TYPE_K) * 10)", "[ 0, 1000]"},
      {"round(TCTemperatureToVoltage([100, 300], TC_TYPE_J) * 1e6)", "[ 5269, 16327]"},
      {"round(TCVoltageToTemperatureWithCJC([0, 0.003096], 25, TC_TYPE_K) * 10)", "[ 250, 1000]"},
      {"round(TCVoltageToTemperatureWithCJC(0.015308, 20, TC_TYPE_J) * 10)", "3000"},
      {"CelsiusToKelvin([0, -273.15]) + FahrenheitToKelvin(-459.67)", "[ 273.15, 0]"},
      {"CelsiusToFahrenheit([-40, 100, 37])", "[ -40, 212, 98.6]"},
      {"FahrenheitToCelsius([212, -40]) + KelvinToCelsius(373.15)", "[ 200, 60]"},
      {"KelvinToFahrenheit([273.15, 0])", "[ 32, -459.67]"},
  };
  ExpectOutcomes(ev_, rows);
  for (const char* formula :
       {"TCVoltageToTemperature(0.001, 8.9)", "TCVoltageToTemperature(0.001, -0.1)",
        "TCVoltageToTemperature(TRUE, TC_TYPE_K)", "TCTemperatureToVoltage(\"100\", TC_TYPE_K)",
        "TCVoltageToTemperatureWithCJC(0, [25], TC_TYPE_K)", "CelsiusToFahrenheit(\"20\")",
        "FahrenheitToKelvin(\"x\")"})
    EXPECT_EQ(Outcome(ev_, formula), "Invalid parameters") << formula;
  const TDegreesUnit units[] = {duCelsius, duFahrenheit, duKelvin};
  for (TDegreesUnit from : units)
    for (TDegreesUnit to : units)
      for (double v : {-300.0, 21.5, 1000.0})
        EXPECT_NEAR(TempUnitConversion(TempUnitConversion(v, from, to), to, from), v, 1e-12)
            << from << " -> " << to << " of " << v;
}

}  // namespace
}  // namespace loom
