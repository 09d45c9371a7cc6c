#include "app/Watchdog.h"

namespace loom {

TStopWatchdog::TStopWatchdog(TVXExpressionEvaluatorBase& evaluator,
                             std::chrono::duration<double> limit)
    : evaluator_(evaluator) {
  if (limit.count() > 0) thread_ = std::thread([this, limit] { Watch(limit); });
}

TStopWatchdog::~TStopWatchdog() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    finished_ = true;
  }
  finishedSignal_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void TStopWatchdog::Watch(std::chrono::duration<double> limit) {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::duration_cast<std::chrono::nanoseconds>(limit);
  if (finishedSignal_.wait_until(lock, deadline, [this] { return finished_; })) return;
  fired_.store(true);
  evaluator_.RequestStop();
}

}  // namespace loom
