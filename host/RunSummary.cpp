#include "host/RunSummary.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace loom {

namespace {

std::string Printf(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// The value below which the given share of the sorted values lie (nearest rank).
double Percentile(const std::vector<double>& sorted, double share) {
  if (sorted.empty()) return 0;
  const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(sorted.size())));
  return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

std::string CountList(const std::map<std::string, std::uint64_t>& counts, const char* quote) {
  std::string out;
  for (const auto& [name, count] : counts)
    out +=
        (out.empty() ? "" : ", ") + std::string(quote) + name + quote + " " + std::to_string(count);
  return out.empty() ? "none" : out;
}

}  // namespace

std::string FormatMilliseconds(double milliseconds) {
  return Printf("%.3g ms", milliseconds);
}

std::vector<std::string> CycleBudgetWarnings(const TPanelReport& panel) {
  std::vector<std::string> warnings;
  if (panel.CycleMilliseconds.empty() || panel.BlockPeriodMilliseconds <= 0) return warnings;
  std::vector<double> sorted = panel.CycleMilliseconds;
  std::sort(sorted.begin(), sorted.end());
  const double budget = panel.BlockPeriodMilliseconds;
  const double median = Percentile(sorted, 0.5);
  const double p99 = Percentile(sorted, 0.99);
  if (median > budget)
    warnings.push_back(
        "panel \"" + panel.Name + "\" cannot keep up with real time: its median cycle takes " +
        FormatMilliseconds(median) + " of a " + FormatMilliseconds(budget) + " block period");
  else if (p99 > budget)
    warnings.push_back("panel \"" + panel.Name +
                       "\" falls behind real time now and then: its 99th percentile cycle takes " +
                       FormatMilliseconds(p99) + " of a " + FormatMilliseconds(budget) +
                       " block period");
  return warnings;
}

std::uint64_t RunSummarySamples(std::string_view summary) {
  const std::string_view first = summary.substr(0, summary.find('\n'));
  if (first.rfind("run ", 0) != 0) return 0;
  const std::size_t end = first.find(" samples, ");
  if (end == std::string_view::npos) return 0;
  const std::size_t begin = first.rfind(' ', end - 1) + 1;
  std::uint64_t samples = 0;
  std::from_chars(first.data() + begin, first.data() + end, samples);
  return samples;
}

std::string FormatRunSummary(const TRunReport& report, const std::string& worksheet) {
  std::string out = "run " + worksheet + ": " + Printf("%.6g", report.DataSeconds) +
                    " s of data in " + Printf("%.3g", report.WallSeconds) + " s";
  if (report.WallSeconds > 0 && report.DataSeconds > 0)
    out += " (" + Printf("%.3g", report.DataSeconds / report.WallSeconds) + " x real time)";
  out += ", " + std::to_string(report.Blocks) + " blocks, " + std::to_string(report.Samples) +
         " samples, " +
         (report.Pacing == TPacing::Fast
              ? std::string("fast pacing")
              : "real-time pacing at " + Printf("%g", report.Speed) + " x") +
         "\n";
  std::vector<std::string> warnings = report.Warnings;
  for (const TPanelReport& panel : report.Panels) {
    out += "panel " + panel.Name + ": " + std::to_string(panel.Cycles) + " cycles";
    if (!panel.CycleMilliseconds.empty()) {
      std::vector<double> sorted = panel.CycleMilliseconds;
      std::sort(sorted.begin(), sorted.end());
      out += "; cycle time median " + FormatMilliseconds(Percentile(sorted, 0.5)) + ", p99 " +
             FormatMilliseconds(Percentile(sorted, 0.99)) + ", max " +
             FormatMilliseconds(sorted.back());
      if (panel.BlockPeriodMilliseconds > 0)
        out += " (block period " + FormatMilliseconds(panel.BlockPeriodMilliseconds) + ")";
    }
    out += "\n  errors: " + CountList(panel.Errors, "\"") + "\n";
    out += "  events: " + CountList(panel.Events, "") + "\n";
    for (std::string& w : CycleBudgetWarnings(panel)) warnings.push_back(std::move(w));
    if (panel.Cycles == 0 && !panel.ImmediateEvaluation)
      warnings.push_back("panel \"" + panel.Name +
                         "\" ran no cycle: a panel evaluates on every block only with "
                         "[General] ImmediateEvaluation=1");
  }
  for (const std::string& warning : warnings) out += "warning: " + warning + "\n";
  if (report.Stopped) out += "stopped early: " + report.StopReason + "\n";
  for (const auto& [file, count] : report.Outputs) {
    const bool events = file.size() >= 6 && file.compare(file.size() - 6, 6, ".jsonl") == 0;
    out += "wrote " + file + " (" + std::to_string(count) + (events ? " events" : " rows") + ")\n";
  }
  return out;
}

std::string FormatProgressLine(const TRunProgress& progress, int width) {
  std::string out;
  if (progress.Fraction >= 0) {
    const int bar = 20;
    const int done = static_cast<int>(std::lround(progress.Fraction * bar));
    out = "[" + std::string(static_cast<std::size_t>(done), '#') +
          std::string(static_cast<std::size_t>(bar - done), ' ') + "] " +
          Printf("%3.0f", progress.Fraction * 100) + "% ";
  }
  out += std::to_string(progress.Blocks) + " blocks";
  if (progress.WallSeconds > 0)
    out += ", " + Printf("%.3g", static_cast<double>(progress.Samples) / progress.WallSeconds) +
           " samples/s";
  if (progress.Fraction > 0 && progress.Fraction < 1)
    out += ", " +
           Printf("%.0f", progress.WallSeconds * (1 - progress.Fraction) / progress.Fraction) +
           " s left";
  if (static_cast<int>(out.size()) > width) out.resize(static_cast<std::size_t>(width));
  return out;
}

}  // namespace loom
