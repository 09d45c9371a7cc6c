// The engine seam of the MATLAB bridge: what the bridge asks of a numeric engine, and its errors.
//
// A back-end runs one engine (a child process, a library, a remote server) and offers the three
// operations the formula functions need: run a command and return its command-window text, put
// a real row vector into a workspace, read a row of a variable back. Matrices cross the seam as
// one-dimensional arrays of double: the first row of the engine's matrix, column by column.
//
// Threads: an engine is not thread-safe; TMatlabBridge (MatlabInterface.h) serialises the calls.
#pragma once

#include <span>
#include <stdexcept>
#include <string>

namespace loom {

// Every error of the bridge: a bad argument, an error raised inside the engine, a call that ran
// past its time-out and was interrupted, an engine that could not be reached.
class EMatlabError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The engine itself is gone: it died, never started or stopped answering and was stopped. The
// bridge answers this one by starting a new engine and repeating the call once.
class EMatlabEngineLost : public EMatlabError {
 public:
  using EMatlabError::EMatlabError;
};

class TMatlabEngine {
 public:
  virtual ~TMatlabEngine() = default;

  // Starts the engine; EMatlabEngineLost when it cannot be started or does not come up.
  virtual void Start() = 0;
  // Ends the engine; harmless when it is not running.
  virtual void Stop() = 0;
  virtual bool IsRunning() const = 0;

  // Runs command in the base workspace and returns what it printed, in MATLAB's layout. An error
  // inside the command is part of that text (after the output printed before it), not thrown;
  // failed tells whether there was one.
  virtual std::string Execute(const std::string& command, bool& failed) = 0;
  // Makes name in workspace a 1 x real.size() real row. imag is empty or as long as real; its
  // values are not sent (the engine always receives a zero imaginary part).
  virtual void PutFullMatrix(const std::string& name, const std::string& workspace,
                             std::span<const double> real, std::span<const double> imag) = 0;
  // Fills real and imag (either may be empty) from the first row of name in workspace, column
  // by column; the variable must have at least that many columns.
  virtual void GetFullMatrix(const std::string& name, const std::string& workspace,
                             std::span<double> real, std::span<double> imag) = 0;
};

}  // namespace loom
