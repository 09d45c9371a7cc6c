// The bridge against a real octave-cli: exact vector round trips, errors with their texts,
// time-outs, an engine that dies or hangs, and two threads at once. Each test starts with a
// fresh process-wide engine.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "functions/Registry.h"
#include "matlab/MatlabInterface.h"
#include "panel/MatlabLink.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

using std::chrono::milliseconds;

class MatlabBridgeTest : public ::testing::Test {
 protected:
  void SetUp() override { MLSetOctaveOptions({}); }
  void TearDown() override { MLDisconnect(); }

  static void SetTimes(int callMs, int graceMs) {
    TOctaveOptions options;
    options.CallTimeout = milliseconds(callMs);
    options.InterruptGrace = milliseconds(graceMs);
    MLSetOctaveOptions(options);
  }
  static pid_t EnginePid() { return std::stoi(MLExecuteCommand("disp(getpid())")); }
};

// The message of the EMatlabError (or subclass) that call throws; "" when it throws none.
template <class TError = EMatlabError, class TCall>
std::string ErrorOf(TCall call) {
  try {
    call();
  } catch (const TError& e) {
    return e.what();
  }
  return "";
}

std::vector<std::uint64_t> Bits(const std::vector<double>& values) {
  std::vector<std::uint64_t> bits;
  for (double v : values) bits.push_back(std::bit_cast<std::uint64_t>(v));
  return bits;
}

TEST_F(MatlabBridgeTest, VectorsComeBackBitForBit) {
  const double inf = std::numeric_limits<double>::infinity();
  const auto nan = [](std::uint64_t bits) { return std::bit_cast<double>(bits); };
  std::vector<double> large(100000);
  std::mt19937_64 random(7);  // every bit pattern is fair game: payloads, denormals, -0
  for (double& v : large) v = std::bit_cast<double>(random());
  const std::vector<std::vector<double>> rows = {
      {},
      {-0.0},
      {nan(0x7ff8000000000000), nan(0x7ff0000000000001), nan(0xfff80000deadbeef), -inf, 5e-324},
      large,
  };
  for (const auto& values : rows) {
    const int high = static_cast<int>(values.size()) - 1;
    MLPutFullMatrix("v", "base", values.data(), high, nullptr, -1);
    EXPECT_EQ(MLExecuteCommand("printf('%dx%d', size(v))"), "1x" + std::to_string(values.size()));
    std::vector<double> back(values.size(), 1.0);
    MLGetFullMatrix("v", "base", back.data(), high, nullptr, -1);
    EXPECT_EQ(Bits(back), Bits(values)) << values.size() << " elements";
  }
}

TEST_F(MatlabBridgeTest, PartsAndShapes) {
  MLExecuteCommand("z = [1+2i, 3-4i, 5; 7 8 9]; e = [];");
  EXPECT_EQ(ErrorOf([] { MLGetFullMatrix("e", "base", nullptr, -1, nullptr, -1); }), "");
  double re[2] = {}, im[3] = {};
  MLGetFullMatrix("z", "base", re, 1, im, 2);  // the first row, as many columns as asked
  EXPECT_EQ(std::vector<double>(re, re + 2), (std::vector<double>{1, 3}));
  EXPECT_EQ(std::vector<double>(im, im + 3), (std::vector<double>{2, -4, 0}));
  const double real[3] = {1, 2, 3}, imag[3] = {9, 9, 9};
  MLPutFullMatrix("w", "base", real, 2, imag, 2);  // the imaginary values are not sent
  EXPECT_EQ(MLExecuteCommand("disp(isreal(w)), disp(w)"), "1\n   1   2   3\n");
  // A shell command writes straight to the engine's output, ahead of the captured text.
  EXPECT_EQ(MLExecuteCommand("system('echo shell'); disp(1)"), "shell\n1\n");
}

TEST_F(MatlabBridgeTest, ErrorsReachTheCallerWithTheirTexts) {
  EXPECT_EQ(MLExecuteCommand("a = 1\nerror('Loom:test', 'bad value %d', 7)"),
            "a =\n\n    1\n\nerror: bad value 7\n");
  EXPECT_EQ(MLExecuteCommand("q = [1 2"), "error: parse error:\n\n  syntax error\n\n");
  MLExecuteCommand("r = [1 2 3]; s.a = 1;");
  const double one[1] = {1}, two[2] = {1, 2};
  double out[5];
  const struct {
    std::function<void()> call;
    const char* message;
  } rows[] = {
      {[&] { MLGetFullMatrix("nothere", "base", out, -1, nullptr, -1); },
       "GetFullMatrix(\"nothere\"): 'nothere' undefined"},
      {[&] { MLGetFullMatrix("r", "base", out, 4, nullptr, -1); },
       "GetFullMatrix(\"r\"): 'r' is 1x3; 5 columns were asked for"},
      {[&] { MLGetFullMatrix("s", "base", out, 0, nullptr, -1); },
       "GetFullMatrix(\"s\"): 's' is of class struct, not a numeric matrix"},
      {[&] { MLGetFullMatrix("a\nb", "base", out, 0, nullptr, -1); },
       "GetFullMatrix(\"a\nb\"): 'a\nb' is not a valid variable name"},
      {[&] { MLPutFullMatrix("1x", "base", one, 0, nullptr, -1); },
       "PutFullMatrix(\"1x\"): assignin: invalid variable name '1x'"},
      {[&] { MLPutFullMatrix("x", "nowhere", one, 0, nullptr, -1); },
       "PutFullMatrix(\"x\"): assignin: CONTEXT must be \"caller\" or \"base\""},
      {[&] { MLPutFullMatrix("x", "base", two, 1, one, 0); },
       "PutFullMatrix(\"x\"): the imaginary part has 1 elements, the real part 2; it must be "
       "empty or as long"},
      {[&] { MLPutFullMatrix("x", "base", one, -2, nullptr, -1); },
       "MLPutFullMatrix: the high index of the real part is -2; it must be -1 (empty) or more"},
      {[&] { MLGetFullMatrix("x", "base", nullptr, 3, nullptr, -1); },
       "MLGetFullMatrix: the real part is missing but its high index is 3"},
  };
  const pid_t pid = EnginePid();
  for (const auto& row : rows) EXPECT_EQ(ErrorOf(row.call), row.message);
  EXPECT_EQ(EnginePid(), pid);  // none of these counts as a lost engine
}

// The engine functions of formulas, on the real engine's replies.
TEST_F(MatlabBridgeTest, FormulasReachTheEngineAndReadItsDisplayText) {
  struct EngineHost : TFormulaHost {
    TMatlabFormulaEngine engine{MLBridge()};
    TFormulaEngine* Engine() override { return &engine; }
  } host;
  TVXExpressionEvaluator ev;
  ev.Host = &host;
  auto text = [&](const char* formula) { return ParsDoubleAsString(Evaluated(ev, formula)); };
  EXPECT_EQ(text("v := [42]"), "[ 42]");
  EXPECT_EQ(text("MatlabGetVector(\"undefinedname\", v)"), "0");  // no columns: v stays
  EXPECT_EQ(text("v"), "[ 42]");
  EXPECT_EQ(text("MatlabCommand(\"m = [1 2 3 4 5]; size(m, 2)\")"), "ans =\n\n    5\n\n");
  EXPECT_EQ(text("MatlabGetVector(\"m\", v)"), "1");
  EXPECT_EQ(text("v"), "[ 1, 2, 3, 4, 5]");
  EXPECT_EQ(text("MatlabPutVector(\"p\", [0.5, -2])"), "1");
  EXPECT_EQ(text("MatlabCommand(\"p\")"), "p =\n\n   0.5000  -2.0000\n\n");
  EXPECT_EQ(Outcome(ev, "MatlabCommand(\"error('bad value %d', 7)\")"), "error: bad value 7");
}

TEST_F(MatlabBridgeTest, ACallPastItsTimeOutIsInterruptedAndTheEngineStaysUsable) {
  SetTimes(1000, 5000);
  const pid_t pid = EnginePid();
  EXPECT_EQ(ErrorOf([] { MLExecuteCommand("x = 1; pause(60); x = 2;"); }),
            "the Octave engine did not finish within 1000 ms; the call was interrupted");
  EXPECT_EQ(MLExecuteCommand("x"), "x =\n\n    1\n\n");
  EXPECT_EQ(EnginePid(), pid);
}

TEST_F(MatlabBridgeTest, ADeadEngineIsRestartedAndTheCallRepeated) {
  MLConnect();
  const pid_t pid = EnginePid();
  MLConnect();  // a second connect is no second engine
  EXPECT_EQ(EnginePid(), pid);
  ASSERT_EQ(::kill(pid, SIGKILL), 0);
  EXPECT_EQ(MLExecuteCommand("disp(6*7)"), "42\n");
  EXPECT_NE(EnginePid(), pid);
}

TEST_F(MatlabBridgeTest, AHungEngineIsKilledAndRestartedOnce) {
  SetTimes(500, 500);
  const auto flag =
      std::filesystem::temp_directory_path() / ("loom-hang-" + std::to_string(::getpid()));
  std::filesystem::remove(flag);
  // The engine stops itself (no interrupt reaches a stopped process) the first time only.
  const std::string once = "if ~exist('" + flag.string() + "', 'file') fclose(fopen('" +
                           flag.string() + "', 'w')); kill(getpid(), SIG().STOP); end; disp(1)";
  const pid_t pid = EnginePid();
  EXPECT_EQ(MLExecuteCommand(once), "1\n");
  EXPECT_NE(EnginePid(), pid);
  std::filesystem::remove(flag);
  EXPECT_EQ(ErrorOf<EMatlabEngineLost>([] { MLExecuteCommand("kill(getpid(), SIG().STOP)"); }),
            "the Octave engine did not answer within 500 ms, nor 500 ms after an interrupt; it "
            "was stopped (after restarting the engine once)");
  EXPECT_EQ(MLExecuteCommand("disp(2)"), "2\n");
}

TEST_F(MatlabBridgeTest, AnEngineThatCannotStartFailsTwiceWithAClearText) {
  // A program that takes Octave's arguments and never answers.
  const auto mute =
      std::filesystem::temp_directory_path() / ("loom-mute-" + std::to_string(::getpid()));
  std::ofstream(mute) << "#!/bin/sh\nexec cat >/dev/null\n";
  std::filesystem::permissions(mute, std::filesystem::perms::owner_all);
  const struct {
    const char* program;
    const char* message;
  } rows[] = {
      {"/nonexistent/octave-cli",
       "the program cannot be run (No such file or directory) (after restarting the engine "
       "once)"},
      {mute.c_str(), "no reply within 300 ms (after restarting the engine once)"},
  };
  for (const auto& row : rows) {
    TOctaveOptions options;
    options.Program = row.program;
    options.StartTimeout = milliseconds(300);
    MLSetOctaveOptions(options);
    EXPECT_EQ(
        ErrorOf<EMatlabEngineLost>([] { MLExecuteCommand("1"); }),
        "cannot start the Octave engine \"" + std::string(row.program) + "\": " + row.message);
  }
  std::filesystem::remove(mute);
  TOctaveOptions options;
  options.Program = "false";
  MLSetOctaveOptions(options);
  const std::string died = ErrorOf<EMatlabEngineLost>([] { MLConnect(); });
  EXPECT_TRUE(died.starts_with("cannot start the Octave engine \"false\": the engine "));
  EXPECT_TRUE(died.ends_with(", exit status 1)")) << died;
  options.Program.clear();
  EXPECT_EQ(ErrorOf([&] { MLSetOctaveOptions(options); }),
            "Octave options: the program name is empty");
  options = {};
  options.CallTimeout = milliseconds(0);
  EXPECT_EQ(ErrorOf([&] { MLSetOctaveOptions(options); }),
            "Octave options: the call time-out must be positive, not 0 ms");
}

TEST_F(MatlabBridgeTest, TwoThreadsCallingAtOnceEachSeeTheirOwnData) {
  auto worker = [](int which, bool* ok) {
    const std::string name = "t" + std::to_string(which);
    for (int i = 0; i < 20 && *ok; ++i) {
      const std::vector<double> values(50 + i, which * 1000.0 + i);
      MLPutFullMatrix(name, "base", values.data(), static_cast<int>(values.size()) - 1, nullptr,
                      -1);
      std::vector<double> back(values.size());
      MLGetFullMatrix(name, "base", back.data(), static_cast<int>(back.size()) - 1, nullptr, -1);
      *ok = back == values &&
            MLExecuteCommand("disp(" + name + "(end))") == std::to_string(which * 1000 + i) + "\n";
    }
  };
  bool ok1 = true, ok2 = true;
  std::thread first(worker, 1, &ok1), second(worker, 2, &ok2);
  first.join();
  second.join();
  EXPECT_TRUE(ok1);
  EXPECT_TRUE(ok2);
}

}  // namespace
}  // namespace loom
