// `loom batch`: one worksheet (or one panel's settings) over many data files, one `loom run`
// child process per file. Processes, not threads, are the unit: the files opened by formulas,
// the FFT plans and the engine bridge are process-wide, and a child that crashes or is killed
// takes no other file with it. Each file's outputs go to a folder of their own and are exactly
// what `loom run` writes for that file alone.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

namespace loom {

// Exit status of `loom batch` when at least one file failed (the others still ran).
inline constexpr int kExitSomeFailed = 1;

struct TBatchOptions {
  std::string File;                 // a worksheet, or a panel's settings
  std::vector<std::string> Inputs;  // the data files, one run each
  std::string OutDir;               // each file's outputs go to OutDir/STEM (its name sans suffix)
  std::string Source;     // worksheet: the source each file stands in for ("": its only one)
  unsigned Jobs = 0;      // children at a time; 0: one per processor
  std::size_t Block = 0;  // panel: rows per block
  double Rate = 0;        // panel: samples per second of a file without time
  bool Progress = false;  // draw the progress line (on a terminal)
  std::string Program;    // the loom the children run; empty: this program
};

// The arguments (after the program name) of the `loom run` that handles input, writing into
// folder; source is the worksheet's source that input replaces, empty for a panel's settings.
std::vector<std::string> BatchRunArguments(const TBatchOptions& options, const std::string& source,
                                           const std::string& input, const std::string& folder);

// Runs the batch; the summary table goes to out, mistakes that stop the whole batch to err.
// Returns kExitOk, kExitSomeFailed, kExitBadInput or kExitStopped (Ctrl-C).
int RunBatchCommand(const TBatchOptions& options, std::ostream& out, std::ostream& err);

}  // namespace loom
