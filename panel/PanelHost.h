// The host as a panel sees it: everything a formula panel asks of the measurement application
// that places it on a worksheet. The reference host of `loom run` and the recording host of the
// tests implement it (host/); the panel never knows which.
//
// Threads: the host calls the panel, and the panel calls the host, on the host's main thread,
// with three exceptions the panel's evaluation thread uses while a formula runs there:
// PostMessage (to hand results back), TickCount and GlobalStopRecursion. They must be safe from
// any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace loom {

class TKQVXFormulaPanel;

// The messages a panel posts to its own window and to the host. The numbers are the window
// messages of the host's protocol: keep them.
enum TPanelMessage : std::uint32_t {
  kMsgEvaluate = 3044,     // one Formula cycle, asked by the panel itself
  kMsgStopRequest = 4148,  // to the host's top-level window: stop the measurement
  kMsgDataDone = 9216,     // results of the evaluation thread are waiting
};

// The event class of every event a panel fires.
inline constexpr int kPanelEventClass = 9;

// A control property's value as it crosses between components: nothing, an integer, a
// floating-point number, a text or a boolean.
using TPropertyValue = std::variant<std::monostate, std::int64_t, double, std::string, bool>;

// The handler of a control property: on read it fills value, on write it takes it.
using TPropertyHandler = std::function<void(bool read, TPropertyValue& value)>;

// A control property the panel offers to other components.
struct TPropertyDefinition {
  std::string Name;
  std::string Caption;
  TPropertyHandler Handler;
  TPropertyValue Default;
  // Integer properties with named choices (the action property): the range and the names.
  std::int64_t Minimum = 0;
  std::int64_t Maximum = 0;
  std::vector<std::string> Choices;
};

// An event the panel offers: its index (what EventFire passes), name and display text.
struct TEventDefinition {
  int Index = 0;
  std::string Name;
  std::string DisplayText;
};

// One connection of the panel's control list: a property of another component that the
// panel's result drives.
struct TControlItem {
  int Id = 0;  // the host's identifier of the target component and property
  bool Disabled = false;
  TPropertyValue PresetTrue;  // boolean mode: what true and false send
  TPropertyValue PresetFalse;
};

// An output data channel as the panel registers it with the host.
struct TOutputChannelDefinition {
  std::string Name;
  std::string Origin;  // the formula variable it carries
  std::string Unit;
  double Minimum = 0;
  double Maximum = 0;
  std::int32_t Color = 0;
};

// One channel's part of a block of data arriving at the panel.
struct TChannelBlock {
  double TimeStart = 0;  // the time axis of the channel's definition
  double TimeEnd = 0;
  const double* Samples = nullptr;
  std::size_t Count = 0;
};

// One output channel's block as the panel sends it.
struct TOutputBlock {
  int Channel = 0;  // index in the registered channel list
  const double* Samples = nullptr;
  std::size_t Count = 0;
  double TimeStart = 0;
  double TimeLength = 0;
  const std::vector<double>* Times = nullptr;  // the time channel, when it has one per sample
};

class TPanelHost {
 public:
  virtual ~TPanelHost() = default;

  // The panel announces itself once it is built (and with null before it is destroyed); the
  // host delivers messages, timer ticks and data to it from then on.
  virtual void AttachPanel(TKQVXFormulaPanel* panel) = 0;

  // --- events ---
  virtual void ClearEvents() = 0;
  virtual void RegisterEvent(const TEventDefinition& event) = 0;
  virtual void EventFire(int index, int eventClass, const std::string& text) = 0;
  // The long form, with the numeric arguments of a formula's FireEventEx.
  virtual void EventFire(int index, int eventClass, std::int32_t channelIndex, double startTime,
                         double endTime, std::int32_t iData1, std::int32_t iData2, double dData1,
                         double dData2, double dData3, double dData4, const std::string& text) = 0;

  // --- control properties the panel offers ---
  virtual void ClearProperties() = 0;
  // Returns the property's identifier.
  virtual int RegisterProperty(const TPropertyDefinition& property) = 0;
  virtual void UpdatedProperties() = 0;
  virtual void EventFireAllPropertiesUpdated() = 0;

  // --- the panel's control list: properties of other components it drives ---
  // Read on every cycle: the host keeps the list, so that reading it copies nothing.
  virtual const std::vector<TControlItem>& ControlList() = 0;
  // True when the item is connected to a live component.
  virtual bool CheckPropertyConnnection(const TControlItem& item) = 0;
  virtual void SetTargetProperty(const TControlItem& item, const TPropertyValue& value) = 0;

  // --- data channels ---
  // The channels the panel reads, by origin name; their blocks arrive in this order.
  virtual void SetInputChannels(const std::vector<std::string>& origins) = 0;
  virtual void ChannelListClear() = 0;
  virtual void ChannelListAdd(const TOutputChannelDefinition& channel) = 0;
  virtual void ChannelChangeUpdate() = 0;
  virtual void SendData(const TOutputBlock& block) = 0;

  // --- the host's state and services ---
  // True while the host is stopping: no jump is taken and no evaluation starts.
  virtual bool GlobalStopRecursion() = 0;
  virtual void SetGlobalStopRecursion(bool stopping) = 0;
  // The directory relative file names of formulas resolve against (the worksheet's).
  virtual std::string BaseDirectory() = 0;
  // Milliseconds of a monotonic clock, wrapping at 2^32.
  virtual std::uint32_t TickCount() = 0;

  // --- the panel's window and timer ---
  // Queues message for the panel's window; the host hands it to the panel's WndProc on the
  // main thread. Safe from any thread.
  virtual void PostMessage(std::uint32_t message) = 0;
  // Drops the queued messages of that number; returns how many.
  virtual int RemoveMessages(std::uint32_t message) = 0;
  // Posts kMsgStopRequest to the host's top-level window.
  virtual void PostStopRequest() = 0;
  // The execution timer: while running it calls the panel's DoOnExecutionTimer every interval.
  virtual void SetExecutionTimer(bool running, int intervalMs) = 0;
  virtual bool ExecutionTimerRunning() = 0;

  // The panel's serial port lost its device (false) or has it open again (true).
  virtual void SerialPortStateChanged(bool /*connected*/) {}
};

}  // namespace loom
