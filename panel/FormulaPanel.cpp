// The panel's lifecycle, its three sections, the execute dispatch and the outputs of a cycle.
#include "panel/FormulaPanel.h"

#include "functions/Bodies.h"
#include "panel/MatlabLink.h"

namespace loom {

const TPanelEventName kPanelEvents[] = {
    {"fpevExpressionError", "Expression error"},
    {"fpevEvaluationError", "Evaluation error"},
    {"fpevBeforeEvaluation", "Before evaluation"},
    {"fpevAfterEvaluation", "After evaluation"},
    {"fpevResultTrue", "Result is \"true\""},
    {"fpevResultFalse", "Result is \"false\""},
    {"fpevResultChangedTrue", "Result changed to \"true\""},
    {"fpevResultChangedFalse", "Result changed to \"false\""},
    {"fpevSerialInputTrigger", "Serial input trigger processed"},
    {"fpevSerialOutputDone", "Serial output done"},
    {"fpevInvalidDataTypeInDataChannel", "Invalid datatype in data channel"},
};

namespace {

// Initialization and Exit ask the host to stop after running this long.
constexpr std::uint32_t kSectionWatchdogMs = 60000;

std::string Quoted(const std::string& text) {
  return "\"" + text + "\"";
}

}  // namespace

// What the panel adds to a section run: the abort request (Formula section), the watchdog that
// asks the host to stop (Initialization and Exit), and the host's stop flag, which suppresses
// jumps.
class TKQVXFormulaPanel::TSectionWatch : public TVXSectionObserver {
 public:
  TSectionWatch(TKQVXFormulaPanel& panel, bool watchdog)
      : panel_(panel), watchdog_(watchdog), start_(panel.host_.TickCount()) {}

  bool BeforeExpression(int /*index*/) override {
    if (watchdog_) return true;
    // A plain read first: the exchange is a locked write, paid on every line otherwise.
    return !(panel_.abortRequest_.load(std::memory_order_relaxed) &&
             panel_.abortRequest_.exchange(false));
  }

  void AfterExpression(int /*index*/, const TVXParsDouble& /*result*/) override {
    if (!watchdog_ || panel_.host_.TickCount() - start_ <= kSectionWatchdogMs) return;
    if (!panel_.host_.GlobalStopRecursion()) panel_.host_.PostStopRequest();
    panel_.host_.SetGlobalStopRecursion(true);
  }

  bool StopRecursion() override { return panel_.host_.GlobalStopRecursion(); }
  // Arithmetic lines take nanoseconds: asking between stretches of them is often enough.
  bool EveryExpression() const override { return false; }

 private:
  TKQVXFormulaPanel& panel_;
  bool watchdog_;
  std::uint32_t start_;
};

TKQVXFormulaPanel::TKQVXFormulaPanel(TPanelHost& host)
    : host_(host), port_(std::make_unique<TSerialIO>(static_cast<TSerialWindow&>(*this))) {
  evaluator_.Host = this;
  host_.AttachPanel(this);
  InitializeEvaluator();
  CreateDefaultProperties();
}

// Nothing is evaluated once destruction begins: the queued inputs go, the worker is told to stop
// and a running formula is aborted before the worker is waited for.
TKQVXFormulaPanel::~TKQVXFormulaPanel() {
  {
    std::lock_guard<std::mutex> queue(queueLock_);
    inputQueue_.clear();
  }
  if (asyncThread_) asyncThread_->Stop = true;
  Abort();
  SetSyncMode();
  outputQueue_.clear();
  port_.reset();
  host_.SetExecutionTimer(false, settings_.limitExecutionIntervalTimer);
  host_.AttachPanel(nullptr);
}

// --- settings ---

void TKQVXFormulaPanel::ReadProperties(const std::string& text) {
  std::vector<std::string> problems;
  SetSyncMode();  // the evaluator is rebuilt: no worker may be using it
  settings_ = ReadPanelSettings(text, problems);
  host_.SetExecutionTimer(false, settings_.limitExecutionIntervalTimer);
  InitializeEvaluator();
  ApplySerialSettings(problems);
  CreateEvents();
  SetupDataSource();
  SetupEvaluator(settings_.Expressions, settings_.InputVariables, problems);
  if (loaded_ && settings_.evaluateAsynchronously) SetAsyncMode();  // switched while running
  if (problems.empty()) return;
  std::string message = problems.front();
  for (std::size_t i = 1; i < problems.size(); ++i) message += "\n" + problems[i];
  throw EVXParserException(message);
}

std::string TKQVXFormulaPanel::WriteProperties() const {
  return WritePanelSettings(settings_);
}

// --- lifecycle ---

void TKQVXFormulaPanel::Loaded() {
  _closeallfiles();
}

void TKQVXFormulaPanel::LoadFinished() {
  _closeallfiles();
  InstallAll();
  InitializeFormula(cycleResult_);
  loaded_ = true;
  if (settings_.evaluateAsynchronously)
    SetAsyncMode();
  else
    SetSyncMode();
}

void TKQVXFormulaPanel::InitializeAfterPaste() {
  _closeallfiles();
  InstallAll();
}

void TKQVXFormulaPanel::Finishing() {
  TVXParsDouble result;
  ExitFormula(result);
  UpdateOutput(result, enableOutput_.Value != 0);
  UpdateDataSourceOutput();
}

// Rebuilds evaluator, events, data sink and source and the compiled formula from the settings.
// The expression texts come from the settings rather than from the evaluator, so a text that
// failed to compile is kept and reported again. Errors become "Expression error" events.
void TKQVXFormulaPanel::InstallAll() {
  const bool restart = Asynchronous();
  SetSyncMode();  // the evaluator is rebuilt: no worker may be using it
  InitializeEvaluator();
  CreateEvents();
  SetupDataSink();
  SetupDataSource();
  std::vector<std::string> problems;
  SetupEvaluator(settings_.Expressions, settings_.InputVariables, problems);
  for (const std::string& problem : problems) FireEvent(fpevExpressionError, problem);
  if (restart) SetAsyncMode();
}

void TKQVXFormulaPanel::SetOptions(TVXFormulaOptions options) {
  options_ = options;
  if (!(options & OptionBit(foptUseMatlab))) return;
  try {
    MLConnect();
  } catch (const std::exception& error) {
    FireEvent(fpevExpressionError, error.what());
  }
}

// --- sections ---

TVXSectionOutcome TKQVXFormulaPanel::RunPanelSection(int first, int end, TVXParsDouble& result,
                                                     bool watchdog) {
  TSectionWatch watch(*this, watchdog);
  end = std::min(end, evaluator_.GetExpressionCount());
  return RunSection(evaluator_, jumps_, first, end, result, &watch);
}

void TKQVXFormulaPanel::InitializeFormula(TVXParsDouble& result) {
  std::lock_guard<std::mutex> evaluation(evaluationLock_);
  evaluator_.ClearStop();  // a pending abort is for the next Formula cycle
  const TVXSectionOutcome outcome =
      RunPanelSection(0, settings_.InitializationEndIndex, result, /*watchdog=*/true);
  if (outcome.FailedIndex >= 0) {
    FireEvent(fpevEvaluationError,
              "Error while initializing " + Quoted(evaluator_.GetExpression(outcome.FailedIndex)));
    return;
  }
  previousKnown_ = false;
  lastTick_ = host_.TickCount();
}

void TKQVXFormulaPanel::EvaluateFormulaInternal(TVXParsDouble& result) {
  cyclesRun_.fetch_add(1, std::memory_order_relaxed);
  lastTick_ = host_.TickCount();
  evaluator_.DeferredEvents.clear();
  const TVXSectionOutcome outcome = RunPanelSection(
      settings_.InitializationEndIndex, settings_.ExitStartIndex, result, /*watchdog=*/false);
  if (outcome.Aborted) {
    abortRequest_ = false;
    evaluator_.ClearStop();
  }
  if (outcome.FailedIndex >= 0) {
    result.Value = 0;
    evaluator_.DeferredEvents.push_back(std::make_unique<TDeferredEvent>(
        fpevEvaluationError,
        "Error while evaluating " + Quoted(evaluator_.GetExpression(outcome.FailedIndex))));
  }
}

void TKQVXFormulaPanel::EvaluateFormula(TVXParsDouble& result) {
  std::lock_guard<std::mutex> evaluation(evaluationLock_);
  if (enableOutput_.Value != 0) FireEvent(fpevBeforeEvaluation);
  EvaluateFormulaInternal(result);
  CopyResult(result, controlOutput_);
  FireDeferred(evaluator_.DeferredEvents);
  if (enableOutput_.Value != 0) host_.EventFireAllPropertiesUpdated();
}

void TKQVXFormulaPanel::ExitFormula(TVXParsDouble& result) {
  std::lock_guard<std::mutex> evaluation(evaluationLock_);
  if (enableOutput_.Value != 0) FireEvent(fpevBeforeEvaluation);
  result.Value = 0;
  result.JumpFlag = false;
  result.VarType = vtDouble;
  const std::uint32_t now = host_.TickCount();
  if (!settings_.UseFixedDt) {
    // After a wrap of the tick counter the difference is one millisecond short; kept so.
    const std::uint32_t elapsed = now >= lastTick_ ? now - lastTick_ : now + ~lastTick_;
    dt_.Value = elapsed * 0.001;
  }
  lastTick_ = now;
  t_.Value = now * 0.001;
  dt_.VarType = vtDouble;
  t_.VarType = vtDouble;
  evaluator_.ClearStop();
  const TVXSectionOutcome outcome = RunPanelSection(
      settings_.ExitStartIndex, evaluator_.GetExpressionCount(), result, /*watchdog=*/true);
  if (outcome.FailedIndex >= 0) {
    FireEvent(fpevEvaluationError,
              "Error while evaluating " + Quoted(evaluator_.GetExpression(outcome.FailedIndex)));
    return;
  }
  CopyResult(result, controlOutput_);
  if (enableOutput_.Value != 0) host_.EventFireAllPropertiesUpdated();
}

// --- execute dispatch ---

void TKQVXFormulaPanel::HandleExecute(bool force) {
  if (settings_.limitExecutionInterval) {
    if (host_.ExecutionTimerRunning()) {
      pendingExecution_ = true;
      return;
    }
    host_.SetExecutionTimer(true, settings_.limitExecutionIntervalTimer);
  }
  StandardExecute(force);
}

void TKQVXFormulaPanel::DoOnExecutionTimer() {
  host_.SetExecutionTimer(false, settings_.limitExecutionIntervalTimer);
  if (!pendingExecution_) return;
  pendingExecution_ = false;
  StandardExecute(false);
}

void TKQVXFormulaPanel::StandardExecute(bool force) {
  if (!force && !settings_.ImmediateEvaluation) return;
  if (settings_.evaluateAsynchronously)
    SendAsyncEvent();
  else if (settings_.EvaluateImmediately)
    WmEvaluate();
  else
    host_.PostMessage(kMsgEvaluate);
}

void TKQVXFormulaPanel::WmEvaluate() {
  if (host_.GlobalStopRecursion()) return;
  EvaluateFormula(cycleResult_);
  UpdateOutput(cycleResult_, enableOutput_.Value != 0);
  UpdateDataSourceOutput();
}

void TKQVXFormulaPanel::WndProc(std::uint32_t message) {
  switch (message) {
    case kMsgEvaluate:
      WmEvaluate();
      break;
    case kMsgDataDone:
      MSGDataDone();
      break;
    default:
      port_->MSGWndProc(message);
      break;
  }
}

void TKQVXFormulaPanel::Abort() {
  abortRequest_ = true;
  evaluator_.RequestStop();
}

// --- outputs ---

void TKQVXFormulaPanel::FireEvent(TKQVXFPEvents event, const std::string& text) {
  host_.EventFire(event, kPanelEventClass, text);
}

void TKQVXFormulaPanel::FireDeferred(std::vector<std::unique_ptr<TDeferredEvent>>& events) {
  for (const auto& e : events) {
    if (e->hasNumericArguments)
      host_.EventFire(e->eventID, kPanelEventClass, e->channelIndex, e->startTime, e->endTime,
                      e->iData1, e->iData2, e->dData1, e->dData2, e->dData3, e->dData4,
                      e->additionalText);
    else
      host_.EventFire(e->eventID, kPanelEventClass, e->additionalText);
  }
  events.clear();
}

void TKQVXFormulaPanel::DriveControls(bool value) {
  for (const TControlItem& item : host_.ControlList())
    if (!item.Disabled) host_.SetTargetProperty(item, value ? item.PresetTrue : item.PresetFalse);
}

void TKQVXFormulaPanel::UpdateOutput(const TVXParsDouble& result, bool enable) {
  CopyResult(result, publishedResult_);
  if (!enable) return;
  if (settings_.BooleanResult) {
    const bool b = result.Value != 0;
    const bool known = previousKnown_;
    const bool previous = previousBoolean_;
    if (settings_.OnlyBooleanChanges) {
      if (!(known && b == previous)) {
        previousKnown_ = true;
        previousBoolean_ = b;
        DriveControls(b);
      }
    } else {
      // The previous result is deliberately not remembered here, so the changed events fire on
      // every cycle in this mode.
      DriveControls(b);
    }
    if (!known || b != previous) FireEvent(b ? fpevResultChangedTrue : fpevResultChangedFalse);
    FireEvent(b ? fpevResultTrue : fpevResultFalse);
  } else {
    for (const TControlItem& item : host_.ControlList()) {
      if (!host_.CheckPropertyConnnection(item)) continue;
      if (result.VarType == vtDouble)
        host_.SetTargetProperty(item, result.Value);
      else if (result.VarType == vtString)
        host_.SetTargetProperty(item, result.StrValue);
    }
  }
  FireEvent(fpevAfterEvaluation);
}

// Delivers every waiting output packet: control outputs and result events, "After evaluation",
// output channels, then the cycle's own events (the asynchronous order of a cycle's effects).
void TKQVXFormulaPanel::MSGDataDone() {
  if (host_.GlobalStopRecursion()) return;
  for (;;) {
    std::unique_ptr<TWLDataOutputPacket> packet;
    {
      std::lock_guard<std::mutex> queue(queueLock_);
      if (outputQueue_.empty()) return;
      packet = std::move(outputQueue_.front());
      outputQueue_.pop_front();
    }
    publishedTrigger_ = packet->SerialInputTrigger;
    UpdateOutput(packet->Result, packet->EnableOutput != 0);
    if (packet->EnableOutput != 0)
      SendOutputs(packet->Channels, packet->TimeChannel, packet->TimeStart, packet->TimeLength);
    FireDeferred(packet->Events);
  }
}

// --- actions and control properties ---

void TKQVXFormulaPanel::OnAction(bool read, TPropertyValue& value) {
  if (read) {
    value = lastAction_;
    return;
  }
  if (const auto* text = std::get_if<std::string>(&value)) {
    // "Get data" is taken as "Evaluate", deliberately; "Abort" has no text: only 4 aborts.
    static const char* const kNames[] = {"None", "Evaluate", "Initialize formula", "Get data",
                                         "Exit"};
    static const std::int64_t kValues[] = {fpaNone, fpaEvaluate, fpaInitialize, fpaEvaluate,
                                           fpaExit};
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
      if (*text != kNames[i]) continue;
      value = kValues[i];  // text is gone from here on
      break;
    }
  } else if (const auto* number = std::get_if<double>(&value)) {
    value = static_cast<std::int64_t>(*number);
  }
  const auto* action = std::get_if<std::int64_t>(&value);
  if (action == nullptr) return;  // a text that names no action does nothing
  switch (*action) {
    case fpaEvaluate:
      HandleExecute(true);
      break;
    case fpaInitialize:
      InitializeFormula(cycleResult_);
      UpdateOutput(cycleResult_, enableOutput_.Value != 0);
      UpdateDataSourceOutput();
      break;
    case fpaExit:
      ExitFormula(cycleResult_);
      UpdateOutput(cycleResult_, enableOutput_.Value != 0);
      UpdateDataSourceOutput();
      break;
    case fpaAbort:
      Abort();
      break;
    default:
      break;
  }
  lastAction_ = *action;
}

// --- the formulas' host ---

std::uint32_t TKQVXFormulaPanel::TickCount() {
  return host_.TickCount();
}

void TKQVXFormulaPanel::UpdateOutputs() {
  {
    std::lock_guard<std::mutex> queue(queueLock_);
    CopyCacheToOutputQueue();
  }
  host_.PostMessage(kMsgDataDone);
}

void TKQVXFormulaPanel::UpdateInputData() {
  std::lock_guard<std::mutex> queue(queueLock_);
  if (inputQueue_.empty()) return;
  CopyPacketToInputs(*inputQueue_.front());
  inputQueue_.pop_front();
}

// --- the serial port ---

// The port's settings in the order they depend on each other: the input rule first, then the
// parameter string, which opens the port, then the input mode, which starts its reader.
void TKQVXFormulaPanel::ApplySerialSettings(std::vector<std::string>& problems) {
  const TSerialSettings& serial = settings_.Serial;
  port_->SetEOLSequenze(serial.EOLSequence);
  port_->SetInputCharacterCount(serial.MaxSequenceLength);
  try {
    port_->SetParameterString(serial.Parameter);
  } catch (const std::exception& error) {
    problems.push_back(std::string("[Serial IO] Parameter: ") + error.what());
  }
  if (serial.InputOperationMode < iomNoInput || serial.InputOperationMode > iomEOLSequenze) {
    problems.push_back(
        "[Serial IO] InputOperationMode: " + std::to_string(serial.InputOperationMode) +
        " is not an input mode (0, 1 or 2)");
    return;
  }
  port_->SetInputOperationMode(static_cast<TPortInputOperationModes>(serial.InputOperationMode));
}

bool TKQVXFormulaPanel::PostMessage(std::uint32_t message) {
  host_.PostMessage(message);
  return true;
}

int TKQVXFormulaPanel::RemoveMessages(std::uint32_t message) {
  return host_.RemoveMessages(message);
}

// A complete serial input: it becomes SerialInput, and a cycle runs unless the formula set
// SerialInputTrigger to 0.
void TKQVXFormulaPanel::DoOnValidInputString(const std::string& text) {
  if (SnapshotInputs()) {
    pending_.SerialInput = text;
  } else {
    serialInput_.VarType = vtString;
    serialInput_.StrValue = text;
  }
  const double trigger = SnapshotInputs() ? publishedTrigger_ : serialInputTrigger_.Value;
  if (trigger != 0) HandleExecute(true);
  FireEvent(fpevSerialInputTrigger, text);
}

// The port calls this from the thread that wrote; the evaluation thread hands it to the main
// thread through the port's own message.
void TKQVXFormulaPanel::DoOnOutputDone() {
  if (std::this_thread::get_id() != mainThread_)
    host_.PostMessage(smOutputDone);
  else
    FireEvent(fpevSerialOutputDone);
}

void TKQVXFormulaPanel::SerialWriteString(const std::string& bytes) {
  if (port_->IsOpen()) port_->OutputString(bytes);
}

TFormulaEngine* TKQVXFormulaPanel::Engine() {
  if (!engine_) engine_ = std::make_unique<TMatlabFormulaEngine>(MLBridge());
  return engine_.get();
}

}  // namespace loom
