// The names of channels and variables as the input and output pages keep them: a channel name
// holds only letters, digits, "_" and "."; "." parts a group name from an item name
// ("thermo.T1": group "thermo", item "T1").
#pragma once

#include <string>

namespace loom {

// A copy of name in which every character other than ".", 0-9, A-Z, a-z and "_" (bytes above
// 127 included) is "_".
std::string ReplaceSomeCharactersForChannelName(const std::string& name);

// Clears both parts, then splits at the first ".": the group is the text before it (empty
// without "."), the item the text after it (the whole name without ".").
void SplitName(const std::string& name, std::string& item, std::string& group);

}  // namespace loom
