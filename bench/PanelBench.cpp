// The cost of a panel's cycle: synchronous against asynchronous (packet copies in and out, the
// hand-over to the evaluation thread, the message back), for inputs of 1, 1 000 and 100 000
// samples, and the overhead of an empty cycle against one bare GetResults.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>
#include <vector>

#include "panel/FormulaPanel.h"

namespace {

using namespace loom;

// A host that keeps nothing: what is measured is the panel alone.
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

TPanelSettings Settings(std::vector<std::string> expressions, bool async) {
  TPanelSettings s;
  s.Expressions = std::move(expressions);
  s.ExitStartIndex = static_cast<int>(s.Expressions.size());
  s.InputVariables = {"x"};
  s.ChannelOrigins = {"src.x"};
  s.EvaluateImmediately = true;
  s.evaluateAsynchronously = async;
  s.OutputChannels = {{"Y", "y"}};
  return s;
}

// One block of state.range(0) samples in, the cycle, its outputs out.
void Cycle(benchmark::State& state, bool async) {
  TNullHost host;
  TKQVXFormulaPanel panel(host);
  panel.ReadProperties(WritePanelSettings(Settings({"y := x * 2 + 1"}, async)));
  panel.LoadFinished();
  std::vector<double> samples(static_cast<std::size_t>(state.range(0)), 0.5);
  const std::vector<TChannelBlock> block = {{0, 1, samples.data(), samples.size()}};
  for (auto _ : state) {
    panel.DoOnNewData(block, nullptr, 0);
    const int before = host.dataDone.load(std::memory_order_acquire);
    panel.HandleExecute(true);
    if (async) {
      while (host.dataDone.load(std::memory_order_acquire) == before) std::this_thread::yield();
      panel.MSGDataDone();
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_SyncCycle(benchmark::State& state) {
  Cycle(state, false);
}
void BM_AsyncCycle(benchmark::State& state) {
  Cycle(state, true);
}
BENCHMARK(BM_SyncCycle)->Arg(1)->Arg(1000)->Arg(100000)->UseRealTime();
BENCHMARK(BM_AsyncCycle)->Arg(1)->Arg(1000)->Arg(100000)->UseRealTime();

// The cycle's own cost: an empty Formula section without data (argument 0) or with a block of
// state.range(0) samples for its input, and the one expression a formula would run.
void BM_EmptyCycle(benchmark::State& state) {
  TNullHost host;
  TKQVXFormulaPanel panel(host);
  TPanelSettings s = Settings({}, false);
  s.OutputChannels.clear();
  panel.ReadProperties(WritePanelSettings(s));
  panel.LoadFinished();
  std::vector<double> samples(static_cast<std::size_t>(state.range(0)), 0.5);
  const std::vector<TChannelBlock> block = {{0, 1, samples.data(), samples.size()}};
  for (auto _ : state) {
    if (!samples.empty()) panel.DoOnNewData(block, nullptr, 0);
    panel.HandleExecute(true);
  }
}
BENCHMARK(BM_EmptyCycle)->Arg(0)->Arg(1)->Arg(1000);

void BM_BareGetResults(benchmark::State& state) {
  TVXExpressionEvaluator evaluator;
  TVXParsDouble x = TVXParsDouble::Number(0.5), result;
  evaluator.DefineVariable("x", &x, "", "");
  const int index = evaluator.AddExpression("x * 2 + 1");
  for (auto _ : state) {
    evaluator.GetResults(index, result);
    benchmark::DoNotOptimize(result.Value);
  }
}
BENCHMARK(BM_BareGetResults);

}  // namespace

BENCHMARK_MAIN();
