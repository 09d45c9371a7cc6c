// One panel's place on a worksheet of the reference host: the TPanelHost a panel is built on.
// The site keeps what the panel registers (events, properties, output channels), gives the
// panel its window and execution timer on the host's message loop, and hands everything else
// (events, control writes, output data, stop requests, the clock) to its owner, the host that
// runs the worksheet.
//
// Threads: the host's main thread, which runs the loop; PostMessage from any thread (the
// panel's evaluation thread posts its results).
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "host/MessageLoop.h"
#include "panel/PanelHost.h"

namespace loom {

class TPanelSite;
class TKQVXFormulaPanel;

// One output channel's block as the panel sent it, copied out of the panel's storage.
struct TSentBlock {
  bool Present = false;
  std::vector<double> Samples;
  double TimeStart = 0;
  double TimeLength = 0;
  bool HasTimes = false;
  std::vector<double> Times;
};

// What a site asks of the host that owns it.
class TSiteOwner {
 public:
  virtual ~TSiteOwner() = default;
  virtual void OnEvent(TPanelSite& site, int index, const std::string& text,
                       const std::vector<double>* arguments) = 0;
  virtual bool IsConnected(TPanelSite& site, const TControlItem& item) = 0;
  virtual void OnSetTarget(TPanelSite& site, const TControlItem& item,
                           const TPropertyValue& value) = 0;
  // One cycle's output blocks, one entry per output channel (absent ones not Present).
  virtual void OnOutputs(TPanelSite& site, const std::vector<TSentBlock>& blocks) = 0;
  virtual void OnStopRequest(TPanelSite& site) = 0;
  virtual void OnSerialState(TPanelSite& site, bool connected) = 0;
  virtual bool Stopping() = 0;
  virtual void SetStopping(bool stopping) = 0;
  virtual std::uint32_t TickCount() = 0;
  virtual std::string BaseDirectory() = 0;
};

class TPanelSite : public TPanelHost {
 public:
  TPanelSite(TSiteOwner& owner, TMessageLoop& loop, std::string name, std::size_t index);
  ~TPanelSite() override;
  TPanelSite(const TPanelSite&) = delete;
  TPanelSite& operator=(const TPanelSite&) = delete;

  const std::string& Name() const { return name_; }
  std::size_t Index() const { return index_; }
  TKQVXFormulaPanel* Panel() const { return panel_; }
  const std::vector<TEventDefinition>& Events() const { return events_; }
  const std::vector<TOutputChannelDefinition>& OutputChannels() const { return outputs_; }
  // The property of that name (case-insensitive), or null.
  TPropertyDefinition* FindProperty(const std::string& name);
  const std::vector<TPropertyDefinition>& Properties() const { return properties_; }
  // The control list the host gives the panel: the links its result drives.
  std::vector<TControlItem> Controls;

  // Runs call (something that calls into the panel), adds its time to the busy time, and
  // hands the output blocks the panel sent meanwhile to the owner.
  template <class F>
  void Call(F&& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    busy_ += std::chrono::steady_clock::now() - start;
    FlushOutputs();
  }
  // Writes a property of the panel through its handler, as a connected component would.
  void WriteProperty(TPropertyDefinition& property, TPropertyValue value);
  // The time spent inside the panel since the last call, in milliseconds; restarts it.
  double TakeBusyMilliseconds();

  // --- TPanelHost ---
  void AttachPanel(TKQVXFormulaPanel* panel) override { panel_ = panel; }
  void ClearEvents() override { events_.clear(); }
  void RegisterEvent(const TEventDefinition& event) override { events_.push_back(event); }
  void EventFire(int index, int eventClass, const std::string& text) override;
  void EventFire(int index, int eventClass, std::int32_t channelIndex, double startTime,
                 double endTime, std::int32_t iData1, std::int32_t iData2, double dData1,
                 double dData2, double dData3, double dData4, const std::string& text) override;
  void ClearProperties() override { properties_.clear(); }
  int RegisterProperty(const TPropertyDefinition& property) override;
  void UpdatedProperties() override {}
  void EventFireAllPropertiesUpdated() override {}
  const std::vector<TControlItem>& ControlList() override { return Controls; }
  bool CheckPropertyConnnection(const TControlItem& item) override;
  void SetTargetProperty(const TControlItem& item, const TPropertyValue& value) override;
  void SetInputChannels(const std::vector<std::string>& /*origins*/) override {}
  void ChannelListClear() override { outputs_.clear(); }
  void ChannelListAdd(const TOutputChannelDefinition& channel) override;
  void ChannelChangeUpdate() override {}
  void SendData(const TOutputBlock& block) override;
  bool GlobalStopRecursion() override { return owner_.Stopping(); }
  void SetGlobalStopRecursion(bool stopping) override { owner_.SetStopping(stopping); }
  std::string BaseDirectory() override { return owner_.BaseDirectory(); }
  std::uint32_t TickCount() override { return owner_.TickCount(); }
  void PostMessage(std::uint32_t message) override;
  int RemoveMessages(std::uint32_t message) override;
  void PostStopRequest() override { owner_.OnStopRequest(*this); }
  void SetExecutionTimer(bool running, int intervalMs) override;
  bool ExecutionTimerRunning() override;
  void SerialPortStateChanged(bool connected) override { owner_.OnSerialState(*this, connected); }

 private:
  // Hands the blocks sent since the last flush to the owner as one cycle's outputs.
  void FlushOutputs();

  TSiteOwner& owner_;
  TMessageLoop& loop_;
  std::string name_;
  std::size_t index_;
  TKQVXFormulaPanel* panel_ = nullptr;
  TMessageTargetId window_ = 0;  // set once in the constructor; PostMessage reads it
  TTimerId timer_ = 0;
  std::vector<TEventDefinition> events_;
  std::vector<TPropertyDefinition> properties_;
  std::vector<TOutputChannelDefinition> outputs_;
  std::vector<TSentBlock> sent_;  // this cycle's blocks, one per output channel
  bool anySent_ = false;
  std::chrono::steady_clock::duration busy_{};
};

}  // namespace loom
