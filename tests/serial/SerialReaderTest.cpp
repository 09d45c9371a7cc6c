// The reader thread on pseudo-terminals: how input is cut into strings in each mode, what is
// dropped, and a device that vanishes and comes back.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <thread>

#include "host/SerialWindow.h"
#include "tests/serial/SerialTestSupport.h"

namespace loom {
namespace {

using namespace std::string_literals;
using test::PumpUntil;
using test::TPty;

class SerialReaderTest : public ::testing::Test {
 protected:
  // Opens a port on device with these input settings; its input strings land in received_.
  TSerialIO& Open(const std::string& device, TPortInputOperationModes mode, const std::string& eol,
                  std::int32_t count) {
    SetPortTable({device});
    received_.clear();
    serial_ = std::make_unique<TLoopSerialPort>(loop_);
    TSerialIO& port = serial_->Port();
    port.OnInputString = [this](TSerialIO&, const std::string& s) { received_.push_back(s); };
    port.SetInputOperationMode(mode);
    port.SetEOLSequenze(eol);
    port.SetInputCharacterCount(count);
    port.SetParameterString("0,19200,8,2,0,0");
    EXPECT_TRUE(port.IsOpen());
    return port;
  }

  // Runs the loop until count strings have arrived, then a little longer for stray ones.
  void AwaitStrings(std::size_t count) {
    EXPECT_TRUE(PumpUntil(loop_, [&] { return received_.size() >= count; }));
    loop_.WaitAndProcess(50);
  }

  test::TPortTableGuard tableGuard_;
  TMessageLoop loop_;
  std::unique_ptr<TLoopSerialPort> serial_;
  std::vector<std::string> received_;
};

TEST_F(SerialReaderTest, CutsOneStringPerMessageInArrivalOrder) {
  struct Row {
    const char* name;
    TPortInputOperationModes mode;
    std::string eol;
    std::int32_t count;
    std::string queued;              // waits on the device before the port opens
    std::vector<std::string> first;  // the strings cut from it
    std::vector<std::string> later;  // then sent one by one
    std::vector<std::string> next;   // the strings cut from those
    std::uint64_t dropped;
  };
  // clang-format off
  const Row rows[] = {
      {"lines in one chunk, a line across chunks", iomEOLSequenze, "\r\n", 0,
       "A\r\nB\r\nC1", {"A\r\n", "B\r\n"}, {"2\r", "\nD\r\n"}, {"C12\r\n", "D\r\n"}, 0},
      {"a NUL byte cuts the text", iomEOLSequenze, "\r\n", 0,
       "A\r\nB\0C\r\nD\r\n"s, {"A\r\n", "C\r\n", "D\r\n"}, {}, {}, 2},
      {"an empty EOL sequence never ends a line", iomEOLSequenze, "", 0,
       "A\r\n", {}, {}, {}, 0},
      {"count 5, 7 bytes together", iomFixedCharNumber, "", 5,
       "1234567", {"1234567"}, {"ab", "cde"}, {"abcde"}, 0},
      {"count 0 takes any byte", iomFixedCharNumber, "", 0, "x", {"x"}, {}, {}, 0},
      {"fixed count passes NUL bytes", iomFixedCharNumber, "", 3, "x\0y"s, {"x\0y"s}, {}, {}, 0},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    TPty pty;
    pty.Send(row.queued);
    TSerialIO& port = Open(pty.SlavePath(), row.mode, row.eol, row.count);
    AwaitStrings(row.first.size());
    EXPECT_EQ(received_, row.first);
    for (const std::string& chunk : row.later) {
      pty.Send(chunk);
      loop_.WaitAndProcess(30);
    }
    AwaitStrings(row.first.size() + row.next.size());
    ASSERT_GE(received_.size(), row.first.size());
    EXPECT_EQ(std::vector<std::string>(received_.begin() + row.first.size(), received_.end()),
              row.next);
    EXPECT_EQ(port.GetDroppedInputBytes(), row.dropped);
    serial_.reset();
  }
}

TEST_F(SerialReaderTest, NoInputDiscardsWhatArrivesUntilTheModeChanges) {
  TPty pty;
  TSerialIO& port = Open(pty.SlavePath(), iomNoInput, "\r", 0);
  pty.Send("A\rB\r");
  ASSERT_TRUE(PumpUntil(loop_, [&] { return pty.Waiting() == 0; }));
  loop_.WaitAndProcess(200);  // the reader has judged what it read long before
  EXPECT_TRUE(received_.empty());
  port.SetInputOperationMode(iomEOLSequenze);
  pty.Send("Z\r");
  AwaitStrings(1);
  EXPECT_EQ(received_, std::vector<std::string>{"Z\r"});
  std::string last;
  EXPECT_EQ(port.InputString(last), 2);
  EXPECT_EQ(last, "Z\r");
}

TEST_F(SerialReaderTest, ChunksThatWouldFillTheBufferAreDroppedAndCounted) {
  TPty pty;
  TSerialIO& port = Open(pty.SlavePath(), iomEOLSequenze, "\n", 0);
  // The longest line that fits, 65533 bytes and its line end, arrives however it is chunked.
  pty.Send(std::string(65533, 'a') + "\n");
  AwaitStrings(1);
  EXPECT_EQ(received_, std::vector<std::string>{std::string(65533, 'a') + "\n"});
  // One byte more: the chunk that carries the line end would fill the buffer and is dropped.
  pty.Send(std::string(65534, 'b') + "\n");
  ASSERT_TRUE(PumpUntil(loop_, [&] { return port.GetDroppedInputBytes() > 0; }));
  const std::uint64_t dropped = port.GetDroppedInputBytes();
  EXPECT_LE(dropped, TReaderThread::kReadSize);
  // A fixed count takes everything the buffer holds: all that was not dropped.
  port.SetInputCharacterCount(1);
  port.SetInputOperationMode(iomFixedCharNumber);
  AwaitStrings(2);
  ASSERT_EQ(received_.size(), 2u);
  EXPECT_TRUE(received_.back() == std::string(65535 - dropped, 'b'));
}

TEST_F(SerialReaderTest, VanishedDeviceIsReopenedWithItsSettingsWhenItsPathComesBack) {
  test::TTempDir dir;
  const std::string link = dir / "port0";
  auto first = std::make_unique<TPty>();
  dir.Link(link, first->SlavePath());
  TSerialIO& port = Open(link, iomEOLSequenze, "\n", 0);
  std::vector<bool> states;
  port.OnPortStateChanged = [&](TSerialIO&, bool connected) { states.push_back(connected); };
  first->Send("one\n");
  AwaitStrings(1);

  first->Unplug();
  dir.Link(link, dir / "absent");  // the device node is gone, as a pulled adapter's is
  ASSERT_TRUE(PumpUntil(loop_, [&] { return !states.empty(); }));
  EXPECT_EQ(states, std::vector<bool>{false});
  EXPECT_FALSE(port.IsOpen());
  EXPECT_TRUE(port.IsLost());
  EXPECT_EQ(port.OutputString("lost"), 0u);
  // Waiting for the device costs next to no processor time: no busy loop.
  rusage before{}, after{};
  getrusage(RUSAGE_SELF, &before);
  PumpUntil(
      loop_, [] { return false; }, 1000);
  getrusage(RUSAGE_SELF, &after);
  const auto cpuUs = [](const rusage& u) {
    return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1000000L + u.ru_utime.tv_usec +
           u.ru_stime.tv_usec;
  };
  EXPECT_LT(cpuUs(after) - cpuUs(before), 250000);

  TPty second;
  dir.Link(link, second.SlavePath());
  ASSERT_TRUE(PumpUntil(loop_, [&] { return states.size() == 2; }));
  EXPECT_EQ(states, (std::vector<bool>{false, true}));
  EXPECT_TRUE(port.IsOpen());
  TPortParams params;
  ASSERT_TRUE(port.GetPortConfig(params));
  EXPECT_EQ(params.BaudRate, 19200);
  second.Send("two\n");
  AwaitStrings(2);
  EXPECT_EQ(received_, (std::vector<std::string>{"one\n", "two\n"}));
  EXPECT_EQ(port.OutputString("back"), 4u);
  EXPECT_EQ(second.Receive(4), "back");
}

}  // namespace
}  // namespace loom
