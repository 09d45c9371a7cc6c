#include "matlab/OctaveDisplay.h"

namespace loom {

namespace {

// Octave's variable names: a letter, then letters, digits and underscores.
bool IsNameStart(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
bool IsNameChar(char c) {
  return IsNameStart(c) || (c >= '0' && c <= '9') || c == '_';
}

// The length of the name of a scalar display line (`name = value`), 0 when line is not one.
std::size_t ScalarDisplayName(std::string_view line) {
  if (line.empty() || !IsNameStart(line[0])) return 0;
  std::size_t n = 1;
  while (n < line.size() && IsNameChar(line[n])) ++n;
  const std::string_view rest = line.substr(n);
  if (!rest.starts_with(" = ") || rest.find_first_not_of(' ', 3) == std::string_view::npos) {
    return 0;
  }
  return n;
}

}  // namespace

std::string MatlabDisplayLayout(std::string_view octaveText) {
  std::string out;
  out.reserve(octaveText.size() + 16);
  while (!octaveText.empty()) {
    const std::size_t end = octaveText.find('\n');
    if (end == std::string_view::npos) {
      out.append(octaveText);  // an unfinished line is printed text, never a display
      break;
    }
    const std::string_view line = octaveText.substr(0, end);
    octaveText.remove_prefix(end + 1);
    const std::size_t name = ScalarDisplayName(line);
    if (name == 0) {
      out.append(line).push_back('\n');
      continue;
    }
    // Octave pads some values (a complex scalar) on the left; MATLAB indents every value alike.
    const std::string_view value = line.substr(line.find_first_not_of(' ', name + 3));
    out.append(line.substr(0, name)).append(" =\n\n    ").append(value).append("\n\n");
  }
  return out;
}

}  // namespace loom
