// WAV data through libsndfile: one channel per channel of the file, the sample rate giving the
// time axis. Integer samples keep their values (a 16-bit sample reads as -32768 .. 32767)
// unless the source asks for libsndfile's scaling to -1 .. 1.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/DataBlock.h"

namespace loom {

struct TSoundSourceOptions {
  bool Normalize = false;          // integer samples scaled to -1 .. 1
  std::vector<std::string> Names;  // channel names; the channels are numbered without them
};

// Opens a WAV (or any other format libsndfile reads) for reading; raises EInputError.
std::unique_ptr<TDataSource> OpenSoundSource(const std::string& path, const std::string& shown,
                                             TSoundSourceOptions options);

// A WAV sink of 64-bit floating-point samples. The sample rate is sampleRate, or, when that is
// 0, the one the first rows show; every channel must send a sample in every row.
std::unique_ptr<TDataSink> MakeSoundSink(const std::string& path, const std::string& shown,
                                         const std::vector<std::string>& names, double sampleRate);

}  // namespace loom
