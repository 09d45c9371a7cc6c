#include "panel/AsyncThread.h"

#include "panel/FormulaPanel.h"

namespace loom {

void TWakeEvent::Set() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    signalled_ = true;
  }
  signal_.notify_all();
}

void TWakeEvent::Reset() {
  std::lock_guard<std::mutex> lock(mutex_);
  signalled_ = false;
}

void TWakeEvent::Wait() {
  std::unique_lock<std::mutex> lock(mutex_);
  signal_.wait(lock, [this] { return signalled_; });
}

TWLAsyncThread::TWLAsyncThread(TKQVXFormulaPanel& panel)
    : panel_(panel), thread_([this] { Execute(); }) {}

TWLAsyncThread::~TWLAsyncThread() {
  Terminate();
  thread_.join();
}

void TWLAsyncThread::Terminate() {
  terminated_ = true;
  WakeUp.Set();
}

// A terminate request ends the loop only after the queue was drained, so no queued packet is
// lost; Stop (set when the panel is destroyed) drops them instead.
void TWLAsyncThread::Execute() {
  for (;;) {
    WakeUp.Wait();
    panel_.EvaluateQueuedPackets(*this);
    if (terminated_) return;
    if (Stop) WakeUp.Reset();
  }
}

}  // namespace loom
