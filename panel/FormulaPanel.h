// The formula panel: the component a host places on its worksheets. It holds a list of
// expressions cut into three sections (Initialization, Formula, Exit), compiles them into its
// own evaluator, runs the Formula section on every execute call or block of data, and hands the
// results to its host as control values, events and output data channels.
//
// Threads: everything here runs on the host's main thread, except Abort, which any thread may
// call, and, with evaluateAsynchronously, the Formula section, which runs on the panel's
// evaluation thread (TWLAsyncThread). The two threads share only the packet queues, under the
// queue lock; the evaluation thread holds the evaluation lock for a whole batch and the main
// thread takes it whenever it runs a section itself, always before the queue lock. The panel is
// its evaluator's host (TFormulaHost): UpdateOutputs, UpdateInputData, the serial port and the
// engine bridge reach the world through it.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "engine/Sections.h"
#include "functions/FormulaHost.h"
#include "functions/Registry.h"
#include "panel/AsyncThread.h"
#include "panel/PanelHost.h"
#include "panel/PanelSettings.h"
#include "serial/SerialIO.h"

namespace loom {

class TMatlabFormulaEngine;

// Feature flags that the host grants a panel (a set: bit n is option n).
enum TVXFormulaOption : std::uint8_t {
  foptPublishControlChannels,
  foptAccessDataChannels,
  foptControlsPanels,
  foptPublishDataChannels,
  foptUseMatlab,
  foptUseFile,
  foptUseRS232
};
using TVXFormulaOptions = std::uint32_t;
constexpr TVXFormulaOptions OptionBit(TVXFormulaOption option) {
  return 1u << option;
}

// ORDER TKQVXFPEvents: kPanelEvents lists the events in this order; the value is the index
// given to the host.
enum TKQVXFPEvents : std::uint8_t {
  fpevExpressionError,
  fpevEvaluationError,
  fpevBeforeEvaluation,
  fpevAfterEvaluation,
  fpevResultTrue,
  fpevResultFalse,
  fpevResultChangedTrue,
  fpevResultChangedFalse,
  fpevSerialInputTrigger,
  fpevSerialOutputDone,
  fpevInvalidDataTypeInDataChannel
};
struct TPanelEventName {
  const char* Name;
  const char* DisplayText;
};
extern const TPanelEventName kPanelEvents[fpevInvalidDataTypeInDataChannel + 1];

// The actions another component can ask of the panel through its action property.
enum TKQVXFPAction : std::uint8_t { fpaNone, fpaEvaluate, fpaInitialize, fpaExit, fpaAbort };

// What one Formula cycle leaves for the main thread: the result, the EnableOutput value at the
// end of the cycle, the output channels' values and the events the formula queued.
struct TWLDataOutputPacket {
  TVXParsDouble Result;
  double EnableOutput = 1;
  std::vector<TVXParsDouble> Channels;  // one per output channel, deep copies
  TVXParsDouble TimeChannel;
  double TimeStart = 0;
  double TimeLength = 0;
  std::vector<std::unique_ptr<TDeferredEvent>> Events;
  double SerialInputTrigger = 1;
};

// A snapshot of what the formula reads: the input variables, the time axis and the string input.
struct TWLDataInputPacket {
  std::vector<TVXParsDouble> Inputs;
  TVXParsDouble TimeChannel;
  double TimeStart = 0;
  double TimeLength = 0;
  std::string StringInput;
  std::string SerialInput;
};

// A name the property page offers for drag and drop, with the text its context help shows.
struct TPanelName {
  const char* Name;
  const char* Description;
};
// The system variables and the constants in the order the property page lists them.
std::span<const TPanelName> PanelSystemVariables();
std::span<const TPanelName> PanelConstants();

class TKQVXFormulaPanel : public TFormulaHost, private TSerialWindow {
 public:
  // How a host lists the panel's class: its acronym, its description, the name of its icon and
  // what it adds to the host's dependency string.
  static constexpr const char* kClassAcronym = "mp";
  static constexpr const char* kClassDescription = "Loom";
  static constexpr const char* kClassIcon = "TKQVXFormulaPanel";
  static constexpr const char* kDependency = "VXFormula.bpl,";

  explicit TKQVXFormulaPanel(TPanelHost& host);
  ~TKQVXFormulaPanel() override;
  TKQVXFormulaPanel(const TKQVXFormulaPanel&) = delete;
  TKQVXFormulaPanel& operator=(const TKQVXFormulaPanel&) = delete;

  // --- settings ---
  // Reads a settings block and installs it. Problems with keys and compile or jump errors are
  // reported together as one EVXParserException after everything else was read and installed;
  // the texts are kept, so WriteProperties gives them back.
  void ReadProperties(const std::string& text);
  std::string WriteProperties() const;
  const TPanelSettings& Settings() const { return settings_; }

  // --- lifecycle ---
  void Loaded();
  // Installs, runs the Initialization section once and starts or stops the evaluation thread.
  void LoadFinished();
  void InitializeAfterPaste();
  // The host stops the measurement: the Exit section runs once and its result goes out.
  void Finishing();
  void InstallAll();
  void SetOptions(TVXFormulaOptions options);
  TVXFormulaOptions Options() const { return options_; }
  void SetPanelEnable(bool enable) { panelEnabled_ = enable; }

  // --- sections ---
  void InitializeFormula(TVXParsDouble& result);
  void EvaluateFormula(TVXParsDouble& result);
  void EvaluateFormulaInternal(TVXParsDouble& result);
  void ExitFormula(TVXParsDouble& result);

  // --- execute dispatch and messages ---
  void HandleExecute(bool force);
  void StandardExecute(bool force);
  void WmEvaluate();
  void DoOnExecutionTimer();
  // The panel's window procedure: the host calls it on the main thread for each posted message.
  void WndProc(std::uint32_t message);
  // Ends a running formula at the next expression and a Wait at once. Any thread.
  void Abort();

  // --- outputs ---
  void UpdateOutput(const TVXParsDouble& result, bool enable);
  void UpdateDataSourceOutput();
  void MSGDataDone();

  // --- the evaluation thread ---
  // Starts the worker unless it runs.
  void SetAsyncMode();
  // Ends the worker after the packets it holds are evaluated, and waits for it.
  void SetSyncMode();
  bool Asynchronous() const { return asyncThread_ != nullptr; }
  // With evaluateAsynchronously the main thread writes inputs only into the snapshot that the
  // next packet carries, worker running or not; the live variables get them from packets.
  bool SnapshotInputs() const { return settings_.evaluateAsynchronously; }
  // Asynchronous mode: queues a snapshot of the inputs for the worker and wakes it.
  void SendAsyncEvent();
  // The worker's batch: evaluates queued input packets in order until the queue is empty.
  void EvaluateQueuedPackets(TWLAsyncThread& worker);

  // --- data input: one block per channel, in the order of the channel origins ---
  void DoOnNewData(const std::vector<TChannelBlock>& channels, const std::vector<double>* times,
                   double start);

  // --- control properties ---
  void OnAction(bool read, TPropertyValue& value);
  void OnVariable(std::size_t index, bool read, TPropertyValue& value);
  void OnStringVariable(bool read, TPropertyValue& value);
  void OnExpression(bool read, TPropertyValue& value);

  // --- what the property page shows ---
  const std::vector<std::string>& SystemVariableNames() const { return systemNames_; }
  const std::vector<std::string>& SystemVariableDescriptions() const { return systemTexts_; }
  const std::vector<std::string>& ConstantNames() const { return constantNames_; }
  const std::vector<std::string>& ConstantDescriptions() const { return constantTexts_; }

  TVXExpressionEvaluator& Evaluator() { return evaluator_; }
  // Formula sections run since the panel was built, counted as they start. Any thread; a host
  // reports it and tells a cycle from an execute call that ran nothing.
  std::uint64_t CyclesRun() const { return cyclesRun_.load(std::memory_order_relaxed); }
  const TVXParsDouble& Result() const { return controlOutput_; }
  const TVXJumpTable& JumpTable() const { return jumps_; }

  // --- TFormulaHost: what the formulas reach through the panel ---
  std::uint32_t TickCount() override;
  void UpdateOutputs() override;
  void UpdateInputData() override;
  TFormulaEngine* Engine() override;
  void SerialWriteString(const std::string& bytes) override;

  TSerialIO& SerialPort() { return *port_; }

 private:
  // The serial port's window is the panel's: its messages come back through WndProc.
  bool PostMessage(std::uint32_t message) override;
  int RemoveMessages(std::uint32_t message) override;
  void DoOnValidInputString(const std::string& text);
  void DoOnOutputDone();
  void ApplySerialSettings(std::vector<std::string>& problems);

  class TSectionWatch;

  void InitializeEvaluator();
  void DefineSystemVariable(const char* name, TVXParsDouble& value);
  void FillNameLists();
  void SetupEvaluator(const std::vector<std::string>& expressions,
                      const std::vector<std::string>& inputVariables,
                      std::vector<std::string>& problems);
  void CreateDefaultProperties();
  void CreateEvents();
  void SetupDataSink();
  void SetupDataSource();
  // Runs first .. end-1 with the section watch; false after an exception, whose expression and
  // message it reports.
  TVXSectionOutcome RunPanelSection(int first, int end, TVXParsDouble& result, bool watchdog);
  void FireEvent(TKQVXFPEvents event, const std::string& text = {});
  void FireDeferred(std::vector<std::unique_ptr<TDeferredEvent>>& events);
  void DriveControls(bool value);
  // Builds an output packet from the current result, outputs and deferred events and queues it.
  // Builds an output packet from the current result, outputs and deferred events and queues it;
  // the caller holds the queue lock.
  void CopyCacheToOutputQueue();
  // Copies a packet's values into the live variables; the caller holds the queue lock.
  void CopyPacketToInputs(const TWLDataInputPacket& packet);
  // The snapshot starts again from the live variables (after the evaluator was set up).
  void ResetInputSnapshot();
  void SendOutputs(const std::vector<TVXParsDouble>& values, const TVXParsDouble& timeChannel,
                   double timeStart, double timeLength);
  std::vector<TVXParsDouble> OutputValues(bool& invalid) const;
  // Output channel n's variable when it holds a number or a vector, else null.
  const TVXParsDouble* OutputValue(std::size_t n) const;
  // Hands one channel's value to the host; false (nothing sent) when it is neither a number
  // nor a vector.
  bool SendOutput(std::size_t n, const TVXParsDouble& value, const TVXParsDouble& timeChannel,
                  double timeStart, double timeLength);
  void FireInvalidDataType();
  // The input slot that data channel k feeds.
  std::size_t SlotOfChannel(std::size_t k) const;

  TPanelHost& host_;
  TVXExpressionEvaluator evaluator_;
  TPanelSettings settings_;
  TVXFormulaOptions options_ = 0;
  TVXJumpTable jumps_;
  std::unique_ptr<TMatlabFormulaEngine> engine_;
  std::unique_ptr<TSerialIO> port_;  // after the window it posts to: the panel itself

  // The system variables, bound to the evaluator by reference.
  TVXParsDouble dt_, t_, timelength_, timestart_, controlOutput_, enableOutput_, timeChannel_,
      stringInput_, serialInput_, serialInputMode_, serialInputCount_, serialInputEOL_,
      serialInputTrigger_;
  // One slot per input variable, bound to the evaluator by reference.
  std::vector<TVXParsDouble> inputs_;

  std::vector<std::string> systemNames_, systemTexts_, constantNames_, constantTexts_;

  TVXParsDouble cycleResult_;  // scratch for the sections; keeps its storage between cycles
  std::uint32_t lastTick_ = 0;
  std::atomic<bool> abortRequest_{false};
  std::atomic<std::uint64_t> cyclesRun_{0};
  bool pendingExecution_ = false;
  bool previousKnown_ = false;
  bool previousBoolean_ = false;
  bool panelEnabled_ = true;
  bool loaded_ = false;  // LoadFinished ran: a settings change may start the worker
  std::int64_t lastAction_ = 0;

  TVXParsDouble publishedResult_;  // the result last handed to the host (main thread)
  double publishedTrigger_ = 1;    // SerialInputTrigger as the last cycle left it (main thread)
  const std::thread::id mainThread_ = std::this_thread::get_id();

  // Asynchronous mode.
  std::unique_ptr<TWLAsyncThread> asyncThread_;
  TWLDataInputPacket pending_;  // main thread: the inputs of the next packet
  TVXParsDouble asyncResult_;   // the worker's section result
  std::mutex evaluationLock_;   // guards the evaluator and its variables while a section runs
  std::mutex queueLock_;        // guards inputQueue_ and outputQueue_ (taken after evaluationLock_)
  std::deque<std::unique_ptr<TWLDataInputPacket>> inputQueue_;
  std::deque<std::unique_ptr<TWLDataOutputPacket>> outputQueue_;
};

}  // namespace loom
