// Every message text and label of the serial layer, in one table. "%s" marks a place filled by
// FormatPortMessage, in order.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace loom {

// Errors. The misspelling of the first is the text users and stored logs know; it is kept.
inline constexpr const char* rsPortNotOpened = "Port not opend.";
inline constexpr const char* rsParamItemMissing =
    "Port parameters \"%s\": item %s (%s) is missing";  // "1,9600"
inline constexpr const char* rsParamNotInteger =
    "Port parameters \"%s\": item %s (%s) \"%s\" is not a valid integer value";  // "1,fast"
inline constexpr const char* rsParamOutOfRange =
    "Port parameters \"%s\": item %s (%s) must be %s, not %s";  // "1,9600,9,0,0,0"
inline constexpr const char* rsDataBitsNotInteger =
    "\"%s\" is not a valid integer value for the data bits";  // IsDataStopBitsCombiValid("x", "1")

// Labels of the configuration page, in the order of their enumerations.
inline constexpr const char* rsInputModeNone = "No Input";
inline constexpr const char* rsInputModeChars = "n Chars received";
inline constexpr const char* rsInputModeEol = "Line End-sequenze";
inline constexpr const char* rsParityLabels = "None,Odd,Even,Mark,Space";
inline constexpr const char* rsFlowControlLabels = "None,Software,Hardware";

// Fills each "%s" of pattern with the next argument.
inline std::string FormatPortMessage(std::string_view pattern,
                                     std::initializer_list<std::string_view> args) {
  std::string text;
  auto arg = args.begin();
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern.compare(i, 2, "%s") == 0 && arg != args.end()) {
      text += *arg++;
      ++i;
    } else {
      text += pattern[i];
    }
  }
  return text;
}

}  // namespace loom
