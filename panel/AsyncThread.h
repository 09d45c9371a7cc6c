// The evaluation thread of a panel in asynchronous mode: it waits for input packets, runs the
// Formula section on them and hands the results back as output packets and a posted message,
// so that a slow formula never blocks the host's main thread.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace loom {

class TKQVXFormulaPanel;

// A wake-up event that stays signalled until it is reset (a manual-reset event).
class TWakeEvent {
 public:
  void Set();
  void Reset();
  // Waits until the event is signalled.
  void Wait();

 private:
  std::mutex mutex_;  // guards signalled_
  std::condition_variable signal_;
  bool signalled_ = false;
};

class TWLAsyncThread {
 public:
  // Starts the worker of panel at once.
  explicit TWLAsyncThread(TKQVXFormulaPanel& panel);
  // Terminates the worker and waits for its end.
  ~TWLAsyncThread();
  TWLAsyncThread(const TWLAsyncThread&) = delete;
  TWLAsyncThread& operator=(const TWLAsyncThread&) = delete;

  // Asks the worker to end once its batch is done, and wakes it if it waits. Any thread.
  void Terminate();
  bool Terminated() const { return terminated_.load(); }

  TWakeEvent WakeUp;
  // Set: the worker evaluates no further packet and delivers nothing more.
  std::atomic<bool> Stop{false};

 private:
  void Execute();

  TKQVXFormulaPanel& panel_;
  std::atomic<bool> terminated_{false};
  std::thread thread_;  // last: starts after the members it reads
};

}  // namespace loom
