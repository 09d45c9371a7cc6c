#include "host/SerialWindow.h"

namespace loom {

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
