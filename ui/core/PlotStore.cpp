#include "ui/core/PlotStore.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace loom {

TPlotStore::TPlotStore(double binSeconds, std::size_t binsKept)
    : binSeconds_(binSeconds), binsKept_(binsKept) {}

void TPlotStore::Add(TChannel& channel, double time, double value) {
  const auto index = static_cast<std::int64_t>(std::floor(time / binSeconds_));
  std::deque<TPlotBin>& bins = channel.Bins;
  // Time running backwards by more than the kept span means a new time axis: start again.
  if (!bins.empty() && index < bins.back().Index - static_cast<std::int64_t>(binsKept_))
    bins.clear();
  if (bins.empty() || index > bins.back().Index) {
    bins.push_back({index, value, value});
    if (bins.size() > binsKept_) bins.pop_front();
    return;
  }
  TPlotBin& last = bins.back();  // a late sample joins the newest bin
  last.Min = std::min(last.Min, value);
  last.Max = std::max(last.Max, value);
}

void TPlotStore::Append(const std::string& producer, bool output,
                        const std::vector<std::string>& names,
                        const std::vector<const std::vector<double>*>& columns,
                        const std::vector<double>& times) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (columns[c] == nullptr) continue;
    const std::string name =
        producer + "." + (c < names.size() ? names[c] : "channel" + std::to_string(c + 1));
    auto [it, added] = byName_.try_emplace(name, channels_.size());
    if (added) channels_.push_back({name, output, {}});
    TChannel& channel = channels_[it->second];
    const std::vector<double>& samples = *columns[c];
    const std::size_t rows = std::min(samples.size(), times.size());
    for (std::size_t i = 0; i < rows; ++i)
      if (!std::isnan(samples[i]) && std::isfinite(times[i])) Add(channel, times[i], samples[i]);
    samples_ += rows;
    if (rows > 0) latest_ = std::max(latest_, times[rows - 1]);
  }
}

void TPlotStore::AppendEvent(std::string line) {
  std::lock_guard<std::mutex> lock(mutex_);
  events_.push_back(std::move(line));
}

std::vector<TPlotSeries> TPlotStore::Snapshot() const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<TPlotSeries> series;
  for (const TChannel& channel : channels_)
    series.push_back({channel.Name, channel.Output, {channel.Bins.begin(), channel.Bins.end()}});
  return series;
}

std::vector<std::string> TPlotStore::TakeEvents() {
  std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(events_, {});
}

double TPlotStore::LatestTime() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return latest_;
}

std::uint64_t TPlotStore::SamplesSeen() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return samples_;
}

}  // namespace loom
