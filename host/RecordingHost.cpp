#include "host/RecordingHost.h"

#include <algorithm>

#include "engine/ParserClasses.h"
#include "panel/FormulaPanel.h"

namespace loom {

std::string PropertyText(const TPropertyValue& value) {
  if (const auto* i = std::get_if<std::int64_t>(&value)) return std::to_string(*i);
  if (const auto* d = std::get_if<double>(&value)) return FloatToStr(*d);
  if (const auto* s = std::get_if<std::string>(&value)) return "'" + *s + "'";
  if (const auto* b = std::get_if<bool>(&value)) return *b ? "true" : "false";
  return "(none)";
}

TRecordingHost::TRecordingHost() : loop_([this] { return static_cast<std::int64_t>(Ticks); }) {
  window_ = loop_.RegisterTarget([this](const TMessage& message) {
    if (Panel != nullptr) Panel->WndProc(message.Message);
  });
  timer_ = loop_.CreateTimer([this] {
    if (Panel != nullptr) Panel->DoOnExecutionTimer();
  });
}

std::vector<std::string> TRecordingHost::CallsOf(const std::string& prefix) const {
  std::vector<std::string> out;
  for (const std::string& call : Calls)
    if (call.compare(0, prefix.size(), prefix) == 0) out.push_back(call);
  return out;
}

int TRecordingHost::Pump() {
  return loop_.ProcessPending();
}

int TRecordingHost::PumpWaiting(int timeoutMs) {
  return loop_.WaitAndProcess(timeoutMs);
}

TPropertyValue TRecordingHost::ReadProperty(const std::string& name) {
  TPropertyValue value;
  for (TPropertyDefinition& p : Properties)
    if (p.Name == name) p.Handler(true, value);
  return value;
}

void TRecordingHost::WriteProperty(const std::string& name, TPropertyValue value) {
  for (TPropertyDefinition& p : Properties)
    if (p.Name == name) p.Handler(false, value);
}

void TRecordingHost::AttachPanel(TKQVXFormulaPanel* panel) {
  Panel = panel;
}

void TRecordingHost::ClearEvents() {
  Events.clear();
  Calls.push_back("events cleared");
}

void TRecordingHost::RegisterEvent(const TEventDefinition& event) {
  Events.push_back(event);
}

void TRecordingHost::EventFire(int index, int eventClass, const std::string& text) {
  Calls.push_back("event " + std::to_string(index) + (eventClass == kPanelEventClass ? "" : "!") +
                  " '" + text + "'");
}

void TRecordingHost::EventFire(int index, int eventClass, std::int32_t channelIndex,
                               double startTime, double endTime, std::int32_t iData1,
                               std::int32_t iData2, double dData1, double dData2, double dData3,
                               double dData4, const std::string& text) {
  std::string call = "event " + std::to_string(index) +
                     (eventClass == kPanelEventClass ? "" : "!") + " '" + text + "'";
  for (double n :
       {static_cast<double>(channelIndex), startTime, endTime, static_cast<double>(iData1),
        static_cast<double>(iData2), dData1, dData2, dData3, dData4})
    call += " " + FloatToStr(n);
  Calls.push_back(call);
}

void TRecordingHost::ClearProperties() {
  Properties.clear();
}

int TRecordingHost::RegisterProperty(const TPropertyDefinition& property) {
  Properties.push_back(property);
  return static_cast<int>(Properties.size()) - 1;
}

void TRecordingHost::UpdatedProperties() {
  Calls.push_back("properties updated");
}

void TRecordingHost::EventFireAllPropertiesUpdated() {
  Calls.push_back("all properties updated");
}

bool TRecordingHost::CheckPropertyConnnection(const TControlItem& item) {
  return std::find(Connected.begin(), Connected.end(), item.Id) != Connected.end();
}

void TRecordingHost::SetTargetProperty(const TControlItem& item, const TPropertyValue& value) {
  Calls.push_back("set " + std::to_string(item.Id) + " " + PropertyText(value));
}

void TRecordingHost::SetInputChannels(const std::vector<std::string>& origins) {
  InputChannels = origins;
}

void TRecordingHost::ChannelListClear() {
  OutputChannels.clear();
}

void TRecordingHost::ChannelListAdd(const TOutputChannelDefinition& channel) {
  OutputChannels.push_back(channel);
}

void TRecordingHost::ChannelChangeUpdate() {
  Calls.push_back("channels updated");
}

void TRecordingHost::SendData(const TOutputBlock& block) {
  TVXParsDouble samples =
      TVXParsDouble::FromVector(TVXVect(block.Samples, block.Samples + block.Count));
  Calls.push_back("data " + std::to_string(block.Channel) + " " + ParsDoubleAsString(samples) +
                  " t=" + FloatToStr(block.TimeStart) + "+" + FloatToStr(block.TimeLength) +
                  (block.Times != nullptr ? " times" : ""));
}

void TRecordingHost::SetGlobalStopRecursion(bool stopping) {
  Stopping = stopping;
  Calls.push_back(std::string("global stop ") + (stopping ? "on" : "off"));
}

std::uint32_t TRecordingHost::TickCount() {
  return Ticks.fetch_add(TickStep);
}

void TRecordingHost::PostMessage(std::uint32_t message) {
  if (message == kMsgDataDone) ++PostedDataDone;
  loop_.Post(window_, message);
}

int TRecordingHost::RemoveMessages(std::uint32_t message) {
  return loop_.RemovePending(window_, message);
}

void TRecordingHost::PostStopRequest() {
  Calls.push_back("stop request");
}

void TRecordingHost::SetExecutionTimer(bool running, int intervalMs) {
  if (running == loop_.TimerEnabled(timer_)) return;
  loop_.SetTimerInterval(timer_, intervalMs);
  loop_.SetTimerEnabled(timer_, running);
  Calls.push_back(running ? "timer on" : "timer off");
}

bool TRecordingHost::ExecutionTimerRunning() {
  return loop_.TimerEnabled(timer_);
}

void TRecordingHost::SerialPortStateChanged(bool connected) {
  Calls.push_back(std::string("serial ") + (connected ? "back" : "lost"));
}

}  // namespace loom
