// Thermocouple linearisation and temperature units, driven through the evaluator. The
// thermocouple rows are values of the NIST ITS-90 reference tables (thermoelectric voltage in
// mV, rounded to 1 µV, reference junction at 0 °C).
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "engine/ParserClasses.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"
#include "functions/Thermocouples.h"

namespace loom {
namespace {

struct TableRow {
  double celsius;
  double millivolts;
};

struct TypeTable {
  const char* constant;  // the formula's name of the type
  // Rows from inverseFrom °C up lie where the inverse polynomials are published; there the
  // temperature of a row's voltage must be within `tolerance`: the published error bound of the
  // inverse plus what the table's rounding to 1 µV is worth at the type's smallest sensitivity
  // among those rows.
  double inverseFrom;
  double tolerance;
  // Voltage -> temperature -> voltage over the inverse range stays within the inverse's error
  // times the type's largest sensitivity, in mV.
  double minMillivolts, maxMillivolts, roundTripTolerance;
  std::vector<TableRow> rows;
};

const std::vector<TypeTable>& Tables() {
  static const std::vector<TypeTable> tables = {
      {"TC_TYPE_B",
       300,
       0.2,
       0.291,
       13.820,
       0.0004,
       {{100, 0.033},   {200, 0.178},   {300, 0.431},   {350, 0.596},   {400, 0.787},
        {500, 1.242},   {600, 1.792},   {700, 2.431},   {800, 3.154},   {900, 3.957},
        {1000, 4.834},  {1100, 5.780},  {1200, 6.786},  {1300, 7.848},  {1400, 8.956},
        {1500, 10.099}, {1600, 11.263}, {1700, 12.433}, {1800, 13.591}, {1820, 13.820}}},
      {"TC_TYPE_E",
       -200,
       0.05,
       -8.825,
       76.373,
       0.0025,
       {{-270, -9.835},
        {-200, -8.825},
        {-100, -5.237},
        {0, 0},
        {100, 6.319},
        {200, 13.421},
        {300, 21.036},
        {350, 24.964},
        {400, 28.946},
        {500, 37.005},
        {600, 45.093},
        {700, 53.112},
        {800, 61.017},
        {900, 68.787},
        {1000, 76.373}}},
      {"TC_TYPE_J",
       -210,
       0.08,
       -8.095,
       69.553,
       0.0032,
       {{-210, -8.095},
        {-100, -4.633},
        {0, 0},
        {100, 5.269},
        {200, 10.779},
        {300, 16.327},
        {350, 19.090},
        {400, 21.848},
        {500, 27.393},
        {600, 33.102},
        {700, 39.132},
        {760, 42.919},
        {800, 45.494},
        {900, 51.877},
        {1000, 57.953},
        {1100, 63.792},
        {1200, 69.553}}},
      {"TC_TYPE_K",
       -200,
       0.1,
       -5.891,
       54.886,
       0.0025,
       {{-270, -6.458},
        {-200, -5.891},
        {-100, -3.554},
        {0, 0},
        {100, 4.096},
        {200, 8.138},
        {300, 12.209},
        {350, 14.293},
        {400, 16.397},
        {500, 20.644},
        {600, 24.905},
        {700, 29.129},
        {800, 33.275},
        {900, 37.326},
        {1000, 41.276},
        {1100, 45.119},
        {1200, 48.838},
        {1300, 52.410},
        {1372, 54.886}}},
      {"TC_TYPE_N",
       -200,
       0.09,
       -3.990,
       47.513,
       0.0016,
       {{-270, -4.345},
        {-200, -3.990},
        {-100, -2.407},
        {0, 0},
        {100, 2.774},
        {200, 5.913},
        {300, 9.341},
        {350, 11.136},
        {400, 12.974},
        {500, 16.748},
        {600, 20.613},
        {700, 24.527},
        {800, 28.455},
        {900, 32.371},
        {1000, 36.256},
        {1100, 40.087},
        {1200, 43.846},
        {1300, 47.513}}},
      // At -50 °C the table's rounding alone is worth more than 0.1 °C of type R or S.
      {"TC_TYPE_R",
       0,
       0.09,
       -0.226,
       21.103,
       0.0003,
       {{-50, -0.226},  {0, 0},         {100, 0.647},   {200, 1.469},   {300, 2.401},
        {350, 2.896},   {400, 3.408},   {500, 4.471},   {600, 5.583},   {700, 6.743},
        {800, 7.950},   {900, 9.205},   {1000, 10.506}, {1100, 11.850}, {1200, 13.228},
        {1300, 14.629}, {1400, 16.040}, {1500, 17.451}, {1600, 18.849}, {1700, 20.222},
        {1768, 21.101}}},
      {"TC_TYPE_S",
       0,
       0.09,
       -0.235,
       18.693,
       0.00025,
       {{-50, -0.236},  {0, 0},         {100, 0.646},   {200, 1.441},   {300, 2.323},
        {350, 2.786},   {400, 3.259},   {500, 4.233},   {600, 5.239},   {700, 6.275},
        {800, 7.345},   {900, 8.449},   {1000, 9.587},  {1100, 10.757}, {1200, 11.951},
        {1300, 13.159}, {1400, 14.373}, {1500, 15.582}, {1600, 16.777}, {1700, 17.947},
        {1768, 18.693}}},
      {"TC_TYPE_T",
       -200,
       0.08,
       -5.603,
       20.872,
       0.0025,
       {{-270, -6.258},
        {-200, -5.603},
        {-100, -3.379},
        {-50, -1.819},
        {0, 0},
        {50, 2.036},
        {100, 4.279},
        {150, 6.704},
        {200, 9.288},
        {250, 12.013},
        {300, 14.862},
        {350, 17.819},
        {400, 20.872}}},
  };
  return tables;
}

class TemperatureFormula : public ::testing::Test {
 protected:
  double Number(const std::string& formula) {
    const TVXParsDouble value = ev_.Evaluate(formula);
    EXPECT_EQ(value.VarType, vtDouble) << formula;
    return value.Value;
  }
  std::string Text(const std::string& formula) { return ParsDoubleAsString(ev_.Evaluate(formula)); }

  TVXExpressionEvaluator ev_;
};

// ---- Reference tables -------------------------------------------------------------------------

TEST_F(TemperatureFormula, TemperatureToVoltageReproducesTheReferenceTables) {
  for (const TypeTable& table : Tables()) {
    for (const TableRow& row : table.rows) {
      SCOPED_TRACE(std::string(table.constant) + " at " + Num(row.celsius) + " °C");
      const double volts =
          Number("TCTemperatureToVoltage(" + Num(row.celsius) + ", " + table.constant + ")");
      EXPECT_NEAR(volts * 1000.0, row.millivolts, 0.0005 + 1e-9);
    }
  }
}

TEST_F(TemperatureFormula, VoltageToTemperatureWithinTheInverseAccuracy) {
  for (const TypeTable& table : Tables()) {
    int checked = 0;
    for (const TableRow& row : table.rows) {
      if (row.celsius < table.inverseFrom) continue;
      SCOPED_TRACE(std::string(table.constant) + " at " + Num(row.millivolts) + " mV");
      const double celsius = Number("TCVoltageToTemperature(" + Num(row.millivolts / 1000.0) +
                                    ", " + table.constant + ")");
      EXPECT_NEAR(celsius, row.celsius, table.tolerance);
      ++checked;
    }
    EXPECT_GE(checked, 10) << table.constant;
  }
}

TEST_F(TemperatureFormula, VoltageTemperatureVoltageRoundTrips) {
  for (const TypeTable& table : Tables()) {
    for (int i = 0; i <= 100; ++i) {
      const double millivolts =
          table.minMillivolts + (table.maxMillivolts - table.minMillivolts) * i / 100.0;
      SCOPED_TRACE(std::string(table.constant) + " at " + Num(millivolts) + " mV");
      const std::string volts = Num(millivolts / 1000.0);
      const double back = Number("TCTemperatureToVoltage(TCVoltageToTemperature(" + volts + ", " +
                                 table.constant + "), " + table.constant + ")");
      EXPECT_NEAR(back * 1000.0, millivolts, table.roundTripTolerance);
    }
  }
}

TEST_F(TemperatureFormula, TypeKExponentialTermNearItsCentre) {
  // Around 127 °C the exponential term adds about 0.119 mV; the table reads 5.206 mV at 127 °C.
  EXPECT_NEAR(Number("TCTemperatureToVoltage(127, TC_TYPE_K)") * 1000.0, 5.206, 0.0005);
  EXPECT_NEAR(
      DoInverseLinearization(tcK, 127.0) * 1000.0 - DoInverseLinearization(tcK, 126.0) * 1000.0,
      0.041, 0.001);
}

TEST_F(TemperatureFormula, BeyondTheRangesTheNearestPolynomialIsExtended) {
  // Continuous across the published ends, and still rising beyond them.
  const double atEnd = DoInverseLinearization(tcK, 1372.0);
  const double beyond = DoInverseLinearization(tcK, 1400.0);
  EXPECT_GT(beyond, atEnd);
  EXPECT_NEAR(beyond - atEnd, 0.000944, 0.000002);  // about 34 µV per °C there
  EXPECT_GT(DoLinearization(tcK, 0.056), 1372.0);
  EXPECT_LT(DoLinearization(tcT, -0.0058), -200.0);
  EXPECT_TRUE(std::isnan(DoLinearization(tcJ, std::nan(""))));
  EXPECT_TRUE(std::isnan(DoInverseLinearization(tcJ, std::nan(""))));
}

// ---- Type codes and arguments -----------------------------------------------------------------

TEST_F(TemperatureFormula, TypeCodesAreTruncated) {
  const std::string v = "0.02";
  EXPECT_EQ(Number("TCVoltageToTemperature(" + v + ", 3.7)"),
            Number("TCVoltageToTemperature(" + v + ", TC_TYPE_J)"));
  EXPECT_EQ(Number("TCVoltageToTemperature(" + v + ", 8)"),
            Number("TCVoltageToTemperature(" + v + ", TC_TYPE_T)"));
  EXPECT_EQ(Number("TCTemperatureToVoltage(500, 4.99)"),
            Number("TCTemperatureToVoltage(500, TC_TYPE_K)"));
  EXPECT_NE(Number("TCVoltageToTemperature(" + v + ", TC_TYPE_J)"),
            Number("TCVoltageToTemperature(" + v + ", TC_TYPE_K)"));
}

TEST_F(TemperatureFormula, NoLinearisationPassesValuesThrough) {
  EXPECT_EQ(Number("TCVoltageToTemperature(0.5, TC_TYPE_NONE)"), 0.5);
  EXPECT_EQ(Number("TCTemperatureToVoltage(-12.5, TC_TYPE_NONE)"), -12.5);
  EXPECT_EQ(Number("TCVoltageToTemperature(0.5, 0.9)"), 0.5);
  // With compensation the ambient temperature is added to an already linear signal.
  EXPECT_EQ(Number("TCVoltageToTemperatureWithCJC(2, 25, TC_TYPE_NONE)"), 27.0);
}

TEST_F(TemperatureFormula, VectorsGiveVectors) {
  const TVXParsDouble result = ev_.Evaluate("TCVoltageToTemperature([0, 0.004096], TC_TYPE_K)");
  ASSERT_EQ(result.VarType, vtVector);
  ASSERT_EQ(result.Vector.size(), 2u);
  EXPECT_NEAR(result.Vector[0], 0.0, 1e-12);
  EXPECT_NEAR(result.Vector[1], 100.0, 0.05);
  const TVXParsDouble volts = ev_.Evaluate("TCTemperatureToVoltage([100, 200, 300], TC_TYPE_J)");
  ASSERT_EQ(volts.Vector.size(), 3u);
  EXPECT_NEAR(volts.Vector[2] * 1000.0, 16.327, 0.0005);
}

TEST_F(TemperatureFormula, ColdJunctionCompensation) {
  EXPECT_NEAR(Number("TCVoltageToTemperatureWithCJC(0, 25, TC_TYPE_K)"), 25.0, 0.05);
  // A type K junction at 100 °C read against a reference at 25 °C: 4.096 - 1.000 mV.
  EXPECT_NEAR(Number("TCVoltageToTemperatureWithCJC(0.003096, 25, TC_TYPE_K)"), 100.0, 0.06);
  // Type J at 300 °C against 20 °C: 16.327 - 1.019 mV.
  EXPECT_NEAR(Number("TCVoltageToTemperatureWithCJC(0.015308, 20, TC_TYPE_J)"), 300.0, 0.06);
  const TVXParsDouble vector =
      ev_.Evaluate("TCVoltageToTemperatureWithCJC([0, 0.003096], 25, TC_TYPE_K)");
  ASSERT_EQ(vector.VarType, vtVector);
  ASSERT_EQ(vector.Vector.size(), 2u);
  EXPECT_NEAR(vector.Vector[0], 25.0, 0.05);
  EXPECT_NEAR(vector.Vector[1], 100.0, 0.06);
}

TEST_F(TemperatureFormula, InvalidParameters) {
  const char* const formulas[] = {
      "TCVoltageToTemperature(0.001, 8.9)",
      "TCVoltageToTemperature(0.001, -0.1)",
      "TCVoltageToTemperature(0.001, 9)",
      "TCVoltageToTemperature(\"1\", TC_TYPE_K)",
      "TCVoltageToTemperature(TRUE, TC_TYPE_K)",
      "TCTemperatureToVoltage(100, 8.9)",
      "TCTemperatureToVoltage(\"100\", TC_TYPE_K)",
      "TCVoltageToTemperatureWithCJC(0, 25, 8.5)",
      "TCVoltageToTemperatureWithCJC(0, [25], TC_TYPE_K)",
      "TCVoltageToTemperatureWithCJC(0, 25, [4])",
      "TCVoltageToTemperatureWithCJC(0, \"25\", TC_TYPE_K)",
      "TCVoltageToTemperatureWithCJC(\"0\", 25, TC_TYPE_K)",
      "CelsiusToFahrenheit(\"20\")",
      "CelsiusToKelvin(FALSE)",
      "FahrenheitToCelsius(\"x\")",
      "FahrenheitToKelvin(\"x\")",
      "KelvinToCelsius(\"x\")",
      "KelvinToFahrenheit(\"x\")",
  };
  for (const char* formula : formulas) {
    SCOPED_TRACE(formula);
    EXPECT_EQ(ErrorOf(ev_, formula), "Invalid parameters");
  }
  ev_.Evaluate("v := 0.001");
  EXPECT_EQ(ErrorOf(ev_, "TCVoltageToTemperature(v, 8.9)"), "Invalid parameters");
}

// ---- Units -----------------------------------------------------------------------------------

TEST_F(TemperatureFormula, UnitConversions) {
  const struct {
    const char* formula;
    const char* text;
  } cases[] = {
      {"CelsiusToKelvin([0, 100])", "[ 273.15, 373.15]"},
      {"CelsiusToKelvin(-273.15)", "0"},
      {"CelsiusToFahrenheit(100)", "212"},
      {"CelsiusToFahrenheit([-40, 0, 37])", "[ -40, 32, 98.6]"},
      {"FahrenheitToCelsius(212)", "100"},
      {"FahrenheitToCelsius([32, -40])", "[ 0, -40]"},
      {"FahrenheitToKelvin(32)", "273.15"},
      {"FahrenheitToKelvin(-459.67)", "0"},
      {"KelvinToCelsius(373.15)", "100"},
      {"KelvinToCelsius([0, 273.15])", "[ -273.15, 0]"},
      {"KelvinToFahrenheit(273.15)", "32"},
      {"KelvinToFahrenheit(0)", "-459.67"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.formula);
    EXPECT_EQ(Text(c.formula), c.text);
  }
}

TEST(TempUnitConversion, EveryPairRoundTrips) {
  const TDegreesUnit units[] = {duCelsius, duFahrenheit, duKelvin};
  for (TDegreesUnit from : units)
    for (TDegreesUnit to : units)
      for (double v : {-300.0, -40.0, 0.0, 21.5, 1000.0})
        EXPECT_NEAR(TempUnitConversion(TempUnitConversion(v, from, to), to, from), v, 1e-12)
            << from << " -> " << to << " of " << v;
  EXPECT_EQ(TempUnitConversion(-40.0, duCelsius, duFahrenheit), -40.0);
}

}  // namespace
}  // namespace loom
