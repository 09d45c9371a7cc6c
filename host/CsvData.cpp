#include "host/CsvData.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>

#include "host/IniScan.h"
#include "host/InputError.h"

namespace loom {

std::string FormatNumber(double value, char decimalSeparator) {
  if (std::isnan(value)) return "nan";
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  std::string out(text, result.ptr);
  if (decimalSeparator != '.')
    for (char& c : out)
      if (c == '.') c = decimalSeparator;
  return out;
}

bool ParseNumber(std::string_view field, bool decimalComma, double& value) {
  field = Trim(field);
  if (field.empty()) {
    value = std::numeric_limits<double>::quiet_NaN();
    return true;
  }
  if (field.front() == '+') field.remove_prefix(1);
  std::string copy;
  if (decimalComma && field.find(',') != std::string_view::npos) {
    copy.assign(field);
    for (char& c : copy)
      if (c == ',') c = '.';
    field = copy;
  }
  const auto result = std::from_chars(field.data(), field.data() + field.size(), value);
  return result.ec == std::errc() && result.ptr == field.data() + field.size();
}

bool IsTimeColumnName(std::string_view name) {
  name = Trim(name);
  for (std::string_view stem : {"time", "t"}) {
    if (name.size() < stem.size() || !EqualsNoCase(name.substr(0, stem.size()), stem)) continue;
    if (name.size() == stem.size()) return true;
    const char next = name[stem.size()];
    if (next == ' ' || next == '_' || next == '[' || next == '(' || next == '/') return true;
  }
  return false;
}

std::vector<std::string> SplitCsvLine(std::string_view line, char separator) {
  std::vector<std::string> fields;
  std::string field;
  bool quoted = false;
  bool wasQuoted = false;
  for (std::size_t i = 0; i <= line.size(); ++i) {
    const char c = i < line.size() ? line[i] : separator;
    if (quoted) {
      if (c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
        field += '"';
        ++i;
      } else if (c == '"') {
        quoted = false;
      } else if (i < line.size()) {
        field += c;
      }
      continue;
    }
    if (c == separator) {
      fields.push_back(wasQuoted ? field : std::string(Trim(field)));
      field.clear();
      wasQuoted = false;
    } else if (c == '"' && Trim(field).empty()) {
      field.clear();
      quoted = wasQuoted = true;
    } else {
      field += c;
    }
  }
  return fields;
}

TCsvSource::TCsvSource(std::istream& in, std::unique_ptr<std::istream> owned, std::string shown,
                       TCsvSourceOptions options, std::uintmax_t totalBytes)
    : in_(in),
      owned_(std::move(owned)),
      shown_(std::move(shown)),
      options_(std::move(options)),
      totalBytes_(totalBytes) {
  std::string text;
  while (text.empty()) {
    if (!std::getline(in_, text)) Fail("the file holds no header and no data");
    ++line_;
    text = std::string(Trim(text));
  }
  separator_ = text.find(';') != std::string::npos ? ';' : ',';
  std::vector<std::string> fields = SplitCsvLine(text, separator_);
  bool numeric = true;
  for (const std::string& field : fields) {
    double ignored = 0;
    if (field.empty() || !ParseNumber(field, separator_ == ';', ignored)) numeric = false;
  }
  if (numeric) {
    hasNames_ = false;
    for (std::size_t i = 0; i < fields.size(); ++i) columns_.push_back(std::to_string(i + 1));
  } else {
    columns_ = fields;
    timeColumn_ = IsTimeColumnName(columns_.front());
  }
  for (std::size_t i = timeColumn_ ? 1 : 0; i < columns_.size(); ++i) {
    if (columns_[i].empty()) Fail("column " + std::to_string(i + 1) + " has no name");
    for (std::size_t j = 0; j < i; ++j)
      if (columns_[j] == columns_[i]) Fail("two columns are named \"" + columns_[i] + "\"");
    names_.push_back(columns_[i]);
  }
  if (!options_.Names.empty()) {
    if (options_.Names.size() != names_.size())
      Fail(std::to_string(options_.Names.size()) + " channel names given for " +
           std::to_string(names_.size()) + " channels");
    names_ = options_.Names;
    hasNames_ = true;
  }
  if (numeric) {
    TRow row;
    ParseRow(fields, row);
    ahead_.push_back(std::move(row));
  }
}

void TCsvSource::Fail(const std::string& what) const {
  throw EInputError(shown_ + ":" + std::to_string(line_) + ": " + what);
}

void TCsvSource::ParseRow(const std::vector<std::string>& fields, TRow& row) {
  if (fields.size() != columns_.size())
    Fail(std::to_string(fields.size()) + " fields where the " +
         (hasNames_ ? std::string("header has ") : std::string("first row has ")) +
         std::to_string(columns_.size()));
  row.Values.resize(names_.size());
  for (std::size_t i = 0; i < fields.size(); ++i) {
    double value = 0;
    if (!ParseNumber(fields[i], separator_ == ';', value))
      Fail("column " + std::to_string(i + 1) + " (\"" + columns_[i] + "\"): \"" + fields[i] +
           "\" is not a number");
    if (timeColumn_ && i == 0) {
      if (!std::isfinite(value)) Fail("the time \"" + fields[i] + "\" is not a finite number");
      if (rowsRead_ > 0 && value < lastTime_)
        Fail("the time " + fields[i] + " lies before the previous row's " +
             FormatNumber(lastTime_));
      if (rowsRead_ == 1 && value > lastTime_ && period_ <= 0) period_ = value - lastTime_;
      row.Time = lastTime_ = value;
    } else {
      row.Values[i - (timeColumn_ ? 1 : 0)] = value;
    }
  }
  if (!timeColumn_) {
    const double rate = options_.Rate > 0 ? options_.Rate : 1.0;
    row.Time = static_cast<double>(rowsRead_) / rate;
  }
  ++rowsRead_;
}

bool TCsvSource::ReadRowFromStream(TRow& row) {
  std::string text;
  while (std::getline(in_, text)) {
    ++line_;
    const std::string_view trimmed = Trim(text);
    if (trimmed.empty()) continue;
    ParseRow(SplitCsvLine(trimmed, separator_), row);
    return true;
  }
  if (in_.bad()) Fail("the file cannot be read further");
  return false;
}

bool TCsvSource::NextRow(TRow& row) {
  if (ahead_.empty()) return ReadRowFromStream(row);
  row = std::move(ahead_.front());
  ahead_.pop_front();
  return true;
}

double TCsvSource::Period() {
  if (period_ > 0) return period_;
  const double rate = options_.Rate > 0 ? options_.Rate : 1.0;
  if (!timeColumn_) return period_ = 1.0 / rate;
  while (ahead_.size() < 2) {
    TRow row;
    if (!ReadRowFromStream(row)) break;
    ahead_.push_back(std::move(row));
  }
  return period_ > 0 ? period_ : 1.0 / rate;
}

double TCsvSource::SampleRate() {
  return 1.0 / Period();
}

bool TCsvSource::ReadBlock(std::size_t maxRows, TDataBlock& block) {
  block.Times.clear();
  block.Channels.assign(names_.size(), {});
  TRow row;
  // Rows are taken as they arrive: a block never waits for rows beyond its own.
  while (block.Times.size() < maxRows && NextRow(row)) {
    block.Times.push_back(row.Time);
    for (std::size_t c = 0; c < names_.size(); ++c) block.Channels[c].push_back(row.Values[c]);
  }
  if (block.Times.empty()) return false;
  // A file may be read ahead for the time step; a stream is not, since its next row may come
  // much later: until two rows have shown the step, a block there spans the step of --rate,
  // or none.
  double period = period_;
  if (period <= 0)
    period = !timeColumn_ || owned_ ? Period() : options_.Rate > 0 ? 1.0 / options_.Rate : 0.0;
  block.Start = block.Times.front();
  block.Length = static_cast<double>(block.Times.size()) * period;
  return true;
}

double TCsvSource::Progress() const {
  if (totalBytes_ == 0) return -1;
  const std::streamoff at = in_.tellg();
  if (at < 0) return 1;
  return static_cast<double>(at) / static_cast<double>(totalBytes_);
}

std::unique_ptr<TDataSource> OpenCsvSource(const std::string& path, const std::string& shown,
                                           TCsvSourceOptions options) {
  if (path == "-")
    return std::make_unique<TCsvSource>(std::cin, nullptr, "standard input", std::move(options), 0);
  auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
  if (!*file) throw EInputError("cannot read " + shown + ": " + std::strerror(errno));
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  std::istream& in = *file;
  return std::make_unique<TCsvSource>(in, std::move(file), shown, std::move(options),
                                      error ? 0 : size);
}

// --- writing ---

namespace {

std::string CsvName(const std::string& name, char separator) {
  if (name.find(separator) == std::string::npos && name.find('"') == std::string::npos) return name;
  std::string out = "\"";
  for (char c : name) out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + "\"";
}

}  // namespace

TCsvSink::TCsvSink(const std::string& path, const std::string& shown,
                   const std::vector<std::string>& names, bool decimalComma)
    : file_(path, shown), separator_(decimalComma ? ';' : ','), decimal_(decimalComma ? ',' : '.') {
  std::string header = "time";
  for (const std::string& name : names) header += separator_ + CsvName(name, separator_);
  file_.Stream() << header << '\n';
}

void TCsvSink::Write(const TSampleRows& rows) {
  std::ostream& out = file_.Stream();
  for (std::size_t r = 0; r < rows.Times.size(); ++r) {
    line_ = FormatNumber(rows.Times[r], decimal_);
    for (const std::vector<double>* column : rows.Columns) {
      line_ += separator_;
      if (column != nullptr && r < column->size()) line_ += FormatNumber((*column)[r], decimal_);
    }
    line_ += '\n';
    out << line_;
  }
  rows_ += rows.Times.size();
}

}  // namespace loom
