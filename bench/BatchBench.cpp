// `loom batch -j 2` against a sequential loop of `loom run` over the same files: files per second
// of each, measured on the wall clock (the work happens in child processes). bench/scale_ratios.py
// prints the ratio.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sndfile.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

constexpr int kFiles = 8;
constexpr int kFrames = 1000000;

// A folder with a worksheet (RMS and spectrum peak per block of 1000) and kFiles WAV recordings.
class TBatchFiles {
 public:
  TBatchFiles()
      : dir_(std::filesystem::temp_directory_path() /
             ("loom-batch-bench-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(dir_);
    for (int f = 0; f < kFiles; ++f) {
      const std::string name = "rec" + std::to_string(f) + ".wav";
      SF_INFO info{};
      info.samplerate = 10000;
      info.channels = 1;
      info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
      SNDFILE* file = sf_open(Path(name).c_str(), SFM_WRITE, &info);
      std::vector<short> frames(kFrames);
      for (int i = 0; i < kFrames; ++i)
        frames[static_cast<std::size_t>(i)] =
            static_cast<short>(8000 * std::sin(0.01 * (f + 1) * i) + 500 * std::sin(0.37 * i * i));
      sf_writef_short(file, frames.data(), kFrames);
      sf_close(file);
      Files.push_back(Path(name));
    }
    std::ofstream(Path("w.ini"))
        << "[Source:rec]\nFile=rec0.wav\nBlock=1000\nChannels=x\n[Panel:p]\n[p:General]\n"
           "ImmediateEvaluation=1\nEvaluateImmediately=1\n[p:InputVariables]\nCount=1\n0=x\n"
           "[p:Expressions]\nCount=2\n0=rms := VectorGetRMS(x)\n"
           "1=peak := VectorGetMaximumPosition(RealFFT(x, WINDOW_HANNING, 0, ph))\n"
           "[p:ChannelOrigins]\nCount=1\n0=rec.x\n[p:OutputDataChannels]\nCount=2\n"
           "0.Origin=rms\n0.Name=rms\n1.Origin=peak\n1.Name=peak\n[Sink:out]\nFile=out.csv\n"
           "Channels=p.rms, p.peak\n";
  }
  ~TBatchFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
  }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }
  std::vector<std::string> Files;

 private:
  std::filesystem::path dir_;
};

const TBatchFiles& BatchFiles() {
  static const TBatchFiles files;
  return files;
}

// Runs loom with arguments, its output discarded; false when it fails.
bool RunLoom(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  std::string program = LOOM_PROGRAM;
  argv.push_back(program.data());
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return spawned == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

void BM_Sequential(benchmark::State& state) {
  const TBatchFiles& files = BatchFiles();
  for (auto _ : state)
    for (int f = 0; f < kFiles; ++f)
      if (!RunLoom({"run", files.Path("w.ini"), "--source",
                    "rec=" + files.Files[static_cast<std::size_t>(f)], "--output-dir",
                    files.Path("seq/" + std::to_string(f)), "--quiet"}))
        state.SkipWithError("loom run failed");
  state.SetItemsProcessed(state.iterations() * kFiles);
}
BENCHMARK(BM_Sequential)->Name("files/sequential")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Batch(benchmark::State& state) {
  const TBatchFiles& files = BatchFiles();
  std::vector<std::string> arguments = {"batch", files.Path("w.ini")};
  arguments.insert(arguments.end(), files.Files.begin(), files.Files.end());
  arguments.insert(arguments.end(), {"--out", files.Path("batch"), "-j",
                                     std::to_string(state.range(0)), "--no-progress"});
  for (auto _ : state)
    if (!RunLoom(arguments)) state.SkipWithError("loom batch failed");
  state.SetItemsProcessed(state.iterations() * kFiles);
}
BENCHMARK(BM_Batch)->Name("files/batch")->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
