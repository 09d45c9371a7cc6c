#include "host/SoundFile.h"

#include <sndfile.h>

#include <cmath>
#include <cstdio>

#include "host/InputError.h"
#include "host/PendingFile.h"

namespace loom {

namespace {

struct TSoundCloser {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using TSoundHandle = std::unique_ptr<SNDFILE, TSoundCloser>;

class TSoundSource : public TDataSource {
 public:
  TSoundSource(const std::string& path, const std::string& shown, TSoundSourceOptions options)
      : shown_(shown) {
    file_.reset(sf_open(path.c_str(), SFM_READ, &info_));
    if (!file_) throw EInputError("cannot read " + shown + ": " + sf_strerror(nullptr));
    if (info_.channels < 1 || info_.samplerate < 1)
      throw EInputError(shown + ": the file declares no channels or no sample rate");
    sf_command(file_.get(), SFC_SET_NORM_DOUBLE, nullptr, options.Normalize ? SF_TRUE : SF_FALSE);
    names_ = std::move(options.Names);
    hasNames_ = !names_.empty();
    if (hasNames_ && names_.size() != static_cast<std::size_t>(info_.channels))
      throw EInputError(shown + ": " + std::to_string(names_.size()) + " channel names given for " +
                        std::to_string(info_.channels) + " channels");
    for (int c = static_cast<int>(names_.size()); c < info_.channels; ++c)
      names_.push_back(std::to_string(c + 1));
  }

  const std::vector<std::string>& ChannelNames() const override { return names_; }
  bool HasNames() const override { return hasNames_; }
  double SampleRate() override { return info_.samplerate; }

  bool ReadBlock(std::size_t maxRows, TDataBlock& block) override {
    const std::size_t channels = names_.size();
    frames_.resize(maxRows * channels);
    const sf_count_t read =
        sf_readf_double(file_.get(), frames_.data(), static_cast<sf_count_t>(maxRows));
    if (read < 0 || sf_error(file_.get()) != SF_ERR_NO_ERROR)
      throw EInputError(shown_ + ": " + sf_strerror(file_.get()));
    if (read == 0) return false;
    const auto rows = static_cast<std::size_t>(read);
    const double period = 1.0 / info_.samplerate;
    block.Times.resize(rows);
    for (std::size_t r = 0; r < rows; ++r)
      block.Times[r] = static_cast<double>(position_ + r) * period;
    block.Channels.resize(channels);
    for (std::size_t c = 0; c < channels; ++c) {
      block.Channels[c].resize(rows);
      for (std::size_t r = 0; r < rows; ++r) block.Channels[c][r] = frames_[r * channels + c];
    }
    block.Start = block.Times.front();
    block.Length = static_cast<double>(rows) * period;
    position_ += rows;
    return true;
  }

  double Progress() const override {
    return info_.frames > 0 ? static_cast<double>(position_) / static_cast<double>(info_.frames)
                            : -1;
  }

 private:
  std::string shown_;
  SF_INFO info_{};
  TSoundHandle file_;
  std::vector<std::string> names_;
  bool hasNames_ = false;
  std::vector<double> frames_;
  std::uint64_t position_ = 0;
};

class TSoundSink : public TDataSink {
 public:
  TSoundSink(const std::string& path, const std::string& shown,
             const std::vector<std::string>& names, double sampleRate)
      : path_(path), shown_(shown), channels_(names.size()), rate_(sampleRate) {
    CreateParentFolder(path, shown);
    if (channels_ == 0) throw EInputError(shown + ": a WAV file needs at least one channel");
  }

  ~TSoundSink() override {
    file_.reset();
    if (!committed_) std::remove((path_ + ".partial").c_str());
  }

  void Write(const TSampleRows& rows) override {
    if (rows.Times.empty()) return;
    for (const std::vector<double>* column : rows.Columns)
      if (column == nullptr || column->size() != rows.Times.size())
        throw EInputError(shown_ +
                          ": a WAV file needs one sample of every channel in every row; a "
                          "channel sent " +
                          std::to_string(column ? column->size() : 0) + " samples where " +
                          std::to_string(rows.Times.size()) + " rows were written");
    if (!file_) Open(rows);
    frames_.resize(rows.Times.size() * channels_);
    for (std::size_t r = 0; r < rows.Times.size(); ++r)
      for (std::size_t c = 0; c < channels_; ++c)
        frames_[r * channels_ + c] = (*rows.Columns[c])[r];
    const auto count = static_cast<sf_count_t>(rows.Times.size());
    if (sf_writef_double(file_.get(), frames_.data(), count) != count)
      throw EInputError("cannot write " + shown_ + ": " + sf_strerror(file_.get()));
    rows_ += rows.Times.size();
  }

  void Commit() override {
    if (!file_) Open({});
    file_.reset();
    if (std::rename((path_ + ".partial").c_str(), path_.c_str()) != 0)
      throw EInputError("cannot rename the temporary file of " + shown_);
    committed_ = true;
  }

  std::size_t RowsWritten() const override { return rows_; }

 private:
  void Open(const TSampleRows& first) {
    if (rate_ <= 0 && first.Times.size() >= 2) {
      const double span = first.Times.back() - first.Times.front();
      if (span > 0) rate_ = static_cast<double>(first.Times.size() - 1) / span;
    }
    if (rate_ <= 0) rate_ = 1;
    SF_INFO info{};
    info.samplerate = static_cast<int>(std::lround(rate_));
    info.channels = static_cast<int>(channels_);
    info.format = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    file_.reset(sf_open((path_ + ".partial").c_str(), SFM_WRITE, &info));
    if (!file_) throw EInputError("cannot write " + shown_ + ": " + sf_strerror(nullptr));
  }

  std::string path_, shown_;
  std::size_t channels_;
  double rate_;
  TSoundHandle file_;
  std::vector<double> frames_;
  std::size_t rows_ = 0;
  bool committed_ = false;
};

}  // namespace

std::unique_ptr<TDataSource> OpenSoundSource(const std::string& path, const std::string& shown,
                                             TSoundSourceOptions options) {
  return std::make_unique<TSoundSource>(path, shown, std::move(options));
}

std::unique_ptr<TDataSink> MakeSoundSink(const std::string& path, const std::string& shown,
                                         const std::vector<std::string>& names, double sampleRate) {
  return std::make_unique<TSoundSink>(path, shown, names, sampleRate);
}

}  // namespace loom
