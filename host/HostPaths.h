// Where the host keeps files that belong to the program rather than to a worksheet: the macro
// file lies beside the executable, shared by every panel that the program runs or configures.
#pragma once

#include <string>

namespace loom {

// The directory of the running executable ("." when the system cannot tell).
std::string HostExecutableDirectory();

// The macro file of the configuration dialogs: "macros.dat" beside the executable.
std::string MacroFilePath();

}  // namespace loom
