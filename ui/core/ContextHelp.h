// Context help of the script editors: the word under the caret and what the language says of
// it (a function's syntax and description, a system variable's or constant's text).
#pragma once

#include <string>

namespace loom {

class TVXExpressionEvaluator;

// The word of line at position (a column from 0): letters, digits and "_" around it. A caret
// just behind a word still names it; "" when there is none.
std::string gettoken(const std::string& line, int position);

// The help text of word (case ignored) into description; false when the language does not know
// it. words supplies the functions' syntax and description texts.
bool FindDescription(const TVXExpressionEvaluator& words, const std::string& word,
                     std::string& description);

}  // namespace loom
