// A child process that speaks over its standard streams: the transport under the Octave engine.
//
// The child runs in a process group of its own, so that an interrupt or a kill reaches whatever
// it started too, and not us. Its standard input, output and error are one end of a Unix socket
// pair: writes use MSG_NOSIGNAL, so a dead child shows as EPIPE instead of a SIGPIPE that would
// take the whole host down, and its error stream arrives in order with its output.
//
// Threads: one thread at a time (the engine's owner serialises the calls).
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace loom {

using TDeadline = std::chrono::steady_clock::time_point;

class TEngineProcess {
 public:
  TEngineProcess() = default;
  TEngineProcess(const TEngineProcess&) = delete;
  TEngineProcess& operator=(const TEngineProcess&) = delete;
  ~TEngineProcess();

  // Starts program (looked up in PATH unless it holds a slash) with args and the current
  // environment plus extraEnvironment ("NAME=value"). EMatlabEngineLost when it cannot start.
  void Spawn(const std::string& program, const std::vector<std::string>& args,
             const std::vector<std::string>& extraEnvironment);
  bool Running() const { return pid_ > 0; }
  pid_t Pid() const { return pid_; }

  // Sends every byte of data; false when the deadline passes first. EMatlabEngineLost when the
  // child has gone (EPIPE, ECONNRESET).
  bool Send(std::string_view data, TDeadline deadline);
  // Appends to into whatever arrives before the deadline (at least one byte); false on time-out.
  // EMatlabEngineLost on end of file: the child has closed its streams or died.
  bool Receive(std::string& into, TDeadline deadline);

  // SIGINT to the child's process group.
  void Interrupt();
  // Closes the child's input and gives it grace to end by itself, then kills the group; reaps
  // the child either way. Harmless when nothing runs.
  void Close(std::chrono::milliseconds grace);
  // How the child ended, for error texts ("exit status 1", "killed by signal 9"); empty while
  // the child has not been reaped.
  const std::string& EndDescription() const { return ended_; }

 private:
  // True once the child has ended; leaves it unreaped, so its pid and group id stay ours.
  bool Ended() const;

  pid_t pid_ = -1;
  int socket_ = -1;  // our end of the socket pair
  std::string ended_;
};

}  // namespace loom
