// The comma text of a list of lines: the one-line form in which the macro file keeps a script.
// Items are separated by ","; an item holding a blank, a control character, a "," or a double
// quote is written in double quotes with its own quotes doubled. Reading follows the same
// rules, and an unquoted blank separates items as a "," does.
#pragma once

#include <string>
#include <vector>

namespace loom {

// The lines as one comma text; a single empty line is written as "" so that it survives.
std::string CommaTextOf(const std::vector<std::string>& lines);

// The lines of a comma text. Blanks and control characters around items are skipped; a "," at
// the very end adds an empty last line.
std::vector<std::string> LinesOfCommaText(const std::string& text);

}  // namespace loom
