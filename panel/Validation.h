// The validation report of a panel's scripts, as the property page shows it after "Validate":
// every variable that a formula of the panel can see, each section's lines checked one by one
// in a fresh evaluator (so a line may use what earlier lines created), the formula's last
// result, and the variables the scripts created. A function of the settings alone, so the
// property page and `loom check` show the same report; the panel's running evaluator is never
// touched.
#pragma once

#include <string>
#include <vector>

#include "panel/PanelSettings.h"

namespace loom {

struct TValidationReport {
  std::string Caption = "Validation result";  // the title of the dialog that shows it
  std::vector<std::string> Lines;
  bool Valid = true;  // every non-empty line of every section evaluated without an error
};

// The line between two sections of the report.
inline constexpr const char* kValidationSeparator = "------------------------------------";

// Checks the scripts of settings. The lines are evaluated for real (a Wait waits, a file
// function touches the disk), as on the property page.
TValidationReport ValidatePanelScripts(const TPanelSettings& settings);

// The problems that the line-by-line check cannot see: jump commands without their partner
// ("[Expressions] Loops or jumps are not matched"), in the panel's wording.
std::vector<std::string> CheckPanelJumps(const TPanelSettings& settings);

}  // namespace loom
