// The live plot's cost on the host's thread: binning a block of samples as it arrives. A run
// delivering 100,000 samples per second spends 100,000 / items_per_second of one core on it.
#include <benchmark/benchmark.h>

#include <cmath>

#include "ui/core/PlotStore.h"

namespace loom {
namespace {

// One block of state.range(0) rows on four channels, at 100 kHz, appended again and again.
void BM_PlotStoreAppend(benchmark::State& state) {
  const auto rows = static_cast<std::size_t>(state.range(0));
  const std::vector<std::string> names{"a", "b", "c", "d"};
  std::vector<std::vector<double>> channels(4, std::vector<double>(rows));
  for (std::size_t c = 0; c < 4; ++c)
    for (std::size_t i = 0; i < rows; ++i) channels[c][i] = std::sin(0.001 * double(i * (c + 1)));
  const std::vector<const std::vector<double>*> columns{&channels[0], &channels[1], &channels[2],
                                                        &channels[3]};
  std::vector<double> times(rows);
  TPlotStore store;
  double start = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < rows; ++i) times[i] = start + double(i) * 1e-5;
    start += double(rows) * 1e-5;
    store.Append("source", false, names, columns, times);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(rows * 4));
}
BENCHMARK(BM_PlotStoreAppend)->Arg(1000)->Arg(10000);

// A repaint's read: a copy of every channel's bins.
void BM_PlotStoreSnapshot(benchmark::State& state) {
  TPlotStore store;
  std::vector<double> samples(100000), times(100000);
  for (std::size_t i = 0; i < samples.size(); ++i) times[i] = double(i) * 1e-4;
  for (int c = 0; c < 8; ++c)
    store.Append("s", false, {"c" + std::to_string(c)}, {&samples}, times);
  for (auto _ : state) benchmark::DoNotOptimize(store.Snapshot());
}
BENCHMARK(BM_PlotStoreSnapshot);

}  // namespace
}  // namespace loom

BENCHMARK_MAIN();
