#include "ui/core/EolSequence.h"

#include <charconv>

namespace loom {

namespace {

// ORDER: indexed by the code, 0 to 32.
constexpr const char* kControlNames[33] = {
    "NUL", "SOH", "STX", "ETX", "EOT", "ENQ", "ACK", "BEL", "BS",  "HT",  "LF",
    "VT",  "FF",  "CR",  "SO",  "SI",  "DLE", "DC1", "DC2", "DC3", "DC4", "NAK",
    "SYN", "ETB", "CAN", "EM",  "SUB", "ESC", "FS",  "GS",  "RS",  "US",  "SPC"};

}  // namespace

std::string ANSICodeToString(int code) {
  if (code < 0) return {};
  if (code <= 32) return kControlNames[code];
  if (code == 127) return "DEL";
  return std::string(1, static_cast<char>(code));
}

int CharacterCodeOf(const std::string& caption) {
  int code = -1;
  const char* end = caption.data() + caption.size();
  const auto [stop, error] = std::from_chars(caption.data(), end, code);
  if (caption.empty() || error != std::errc() || stop != end || code < 0 || code > 255)
    throw ECharacterCodeError("\"" + caption +
                              "\" is not a character code: give a whole number from 0 to 255.");
  return code;
}

std::string FillEOLStringWithListview(const std::vector<std::string>& captions) {
  std::string sequence;
  for (const std::string& caption : captions)
    sequence += static_cast<char>(static_cast<unsigned char>(CharacterCodeOf(caption)));
  return sequence;
}

std::vector<std::string> EOLCaptionsOf(const std::string& sequence) {
  std::vector<std::string> captions;
  for (unsigned char c : sequence) captions.push_back(std::to_string(c));
  return captions;
}

}  // namespace loom
