// A serial port's window on the host's message loop. The port's reader posts to it from its own
// thread; the loop hands each message to the attached port's MSGWndProc on the loop's thread.
//
// Threads: PostMessage from any thread; everything else on the loop's thread.
#pragma once

#include "host/MessageLoop.h"
#include "serial/SerialIO.h"

namespace loom {

class TLoopSerialWindow : public TSerialWindow {
 public:
  explicit TLoopSerialWindow(TMessageLoop& loop);
  // Unregisters from the loop: messages still queued for the port are dropped.
  ~TLoopSerialWindow() override;
  TLoopSerialWindow(const TLoopSerialWindow&) = delete;
  TLoopSerialWindow& operator=(const TLoopSerialWindow&) = delete;

  // The port whose MSGWndProc receives the messages; null drops them.
  void Attach(TSerialIO* port) { port_ = port; }

  bool PostMessage(std::uint32_t message) override;
  int RemoveMessages(std::uint32_t message) override;

 private:
  TMessageLoop& loop_;
  TMessageTargetId target_ = 0;
  TSerialIO* port_ = nullptr;  // loop thread only
};

// A serial port served by the host's loop, its window declared first so that it outlives the
// port, as the port requires.
class TLoopSerialPort {
 public:
  explicit TLoopSerialPort(TMessageLoop& loop) : window_(loop), port_(window_) {
    window_.Attach(&port_);
  }

  TSerialIO& Port() { return port_; }

 private:
  TLoopSerialWindow window_;
  TSerialIO port_;
};

}  // namespace loom
