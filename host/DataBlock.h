// Blocks of channel data as the reference host moves them: from a source (a file, standard
// input, a generator) to the panels, and from the panels' output channels to the sinks.
//
// Threads: sources and sinks belong to the host's main thread.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace loom {

// One block of a source: every channel has one sample per entry of Times.
struct TDataBlock {
  double Start = 0;   // time of the first sample, in seconds
  double Length = 0;  // the time the block spans: its samples times the sample period
  std::vector<double> Times;
  std::vector<std::vector<double>> Channels;

  std::size_t Rows() const { return Times.size(); }
};

// Where blocks come from. Errors in the data raise EInputError with the file and line.
class TDataSource {
 public:
  virtual ~TDataSource() = default;
  // The channels in column order, the time axis not among them.
  virtual const std::vector<std::string>& ChannelNames() const = 0;
  // False when the names are only the column numbers ("1", "2", ...): channels then match
  // panels' channel origins by order.
  virtual bool HasNames() const { return true; }
  // Samples per second (the nominal rate, for the default block size and the report).
  virtual double SampleRate() = 0;
  // The next block, at most maxRows rows; false at the end of the data.
  virtual bool ReadBlock(std::size_t maxRows, TDataBlock& block) = 0;
  // How much of the source was read, 0 to 1, or -1 when that is unknown (standard input).
  virtual double Progress() const { return -1; }
};

// Rows of samples on one time axis as a sink writes them: one column per channel of the sink;
// a column shorter than Times leaves its remaining cells empty.
struct TSampleRows {
  std::vector<double> Times;
  std::vector<const std::vector<double>*> Columns;  // null: no sample in these rows
};

// Where output channels go: a file written under a temporary name and renamed by Commit, so an
// interrupted run never leaves a file that looks complete.
class TDataSink {
 public:
  virtual ~TDataSink() = default;
  virtual void Write(const TSampleRows& rows) = 0;
  // Finishes the file and gives it its name. Without Commit the destructor removes it.
  virtual void Commit() = 0;
  virtual std::size_t RowsWritten() const = 0;
};

}  // namespace loom
