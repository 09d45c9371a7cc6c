// The Octave back-end: GNU Octave's `octave-cli` as a child process, spoken to over its standard
// streams; never linked into Loom.
//
// Protocol. At start the engine writes a few helper functions into a private temporary folder
// and puts the folder on Octave's path. Every call then sends one line that calls a helper with
// the call's id; the helper answers with a header (a marker byte, a token drawn at start, the
// id, the byte counts of the output and of the error text) and those bytes. So output, errors
// and completion are read off the reply itself: nothing depends on prompts or on guessing where
// an output ends, and a late reply of an interrupted call is recognised by its id and skipped.
// User text travels in a file and runs under `evalc` inside `try` in the base workspace, so no
// text can break the line protocol; vectors travel as raw little-endian doubles in files, bit
// for bit (NaN payloads, infinities, denormals and -0 included).
//
// Time-outs. A call that has not answered within CallTimeout is interrupted (SIGINT to the
// engine's process group) and the engine is pinged: an answer within InterruptGrace means the
// engine is fine and the call fails with a time-out error; no answer means it is hung, so the
// process group is killed and the call fails with EMatlabEngineLost.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "matlab/EngineProcess.h"
#include "matlab/MatlabEngine.h"

namespace loom {

struct TOctaveOptions {
  // The program to run: a name looked up in PATH, or a path to another octave-cli.
  std::string Program = "octave-cli";
  // How long one call may take before it is interrupted.
  std::chrono::milliseconds CallTimeout{30'000};
  // How long Octave may take to come up (a cold start on a busy machine reads many files).
  std::chrono::milliseconds StartTimeout{60'000};
  // How long an interrupted Octave has to answer a ping before its process group is killed.
  std::chrono::milliseconds InterruptGrace{2'000};
};

// Throws EMatlabError naming the first unusable setting of options (an empty program, a time-out
// that is not positive).
void CheckOctaveOptions(const TOctaveOptions& options);

class TOctaveEngine final : public TMatlabEngine {
 public:
  explicit TOctaveEngine(TOctaveOptions options = {});
  ~TOctaveEngine() override;

  void Start() override;
  void Stop() override;
  bool IsRunning() const override { return process_.Running(); }
  std::string Execute(const std::string& command, bool& failed) override;
  void PutFullMatrix(const std::string& name, const std::string& workspace,
                     std::span<const double> real, std::span<const double> imag) override;
  void GetFullMatrix(const std::string& name, const std::string& workspace, std::span<double> real,
                     std::span<double> imag) override;

  const TOctaveOptions& Options() const { return options_; }
  // The engine's process id (also its process group), -1 when it is not running.
  pid_t ProcessId() const { return process_.Pid(); }

 private:
  struct TReply {
    std::string Stray;  // what the engine printed outside its helpers (a shell command's output)
    std::string Output;
    std::string Error;
  };

  // Sends line (which calls a helper with id) and returns the helper's reply; applies the
  // time-out rules above.
  TReply Call(std::uint64_t id, const std::string& line);
  // Reads until the reply of id is complete; nullopt when the deadline passes first.
  std::optional<TReply> AwaitReply(std::uint64_t id, TDeadline deadline);
  // Takes the next complete reply out of received_; false when none is complete yet.
  bool TakeReply(std::uint64_t& id, TReply& reply);
  void WriteHelpers() const;
  // Kills the engine at once and forgets everything about it.
  void Discard();
  void RemoveFolder();
  std::string FilePath(const char* name) const { return (folder_ / name).string(); }

  TOctaveOptions options_;
  TEngineProcess process_;
  std::filesystem::path folder_;  // private: helper functions and transfer files
  std::string marker_;            // begins every reply of this engine; its token is random
  std::string received_;          // bytes read from the engine and not consumed yet
  std::uint64_t nextId_ = 1;
};

}  // namespace loom
