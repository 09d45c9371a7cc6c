// Channel data held in memory by an embedder (the Python module's NumPy arrays): a source that
// reads the caller's arrays in place, and a sink that keeps each output channel's samples.
// Blocks, time axis and sample period follow the rules of a CSV file with the same numbers, so
// a panel run on arrays matches `loom run` on the file written from them.
//
// Threads: both belong to the host's thread; the arrays must outlive the run and stay unchanged
// while it goes on.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/DataBlock.h"

namespace loom {

struct TArrayChannels {
  std::vector<std::string> Names;
  std::vector<std::span<const double>> Channels;  // borrowed, all of one length
  std::span<const double> Times;                  // borrowed; empty: sample n lies at n / Rate
  double Rate = 0;                                // samples per second without Times (0: 1)
};

class TArraySource : public TDataSource {
 public:
  // Checks the arrays (equal lengths, a finite time axis that never goes back); raises
  // EInputError naming the channel or row.
  explicit TArraySource(TArrayChannels channels);
  const std::vector<std::string>& ChannelNames() const override { return data_.Names; }
  double SampleRate() override { return 1.0 / period_; }
  bool ReadBlock(std::size_t maxRows, TDataBlock& block) override;
  double Progress() const override;

 private:
  TArrayChannels data_;
  std::size_t rows_ = 0;
  std::size_t next_ = 0;
  double period_ = 1;
};

// Every output channel's samples and their times, as a sink received them.
struct TArrayOutputs {
  std::vector<std::string> Names;
  std::vector<std::vector<double>> Times;
  std::vector<std::vector<double>> Values;
};

class TArraySink : public TDataSink {
 public:
  TArraySink(std::shared_ptr<TArrayOutputs> outputs, const std::vector<std::string>& names);
  void Write(const TSampleRows& rows) override;
  void Commit() override {}
  std::size_t RowsWritten() const override { return rows_; }

 private:
  std::shared_ptr<TArrayOutputs> outputs_;
  std::size_t rows_ = 0;
};

}  // namespace loom
