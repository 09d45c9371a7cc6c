// The test-bed window's conversion of engine commands into formula text for the clipboard: each
// command becomes a MatlabCommand( "...") call, or, when the commands hold a loop or other flow
// control, all of them may become one call, since the engine must receive such a construct in
// one piece.
#pragma once

#include <string>
#include <vector>

namespace loom {

// True when text contains "for", "while", "if", "switch" or "continue" anywhere, case-sensitive.
// A plain substring test on purpose: "diff" counts too, and asking once too often is harmless.
bool ContainsMatlabFlowKeyword(const std::string& text);

struct TClipboardFormula {
  std::string Text;   // the formula text, one call per line
  std::string Error;  // why nothing can be copied, or ""
};

// The formula text of the command lines: with singleCommand one call with the lines joined by
// ";", else one call per line. Blank lines are left out. A line holding a double quote cannot
// be carried in a formula string and yields an Error instead.
TClipboardFormula MatlabLinesToFormula(const std::vector<std::string>& lines, bool singleCommand);

// The lines of text, split at line breaks ("\r\n" or "\n"); no last empty line.
std::vector<std::string> SplitLines(const std::string& text);

}  // namespace loom
