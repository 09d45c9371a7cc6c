// The macro file ("macros.dat"): scripts a user keeps for reuse in any panel. It is an INI file;
// each macro is a section named after it with the keys "Initialization" and "Formula", each
// holding the comma text of the script's lines between double quotes. Section names compare
// without regard to letter case, as INI files do.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace loom {

// A file or name problem of the macro file, with a message for the user.
class EMacroError : public std::runtime_error {
 public:
  explicit EMacroError(const std::string& message) : std::runtime_error(message) {}
};

struct TMacro {
  std::vector<std::string> Initialization;
  std::vector<std::string> Formula;
};

class TMacroFile {
 public:
  explicit TMacroFile(std::string path) : path_(std::move(path)) {}
  const std::string& Path() const { return path_; }

  // The macro names in file order; none when the file does not exist yet.
  std::vector<std::string> FillMacros() const;
  // Both scripts of the macro; EMacroError when there is no such macro.
  TMacro ReadMacro(const std::string& name) const;
  // Adds the macro unless one of that name exists, which is left as it is (false). EMacroError
  // for a name an INI section cannot carry, a line break inside a line, or a file that cannot be
  // written.
  bool CreateMacro(const std::string& name, const TMacro& macro) const;

 private:
  std::string path_;
};

// Why name cannot be a macro's name, or "" when it can.
std::string MacroNameProblem(const std::string& name);

}  // namespace loom
