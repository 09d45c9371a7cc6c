// The reference host measured: samples per second through `loom run` against the raw read rate
// of the same WAV file, and the cost of one cycle of an empty formula through the host against
// the same panel driven directly. bench/run_ratios.py turns one run (--benchmark_format=json)
// into the ratios the README shows.
#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/NullHost.h"
#include "host/ReferenceHost.h"
#include "host/Worksheet.h"
#include "panel/FormulaPanel.h"

namespace {

using namespace loom;

constexpr int kChannels = 4;
constexpr int kFrames = 250000;
constexpr int kBlock = 1000;
constexpr int kEmptyCycles = 20000;

// A folder with the benchmark's files: a 16-bit WAV of four channels and the worksheets.
class TFiles {
 public:
  TFiles()
      : dir_(std::filesystem::temp_directory_path() /
             ("loom-run-bench-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(dir_);
    SF_INFO info{};
    info.samplerate = 10000;
    info.channels = kChannels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(Path("four.wav").c_str(), SFM_WRITE, &info);
    std::vector<short> frames(static_cast<std::size_t>(kFrames) * kChannels);
    for (std::size_t i = 0; i < frames.size(); ++i)
      frames[i] = static_cast<short>(10000 * std::sin(0.001 * static_cast<double>(i)));
    sf_writef_short(file, frames.data(), kFrames);
    sf_close(file);
    Write("rms.ini",
          "[Worksheet]\n[Source:rec]\nFile=four.wav\nBlock=1000\nChannels=a,b,c,d\n"
          "[Panel:rms]\n" +
              RmsSettings("rms:"));
    Write("empty.ini", "[Worksheet]\nDuration=" + std::to_string(kEmptyCycles / 1000) +
                           "\nPacing=fast\n[Source:one]\nGenerator=constant\nRate=1000\nBlock=1\n"
                           "[Panel:empty]\n" +
                           std::string(kEmptySettings("empty:")));
  }
  ~TFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  std::string Path(const char* name) const { return (dir_ / name).string(); }

  // The RMS of four input channels, evaluated on every block.
  static std::string RmsSettings(const std::string& prefix) {
    return "[" + prefix + "General]\nImmediateEvaluation=1\nEvaluateImmediately=1\n[" + prefix +
           "InputVariables]\nCount=4\n0=a\n1=b\n2=c\n3=d\n[" + prefix +
           "Expressions]\nCount=4\n0=ra := VectorGetRMS(a)\n1=rb := VectorGetRMS(b)\n"
           "2=rc := VectorGetRMS(c)\n3=rd := VectorGetRMS(d)\n[" +
           prefix + "ChannelOrigins]\nCount=4\n0=rec.a\n1=rec.b\n2=rec.c\n3=rec.d\n";
  }

  // An empty formula on one input channel, evaluated on every block.
  static std::string kEmptySettings(const std::string& prefix) {
    return "[" + prefix + "General]\nImmediateEvaluation=1\nEvaluateImmediately=1\n[" + prefix +
           "InputVariables]\nCount=1\n0=x\n[" + prefix + "Expressions]\nCount=0\n[" + prefix +
           "ChannelOrigins]\nCount=1\n0=one.signal\n";
  }

 private:
  void Write(const char* name, const std::string& text) { std::ofstream(Path(name)) << text; }
  std::filesystem::path dir_;
};

const TFiles& Files() {
  static const TFiles files;
  return files;
}

void RunWorksheet(const std::string& path) {
  TReferenceHost host(LoadWorksheet(path), {});
  host.Prepare();
  benchmark::DoNotOptimize(host.Run());
}

// The WAV file read in blocks as the host reads it, without any panel.
void BM_ReadWav(benchmark::State& state) {
  const std::string path = Files().Path("four.wav");
  std::vector<double> frames(static_cast<std::size_t>(kBlock) * kChannels);
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    sf_command(file, SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    while (sf_readf_double(file, frames.data(), kBlock) > 0) benchmark::DoNotOptimize(frames);
    sf_close(file);
  }
  state.SetItemsProcessed(state.iterations() * kFrames * kChannels);
}
BENCHMARK(BM_ReadWav)->Name("wav4x1000/read")->Unit(benchmark::kMillisecond);

// The same file through loom run: a panel computes the RMS of the four channels per block.
void BM_RunRms(benchmark::State& state) {
  const std::string path = Files().Path("rms.ini");
  for (auto _ : state) RunWorksheet(path);
  state.SetItemsProcessed(state.iterations() * kFrames * kChannels);
}
BENCHMARK(BM_RunRms)->Name("wav4x1000/run")->Unit(benchmark::kMillisecond);

// One-sample blocks through the host to a panel whose formula is empty: a cycle's whole cost.
void BM_RunEmpty(benchmark::State& state) {
  const std::string path = Files().Path("empty.ini");
  for (auto _ : state) RunWorksheet(path);
  state.SetItemsProcessed(state.iterations() * kEmptyCycles);
}
BENCHMARK(BM_RunEmpty)->Name("empty/run")->Unit(benchmark::kMillisecond);

void BM_PanelEmpty(benchmark::State& state) {
  TNullHost host;
  TKQVXFormulaPanel panel(host);
  panel.ReadProperties(TFiles::kEmptySettings(""));
  panel.LoadFinished();
  const double sample = 1;
  const std::vector<TChannelBlock> channels = {{0, 0.001, &sample, 1}};
  const std::vector<double> times = {0};
  for (auto _ : state) {
    panel.DoOnNewData(channels, &times, 0);
    panel.HandleExecute(false);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PanelEmpty)->Name("empty/panel");

// The RMS panel alone on blocks of four channels of 1000 samples: the formulas' part of a run.
void BM_PanelRms(benchmark::State& state) {
  TNullHost host;
  TKQVXFormulaPanel panel(host);
  panel.ReadProperties(TFiles::RmsSettings(""));
  panel.LoadFinished();
  std::vector<double> samples(kBlock), times(kBlock);
  for (int i = 0; i < kBlock; ++i) samples[i] = std::sin(0.01 * i), times[i] = 0.0001 * i;
  const std::vector<TChannelBlock> channels(kChannels, {0, 0.1, samples.data(), samples.size()});
  for (auto _ : state) {
    panel.DoOnNewData(channels, &times, 0);
    panel.HandleExecute(false);
  }
  state.SetItemsProcessed(state.iterations() * kBlock * kChannels);
}
BENCHMARK(BM_PanelRms)->Name("wav4x1000/panel");

}  // namespace

BENCHMARK_MAIN();
