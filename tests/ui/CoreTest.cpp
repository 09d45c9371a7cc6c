// The configuration UI's rules without widgets: comma texts, the macro file, channel names,
// end-of-line rows and the test bed's clipboard text.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "functions/Registry.h"
#include "ui/core/ChannelNames.h"
#include "ui/core/CommaText.h"
#include "ui/core/ContextHelp.h"
#include "ui/core/EolSequence.h"
#include "ui/core/MacroFile.h"
#include "ui/core/MatlabClipboard.h"
#include "ui/core/PlotStore.h"
#include "ui/core/SerialTexts.h"

namespace loom {
namespace {

using Lines = std::vector<std::string>;

TEST(CommaText, WritesAndReadsBack) {
  const struct {
    Lines lines;
    std::string text;
  } rows[] = {
      {{"a=1", "b=a+1"}, "a=1,b=a+1"},
      {{"x = 1", "f(a,b)", "s=\"q\""}, "\"x = 1\",\"f(a,b)\",\"s=\"\"q\"\"\""},
      {{"a", "", "b"}, "a,,b"},
      {{"a", ""}, "a,"},
      {{""}, "\"\""},
      {{}, ""},
      {{"\tindented", "end "}, "\"\tindented\",\"end \""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(CommaTextOf(row.lines), row.text);
    EXPECT_EQ(LinesOfCommaText(row.text), row.lines) << row.text;
  }
  // Unquoted blanks part items; blanks around items and a lost closing quote are tolerated.
  EXPECT_EQ(LinesOfCommaText(" a b , c"), (Lines{"a", "b", "c"}));
  EXPECT_EQ(LinesOfCommaText("\"open"), (Lines{"open"}));
  EXPECT_EQ(LinesOfCommaText(std::string("a\0b", 3)), (Lines{"a", "b"}));
}

class MacroFileTest : public testing::Test {
 protected:
  void SetUp() override {
    dir_ = std::filesystem::temp_directory_path() / ("loom-macros-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path() const { return (dir_ / "macros.dat").string(); }
  std::filesystem::path dir_;
};

TEST_F(MacroFileTest, CreateReadAndKeepExisting) {
  TMacroFile file(Path());
  EXPECT_TRUE(file.FillMacros().empty());  // no file yet
  const TMacro pid{{"kp = 2, ki = 0.5", "", "s=\"a b\""}, {"y = PID(x, kp, ki)"}};
  EXPECT_TRUE(file.CreateMacro("Pid loop", pid));
  EXPECT_TRUE(file.CreateMacro("mean", {{}, {"m=mean(x)"}}));
  EXPECT_FALSE(file.CreateMacro("PID LOOP", {{"other"}, {"other"}}));  // names ignore case

  EXPECT_EQ(file.FillMacros(), (Lines{"Pid loop", "mean"}));
  const TMacro back = file.ReadMacro("pid loop");
  EXPECT_EQ(back.Initialization, pid.Initialization);
  EXPECT_EQ(back.Formula, pid.Formula);
  EXPECT_EQ(file.ReadMacro("mean").Initialization, Lines{});

  std::ifstream in(Path());
  const std::string text((std::istreambuf_iterator<char>(in)), {});
  EXPECT_NE(text.find("Initialization=\"\"kp = 2, ki = 0.5\",,\"s=\"\"a b\"\"\"\""),
            std::string::npos)
      << text;
}

TEST_F(MacroFileTest, RefusesWithMessages) {
  TMacroFile file(Path());
  const struct {
    std::string name;
    TMacro macro;
    std::string message;
  } rows[] = {
      {"  ", {}, "Give the macro a name."},
      {" a", {}, "A macro name cannot begin or end with a blank."},
      {"a]b", {}, "A macro name cannot hold [, ], ;, = or control characters: \"a]b\""},
      {"ok", {{"a\rb"}, {}}, "A line of a macro cannot hold a line break."},
  };
  for (const auto& row : rows) {
    try {
      file.CreateMacro(row.name, row.macro);
      ADD_FAILURE() << row.name;
    } catch (const EMacroError& error) {
      EXPECT_EQ(error.what(), row.message);
    }
  }
  EXPECT_THROW(file.ReadMacro("none"), EMacroError);
  TMacroFile nowhere((dir_ / "missing" / "macros.dat").string());
  EXPECT_THROW(nowhere.CreateMacro("m", {}), EMacroError);
}

TEST(ChannelNames, CharacterRuleAndSplit) {
  EXPECT_EQ(ReplaceSomeCharactersForChannelName("Temp 1/a.b_Z9-\xC3\xA4"), "Temp_1_a.b_Z9___");
  EXPECT_EQ(ReplaceSomeCharactersForChannelName(""), "");
  const struct {
    std::string name, item, group;
  } rows[] = {{"gen.sine", "sine", "gen"},
              {"plain", "plain", ""},
              {"a.b.c", "b.c", "a"},
              {".x", "x", ""},
              {"g.", "", "g"},
              {"", "", ""}};
  for (const auto& row : rows) {
    std::string item = "old", group = "old";
    SplitName(row.name, item, group);
    EXPECT_EQ(item, row.item) << row.name;
    EXPECT_EQ(group, row.group) << row.name;
  }
}

TEST(EolSequence, NamesCodesAndRows) {
  const std::pair<int, std::string> names[] = {{0, "NUL"},   {10, "LF"}, {13, "CR"}, {31, "US"},
                                               {32, "SPC"},  {33, "!"},  {65, "A"},  {126, "~"},
                                               {127, "DEL"}, {-1, ""}};
  for (const auto& [code, name] : names) EXPECT_EQ(ANSICodeToString(code), name) << code;
  EXPECT_EQ(FillEOLStringWithListview({"13", "10", "0"}), std::string("\r\n\0", 3));
  EXPECT_EQ(EOLCaptionsOf("\r\n\xFF"), (Lines{"13", "10", "255"}));
  for (const std::string bad : {"", "x", "1.5", " 13", "256", "-1", "0x0D"})
    EXPECT_THROW(FillEOLStringWithListview({"13", bad}), ECharacterCodeError) << bad;
}

TEST(MatlabClipboard, KeywordsAndConversion) {
  for (const std::string text : {"for i=1:3", "x=diff(y)", "while", "switch a", "continue"})
    EXPECT_TRUE(ContainsMatlabFlowKeyword(text)) << text;
  for (const std::string text : {"x = 1", "FOR i=1:3", "plot(x)"})
    EXPECT_FALSE(ContainsMatlabFlowKeyword(text)) << text;

  const Lines lines{"for i=1:3", "  x(i)=i;", "", "end"};
  EXPECT_EQ(MatlabLinesToFormula(lines, true).Text, "MatlabCommand( \"for i=1:3;  x(i)=i;;end\")");
  EXPECT_EQ(
      MatlabLinesToFormula(lines, false).Text,
      "MatlabCommand( \"for i=1:3\")\nMatlabCommand( \"  x(i)=i;\")\nMatlabCommand( \"end\")");
  const TClipboardFormula quoted = MatlabLinesToFormula({"a=1", "disp(\"x\")"}, false);
  EXPECT_EQ(quoted.Text, "");
  EXPECT_NE(quoted.Error.find("Line: disp(\"x\")"), std::string::npos);
  EXPECT_EQ(SplitLines("a\r\nb\n\nc"), (Lines{"a", "b", "", "c"}));
}

TEST(ContextHelp, WordUnderTheCaretAndItsText) {
  const std::string line = "y := Sin(t_1) + 2";
  const std::pair<int, std::string> words[] = {{0, "y"},   {1, "y"},    {2, ""},   {5, "Sin"},
                                               {8, "Sin"}, {12, "t_1"}, {16, "2"}, {17, "2"},
                                               {99, "2"},  {-3, "y"}};
  for (const auto& [position, word] : words) EXPECT_EQ(gettoken(line, position), word) << position;
  EXPECT_EQ(gettoken("", 0), "");

  TVXExpressionEvaluator words_;
  std::string text;
  EXPECT_TRUE(FindDescription(words_, "SIN", text));
  EXPECT_EQ(text, "Sin( arg ): Sine of an angle in radians");
  EXPECT_TRUE(FindDescription(words_, "serialinput", text));
  EXPECT_EQ(text, "SerialInput: Variable that receives the input strings from serial I/O.");
  EXPECT_TRUE(FindDescription(words_, "TC_TYPE_K", text));
  EXPECT_EQ(text, "TC_TYPE_K: Constant: Thermocouple type K");
  EXPECT_FALSE(FindDescription(words_, "y", text));
  EXPECT_EQ(text, "");
}

TEST(SerialTexts, RefusalAndModes) {
  EXPECT_EQ(DataStopBitsRefusal("8", "1.5"),
            "The combination of 8 databits and 1.5 stop bits is not supported by youre hardware.");
  EXPECT_STREQ(InputModeDescription(iomNoInput), "Serial input is not enabled.");
  EXPECT_NE(std::string(InputModeDescription(iomEOLSequenze)).find("SerialInputEOLSequence"),
            std::string::npos);
}

TEST(PlotStore, BinsSamplesByTime) {
  TPlotStore store(0.5, 3);  // bins of half a second, three kept per channel
  const std::vector<double> times{0.0, 0.2, 0.6, 0.7, 1.1}, a{1, 3, -2, NAN, 5}, b{7, 7, 7, 7, 7};
  store.Append("gen", false, {"a"}, {&a, nullptr}, times);  // no name for a column: numbered
  store.Append("p", true, {}, {&b}, {2.0});                 // rows beyond the times are cut
  std::vector<TPlotSeries> series = store.Snapshot();
  ASSERT_EQ(series.size(), 2u);
  EXPECT_EQ(series[0].Name, "gen.a");
  EXPECT_EQ(series[1].Name, "p.channel1");
  EXPECT_TRUE(series[1].Output);
  const auto bins = [](const TPlotSeries& s) {
    std::vector<std::tuple<std::int64_t, double, double>> out;
    for (const TPlotBin& bin : s.Bins) out.emplace_back(bin.Index, bin.Min, bin.Max);
    return out;
  };
  using Bins = std::vector<std::tuple<std::int64_t, double, double>>;
  EXPECT_EQ(bins(series[0]), (Bins{{0, 1, 3}, {1, -2, -2}, {2, 5, 5}}));  // NaN left out
  EXPECT_EQ(store.LatestTime(), 2.0);
  EXPECT_EQ(store.SamplesSeen(), 6u);

  store.Append("gen", false, {"a"}, {&b}, {3.1, 3.2});  // older bins drop out
  EXPECT_EQ(bins(store.Snapshot()[0]), (Bins{{1, -2, -2}, {2, 5, 5}, {6, 7, 7}}));
  store.Append("gen", false, {"a"}, {&a}, {0.1});  // far back: a new time axis
  EXPECT_EQ(bins(store.Snapshot()[0]), (Bins{{0, 1, 1}}));
  store.AppendEvent("one");
  EXPECT_EQ(store.TakeEvents(), Lines{"one"});
  EXPECT_TRUE(store.TakeEvents().empty());
}

}  // namespace
}  // namespace loom
