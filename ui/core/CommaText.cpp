#include "ui/core/CommaText.h"

namespace loom {

namespace {

constexpr char kQuote = '"';
constexpr char kDelimiter = ',';

// A zero byte counts as a blank too, so that a damaged file cannot stall the reader.
bool IsBlank(char c) {
  return static_cast<unsigned char>(c) <= ' ';
}

bool NeedsQuotes(const std::string& line) {
  for (char c : line)
    if (IsBlank(c) || c == kQuote || c == kDelimiter) return true;
  return false;
}

std::string Quoted(const std::string& line) {
  std::string out(1, kQuote);
  for (char c : line) {
    out += c;
    if (c == kQuote) out += kQuote;
  }
  return out + kQuote;
}

// Reads a quoted item starting at text[pos] (the opening quote); pos ends after the closing one.
// An item without its closing quote runs to the end of the text.
std::string ReadQuoted(const std::string& text, std::size_t& pos) {
  std::string item;
  ++pos;
  while (pos < text.size()) {
    if (text[pos] == kQuote) {
      if (pos + 1 < text.size() && text[pos + 1] == kQuote) {
        item += kQuote;
        pos += 2;
        continue;
      }
      ++pos;
      break;
    }
    item += text[pos++];
  }
  return item;
}

}  // namespace

std::string CommaTextOf(const std::vector<std::string>& lines) {
  if (lines.size() == 1 && lines[0].empty()) return std::string(2, kQuote);
  std::string text;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    if (i > 0) text += kDelimiter;
    text += NeedsQuotes(lines[i]) ? Quoted(lines[i]) : lines[i];
  }
  return text;
}

std::vector<std::string> LinesOfCommaText(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t pos = 0;
  const auto skipBlanks = [&] {
    while (pos < text.size() && IsBlank(text[pos])) ++pos;
  };
  skipBlanks();
  while (pos < text.size()) {
    if (text[pos] == kQuote) {
      lines.push_back(ReadQuoted(text, pos));
    } else {
      const std::size_t start = pos;
      while (pos < text.size() && !IsBlank(text[pos]) && text[pos] != kDelimiter) ++pos;
      lines.push_back(text.substr(start, pos - start));
    }
    skipBlanks();
    if (pos < text.size() && text[pos] == kDelimiter) {
      if (pos + 1 == text.size()) lines.emplace_back();
      ++pos;
      skipBlanks();
    }
  }
  return lines;
}

}  // namespace loom
