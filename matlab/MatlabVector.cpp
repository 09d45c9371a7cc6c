#include "matlab/MatlabVector.h"

#include <charconv>
#include <climits>

namespace loom {

namespace {

// Leading and trailing blanks and control characters off.
std::string_view Trim(std::string_view text) {
  std::size_t begin = 0, end = text.size();
  while (begin < end && static_cast<unsigned char>(text[begin]) <= ' ') ++begin;
  while (end > begin && static_cast<unsigned char>(text[end - 1]) <= ' ') --end;
  return text.substr(begin, end - begin);
}

// Leading blanks, an optional sign and decimal digits that fit in an int; 0 for anything else.
int IntegerOrZero(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  if (text.starts_with('+')) text.remove_prefix(1);
  long long value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return 0;
  if (value < INT_MIN || value > INT_MAX) return 0;
  return static_cast<int>(value);
}

}  // namespace

int MatlabColumnCount(std::string_view sizeOutput) {
  // Positions count from 1 and 0 means "not found", as the rule was first written; a missing
  // "\n\n" therefore starts the piece at position 2 and a missing "\n" makes it empty.
  constexpr auto npos = std::string_view::npos;
  const std::size_t pair = sizeOutput.find("\n\n");
  const long long start = (pair == npos ? 0 : static_cast<long long>(pair) + 1) + 2;
  const std::size_t next = sizeOutput.find('\n', static_cast<std::size_t>(start) + 1);
  const long long length = (next == npos ? 0 : static_cast<long long>(next) + 1) - start;
  const std::string_view trimmed = Trim(sizeOutput);
  if (length <= 0 || start > static_cast<long long>(trimmed.size())) return 0;
  return IntegerOrZero(
      trimmed.substr(static_cast<std::size_t>(start) - 1, static_cast<std::size_t>(length)));
}

int MLGetVector(TMatlabBridge& bridge, const std::string& name, std::vector<double>& vector) {
  const int count = MatlabColumnCount(bridge.ExecuteCommand("size(" + name + ",2)"));
  if (count < 1) return 0;
  std::vector<double> values(static_cast<std::size_t>(count));
  bridge.GetFullMatrix(name, "base", values, {});
  vector.swap(values);
  return 1;
}

int MLGetVector(const std::string& name, std::vector<double>& vector) {
  return MLGetVector(MLBridge(), name, vector);
}

int MLPutVector(TMatlabBridge& bridge, const std::string& name, const std::vector<double>& vector) {
  bridge.PutFullMatrix(name, "base", vector, {});
  return 1;
}

int MLPutVector(const std::string& name, const std::vector<double>& vector) {
  return MLPutVector(MLBridge(), name, vector);
}

}  // namespace loom
