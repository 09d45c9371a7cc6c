#include "app/BatchCommand.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include "app/EvaluatorSetup.h"
#include "app/RunCommand.h"
#include "host/IniScan.h"
#include "host/InputError.h"
#include "host/RunSummary.h"
#include "host/Worksheet.h"

extern char** environ;

namespace loom {

namespace {

volatile sig_atomic_t gBatchInterrupted = 0;

// The children get Ctrl-C from the terminal themselves and finish their files; the batch only
// stops starting new ones.
void OnBatchInterrupt(int /*signal*/) {
  gBatchInterrupted = 1;
}

struct TFileRun {
  std::string Input;
  std::string Folder;
  pid_t Pid = 0;
  bool Started = false;
  bool Finished = false;
  bool Done = false;  // finished with exit status 0
  std::string FirstError;
  std::uint64_t Samples = 0;
  double Seconds = 0;
  std::chrono::steady_clock::time_point Start;
};

// The worksheet's source that each file replaces; empty for a panel's settings.
std::string ChooseSource(const TBatchOptions& o) {
  const std::string text = ReadTextFile(o.File, o.File);
  if (!IsWorksheetText(text)) {
    if (!o.Source.empty())
      throw EInputError("--source: " + o.File +
                        " holds a panel's settings, which read each file as their input");
    return {};
  }
  for (const auto& [given, name] :
       {std::pair{o.Block > 0, "--block"}, std::pair{o.Rate > 0, "--rate"}})
    if (given)
      throw EInputError(std::string(name) + ": " + o.File +
                        " is a worksheet: its [Source:] sections set blocks and rates");
  const std::vector<std::string> names = FileSourceNames(text);
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  if (!o.Source.empty()) {
    for (const std::string& name : names)
      if (EqualsNoCase(name, o.Source)) return name;
    throw EInputError("--source " + o.Source + ": " + o.File + " has no file source of that name" +
                      " (its file sources: " + (list.empty() ? "none" : list) + ")");
  }
  if (names.size() == 1) return names.front();
  if (names.empty()) throw EInputError(o.File + ": the worksheet reads no file ([Source:] File=)");
  throw EInputError(o.File + " reads several files (" + list +
                    "): name the source each file replaces with --source NAME");
}

// Each file's folder under the output folder, named after the file without its suffix.
std::vector<TFileRun> PlanRuns(const TBatchOptions& o) {
  std::vector<TFileRun> runs;
  std::map<std::string, std::string> byFolder;
  for (const std::string& input : o.Inputs) {
    TFileRun run;
    run.Input = input;
    const std::string stem = std::filesystem::path(input).stem().string();
    if (stem.empty() || input == "-")
      throw EInputError("batch: \"" + input + "\" is no data file name");
    run.Folder = (std::filesystem::path(o.OutDir) / stem).string();
    const auto [at, fresh] = byFolder.emplace(run.Folder, input);
    if (!fresh)
      throw EInputError("batch: " + at->second + " and " + input + " would both write to " +
                        run.Folder + "; rename one of them");
    runs.push_back(std::move(run));
  }
  return runs;
}

std::string ThisProgram() {
  std::string path(4096, '\0');
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size() - 1);
  if (length <= 0) throw EInputError("batch: cannot find the loom program (/proc/self/exe)");
  path.resize(static_cast<std::size_t>(length));
  return path;
}

// The scratch folder for the children's standard output and error; removed with the object.
class TScratchFolder {
 public:
  TScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "loom-batch-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
      throw EInputError("batch: cannot create a temporary folder");
    path_ = pattern;
  }
  ~TScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TScratchFolder(const TScratchFolder&) = delete;
  TScratchFolder& operator=(const TScratchFolder&) = delete;
  std::string File(std::size_t index, const char* suffix) const {
    return path_ + "/" + std::to_string(index) + suffix;
  }

 private:
  std::string path_;
};

std::string ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// Starts the child of run; false (with FirstError set) when it cannot start.
bool Spawn(const std::string& program, const std::vector<std::string>& arguments,
           const TScratchFolder& scratch, std::size_t index, TFileRun& run) {
  std::vector<char*> argv;
  std::string name = "loom";
  argv.push_back(name.data());
  std::vector<std::string> copies = arguments;
  for (std::string& argument : copies) argv.push_back(argument.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  const std::string outPath = scratch.File(index, ".out"), errPath = scratch.File(index, ".err");
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errPath.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int status =
      posix_spawn(&run.Pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  run.Started = true;
  run.Start = std::chrono::steady_clock::now();
  if (status == 0) return true;
  run.Finished = true;
  run.FirstError = "cannot start " + program + ": " + std::strerror(status);
  return false;
}

// Records how the child of run ended: its samples from the summary, or its first error line.
void Collect(const TScratchFolder& scratch, std::size_t index, int waitStatus, TFileRun& run) {
  run.Finished = true;
  run.Seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - run.Start).count();
  const std::string out = ReadWhole(scratch.File(index, ".out"));
  const std::string err = ReadWhole(scratch.File(index, ".err"));
  run.Samples = RunSummarySamples(out);
  run.Done = WIFEXITED(waitStatus) && WEXITSTATUS(waitStatus) == kExitOk;
  if (run.Done) return;
  const std::string firstLine = err.substr(0, err.find('\n'));
  if (!firstLine.empty())
    run.FirstError = firstLine;
  else if (WIFSIGNALED(waitStatus))
    run.FirstError = std::string("ended by signal ") + strsignal(WTERMSIG(waitStatus));
  else
    run.FirstError = "exit status " + std::to_string(WEXITSTATUS(waitStatus));
}

std::string Printf(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::string ProgressLine(const std::vector<TFileRun>& runs, std::size_t running, double seconds) {
  std::size_t finished = 0, failed = 0;
  for (const TFileRun& run : runs) {
    finished += run.Finished ? 1 : 0;
    failed += run.Finished && !run.Done ? 1 : 0;
  }
  constexpr std::size_t kWidth = 30;
  const std::size_t filled = runs.empty() ? kWidth : kWidth * finished / runs.size();
  return "[" + std::string(filled, '#') + std::string(kWidth - filled, ' ') + "] " +
         std::to_string(finished) + "/" + std::to_string(runs.size()) + " files, " +
         std::to_string(failed) + " failed, " + std::to_string(running) + " running, " +
         Printf("%.1f", seconds) + " s";
}

std::string SummaryTable(const TBatchOptions& o, const std::vector<TFileRun>& runs,
                         double seconds) {
  std::size_t done = 0, failed = 0, width = 4;
  std::uint64_t samples = 0;
  for (const TFileRun& run : runs) {
    done += run.Done ? 1 : 0;
    failed += run.Finished && !run.Done ? 1 : 0;
    samples += run.Done ? run.Samples : 0;
    width = std::max(width, run.Input.size());
  }
  std::string out = "batch " + o.File + ": " + std::to_string(runs.size()) + " files in " +
                    Printf("%.3g", seconds) + " s, " + std::to_string(done) + " done, " +
                    std::to_string(failed) + " failed";
  if (done + failed < runs.size())
    out += ", " + std::to_string(runs.size() - done - failed) + " not run";
  out += "; " + Printf("%.3g", seconds > 0 ? static_cast<double>(samples) / seconds : 0) +
         " samples/s\n";
  const auto pad = [&](const std::string& text) {
    return text + std::string(width + 2 - std::min(width, text.size()), ' ');
  };
  out += "  " + pad("file") + "status  samples     seconds  samples/s\n";
  for (const TFileRun& run : runs) {
    out += "  " + pad(run.Input);
    if (run.Done) {
      const std::string count = std::to_string(run.Samples);
      out += "done    " + count + std::string(12 - std::min<std::size_t>(11, count.size()), ' ') +
             Printf("%-8.3g", run.Seconds) + " " +
             Printf("%.3g", run.Seconds > 0 ? static_cast<double>(run.Samples) / run.Seconds : 0) +
             "\n";
    } else if (run.Finished) {
      out += "failed  " + run.FirstError + "\n";
    } else {
      out += "not run (interrupted)\n";
    }
  }
  return out;
}

// Ctrl-C for the batch's lifetime; the previous handler comes back afterwards.
class TBatchInterruptScope {
 public:
  TBatchInterruptScope() {
    gBatchInterrupted = 0;
    struct sigaction action = {};
    action.sa_handler = &OnBatchInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previous_);  // no SA_RESTART: waitpid returns to look
  }
  ~TBatchInterruptScope() { sigaction(SIGINT, &previous_, nullptr); }
  TBatchInterruptScope(const TBatchInterruptScope&) = delete;
  TBatchInterruptScope& operator=(const TBatchInterruptScope&) = delete;

 private:
  struct sigaction previous_ = {};
};

}  // namespace

std::vector<std::string> BatchRunArguments(const TBatchOptions& o, const std::string& source,
                                           const std::string& input, const std::string& folder) {
  std::vector<std::string> arguments = {"run", o.File};
  if (!source.empty()) {
    arguments.insert(arguments.end(), {"--source", source + "=" + input, "--output-dir", folder});
  } else {
    const std::string panel = std::filesystem::path(o.File).stem().string();
    arguments.insert(arguments.end(), {"--input", input, "--output-dir", folder, "--output",
                                       panel + ".csv", "--events", "events.jsonl"});
    if (o.Block > 0) arguments.insert(arguments.end(), {"--block", std::to_string(o.Block)});
    if (o.Rate > 0) arguments.insert(arguments.end(), {"--rate", Printf("%.17g", o.Rate)});
  }
  arguments.push_back("--no-progress");
  return arguments;
}

int RunBatchCommand(const TBatchOptions& o, std::ostream& out, std::ostream& err) {
  std::vector<TFileRun> runs;
  std::string source, program;
  try {
    source = ChooseSource(o);
    runs = PlanRuns(o);
    program = o.Program.empty() ? ThisProgram() : o.Program;
  } catch (const EInputError& error) {
    err << error.what() << "\n";
    return kExitBadInput;
  }
  const long processors = sysconf(_SC_NPROCESSORS_ONLN);
  const std::size_t jobs = o.Jobs > 0 ? o.Jobs : static_cast<std::size_t>(std::max(1L, processors));
  const auto start = std::chrono::steady_clock::now();
  const auto elapsed = [&] {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  const auto draw = [&](std::size_t running) {
    if (o.Progress) err << "\r" << ProgressLine(runs, running, elapsed()) << "\x1b[K" << std::flush;
  };
  std::unique_ptr<TScratchFolder> scratch;
  try {
    scratch = std::make_unique<TScratchFolder>();
  } catch (const EInputError& error) {
    err << error.what() << "\n";
    return kExitBadInput;
  }
  std::map<pid_t, std::size_t> running;
  std::size_t next = 0;
  {
    TBatchInterruptScope interrupts;
    while (true) {
      while (!gBatchInterrupted && running.size() < jobs && next < runs.size()) {
        const std::size_t index = next++;
        if (Spawn(program, BatchRunArguments(o, source, runs[index].Input, runs[index].Folder),
                  *scratch, index, runs[index]))
          running.emplace(runs[index].Pid, index);
      }
      draw(running.size());
      if (running.empty()) break;
      int status = 0;
      const pid_t pid = waitpid(-1, &status, 0);
      if (pid < 0) {
        if (errno == EINTR) continue;
        break;  // ECHILD: nothing left to wait for
      }
      const auto found = running.find(pid);
      if (found == running.end()) continue;
      Collect(*scratch, found->second, status, runs[found->second]);
      running.erase(found);
    }
  }
  if (o.Progress) err << "\r\x1b[K" << std::flush;
  out << SummaryTable(o, runs, elapsed());
  if (gBatchInterrupted) return kExitStopped;
  const bool allDone =
      std::all_of(runs.begin(), runs.end(), [](const TFileRun& run) { return run.Done; });
  return allDone ? kExitOk : kExitSomeFailed;
}

}  // namespace loom
