#include "host/Replay.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>

#include "host/CsvData.h"
#include "host/IniScan.h"
#include "host/InputError.h"

namespace loom {

namespace {

std::set<std::string> RecordedFiles(const std::string& dir) {
  std::set<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(dir, error)) {
    const std::string name = entry.path().filename().string();
    if (entry.is_regular_file() && name.find(".partial") == std::string::npos) names.insert(name);
  }
  if (error) throw EInputError("--expect: cannot read the folder " + dir + ": " + error.message());
  return names;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find('\n', at);
    if (end == std::string::npos) end = text.size();
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

class TDifferences {
 public:
  TDifferences(std::vector<std::string>& out, std::string file, std::size_t max)
      : out_(out), file_(std::move(file)), max_(max) {}
  void Add(const std::string& what) {
    if (count_ < max_) out_.push_back(file_ + ": " + what);
    if (++count_ == max_ + 1) out_.push_back(file_ + ": ... and more differences");
  }

 private:
  std::vector<std::string>& out_;
  std::string file_;
  std::size_t max_;
  std::size_t count_ = 0;
};

void CompareEvents(const std::vector<std::string>& expected, const std::vector<std::string>& actual,
                   TDifferences& differences) {
  const std::size_t n = std::max(expected.size(), actual.size());
  for (std::size_t i = 0; i < n; ++i) {
    const std::string line = "line " + std::to_string(i + 1);
    if (i >= actual.size())
      differences.Add(line + ": missing, recorded " + expected[i]);
    else if (i >= expected.size())
      differences.Add(line + ": not recorded: " + actual[i]);
    else if (expected[i] != actual[i])
      differences.Add(line + ":\n  recorded " + expected[i] + "\n  now      " + actual[i]);
  }
}

void CompareCsv(const std::vector<std::string>& expected, const std::vector<std::string>& actual,
                double tolerance, TDifferences& differences) {
  if (expected.empty() || actual.empty() || expected.front() != actual.front()) {
    differences.Add("the header differs: recorded \"" + (expected.empty() ? "" : expected.front()) +
                    "\", now \"" + (actual.empty() ? "" : actual.front()) + "\"");
    return;
  }
  if (expected.size() != actual.size())
    differences.Add(std::to_string(actual.size() - 1) + " rows where the recording has " +
                    std::to_string(expected.size() - 1));
  const std::vector<std::string> names = SplitCsvLine(expected.front(), ',');
  for (std::size_t r = 1; r < std::min(expected.size(), actual.size()); ++r) {
    const std::vector<std::string> a = SplitCsvLine(expected[r], ',');
    const std::vector<std::string> b = SplitCsvLine(actual[r], ',');
    for (std::size_t c = 0; c < std::max(a.size(), b.size()); ++c) {
      const std::string& x = c < a.size() ? a[c] : "";
      const std::string& y = c < b.size() ? b[c] : "";
      double u = 0, v = 0;
      const bool same = x.empty() || y.empty() ? x == y
                        : ParseNumber(x, false, u) && ParseNumber(y, false, v)
                            ? WithinTolerance(u, v, tolerance)
                            : x == y;
      if (!same)
        differences.Add("row " + std::to_string(r) + ", column \"" +
                        (c < names.size() ? names[c] : std::to_string(c + 1)) + "\": recorded " +
                        (x.empty() ? "(empty)" : x) + ", now " + (y.empty() ? "(empty)" : y));
    }
  }
}

}  // namespace

bool WithinTolerance(double expected, double actual, double tolerance) {
  if (std::isnan(expected) || std::isnan(actual)) return std::isnan(expected) && std::isnan(actual);
  if (expected == actual) return true;  // the infinities
  const double scale = std::max({1.0, std::fabs(expected), std::fabs(actual)});
  return std::fabs(expected - actual) <= tolerance * scale;
}

std::vector<std::string> CompareRecordings(const std::string& expectedDir,
                                           const std::string& actualDir, double tolerance,
                                           std::size_t maxPerFile) {
  std::vector<std::string> out;
  const std::set<std::string> expected = RecordedFiles(expectedDir);
  const std::set<std::string> actual = RecordedFiles(actualDir);
  for (const std::string& name : expected)
    if (!actual.contains(name)) out.push_back(name + ": recorded, but this run wrote no such file");
  for (const std::string& name : actual)
    if (!expected.contains(name)) out.push_back(name + ": written by this run, but not recorded");
  for (const std::string& name : expected) {
    if (!actual.contains(name)) continue;
    const std::string path = (std::filesystem::path(expectedDir) / name).string();
    const std::vector<std::string> a = Lines(ReadTextFile(path, path));
    const std::string now = (std::filesystem::path(actualDir) / name).string();
    const std::vector<std::string> b = Lines(ReadTextFile(now, now));
    TDifferences differences(out, name, maxPerFile);
    if (std::filesystem::path(name).extension() == ".csv")
      CompareCsv(a, b, tolerance, differences);
    else
      CompareEvents(a, b, differences);
  }
  return out;
}

}  // namespace loom
