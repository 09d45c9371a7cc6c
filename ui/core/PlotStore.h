// What the live plot of a run shows, gathered while the run goes on: every channel's samples
// binned in time (the smallest and largest value per bin), and the event lines. Binning on
// arrival keeps drawing cheap however fast the data come: a repaint reads a few thousand bins
// per channel, never the raw samples.
//
// Threads: the host's thread appends, the GUI thread takes snapshots; one lock guards both.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace loom {

struct TPlotBin {
  std::int64_t Index = 0;  // the bin's start is Index * bin seconds
  double Min = 0;
  double Max = 0;
};

struct TPlotSeries {
  std::string Name;     // "PRODUCER.CHANNEL"
  bool Output = false;  // sent by a panel (else delivered by a source)
  std::vector<TPlotBin> Bins;
};

class TPlotStore {
 public:
  // binSeconds: the time one bin spans; binsKept: how many bins each channel keeps.
  explicit TPlotStore(double binSeconds = 0.005, std::size_t binsKept = 4000);

  // Bins the rows of one block: columns[c] (null: absent) is channel names[c] of producer, one
  // sample per entry of times. Not-a-number samples are left out.
  void Append(const std::string& producer, bool output, const std::vector<std::string>& names,
              const std::vector<const std::vector<double>*>& columns,
              const std::vector<double>& times);
  void AppendEvent(std::string line);

  // Every channel in the order they first appeared, with its bins.
  std::vector<TPlotSeries> Snapshot() const;
  // The event lines added since the last call.
  std::vector<std::string> TakeEvents();
  // The latest sample time seen, in seconds.
  double LatestTime() const;
  double BinSeconds() const { return binSeconds_; }
  std::uint64_t SamplesSeen() const;

 private:
  struct TChannel {
    std::string Name;
    bool Output = false;
    std::deque<TPlotBin> Bins;
  };
  void Add(TChannel& channel, double time, double value);

  const double binSeconds_;
  const std::size_t binsKept_;
  mutable std::mutex mutex_;  // guards channels_, byName_, events_, latest_ and samples_
  std::deque<TChannel> channels_;
  std::map<std::string, std::size_t> byName_;
  std::vector<std::string> events_;
  double latest_ = 0;
  std::uint64_t samples_ = 0;
};

}  // namespace loom
