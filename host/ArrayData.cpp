#include "host/ArrayData.h"

#include <cmath>

#include "host/CsvData.h"
#include "host/InputError.h"

namespace loom {

TArraySource::TArraySource(TArrayChannels channels) : data_(std::move(channels)) {
  if (data_.Names.size() != data_.Channels.size() || data_.Names.empty())
    throw EInputError("the data holds no channel");
  rows_ = data_.Channels.front().size();
  for (std::size_t c = 0; c < data_.Names.size(); ++c) {
    if (data_.Names[c].empty()) throw EInputError("a channel without a name");
    if (data_.Channels[c].size() != rows_)
      throw EInputError("the channel \"" + data_.Names[c] + "\" holds " +
                        std::to_string(data_.Channels[c].size()) + " samples, \"" +
                        data_.Names.front() + "\" " + std::to_string(rows_));
  }
  if (!data_.Times.empty()) {
    if (data_.Times.size() != rows_)
      throw EInputError("the time axis holds " + std::to_string(data_.Times.size()) +
                        " values for " + std::to_string(rows_) + " samples");
    for (std::size_t r = 0; r < rows_; ++r) {
      if (!std::isfinite(data_.Times[r]))
        throw EInputError("time " + std::to_string(r) + ": " + FormatNumber(data_.Times[r]) +
                          " is not a finite number");
      if (r > 0 && data_.Times[r] < data_.Times[r - 1])
        throw EInputError("time " + std::to_string(r) + ": " + FormatNumber(data_.Times[r]) +
                          " lies before the previous " + FormatNumber(data_.Times[r - 1]));
    }
  }
  if (data_.Rate < 0 || !std::isfinite(data_.Rate))
    throw EInputError("the rate must be a number above 0");
  // As in a CSV file: the step of the first two times, else the rate.
  const double rate = data_.Rate > 0 ? data_.Rate : 1.0;
  period_ = data_.Times.size() >= 2 && data_.Times[1] > data_.Times[0]
                ? data_.Times[1] - data_.Times[0]
                : 1.0 / rate;
}

bool TArraySource::ReadBlock(std::size_t maxRows, TDataBlock& block) {
  const std::size_t count = std::min(maxRows, rows_ - next_);
  if (count == 0) return false;
  const double rate = data_.Rate > 0 ? data_.Rate : 1.0;
  block.Times.resize(count);
  for (std::size_t r = 0; r < count; ++r)
    block.Times[r] =
        data_.Times.empty() ? static_cast<double>(next_ + r) / rate : data_.Times[next_ + r];
  block.Channels.resize(data_.Channels.size());
  for (std::size_t c = 0; c < data_.Channels.size(); ++c)
    block.Channels[c].assign(
        data_.Channels[c].begin() + static_cast<std::ptrdiff_t>(next_),
        data_.Channels[c].begin() + static_cast<std::ptrdiff_t>(next_ + count));
  next_ += count;
  block.Start = block.Times.front();
  block.Length = static_cast<double>(count) * period_;
  return true;
}

double TArraySource::Progress() const {
  return rows_ == 0 ? 1 : static_cast<double>(next_) / static_cast<double>(rows_);
}

TArraySink::TArraySink(std::shared_ptr<TArrayOutputs> outputs,
                       const std::vector<std::string>& names)
    : outputs_(std::move(outputs)) {
  outputs_->Names = names;
  outputs_->Times.assign(names.size(), {});
  outputs_->Values.assign(names.size(), {});
}

void TArraySink::Write(const TSampleRows& rows) {
  for (std::size_t c = 0; c < rows.Columns.size() && c < outputs_->Values.size(); ++c) {
    const std::vector<double>* column = rows.Columns[c];
    if (column == nullptr) continue;
    const std::size_t count = std::min(column->size(), rows.Times.size());
    outputs_->Values[c].insert(outputs_->Values[c].end(), column->begin(),
                               column->begin() + static_cast<std::ptrdiff_t>(count));
    outputs_->Times[c].insert(outputs_->Times[c].end(), rows.Times.begin(),
                              rows.Times.begin() + static_cast<std::ptrdiff_t>(count));
  }
  rows_ += rows.Times.size();
}

}  // namespace loom
