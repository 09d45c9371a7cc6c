// The end-of-line sequence of serial input as the serial page edits it: one row per character,
// its decimal code and its name.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace loom {

// A row's code that is no character code, with a message for the user.
class ECharacterCodeError : public std::invalid_argument {
 public:
  explicit ECharacterCodeError(const std::string& message) : std::invalid_argument(message) {}
};

// The name of a character code: "NUL" .. "US" and "SPC" for 0 to 32, "DEL" for 127, the
// character itself for any other code from 33, "" for a negative code.
std::string ANSICodeToString(int code);

// The code of a row's caption: a decimal integer from 0 to 255 with nothing around it, else
// ECharacterCodeError naming the text.
int CharacterCodeOf(const std::string& caption);

// The sequence the rows spell, in row order, one character per caption.
std::string FillEOLStringWithListview(const std::vector<std::string>& captions);

// The rows' captions of a sequence: the decimal code of each byte.
std::vector<std::string> EOLCaptionsOf(const std::string& sequence);

}  // namespace loom
