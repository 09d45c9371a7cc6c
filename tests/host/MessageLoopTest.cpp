// The message loop: order of delivery, posts from other threads, dropped targets and timers on
// a clock the test advances itself.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "host/MessageLoop.h"

namespace loom {
namespace {

TEST(MessageLoopTest, DeliversInOrderAndOnlyWhatWasQueuedOnEntry) {
  TMessageLoop loop;
  std::vector<std::uint32_t> seen;
  TMessageTargetId self = 0;
  self = loop.RegisterTarget([&](const TMessage& m) {
    seen.push_back(m.Message);
    if (m.Message == 1) loop.Post(self, 99);  // waits for the next call
  });
  loop.Post(self, 1);
  loop.Post(self, 2, 7, 8);
  EXPECT_EQ(loop.ProcessPending(), 2);
  EXPECT_EQ(seen, (std::vector<std::uint32_t>{1, 2}));
  EXPECT_EQ(loop.ProcessPending(), 1);
  EXPECT_EQ(seen.back(), 99u);
}

TEST(MessageLoopTest, DroppedTargetsAndRemovedMessagesAreNeverDelivered) {
  TMessageLoop loop;
  int a = 0, b = 0;
  const TMessageTargetId ta = loop.RegisterTarget([&](const TMessage&) { ++a; });
  const TMessageTargetId tb = loop.RegisterTarget([&](const TMessage& m) { b += m.Message; });
  loop.Post(ta, 1);
  loop.Post(tb, 1025);
  loop.Post(tb, 1026);
  loop.Post(tb, 1025);
  EXPECT_EQ(loop.RemovePending(tb, 1025), 2);
  loop.UnregisterTarget(ta);
  EXPECT_FALSE(loop.Post(ta, 1));
  loop.ProcessPending();
  EXPECT_EQ(a, 0);
  EXPECT_EQ(b, 1026);
}

TEST(MessageLoopTest, PostsFromWorkersArriveOnTheLoopThreadExactlyOnce) {
  TMessageLoop loop;
  constexpr int kWorkers = 4, kEach = 2000;
  std::vector<int> lastSeen(kWorkers, -1);
  int total = 0;
  bool ordered = true;
  const auto loopThread = std::this_thread::get_id();
  bool onLoopThread = true;
  const TMessageTargetId t = loop.RegisterTarget([&](const TMessage& m) {
    onLoopThread = onLoopThread && std::this_thread::get_id() == loopThread;
    ordered = ordered && m.LParam == lastSeen[m.WParam] + 1;
    lastSeen[m.WParam] = static_cast<int>(m.LParam);
    if (++total == kWorkers * kEach) loop.Quit();
  });
  std::vector<std::thread> workers;
  for (int w = 0; w < kWorkers; ++w)
    workers.emplace_back([&, w] {
      for (int i = 0; i < kEach; ++i) loop.Post(t, 1, w, i);
    });
  loop.Run();
  for (auto& worker : workers) worker.join();
  EXPECT_EQ(total, kWorkers * kEach);
  EXPECT_TRUE(ordered);
  EXPECT_TRUE(onLoopThread);
}

TEST(MessageLoopTest, TimersFireEveryIntervalWhileEnabledOnTheLoopsClock) {
  std::int64_t now = 0;
  TMessageLoop loop([&] { return now; });
  int ticks = 0;
  TTimerId timer = 0;
  timer = loop.CreateTimer([&] { ++ticks; }, 100);
  loop.ProcessPending();
  EXPECT_EQ(ticks, 0);  // created disabled
  loop.SetTimerEnabled(timer, true);
  now = 99;
  loop.ProcessPending();
  EXPECT_EQ(ticks, 0);
  now = 100;
  loop.ProcessPending();
  EXPECT_EQ(ticks, 1);
  now = 250;  // a late loop fires once, not for every missed period
  loop.ProcessPending();
  EXPECT_EQ(ticks, 2);
  loop.SetTimerEnabled(timer, false);
  now = 1000;
  loop.ProcessPending();
  EXPECT_EQ(ticks, 2);
  // A callback may stop or delete its own timer.
  loop.SetTimerEnabled(timer, true);
  loop.DeleteTimer(timer);
  const TTimerId once = loop.CreateTimer(
      [&] {
        ++ticks;
        loop.DeleteTimer(timer);
      },
      10);
  timer = once;
  loop.SetTimerEnabled(once, true);
  now = 1010;
  loop.ProcessPending();
  EXPECT_EQ(ticks, 3);
  EXPECT_FALSE(loop.TimerEnabled(once));
}

TEST(MessageLoopTest, WaitAndProcessWakesForAPostFromAnotherThread) {
  TMessageLoop loop;
  std::atomic<bool> got{false};
  const TMessageTargetId t = loop.RegisterTarget([&](const TMessage&) { got = true; });
  std::thread poster([&] { loop.Post(t, 9216); });
  for (int i = 0; i < 100 && !got; ++i) loop.WaitAndProcess(100);
  poster.join();
  EXPECT_TRUE(got);
}

}  // namespace
}  // namespace loom
