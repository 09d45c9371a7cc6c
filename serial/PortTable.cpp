#include "serial/PortTable.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string_view>

#include "serial/Termios.h"

namespace loom {

namespace {

std::mutex portTableMutex;  // guards portTable
std::optional<std::vector<std::string>> portTable;

// The number after prefix when name is prefix followed by digits only.
std::optional<unsigned> DeviceNumber(std::string_view name, std::string_view prefix) {
  if (!name.starts_with(prefix) || name.size() == prefix.size()) return std::nullopt;
  unsigned number = 0;
  const char* end = name.data() + name.size();
  const auto [ptr, ec] = std::from_chars(name.data() + prefix.size(), end, number);
  if (ec != std::errc() || ptr != end) return std::nullopt;
  return number;
}

// Whether a tty's type file names a UART (type 0 is a node without one).
bool HasUart(const std::filesystem::path& typeFile) {
  std::ifstream in(typeFile);
  std::string type;
  return static_cast<bool>(in >> type) && type != "0";
}

}  // namespace

std::vector<std::string> ScanSerialDevices(const std::string& devDir,
                                           const std::string& sysClassTty) {
  constexpr std::string_view kGroups[] = {"ttyUSB", "ttyACM", "ttyS"};
  std::vector<std::pair<unsigned, std::string>> found[std::size(kGroups)];
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(devDir, error)) {
    const std::string name = entry.path().filename().string();
    for (std::size_t g = 0; g < std::size(kGroups); ++g) {
      const auto number = DeviceNumber(name, kGroups[g]);
      if (!number) continue;
      if (kGroups[g] == "ttyS" && !HasUart(std::filesystem::path(sysClassTty) / name / "type"))
        continue;
      found[g].emplace_back(*number, entry.path().string());
    }
  }
  std::vector<std::string> paths;
  for (auto& group : found) {
    std::sort(group.begin(), group.end());
    for (auto& [number, path] : group) paths.push_back(std::move(path));
  }
  return paths;
}

void SetPortTable(std::vector<std::string> paths) {
  std::lock_guard<std::mutex> lock(portTableMutex);
  portTable = std::move(paths);
}

void ResetPortTable() {
  std::lock_guard<std::mutex> lock(portTableMutex);
  portTable.reset();
}

std::vector<std::string> GetPortTable() {
  std::lock_guard<std::mutex> lock(portTableMutex);
  if (!portTable) portTable = ScanSerialDevices();
  return *portTable;
}

std::string GetPortPath(std::int32_t portNumber) {
  const std::vector<std::string> paths = GetPortTable();
  if (portNumber < 0 || static_cast<std::size_t>(portNumber) >= paths.size()) return {};
  return paths[portNumber];
}

std::string DescribePortTable() {
  std::string text;
  const std::vector<std::string> paths = GetPortTable();
  for (std::size_t n = 0; n < paths.size(); ++n) {
    const int error = ProbePortDevice(paths[n]);
    text += std::to_string(n) + ' ' + paths[n] + ' ' +
            (error == 0 ? std::string("available") : "not available (" + ErrorText(error) + ")") +
            '\n';
  }
  return text;
}

}  // namespace loom
