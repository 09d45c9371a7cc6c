// A host that keeps nothing, for benchmarks of the panel alone: every call returns at once,
// and the data-done messages of an evaluation thread are only counted.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "panel/FormulaPanel.h"

namespace loom {

class TNullHost : public TPanelHost {
 public:
  std::atomic<int> dataDone{0};
  void AttachPanel(TKQVXFormulaPanel*) override {}
  void ClearEvents() override {}
  void RegisterEvent(const TEventDefinition&) override {}
  void EventFire(int, int, const std::string&) override {}
  void EventFire(int, int, std::int32_t, double, double, std::int32_t, std::int32_t, double, double,
                 double, double, const std::string&) override {}
  void ClearProperties() override {}
  int RegisterProperty(const TPropertyDefinition&) override { return 0; }
  void UpdatedProperties() override {}
  void EventFireAllPropertiesUpdated() override {}
  const std::vector<TControlItem>& ControlList() override { return controls_; }
  bool CheckPropertyConnnection(const TControlItem&) override { return false; }
  void SetTargetProperty(const TControlItem&, const TPropertyValue&) override {}
  void SetInputChannels(const std::vector<std::string>&) override {}
  void ChannelListClear() override {}
  void ChannelListAdd(const TOutputChannelDefinition&) override {}
  void ChannelChangeUpdate() override {}
  void SendData(const TOutputBlock&) override {}
  bool GlobalStopRecursion() override { return false; }
  void SetGlobalStopRecursion(bool) override {}
  std::string BaseDirectory() override { return "."; }
  std::uint32_t TickCount() override { return 0; }
  void PostMessage(std::uint32_t message) override {
    if (message == kMsgDataDone) dataDone.fetch_add(1, std::memory_order_release);
  }
  int RemoveMessages(std::uint32_t) override { return 0; }
  void PostStopRequest() override {}
  void SetExecutionTimer(bool, int) override {}
  bool ExecutionTimerRunning() override { return false; }

 private:
  const std::vector<TControlItem> controls_;  // none
};

}  // namespace loom
