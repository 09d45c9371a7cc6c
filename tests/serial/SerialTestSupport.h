// Pseudo-terminals as serial devices: the slave side is the device a port opens, the test holds
// the master side (the far end of the cable). A symlink in a temporary folder names the device,
// so that a test can make a device vanish and come back at the same path.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/MessageLoop.h"
#include "serial/PortTable.h"

namespace loom::test {

class TPty {
 public:
  TPty() {
    char name[256];
    if (openpty(&master_, &slave_, name, nullptr, nullptr) != 0)
      throw std::runtime_error("openpty");
    slavePath_ = name;
    // Raw from the start, so that bytes queued before a port opens the slave arrive untouched.
    termios line{};
    tcgetattr(slave_, &line);
    cfmakeraw(&line);
    tcsetattr(slave_, TCSANOW, &line);
  }
  ~TPty() { Unplug(); }
  TPty(const TPty&) = delete;
  TPty& operator=(const TPty&) = delete;

  const std::string& SlavePath() const { return slavePath_; }
  // Bytes the device holds that no port has read yet.
  int Waiting() const {
    int waiting = 0;
    return ioctl(slave_, FIONREAD, &waiting) == 0 ? waiting : -1;
  }

  // The device vanishes: the slave is hung up and its path removed.
  void Unplug() {
    if (slave_ >= 0) ::close(slave_);
    if (master_ >= 0) ::close(master_);
    slave_ = master_ = -1;
  }

  void Send(std::string_view bytes) const {
    for (std::size_t done = 0; done < bytes.size();) {
      const ssize_t n = ::write(master_, bytes.data() + done, bytes.size() - done);
      if (n <= 0) throw std::runtime_error("pty write");
      done += static_cast<std::size_t>(n);
    }
  }

  // What the port wrote: up to size bytes, waiting at most timeoutMs for each piece.
  std::string Receive(std::size_t size, int timeoutMs = 5000) const {
    std::string got;
    char buffer[4096];
    while (got.size() < size) {
      pollfd in{master_, POLLIN, 0};
      if (poll(&in, 1, timeoutMs) <= 0) break;
      const ssize_t n = ::read(master_, buffer, std::min(sizeof buffer, size - got.size()));
      if (n <= 0) break;
      got.append(buffer, static_cast<std::size_t>(n));
    }
    return got;
  }

 private:
  int master_ = -1;
  int slave_ = -1;
  std::string slavePath_;
};

// A temporary folder for device links; removed with everything in it.
class TTempDir {
 public:
  TTempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "loom-serial-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp");
    path_ = pattern;
  }
  ~TTempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::string Path() const { return path_.string(); }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  // Points link at target, replacing whatever link pointed at, in one step.
  void Link(const std::string& link, const std::string& target) const {
    const std::string fresh = link + ".new";
    std::filesystem::create_symlink(target, fresh);
    std::filesystem::rename(fresh, link);
  }

 private:
  std::filesystem::path path_;
};

// Runs loop until done() holds or timeoutMs pass; false on the time-out.
inline bool PumpUntil(TMessageLoop& loop, const std::function<bool()>& done, int timeoutMs = 5000) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    loop.WaitAndProcess(10);
  }
  return true;
}

// Puts the host's default table back after a test that set its own.
struct TPortTableGuard {
  ~TPortTableGuard() { ResetPortTable(); }
};

}  // namespace loom::test
