// The queries over the word list that the property page and the REPL ask: the variables, the
// function and operator lists, and the help topic of a name.
#include <cctype>

#include "engine/Evaluator.h"

namespace loom {

namespace {

std::string Upper(const std::string& text) {
  std::string out = text;
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

// The names of the panel's time and output variables, whose help is the variables page.
const std::vector<std::string>& ReservedVariableNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> upper;
    for (const char* name : {"dt", "t", "timelength", "timestart", "ControlOutput", "EnableOutput"})
      upper.push_back(Upper(name));
    return upper;
  }();
  return names;
}

bool IsVariableWord(const TVXParsExprWord* word) {
  return dynamic_cast<const TVXParsGeneratedVariable*>(word) ||
         dynamic_cast<const TVXParsDoubleVariable*>(word) ||
         dynamic_cast<const TVXParsStringVariable*>(word);
}

}  // namespace

void TVXExpressionEvaluatorBase::GetVars(std::vector<std::string>& names,
                                         std::vector<TVXParsExprWord*>* words) const {
  names.clear();
  if (words) words->clear();
  for (int i = 0; i < words_.Count(); ++i) {
    TVXParsExprWord* word = words_.Word(i);
    if (!IsVariableWord(word)) continue;
    names.push_back(word->Name);
    if (words) words->push_back(word);
  }
}

void TVXExpressionEvaluatorBase::GetGeneratedVars(std::vector<std::string>& names,
                                                  std::vector<TVXParsExprWord*>* words) const {
  names.clear();
  if (words) words->clear();
  for (int i = 0; i < words_.Count(); ++i) {
    TVXParsExprWord* word = words_.Word(i);
    if (!dynamic_cast<TVXParsGeneratedVariable*>(word)) continue;
    names.push_back(word->Name);
    if (words) words->push_back(word);
  }
}

void TVXExpressionEvaluatorBase::GetFunctionList(std::vector<std::string>& lines,
                                                 std::vector<TVXParsExprWord*>* words) const {
  lines.clear();
  if (words) words->clear();
  for (int i = 0; i < words_.Count(); ++i) {
    auto* function = dynamic_cast<TVXParsFunction*>(words_.Word(i));
    if (!function || function->IsOper) continue;
    std::string line;
    if (function->NFunctionArg == 0) {
      line = function->Name;
    } else if (!function->Syntax.empty()) {
      line = function->Syntax;
    } else {
      line = function->Name + "(";
      for (int arg = 1; arg <= function->NFunctionArg; ++arg)
        line += " arg" + std::to_string(arg) + " ,";
      line.back() = ')';
    }
    lines.push_back(line);
    if (words) words->push_back(function);
  }
}

void TVXExpressionEvaluatorBase::GetOperatorList(std::vector<std::string>& names,
                                                 std::vector<TVXParsExprWord*>* words) const {
  names.clear();
  if (words) words->clear();
  for (int i = 0; i < words_.Count(); ++i) {
    TVXParsExprWord* word = words_.Word(i);
    // Names with "@" are internal forms (unary signs, integer power) users never write.
    if (!word->GetIsOper() || word->Name.find('@') != std::string::npos) continue;
    names.push_back(word->Name);
    if (words) words->push_back(word);
  }
}

std::string TVXExpressionEvaluatorBase::GetHelpTopicID(const std::string& name) const {
  const std::string upper = Upper(name);
  for (const std::string& reserved : ReservedVariableNames())
    if (reserved == upper) return "Variables.htm";
  for (int i = 0; i < words_.Count(); ++i) {
    TVXParsExprWord* word = words_.Word(i);
    if (Upper(word->Name) != upper) continue;
    if (auto* function = dynamic_cast<TVXParsFunction*>(word))
      return (function->IsOper ? "Operators/" : "Functions/") + function->HelpFile;
    if (dynamic_cast<TVXParsGeneratedVariable*>(word)) return {};
    if (auto* constant = dynamic_cast<TVXParsDoubleConstant*>(word)) return constant->HelpFile;
    if (auto* variable = dynamic_cast<TVXParsDoubleVariable*>(word)) return variable->HelpFile;
    return {};
  }
  return {};
}

}  // namespace loom
