#include "panel/Validation.h"

#include <deque>

#include "engine/Sections.h"
#include "functions/Registry.h"

namespace loom {

namespace {

constexpr const char* kNumber = "floating point number";
constexpr const char* kNumberOrVector = "floating point number or vector";

// The system variables in the order the report lists them, with their type texts.
constexpr const char* kSystemVariableTypes[][2] = {
    {"dt", "floating point number"},
    {"t", "floating point number"},
    {"timelength", "floating point number"},
    {"timestart", "floating point number"},
    {"ControlOutput", "string or floating point number"},
    {"EnableOutput", "string or floating point number"},
    {"TimeChannel", "vector"},
    {"StringInput", "string"},
    {"SerialInput", "string"},
    {"SerialInputMode", "floating point number"},
    {"SerialInputCount", "floating point number"},
    {"SerialInputEOLSequence", "string"},
    {"SerialInputTrigger", "boolean"},
};

const char* KindText(TVXPArsVarType kind) {
  switch (kind) {
    case vtVector:
      return "Vector";
    case vtString:
      return "String";
    case vtBoolean:
      return "Boolean";
    default:
      return "Floating point number";
  }
}

std::string ResultText(const TVXParsDouble& result) {
  switch (result.VarType) {
    case vtString:
      return "Evaluation result was a string: " + result.StrValue;
    case vtBoolean:
      return std::string("Evaluation result was a boolean ") +
             (result.Value != 0 ? "True" : "False");
    case vtVector: {
      std::string text = "Evaluation result was a vector: [";
      for (std::size_t i = 0; i < result.Vector.size() && i < 6; ++i)
        text += " " + FloatToStr(result.Vector[i]) + ",";
      return text + "...]";
    }
    default:
      return "Evaluation result was a floating point value: " + FloatToStr(result.Value);
  }
}

bool Blank(const std::string& text) {
  return text.find_first_not_of(" \t") == std::string::npos;
}

// The evaluator of a report with the variables a formula of the panel sees, each 0.
class TValidationEvaluator {
 public:
  explicit TValidationEvaluator(const TPanelSettings& settings) {
    for (const TKQWLUserEvent& event : settings.UserEvents)
      evaluator_.DefineConstant(
          event.internalName.empty() ? event.GenerateInternalName() : event.internalName, event.ID,
          "", "Constants.htm");
  }

  void Declare(std::vector<std::string>& lines, const std::string& name, const char* type) {
    lines.push_back(name + ", Type: " + type);
    if (name.empty() || evaluator_.Words().Find(name.c_str()) != nullptr) return;
    values_.push_back(TVXParsDouble::Number(0));
    evaluator_.DefineVariable(name, &values_.back(), "", "");
  }

  TVXExpressionEvaluator& Evaluator() { return evaluator_; }

 private:
  TVXExpressionEvaluator evaluator_;
  std::deque<TVXParsDouble> values_;  // a deque: the evaluator keeps their addresses
};

// The input variable that data channel k feeds, as the panel maps it, or "".
std::string ChannelVariable(const TPanelSettings& s, std::size_t k) {
  if (k < s.ChannelVariables.size())
    for (const std::string& name : s.InputVariables)
      if (!s.ChannelVariables[k].empty() && name == s.ChannelVariables[k]) return name;
  return k < s.InputVariables.size() ? s.InputVariables[k] : std::string();
}

}  // namespace

TValidationReport ValidatePanelScripts(const TPanelSettings& s) {
  TValidationReport report;
  std::vector<std::string>& lines = report.Lines;
  TValidationEvaluator v(s);
  std::vector<std::string> fed;
  for (std::size_t k = 0; k < s.ChannelOrigins.size(); ++k) fed.push_back(ChannelVariable(s, k));

  lines.push_back("External variables:");
  lines.push_back("Control channels:");
  for (const std::string& name : s.InputVariables)
    if (std::find(fed.begin(), fed.end(), name) == fed.end()) v.Declare(lines, name, kNumber);
  lines.push_back("Datasource input channels:");
  for (const std::string& name : fed)
    if (!name.empty()) v.Declare(lines, name, kNumberOrVector);
  lines.push_back("Datasource output channels:");
  for (const TOutputChannelDefinition& channel : s.OutputChannels)
    v.Declare(lines, channel.Origin, kNumberOrVector);
  lines.push_back("System variables:");
  for (const auto& [name, type] : kSystemVariableTypes) v.Declare(lines, name, type);

  const auto count = static_cast<int>(s.Expressions.size());
  const struct {
    const char* heading;
    int first, end;
    bool formula;
  } sections[] = {{"Initialization:", 0, s.InitializationEndIndex, false},
                  {"Exit:", s.ExitStartIndex, count, false},
                  {"Expressions:", s.InitializationEndIndex, s.ExitStartIndex, true}};
  TVXExpressionEvaluator& evaluator = v.Evaluator();
  for (const auto& section : sections) {
    lines.push_back(kValidationSeparator);
    lines.push_back(section.heading);
    TVXParsDouble result;
    bool evaluated = false;
    bool valid = true;
    for (int i = std::max(section.first, 0); i < std::min(section.end, count); ++i) {
      const std::string& text = s.Expressions[static_cast<std::size_t>(i)];
      lines.push_back(text);
      if (Blank(text)) continue;
      try {
        evaluator.GetResults(evaluator.AddExpression(text), result);
        evaluated = true;
      } catch (const std::exception& error) {
        lines.push_back("Expression is invalid, reason is: ");
        lines.push_back(error.what());
        valid = report.Valid = false;
        break;
      }
    }
    if (!valid) continue;
    lines.push_back("Expression is valid.");
    if (section.formula && evaluated) lines.push_back(ResultText(result));
  }

  lines.push_back(kValidationSeparator);
  lines.push_back("Automatically generated internal variables:");
  std::vector<std::string> names;
  std::vector<TVXParsExprWord*> words;
  evaluator.GetGeneratedVars(names, &words);
  for (std::size_t i = 0; i < names.size(); ++i) {
    const TVXParsDouble* value = words[i] != nullptr ? words[i]->AsPointer() : nullptr;
    lines.push_back(names[i] + ", Type: " + KindText(value != nullptr ? value->VarType : vtDouble));
  }
  return report;
}

std::vector<std::string> CheckPanelJumps(const TPanelSettings& settings) {
  TVXExpressionEvaluator evaluator;
  for (const std::string& text : settings.Expressions) {
    try {
      if (Blank(text))
        evaluator.AddEmptyExpression(text);
      else
        evaluator.AddExpression(text);
    } catch (const EVXParserException&) {
      evaluator.AddEmptyExpression(text);  // the report shows the compile error
    }
  }
  try {
    PairJumps(evaluator);
  } catch (const EVXParserException& error) {
    return {std::string("[Expressions] ") + error.what()};
  }
  return {};
}

}  // namespace loom
