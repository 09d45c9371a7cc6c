#include "host/MessageLoop.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace loom {

namespace {

std::int64_t SteadyMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

TMessageLoop::TMessageLoop(TClock clock)
    : clock_(clock ? std::move(clock) : TClock(&SteadyMilliseconds)) {}

TMessageTargetId TMessageLoop::RegisterTarget(THandler handler) {
  std::lock_guard<std::mutex> lock(mutex_);
  const TMessageTargetId id = nextTarget_++;
  targets_.emplace(id, std::move(handler));
  return id;
}

void TMessageLoop::UnregisterTarget(TMessageTargetId target) {
  std::lock_guard<std::mutex> lock(mutex_);
  targets_.erase(target);
  std::erase_if(queue_, [&](const Queued& q) { return q.target == target; });
}

bool TMessageLoop::Post(TMessageTargetId target, std::uint32_t message, std::intptr_t wParam,
                        std::intptr_t lParam) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (!targets_.contains(target)) return false;
    queue_.push_back({target, {message, wParam, lParam}});
  }
  wake_.notify_one();
  return true;
}

int TMessageLoop::RemovePending(TMessageTargetId target, std::uint32_t message) {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(std::erase_if(
      queue_, [&](const Queued& q) { return q.target == target && q.message.Message == message; }));
}

TTimerId TMessageLoop::CreateTimer(std::function<void()> onTimer, std::int64_t intervalMs) {
  const TTimerId id = nextTimer_++;
  timers_[id] = Timer{std::move(onTimer), std::max<std::int64_t>(intervalMs, 1), false, 0};
  return id;
}

void TMessageLoop::DeleteTimer(TTimerId timer) {
  timers_.erase(timer);
}

void TMessageLoop::SetTimerInterval(TTimerId timer, std::int64_t intervalMs) {
  auto it = timers_.find(timer);
  if (it == timers_.end()) return;
  it->second.interval = std::max<std::int64_t>(intervalMs, 1);
  if (it->second.enabled) it->second.due = clock_() + it->second.interval;
}

void TMessageLoop::SetTimerEnabled(TTimerId timer, bool enabled) {
  auto it = timers_.find(timer);
  if (it == timers_.end() || it->second.enabled == enabled) return;
  it->second.enabled = enabled;
  if (enabled) it->second.due = clock_() + it->second.interval;
}

bool TMessageLoop::TimerEnabled(TTimerId timer) const {
  auto it = timers_.find(timer);
  return it != timers_.end() && it->second.enabled;
}

std::int64_t TMessageLoop::NextDue() const {
  std::int64_t next = -1;
  for (const auto& [id, timer] : timers_)
    if (timer.enabled && (next < 0 || timer.due < next)) next = timer.due;
  return next;
}

int TMessageLoop::FireDueTimers() {
  const std::int64_t now = clock_();
  std::vector<TTimerId> due;
  for (const auto& [id, timer] : timers_)
    if (timer.enabled && timer.due <= now) due.push_back(id);
  int fired = 0;
  for (TTimerId id : due) {
    // An earlier handler may have stopped, changed or deleted this timer.
    auto it = timers_.find(id);
    if (it == timers_.end() || !it->second.enabled || it->second.due > now) continue;
    it->second.due = now + it->second.interval;
    const std::function<void()> onTimer = it->second.onTimer;  // the handler may delete it
    onTimer();
    ++fired;
  }
  return fired;
}

int TMessageLoop::ProcessPending() {
  std::size_t budget;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    budget = queue_.size();
  }
  int handled = 0;
  // Only what was queued on entry: a handler that posts again cannot keep this call going.
  // Messages dropped meanwhile shrink the queue, so the budget may end one call early; they
  // wait for the next call, never longer.
  while (budget-- > 0) {
    THandler handler;
    TMessage message;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      if (queue_.empty()) break;
      const Queued front = queue_.front();
      queue_.pop_front();
      auto it = targets_.find(front.target);
      if (it == targets_.end()) continue;
      handler = it->second;
      message = front.message;
    }
    handler(message);
    ++handled;
  }
  return handled + FireDueTimers();
}

int TMessageLoop::WaitAndProcess(std::int64_t timeoutMs) {
  const std::int64_t next = NextDue();
  std::int64_t wait = std::max<std::int64_t>(timeoutMs, 0);
  if (next >= 0) wait = std::min(wait, std::max<std::int64_t>(next - clock_(), 0));
  {
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait_for(lock, std::chrono::milliseconds(wait),
                   [this] { return !queue_.empty() || quit_; });
  }
  return ProcessPending();
}

void TMessageLoop::Run() {
  while (!QuitRequested()) WaitAndProcess(1000);
}

void TMessageLoop::Quit() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    quit_ = true;
  }
  wake_.notify_all();
}

bool TMessageLoop::QuitRequested() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return quit_;
}

std::size_t TMessageLoop::PendingCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return queue_.size();
}

}  // namespace loom
