#include "ui/core/ChannelNames.h"

namespace loom {

std::string ReplaceSomeCharactersForChannelName(const std::string& name) {
  std::string result = name;
  for (char& c : result) {
    const bool kept = c == '.' || c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') ||
                      (c >= 'a' && c <= 'z');
    if (!kept) c = '_';
  }
  return result;
}

void SplitName(const std::string& name, std::string& item, std::string& group) {
  item.clear();
  group.clear();
  const std::size_t dot = name.find('.');
  if (dot == std::string::npos) {
    item = name;
    return;
  }
  group = name.substr(0, dot);
  item = name.substr(dot + 1);
}

}  // namespace loom
