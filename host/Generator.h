// Signal generators: a source that computes its samples instead of reading them, for worksheets
// that run in real time without a device.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/DataBlock.h"

namespace loom {

// ORDER TGeneratorShape: kGeneratorShapeNames lists the shapes in this order.
enum class TGeneratorShape { Sine, Square, Triangle, Ramp, Constant, Noise };
inline constexpr const char* kGeneratorShapeNames[] = {"sine", "square",   "triangle",
                                                       "ramp", "constant", "noise"};

struct TGeneratorSettings {
  TGeneratorShape Shape = TGeneratorShape::Sine;
  std::string Channel = "signal";  // the one channel's name
  double Rate = 1000;              // samples per second
  double Amplitude = 1;            // peak value; for noise the standard deviation
  double Frequency = 1;            // periods per second (sine, square, triangle, ramp)
  double Offset = 0;               // added to every sample
  double Phase = 0;                // degrees at time 0
  std::uint64_t Seed = 1;          // noise: the same seed gives the same samples
};

// The sample at time t (seconds) of a periodic shape; noise and constant ignore t.
double PeriodicSample(const TGeneratorSettings& settings, double t);

// A generator that never ends: the worksheet's duration ends the run.
std::unique_ptr<TDataSource> MakeGenerator(const TGeneratorSettings& settings);

}  // namespace loom
