// A host for tests: it runs one panel on a message loop with a clock the test sets, and keeps
// every call the panel makes, in order, as one line of text each, so a test asserts whole
// sequences ("event 2 ''", "set 7 1.5", "data 0 [1, 2]").
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/MessageLoop.h"
#include "panel/PanelHost.h"

namespace loom {

class TRecordingHost : public TPanelHost {
 public:
  TRecordingHost();

  // --- what the test sets ---
  std::atomic<std::uint32_t> Ticks{0};  // the tick count the panel reads
  std::uint32_t TickStep = 0;         // added after every read, so time passes while a section runs
  std::atomic<bool> Stopping{false};  // GlobalStopRecursion
  std::string Base = ".";
  std::vector<TControlItem> Controls;  // the panel's control list
  std::vector<int> Connected;          // ids of the items CheckPropertyConnnection accepts

  // --- what the panel did ---
  std::vector<std::string> Calls;
  std::atomic<int> PostedDataDone{0};  // messages 9216 posted, from any thread
  std::vector<TPropertyDefinition> Properties;
  std::vector<TEventDefinition> Events;
  std::vector<std::string> InputChannels;
  std::vector<TOutputChannelDefinition> OutputChannels;
  TKQVXFormulaPanel* Panel = nullptr;

  // The calls that begin with prefix (a word such as "event"), in order.
  std::vector<std::string> CallsOf(const std::string& prefix) const;
  // Delivers the posted messages and fires the timer when its period has passed on Ticks.
  int Pump();
  // Waits up to timeoutMs of real time for a message from another thread, then pumps.
  int PumpWaiting(int timeoutMs);
  // Reads or writes a property the panel offers, through its handler.
  TPropertyValue ReadProperty(const std::string& name);
  void WriteProperty(const std::string& name, TPropertyValue value);

  // --- TPanelHost ---
  void AttachPanel(TKQVXFormulaPanel* panel) override;
  void ClearEvents() override;
  void RegisterEvent(const TEventDefinition& event) override;
  void EventFire(int index, int eventClass, const std::string& text) override;
  void EventFire(int index, int eventClass, std::int32_t channelIndex, double startTime,
                 double endTime, std::int32_t iData1, std::int32_t iData2, double dData1,
                 double dData2, double dData3, double dData4, const std::string& text) override;
  void ClearProperties() override;
  int RegisterProperty(const TPropertyDefinition& property) override;
  void UpdatedProperties() override;
  void EventFireAllPropertiesUpdated() override;
  const std::vector<TControlItem>& ControlList() override { return Controls; }
  bool CheckPropertyConnnection(const TControlItem& item) override;
  void SetTargetProperty(const TControlItem& item, const TPropertyValue& value) override;
  void SetInputChannels(const std::vector<std::string>& origins) override;
  void ChannelListClear() override;
  void ChannelListAdd(const TOutputChannelDefinition& channel) override;
  void ChannelChangeUpdate() override;
  void SendData(const TOutputBlock& block) override;
  bool GlobalStopRecursion() override { return Stopping; }
  void SetGlobalStopRecursion(bool stopping) override;
  std::string BaseDirectory() override { return Base; }
  std::uint32_t TickCount() override;
  void PostMessage(std::uint32_t message) override;
  int RemoveMessages(std::uint32_t message) override;
  void PostStopRequest() override;
  void SetExecutionTimer(bool running, int intervalMs) override;
  bool ExecutionTimerRunning() override;
  void SerialPortStateChanged(bool connected) override;

 private:
  TMessageLoop loop_;
  TMessageTargetId window_ = 0;
  TTimerId timer_ = 0;
};

// A property value as the recording shows it: 1.5, 'text', true, 3, (none).
std::string PropertyText(const TPropertyValue& value);

}  // namespace loom
