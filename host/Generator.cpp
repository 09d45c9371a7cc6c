#include "host/Generator.h"

#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace loom {

double PeriodicSample(const TGeneratorSettings& s, double t) {
  // The position within the period, 0 <= x < 1.
  double x = s.Frequency * t + s.Phase / 360.0;
  x -= std::floor(x);
  double unit = 0;
  switch (s.Shape) {
    case TGeneratorShape::Sine:
      unit = std::sin(2 * std::numbers::pi * x);
      break;
    case TGeneratorShape::Square:
      unit = x < 0.5 ? 1 : -1;
      break;
    case TGeneratorShape::Triangle:
      unit = x < 0.5 ? 4 * x - 1 : 3 - 4 * x;
      break;
    case TGeneratorShape::Ramp:
      unit = 2 * x - 1;
      break;
    case TGeneratorShape::Constant:
      unit = 1;
      break;
    case TGeneratorShape::Noise:
      unit = 0;
      break;
  }
  return s.Offset + s.Amplitude * unit;
}

namespace {

class TGenerator : public TDataSource {
 public:
  explicit TGenerator(const TGeneratorSettings& settings)
      : settings_(settings), names_{settings.Channel}, random_(settings.Seed) {}

  const std::vector<std::string>& ChannelNames() const override { return names_; }
  double SampleRate() override { return settings_.Rate; }

  bool ReadBlock(std::size_t maxRows, TDataBlock& block) override {
    const double period = 1.0 / settings_.Rate;
    block.Times.resize(maxRows);
    block.Channels.resize(1);
    std::vector<double>& samples = block.Channels[0];
    samples.resize(maxRows);
    for (std::size_t r = 0; r < maxRows; ++r) {
      const double t = static_cast<double>(position_ + r) * period;
      block.Times[r] = t;
      samples[r] = settings_.Shape == TGeneratorShape::Noise
                       ? settings_.Offset + settings_.Amplitude * Gaussian()
                       : PeriodicSample(settings_, t);
    }
    block.Start = block.Times.front();
    block.Length = static_cast<double>(maxRows) * period;
    position_ += maxRows;
    return true;
  }

 private:
  // A standard normal sample by Box and Muller from the seeded engine, written out here so the
  // samples of a seed do not depend on the standard library's distribution.
  double Gaussian() {
    if (spare_) {
      spare_ = false;
      return spareValue_;
    }
    const auto unit = [this] {
      return (static_cast<double>(random_() >> 11) + 0.5) * 0x1.0p-53;  // in (0, 1)
    };
    const double radius = std::sqrt(-2 * std::log(unit()));
    const double angle = 2 * std::numbers::pi * unit();
    spare_ = true;
    spareValue_ = radius * std::sin(angle);
    return radius * std::cos(angle);
  }

  TGeneratorSettings settings_;
  std::vector<std::string> names_;
  std::mt19937_64 random_;
  bool spare_ = false;
  double spareValue_ = 0;
  std::uint64_t position_ = 0;
};

}  // namespace

std::unique_ptr<TDataSource> MakeGenerator(const TGeneratorSettings& settings) {
  return std::make_unique<TGenerator>(settings);
}

}  // namespace loom
