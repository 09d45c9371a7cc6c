#include "engine/Messages.h"

namespace loom {

std::string FormatMessage(std::string_view format, std::initializer_list<std::string_view> args) {
  std::string out;
  out.reserve(format.size() + 32);
  auto next = args.begin();
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] == '%' && i + 1 < format.size() && format[i + 1] == 's' && next != args.end()) {
      out.append(*next++);
      ++i;
    } else {
      out.push_back(format[i]);
    }
  }
  return out;
}

}  // namespace loom
