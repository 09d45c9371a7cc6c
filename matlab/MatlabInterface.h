// The MATLAB bridge: one engine per process behind a lock, and the calls that the formula
// functions and the test-bed window make (MLConnect, MLExecuteCommand, MLPutFullMatrix,
// MLGetFullMatrix).
//
// The engine starts on first use. A call that fails because the engine died, was never started
// or stopped answering (EMatlabEngineLost) starts a new engine and is repeated once; a second
// failure reaches the caller as EMatlabEngineLost. Other failures (an error raised by a put or
// a get, a call interrupted after its time-out, a bad argument) reach the caller at once as
// EMatlabError. Errors inside a command are not failures: they are part of its output text.
//
// Threads: every operation may be called from any thread; calls are served one at a time, so a
// panel that calls while another panel's call runs waits for it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "matlab/MatlabEngine.h"
#include "matlab/OctaveEngine.h"

namespace loom {

class TMatlabBridge {
 public:
  using TEngineFactory = std::function<std::unique_ptr<TMatlabEngine>()>;

  explicit TMatlabBridge(TEngineFactory factory);
  TMatlabBridge(const TMatlabBridge&) = delete;
  TMatlabBridge& operator=(const TMatlabBridge&) = delete;
  ~TMatlabBridge();

  // Stops the engine; the next call starts one made by factory (another back-end, other options).
  void SetEngineFactory(TEngineFactory factory);
  // Starts the engine unless it runs; a failure to start propagates.
  void Connect();
  // Stops the engine; the next call starts a new one.
  void Disconnect();
  bool Connected() const;

  // The command's output text; an error inside the command is part of it and sets *failed.
  std::string ExecuteCommand(const std::string& command, bool* failed = nullptr);
  void PutFullMatrix(const std::string& name, const std::string& workspace,
                     std::span<const double> real, std::span<const double> imag);
  void GetFullMatrix(const std::string& name, const std::string& workspace, std::span<double> real,
                     std::span<double> imag);

 private:
  // Runs call on a started engine with the reconnect-once rule, under the lock.
  template <class TCall>
  auto Guarded(TCall&& call);
  void StartLocked();
  void StopLocked();

  // Guards factory_ and engine_, and holds every call to the engine, which serves one at a time.
  mutable std::mutex mutex_;
  TEngineFactory factory_;
  std::unique_ptr<TMatlabEngine> engine_;
};

// The process-wide bridge; its engine is Octave with default options until MLSetOctaveOptions.
TMatlabBridge& MLBridge();
// Points the process-wide bridge at another octave-cli or gives it other time-outs; the running
// engine is stopped. EMatlabError for unusable options.
void MLSetOctaveOptions(const TOctaveOptions& options);

// Starts the process-wide engine unless it runs; a second call does nothing.
void MLConnect();
// Remote engines are not offered: the host name is accepted and ignored.
void MLConnectRemote(const std::string& hostName);
// Runs command in the base workspace; returns the engine's command-window text.
std::string MLExecuteCommand(const std::string& command);
// Puts real[0..realHigh] as a real row under name in workspace. imag[0..imagHigh] only shapes the
// call: imagHigh is -1 (no imaginary part) or equal to realHigh, and zeros are sent.
void MLPutFullMatrix(const std::string& name, const std::string& workspace, const double* real,
                     int realHigh, const double* imag, int imagHigh);
// Fills real[0..realHigh] and imag[0..imagHigh] (-1: none) from the first row of name in
// workspace; never resizes, and fails when the variable has fewer columns.
void MLGetFullMatrix(const std::string& name, const std::string& workspace, double* real,
                     int realHigh, double* imag, int imagHigh);
// Stops the process-wide engine.
void MLDisconnect();

}  // namespace loom
