// A WAV sink's file read back by the WAV source: the rate the sink took from the rows, the
// channels' order and 64-bit samples bit for bit; a row the sink cannot hold is refused.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>

#include "host/InputError.h"
#include "host/SoundFile.h"

namespace loom {
namespace {

TEST(SoundFile, WhatTheSinkWritesTheSourceReads) {
  const std::string path =
      (std::filesystem::temp_directory_path() / ("loom-sound-" + std::to_string(getpid()) + ".wav"))
          .string();
  const std::vector<double> times = {0, 0.125, 0.25};
  const std::vector<double> left = {0.1, -1e-300, 12345.678};
  const std::vector<double> right = {1.0 / 3, -0.0, NAN};
  {
    auto sink = MakeSoundSink(path, "out.wav", {"left", "right"}, 0);
    sink->Write({times, {&left, &right}});
    const std::vector<double> shortColumn = {1};
    EXPECT_THROW(sink->Write({times, {&left, &shortColumn}}), EInputError);
    EXPECT_FALSE(std::filesystem::exists(path));  // under its temporary name until committed
    sink->Commit();
  }
  auto source = OpenSoundSource(path, "out.wav", {});
  EXPECT_EQ(source->SampleRate(), 8);
  EXPECT_FALSE(source->HasNames());
  TDataBlock block;
  ASSERT_TRUE(source->ReadBlock(10, block));
  ASSERT_EQ(block.Rows(), 3u);
  EXPECT_EQ(block.Times, times);
  EXPECT_EQ(block.Channels[0], left);
  EXPECT_EQ(block.Channels[1][0], right[0]);
  EXPECT_TRUE(std::signbit(block.Channels[1][1]));
  EXPECT_TRUE(std::isnan(block.Channels[1][2]));
  EXPECT_FALSE(source->ReadBlock(10, block));
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace loom
