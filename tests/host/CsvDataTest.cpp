// The CSV reader's corner cases in one table: each text is read whole and shown as
// "names|time:values;..." or as the error it raised.
#include <gtest/gtest.h>

#include <sstream>

#include "host/CsvData.h"
#include "host/InputError.h"

namespace loom {
namespace {

std::string ReadAll(const std::string& text, double rate) {
  std::istringstream in(text);
  try {
    TCsvSource source(in, nullptr, "d.csv", {rate, {}}, 0);
    std::string out;
    for (const std::string& name : source.ChannelNames())
      out += name + (source.HasNames() ? "," : "#,");
    out += "|";
    TDataBlock block;
    while (source.ReadBlock(2, block)) {
      for (std::size_t r = 0; r < block.Rows(); ++r) {
        out += FormatNumber(block.Times[r]) + ":";
        for (const std::vector<double>& channel : block.Channels)
          out += FormatNumber(channel[r]) + ",";
        out += ";";
      }
      out += "/" + FormatNumber(block.Length) + " ";
    }
    return out;
  } catch (const EInputError& error) {
    return error.what();
  }
}

struct TCsvCase {
  const char* text;
  double rate;
  const char* expected;
};

const TCsvCase kCases[] = {
    // a time column; the block spans its rows times the first step
    {"time,a,b\n0,1,3\n0.5,2,4\n1,5,6\n", 0, "a,b,|0:1,3,;0.5:2,4,;/1 1:5,6,;/0.5 "},
    // read as a stream: one row shows no step, so its block spans no time
    {"Time [s],v\n2,1\n", 0, "v,|2:1,;/0 "},
    // no time column: the rows count at the rate
    {"a\n1\n2\n3\n", 4, "a,|0:1,;0.25:2,;/0.5 0.5:3,;/0.25 "},
    // no header: numbered channels, matched by order; the first row is data
    {"1,2\n3,4\n", 0, "1#,2#,|0:1,2,;1:3,4,;/2 "},
    // ";" fields with a decimal comma or point; CRLF, blanks and blank lines
    {"t;x;y\r\n0;1,5; 2.5\r\n\r\n0,1;+3;-1e3\r\n", 0, "x,y,|0:1.5,2.5,;0.1:3,-1000,;/0.2 "},
    // quoted names, an empty cell (a missing sample), nan and inf
    {"time,\"a,b\",\"say \"\"hi\"\"\"\n0,,inf\n1,nan,-INF\n", 0,
     "a,b,say \"hi\",|0:nan,inf,;1:nan,-inf,;/2 "},
    // mistakes, each with its line
    {"", 0, "d.csv:0: the file holds no header and no data"},
    {"time,a\n0,1\n1\n", 0, "d.csv:3: 1 fields where the header has 2"},
    {"a,b\n1,2\n3,x\n", 0, "d.csv:3: column 2 (\"b\"): \"x\" is not a number"},
    {"1,2\n3,4,5\n", 0, "d.csv:2: 3 fields where the first row has 2"},
    {"time,a\n1,1\n0.5,2\n", 0, "d.csv:3: the time 0.5 lies before the previous row's 1"},
    {"time,a\nnan,1\n", 0, "d.csv:2: the time \"nan\" is not a finite number"},
    {"a,a\n1,2\n", 0, "d.csv:1: two columns are named \"a\""},
    {"time,,b\n1,2,3\n", 0, "d.csv:1: column 2 has no name"},
};

TEST(CsvSource, ReadsTheTable) {
  for (const TCsvCase& c : kCases) EXPECT_EQ(ReadAll(c.text, c.rate), c.expected) << c.text;
}

TEST(CsvSource, NumbersTravelExactly) {
  for (double value : {0.1, 1.0 / 3, 1e-300, -2.5e300, 6.02214076e23}) {
    double back = 0;
    ASSERT_TRUE(ParseNumber(FormatNumber(value, ','), true, back));
    EXPECT_EQ(back, value);
  }
  EXPECT_EQ(FormatNumber(0.25, ','), "0,25");
  double value = 0;
  EXPECT_FALSE(ParseNumber("1,5", false, value));  // a comma only beside ";" fields
  EXPECT_FALSE(ParseNumber("1.5x", false, value));
}

}  // namespace
}  // namespace loom
