// The background reader of a serial port. It waits for input on the port's device, gathers it,
// cuts complete input strings out of it by the input mode, queues each string and posts
// smInputQueued to the port's window; the port hands the strings to its owner on the owner's
// thread. It also notices when the device vanishes and, while the port stays open, tries about
// once a second to open it again.
//
// Threads: the public operations belong to the port's owner; Execute runs on the reader's own
// thread, which lives as long as the object and is parked while the reader is stopped.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "serial/SerialTypes.h"
#include "serial/Termios.h"

namespace loom {

// The input strings a reader has cut and its port has not yet taken.
struct TInputQueue {
  std::mutex Mutex;  // guards Strings
  std::deque<std::string> Strings;
};

// The bytes received and not yet cut into an input string, and the rules that cut them.
class TInputAccumulator {
 public:
  // A chunk that would bring the held bytes to this many or more is dropped whole.
  static constexpr std::size_t kOverflowLimit = 65535;

  // Holds chunk unless that would reach kOverflowLimit; returns the bytes dropped.
  std::size_t Append(std::string_view chunk);
  // Cuts at most one input string by mode into out; false when none is complete. Bytes that can
  // never become part of a string are discarded and added to dropped.
  bool Cut(TPortInputOperationModes mode, const std::string& eol, std::int32_t count,
           std::string& out, std::uint64_t& dropped);
  void Clear() { held_.clear(); }
  std::size_t Size() const { return held_.size(); }

 private:
  std::string held_;
};

// What a reader asks of its port about the device. Both run on the reader's thread.
class TReaderPortLink {
 public:
  virtual ~TReaderPortLink() = default;
  // The device behind handle vanished: the port lets go of it and reports itself closed.
  virtual void PortLost(const std::shared_ptr<TPortHandle>& handle) = 0;
  // Opens the vanished device again with the port's settings, when its path exists again; the
  // new handle, or null.
  virtual std::shared_ptr<TPortHandle> ReopenLostPort() = 0;
};

class TReaderThread {
 public:
  static constexpr std::size_t kReadSize = 8192;  // the kernel's queues hold less than this
  static constexpr int kPollTimeoutMs = 100;      // a safety net: every change wakes the poll
  static constexpr int kReopenIntervalMs = 1000;

  // queue, window and link must outlive the reader.
  TReaderThread(TInputQueue& queue, TSerialWindow& window, TReaderPortLink& link);
  ~TReaderThread();
  TReaderThread(const TReaderThread&) = delete;
  TReaderThread& operator=(const TReaderThread&) = delete;

  // The device to read from the next StartInputThread on.
  void SetHandle(std::shared_ptr<TPortHandle> handle);
  // These take effect at the next poll, which they wake.
  void SetInputOperationMode(TPortInputOperationModes mode);
  void SetEOLSequenze(const std::string& eol);
  void SetInputCharacterCount(std::int32_t count);

  // Runs the reader on the handle last set, with an empty accumulation buffer. It runs in every
  // mode, iomNoInput included, so that a vanished device is noticed; in iomNoInput whatever
  // arrives is discarded.
  void StartInputThread();
  // Stops reading and returns once the reader holds no handle and will post nothing more.
  void StopInputThread();
  bool Running() const;
  // Ends the thread (the destructor does it too); the reader cannot run again.
  void Terminate();

  // Input bytes lost: chunks dropped because the buffer was full, and text cut off by NUL bytes.
  std::uint64_t DroppedBytes() const { return dropped_.load(); }

 private:
  enum class TRequest { Suspend, Run, Terminate };

  void Execute();
  // Waits in the parked state until asked to run or to end; false when asked to end.
  bool ParkUntilRun(std::unique_lock<std::mutex>& lock);
  // One read of what waits on fd into input: bytes read, 0 for nothing, -1 when the device
  // vanished (end of file or a device error).
  int ReadChunk(int fd, TInputAccumulator& input, char* buffer);
  // A vanished device's descriptor is closed as soon as the port and the reader let go.
  void ForgetHandle(const std::shared_ptr<TPortHandle>& handle);
  void Deliver(std::string text);
  void Wake();
  void DrainWake();

  TInputQueue& queue_;
  TSerialWindow& window_;
  TReaderPortLink& link_;
  int wake_ = -1;  // eventfd: a stop request or a changed setting interrupts the poll

  mutable std::mutex controlMutex_;  // guards request_, parked_, handle_, mode_, eol_, count_
  std::condition_variable controlChanged_;
  TRequest request_ = TRequest::Suspend;
  bool parked_ = true;
  std::shared_ptr<TPortHandle> handle_;
  TPortInputOperationModes mode_ = iomEOLSequenze;
  std::string eol_ = "\r";
  std::int32_t count_ = 1;

  std::atomic<std::uint64_t> dropped_{0};
  std::thread thread_;  // last: starts after every member it uses
};

}  // namespace loom
