#include "ui/core/ContextHelp.h"

#include <strings.h>

#include <algorithm>

#include "functions/Registry.h"
#include "panel/FormulaPanel.h"

namespace loom {

namespace {

bool IsWordCharacter(char c) {
  return c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool FindPanelName(std::span<const TPanelName> names, const std::string& word,
                   std::string& description) {
  for (const TPanelName& name : names)
    if (strcasecmp(name.Name, word.c_str()) == 0) {
      description = std::string(name.Name) + ": " + name.Description;
      return true;
    }
  return false;
}

}  // namespace

std::string gettoken(const std::string& line, int position) {
  const int size = static_cast<int>(line.size());
  int start = std::clamp(position, 0, size);
  if ((start == size || !IsWordCharacter(line[start])) && start > 0 &&
      IsWordCharacter(line[start - 1]))
    --start;
  if (start >= size || !IsWordCharacter(line[start])) return {};
  int end = start;
  while (start > 0 && IsWordCharacter(line[start - 1])) --start;
  while (end < size && IsWordCharacter(line[end])) ++end;
  return line.substr(start, end - start);
}

bool FindDescription(const TVXExpressionEvaluator& words, const std::string& word,
                     std::string& description) {
  description.clear();
  if (word.empty()) return false;
  if (FindPanelName(PanelSystemVariables(), word, description) ||
      FindPanelName(PanelConstants(), word, description))
    return true;
  const auto* function = dynamic_cast<const TVXParsFunction*>(words.Words().Find(word.c_str()));
  if (function == nullptr) return false;
  description = function->Syntax.empty() ? function->Name : function->Syntax;
  if (!function->Description.empty()) description += ": " + function->Description;
  return true;
}

}  // namespace loom
