#include "host/ReferenceHost.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <deque>
#include <filesystem>

#include "engine/ParserClasses.h"
#include "host/CsvData.h"
#include "host/EventLog.h"
#include "host/InputError.h"
#include "host/MatFile.h"
#include "host/MessageLoop.h"
#include "host/PanelSite.h"
#include "host/SoundFile.h"
#include "panel/FormulaPanel.h"
#include "serial/PortTable.h"

namespace loom {

namespace {

std::atomic<bool> gInterrupted{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the interrupt flag is set by a signal");

// Rounds of the message loop and the link queue after which links that keep triggering each
// other are reported instead of run on forever.
constexpr int kMaxPumpRounds = 10000;
// How long the drain at the end waits for results of evaluation threads after the last one.
constexpr auto kAsyncQuiet = std::chrono::milliseconds(300);

using TSteady = std::chrono::steady_clock;

// Where a channel comes from: a source's channel or a panel's output channel.
struct TChannelRef {
  bool FromPanel = false;
  std::size_t Producer = 0;
  std::size_t Channel = 0;
};

using TShared = std::shared_ptr<const std::vector<double>>;

// A panel's input channel as the host keeps it between blocks: the last block it received. The
// samples and times are shared with every other panel that reads the same block.
struct TInputSlot {
  TChannelRef Ref;
  TShared Samples;
  double TimeStart = 0;
  double TimeEnd = 0;
  TShared Times;       // null: the block came without a time axis of its own
  bool Fresh = false;  // received since the panel's last step
};

TInputSlot SlotOf(const TChannelRef& ref) {
  TInputSlot slot;
  slot.Ref = ref;
  return slot;
}

struct TSourceState {
  const TSourceSetup* Setup = nullptr;
  std::unique_ptr<TDataSource> Data;
  std::size_t BlockRows = 1;
  TDataBlock Next;
  bool HasNext = false;
  bool Ended = false;
};

// A sink and the channels of its columns. Rows of several panels on the same time axis (the
// panels that one block passed through) are held back and merged into one row each, so a table
// of several panels' results reads one line per block.
struct TSinkRoute {
  std::string Shown;
  std::unique_ptr<TDataSink> Sink;
  std::vector<TChannelRef> Channels;
  std::vector<double> HeldTimes;
  std::vector<std::vector<double>> HeldColumns;
  std::vector<bool> HeldPresent;
  bool Holding = false;

  void Flush() {
    if (!Holding) return;
    TSampleRows rows;
    rows.Times = HeldTimes;
    for (std::size_t c = 0; c < HeldColumns.size(); ++c)
      rows.Columns.push_back(HeldPresent[c] ? &HeldColumns[c] : nullptr);
    Holding = false;
    Sink->Write(rows);
  }

  void Write(const std::vector<double>& times,
             const std::vector<const std::vector<double>*>& columns) {
    bool merge = Holding && times == HeldTimes;
    for (std::size_t c = 0; merge && c < columns.size(); ++c)
      merge = !(columns[c] != nullptr && HeldPresent[c]);
    if (!merge) {
      Flush();
      HeldTimes = times;
      HeldColumns.assign(columns.size(), {});
      HeldPresent.assign(columns.size(), false);
      Holding = true;
    }
    for (std::size_t c = 0; c < columns.size(); ++c)
      if (columns[c] != nullptr) {
        HeldColumns[c] = *columns[c];
        HeldPresent[c] = true;
      }
  }
};

struct TPendingWrite {
  std::size_t Site = 0;
  std::string Property;
  TPropertyValue Value;
};

struct TSiteState {
  std::unique_ptr<TPanelSite> Site;  // declared first: it outlives its panel
  std::unique_ptr<TKQVXFormulaPanel> Panel;
  const TPanelSetup* Setup = nullptr;
  std::vector<TInputSlot> Inputs;
  TPanelReport Report;
  std::uint64_t CyclesSeen = 0;
  std::vector<double> Periods;  // the time span of each step's blocks, ms
};

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

std::string JoinNames(const std::vector<std::string>& names) {
  std::string out;
  for (const std::string& name : names) out += (out.empty() ? "" : ", ") + name;
  return out.empty() ? "none" : out;
}

// The index of name in names: exact first, then without regard to case; -1 when absent.
int FindName(const std::vector<std::string>& names, const std::string& name) {
  for (std::size_t i = 0; i < names.size(); ++i)
    if (names[i] == name) return static_cast<int>(i);
  for (std::size_t i = 0; i < names.size(); ++i)
    if (EqualsNoCase(names[i], name)) return static_cast<int>(i);
  return -1;
}

std::vector<std::string> OutputNames(const TPanelSite& site) {
  std::vector<std::string> names;
  for (const TOutputChannelDefinition& channel : site.OutputChannels())
    names.push_back(channel.Name);
  return names;
}

// The time of each of count samples of a block without a time axis of its own.
void EvenTimes(double start, double length, std::size_t count, std::vector<double>& times) {
  times.resize(count);
  for (std::size_t i = 0; i < count; ++i)
    times[i] = start + length * static_cast<double>(i) / static_cast<double>(count);
}

}  // namespace

void RequestHostInterrupt() {
  gInterrupted.store(true);
}

class TReferenceHost::TImpl : public TSiteOwner {
 public:
  TImpl(TWorksheet worksheet, TRunOptions options)
      : worksheet_(std::move(worksheet)),
        options_(std::move(options)),
        loop_([this] { return NowMs(); }) {
    pacing_ = options_.Pacing.value_or(worksheet_.Pacing);
    speed_ = options_.Speed > 0 ? options_.Speed : worksheet_.Speed;
    duration_ = options_.Duration > 0 ? options_.Duration : worksheet_.Duration;
  }

  ~TImpl() override { DestroyPanels(); }

  void Prepare();
  TRunReport Run();

  // --- TSiteOwner ---
  void OnEvent(TPanelSite& site, int index, const std::string& text,
               const std::vector<double>* arguments) override;
  bool IsConnected(TPanelSite& site, const TControlItem& item) override;
  void OnSetTarget(TPanelSite& site, const TControlItem& item,
                   const TPropertyValue& value) override;
  void OnOutputs(TPanelSite& site, const std::vector<TSentBlock>& blocks) override;
  void OnStopRequest(TPanelSite& site) override;
  void OnSerialState(TPanelSite& site, bool connected) override;
  bool Stopping() override { return stopping_.load() || gInterrupted.load(); }
  void SetStopping(bool stopping) override { stopping_.store(stopping); }
  std::uint32_t TickCount() override {
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(NowMs()));
  }
  std::string BaseDirectory() override { return worksheet_.Directory; }

 private:
  // --- preparing ---
  void OpenSources();
  void BuildPanels();
  void ResolveInputs();
  void OrderPanels();
  void ResolveLinks();
  void OpenOutputs();
  TChannelRef ResolveChannel(const std::string& name, const std::string& where);
  std::string OutputPath(const std::string& file, const std::string& baseDir) const;
  void AddRoute(std::string shown, std::unique_ptr<TDataSink> sink,
                std::vector<TChannelRef> channels);

  // --- running ---
  std::int64_t NowMs() const;
  bool StopNow() const { return stopRequested_ || gInterrupted.load(); }
  bool FetchNext(TSourceState& source);
  void CutAtEnd(TSourceState& source);
  void Deliver(TSourceState& source);
  void Step(TSiteState& state);
  void StepFreshPanels();
  bool HasFresh(const TSiteState& state) const;
  void PumpAll();
  int ApplyWrites();
  void WaitUntil(std::int64_t clockMs);
  void CloseCycleTimes();
  void Drain();
  void Finish();
  void ReportProgress(bool force);
  void RouteRows(bool fromPanel, std::size_t producer,
                 const std::vector<const std::vector<double>*>& columns,
                 const std::vector<double>& times);
  void DestroyPanels();

  TWorksheet worksheet_;
  TRunOptions options_;
  TPacing pacing_ = TPacing::Fast;
  double speed_ = 1;
  double duration_ = 0;
  TMessageLoop loop_;  // before the sites, which register with it

  std::vector<TSourceState> sources_;
  std::vector<TSiteState> sites_;
  std::vector<std::size_t> order_;  // sites in the order a block passes through them
  std::vector<TLinkSetup> links_;
  std::map<std::pair<std::size_t, int>, std::vector<std::size_t>> eventLinks_;
  std::vector<TSinkRoute> routes_;
  std::vector<std::pair<std::string, std::unique_ptr<TEventLog>>> logs_;
  std::deque<TPendingWrite> writes_;

  // The clock: data time in ms. Fast pacing sets it block by block; real-time pacing runs it
  // from the start of the run at Speed times real time.
  // Atomic: an evaluation thread reads the clock (TickCount) while the main thread advances it.
  std::atomic<std::int64_t> clockMs_{0};
  std::int64_t clockOriginMs_ = 0;
  TSteady::time_point wallStart_ = TSteady::now();
  double dataOrigin_ = 0;
  double dataEnd_ = 0;
  double dataSeen_ = 0;  // the end of the data delivered so far
  bool endKnown_ = false;

  std::atomic<bool> stopping_{false};  // the host's GlobalStopRecursion
  bool stopRequested_ = false;
  std::string stopReason_;
  std::vector<std::string> warnings_;
  bool pumpWarned_ = false;
  std::uint64_t blocks_ = 0, samples_ = 0;
  TSteady::time_point lastProgress_{};
};

// --- preparing ---

void TReferenceHost::TImpl::Prepare() {
  if (worksheet_.HasPorts) SetPortTable(worksheet_.Ports);
  OpenSources();
  BuildPanels();
  ResolveInputs();
  OrderPanels();
  ResolveLinks();
  OpenOutputs();
}

void TReferenceHost::TImpl::OpenSources() {
  for (const TSourceSetup& setup : worksheet_.Sources) {
    TSourceState state;
    state.Setup = &setup;
    const std::string where =
        worksheet_.SinglePanel
            ? std::string("--input")
            : worksheet_.File + ":" + std::to_string(setup.Line) + ": [Source:" + setup.Name + "]";
    try {
      switch (setup.Kind) {
        case TSourceSetup::kCsv:
          state.Data = OpenCsvSource(setup.Path, setup.Shown, {setup.Rate, setup.Names});
          break;
        case TSourceSetup::kWav:
          state.Data = OpenSoundSource(setup.Path, setup.Shown, {setup.Normalize, setup.Names});
          break;
        case TSourceSetup::kMat:
          state.Data = OpenMatSource(setup.Path, setup.Shown, setup.Rate);
          break;
        case TSourceSetup::kGenerator:
          state.Data = MakeGenerator(setup.Generator);
          break;
        case TSourceSetup::kSupplied:
          state.Data = setup.Supply();
          break;
      }
    } catch (const EInputError& error) {
      throw EInputError(where + ": " + error.what());
    }
    // The default block, a tenth of a second of data, needs the rate: a CSV file with a time
    // axis shows it only in its first two rows, so it is asked for only then.
    state.BlockRows =
        setup.Block > 0
            ? setup.Block
            : static_cast<std::size_t>(std::max(1.0, std::round(state.Data->SampleRate() / 10)));
    sources_.push_back(std::move(state));
  }
}

void TReferenceHost::TImpl::BuildPanels() {
  sites_.reserve(worksheet_.Panels.size());
  for (const TPanelSetup& setup : worksheet_.Panels) {
    TSiteState state;
    state.Setup = &setup;
    state.Site = std::make_unique<TPanelSite>(*this, loop_, setup.Name, sites_.size());
    state.Panel = std::make_unique<TKQVXFormulaPanel>(*state.Site);
    state.Report.Name = setup.Name;
    try {
      state.Panel->ReadProperties(setup.SettingsText);
    } catch (const EVXParserException& error) {
      std::string message;
      const std::string text = error.what();
      for (std::size_t at = 0; at <= text.size();) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        message += (message.empty() ? "" : "\n") + LocateProblem(setup, text.substr(at, end - at));
        at = end + 1;
      }
      throw EInputError(message);
    }
    if (setup.Engine) state.Panel->SetOptions(OptionBit(foptUseMatlab));
    state.Panel->Loaded();
    state.Report.ImmediateEvaluation = state.Panel->Settings().ImmediateEvaluation;
    state.Report.Asynchronous = state.Panel->Settings().evaluateAsynchronously;
    sites_.push_back(std::move(state));
  }
}

TChannelRef TReferenceHost::TImpl::ResolveChannel(const std::string& name,
                                                  const std::string& where) {
  const std::size_t dot = name.find('.');
  if (dot == std::string::npos || dot == 0)
    throw EInputError(where + ": \"" + name +
                      "\" names no channel: channels are SOURCE.CHANNEL or PANEL.CHANNEL");
  const std::string group = name.substr(0, dot);
  const std::string item = name.substr(dot + 1);
  for (std::size_t s = 0; s < sources_.size(); ++s) {
    if (!EqualsNoCase(sources_[s].Setup->Name, group)) continue;
    const std::vector<std::string>& names = sources_[s].Data->ChannelNames();
    const int channel = FindName(names, item);
    if (channel < 0)
      throw EInputError(where + ": the source \"" + group + "\" has no channel \"" + item +
                        "\" (its channels: " + JoinNames(names) + ")");
    return {false, s, static_cast<std::size_t>(channel)};
  }
  for (std::size_t p = 0; p < sites_.size(); ++p) {
    if (!EqualsNoCase(sites_[p].Setup->Name, group)) continue;
    const std::vector<std::string> names = OutputNames(*sites_[p].Site);
    const int channel = FindName(names, item);
    if (channel < 0)
      throw EInputError(where + ": the panel \"" + group + "\" has no output channel \"" + item +
                        "\" (its output channels: " + JoinNames(names) + ")");
    return {true, p, static_cast<std::size_t>(channel)};
  }
  throw EInputError(where + ": \"" + group + "\" is neither a source nor a panel of " +
                    worksheet_.File);
}

void TReferenceHost::TImpl::ResolveInputs() {
  for (std::size_t p = 0; p < sites_.size(); ++p) {
    TSiteState& state = sites_[p];
    const std::vector<std::string>& origins = state.Panel->Settings().ChannelOrigins;
    if (worksheet_.SinglePanel) {
      const TDataSource& input = *sources_.front().Data;
      const std::vector<std::string>& columns = input.ChannelNames();
      if (origins.empty()) {  // no origins: the file's channels in order
        for (std::size_t c = 0; c < columns.size(); ++c)
          state.Inputs.push_back(SlotOf({false, 0, c}));
        continue;
      }
      for (std::size_t k = 0; k < origins.size(); ++k) {
        const std::string& origin = origins[k];
        const std::size_t dot = origin.find('.');
        int column = FindName(columns, origin);
        if (column < 0 && dot != std::string::npos)
          column = FindName(columns, origin.substr(dot + 1));
        if (column < 0 && !input.HasNames() && k < columns.size()) column = static_cast<int>(k);
        if (column < 0)
          throw EInputError(state.Setup->Locate("ChannelOrigins", std::to_string(k)) + ": \"" +
                            origin + "\" matches no channel of " + sources_.front().Setup->Shown +
                            " (its channels: " + JoinNames(columns) + ")");
        state.Inputs.push_back(SlotOf({false, 0, static_cast<std::size_t>(column)}));
      }
      continue;
    }
    for (std::size_t k = 0; k < origins.size(); ++k) {
      const std::string where = state.Setup->Locate("ChannelOrigins", std::to_string(k));
      const TChannelRef ref = ResolveChannel(origins[k], where);
      if (ref.FromPanel && ref.Producer == p)
        throw EInputError(where + ": a panel cannot read its own output channel \"" + origins[k] +
                          "\"");
      state.Inputs.push_back(SlotOf(ref));
    }
  }
}

// Orders the panels so that each runs after the panels whose channels it reads, and otherwise
// in the worksheet's order.
void TReferenceHost::TImpl::OrderPanels() {
  const std::size_t n = sites_.size();
  std::vector<std::vector<std::size_t>> producers(n);
  for (std::size_t p = 0; p < n; ++p)
    for (const TInputSlot& slot : sites_[p].Inputs)
      if (slot.Ref.FromPanel) producers[p].push_back(slot.Ref.Producer);
  std::vector<bool> placed(n, false);
  while (order_.size() < n) {
    bool progress = false;
    for (std::size_t p = 0; p < n && !progress; ++p) {
      if (placed[p]) continue;
      if (std::all_of(producers[p].begin(), producers[p].end(),
                      [&](std::size_t q) { return placed[q]; })) {
        placed[p] = true;
        order_.push_back(p);
        progress = true;
      }
    }
    if (progress) continue;
    // A cycle: walk back through unplaced producers until a panel repeats.
    std::size_t at = 0;
    while (placed[at]) ++at;
    std::vector<std::size_t> path;
    while (std::find(path.begin(), path.end(), at) == path.end()) {
      path.push_back(at);
      for (std::size_t q : producers[at])
        if (!placed[q]) {
          at = q;
          break;
        }
    }
    path.erase(path.begin(), std::find(path.begin(), path.end(), at));
    std::string cycle = sites_[at].Setup->Name;
    for (auto it = path.rbegin(); it != path.rend(); ++it)
      cycle += " -> " + sites_[*it].Setup->Name;
    throw EInputError(worksheet_.File + ":" + std::to_string(sites_[at].Setup->Line) +
                      ": [Panel:" + sites_[at].Setup->Name +
                      "] the panels feed each other's channels in a cycle: " + cycle);
  }
}

void TReferenceHost::TImpl::ResolveLinks() {
  links_ = worksheet_.Links;
  const auto findSite = [&](const std::string& name, const TLinkSetup& link,
                            const char* role) -> std::size_t {
    for (std::size_t p = 0; p < sites_.size(); ++p)
      if (EqualsNoCase(sites_[p].Setup->Name, name)) return p;
    throw EInputError(worksheet_.File + ":" + std::to_string(link.Line) + ": [Links] " + link.Key +
                      ": the " + role + " \"" + name + "\" is no panel of the worksheet");
  };
  for (std::size_t l = 0; l < links_.size(); ++l) {
    TLinkSetup& link = links_[l];
    const std::string where =
        worksheet_.File + ":" + std::to_string(link.Line) + ": [Links] " + link.Key;
    const std::size_t target = findSite(link.TargetPanel, link, "target");
    const std::size_t source = findSite(link.SourcePanel, link, "source");
    TPanelSite& targetSite = *sites_[target].Site;
    if (targetSite.FindProperty(link.TargetProperty) == nullptr) {
      std::vector<std::string> names;
      for (const TPropertyDefinition& property : targetSite.Properties())
        names.push_back(property.Name);
      throw EInputError(where + ": the panel \"" + link.TargetPanel + "\" has no property \"" +
                        link.TargetProperty + "\" (its properties: " + JoinNames(names) + ")");
    }
    link.TargetPanel = sites_[target].Setup->Name;
    if (!link.OnEvent) {
      TControlItem item;
      item.Id = static_cast<int>(l);
      item.PresetTrue = link.PresetTrue;
      item.PresetFalse = link.PresetFalse;
      sites_[source].Site->Controls.push_back(item);
      continue;
    }
    int index = -1;
    double number = 0;
    if (ParseNumber(link.Event, false, number) && std::floor(number) == number)
      index = static_cast<int>(number);
    std::vector<std::string> names;
    for (const TEventDefinition& event : sites_[source].Site->Events()) {
      if (EqualsNoCase(event.Name, link.Event) || EqualsNoCase(event.DisplayText, link.Event))
        index = event.Index;
      names.push_back(event.Index <= fpevInvalidDataTypeInDataChannel ? event.DisplayText
                                                                      : event.Name);
    }
    if (index < 0)
      throw EInputError(where + ": the panel \"" + link.SourcePanel + "\" offers no event \"" +
                        link.Event + "\" (its events: " + JoinNames(names) + ")");
    eventLinks_[{source, index}].push_back(l);
  }
}

std::string TReferenceHost::TImpl::OutputPath(const std::string& file,
                                              const std::string& baseDir) const {
  if (!options_.OutputDir.empty() && !std::filesystem::path(file).is_absolute())
    return ResolvePath(options_.OutputDir, file);
  return ResolvePath(baseDir, file);
}

void TReferenceHost::TImpl::AddRoute(std::string shown, std::unique_ptr<TDataSink> sink,
                                     std::vector<TChannelRef> channels) {
  TSinkRoute route;
  route.Shown = std::move(shown);
  route.Sink = std::move(sink);
  route.Channels = std::move(channels);
  routes_.push_back(std::move(route));
}

void TReferenceHost::TImpl::OpenOutputs() {
  // Every name is resolved before the first file is created.
  struct TPlanned {
    const TSinkSetup* Setup;
    std::string Path;
    std::vector<TChannelRef> Channels;
    std::vector<std::string> Names;
  };
  std::vector<TPlanned> planned;
  for (const TSinkSetup& sink : worksheet_.Sinks) {
    TPlanned plan{&sink, OutputPath(sink.File, sink.BaseDir), {}, {}};
    if (!sink.AllOf.empty()) {
      const TPanelSite& site = *sites_.front().Site;
      plan.Names = OutputNames(site);
      if (plan.Names.empty() && sink.Supply) continue;  // an embedder takes what there is
      if (plan.Names.empty())
        throw EInputError(worksheet_.File +
                          ": --output: the panel has no output channel to write " +
                          "([OutputDataChannels] Count=0)");
      for (std::size_t c = 0; c < plan.Names.size(); ++c) plan.Channels.push_back({true, 0, c});
    } else {
      const std::string where = worksheet_.File + ":" + std::to_string(sink.ChannelsLine) +
                                ": [Sink:" + sink.Name + "] Channels";
      for (const std::string& channel : sink.Channels) {
        plan.Channels.push_back(ResolveChannel(channel, where));
        plan.Names.push_back(channel);
      }
    }
    planned.push_back(std::move(plan));
  }
  for (TPlanned& plan : planned) {
    std::unique_ptr<TDataSink> sink;
    if (plan.Setup->Supply)
      sink = plan.Setup->Supply(plan.Names);
    else if (plan.Setup->Wav)
      sink = MakeSoundSink(plan.Path, plan.Path, plan.Names, plan.Setup->SampleRate);
    else
      sink = std::make_unique<TCsvSink>(plan.Path, plan.Path, plan.Names, plan.Setup->DecimalComma);
    AddRoute(plan.Path, std::move(sink), std::move(plan.Channels));
  }
  const std::string events =
      options_.EventsFile.empty()
          ? (worksheet_.EventsFile.empty()
                 ? std::string()
                 : OutputPath(worksheet_.EventsFile, worksheet_.EventsBaseDir))
          : OutputPath(options_.EventsFile, "");
  if (!events.empty()) logs_.emplace_back(events, std::make_unique<TEventLog>(events, events));
  if (options_.RecordDir.empty()) return;
  for (std::size_t p = 0; p < sites_.size(); ++p) {
    const std::vector<std::string> names = OutputNames(*sites_[p].Site);
    if (names.empty()) continue;
    std::vector<TChannelRef> channels;
    for (std::size_t c = 0; c < names.size(); ++c) channels.push_back({true, p, c});
    const std::string path = ResolvePath(options_.RecordDir, sites_[p].Setup->Name + ".csv");
    AddRoute(path, std::make_unique<TCsvSink>(path, path, names, false), std::move(channels));
  }
  const std::string path = ResolvePath(options_.RecordDir, "events.jsonl");
  logs_.emplace_back(path, std::make_unique<TEventLog>(path, path));
}

// --- what the panels do ---

void TReferenceHost::TImpl::OnEvent(TPanelSite& site, int index, const std::string& text,
                                    const std::vector<double>* arguments) {
  TSiteState& state = sites_[site.Index()];
  std::string name = "event " + std::to_string(index);
  for (const TEventDefinition& event : site.Events()) {
    if (event.Index != index) continue;
    const bool own = index >= 0 && index <= fpevInvalidDataTypeInDataChannel &&
                     event.Name == kPanelEvents[index].Name;
    name = own ? event.DisplayText : event.Name;
    break;
  }
  ++state.Report.Events[name];
  if (index == fpevEvaluationError || index == fpevExpressionError) ++state.Report.Errors[text];
  const bool routine = index == fpevBeforeEvaluation || index == fpevAfterEvaluation;
  if (!routine || options_.AllEvents) {
    THostEvent event;
    event.Time = static_cast<double>(NowMs()) / 1000.0;
    event.Panel = site.Name();
    event.Index = index;
    event.Name = name;
    event.Text = text;
    if (arguments != nullptr) {
      const std::vector<double>& a = *arguments;
      event.HasArguments = true;
      event.Channel = static_cast<std::int32_t>(a[0]);
      event.StartTime = a[1];
      event.EndTime = a[2];
      event.IData1 = static_cast<std::int32_t>(a[3]);
      event.IData2 = static_cast<std::int32_t>(a[4]);
      for (int i = 0; i < 4; ++i) event.DData[i] = a[5 + static_cast<std::size_t>(i)];
    }
    for (auto& [path, log] : logs_) log->Write(event);
    if (options_.OnEvent) options_.OnEvent(event);
  }
  const auto links = eventLinks_.find({site.Index(), index});
  if (links == eventLinks_.end()) return;
  for (std::size_t l : links->second) {
    const TLinkSetup& link = links_[l];
    for (std::size_t p = 0; p < sites_.size(); ++p)
      if (sites_[p].Setup->Name == link.TargetPanel)
        writes_.push_back({p, link.TargetProperty, link.Value});
  }
}

bool TReferenceHost::TImpl::IsConnected(TPanelSite& /*site*/, const TControlItem& item) {
  return item.Id >= 0 && static_cast<std::size_t>(item.Id) < links_.size() &&
         !links_[static_cast<std::size_t>(item.Id)].OnEvent;
}

void TReferenceHost::TImpl::OnSetTarget(TPanelSite& site, const TControlItem& item,
                                        const TPropertyValue& value) {
  if (!IsConnected(site, item)) return;
  const TLinkSetup& link = links_[static_cast<std::size_t>(item.Id)];
  for (std::size_t p = 0; p < sites_.size(); ++p)
    if (sites_[p].Setup->Name == link.TargetPanel)
      writes_.push_back({p, link.TargetProperty, value});
}

void TReferenceHost::TImpl::OnOutputs(TPanelSite& site, const std::vector<TSentBlock>& blocks) {
  // The rows take the time axis of the longest block.
  const TSentBlock* longest = nullptr;
  for (const TSentBlock& block : blocks)
    if (block.Present && (longest == nullptr || block.Samples.size() > longest->Samples.size()))
      longest = &block;
  if (longest == nullptr) return;
  std::vector<double> times;
  if (longest->HasTimes && longest->Times.size() == longest->Samples.size())
    times = longest->Times;
  else
    EvenTimes(longest->TimeStart, longest->TimeLength, longest->Samples.size(), times);
  std::vector<const std::vector<double>*> columns;
  for (const TSentBlock& block : blocks)
    columns.push_back(block.Present ? &block.Samples : nullptr);
  RouteRows(true, site.Index(), columns, times);
  std::vector<TShared> samples(blocks.size()), sentTimes(blocks.size());
  for (TSiteState& state : sites_)
    for (TInputSlot& slot : state.Inputs) {
      if (!slot.Ref.FromPanel || slot.Ref.Producer != site.Index()) continue;
      const std::size_t c = slot.Ref.Channel;
      const TSentBlock& block = blocks[c];
      if (!block.Present) continue;
      if (!samples[c]) {  // copied once, however many panels read it
        samples[c] = std::make_shared<const std::vector<double>>(block.Samples);
        if (block.HasTimes && block.Times.size() == block.Samples.size())
          sentTimes[c] = std::make_shared<const std::vector<double>>(block.Times);
      }
      slot.Samples = samples[c];
      slot.Times = sentTimes[c];
      slot.TimeStart = block.TimeStart;
      slot.TimeEnd = block.TimeStart + block.TimeLength;
      slot.Fresh = true;
    }
}

void TReferenceHost::TImpl::RouteRows(bool fromPanel, std::size_t producer,
                                      const std::vector<const std::vector<double>*>& columns,
                                      const std::vector<double>& times) {
  if (options_.OnRows) {
    std::vector<std::string> names;
    if (fromPanel)
      for (const TOutputChannelDefinition& channel : sites_[producer].Site->OutputChannels())
        names.push_back(channel.Name);
    else
      names = sources_[producer].Data->ChannelNames();
    const std::string& name =
        fromPanel ? sites_[producer].Setup->Name : sources_[producer].Setup->Name;
    options_.OnRows({name, fromPanel, names, columns, times});
  }
  std::vector<const std::vector<double>*> mine;
  for (TSinkRoute& route : routes_) {
    mine.clear();
    bool any = false;
    for (const TChannelRef& ref : route.Channels) {
      const bool ours = ref.FromPanel == fromPanel && ref.Producer == producer;
      mine.push_back(ours ? columns[ref.Channel] : nullptr);
      any = any || mine.back() != nullptr;
    }
    if (any) route.Write(times, mine);
  }
}

void TReferenceHost::TImpl::OnStopRequest(TPanelSite& site) {
  if (stopRequested_) return;
  stopRequested_ = true;
  stopReason_ =
      "the panel \"" + site.Name() + "\" asked the host to stop: a section ran longer than 60 s";
}

void TReferenceHost::TImpl::OnSerialState(TPanelSite& site, bool connected) {
  warnings_.push_back("the serial port of panel \"" + site.Name() + "\" " +
                      (connected ? "is back at " : "lost its device at ") +
                      FormatNumber(static_cast<double>(NowMs()) / 1000) + " s");
}

// --- running ---

std::int64_t TReferenceHost::TImpl::NowMs() const {
  if (pacing_ == TPacing::Fast) return clockMs_.load();
  const double elapsed =
      std::chrono::duration<double, std::milli>(TSteady::now() - wallStart_).count();
  return clockOriginMs_ + static_cast<std::int64_t>(elapsed * speed_);
}

// Reads the source's next block unless it has one; once the end of the run is known, a block
// is cut there and its source ends.
bool TReferenceHost::TImpl::FetchNext(TSourceState& source) {
  if (!source.HasNext && !source.Ended) {
    source.HasNext = source.Data->ReadBlock(source.BlockRows, source.Next);
    source.Ended = !source.HasNext;
  }
  if (source.HasNext && endKnown_ && duration_ > 0) CutAtEnd(source);
  return source.HasNext;
}

void TReferenceHost::TImpl::CutAtEnd(TSourceState& source) {
  TDataBlock& block = source.Next;
  std::size_t keep = 0;
  while (keep < block.Rows() && block.Times[keep] < dataEnd_) ++keep;
  if (keep == block.Rows()) return;
  const double period = block.Length / static_cast<double>(block.Rows());
  block.Times.resize(keep);
  for (std::vector<double>& channel : block.Channels) channel.resize(keep);
  block.Length = period * static_cast<double>(keep);
  source.Ended = true;
  source.HasNext = keep > 0;
}

bool TReferenceHost::TImpl::HasFresh(const TSiteState& state) const {
  return std::any_of(state.Inputs.begin(), state.Inputs.end(),
                     [](const TInputSlot& slot) { return slot.Fresh; });
}

void TReferenceHost::TImpl::Deliver(TSourceState& source) {
  TDataBlock block = std::move(source.Next);
  source.HasNext = false;
  const double end = block.Start + block.Length;
  dataSeen_ = std::max(dataSeen_, end);
  const auto endMs = static_cast<std::int64_t>(std::llround(end * 1000));
  if (pacing_ == TPacing::Fast)
    clockMs_.store(std::max(clockMs_.load(), endMs));
  else
    WaitUntil(endMs);
  if (StopNow()) return;
  PumpAll();  // the timers that fell due
  ++blocks_;
  samples_ += block.Rows() * block.Channels.size();
  const std::size_t index = static_cast<std::size_t>(&source - sources_.data());
  std::vector<const std::vector<double>*> columns;
  for (const std::vector<double>& channel : block.Channels) columns.push_back(&channel);
  RouteRows(false, index, columns, block.Times);
  // The block moves into shared storage that every panel reading it refers to.
  const auto times = std::make_shared<const std::vector<double>>(std::move(block.Times));
  std::vector<TShared> channels(block.Channels.size());
  for (TSiteState& state : sites_)
    for (TInputSlot& slot : state.Inputs) {
      if (slot.Ref.FromPanel || slot.Ref.Producer != index) continue;
      TShared& shared = channels[slot.Ref.Channel];
      if (!shared)
        shared = std::make_shared<const std::vector<double>>(
            std::move(block.Channels[slot.Ref.Channel]));
      slot.Samples = shared;
      slot.TimeStart = block.Start;
      slot.TimeEnd = end;
      slot.Times = times;
      slot.Fresh = true;
    }
  for (std::size_t p : order_) {
    TSiteState& state = sites_[p];
    if (HasFresh(state)) {
      Step(state);
    } else if (state.Inputs.empty()) {
      // A panel without input channels is executed with every block of the worksheet.
      state.Periods.push_back(block.Length * 1000);
      state.Site->Call([&] { state.Panel->HandleExecute(false); });
      PumpAll();
    }
  }
  CloseCycleTimes();
}

// One block for one panel: its channels with DoOnNewData, the execute call, then the loop, so
// that a posted cycle and the links it drives run before the next panel.
void TReferenceHost::TImpl::Step(TSiteState& state) {
  std::vector<TChannelBlock> channels;
  const TInputSlot* timed = nullptr;
  for (TInputSlot& slot : state.Inputs) {
    if (slot.Samples)
      channels.push_back(
          {slot.TimeStart, slot.TimeEnd, slot.Samples->data(), slot.Samples->size()});
    else
      channels.push_back({slot.TimeStart, slot.TimeEnd, nullptr, 0});  // nothing arrived yet
    if (slot.Fresh && timed == nullptr) timed = &slot;
  }
  if (timed != nullptr) state.Periods.push_back((timed->TimeEnd - timed->TimeStart) * 1000);
  const std::vector<double>* times = timed != nullptr ? timed->Times.get() : nullptr;
  const double start = timed != nullptr ? timed->TimeStart : 0;
  state.Site->Call([&] {
    state.Panel->DoOnNewData(channels, times, start);
    state.Panel->HandleExecute(false);
  });
  for (TInputSlot& slot : state.Inputs) slot.Fresh = false;
  PumpAll();
}

void TReferenceHost::TImpl::StepFreshPanels() {
  for (std::size_t p : order_)
    if (HasFresh(sites_[p])) Step(sites_[p]);
}

int TReferenceHost::TImpl::ApplyWrites() {
  int applied = 0;
  for (std::size_t n = writes_.size(); n > 0 && !writes_.empty(); --n) {
    TPendingWrite write = std::move(writes_.front());
    writes_.pop_front();
    TSiteState& state = sites_[write.Site];
    if (TPropertyDefinition* property = state.Site->FindProperty(write.Property))
      state.Site->WriteProperty(*property, std::move(write.Value));
    ++applied;
  }
  return applied;
}

// Delivers posted messages, due timers and link writes until none are left.
void TReferenceHost::TImpl::PumpAll() {
  for (int round = 0; round < kMaxPumpRounds; ++round)
    if (loop_.ProcessPending() + ApplyWrites() == 0) return;
  if (!pumpWarned_)
    warnings_.push_back(
        "links between panels kept triggering each other; the host moved on after " +
        std::to_string(kMaxPumpRounds) + " rounds");
  pumpWarned_ = true;
}

void TReferenceHost::TImpl::WaitUntil(std::int64_t clockMs) {
  while (!StopNow()) {
    const std::int64_t now = NowMs();
    if (now >= clockMs) return;
    const double realMs = static_cast<double>(clockMs - now) / speed_;
    loop_.WaitAndProcess(
        std::clamp<std::int64_t>(static_cast<std::int64_t>(std::ceil(realMs)), 1, 20));
    PumpAll();
    StepFreshPanels();
    CloseCycleTimes();
    ReportProgress(false);
  }
}

// A panel's cycle time is the time the main thread spent in it for one block; a block that
// started no cycle adds none.
void TReferenceHost::TImpl::CloseCycleTimes() {
  for (TSiteState& state : sites_) {
    const double busy = state.Site->TakeBusyMilliseconds();
    const std::uint64_t cycles = state.Panel->CyclesRun();
    if (cycles == state.CyclesSeen) continue;
    state.CyclesSeen = cycles;
    state.Report.CycleMilliseconds.push_back(busy);
  }
}

// Lets what is still under way finish: posted cycles, links, data for the next panels, and the
// results of evaluation threads.
void TReferenceHost::TImpl::Drain() {
  for (int round = 0; round < kMaxPumpRounds; ++round) {
    PumpAll();
    if (!std::any_of(sites_.begin(), sites_.end(),
                     [&](const TSiteState& s) { return HasFresh(s); }))
      break;
    StepFreshPanels();
  }
  const bool asynchronous = std::any_of(sites_.begin(), sites_.end(), [](const TSiteState& s) {
    return s.Panel->Settings().evaluateAsynchronously;
  });
  auto quietSince = TSteady::now();
  while (asynchronous && TSteady::now() - quietSince < kAsyncQuiet) {
    if (loop_.WaitAndProcess(20) > 0) {
      quietSince = TSteady::now();
      PumpAll();
      StepFreshPanels();
    }
  }
  CloseCycleTimes();
}

void TReferenceHost::TImpl::Finish() {
  for (std::size_t p : order_) {
    TSiteState& state = sites_[p];
    if (HasFresh(state)) Step(state);
    state.Site->Call([&] { state.Panel->Finishing(); });
    PumpAll();
  }
  Drain();
}

void TReferenceHost::TImpl::ReportProgress(bool force) {
  if (!options_.OnProgress) return;
  const auto now = TSteady::now();
  if (!force && now - lastProgress_ < std::chrono::milliseconds(100)) return;
  lastProgress_ = now;
  TRunProgress progress;
  progress.Blocks = blocks_;
  progress.Samples = samples_;
  progress.WallSeconds = std::chrono::duration<double>(now - wallStart_).count();
  progress.DataSeconds = static_cast<double>(NowMs()) / 1000 - dataOrigin_;
  if (duration_ > 0) {
    progress.Fraction = std::clamp(progress.DataSeconds / duration_, 0.0, 1.0);
  } else {
    double sum = 0;
    for (const TSourceState& source : sources_) {
      const double fraction = source.Ended ? 1 : source.Data->Progress();
      if (fraction < 0) return options_.OnProgress(progress);
      sum += fraction;
    }
    if (!sources_.empty()) progress.Fraction = sum / static_cast<double>(sources_.size());
  }
  options_.OnProgress(progress);
}

void TReferenceHost::TImpl::DestroyPanels() {
  for (auto it = sites_.rbegin(); it != sites_.rend(); ++it) it->Panel.reset();
}

TRunReport TReferenceHost::TImpl::Run() {
  // The clock starts at the data's first time, so events and outputs share the data's axis.
  bool any = false;
  for (TSourceState& source : sources_)
    if (FetchNext(source)) {
      dataOrigin_ = any ? std::min(dataOrigin_, source.Next.Start) : source.Next.Start;
      any = true;
    }
  dataEnd_ = dataOrigin_ + duration_;
  dataSeen_ = dataOrigin_;
  endKnown_ = true;
  clockOriginMs_ = static_cast<std::int64_t>(std::llround(dataOrigin_ * 1000));
  clockMs_.store(clockOriginMs_);
  wallStart_ = TSteady::now();

  for (std::size_t p : order_) {
    TSiteState& state = sites_[p];
    state.Site->Call([&] { state.Panel->LoadFinished(); });
    PumpAll();
  }
  CloseCycleTimes();
  while (!StopNow()) {
    TSourceState* next = nullptr;
    for (TSourceState& source : sources_)
      if (FetchNext(source) && (next == nullptr || source.Next.Start < next->Next.Start))
        next = &source;
    if (next == nullptr) break;
    Deliver(*next);
    ReportProgress(false);
  }
  if (!StopNow() && duration_ > 0) {  // a worksheet may run on without data (serial, timers)
    const auto endMs = static_cast<std::int64_t>(std::llround(dataEnd_ * 1000));
    if (pacing_ == TPacing::RealTime) {
      WaitUntil(endMs);
    } else {
      clockMs_.store(std::max(clockMs_.load(), endMs));
      PumpAll();
    }
  }
  if (gInterrupted.load() && !stopRequested_) {
    stopRequested_ = true;
    stopReason_ = "interrupted";
  }
  Drain();
  Finish();
  ReportProgress(true);

  TRunReport report;
  report.Stopped = stopRequested_;
  report.StopReason = stopReason_;
  report.Pacing = pacing_;
  report.Speed = speed_;
  report.WallSeconds = std::chrono::duration<double>(TSteady::now() - wallStart_).count();
  report.DataSeconds = blocks_ > 0 ? dataSeen_ - dataOrigin_ : duration_;
  report.Blocks = blocks_;
  report.Samples = samples_;
  for (TSiteState& state : sites_) {
    state.Report.Cycles = state.Panel->CyclesRun();
    state.Report.BlockPeriodMilliseconds = Median(state.Periods);
    report.Panels.push_back(state.Report);
  }
  DestroyPanels();
  for (TSinkRoute& route : routes_) {
    route.Flush();
    route.Sink->Commit();
    report.Outputs.emplace_back(route.Shown, route.Sink->RowsWritten());
  }
  for (auto& [path, log] : logs_) {
    log->Commit();
    report.Outputs.emplace_back(path, log->Count());
  }
  report.Warnings = warnings_;
  return report;
}

TReferenceHost::TReferenceHost(TWorksheet worksheet, TRunOptions options)
    : impl_(std::make_unique<TImpl>(std::move(worksheet), std::move(options))) {}

TReferenceHost::~TReferenceHost() = default;

void TReferenceHost::Prepare() {
  impl_->Prepare();
}

TRunReport TReferenceHost::Run() {
  return impl_->Run();
}

}  // namespace loom
