// The panel's evaluation thread: packets in order, one message each, the asynchronous order of
// a cycle's effects, mode switches, aborts and destruction at any moment.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include "host/RecordingHost.h"
#include "panel/FormulaPanel.h"

namespace loom {
namespace {

using Lines = std::vector<std::string>;
using namespace std::chrono_literals;

TPanelSettings AsyncSettings(Lines expressions, Lines inputs = {"seq"}) {
  TPanelSettings s;
  s.Expressions = std::move(expressions);
  s.ExitStartIndex = static_cast<int>(s.Expressions.size());
  s.InputVariables = std::move(inputs);
  s.evaluateAsynchronously = true;
  return s;
}

void Load(TKQVXFormulaPanel& panel, TRecordingHost& host, const TPanelSettings& s) {
  panel.ReadProperties(WritePanelSettings(s));
  panel.LoadFinished();
  host.Calls.clear();
}

// Sends one packet whose input "seq" is k.
void Send(TRecordingHost& host, TKQVXFormulaPanel& panel, double k) {
  host.WriteProperty("seq", k);
  panel.HandleExecute(true);
}

template <class Condition>
void WaitFor(Condition done) {
  for (int i = 0; i < 1000 && !done(); ++i) std::this_thread::sleep_for(5ms);
}

TEST(AsyncPanel, PacketsQueuedDuringALongCycleRunInOrderAndOneMessageDrainsThemAll) {
  TRecordingHost host;
  TKQVXFormulaPanel panel(host);
  Load(panel, host, AsyncSettings({"Wait(200 * (seq < 2))", "FireEvent(seq, \"\")"}));
  ASSERT_TRUE(panel.Asynchronous());
  for (int k = 1; k <= 4; ++k) Send(host, panel, k);  // 2..4 arrive while 1 waits
  WaitFor([&] { return host.PostedDataDone == 4; });
  EXPECT_EQ(host.PostedDataDone, 4);
  panel.MSGDataDone();
  EXPECT_EQ(host.CallsOf("event 1"), Lines{"event 1 ''"});
  EXPECT_EQ(host.Calls, (Lines{"event 3 ''", "event 1 ''", "event 3 ''", "event 2 ''", "event 3 ''",
                               "event 3 ''", "event 3 ''", "event 4 ''"}));
  host.Calls.clear();
  host.Pump();  // the four messages find nothing left
  EXPECT_EQ(host.Calls, Lines{});
}

TEST(AsyncPanel, EffectsComeInTheAsynchronousOrderAndEnableOutputZeroKeepsOnlyEvents) {
  TRecordingHost host;
  host.Controls = {{1}};
  host.Connected = {1};
  TKQVXFormulaPanel panel(host);
  TPanelSettings s = AsyncSettings({"FireEvent(7, \"own\")", "EnableOutput := seq > 1", "seq"});
  s.OutputChannels = {{"Seq", "seq"}};
  Load(panel, host, s);
  Send(host, panel, 2);
  Send(host, panel, 1);
  WaitFor([&] { return host.PostedDataDone == 2; });
  host.Pump();
  EXPECT_EQ(host.Calls, (Lines{"set 1 2", "event 3 ''", "data 0 [ 2] t=0+0", "event 7 'own'",
                               "event 7 'own'"}));
}

TEST(AsyncPanel, SyncModeEndsAWaitingWorkerWithoutEvaluating) {
  TRecordingHost host;
  TKQVXFormulaPanel panel(host);
  Load(panel, host, AsyncSettings({"n := n + 1"}));
  panel.SetSyncMode();
  EXPECT_FALSE(panel.Asynchronous());
  EXPECT_EQ(host.PostedDataDone, 0);
  EXPECT_EQ(panel.Evaluator().Words().Find("n")->AsPointer()->Value, 0.0);
  // Packets sent while no worker runs wait for the next one; none is lost.
  Send(host, panel, 1);
  Send(host, panel, 2);
  panel.SetAsyncMode();
  WaitFor([&] { return host.PostedDataDone == 2; });
  panel.SetSyncMode();
  EXPECT_EQ(panel.Evaluator().Words().Find("n")->AsPointer()->Value, 2.0);
}

TEST(AsyncPanel, DestructionDuringAWaitReturnsPromptlyAndRunsNothingMore) {
  const std::filesystem::path dir =
      std::filesystem::temp_directory_path() / ("loom-async-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  TRecordingHost host;
  host.Base = dir.string();
  auto panel = std::make_unique<TKQVXFormulaPanel>(host);
  Load(*panel, host, AsyncSettings({"Wait(10000)", "h := FileCreate(\"after.txt\")"}));
  Send(host, *panel, 1);
  Send(host, *panel, 2);
  std::this_thread::sleep_for(50ms);
  const auto start = std::chrono::steady_clock::now();
  panel.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
  EXPECT_FALSE(std::filesystem::exists(dir / "after.txt"));
  std::filesystem::remove_all(dir);
}

// Thousands of packets, faster than the formula runs, with aborts and mode switches at random:
// every packet that ran delivers its event exactly once, and in order.
TEST(AsyncPanel, StressNoPacketDeliveredTwiceOrOutOfOrder) {
  std::mt19937 random(12345);
  for (int round = 0; round < 4; ++round) {
    TRecordingHost host;
    auto panel = std::make_unique<TKQVXFormulaPanel>(host);
    Load(*panel, host,
         AsyncSettings({"x := VectorGetSum([1, 2, 3] * seq)", "FireEvent(seq, \"\")"}));
    for (int k = 1; k <= 1500; ++k) {
      Send(host, *panel, k);
      switch (random() % 64) {
        case 0:
          panel->Abort();
          break;
        case 1:
          panel->SetSyncMode();
          break;
        case 2:
          panel->SetAsyncMode();
          break;
        case 3:
          host.Pump();
          break;
        default:
          break;
      }
    }
    panel->SetAsyncMode();
    if (round % 2 == 0) WaitFor([&] { return host.PostedDataDone >= 1000; });
    host.Pump();
    panel.reset();  // may come while packets are still queued or running
    int last = 0;
    bool ordered = true;
    for (const std::string& call : host.CallsOf("event ")) {
      const int id = std::stoi(call.substr(6));
      if (id == 3) continue;  // "After evaluation"
      ordered = ordered && id > last;
      last = id;
    }
    EXPECT_TRUE(ordered) << "round " << round << ": "
                         << testing::PrintToString(host.CallsOf("event "));
    EXPECT_GT(last, 0);
  }
}

}  // namespace
}  // namespace loom
