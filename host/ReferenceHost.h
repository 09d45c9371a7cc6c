// The reference host: what `loom run` is. It plays the measurement application's part for the
// panels of a worksheet: it reads blocks from the sources, hands each panel its channels with
// DoOnNewData and an execute call, runs the message loop (the panels' posted cycles, their
// evaluation threads' results, timers), carries control connections and event links between
// panels, writes output channels to sinks and every event to a JSON-lines log, and at the end
// stops the measurement (Finishing) and reports per panel.
//
// Pacing: "fast" runs through recorded files as fast as the panels allow, and the host's clock
// is then the data's own (t, dt, timers and the execution interval follow the time axis, so a
// run is reproducible); "realtime" delivers each block when its last sample is due on the
// clock (at Speed times real time), so timers, Wait and the execution interval mean what they
// say.
//
// Threads: one host runs on the thread that calls Run; RequestHostInterrupt may be called from a
// signal handler.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/EventLog.h"
#include "host/Worksheet.h"

namespace loom {

// Asks every running host to stop at the next block, as a stop request does; a running
// section stops taking jumps at once. Async-signal-safe (Ctrl-C).
void RequestHostInterrupt();

struct TRunProgress {
  double Fraction = -1;  // 0 .. 1, or -1 when the length of the data is unknown
  std::uint64_t Blocks = 0;
  std::uint64_t Samples = 0;
  double WallSeconds = 0;
  double DataSeconds = 0;
};

// One block of rows for a live view: what a source delivered or a panel sent. Columns[c] is
// channel c of the producer, null when the block does not carry it.
struct TRunRows {
  const std::string& Producer;  // the source's or the panel's name
  bool FromPanel;
  const std::vector<std::string>& Names;  // the producer's channel names
  const std::vector<const std::vector<double>*>& Columns;
  const std::vector<double>& Times;  // seconds, one per row
};

struct TRunOptions {
  std::string OutputDir;   // relative output names resolve here instead (empty: unchanged)
  std::string EventsFile;  // the event log, instead of the worksheet's
  std::string RecordDir;   // every panel's outputs (PANEL.csv) and events.jsonl go here too
  bool AllEvents = false;  // log "Before evaluation" and "After evaluation" too
  std::optional<TPacing> Pacing;
  double Speed = 0;     // 0: the worksheet's
  double Duration = 0;  // 0: the worksheet's
  // Called about ten times a second while the run goes on.
  std::function<void(const TRunProgress&)> OnProgress;
  // A live view's taps, called on the host's thread: every block of rows.
  std::function<void(const TRunRows&)> OnRows;
  // Called with every event the log receives, in the same order.
  std::function<void(const THostEvent&)> OnEvent;
};

struct TPanelReport {
  std::string Name;
  std::uint64_t Cycles = 0;
  std::vector<double> CycleMilliseconds;        // main-thread time per block that ran a cycle
  double BlockPeriodMilliseconds = 0;           // the median time span of the blocks it received
  std::map<std::string, std::uint64_t> Errors;  // evaluation and expression errors by text
  std::map<std::string, std::uint64_t> Events;  // every event by name
  bool ImmediateEvaluation = false;
  bool Asynchronous = false;
};

struct TRunReport {
  bool Stopped = false;    // ended early: a panel's stop request or an interrupt
  std::string StopReason;  // why, when Stopped
  TPacing Pacing = TPacing::Fast;
  double Speed = 1;
  double DataSeconds = 0;
  double WallSeconds = 0;
  std::uint64_t Blocks = 0;
  std::uint64_t Samples = 0;
  std::vector<TPanelReport> Panels;
  std::vector<std::pair<std::string, std::size_t>> Outputs;  // file and rows (events: lines)
  std::vector<std::string> Warnings;
};

class TReferenceHost {
 public:
  TReferenceHost(TWorksheet worksheet, TRunOptions options);
  ~TReferenceHost();
  TReferenceHost(const TReferenceHost&) = delete;
  TReferenceHost& operator=(const TReferenceHost&) = delete;

  // Opens the sources, builds and loads the panels, resolves channels, links and sinks.
  // Raises EInputError naming the file, line and key of the first mistake; nothing is written
  // then.
  void Prepare();
  // Runs the worksheet to its end (or a stop) and commits the output files. Raises EInputError
  // for bad data met on the way; the output files are then removed.
  TRunReport Run();

 private:
  class TImpl;
  std::unique_ptr<TImpl> impl_;
};

}  // namespace loom
