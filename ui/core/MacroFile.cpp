// SimpleIni reads and writes the file; values are taken raw (its quote handling off) because
// the enclosing double quotes belong to the stored form and are removed here.
#include "ui/core/MacroFile.h"

#include <SimpleIni.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "ui/core/CommaText.h"

namespace loom {

namespace {

constexpr const char* kInitializationKey = "Initialization";
constexpr const char* kFormulaKey = "Formula";

// Loads path into ini; a missing file is an empty one.
void Load(CSimpleIniA& ini, const std::string& path) {
  struct stat info {};
  if (stat(path.c_str(), &info) != 0 && errno == ENOENT) return;
  if (ini.LoadFile(path.c_str()) < 0)
    throw EMacroError("Cannot read the macro file " + path + ": " + std::strerror(errno));
}

std::vector<std::string> Unquote(const char* value) {
  std::string text = value != nullptr ? value : "";
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
    text = text.substr(1, text.size() - 2);
  return LinesOfCommaText(text);
}

std::string Stored(const std::vector<std::string>& lines) {
  for (const std::string& line : lines)
    if (line.find_first_of("\r\n") != std::string::npos)
      throw EMacroError("A line of a macro cannot hold a line break.");
  return "\"" + CommaTextOf(lines) + "\"";
}

}  // namespace

std::string MacroNameProblem(const std::string& name) {
  if (name.find_first_not_of(" \t") == std::string::npos) return "Give the macro a name.";
  if (name.front() == ' ' || name.back() == ' ')
    return "A macro name cannot begin or end with a blank.";
  for (unsigned char c : name)
    if (c < ' ' || c == '[' || c == ']' || c == ';' || c == '=')
      return "A macro name cannot hold [, ], ;, = or control characters: \"" + name + "\"";
  return {};
}

std::vector<std::string> TMacroFile::FillMacros() const {
  CSimpleIniA ini;
  Load(ini, path_);
  CSimpleIniA::TNamesDepend sections;
  ini.GetAllSections(sections);
  sections.sort(CSimpleIniA::Entry::LoadOrder());
  std::vector<std::string> names;
  for (const auto& section : sections) names.emplace_back(section.pItem);
  return names;
}

TMacro TMacroFile::ReadMacro(const std::string& name) const {
  CSimpleIniA ini;
  Load(ini, path_);
  if (ini.GetSection(name.c_str()) == nullptr)
    throw EMacroError("There is no macro \"" + name + "\" in " + path_ + ".");
  return {Unquote(ini.GetValue(name.c_str(), kInitializationKey)),
          Unquote(ini.GetValue(name.c_str(), kFormulaKey))};
}

bool TMacroFile::CreateMacro(const std::string& name, const TMacro& macro) const {
  if (const std::string problem = MacroNameProblem(name); !problem.empty())
    throw EMacroError(problem);
  const std::string initialization = Stored(macro.Initialization);
  const std::string formula = Stored(macro.Formula);
  CSimpleIniA ini;
  ini.SetSpaces(false);  // "key=value", as other programs write the file
  Load(ini, path_);
  if (ini.GetSection(name.c_str()) != nullptr) return false;
  ini.SetValue(name.c_str(), kInitializationKey, initialization.c_str());
  ini.SetValue(name.c_str(), kFormulaKey, formula.c_str());
  if (ini.SaveFile(path_.c_str(), false) < 0)
    throw EMacroError("Cannot write the macro file " + path_ + ": " + std::strerror(errno));
  return true;
}

}  // namespace loom
