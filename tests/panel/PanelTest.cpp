// The panel on the recording host: the event sequences of its cycles, the execute dispatch,
// sections and jumps, data in and out, its action property and its settings block.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "host/RecordingHost.h"
#include "panel/FormulaPanel.h"
#include "tests/serial/SerialTestSupport.h"

namespace loom {
namespace {

using Lines = std::vector<std::string>;

struct PanelTest : ::testing::Test {
  // Installs the settings as a host does (read, load finished) and forgets what that recorded.
  void Load(const TPanelSettings& s) {
    panel.ReadProperties(WritePanelSettings(s));
    panel.LoadFinished();
    host.Calls.clear();
  }
  // A panel whose expressions all belong to the Formula section, evaluating on every call.
  void LoadFormula(Lines expressions, bool boolean = false, bool onlyChanges = false) {
    s.Expressions = std::move(expressions);
    s.ExitStartIndex = static_cast<int>(s.Expressions.size());
    s.EvaluateImmediately = true;
    s.BooleanResult = boolean;
    s.OnlyBooleanChanges = onlyChanges;
    Load(s);
  }
  double Var(const char* name) { return panel.Evaluator().Words().Find(name)->AsPointer()->Value; }

  TRecordingHost host;
  TKQVXFormulaPanel panel{host};
  TPanelSettings s;
};

TEST_F(PanelTest, ValueModeCycleDrivesConnectedControlsBetweenItsEvents) {
  host.Controls = {{7}, {8}};
  host.Connected = {7};
  LoadFormula({"x := x + 1.5"});
  panel.HandleExecute(true);
  EXPECT_EQ(host.Calls, (Lines{"event 2 ''", "all properties updated", "set 7 1.5", "event 3 ''"}));
  host.Calls.clear();
  LoadFormula({"\"text\""});
  panel.HandleExecute(true);
  EXPECT_EQ(host.CallsOf("set"), Lines{"set 7 'text'"});
  host.Calls.clear();
  LoadFormula({"[1, 2]"});  // vectors and booleans drive no control
  panel.HandleExecute(true);
  EXPECT_EQ(host.CallsOf("set"), Lines{});
}

TEST_F(PanelTest, BooleanModeDrivesPresetsAndFiresResultEvents) {
  host.Controls = {{1, false, std::int64_t{10}, std::int64_t{20}}, {2, true, 1.0, 0.0}};
  const struct {
    bool onlyChanges;
    Lines calls;
  } modes[] = {
      {true,
       {"set 1 10", "event 6 ''", "event 4 ''", "event 4 ''", "set 1 20", "event 7 ''",
        "event 5 ''"}},
      // Without OnlyBooleanChanges the previous result is never stored: changed events every time.
      {false,
       {"set 1 10", "event 6 ''", "event 4 ''", "set 1 10", "event 6 ''", "event 4 ''", "set 1 20",
        "event 7 ''", "event 5 ''"}},
  };
  for (const auto& mode : modes) {
    LoadFormula({"r := VectorGetValue([1, 1, 0], n)", "n := n + 1", "r"}, true, mode.onlyChanges);
    for (int cycle = 0; cycle < 3; ++cycle) panel.HandleExecute(true);
    Lines got;
    for (const std::string& call : host.Calls)
      if (call.starts_with("set") || call == "event 4 ''" || call == "event 5 ''" ||
          call == "event 6 ''" || call == "event 7 ''")
        got.push_back(call);
    EXPECT_EQ(got, mode.calls) << mode.onlyChanges;
  }
}

TEST_F(PanelTest, EnableOutputZeroSilencesTheCycleButNotItsFormulaEvents) {
  host.Controls = {{3}};
  host.Connected = {3};
  LoadFormula({"FireEvent(42, \"own\")", "EnableOutput := n > 0", "n := n + 1"});
  panel.HandleExecute(true);  // EnableOutput ends 0: no after, no control, no properties
  panel.HandleExecute(true);  // starts with 0: no before; ends 1
  panel.HandleExecute(true);
  EXPECT_EQ(host.Calls, (Lines{"event 2 ''", "event 42 'own'",  // cycle 1
                               "event 42 'own'", "all properties updated", "set 3 2", "event 3 ''",
                               "event 2 ''", "event 42 'own'", "all properties updated", "set 3 3",
                               "event 3 ''"}));
}

TEST_F(PanelTest, AnEvaluationErrorIsQueuedAndTheResultIsZero) {
  LoadFormula({"FireEventEx(5, 1, 2, 3, 4, 5, 6, 7, 8, 9, \"x\")", "v := [1, 2]",
               "u := v + [1, 2, 3]", "never := 1"},
              true);
  panel.HandleExecute(true);
  EXPECT_EQ(host.Calls,
            (Lines{"event 2 ''", "event 5 'x' 1 2 3 4 5 6 7 8 9",
                   "event 1 'Error while evaluating \"u := v + [1, 2, 3]\"'",
                   "all properties updated", "event 7 ''", "event 5 ''", "event 3 ''"}));
  EXPECT_EQ(panel.Result().Value, 0.0);
  EXPECT_EQ(Var("never"), 0.0);  // compiled, never run
}

TEST_F(PanelTest, ExecuteDispatchFollowsForceImmediateAndTheTimer) {
  s.Expressions = {"n := n + 1"};
  s.ExitStartIndex = 1;
  Load(s);
  panel.HandleExecute(false);  // neither forced nor ImmediateEvaluation
  EXPECT_EQ(host.Pump(), 0);
  panel.HandleExecute(true);  // posted, runs when the message is handled
  EXPECT_EQ(Var("n"), 0.0);
  host.Pump();
  EXPECT_EQ(Var("n"), 1.0);

  s.ImmediateEvaluation = true;
  s.EvaluateImmediately = true;
  s.limitExecutionInterval = true;
  s.limitExecutionIntervalTimer = 100;
  Load(s);
  for (int call = 0; call < 3; ++call) panel.HandleExecute(false);
  EXPECT_EQ(Var("n"), 1.0);  // one cycle at once
  host.Ticks += 100;
  host.Pump();
  EXPECT_EQ(Var("n"), 2.0);  // one at the tick, none for the third call
  host.Ticks += 100;
  host.Pump();
  EXPECT_EQ(Var("n"), 2.0);
  EXPECT_EQ(host.CallsOf("timer"), (Lines{"timer on", "timer off"}));
}

TEST_F(PanelTest, SectionsCutTheListAndJumpsMayLeadBackIntoAnEarlierSection) {
  s.Expressions = {"n := 0", "While(n < 3)", "n := n + 1", "Wend", "e := n * 10"};
  s.InitializationEndIndex = 2;
  s.ExitStartIndex = 4;
  s.EvaluateImmediately = true;
  Load(s);
  EXPECT_EQ(Var("n"), 0.0);  // Initialization ran "n := 0" and the While once
  panel.HandleExecute(true);
  EXPECT_EQ(Var("n"), 3.0);
  EXPECT_EQ(Var("e"), 0.0);
  panel.Finishing();
  EXPECT_EQ(Var("e"), 30.0);
  EXPECT_EQ(panel.Result().Value, 30.0);

  s.Expressions = {"a := 1", "b := 2"};
  s.InitializationEndIndex = s.ExitStartIndex = 0;  // everything is Exit
  Load(s);
  panel.HandleExecute(true);
  EXPECT_EQ(panel.Evaluator().Words().Find("a")->AsPointer()->Value, 0.0);
  panel.Finishing();
  EXPECT_EQ(Var("b"), 2.0);
}

TEST_F(PanelTest, LongInitializationAsksTheHostToStopAndThenTakesNoJump) {
  s.Expressions = {"n := 0", "Repeat", "n := n + 1", "Until(n > 100)"};
  s.InitializationEndIndex = s.ExitStartIndex = 4;
  host.TickStep = 20000;  // every expression takes 20 s
  panel.ReadProperties(WritePanelSettings(s));
  panel.LoadFinished();
  EXPECT_EQ(host.CallsOf("stop"), Lines{"stop request"});
  EXPECT_EQ(host.CallsOf("global"), Lines{"global stop on"});
  EXPECT_LT(Var("n"), 10.0);  // the loop ended at its first Until after the watchdog
}

TEST_F(PanelTest, ExitMeasuresDtOverATickWrapOneMillisecondShort) {
  s.Expressions = {"dt"};
  s.ExitStartIndex = 0;
  host.Ticks = 4294967000u;
  Load(s);
  host.Ticks = 1000;
  panel.Finishing();
  EXPECT_DOUBLE_EQ(Var("dt"), (1000 + 295) * 0.001);  // 1296 ms really passed
  EXPECT_DOUBLE_EQ(Var("t"), 1.0);
  s.UseFixedDt = true;
  s.Dt = 0.25;
  Load(s);
  panel.Finishing();
  EXPECT_EQ(Var("dt"), 0.25);
}

TEST_F(PanelTest, NewDataGivesNumbersVectorsOrEmptyVectorsAndSkipsExtraChannels) {
  s.InputVariables = {"a", "b"};
  s.ChannelOrigins = {"src.a", "src.b"};
  s.ChannelVariables = {"a", "b"};
  s.Expressions = {"a"};
  s.ExitStartIndex = 1;
  Load(s);
  EXPECT_EQ(host.InputChannels, (Lines{"src.a", "src.b"}));
  const double one[] = {4.5}, many[] = {1, 2, 3}, extra[] = {9};
  panel.DoOnNewData({{0, 2, one, 1}, {0, 2, many, 3}, {0, 2, extra, 1}}, nullptr, 0);
  const TVXParsExpressList& words = panel.Evaluator().Words();
  EXPECT_EQ(ParsDoubleAsString(*words.Find("a")->AsPointer()), "4.5");
  EXPECT_EQ(ParsDoubleAsString(*words.Find("b")->AsPointer()), "[ 1, 2, 3]");
  EXPECT_EQ(Var("timelength"), 2.0);
  const std::vector<double> times = {10, 11};
  panel.DoOnNewData({{0, 1, nullptr, 0}}, &times, 10);
  EXPECT_EQ(ParsDoubleAsString(*words.Find("a")->AsPointer()), "]");  // an empty vector
  EXPECT_EQ(ParsDoubleAsString(*words.Find("TimeChannel")->AsPointer()), "[ 10, 11]");
}

TEST_F(PanelTest, OutputChannelsCarryNumbersAndVectorsAndRefuseOtherKinds) {
  s.Expressions = {"y := [1, 2]", "m := 5", "s := \"no\""};
  s.ExitStartIndex = 3;
  s.EvaluateImmediately = true;
  s.OutputChannels = {{"Y", "y", "V", 0, 1, 255}, {"M", "m"}, {"S", "s"}};
  Load(s);
  ASSERT_EQ(host.OutputChannels.size(), 3u);
  EXPECT_EQ(host.OutputChannels[0].Color, 255);
  panel.HandleExecute(true);
  EXPECT_EQ(host.CallsOf("data"), (Lines{"data 0 [ 1, 2] t=0+0", "data 1 [ 5] t=0+0"}));
  EXPECT_EQ(host.CallsOf("event 10"), Lines{"event 10 'Invalid datatype in data channel'"});
}

TEST_F(PanelTest, ActionPropertyTakesItsTextsAndIntegers) {
  s.Expressions = {"i := i + 1", "n := n + 1", "e := e + 1"};
  s.InitializationEndIndex = 1;
  s.ExitStartIndex = 2;
  s.EvaluateImmediately = true;
  Load(s);
  const struct {
    TPropertyValue value;
    double i, n, e;
  } rows[] = {
      {std::string("Evaluate"), 1, 1, 0},
      {std::string("Get data"), 1, 2, 0},
      {std::string("Initialize formula"), 2, 2, 0},
      {std::string("Exit"), 2, 2, 1},
      {std::string("Abort"), 2, 2, 1},
      {std::string("evaluate"), 2, 2, 1},
      {std::int64_t{1}, 2, 3, 1},
      {std::int64_t{3}, 2, 3, 2},
      {std::int64_t{0}, 2, 3, 2},
  };
  for (const auto& row : rows) {
    host.WriteProperty("Action", row.value);
    EXPECT_EQ(Var("i") * 100 + Var("n") * 10 + Var("e"), row.i * 100 + row.n * 10 + row.e)
        << PropertyText(row.value);
  }
  host.WriteProperty("Action", std::int64_t{4});  // the next Formula cycle ends at once
  host.WriteProperty("Action", std::int64_t{1});
  EXPECT_EQ(Var("n"), 3.0);
  host.WriteProperty("Action", std::int64_t{1});
  EXPECT_EQ(Var("n"), 4.0);
  EXPECT_EQ(PropertyText(host.ReadProperty("Action")), "1");
}

TEST_F(PanelTest, InputPropertiesSetTheInputVariables) {
  s.InputVariables = {"level"};
  s.Expressions = {"level * 2"};
  s.ExitStartIndex = 1;
  s.EvaluateImmediately = true;
  Load(s);
  host.WriteProperty("level", 2.5);
  host.WriteProperty("StringInput", std::string("hello"));
  panel.HandleExecute(true);
  EXPECT_EQ(panel.Result().Value, 5.0);
  EXPECT_EQ(PropertyText(host.ReadProperty("level")), "2.5");
  EXPECT_EQ(PropertyText(host.ReadProperty("StringInput")), "'hello'");
  EXPECT_EQ(PropertyText(host.ReadProperty("Expression")), "5");
}

TEST_F(PanelTest, UpdateOutputsHandsTheCycleSoFarToTheMainThread) {
  host.Controls = {{1}};
  host.Connected = {1};
  LoadFormula({"ControlOutput := 7", "FireEvent(9, \"early\")", "UpdateOutputs", "x := 8"});
  panel.HandleExecute(true);
  host.Calls.clear();
  host.Pump();
  EXPECT_EQ(host.Calls, (Lines{"set 1 7", "event 3 ''", "event 9 'early'"}));
}

TEST_F(PanelTest, AbortEndsAWaitAtOnceAndOnlyThatCycle) {
  LoadFormula({"n := n + 1", "Wait(10000 / n - 5000 * (n - 1))", "after := n"});
  const auto start = std::chrono::steady_clock::now();
  std::thread aborter([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    panel.Abort();
  });
  panel.HandleExecute(true);  // waits 10 s unless aborted
  aborter.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(Var("after"), 0.0);
  panel.HandleExecute(true);  // Wait(0): the abort was used up
  EXPECT_EQ(Var("after"), 2.0);
}

TEST_F(PanelTest, SerialLinesTriggerCyclesThatAnswerThroughThePort) {
  test::TPty pty;
  SetPortTable({pty.SlavePath()});
  s.Serial = {"0,19200,8,0,0,0", "\n", 0, iomEOLSequenze};
  LoadFormula({"SerialWriteString(\"got \" + SerialInput)"});
  pty.Send("ping\npong\n");
  for (int i = 0; i < 100 && host.CallsOf("event 8").size() < 2; ++i) host.PumpWaiting(50);
  EXPECT_EQ(pty.Receive(18), "got ping\ngot pong\n");
  const Lines cycle = {"event 2 ''", "event 9 ''", "all properties updated", "event 3 ''"};
  Lines expected = cycle;
  expected.push_back("event 8 'ping\n'");
  expected.insert(expected.end(), cycle.begin(), cycle.end());
  expected.push_back("event 8 'pong\n'");
  EXPECT_EQ(host.Calls, expected);
  pty.Unplug();
  for (int i = 0; i < 100 && host.CallsOf("serial").empty(); ++i) host.PumpWaiting(50);
  EXPECT_EQ(host.CallsOf("serial"), Lines{"serial lost"});
  ResetPortTable();
}

// --- the settings block ---

TEST(PanelSettings, RoundTripKeepsEveryKeyAndAwkwardText) {
  TPanelSettings s;
  s.ImmediateEvaluation = s.BooleanResult = s.UseFixedDt = s.OnlyBooleanChanges = true;
  s.EvaluateImmediately = s.evaluateAsynchronously = s.limitExecutionInterval = true;
  s.limitExecutionIntervalTimer = 250;
  s.Dt = 0.1;
  s.Expressions = {"x := a = b; c", "  lead", "", "\"quoted\"", "tail  ", "\"a\" + \"b\"", "x\\y"};
  s.InitializationEndIndex = 1;
  s.ExitStartIndex = 6;
  s.InputVariables = {"a"};
  s.ChannelOrigins = {"src.a"};
  s.ChannelVariables = {"a"};
  s.OutputChannels = {{"Out", "x", "V", -1.5, 2e10, 65280}};
  s.Serial = {"2,19200,7,0,2,1", "\r\n", 12, 2};
  TKQWLUserEvent event;
  event.ID = 1001;
  event.userName = "Over limit";
  event.use[2] = true;
  event.description[8] = "band";
  s.UserEvents = {event};
  std::vector<std::string> problems;
  const std::string text = WritePanelSettings(s);
  const TPanelSettings back = ReadPanelSettings(text, problems);
  EXPECT_EQ(problems, Lines{});
  EXPECT_EQ(WritePanelSettings(back), text);
  EXPECT_EQ(back.Expressions, s.Expressions);
  EXPECT_EQ(back.Serial.EOLSequence, "\r\n");
  EXPECT_EQ(back.Dt, 0.1);
  EXPECT_TRUE(back.UserEvents[0].use[2]);
  EXPECT_EQ(event.GenerateInternalName(), "USEREVENT_OVER_LIMIT");
  // Keys in the block's order, each list's Count first.
  EXPECT_LT(text.find("ImmediateEvaluation=1"), text.find("ExitStartIndex=6"));
  EXPECT_LT(text.find("[Expressions]\nCount=7\n0=x := a = b; c\n1=\"  lead\"\n2=\n"),
            text.find("[ChannelOrigins]"));
  EXPECT_NE(text.find("0.Origin=x\n0.Name=Out\n0.Unit=V\n0.Min=-1.5\n0.Max=20000000000\n"),
            std::string::npos);
}

TEST(PanelSettings, MissingKeysTakeTheirDefaults) {
  std::vector<std::string> problems;
  const TPanelSettings s =
      ReadPanelSettings("[Expressions]\nCount=3\n0=a\n2=c\n[General]\nBooleanResult=1\n", problems);
  EXPECT_EQ(problems, Lines{});
  EXPECT_EQ(s.Expressions, (Lines{"a", "", "c"}));
  EXPECT_EQ(s.ExitStartIndex, 3);  // no Exit section
  EXPECT_EQ(s.InitializationEndIndex, 0);
  EXPECT_TRUE(s.BooleanResult);
  EXPECT_EQ(s.Dt, 1.0);
  EXPECT_EQ(s.limitExecutionIntervalTimer, 1000);
  EXPECT_EQ(s.Serial.Parameter, "-1,9600,8,1,0,0");
  TRecordingHost host;
  TKQVXFormulaPanel panel(host);
  panel.ReadProperties("");
  EXPECT_EQ(panel.Evaluator().Words().Find("dt")->AsPointer()->Value, 1.0);
}

TEST(PanelSettings, BadBlocksNameTheKeyOrExpressionAndLoseNothingElse) {
  const struct {
    const char* text;
    const char* message;
  } rows[] = {
      {"[General]\nBooleanResult=yes\n",
       "[General] BooleanResult: \"yes\" is not a boolean (1 or 0)"},
      {"[General]\nDt=fast\n", "[General] Dt: \"fast\" is not a number"},
      {"[General]\nlimitExecutionIntervalTimer=0\n",
       "[General] limitExecutionIntervalTimer: 0 ms is not a timer interval; read as 1000"},
      {"[Expressions]\nCount=-2\n", "[Expressions] Count: -2 is negative; read as 0"},
      {"[Expressions]\nCount=1\n0=x\n[General]\nInitializationEndIndex=5\n",
       "[General] InitializationEndIndex: 5 lies outside the 1 expressions; read as 0"},
      {"[Expressions]\nCount=1\n0=x\n[General]\nExitStartIndex=x1\n",
       "[General] ExitStartIndex: \"x1\" is not a whole number"},
      {"[Expressions]\nCount=2\n0=If(1)\n1=x := 1\n",
       "[Expressions] Loops or jumps are not matched"},
      {"[Expressions]\nCount=2\n0=y := (1\n1=z := 2\n", "[Expressions] 0: Unbalanced brackets"},
      {"[Serial IO]\nParameter=1,fast\n", "[Serial IO] Parameter: "},
      {"[Serial IO]\nInputOperationMode=7\n",
       "[Serial IO] InputOperationMode: 7 is not an input mode (0, 1 or 2)"},
  };
  for (const auto& row : rows) {
    TRecordingHost host;
    TKQVXFormulaPanel panel(host);
    std::string message;
    try {
      panel.ReadProperties(row.text);
    } catch (const EVXParserException& error) {
      message = error.what();
    }
    EXPECT_EQ(message.substr(0, std::string(row.message).size()), row.message) << row.text;
  }
  // The other expressions still compile and run; the bad text is written back unchanged.
  TRecordingHost host;
  TKQVXFormulaPanel panel(host);
  EXPECT_THROW(panel.ReadProperties("[Expressions]\nCount=2\n0=y := (1\n1=z := 2\n"),
               EVXParserException);
  panel.WmEvaluate();
  EXPECT_EQ(panel.Evaluator().Words().Find("z")->AsPointer()->Value, 2.0);
  EXPECT_NE(panel.WriteProperties().find("0=y := (1\n"), std::string::npos);
}

}  // namespace
}  // namespace loom
