// `loom run` and `loom check`: the reference host on a worksheet or on one panel and a data
// file, and the validation report of a panel's settings.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace loom {

// Exit statuses of `loom run` beyond kExitOk.
inline constexpr int kExitDifferent = 1;  // --expect: the run differs from the recording
inline constexpr int kExitBadInput = 2;   // a bad worksheet, settings file, data or option value
inline constexpr int kExitStopped = 3;    // stopped early: a panel's stop request or Ctrl-C

struct TRunCommandOptions {
  std::string File;                  // a worksheet, or a panel's settings with Input
  std::vector<std::string> Sources;  // worksheet: "NAME=FILE", another file for a file source
  std::string Input, Output, Events;
  std::string OutputDir;
  std::string Record, Expect;
  std::size_t Block = 0;
  double Rate = 0;
  std::string Pacing;  // "", "fast" or "realtime"
  double Speed = 0;
  double Duration = 0;
  double Tolerance = 1e-9;
  bool AllEvents = false;
  bool Quiet = false;     // no summary
  bool Progress = false;  // draw the progress line (on a terminal)
  bool Plot = false;      // show the channels and events live in a window (with the Qt UI)
};

// Runs the command; the summary goes to out, errors to err. Returns the exit status.
int RunRunCommand(const TRunCommandOptions& options, std::ostream& out, std::ostream& err);

// `loom check FILE`: prints the validation report and the settings' problems; 0 when all is
// valid, 1 otherwise.
int RunCheckCommand(const std::string& file, std::ostream& out, std::ostream& err);

}  // namespace loom
