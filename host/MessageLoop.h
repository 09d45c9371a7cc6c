// The main-thread message loop of a host: what stands in for window messages and timers.
//
// Components that live on the host's main thread (a panel, a serial port) register a target and
// receive the messages posted to it, one at a time, on the thread that runs the loop. Posting is
// safe from any thread; a worker (the panel's evaluation thread, a serial reader) never calls its
// owner directly, it posts. Timers fire on the loop's thread too.
//
// Threads: targets may be registered, posted to and dropped from any thread. Timers and the
// running operations (ProcessPending, WaitAndProcess, Run) belong to the thread that runs the
// loop, and every handler and timer callback runs there.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>

namespace loom {

// The message numbers that hosts and components exchange. They are an interface: keep them.
// A serial port's own numbers, 1025 to 1028, are TSerialMessage in serial/SerialTypes.h.
enum TLoomMessage : std::uint32_t {
  kMsgSerialInputQueued = 1025,  // a serial reader queued an input string
  kMsgSerialOutputDone = 1026,   // a serial output finished
  kMsgEvaluate = 3044,           // a panel asks itself for one Formula cycle
  kMsgStopRequest = 4148,        // a panel asks the host to stop the measurement
  kMsgDataDone = 9216,           // a panel's evaluation thread has results waiting
};

using TMessageTargetId = std::uint64_t;  // 0 is never a target
using TTimerId = std::uint64_t;          // 0 is never a timer

// A message as a target receives it.
struct TMessage {
  std::uint32_t Message = 0;
  std::intptr_t WParam = 0;
  std::intptr_t LParam = 0;
};

class TMessageLoop {
 public:
  using THandler = std::function<void(const TMessage&)>;
  // Milliseconds of a monotonic clock; tests give the loop a clock they advance themselves.
  using TClock = std::function<std::int64_t()>;

  explicit TMessageLoop(TClock clock = {});
  TMessageLoop(const TMessageLoop&) = delete;
  TMessageLoop& operator=(const TMessageLoop&) = delete;

  // --- targets ---
  TMessageTargetId RegisterTarget(THandler handler);
  // Forgets the target and drops every message still queued for it.
  void UnregisterTarget(TMessageTargetId target);
  // Queues a message for target (any thread). False when the target is unknown or gone.
  bool Post(TMessageTargetId target, std::uint32_t message, std::intptr_t wParam = 0,
            std::intptr_t lParam = 0);
  // Drops the queued messages of that number for target; returns how many were dropped.
  int RemovePending(TMessageTargetId target, std::uint32_t message);

  // --- timers: a timer fires every interval while enabled; enabling starts a new period ---
  TTimerId CreateTimer(std::function<void()> onTimer, std::int64_t intervalMs = 1000);
  void DeleteTimer(TTimerId timer);
  void SetTimerInterval(TTimerId timer, std::int64_t intervalMs);
  void SetTimerEnabled(TTimerId timer, bool enabled);
  bool TimerEnabled(TTimerId timer) const;

  // --- running ---
  // Delivers every message queued now and fires the timers that are due; returns how many
  // handlers ran. Messages posted by those handlers wait for the next call.
  int ProcessPending();
  // Waits until a message arrives, a timer is due or timeoutMs pass, then ProcessPending.
  int WaitAndProcess(std::int64_t timeoutMs);
  // Processes until Quit is called (from a handler or any thread).
  void Run();
  void Quit();
  bool QuitRequested() const;

  std::int64_t Now() const { return clock_(); }
  // Messages queued and not yet delivered (any thread).
  std::size_t PendingCount() const;

 private:
  struct Queued {
    TMessageTargetId target;
    TMessage message;
  };
  struct Timer {
    std::function<void()> onTimer;
    std::int64_t interval = 1000;
    bool enabled = false;
    std::int64_t due = 0;
  };

  // The earliest due time of an enabled timer, or -1 without one. Loop thread only.
  std::int64_t NextDue() const;
  int FireDueTimers();

  TClock clock_;
  mutable std::mutex mutex_;  // guards queue_, targets_, quit_ and nextTarget_
  std::condition_variable wake_;
  std::deque<Queued> queue_;
  std::map<TMessageTargetId, THandler> targets_;
  TMessageTargetId nextTarget_ = 1;
  bool quit_ = false;
  // Loop-thread state: no lock.
  std::map<TTimerId, Timer> timers_;
  TTimerId nextTimer_ = 1;
};

}  // namespace loom
