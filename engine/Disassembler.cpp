// Disassemble: the compiled form of an expression as text, one node per line, e.g.
//   x := x + 2*3
//   0000 +       (x, 6)        -> #0
//   0001 :=      (x, #0)       -> #1
// Operands are named as read: a variable by its name, a constant by its value, another node's
// result as #n. Jump commands show where the section runner continues.
#include <cctype>
#include <cstdio>
#include <map>
#include <sstream>

#include "engine/Evaluator.h"

namespace loom {

namespace {

std::string Quote(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (static_cast<unsigned char>(c) < 32) {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\x%02X", static_cast<unsigned char>(c));
      out += buffer;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

}  // namespace

std::string TVXExpressionEvaluatorBase::Disassemble(int index) const {
  std::ostringstream out;
  if (index < 0 || index >= GetExpressionCount()) return "(no such expression)\n";
  const TVXParsExpression& expression = *expressions_[static_cast<std::size_t>(index)];
  out << expression.Text << "\n";
  if (!expression.Head) {
    out << "  (no compiled form: yields nothing)\n";
    return out.str();
  }
  // Which node produced which result, and which word owns a value read in place.
  std::map<const TVXParsDouble*, int> nodeResults;
  int n = 0;
  for (const TVXParsExpressionRec* node = expression.Head; node; node = node->Next)
    nodeResults[&node->Result] = n++;
  std::map<const TVXParsDouble*, const TVXParsExprWord*> values;
  for (int i = 0; i < words_.Count(); ++i)
    if (TVXParsDouble* value = words_.Word(i)->AsPointer()) values[value] = words_.Word(i);
  for (const auto& constant : expression.Constants)
    if (TVXParsDouble* value = constant->AsPointer()) values[value] = constant.get();

  auto operand = [&](const TVXParsDouble* data) -> std::string {
    if (!data) return "?";
    if (auto it = nodeResults.find(data); it != nodeResults.end())
      return "#" + std::to_string(it->second);
    auto it = values.find(data);
    const TVXParsExprWord* word = it == values.end() ? nullptr : it->second;
    const bool named = word && !word->Name.empty() &&
                       (dynamic_cast<const TVXParsGeneratedVariable*>(word) ||
                        dynamic_cast<const TVXParsDoubleVariable*>(word) ||
                        !(std::isdigit(static_cast<unsigned char>(word->Name[0])) ||
                          word->Name[0] == '"' || word->Name[0] == decimalSeparator_));
    if (named) return word->Name;
    if (data->VarType == vtString) return Quote(data->StrValue);
    return ParsDoubleAsString(*data, decimalSeparator_);
  };

  n = 0;
  for (const TVXParsExpressionRec* node = expression.Head; node; node = node->Next, ++n) {
    char label[16];
    std::snprintf(label, sizeof label, "  %04d ", n);
    std::string name = node->Word ? node->Word->Name : "?";
    if (node->Word && node->Word->GetIsVariable()) name = "load";
    out << label << name;
    if (name.size() < 8) out << std::string(8 - name.size(), ' ');
    out << " (";
    for (std::size_t a = 0; a < node->ArgData.size(); ++a)
      out << (a ? ", " : "") << operand(node->ArgData[a]);
    out << ") -> #" << n << "\n";
  }
  if (expression.JumpType != jtNone)
    out << "  jump command: " << JumpCommandName(expression.JumpType) << "\n";
  return out.str();
}

}  // namespace loom
