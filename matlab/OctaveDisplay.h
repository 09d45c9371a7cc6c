// How Octave's command-window text is turned into the text MATLAB would have shown.
#pragma once

#include <string>
#include <string_view>

namespace loom {

// Octave shows a scalar on one line (`x = 5`), MATLAB as `x =`, a blank line, the indented value
// and a blank line; formulas read that text (the column count of MatlabGetVector counts on the
// blank line), so every line of the form `name = value` that starts at the left margin and ends
// with a line feed is rewritten. Other lines (matrices, structure fields, which Octave already
// shows as MATLAB does or indents) pass unchanged; so does a printed line that merely looks
// like a scalar display, which cannot be told apart from one.
std::string MatlabDisplayLayout(std::string_view octaveText);

}  // namespace loom
