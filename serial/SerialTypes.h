// The vocabulary of the serial layer: line settings as the parameter string stores them, the
// port's exception, the message numbers of a port, and the window through which a port reaches
// the thread of its owner.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace loom {

// ORDER: the ordinals are stored in parameter strings and GetPossibleFlowControl lists the
// labels in this order.
enum TPortFlowControl : std::int32_t { fcNone, fcSoftware, fcHardware };

// ORDER: the ordinals are stored by the panel and GetPossibleInputModes lists the labels in this
// order.
enum TPortInputOperationModes : std::int32_t { iomNoInput, iomFixedCharNumber, iomEOLSequenze };

// Stop-bits codes: 0 one stop bit, 1 one and a half, 2 two.
inline constexpr std::int32_t kStopBitsOne = 0;
inline constexpr std::int32_t kStopBitsOneAndHalf = 1;
inline constexpr std::int32_t kStopBitsTwo = 2;

// Parity codes: 0 none, 1 odd, 2 even, 3 mark, 4 space.
inline constexpr std::int32_t kParityNone = 0;
inline constexpr std::int32_t kParityOdd = 1;
inline constexpr std::int32_t kParityEven = 2;
inline constexpr std::int32_t kParityMark = 3;
inline constexpr std::int32_t kParitySpace = 4;

// A port's configuration. The defaults are those of a new port; the default stop-bits code is
// 1 (one and a half) on purpose, since stored parameter strings use the same numbering.
struct TPortParams {
  std::int32_t PortNumber = -1;  // entry of the port table; below 0: no port
  std::int32_t BaudRate = 9600;
  std::int32_t DataBits = 8;  // 5..8, or 16 (which no line can carry)
  std::int32_t StopBits = kStopBitsOneAndHalf;
  std::int32_t Parity = kParityNone;
  TPortFlowControl FlowControl = fcNone;

  bool operator==(const TPortParams&) const = default;
};

// Every error of the serial layer.
class EPortException : public std::runtime_error {
 public:
  explicit EPortException(const std::string& message) : std::runtime_error(message) {}
};

// The messages a port posts to its window. They are an interface: keep the numbers.
enum TSerialMessage : std::uint32_t {
  smInputQueued = 1025,  // the reader queued an input string
  smOutputDone = 1026,   // OutputBuffer finished
  smPortLost = 1027,     // the device vanished while the port was open
  smPortBack = 1028,     // the vanished device is back and the port is open again
};

// The port's window on its owner's thread.
class TSerialWindow {
 public:
  virtual ~TSerialWindow() = default;
  virtual bool PostMessage(std::uint32_t message) = 0;    // any thread
  virtual int RemoveMessages(std::uint32_t message) = 0;  // owner's thread
};

}  // namespace loom
