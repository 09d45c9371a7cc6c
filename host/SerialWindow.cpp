#include "host/SerialWindow.h"

namespace loom {

// The host and the serial layer name the same message numbers; they must not drift apart.
static_assert(std::uint32_t{kMsgSerialInputQueued} == std::uint32_t{smInputQueued});
static_assert(std::uint32_t{kMsgSerialOutputDone} == std::uint32_t{smOutputDone});

TLoopSerialWindow::TLoopSerialWindow(TMessageLoop& loop) : loop_(loop) {
  target_ = loop_.RegisterTarget([this](const TMessage& message) {
    if (port_) port_->MSGWndProc(message.Message);
  });
}

TLoopSerialWindow::~TLoopSerialWindow() {
  loop_.UnregisterTarget(target_);
}

bool TLoopSerialWindow::PostMessage(std::uint32_t message) {
  return loop_.Post(target_, message);
}

int TLoopSerialWindow::RemoveMessages(std::uint32_t message) {
  return loop_.RemovePending(target_, message);
}

}  // namespace loom
