#include "host/MatFile.h"

#include <matio.h>

#include <cstdint>
#include <vector>

#include "host/CsvData.h"
#include "host/IniScan.h"
#include "host/InputError.h"

namespace loom {

namespace {

template <class T>
void Widen(const void* data, std::size_t count, std::vector<double>& out) {
  const T* values = static_cast<const T*>(data);
  out.assign(values, values + count);
}

// The elements of a real numeric variable as doubles; false for anything else.
bool NumericElements(const matvar_t& variable, std::vector<double>& out) {
  if (variable.isComplex || variable.data == nullptr || variable.rank != 2) return false;
  const std::size_t count = variable.dims[0] * variable.dims[1];
  switch (variable.class_type) {
    case MAT_C_DOUBLE:
      Widen<double>(variable.data, count, out);
      return true;
    case MAT_C_SINGLE:
      Widen<float>(variable.data, count, out);
      return true;
    case MAT_C_INT8:
      Widen<std::int8_t>(variable.data, count, out);
      return true;
    case MAT_C_UINT8:
      Widen<std::uint8_t>(variable.data, count, out);
      return true;
    case MAT_C_INT16:
      Widen<std::int16_t>(variable.data, count, out);
      return true;
    case MAT_C_UINT16:
      Widen<std::uint16_t>(variable.data, count, out);
      return true;
    case MAT_C_INT32:
      Widen<std::int32_t>(variable.data, count, out);
      return true;
    case MAT_C_UINT32:
      Widen<std::uint32_t>(variable.data, count, out);
      return true;
    case MAT_C_INT64:
      Widen<std::int64_t>(variable.data, count, out);
      return true;
    case MAT_C_UINT64:
      Widen<std::uint64_t>(variable.data, count, out);
      return true;
    default:
      return false;
  }
}

class TMatSource : public TDataSource {
 public:
  TMatSource(const std::string& path, const std::string& shown, double rate) {
    mat_t* file = Mat_Open(path.c_str(), MAT_ACC_RDONLY);
    if (file == nullptr) throw EInputError("cannot read " + shown + ": not a MAT file or missing");
    std::vector<double> values;
    while (matvar_t* variable = Mat_VarReadNext(file)) {
      const std::string name = variable->name != nullptr ? variable->name : "";
      const bool numeric = NumericElements(*variable, values);
      const bool vector = numeric && (variable->dims[0] == 1 || variable->dims[1] == 1);
      Mat_VarFree(variable);
      if (!vector) continue;
      if (values.size() == 1 && (EqualsNoCase(name, "fs") || EqualsNoCase(name, "SampleRate"))) {
        rate = values.front();
      } else if (IsTimeColumnName(name) && times_.empty()) {
        times_ = values;
      } else {
        names_.push_back(name);
        channels_.push_back(values);
      }
    }
    Mat_Close(file);
    if (channels_.empty()) throw EInputError(shown + ": the file holds no numeric vector");
    rows_ = channels_.front().size();
    for (std::size_t c = 0; c < channels_.size(); ++c)
      if (channels_[c].size() != rows_)
        throw EInputError(shown + ": the variable \"" + names_[c] + "\" holds " +
                          std::to_string(channels_[c].size()) + " values where \"" +
                          names_.front() + "\" holds " + std::to_string(rows_));
    if (!times_.empty() && times_.size() != rows_)
      throw EInputError(shown + ": the time axis holds " + std::to_string(times_.size()) +
                        " values for " + std::to_string(rows_) + " samples");
    period_ = 1.0 / (rate > 0 ? rate : 1.0);
    if (times_.size() >= 2 && times_[1] > times_[0]) period_ = times_[1] - times_[0];
    if (times_.empty())
      for (std::size_t r = 0; r < rows_; ++r) times_.push_back(static_cast<double>(r) * period_);
  }

  const std::vector<std::string>& ChannelNames() const override { return names_; }
  double SampleRate() override { return 1.0 / period_; }

  bool ReadBlock(std::size_t maxRows, TDataBlock& block) override {
    const std::size_t rows = std::min(maxRows, rows_ - position_);
    if (rows == 0) return false;
    block.Times.assign(times_.begin() + position_, times_.begin() + position_ + rows);
    block.Channels.resize(channels_.size());
    for (std::size_t c = 0; c < channels_.size(); ++c)
      block.Channels[c].assign(channels_[c].begin() + position_,
                               channels_[c].begin() + position_ + rows);
    block.Start = block.Times.front();
    block.Length = static_cast<double>(rows) * period_;
    position_ += rows;
    return true;
  }

  double Progress() const override {
    return static_cast<double>(position_) / static_cast<double>(rows_);
  }

 private:
  std::vector<std::string> names_;
  std::vector<std::vector<double>> channels_;
  std::vector<double> times_;
  std::size_t rows_ = 0;
  std::size_t position_ = 0;
  double period_ = 1;
};

}  // namespace

std::unique_ptr<TDataSource> OpenMatSource(const std::string& path, const std::string& shown,
                                           double rate) {
  return std::make_unique<TMatSource>(path, shown, rate);
}

}  // namespace loom
