#include "ui/core/MatlabClipboard.h"

namespace loom {

bool ContainsMatlabFlowKeyword(const std::string& text) {
  for (const char* keyword : {"for", "while", "if", "switch", "continue"})
    if (text.find(keyword) != std::string::npos) return true;
  return false;
}

namespace {

std::string Call(const std::string& command) {
  return "MatlabCommand( \"" + command + "\")";
}

}  // namespace

TClipboardFormula MatlabLinesToFormula(const std::vector<std::string>& lines, bool singleCommand) {
  std::vector<std::string> commands;
  for (const std::string& line : lines) {
    if (line.find_first_not_of(" \t") == std::string::npos) continue;
    if (line.find('"') != std::string::npos)
      return {{},
              "A formula string cannot hold a double quote (\"): write the engine's strings in "
              "single quotes. Line: " +
                  line};
    commands.push_back(line);
  }
  TClipboardFormula result;
  if (commands.empty()) return result;
  if (singleCommand) {
    std::string joined;
    for (const std::string& command : commands) joined += (joined.empty() ? "" : ";") + command;
    result.Text = Call(joined);
    return result;
  }
  for (const std::string& command : commands) result.Text += Call(command) + "\n";
  result.Text.pop_back();
  return result;
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    std::string line = text.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(std::move(line));
    start = end + 1;
  }
  return lines;
}

}  // namespace loom
