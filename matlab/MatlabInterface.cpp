#include "matlab/MatlabInterface.h"

namespace loom {

namespace {

// Makes Octave engines with these options.
TMatlabBridge::TEngineFactory OctaveFactory(TOctaveOptions options) {
  return [options = std::move(options)] { return std::make_unique<TOctaveEngine>(options); };
}

// The array of a part given as pointer and high index, after checking that they fit together.
template <class T>
std::span<T> Part(const char* function, const char* which, T* data, int high) {
  if (high < -1) {
    throw EMatlabError(std::string(function) + ": the high index of the " + which + " part is " +
                       std::to_string(high) + "; it must be -1 (empty) or more");
  }
  if (high >= 0 && data == nullptr) {
    throw EMatlabError(std::string(function) + ": the " + which +
                       " part is missing but its high index is " + std::to_string(high));
  }
  return high < 0 ? std::span<T>() : std::span<T>(data, static_cast<std::size_t>(high) + 1);
}

}  // namespace

TMatlabBridge::TMatlabBridge(TEngineFactory factory) : factory_(std::move(factory)) {}

TMatlabBridge::~TMatlabBridge() {
  Disconnect();
}

void TMatlabBridge::SetEngineFactory(TEngineFactory factory) {
  std::lock_guard<std::mutex> lock(mutex_);
  StopLocked();
  engine_.reset();
  factory_ = std::move(factory);
}

void TMatlabBridge::Connect() {
  std::lock_guard<std::mutex> lock(mutex_);
  StartLocked();
}

void TMatlabBridge::Disconnect() {
  std::lock_guard<std::mutex> lock(mutex_);
  StopLocked();
}

bool TMatlabBridge::Connected() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return engine_ && engine_->IsRunning();
}

void TMatlabBridge::StartLocked() {
  if (!engine_) engine_ = factory_();
  if (!engine_->IsRunning()) engine_->Start();
}

void TMatlabBridge::StopLocked() {
  if (engine_) engine_->Stop();
}

template <class TCall>
auto TMatlabBridge::Guarded(TCall&& call) {
  std::lock_guard<std::mutex> lock(mutex_);
  try {
    StartLocked();
    return call(*engine_);
  } catch (const EMatlabEngineLost&) {
    // Died, never came up or hung: the caller should not notice, so start afresh and try again.
    StopLocked();
  }
  try {
    StartLocked();
    return call(*engine_);
  } catch (const EMatlabEngineLost& e) {
    StopLocked();
    throw EMatlabEngineLost(std::string(e.what()) + " (after restarting the engine once)");
  }
}

std::string TMatlabBridge::ExecuteCommand(const std::string& command, bool* failed) {
  bool commandFailed = false;
  std::string text =
      Guarded([&](TMatlabEngine& engine) { return engine.Execute(command, commandFailed); });
  if (failed != nullptr) *failed = commandFailed;
  return text;
}

void TMatlabBridge::PutFullMatrix(const std::string& name, const std::string& workspace,
                                  std::span<const double> real, std::span<const double> imag) {
  Guarded([&](TMatlabEngine& engine) { engine.PutFullMatrix(name, workspace, real, imag); });
}

void TMatlabBridge::GetFullMatrix(const std::string& name, const std::string& workspace,
                                  std::span<double> real, std::span<double> imag) {
  Guarded([&](TMatlabEngine& engine) { engine.GetFullMatrix(name, workspace, real, imag); });
}

TMatlabBridge& MLBridge() {
  static TMatlabBridge bridge(OctaveFactory({}));
  return bridge;
}

void MLSetOctaveOptions(const TOctaveOptions& options) {
  CheckOctaveOptions(options);
  MLBridge().SetEngineFactory(OctaveFactory(options));
}

void MLConnect() {
  MLBridge().Connect();
}

void MLConnectRemote(const std::string& /*hostName*/) {}

std::string MLExecuteCommand(const std::string& command) {
  return MLBridge().ExecuteCommand(command);
}

void MLPutFullMatrix(const std::string& name, const std::string& workspace, const double* real,
                     int realHigh, const double* imag, int imagHigh) {
  const char* function = "MLPutFullMatrix";
  MLBridge().PutFullMatrix(name, workspace, Part(function, "real", real, realHigh),
                           Part(function, "imaginary", imag, imagHigh));
}

void MLGetFullMatrix(const std::string& name, const std::string& workspace, double* real,
                     int realHigh, double* imag, int imagHigh) {
  const char* function = "MLGetFullMatrix";
  MLBridge().GetFullMatrix(name, workspace, Part(function, "real", real, realHigh),
                           Part(function, "imaginary", imag, imagHigh));
}

void MLDisconnect() {
  MLBridge().Disconnect();
}

}  // namespace loom
