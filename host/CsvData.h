// CSV data as users keep it: a header row of channel names (or none: the channels are then
// numbered and matched by order), an optional time column first, fields separated by "," with
// a decimal point, or by ";" with a decimal comma or point. Numbers are read and written with
// std::from_chars and std::to_chars, so they travel exactly and never depend on the locale.
#pragma once

#include <cstdint>
#include <deque>
#include <istream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/DataBlock.h"
#include "host/PendingFile.h"

namespace loom {

// The shortest text that reads back as the same number ("0.1", "1e-07", "nan", "-inf").
std::string FormatNumber(double value, char decimalSeparator = '.');
// Reads a whole field as a number: an optional "+", a decimal comma where allowed, "nan" and
// "inf" in any case; an empty field is NaN (a missing sample). False for anything else.
bool ParseNumber(std::string_view field, bool decimalComma, double& value);
// Whether a header names the time axis: "time" or "t", in any case, alone or followed by a unit
// ("time [s]", "Time_s", "t(s)").
bool IsTimeColumnName(std::string_view name);
// The fields of one line; double quotes around a field are removed ("" stands for one quote).
std::vector<std::string> SplitCsvLine(std::string_view line, char separator);

struct TCsvSourceOptions {
  double Rate = 0;                 // samples per second without a time column (0: 1 per second)
  std::vector<std::string> Names;  // channel names instead of the file's (or of its numbers)
};

// A CSV file or stream read row by row as it arrives, so "-" can be a sensor's pipe.
class TCsvSource : public TDataSource {
 public:
  // Reads the header (or the first row of a file without one) from in. shown names the file in
  // messages; totalBytes, when known, lets Progress tell how much was read.
  TCsvSource(std::istream& in, std::unique_ptr<std::istream> owned, std::string shown,
             TCsvSourceOptions options, std::uintmax_t totalBytes);

  const std::vector<std::string>& ChannelNames() const override { return names_; }
  bool HasNames() const override { return hasNames_; }
  double SampleRate() override;
  bool ReadBlock(std::size_t maxRows, TDataBlock& block) override;
  double Progress() const override;

 private:
  struct TRow {
    double Time = 0;
    std::vector<double> Values;
  };
  // The next row, from the rows read ahead or from the stream; false at the end.
  bool NextRow(TRow& row);
  bool ReadRowFromStream(TRow& row);
  void ParseRow(const std::vector<std::string>& fields, TRow& row);
  // The sample period: from the first two time stamps, else from the rate.
  double Period();
  [[noreturn]] void Fail(const std::string& what) const;

  std::istream& in_;
  std::unique_ptr<std::istream> owned_;
  std::string shown_;
  TCsvSourceOptions options_;
  std::uintmax_t totalBytes_;
  char separator_ = ',';
  bool hasNames_ = true;
  bool timeColumn_ = false;
  std::vector<std::string> names_;
  std::vector<std::string> columns_;  // every column's name, the time column included
  int line_ = 0;
  std::deque<TRow> ahead_;
  double period_ = 0;
  double lastTime_ = 0;
  std::uint64_t rowsRead_ = 0;
};

// Opens a CSV source on a file, or on standard input for "-"; raises EInputError.
std::unique_ptr<TDataSource> OpenCsvSource(const std::string& path, const std::string& shown,
                                           TCsvSourceOptions options);

// A CSV file with a time column and one column per channel.
class TCsvSink : public TDataSink {
 public:
  TCsvSink(const std::string& path, const std::string& shown, const std::vector<std::string>& names,
           bool decimalComma);
  void Write(const TSampleRows& rows) override;
  void Commit() override { file_.Commit(); }
  std::size_t RowsWritten() const override { return rows_; }

 private:
  TPendingFile file_;
  char separator_;
  char decimal_;
  std::size_t rows_ = 0;
  std::string line_;  // kept between rows for its storage
};

}  // namespace loom
