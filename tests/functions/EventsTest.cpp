// Events, timing, panel exchange and the serial and engine functions, run against a recording
// host whose clock the test sets.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "functions/FormulaHost.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

struct TRecordingHost : TFormulaHost {
  std::int64_t FileTimeNow() override { return fileTime; }
  std::uint32_t TickCount() override { return ticks; }
  double DateTimeNow() override { return dateTime; }
  void UpdateOutputs() override { calls += "O"; }
  void UpdateInputData() override { calls += "I"; }
  void SerialWriteString(const std::string& bytes) override { serial += bytes; }
  std::int64_t fileTime = 133000000000000000;
  std::uint32_t ticks = 4294967295u;
  double dateTime = 45000.25;
  std::string calls, serial;
};

struct HostedEvaluator : TVXExpressionEvaluator {
  HostedEvaluator() { Host = &host; }
  TRecordingHost host;
};

TEST(EventsAndTiming, ClockFunctionsReadTheHostsClock) {
  HostedEvaluator ev;
  EXPECT_EQ(Evaluated(ev, "GetTickCount").Value, 4294967295.0);
  EXPECT_EQ(Evaluated(ev, "Now").Value, 45000.25);
  EXPECT_EQ(Evaluated(ev, "toc").Value, 13300000000.0);  // no tic: since the clock's epoch
  Evaluated(ev, "tic");
  ev.host.fileTime += 15000000;
  EXPECT_EQ(Evaluated(ev, "toc").Value, 1.5);
  Evaluated(ev, "tic");
  EXPECT_EQ(Evaluated(ev, "toc").Value, 0.0);
}

TEST(EventsAndTiming, EventsAreQueuedInOrderWithRoundedIntegers) {
  HostedEvaluator ev;
  Evaluated(ev, "FireEvent(2.5, \"first\")");
  Evaluated(ev, "FireEventEx(4294967301, -1.5, 0.5, 1.5, 7, 8, 1, 2, 3, 4, \"full\")");
  ASSERT_EQ(ev.DeferredEvents.size(), 2u);
  const TDeferredEvent& a = *ev.DeferredEvents[0];
  EXPECT_EQ(a.eventID, 2);
  EXPECT_EQ(a.additionalText, "first");
  EXPECT_FALSE(a.hasNumericArguments);
  const TDeferredEvent& b = *ev.DeferredEvents[1];
  EXPECT_TRUE(b.hasNumericArguments);
  EXPECT_EQ(b.eventID, 5);  // 2^32 + 5 wraps to 32 bits
  EXPECT_EQ(b.channelIndex, -2);
  EXPECT_EQ(std::vector<double>({b.startTime, b.endTime, b.dData1, b.dData2, b.dData3, b.dData4}),
            std::vector<double>({0.5, 1.5, 1, 2, 3, 4}));
  EXPECT_EQ(b.iData1 * 10 + b.iData2, 78);
  EXPECT_EQ(b.additionalText, "full");
}

TEST(EventsAndTiming, PanelAndSerialCallsReachTheHostAndNothingElse) {
  HostedEvaluator ev;
  Evaluated(ev, "UpdateOutputs");
  Evaluated(ev, "UpdateInputData");
  EXPECT_EQ(Evaluated(ev, "SerialWriteString(\"AT\" + Chr(13))").Value, 1.0);
  EXPECT_EQ(Evaluated(ev, "SerialWriteString(\"\")").Value, 1.0);
  EXPECT_EQ(ev.host.calls, "OI");
  EXPECT_EQ(ev.host.serial, "AT\r");
  // Without a host: nothing to reach, no error, and the serial function still answers 1.
  TVXExpressionEvaluator plain;
  Evaluated(plain, "UpdateOutputs");
  EXPECT_EQ(Evaluated(plain, "SerialWriteString(\"x\")").Value, 1.0);
}

TEST(EventsAndTiming, WrongKindsAndMissingEngineAreReported) {
  HostedEvaluator ev;
  const OutcomeRow cases[] = {
      {"FireEvent(\"a\", \"b\")", "Invalid parameters"},
      {"FireEvent(1, 2)", "Invalid parameters"},
      {"FireEventEx(1, 2, \"3\", 4, 5, 6, 7, 8, 9, 10, \"t\")", "Invalid parameters"},
      {"Wait(\"1\")", "Invalid parameters"},
      {"SerialWriteString(1)", "Invalid parameters"},
      {"MatlabPutVector(\"x\", 3)", "Invalid parameters"},
      {"MatlabCommand(\"disp(1)\")", "MatlabCommand: this function is not available in this build"},
      {"MatlabGetVector(\"x\", v)",
       "MatlabGetVector: this function is not available in this build"},
  };
  ExpectOutcomes(ev, cases);
  EXPECT_TRUE(ev.DeferredEvents.empty());
}

TEST(EventsAndTiming, WaitEndsAtOnceOnAStopRequest) {
  TVXExpressionEvaluator ev;
  const int wait = ev.AddExpression("Wait(10000)");
  Evaluated(ev, "Wait(0)");
  const auto start = std::chrono::steady_clock::now();
  std::thread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ev.RequestStop();
  });
  ev.GetResults(wait);
  stopper.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(EventsAndTiming, ColumnCountRuleReadsTheLineAfterTheFirstBlankLine) {
  const struct {
    const char* output;
    int count;
  } rows[] = {
      {"ans =\n\n    5\n\n", 5},        // the engine bridge's layout
      {"\nans =\n\n     5\n\n", 5},     // with a leading line feed
      {"ans =\n\n    12\nrest\n", 12},  // only up to the next line feed
      {"ans =\n\n   -3\n\n", -3},
      {"ans =\n\n   +4\n\n", 4},
      {"ans =\n\n    0\n\n", 0},
      {"ans = 5\n", 0},       // no blank line
      {"ans =\n\n    5", 0},  // no line feed after the value
      {"ans =\n\n    5.5\n\n", 0},
      {"ans =\n\n    99999999999\n\n", 0},
      {"error: 'x' undefined\n", 0},
      {"", 0},
      {" x\n\n12\n", 2},     // a leading blank shifts the piece: kept as the rule reads it
      {"  x =\n\n 7\n", 0},  // ... or moves it past the end
  };
  for (const auto& row : rows) EXPECT_EQ(EngineColumnCount(row.output), row.count) << row.output;
}

}  // namespace
}  // namespace loom
