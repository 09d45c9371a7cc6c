// The serial port on pseudo-terminals, driven through the host's message loop: parameter
// strings, the closed-port error, what the device offers, output, and the port's end.
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "host/SerialWindow.h"
#include "serial/SerialIO.h"
#include "tests/serial/SerialTestSupport.h"

namespace loom {
namespace {

using test::PumpUntil;
using test::TPty;

class SerialIOTest : public ::testing::Test {
 protected:
  test::TPortTableGuard tableGuard_;
  TMessageLoop loop_;
  TPty pty_;
};

TEST_F(SerialIOTest, ParameterStringsAreStoredItemByItemAndBadItemsNamed) {
  SetPortTable({pty_.SlavePath(), "/nonexistent/ttyUSB9"});
  struct Row {
    std::string input, stored, error;
    bool open;
  };
  const Row rows[] = {
      {"", "-1,9600,8,1,0,0", "", false},
      {"0,19200,7,0,2,1", "0,19200,7,0,2,1", "", true},
      {"1,4800,8,2,0,0", "1,4800,8,2,0,0", "", false},  // table entry 1 does not exist
      {"\"0\", 57600 ,8,\"2\",0,2,99", "0,57600,8,2,0,2", "", true},
      {"-1,+110,5,1,4,0", "-1,110,5,1,4,0", "", false},
      {"0,2400,x", "0,2400,8,1,0,0",
       "Port parameters \"0,2400,x\": item 3 (data bits) \"x\" is not a valid integer value",
       false},
      {"0,9600,8,1,0", "0,9600,8,1,0,0",
       "Port parameters \"0,9600,8,1,0\": item 6 (flow control) is missing", false},
      {"0,9600,9,1,0,0", "0,9600,8,1,0,0",
       "Port parameters \"0,9600,9,1,0,0\": item 3 (data bits) must be 5, 6, 7, 8 or 16, not 9",
       false},
      {"0,0,8,1,0,0", "0,9600,8,1,0,0",
       "Port parameters \"0,0,8,1,0,0\": item 2 (baud rate) must be above 0, not 0", false},
      {"0,9600,8,1,5,0", "0,9600,8,1,0,0",
       "Port parameters \"0,9600,8,1,5,0\": item 5 (parity) must be 0, 1, 2, 3 or 4, not 5", false},
      {"0,9600,8,3,0,0", "0,9600,8,1,0,0",
       "Port parameters \"0,9600,8,3,0,0\": item 4 (stop bits) must be 0, 1 or 2, not 3", false},
      {"0,9600,8,1,0,3", "0,9600,8,1,0,0",
       "Port parameters \"0,9600,8,1,0,3\": item 6 (flow control) must be 0, 1 or 2, not 3", false},
      {"3000000000", "-1,9600,8,1,0,0",
       "Port parameters \"3000000000\": item 1 (port number) \"3000000000\" is not a valid "
       "integer value",
       false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.input);
    TLoopSerialPort serial(loop_);
    TSerialIO& port = serial.Port();
    std::string error;
    try {
      port.SetParameterString(row.input);
    } catch (const EPortException& e) {
      error = e.what();
    }
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(port.GetParameterString(), row.stored);
    EXPECT_EQ(port.IsOpen(), row.open);
  }
}

TEST_F(SerialIOTest, EveryOperationOnAClosedPortSaysSoAfterStoringItsValue) {
  TLoopSerialPort serial(loop_);
  TSerialIO& port = serial.Port();
  TPortParams params;
  std::string text;
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"Close", [&] { port.Close(); }},
      {"GetPortConfig", [&] { port.GetPortConfig(params); }},
      {"SetPortConfig", [&] { port.SetPortConfig(); }},
      {"SetBaudRate", [&] { port.SetBaudRate(1200); }},
      {"SetNumDataBits", [&] { port.SetNumDataBits(7); }},
      {"SetNumStopBits", [&] { port.SetNumStopBits(2); }},
      {"SetParityMode", [&] { port.SetParityMode(3); }},
      {"SetFLowControl", [&] { port.SetFLowControl(fcHardware); }},
      {"OutputString", [&] { port.OutputString("x"); }},
      {"OutputBuffer", [&] { port.OutputBuffer("x", 1); }},
      {"InputString", [&] { port.InputString(text); }},
  };
  for (const auto& [name, operation] : operations) {
    SCOPED_TRACE(name);
    try {
      operation();
      ADD_FAILURE() << "no exception";
    } catch (const EPortException& e) {
      EXPECT_STREQ(e.what(), "Port not opend.");
    }
  }
  EXPECT_EQ(port.GetParameterString(), "-1,1200,7,2,3,2");
  EXPECT_FALSE(port.Open());  // no port number
}

TEST_F(SerialIOTest, OffersWhatTermiosCanSetAndTheDriverKeeps) {
  SetPortTable({pty_.SlavePath()});
  TLoopSerialPort serial(loop_);
  TSerialIO& port = serial.Port();
  // Nothing asked of a device yet: empty lists, not a stray comma, and no valid pair.
  EXPECT_EQ(port.GetPossibleBaudRates() + port.GetPossibleDataBits() + port.GetPossibleStopBits(),
            "");
  EXPECT_FALSE(port.IsDataStopBitsCombiValid("8", "1"));
  EXPECT_EQ(port.GetPossibleParitys(), "None,Odd,Even,Mark,Space");
  EXPECT_EQ(port.GetPossibleFlowControl(), "None,Software,Hardware");
  EXPECT_EQ(port.GetPossibleInputModes(),
            "\"No Input\",\"n Chars received\",\"Line End-sequenze\"");

  port.SetParameterString("0,9600,8,0,0,0");
  ASSERT_TRUE(port.IsOpen());
  EXPECT_EQ(port.GetPossibleBaudRates(),
            "110,300,600,1200,2400,4800,9600,14400,19200,38400,57600,115200,128000");
  EXPECT_EQ(port.GetPossibleDataBits(), "5,6,7,8");
  EXPECT_EQ(port.GetPossibleStopBits(), "1,2");  // 1.5 needs 5 data bits, which a pty refuses
  // A pseudo-terminal keeps 8 data bits only; any number without a row reads the row of 8.
  struct Row {
    const char *dataBits, *stopBits;
    bool valid;
  };
  for (const Row& row : {Row{"8", "1", true}, Row{"8", "2", true}, Row{"8", "1.5", false},
                         Row{"7", "1", false}, Row{"5", "1.5", false}, Row{"5", "2", false},
                         Row{"16", "1", false}, Row{"9", "2", true}, Row{"-4", "1", true},
                         Row{"8", "1,5", false}, Row{"8", " 1", false}, Row{"x", "3", false}}) {
    EXPECT_EQ(port.IsDataStopBitsCombiValid(row.dataBits, row.stopBits), row.valid)
        << row.dataBits << " / " << row.stopBits;
  }
  try {
    port.IsDataStopBitsCombiValid("eight", "1");
    ADD_FAILURE() << "no exception";
  } catch (const EPortException& e) {
    EXPECT_STREQ(e.what(), "\"eight\" is not a valid integer value for the data bits");
  }
}

TEST_F(SerialIOTest, LineSettingsReachTheDriverAndRefusalsAreReported) {
  SetPortTable({pty_.SlavePath()});
  TLoopSerialPort serial(loop_);
  TSerialIO& port = serial.Port();
  port.SetParameterString("0,115200,8,2,0,2");
  TPortParams params;
  ASSERT_TRUE(port.GetPortConfig(params));
  EXPECT_EQ(params, (TPortParams{0, 115200, 8, 2, 0, fcHardware}));
  EXPECT_TRUE(port.SetBaudRate(14400));  // no termios constant for this one
  EXPECT_TRUE(port.SetFLowControl(fcSoftware));
  ASSERT_TRUE(port.GetPortConfig(params));
  EXPECT_EQ(params, (TPortParams{0, 14400, 8, 2, 0, fcSoftware}));
  EXPECT_TRUE(port.SetBaudRate(128000));
  // A pty forces 8 data bits and no parity; 1.5 stop bits with 8 data bits become 2.
  EXPECT_FALSE(port.SetNumDataBits(7));
  EXPECT_TRUE(port.SetNumDataBits(8));
  EXPECT_FALSE(port.SetParityMode(kParityEven));
  EXPECT_TRUE(port.SetParityMode(kParityNone));
  EXPECT_FALSE(port.SetNumStopBits(kStopBitsOneAndHalf));
  ASSERT_TRUE(port.GetPortConfig(params));
  EXPECT_EQ(params, (TPortParams{0, 128000, 8, 2, 0, fcSoftware}));
}

TEST_F(SerialIOTest, FreePortsAreThoseNobodyHoldsAndTheCurrentOne) {
  TPty other;
  SetPortTable({pty_.SlavePath(), other.SlavePath(), "/nonexistent/ttyACM0"});
  TLoopSerialPort holder(loop_);
  holder.Port().SetParameterString("1,9600,8,0,0,0");
  ASSERT_TRUE(holder.Port().IsOpen());
  std::vector<TPortListEntry> list;
  EXPECT_EQ(TSerialIO::GetFreePortList(list, 3), 2);
  EXPECT_EQ(list, (std::vector<TPortListEntry>{{"COM0:", 0, pty_.SlavePath()}, {"COM3:", 3, ""}}));
  EXPECT_EQ(TSerialIO::GetFreePortList(list, 1), 2);
  EXPECT_EQ(list, (std::vector<TPortListEntry>{{"COM0:", 0, pty_.SlavePath()},
                                               {"COM1:", 1, other.SlavePath()}}));
  EXPECT_EQ(DescribePortTable(), "0 " + pty_.SlavePath() + " available\n1 " + other.SlavePath() +
                                     " not available (Device or resource busy)\n"
                                     "2 /nonexistent/ttyACM0 not available (No such file or "
                                     "directory)\n");
}

TEST_F(SerialIOTest, ProbeLeavesThePortOpenedAndParameterStringsReopenBeforeReading) {
  SetPortTable({pty_.SlavePath()});
  TLoopSerialPort serial(loop_);
  TSerialIO& port = serial.Port();
  port.SetPortNumber(4);
  EXPECT_EQ(port.GetPortNumber(), -1);
  port.SetPortNumber(0);
  EXPECT_EQ(port.GetPortNumber(), 0);
  EXPECT_EQ(port.GetPossibleDataBits(), "5,6,7,8");  // read during the probe
  EXPECT_FALSE(port.IsOpen());                       // the device was let go...
  EXPECT_EQ(port.OutputString("x"), 0u);             // ...yet the port counts as opened
  port.Close();
  // Closed with number 0: the old port is opened before the bad item is met, and stays open.
  EXPECT_THROW(port.SetParameterString("1,fast"), EPortException);
  EXPECT_EQ(port.GetParameterString(), "1,9600,8,1,0,0");
  ASSERT_TRUE(port.IsOpen());
  EXPECT_EQ(port.OutputString("on 0"), 4u);
  EXPECT_EQ(pty_.Receive(4), "on 0");
}

TEST_F(SerialIOTest, LongOutputArrivesWholeAndOutputDoneFollows) {
  SetPortTable({pty_.SlavePath()});
  TLoopSerialPort serial(loop_);
  TSerialIO& port = serial.Port();
  int done = 0;
  port.OnOutputDone = [&](TSerialIO& sender) {
    EXPECT_EQ(&sender, &port);
    ++done;
  };
  port.SetParameterString("0,115200,8,0,0,0");
  std::string bytes(200000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 251);
  std::string received;
  std::thread farEnd([&] { received = pty_.Receive(bytes.size()); });
  EXPECT_EQ(port.OutputString(bytes), bytes.size());
  farEnd.join();
  EXPECT_EQ(received.size(), bytes.size());
  EXPECT_TRUE(received == bytes);  // NUL bytes included
  EXPECT_EQ(done, 1);              // called before OutputString returned
  EXPECT_EQ(port.OutputBuffer("abc", 3), 3u);
  EXPECT_EQ(pty_.Receive(3), "abc");
  EXPECT_EQ(done, 1);  // OutputBuffer's notice comes through the loop
  EXPECT_TRUE(PumpUntil(loop_, [&] { return done == 2; }));
}

TEST_F(SerialIOTest, DestroyedPortLeavesNoMessageBehind) {
  SetPortTable({pty_.SlavePath()});
  TLoopSerialWindow window(loop_);  // outlives the port
  int delivered = 0;
  {
    TSerialIO port(window);
    window.Attach(&port);
    port.OnInputString = [&](TSerialIO&, const std::string&) { ++delivered; };
    port.SetInputOperationMode(iomEOLSequenze);
    port.SetEOLSequenze("\n");
    pty_.Send("a\nb\nc\n");
    port.SetParameterString("0,9600,8,0,0,0");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (loop_.PendingCount() < 3 && std::chrono::steady_clock::now() < end)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(loop_.PendingCount(), 3u);
  }
  window.Attach(nullptr);
  EXPECT_EQ(loop_.PendingCount(), 0u);
  loop_.ProcessPending();
  EXPECT_EQ(delivered, 0);
}

}  // namespace
}  // namespace loom
