// Data in and out: blocks of channel data become the values of the input variables, and the
// values of the output variables go out as channel data.
#include <cstring>

#include "panel/FormulaPanel.h"

namespace loom {

namespace {

// Makes slot a number for one sample, a vector for several and an empty vector for none.
void StoreSamples(const TChannelBlock& block, TVXParsDouble& slot) {
  if (block.Count == 1) {
    slot.VarType = vtDouble;
    slot.Value = block.Samples[0];
    return;
  }
  slot.VarType = vtVector;
  slot.Vector.resize(block.Count);
  if (block.Count > 0) std::memcpy(slot.Vector.data(), block.Samples, block.Count * sizeof(double));
}

}  // namespace

// Data channel k feeds the input variable named by the k-th channel variable; when that names
// no input variable, it feeds input variable k.
std::size_t TKQVXFormulaPanel::SlotOfChannel(std::size_t k) const {
  if (k < settings_.ChannelVariables.size()) {
    const std::string& name = settings_.ChannelVariables[k];
    for (std::size_t i = 0; i < settings_.InputVariables.size(); ++i)
      if (!name.empty() && settings_.InputVariables[i] == name) return i;
  }
  return k;
}

void TKQVXFormulaPanel::SetupDataSink() {
  host_.SetInputChannels(settings_.ChannelOrigins);
}

void TKQVXFormulaPanel::SetupDataSource() {
  host_.ChannelListClear();
  for (const TOutputChannelDefinition& channel : settings_.OutputChannels)
    host_.ChannelListAdd(channel);
  host_.ChannelChangeUpdate();
}

// The time axis of a block comes from the first channel's definition; extra channels are
// ignored and inputs without a channel keep their values.
// In asynchronous mode the block goes into the snapshot that the next input packet carries;
// the live variables belong to the evaluation thread.
void TKQVXFormulaPanel::DoOnNewData(const std::vector<TChannelBlock>& channels,
                                    const std::vector<double>* times, double start) {
  if (!panelEnabled_) return;
  const bool async = SnapshotInputs();
  std::vector<TVXParsDouble>& slots = async ? pending_.Inputs : inputs_;
  double& timeStart = async ? pending_.TimeStart : timestart_.Value;
  double& timeLength = async ? pending_.TimeLength : timelength_.Value;
  TVXParsDouble& timeChannel = async ? pending_.TimeChannel : timeChannel_;
  const std::size_t handled = std::min(channels.size(), slots.size());
  for (std::size_t k = 0; k < handled; ++k) {
    const std::size_t slot = SlotOfChannel(k);
    if (slot >= slots.size()) continue;
    if (k == 0) {
      timeStart = channels[k].TimeStart;
      timeLength = channels[k].TimeEnd - channels[k].TimeStart;
    }
    StoreSamples(channels[k], slots[slot]);
  }
  if (times != nullptr && !times->empty()) {
    timeStart = start;
    timeChannel.VarType = vtVector;
    timeChannel.Vector = *times;
  }
  if (!async) timestart_.VarType = timelength_.VarType = vtDouble;
}

const TVXParsDouble* TKQVXFormulaPanel::OutputValue(std::size_t n) const {
  TVXParsExprWord* word = evaluator_.Words().Find(settings_.OutputChannels[n].Origin.c_str());
  const TVXParsDouble* value = word != nullptr ? word->AsPointer() : nullptr;
  if (value != nullptr && (value->VarType == vtDouble || value->VarType == vtVector)) return value;
  return nullptr;
}

// The values of the output variables, deep copies; invalid tells whether one cannot be sent.
std::vector<TVXParsDouble> TKQVXFormulaPanel::OutputValues(bool& invalid) const {
  invalid = false;
  std::vector<TVXParsDouble> values(settings_.OutputChannels.size());
  for (std::size_t n = 0; n < values.size(); ++n) {
    if (const TVXParsDouble* value = OutputValue(n))
      CopyParsDouble(*value, values[n]);
    else
      invalid = true, values[n].VarType = vtString;  // marks the channel as not sendable
  }
  return values;
}

bool TKQVXFormulaPanel::SendOutput(std::size_t n, const TVXParsDouble& value,
                                   const TVXParsDouble& timeChannel, double timeStart,
                                   double timeLength) {
  TOutputBlock block;
  block.Channel = static_cast<int>(n);
  block.TimeStart = timeStart;
  block.TimeLength = timeLength;
  if (value.VarType == vtDouble) {
    block.Samples = &value.Value;
    block.Count = 1;
  } else if (value.VarType == vtVector) {
    block.Samples = value.Vector.data();
    block.Count = value.Vector.size();
  } else {
    return false;
  }
  if (timeChannel.VarType == vtVector && timeChannel.Vector.size() == block.Count)
    block.Times = &timeChannel.Vector;
  host_.SendData(block);
  return true;
}

void TKQVXFormulaPanel::SendOutputs(const std::vector<TVXParsDouble>& values,
                                    const TVXParsDouble& timeChannel, double timeStart,
                                    double timeLength) {
  bool invalid = false;
  for (std::size_t n = 0; n < values.size(); ++n)
    if (!SendOutput(n, values[n], timeChannel, timeStart, timeLength)) invalid = true;
  if (invalid) FireInvalidDataType();
}

void TKQVXFormulaPanel::FireInvalidDataType() {
  FireEvent(fpevInvalidDataTypeInDataChannel,
            kPanelEvents[fpevInvalidDataTypeInDataChannel].DisplayText);
}

// The variables are sent where they are: the lock keeps the worker away while the host reads
// them, so a synchronous cycle copies no output.
void TKQVXFormulaPanel::UpdateDataSourceOutput() {
  if (settings_.OutputChannels.empty()) return;
  std::lock_guard<std::mutex> evaluation(evaluationLock_);  // the variables are the worker's too
  bool invalid = false;
  for (std::size_t n = 0; n < settings_.OutputChannels.size(); ++n) {
    const TVXParsDouble* value = OutputValue(n);
    if (value == nullptr ||
        !SendOutput(n, *value, timeChannel_, timestart_.Value, timelength_.Value))
      invalid = true;
  }
  if (invalid) FireInvalidDataType();
}

// The result in the packet is the ControlOutput variable: a formula that calls UpdateOutputs
// sets it first, and after a cycle it holds the cycle's result.
void TKQVXFormulaPanel::CopyCacheToOutputQueue() {
  auto packet = std::make_unique<TWLDataOutputPacket>();
  CopyResult(controlOutput_, packet->Result);
  packet->EnableOutput = enableOutput_.Value;
  bool invalid = false;
  packet->Channels = OutputValues(invalid);
  CopyParsDouble(timeChannel_, packet->TimeChannel);
  packet->TimeStart = timestart_.Value;
  packet->TimeLength = timelength_.Value;
  packet->Events = std::move(evaluator_.DeferredEvents);
  evaluator_.DeferredEvents.clear();
  packet->SerialInputTrigger = serialInputTrigger_.Value;
  outputQueue_.push_back(std::move(packet));
}

}  // namespace loom
