#include "serial/Termios.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

#include "serial/CustomBaud.h"

namespace loom {

namespace {

// The rates that have a termios constant; every other rate goes through SetOtherBaudRate.
constexpr std::pair<std::int32_t, speed_t> kSpeedConstants[] = {
    {50, B50},           {75, B75},           {110, B110},         {134, B134},
    {150, B150},         {200, B200},         {300, B300},         {600, B600},
    {1200, B1200},       {1800, B1800},       {2400, B2400},       {4800, B4800},
    {9600, B9600},       {19200, B19200},     {38400, B38400},     {57600, B57600},
    {115200, B115200},   {230400, B230400},   {460800, B460800},   {500000, B500000},
    {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
    {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000},
    {3500000, B3500000}, {4000000, B4000000},
};

// The flags that line settings own; everything else stays as MakeRaw left it.
constexpr tcflag_t kOwnedCflags = CSIZE | CSTOPB | PARENB | PARODD | CMSPAR | CRTSCTS;
constexpr tcflag_t kOwnedIflags = IXON | IXOFF;

// The termios constant of rate into speed; false for a rate without one.
bool SpeedConstant(std::int32_t rate, speed_t& speed) {
  for (const auto& [r, s] : kSpeedConstants) {
    if (r == rate) {
      speed = s;
      return true;
    }
  }
  return false;
}

// The CSIZE flag for dataBits; 8 for what termios cannot express.
tcflag_t SizeFlag(std::int32_t dataBits) {
  switch (dataBits) {
    case 5:
      return CS5;
    case 6:
      return CS6;
    case 7:
      return CS7;
    default:
      return CS8;
  }
}

// The data bits that cflag's CSIZE stands for.
std::int32_t DataBitsOf(tcflag_t cflag) {
  switch (cflag & CSIZE) {
    case CS5:
      return 5;
    case CS6:
      return 6;
    case CS7:
      return 7;
    default:
      return 8;
  }
}

// The flags of a parity code; none for an unknown code. Mark and space need CMSPAR.
tcflag_t ParityFlags(std::int32_t parity) {
  switch (parity) {
    case kParityOdd:
      return PARENB | PARODD;
    case kParityEven:
      return PARENB;
    case kParityMark:
      return PARENB | CMSPAR | PARODD;
    case kParitySpace:
      return PARENB | CMSPAR;
    default:
      return 0;
  }
}

// The parity code that cflag stands for.
std::int32_t ParityOf(tcflag_t cflag) {
  if (!(cflag & PARENB)) return kParityNone;
  const bool odd = cflag & PARODD;
  if (cflag & CMSPAR) return odd ? kParityMark : kParitySpace;
  return odd ? kParityOdd : kParityEven;
}

// Sets the owned flags of line to match params. One and a half stop bits with more than five
// data bits cannot be expressed: the line then gets two, which every receiver set to 1.5 (or
// one) accepts, where one stop bit could break back-to-back frames.
void SetOwnedFlags(termios& line, const TPortParams& params) {
  line.c_cflag &= ~kOwnedCflags;
  line.c_iflag &= ~kOwnedIflags;
  line.c_cflag |= SizeFlag(params.DataBits) | ParityFlags(params.Parity);
  if (params.StopBits != kStopBitsOne) line.c_cflag |= CSTOPB;
  if (params.FlowControl == fcHardware) line.c_cflag |= CRTSCTS;
  if (params.FlowControl == fcSoftware) line.c_iflag |= IXON | IXOFF;
}

// Whether a and b agree in every flag the line settings own.
bool SameOwnedFlags(const termios& a, const termios& b) {
  return (a.c_cflag & kOwnedCflags) == (b.c_cflag & kOwnedCflags) &&
         (a.c_iflag & kOwnedIflags) == (b.c_iflag & kOwnedIflags);
}

// Sets the size and stop-bits flags on top of base and reports whether the driver kept them.
bool DriverKeeps(int fd, const termios& base, tcflag_t size, bool twoStopBits) {
  termios wanted = base;
  wanted.c_cflag &= ~(CSIZE | CSTOPB);
  wanted.c_cflag |= size | (twoStopBits ? CSTOPB : 0);
  termios actual{};
  return tcsetattr(fd, TCSANOW, &wanted) == 0 && tcgetattr(fd, &actual) == 0 &&
         (actual.c_cflag & (CSIZE | CSTOPB)) == (wanted.c_cflag & (CSIZE | CSTOPB));
}

// Puts back the line that a probe changed, the rate included.
void RestoreLine(int fd, const termios& saved, std::int32_t savedRate) {
  tcsetattr(fd, TCSANOW, &saved);
  if (savedRate > 0 && ReadBaudRate(fd) != savedRate) SetOtherBaudRate(fd, savedRate);
}

// Milliseconds of the monotonic clock.
std::int64_t SteadyMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

TPortHandle::~TPortHandle() {
  if (fd_ >= 0) ::close(fd_);
}

TOpenResult OpenPortDevice(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return {nullptr, errno};
  auto handle = std::make_shared<TPortHandle>(fd);
  termios line{};
  if (tcgetattr(fd, &line) != 0) return {nullptr, errno};  // not a terminal
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) return {nullptr, errno == EWOULDBLOCK ? EBUSY : errno};
  // Other programs honour only the terminal's own exclusive mode (and root ignores even that).
  ioctl(fd, TIOCEXCL);
  return {std::move(handle), 0};
}

int ProbePortDevice(const std::string& path) {
  return OpenPortDevice(path).Error;
}

bool MakeRaw(int fd) {
  termios line{};
  if (tcgetattr(fd, &line) != 0) return false;
  cfmakeraw(&line);
  line.c_cflag |= CLOCAL | CREAD;
  line.c_cc[VMIN] = 0;
  line.c_cc[VTIME] = 0;
  return tcsetattr(fd, TCSANOW, &line) == 0;
}

bool CanExpressDataStopBits(std::int32_t dataBits, std::int32_t stopBitsCode) {
  if (dataBits < 5 || dataBits > 8) return false;
  if (stopBitsCode == kStopBitsOneAndHalf) return dataBits == 5;
  return stopBitsCode == kStopBitsOne || stopBitsCode == kStopBitsTwo;
}

bool ApplyLineSettings(int fd, const TPortParams& params) {
  const bool expressible = CanExpressDataStopBits(params.DataBits, params.StopBits) &&
                           params.Parity >= kParityNone && params.Parity <= kParitySpace &&
                           params.FlowControl >= fcNone && params.FlowControl <= fcHardware &&
                           params.BaudRate > 0;
  speed_t speed = B0;
  const bool constantRate = SpeedConstant(params.BaudRate, speed);
  // A rate without a constant goes first: glibc's tcsetattr below keeps it (the line then says
  // BOTHER, and the kernel keeps its rate field).
  bool rateSet = constantRate || SetOtherBaudRate(fd, params.BaudRate);
  termios line{};
  if (tcgetattr(fd, &line) != 0) return false;
  SetOwnedFlags(line, params);
  if (constantRate) rateSet = cfsetispeed(&line, speed) == 0 && cfsetospeed(&line, speed) == 0;
  if (tcsetattr(fd, TCSANOW, &line) != 0) return false;
  termios actual{};
  if (tcgetattr(fd, &actual) != 0) return false;
  return expressible && rateSet && SameOwnedFlags(line, actual) &&
         ReadBaudRate(fd) == params.BaudRate;
}

bool ReadLineSettings(int fd, std::int32_t stopBitsHint, TPortParams& params) {
  termios line{};
  if (tcgetattr(fd, &line) != 0) return false;
  params.BaudRate = ReadBaudRate(fd);
  params.DataBits = DataBitsOf(line.c_cflag);
  params.StopBits = kStopBitsOne;
  if (line.c_cflag & CSTOPB) {
    params.StopBits = params.DataBits == 5 && stopBitsHint == kStopBitsOneAndHalf
                          ? kStopBitsOneAndHalf
                          : kStopBitsTwo;
  }
  params.Parity = ParityOf(line.c_cflag);
  if (line.c_cflag & CRTSCTS) {
    params.FlowControl = fcHardware;
  } else if ((line.c_iflag & (IXON | IXOFF)) == (IXON | IXOFF)) {
    params.FlowControl = fcSoftware;
  } else {
    params.FlowControl = fcNone;
  }
  return true;
}

TDataStopBitsMatrix ProbeDataStopBits(int fd) {
  TDataStopBitsMatrix valid{};
  termios saved{};
  if (tcgetattr(fd, &saved) != 0) return valid;
  const std::int32_t savedRate = ReadBaudRate(fd);
  for (std::size_t row = 0; row < kDataBitsRows.size(); ++row) {
    for (std::int32_t code = 0; code < 3; ++code) {
      const std::int32_t dataBits = kDataBitsRows[row];
      valid[row][code] = CanExpressDataStopBits(dataBits, code) &&
                         DriverKeeps(fd, saved, SizeFlag(dataBits), code != kStopBitsOne);
    }
  }
  RestoreLine(fd, saved, savedRate);
  return valid;
}

TPortCapabilities ProbeCapabilities(int fd) {
  TPortCapabilities caps;
  termios saved{};
  if (tcgetattr(fd, &saved) != 0) return caps;
  const std::int32_t savedRate = ReadBaudRate(fd);
  for (std::size_t i = 0; i < kOfferedBaudRates.size(); ++i) {
    speed_t speed;
    const std::int32_t rate = kOfferedBaudRates[i];
    const bool settable =
        SpeedConstant(rate, speed) || (SetOtherBaudRate(fd, rate) && ReadBaudRate(fd) == rate);
    if (settable) caps.SettableBaud |= 1u << i;
  }
  caps.SettableData = 0b1111;  // 5, 6, 7 and 8
  caps.SettableStopBits = (1u << kStopBitsOne) | (1u << kStopBitsTwo);
  if (DriverKeeps(fd, saved, CS5, true)) caps.SettableStopBits |= 1u << kStopBitsOneAndHalf;
  RestoreLine(fd, saved, savedRate);
  return caps;
}

int BytesWaiting(int fd) {
  int waiting = 0;
  return ioctl(fd, FIONREAD, &waiting) == 0 ? waiting : -1;
}

std::int32_t BitsPerFrame(const TPortParams& params) {
  const std::int32_t stop = params.StopBits == kStopBitsOne ? 1 : 2;
  const std::int32_t parity = params.Parity == kParityNone ? 0 : 1;
  return 1 + std::clamp(params.DataBits, 5, 16) + parity + stop;
}

std::int64_t WriteStallTimeoutMs(std::int32_t baudRate, std::int32_t bitsPerFrame) {
  const std::int64_t rate = std::max<std::int32_t>(baudRate, 50);
  return 1000 + 2 * std::int64_t{4096} * bitsPerFrame * 1000 / rate;
}

std::size_t WriteToPort(const TPortHandle& handle, const char* data, std::size_t size,
                        std::int64_t stallTimeoutMs) {
  std::size_t done = 0;
  std::int64_t lastProgress = SteadyMs();
  while (done < size && !handle.Abandoned()) {
    const ssize_t written = ::write(handle.Fd(), data + done, size - done);
    if (written > 0) {
      done += static_cast<std::size_t>(written);
      lastProgress = SteadyMs();
      continue;
    }
    if (written < 0 && errno == EINTR) continue;
    if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      if (SteadyMs() - lastProgress > stallTimeoutMs) break;
      // Short waits, so that a port that lets go of the handle is noticed soon.
      pollfd out{handle.Fd(), POLLOUT, 0};
      if (poll(&out, 1, 100) > 0 && (out.revents & (POLLHUP | POLLERR | POLLNVAL))) break;
      continue;
    }
    break;  // the device vanished or refused the bytes
  }
  return done;
}

std::string ErrorText(int error) {
  char buffer[256];
  // The GNU strerror_r returns its text, which need not be in buffer.
  return strerror_r(error, buffer, sizeof buffer);
}

}  // namespace loom
