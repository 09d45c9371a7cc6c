// The vector transfers of the formula functions MatlabPutVector and MatlabGetVector, on plain
// std::vector<double> so that the function bodies only convert their arguments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "matlab/MatlabInterface.h"

namespace loom {

// The column count in the engine's reply to "size(name,2)": the piece of the trimmed text that
// starts two characters after the first "\n\n" and ends before the next "\n", both positions
// taken in the untrimmed text; 0 for anything that is not an integer. Applying untrimmed
// positions to the trimmed text is off when the reply begins with blanks; kept so, deliberately,
// because formulas written against MATLAB's replies rely on exactly this reading.
int MatlabColumnCount(std::string_view sizeOutput);

// MatlabGetVector: asks the engine for the column count of name; below 1 the result is 0 and
// vector is left as it was, otherwise vector becomes that many elements read from name in the
// base workspace and the result is 1. Engine failures propagate, with vector unchanged.
int MLGetVector(TMatlabBridge& bridge, const std::string& name, std::vector<double>& vector);
int MLGetVector(const std::string& name, std::vector<double>& vector);

// MatlabPutVector: puts vector under name in the base workspace as a real row; the result is 1.
int MLPutVector(TMatlabBridge& bridge, const std::string& name, const std::vector<double>& vector);
int MLPutVector(const std::string& name, const std::vector<double>& vector);

}  // namespace loom
