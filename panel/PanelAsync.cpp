// The panel's side of asynchronous evaluation: starting and ending the worker, handing it input
// packets, and the batch it runs.
#include "panel/FormulaPanel.h"

namespace loom {

namespace {

void CopyValues(const std::vector<TVXParsDouble>& from, std::vector<TVXParsDouble>& to) {
  to.resize(from.size());
  for (std::size_t i = 0; i < from.size(); ++i) CopyParsDouble(from[i], to[i]);
}

}  // namespace

void TKQVXFormulaPanel::ResetInputSnapshot() {
  CopyValues(inputs_, pending_.Inputs);
  CopyParsDouble(timeChannel_, pending_.TimeChannel);
  pending_.TimeStart = timestart_.Value;
  pending_.TimeLength = timelength_.Value;
  pending_.StringInput = stringInput_.StrValue;
  pending_.SerialInput = serialInput_.StrValue;
  publishedTrigger_ = serialInputTrigger_.Value;
}

void TKQVXFormulaPanel::SetAsyncMode() {
  if (asyncThread_) return;
  asyncThread_ = std::make_unique<TWLAsyncThread>(*this);
  std::lock_guard<std::mutex> queue(queueLock_);
  if (!inputQueue_.empty()) asyncThread_->WakeUp.Set();
}

void TKQVXFormulaPanel::SetSyncMode() {
  if (!asyncThread_) return;
  asyncThread_.reset();  // terminates it once the queued packets are evaluated, and waits
}

void TKQVXFormulaPanel::SendAsyncEvent() {
  if (!settings_.evaluateAsynchronously) return;
  auto packet = std::make_unique<TWLDataInputPacket>();
  CopyValues(pending_.Inputs, packet->Inputs);
  CopyParsDouble(pending_.TimeChannel, packet->TimeChannel);
  packet->TimeStart = pending_.TimeStart;
  packet->TimeLength = pending_.TimeLength;
  packet->StringInput = pending_.StringInput;
  packet->SerialInput = pending_.SerialInput;
  std::lock_guard<std::mutex> queue(queueLock_);
  inputQueue_.push_back(std::move(packet));
  if (asyncThread_) asyncThread_->WakeUp.Set();  // under the lock: the worker cannot miss it
}

void TKQVXFormulaPanel::CopyPacketToInputs(const TWLDataInputPacket& packet) {
  for (std::size_t i = 0; i < packet.Inputs.size() && i < inputs_.size(); ++i)
    CopyParsDouble(packet.Inputs[i], inputs_[i]);
  CopyParsDouble(packet.TimeChannel, timeChannel_);
  timestart_ = TVXParsDouble::Number(packet.TimeStart);
  timelength_ = TVXParsDouble::Number(packet.TimeLength);
  stringInput_.VarType = vtString;
  stringInput_.StrValue = packet.StringInput;
  serialInput_.VarType = vtString;
  serialInput_.StrValue = packet.SerialInput;
}

// The worker's wake-up event is reset under the queue lock at the moment the queue is seen
// empty, so a packet queued just then still wakes it: no packet waits for the next one.
void TKQVXFormulaPanel::EvaluateQueuedPackets(TWLAsyncThread& worker) {
  std::lock_guard<std::mutex> evaluation(evaluationLock_);
  while (!worker.Stop) {
    {
      std::lock_guard<std::mutex> queue(queueLock_);
      if (inputQueue_.empty()) {
        worker.WakeUp.Reset();
        return;
      }
      CopyPacketToInputs(*inputQueue_.front());
      inputQueue_.pop_front();
    }
    if (worker.Stop) return;
    EvaluateFormulaInternal(asyncResult_);
    CopyResult(asyncResult_, controlOutput_);
    std::lock_guard<std::mutex> queue(queueLock_);
    if (worker.Stop) return;
    CopyCacheToOutputQueue();
    host_.PostMessage(kMsgDataDone);
  }
}

}  // namespace loom
