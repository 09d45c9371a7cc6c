// The --timeout of scripts: a thread that asks the evaluator to stop once the time is up. The
// section runner honours the request between two expressions, so even a loop that never ends
// comes to a stop.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "engine/Evaluator.h"

namespace loom {

class TStopWatchdog {
 public:
  // Starts the watch; a limit of zero or less starts nothing and never fires.
  TStopWatchdog(TVXExpressionEvaluatorBase& evaluator, std::chrono::duration<double> limit);
  // Ends the watch without firing when the time is not yet up.
  ~TStopWatchdog();
  TStopWatchdog(const TStopWatchdog&) = delete;
  TStopWatchdog& operator=(const TStopWatchdog&) = delete;

  // True once the time ran out and the stop was requested.
  bool Fired() const { return fired_.load(); }

 private:
  void Watch(std::chrono::duration<double> limit);

  TVXExpressionEvaluatorBase& evaluator_;
  std::atomic<bool> fired_{false};
  std::mutex mutex_;  // guards finished_ for the wait on finishedSignal_
  std::condition_variable finishedSignal_;
  bool finished_ = false;
  std::thread thread_;  // started last, so that everything above exists when it runs
};

}  // namespace loom
