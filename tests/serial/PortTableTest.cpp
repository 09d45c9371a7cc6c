// The port table: which devices the machine's scan finds, in which order, and the numbering.
#include <gtest/gtest.h>

#include <fstream>

#include "serial/PortTable.h"
#include "tests/serial/SerialTestSupport.h"

namespace loom {
namespace {

TEST(PortTableTest, ScanListsAdaptersThenModemsThenUartsEachByNumber) {
  test::TTempDir dev, sys;
  for (const char* name : {"ttyUSB10", "ttyUSB2", "ttyACM0", "ttyS0", "ttyS1", "ttyS2", "ttyS10",
                           "ttyUSB", "ttyUSBx", "tty0", "ttyAMA0", "console"})
    std::ofstream(dev / name).put('\n');
  for (const auto& [name, type] : {std::pair{"ttyS0", "4\n"}, {"ttyS1", "0\n"}, {"ttyS10", "4"}}) {
    std::filesystem::create_directory(sys / name);
    std::ofstream(sys / (std::string(name) + "/type")) << type;
  }
  EXPECT_EQ(ScanSerialDevices(dev.Path(), sys.Path()),
            (std::vector<std::string>{dev / "ttyUSB2", dev / "ttyUSB10", dev / "ttyACM0",
                                      dev / "ttyS0", dev / "ttyS10"}));
}

TEST(PortTableTest, PortNumberSelectsTheEntryOfTheHostsTable) {
  test::TPortTableGuard guard;
  SetPortTable({"/dev/a", "/dev/b"});
  EXPECT_EQ(GetPortPath(1), "/dev/b");
  EXPECT_EQ(GetPortPath(2), "");
  EXPECT_EQ(GetPortPath(-1), "");
}

}  // namespace
}  // namespace loom
