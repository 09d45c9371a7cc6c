// Round trips through the MATLAB bridge to a real octave-cli: an empty command, and a put
// followed by a get of 1, 1,000 and 1,000,000 doubles. The engine starts once, before timing;
// wall-clock time is what counts, since the work happens in the engine process.
#include <benchmark/benchmark.h>

#include <vector>

#include "matlab/MatlabInterface.h"

namespace {

void BM_MatlabEmptyCommand(benchmark::State& state) {
  loom::MLConnect();
  for (auto _ : state) benchmark::DoNotOptimize(loom::MLExecuteCommand(""));
}
BENCHMARK(BM_MatlabEmptyCommand)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_MatlabPutGet(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  std::vector<double> out(n, 0.5), back(n);
  loom::MLConnect();
  for (auto _ : state) {
    loom::MLPutFullMatrix("v", "base", out.data(), n - 1, nullptr, -1);
    loom::MLGetFullMatrix("v", "base", back.data(), n - 1, nullptr, -1);
    benchmark::DoNotOptimize(back.data());
  }
  state.SetBytesProcessed(state.iterations() * n * 2 * static_cast<int64_t>(sizeof(double)));
}
BENCHMARK(BM_MatlabPutGet)
    ->Arg(1)
    ->Arg(1000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
