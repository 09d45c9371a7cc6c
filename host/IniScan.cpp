#include "host/IniScan.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "host/InputError.h"

namespace loom {

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i])))
      return false;
  return true;
}

std::string_view Trim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

const TIniEntry* TIniSection::Find(std::string_view key) const {
  for (const TIniEntry& entry : Entries)
    if (EqualsNoCase(entry.Key, key)) return &entry;
  return nullptr;
}

const TIniSection* TIniDocument::Find(std::string_view name) const {
  for (const TIniSection& section : Sections)
    if (EqualsNoCase(section.Name, name)) return &section;
  return nullptr;
}

std::string TIniDocument::Where(int line) const {
  return line > 0 ? File + ":" + std::to_string(line) : File;
}

int TIniDocument::LineOf(std::string_view section, std::string_view key) const {
  const TIniSection* s = Find(section);
  if (s == nullptr) return 0;
  const TIniEntry* e = key.empty() ? nullptr : s->Find(key);
  return e != nullptr ? e->Line : s->Line;
}

TIniDocument ScanIni(std::string_view text, const std::string& file, bool strict) {
  TIniDocument document;
  document.File = file;
  int lineNumber = 0;
  std::size_t position = 0;
  while (position < text.size()) {
    std::size_t end = text.find('\n', position);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = Trim(text.substr(position, end - position));
    position = end + 1;
    ++lineNumber;
    if (line.empty() || line.front() == ';' || line.front() == '#') continue;
    const auto fail = [&](const std::string& what) {
      if (strict) throw EInputError(document.Where(lineNumber) + ": " + what);
    };
    if (line.front() == '[') {
      if (line.back() != ']') {
        fail("a section header must end with \"]\"");
        continue;
      }
      document.Sections.push_back(
          {std::string(Trim(line.substr(1, line.size() - 2))), lineNumber, {}});
      continue;
    }
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || Trim(line.substr(0, equals)).empty()) {
      fail("\"" + std::string(line) + "\" is neither a [section] nor a key=value line");
      continue;
    }
    if (document.Sections.empty()) {
      fail("the key \"" + std::string(Trim(line.substr(0, equals))) +
           "\" stands before the first [section]");
      continue;
    }
    document.Sections.back().Entries.push_back({std::string(Trim(line.substr(0, equals))),
                                                std::string(Trim(line.substr(equals + 1))),
                                                lineNumber});
  }
  return document;
}

std::string ReadTextFile(const std::string& path, const std::string& shown) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw EInputError("cannot read " + shown + ": " + std::strerror(errno));
  std::ostringstream text;
  text << in.rdbuf();
  if (in.bad()) throw EInputError("cannot read " + shown + ": " + std::strerror(errno));
  return text.str();
}

}  // namespace loom
