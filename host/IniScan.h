// A line scanner for INI text that keeps where each section and key stands. SimpleIni reads the
// panels' settings, but it keeps no line numbers, and a worksheet's errors must name the file,
// the line and the key; so worksheets are scanned here, and a panel's settings file is scanned
// once more only to find the line a problem belongs to.
//
// The syntax is the one SimpleIni reads: "[Section]" headers, "key=value" lines (both sides
// trimmed), whole-line comments starting with ";" or "#", blank lines. A value is taken as it
// stands: there are no inline comments, since formulas may hold ";".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace loom {

struct TIniEntry {
  std::string Key;
  std::string Value;
  int Line = 0;
};

struct TIniSection {
  std::string Name;
  int Line = 0;
  std::vector<TIniEntry> Entries;

  // The first entry of that key (case-insensitive), or null.
  const TIniEntry* Find(std::string_view key) const;
};

struct TIniDocument {
  std::string File;  // the name errors show
  std::vector<TIniSection> Sections;

  // The first section of that name (case-insensitive), or null.
  const TIniSection* Find(std::string_view name) const;
  // "file:line", the prefix of every message about that line.
  std::string Where(int line) const;
  // The line of key in section, else of the section, else 0.
  int LineOf(std::string_view section, std::string_view key) const;
};

// Scans text. With strict, a line that is neither a header, a key, a comment nor blank, and a
// key before the first header, raise EInputError naming file and line; without, such lines are
// skipped (for files that only SimpleIni reads).
TIniDocument ScanIni(std::string_view text, const std::string& file, bool strict = true);

// Reads a whole file; raises EInputError "cannot read FILE: reason".
std::string ReadTextFile(const std::string& path, const std::string& shown);

bool EqualsNoCase(std::string_view a, std::string_view b);
std::string_view Trim(std::string_view text);

}  // namespace loom
