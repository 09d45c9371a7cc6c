#include "host/PanelSite.h"

#include "host/IniScan.h"
#include "panel/FormulaPanel.h"

namespace loom {

TPanelSite::TPanelSite(TSiteOwner& owner, TMessageLoop& loop, std::string name, std::size_t index)
    : owner_(owner), loop_(loop), name_(std::move(name)), index_(index) {
  window_ = loop_.RegisterTarget([this](const TMessage& message) {
    if (panel_ != nullptr) Call([&] { panel_->WndProc(message.Message); });
  });
  timer_ = loop_.CreateTimer([this] {
    if (panel_ != nullptr) Call([&] { panel_->DoOnExecutionTimer(); });
  });
}

TPanelSite::~TPanelSite() {
  loop_.DeleteTimer(timer_);
  loop_.UnregisterTarget(window_);
}

TPropertyDefinition* TPanelSite::FindProperty(const std::string& name) {
  for (TPropertyDefinition& property : properties_)
    if (EqualsNoCase(property.Name, name)) return &property;
  return nullptr;
}

void TPanelSite::WriteProperty(TPropertyDefinition& property, TPropertyValue value) {
  Call([&] { property.Handler(false, value); });
}

double TPanelSite::TakeBusyMilliseconds() {
  const double ms = std::chrono::duration<double, std::milli>(busy_).count();
  busy_ = {};
  return ms;
}

void TPanelSite::EventFire(int index, int /*eventClass*/, const std::string& text) {
  owner_.OnEvent(*this, index, text, nullptr);
}

void TPanelSite::EventFire(int index, int /*eventClass*/, std::int32_t channelIndex,
                           double startTime, double endTime, std::int32_t iData1,
                           std::int32_t iData2, double dData1, double dData2, double dData3,
                           double dData4, const std::string& text) {
  const std::vector<double> arguments = {static_cast<double>(channelIndex),
                                         startTime,
                                         endTime,
                                         static_cast<double>(iData1),
                                         static_cast<double>(iData2),
                                         dData1,
                                         dData2,
                                         dData3,
                                         dData4};
  owner_.OnEvent(*this, index, text, &arguments);
}

int TPanelSite::RegisterProperty(const TPropertyDefinition& property) {
  properties_.push_back(property);
  return static_cast<int>(properties_.size()) - 1;
}

bool TPanelSite::CheckPropertyConnnection(const TControlItem& item) {
  return owner_.IsConnected(*this, item);
}

void TPanelSite::SetTargetProperty(const TControlItem& item, const TPropertyValue& value) {
  owner_.OnSetTarget(*this, item, value);
}

void TPanelSite::ChannelListAdd(const TOutputChannelDefinition& channel) {
  outputs_.push_back(channel);
}

void TPanelSite::SendData(const TOutputBlock& block) {
  const auto channel = static_cast<std::size_t>(block.Channel);
  if (channel >= outputs_.size()) return;
  if (sent_.size() != outputs_.size()) sent_.assign(outputs_.size(), {});
  // A channel sent twice means a second cycle's outputs began (several results of the
  // evaluation thread can arrive with one message).
  if (sent_[channel].Present) FlushOutputs();
  TSentBlock& copy = sent_[channel];
  copy.Present = true;
  copy.Samples.assign(block.Samples, block.Samples + block.Count);
  copy.TimeStart = block.TimeStart;
  copy.TimeLength = block.TimeLength;
  copy.HasTimes = block.Times != nullptr;
  if (copy.HasTimes) copy.Times = *block.Times;
  anySent_ = true;
}

void TPanelSite::FlushOutputs() {
  if (!anySent_) return;
  anySent_ = false;
  owner_.OnOutputs(*this, sent_);
  for (TSentBlock& block : sent_) block.Present = false;
}

void TPanelSite::PostMessage(std::uint32_t message) {
  loop_.Post(window_, message);
}

int TPanelSite::RemoveMessages(std::uint32_t message) {
  return loop_.RemovePending(window_, message);
}

void TPanelSite::SetExecutionTimer(bool running, int intervalMs) {
  if (running == loop_.TimerEnabled(timer_)) return;
  loop_.SetTimerInterval(timer_, intervalMs);
  loop_.SetTimerEnabled(timer_, running);
}

bool TPanelSite::ExecutionTimerRunning() {
  return loop_.TimerEnabled(timer_);
}

}  // namespace loom
