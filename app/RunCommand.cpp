#include "app/RunCommand.h"

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "app/EvaluatorSetup.h"
#include "host/InputError.h"
#include "host/ReferenceHost.h"
#include "host/Replay.h"
#include "host/RunSummary.h"
#include "host/Worksheet.h"
#include "panel/Validation.h"
#ifdef LOOM_HAVE_UI
#include "ui/PlotWindow.h"
#endif

namespace loom {

namespace {

void OnInterrupt(int /*signal*/) {
  RequestHostInterrupt();
  signal(SIGINT, SIG_DFL);  // a second Ctrl-C ends the program at once
}

// Ctrl-C stops the run as a stop request does: the panels finish and the outputs are kept.
class TInterruptScope {
 public:
  TInterruptScope() {
    struct sigaction action = {};
    action.sa_handler = &OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous_);
  }
  ~TInterruptScope() { sigaction(SIGINT, &previous_, nullptr); }
  TInterruptScope(const TInterruptScope&) = delete;
  TInterruptScope& operator=(const TInterruptScope&) = delete;

 private:
  struct sigaction previous_ = {};
};

// A private folder for the recording that --expect compares; removed with the object.
class TTemporaryFolder {
 public:
  TTemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "loom-run-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      throw EInputError("--expect: cannot create a temporary folder");
    path_ = pattern;
  }
  ~TTemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TTemporaryFolder(const TTemporaryFolder&) = delete;
  TTemporaryFolder& operator=(const TTemporaryFolder&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

TWorksheet LoadRunFile(const TRunCommandOptions& o) {
  const std::string text = ReadTextFile(o.File, o.File);
  if (IsWorksheetText(text)) {
    for (const auto& [given, name] :
         {std::pair{!o.Input.empty(), "--input"}, std::pair{!o.Output.empty(), "--output"},
          std::pair{o.Block > 0, "--block"}, std::pair{o.Rate > 0, "--rate"}})
      if (given)
        throw EInputError(std::string(name) + ": " + o.File +
                          " is a worksheet: its [Source:] and [Sink:] sections name the data");
    TSourceFiles files;
    for (const std::string& given : o.Sources) {
      const std::size_t equals = given.find('=');
      if (equals == 0 || equals == std::string::npos || equals + 1 == given.size())
        throw EInputError("--source: \"" + given + "\" is not NAME=FILE");
      files[given.substr(0, equals)] = given.substr(equals + 1);
    }
    return LoadWorksheet(o.File, files);
  }
  if (!o.Sources.empty())
    throw EInputError("--source: " + o.File +
                      " holds a panel's settings: give its data with --input FILE");
  if (o.Output == "-" || o.Events == "-")
    throw EInputError(std::string(o.Output == "-" ? "--output" : "--events") +
                      ": give a file name; standard output carries the summary");
  if (o.Input.empty())
    throw EInputError(o.File +
                      " holds a panel's settings: give its data with --input FILE "
                      "(\"-\" reads standard input)");
  TSinglePanelRun run;
  run.PanelFile = o.File;
  run.InputFile = o.Input;
  run.OutputFile = o.Output;
  run.EventsFile = o.Events;
  run.Block = o.Block;
  run.Rate = o.Rate;
  return SinglePanelWorksheet(run);
}

TRunOptions HostOptions(const TRunCommandOptions& o) {
  TRunOptions options;
  options.OutputDir = o.OutputDir;
  options.EventsFile = o.Events;
  options.RecordDir = o.Record;
  options.AllEvents = o.AllEvents;
  options.Speed = o.Speed;
  options.Duration = o.Duration;
  if (o.Pacing == "fast") options.Pacing = TPacing::Fast;
  if (o.Pacing == "realtime") options.Pacing = TPacing::RealTime;
  return options;
}

}  // namespace

int RunRunCommand(const TRunCommandOptions& o, std::ostream& out, std::ostream& err) {
  try {
    TWorksheet worksheet = LoadRunFile(o);
    TRunOptions options = HostOptions(o);
    std::unique_ptr<TTemporaryFolder> recording;
    if (!o.Expect.empty()) {
      if (!std::filesystem::is_directory(o.Expect))
        throw EInputError("--expect: " + o.Expect + " is no folder of a recorded run");
      recording = std::make_unique<TTemporaryFolder>();
      options.RecordDir = recording->Path();
    }
    bool drawn = false;
    if (o.Progress)
      options.OnProgress = [&](const TRunProgress& progress) {
        if (progress.WallSeconds < 1) return;  // short runs show no bar
        std::cerr << "\r" << FormatProgressLine(progress, 79) << "\x1b[K" << std::flush;
        drawn = true;
      };
    const auto runHost = [&] {
      TReferenceHost host(std::move(worksheet), std::move(options));
      host.Prepare();
      TInterruptScope interrupts;
      return host.Run();
    };
    TRunReport report;
#ifdef LOOM_HAVE_UI
    if (o.Plot)
      report = RunWithPlot(o.File, options, runHost);
    else
#endif
      report = runHost();
    if (drawn) std::cerr << "\r\x1b[K" << std::flush;
    if (!o.Quiet) out << FormatRunSummary(report, o.File);
    if (report.Stopped) {
      err << "stopped early: " << report.StopReason << "\n";
      return kExitStopped;
    }
    if (recording) {
      const std::vector<std::string> differences =
          CompareRecordings(o.Expect, recording->Path(), o.Tolerance);
      if (!differences.empty()) {
        err << "--expect: this run differs from the recording in " << o.Expect
            << " (numbers compared within a relative tolerance of " << o.Tolerance << "):\n";
        for (const std::string& line : differences) err << "  " << line << "\n";
        return kExitDifferent;
      }
      out << "--expect: the run matches the recording in " << o.Expect << "\n";
    }
    return kExitOk;
  } catch (const EInputError& error) {
    err << error.what() << "\n";
    return kExitBadInput;
  }
}

int RunCheckCommand(const std::string& file, std::ostream& out, std::ostream& err) {
  TPanelSetup panel;
  try {
    panel.SettingsText = ReadTextFile(file, file);
  } catch (const EInputError& error) {
    err << error.what() << "\n";
    return kExitError;
  }
  panel.Document = ScanIni(panel.SettingsText, file, /*strict=*/false);
  std::vector<std::string> problems;
  const TPanelSettings settings = ReadPanelSettings(panel.SettingsText, problems);
  for (std::string& problem : CheckPanelJumps(settings)) problems.push_back(std::move(problem));
  const TValidationReport report = ValidatePanelScripts(settings);
  for (const std::string& line : report.Lines) out << line << "\n";
  if (!problems.empty()) {
    out << kValidationSeparator << "\nSettings errors:\n";
    for (const std::string& problem : problems) out << LocateProblem(panel, problem) << "\n";
  }
  return report.Valid && problems.empty() ? kExitOk : kExitError;
}

}  // namespace loom
