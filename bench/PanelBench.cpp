// The cost of a panel's cycle: synchronous against asynchronous (packet copies in and out, the
// hand-over to the evaluation thread, the message back), for inputs of 1, 1 000 and 100 000
// samples, and the overhead of an empty cycle against one bare GetResults.
#include <benchmark/benchmark.h>

#include <atomic>
#include <thread>
#include <vector>

#include "bench/NullHost.h"
#include "panel/FormulaPanel.h"

namespace {

using namespace loom;

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
