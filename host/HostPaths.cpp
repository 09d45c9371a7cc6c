#include "host/HostPaths.h"

#include <filesystem>

namespace loom {

std::string HostExecutableDirectory() {
  std::error_code error;
  const std::filesystem::path exe = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error || !exe.has_parent_path()) return ".";
  return exe.parent_path().string();
}

std::string MacroFilePath() {
  return (std::filesystem::path(HostExecutableDirectory()) / "macros.dat").string();
}

}  // namespace loom
