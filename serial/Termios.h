// A port device in termios terms: opening it for exclusive raw use, writing to it, applying line
// settings and reading them back, and asking the driver which settings it keeps. Everything
// here works on a descriptor; the port decides when to call what.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "serial/SerialTypes.h"

namespace loom {

// ORDER: the rates a port may offer, in the order the configuration page lists them; bit i of
// TPortCapabilities::SettableBaud stands for entry i.
inline constexpr std::array<std::int32_t, 13> kOfferedBaudRates = {
    110, 300, 600, 1200, 2400, 4800, 9600, 14400, 19200, 38400, 57600, 115200, 128000};

// ORDER: the data-bits rows of the validity matrix; bit i of SettableData stands for entry i.
inline constexpr std::array<std::int32_t, 5> kDataBitsRows = {5, 6, 7, 8, 16};

// What a port device offers the configuration page.
struct TPortCapabilities {
  std::uint32_t SettableBaud = 0;      // bit i: kOfferedBaudRates[i]
  std::uint32_t SettableData = 0;      // bit i: kDataBitsRows[i]
  std::uint32_t SettableStopBits = 0;  // bit c: stop-bits code c
};

// Row r, column c: whether kDataBitsRows[r] data bits with stop-bits code c are valid.
using TDataStopBitsMatrix = std::array<std::array<bool, 3>, kDataBitsRows.size()>;

// An open port device. The port, its reader and a writer still busy share it, so that the
// descriptor is closed only when the last of them lets go and never while one still uses it.
class TPortHandle {
 public:
  explicit TPortHandle(int fd) : fd_(fd) {}
  ~TPortHandle();
  TPortHandle(const TPortHandle&) = delete;
  TPortHandle& operator=(const TPortHandle&) = delete;

  int Fd() const { return fd_; }
  // The port let go of this handle (closed or lost): a writer still waiting on it gives up.
  void Abandon() { abandoned_.store(true); }
  bool Abandoned() const { return abandoned_.load(); }

 private:
  int fd_;
  std::atomic<bool> abandoned_{false};
};

struct TOpenResult {
  std::shared_ptr<TPortHandle> Handle;  // null when the open failed
  int Error = 0;                        // errno of the failure
};

// Opens the device at path, non-blocking, for this process alone: an advisory lock that every
// Loom process honours, and the terminal's exclusive mode against other programs. The line
// settings are not touched.
TOpenResult OpenPortDevice(const std::string& path);

// 0 when the device at path could be opened for exclusive use now, else the errno that prevents
// it (EBUSY when another port holds it).
int ProbePortDevice(const std::string& path);

// Raw line: no echo, no translation of line ends, no signals, modem lines ignored, reading on.
bool MakeRaw(int fd);

// Whether termios can express the pair: one or two stop bits with 5 to 8 data bits, one and a
// half only with 5 (where a UART sends 1.5 for "two"); 16 data bits never.
bool CanExpressDataStopBits(std::int32_t dataBits, std::int32_t stopBitsCode);

// Applies rate, data bits, stop bits, parity and flow control. True when termios could express
// all of them, the driver took them and reading back shows them unchanged.
bool ApplyLineSettings(int fd, const TPortParams& params);

// Reads the line settings into params (PortNumber is left alone). termios does not tell one and
// a half from two stop bits with 5 data bits; stopBitsHint, the code last set, decides.
bool ReadLineSettings(int fd, std::int32_t stopBitsHint, TPortParams& params);

// Tries every data-bits/stop-bits pair on the line and restores it afterwards: a pair is valid
// when termios can express it and the driver keeps it.
TDataStopBitsMatrix ProbeDataStopBits(int fd);

// What termios can set on this line: the offered rates (those without a termios constant only
// when the driver takes them), 5 to 8 data bits, one and two stop bits, and one and a half when
// the driver keeps it with 5 data bits. The line is restored afterwards.
TPortCapabilities ProbeCapabilities(int fd);

// Bytes waiting in the driver's input queue, or -1.
int BytesWaiting(int fd);

// Bits on the wire per byte: start bit, data bits, parity bit, stop bits (1.5 counts as 2).
std::int32_t BitsPerFrame(const TPortParams& params);

// How long a write may make no progress before it gives up: twice the time the line needs for
// a kernel output buffer (4 KiB) at this rate, plus a second for the driver.
std::int64_t WriteStallTimeoutMs(std::int32_t baudRate, std::int32_t bitsPerFrame);

// Writes all size bytes unless the device vanishes, refuses, stalls for stallTimeoutMs or the
// handle is abandoned; returns the bytes written.
std::size_t WriteToPort(const TPortHandle& handle, const char* data, std::size_t size,
                        std::int64_t stallTimeoutMs);

// The text of an errno value.
std::string ErrorText(int error);

}  // namespace loom
