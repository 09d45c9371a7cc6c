// `loom edit FILE`: the property page on a panel's settings file, saved back on OK.
#pragma once

#include <iosfwd>
#include <string>

namespace loom {

struct TEditCommandOptions {
  std::string File;       // the settings file; a new one when it does not exist
  std::string MacroFile;  // "" for the host's macro file beside the executable
};

// Runs the dialog; messages go to out and err. Returns the exit status: 0 saved or cancelled,
// 1 the file could not be written, 2 it could not be read.
int RunEditCommand(const TEditCommandOptions& options, int argc, char** argv, std::ostream& out,
                   std::ostream& err);

// Why no window can be shown here (no display and no Qt platform named), or "" when one can:
// Qt would end the program instead of reporting it.
std::string DisplayProblem();

// Writes text to path through a temporary file beside it, so that a failed write leaves the old
// file whole; the error text, or "" on success.
std::string WriteFileWhole(const std::string& path, const std::string& text);

}  // namespace loom
