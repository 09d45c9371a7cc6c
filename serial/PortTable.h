// The process's port table: port number n is entry n, the path of a serial device. A host sets
// it (from a worksheet's [Ports] section; tests put pseudo-terminal paths in it). Until a host
// does, it holds the serial devices found on the machine when the table was first needed:
// /dev/ttyUSB*, then /dev/ttyACM*, then the /dev/ttyS* that have a UART behind them, each group
// in the order of its numbers.
//
// Threads: every function may be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace loom {

// The serial devices in devDir, in table order. A ttySn counts only when
// sysClassTty/ttySn/type names a UART (is not 0): the kernel creates every ttyS node whether or
// not a UART is there.
std::vector<std::string> ScanSerialDevices(const std::string& devDir = "/dev",
                                           const std::string& sysClassTty = "/sys/class/tty");

// Replaces the table (the host's port list).
void SetPortTable(std::vector<std::string> paths);
// Drops the host's table: the next use scans the machine again.
void ResetPortTable();
std::vector<std::string> GetPortTable();
// Entry portNumber, or "" when there is none.
std::string GetPortPath(std::int32_t portNumber);

// The table for `loom ports`: one line per entry, "number path state", where state is
// "available" or "not available (reason)".
std::string DescribePortTable();

}  // namespace loom
