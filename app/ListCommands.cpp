#include "app/ListCommands.h"

#include <iostream>
#include <vector>

namespace loom {
namespace {

void WriteLines(const std::vector<std::string>& lines, std::ostream& out) {
  for (const std::string& line : lines) out << line << '\n';
}

}  // namespace

int RunFunctionsCommand(const TEvaluatorOptions& options, std::ostream& out) {
  std::vector<std::string> lines;
  MakeEvaluator(options)->GetFunctionList(lines);
  WriteLines(lines, out);
  return kExitOk;
}

int RunOperatorsCommand(const TEvaluatorOptions& options, std::ostream& out) {
  std::vector<std::string> names;
  MakeEvaluator(options)->GetOperatorList(names);
  WriteLines(names, out);
  return kExitOk;
}

int RunHelpTopicCommand(const TEvaluatorOptions& options, const std::string& name,
                        std::ostream& out, std::ostream& err) {
  const std::string topic = MakeEvaluator(options)->GetHelpTopicID(name);
  if (topic.empty()) {
    err << "no help topic for \"" << name << "\"\n";
    return kExitError;
  }
  out << topic << '\n';
  return kExitOk;
}

}  // namespace loom
