// Spectra on FFTW plans: the plan cache, per-thread work buffers and the scalings of Fft.h.
#include "functions/Fft.h"

#include <fftw3.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <new>
#include <numbers>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/Evaluator.h"
#include "engine/Messages.h"
#include "engine/ParserClasses.h"

namespace loom {
namespace {

// Coefficients a0, a1, ... of w = a0 - a1 cos(t) + a2 cos(2t) - a3 cos(3t) + a4 cos(4t),
// t = 2 pi k / n, one row per window code.
struct CosineSum {
  int terms;
  double a[5];
};

// clang-format off
constexpr CosineSum kWindows[8] = {
  {1, {1.0}},                                                             // rectangle
  {2, {0.5, 0.5}},                                                        // Hanning
  {2, {0.54, 0.46}},                                                      // Hamming
  {3, {0.42, 0.5, 0.08}},                                                 // Blackman
  {5, {0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368}},  // flat top
  {2, {0.5, 0.5}},                                                        // Hann
  {3, {0.42323, 0.49755, 0.07922}},                                       // Blackman-Harris 67 dB
  {4, {0.35875, 0.48829, 0.14128, 0.01168}},                              // Blackman-Harris 92 dB
};
// clang-format on

enum class PlanKind : std::uint8_t { kRealToComplex, kComplexToReal };

// Every transform of one size shares one plan. FFTW's planner is not thread-safe, while
// executing a plan on distinct arrays (the new-array execute functions) is; so only planning and
// the cache are locked, and each thread transforms its own buffers.
class TFftPlans {
 public:
  fftw_plan Get(PlanKind kind, std::size_t n) {
    const std::uint64_t key =
        (static_cast<std::uint64_t>(n) << 1) | static_cast<std::uint64_t>(kind);
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = plans_.find(key);
    if (found != plans_.end()) return found->second;
    // Planning only reads the arrays' addresses and alignment under FFTW_ESTIMATE; every
    // execution passes its own arrays, which fftw_malloc aligns alike.
    double* real = fftw_alloc_real(n);
    fftw_complex* spectrum = fftw_alloc_complex(n / 2 + 1);
    if (real == nullptr || spectrum == nullptr) {
      fftw_free(real);
      fftw_free(spectrum);
      throw std::bad_alloc();
    }
    const int size = static_cast<int>(n);
    fftw_plan plan = kind == PlanKind::kRealToComplex
                         ? fftw_plan_dft_r2c_1d(size, real, spectrum, FFTW_ESTIMATE)
                         : fftw_plan_dft_c2r_1d(size, spectrum, real, FFTW_ESTIMATE);
    fftw_free(real);
    fftw_free(spectrum);
    if (plan == nullptr) throw std::bad_alloc();
    plans_.emplace(key, plan);
    return plan;
  }

 private:
  std::mutex mutex_;  // guards plans_ and every call into FFTW's planner
  std::unordered_map<std::uint64_t, fftw_plan> plans_;
};

// Deliberately never destroyed: a formula may still transform on another thread while the
// process ends, and FFTW releases nothing that the system would not.
TFftPlans& Plans() {
  static TFftPlans* plans = new TFftPlans;
  return *plans;
}

// A growable array from fftw_malloc, so that its alignment is the one the plans were made with.
template <class T>
class TAlignedBuffer {
 public:
  TAlignedBuffer() = default;
  TAlignedBuffer(const TAlignedBuffer&) = delete;
  TAlignedBuffer& operator=(const TAlignedBuffer&) = delete;
  ~TAlignedBuffer() { fftw_free(data_); }

  T* Reserve(std::size_t count) {
    if (count > capacity_) {
      T* grown = static_cast<T*>(fftw_malloc(sizeof(T) * count));
      if (grown == nullptr) throw std::bad_alloc();
      fftw_free(data_);
      data_ = grown;
      capacity_ = count;
    }
    return data_;
  }

 private:
  T* data_ = nullptr;
  std::size_t capacity_ = 0;
};

// The work buffers of one thread; they only grow, so a steady formula stops allocating.
struct TFftScratch {
  TAlignedBuffer<double> real1, real2;
  TAlignedBuffer<fftw_complex> spectrum1, spectrum2;
  // The window last used on this thread, with its sums S1 and S2.
  int windowCode = -1;
  std::vector<double> window;
  double sum = 0.0;
  double sumOfSquares = 0.0;
};

TFftScratch& Scratch() {
  thread_local TFftScratch scratch;
  return scratch;
}

// The window of this code and length, from the thread's cache.
const TFftScratch& PrepareWindow(TFftScratch& s, int windowCode, std::size_t n) {
  if (s.windowCode != windowCode || s.window.size() != n) {
    s.window.resize(n);
    FftWindowSamples(windowCode, n, s.window.data());
    long double sum = 0.0L, sumOfSquares = 0.0L;
    for (double w : s.window) {
      sum += w;
      sumOfSquares += static_cast<long double>(w) * w;
    }
    s.windowCode = windowCode;
    s.sum = static_cast<double>(sum);
    s.sumOfSquares = static_cast<double>(sumOfSquares);
  }
  return s;
}

// y = x * w into buffer, then its half spectrum (n / 2 + 1 bins) into spectrum.
void WindowedTransform(const double* x, std::size_t n, const std::vector<double>& w,
                       TAlignedBuffer<double>& buffer, TAlignedBuffer<fftw_complex>& spectrum) {
  double* y = buffer.Reserve(n);
  fftw_complex* out = spectrum.Reserve(n / 2 + 1);
  for (std::size_t k = 0; k < n; ++k) y[k] = x[k] * w[k];
  fftw_execute_dft_r2c(Plans().Get(PlanKind::kRealToComplex, n), y, out);
}

inline double Magnitude(const fftw_complex z) {
  return std::hypot(z[0], z[1]);
}

constexpr double kDegreesPerRadian = 180.0 / std::numbers::pi;

// One-sided power-like values from magnitude products: bin 0 and the Nyquist bin once, the bins
// between twice, all divided by n * S2.
template <class Product>
void OneSided(std::size_t n, double sumOfSquares, double* out, Product product) {
  const std::size_t half = n / 2;
  const double scale = 1.0 / (static_cast<double>(n) * sumOfSquares);
  out[0] = product(0) * scale;
  for (std::size_t m = 1; m < half; ++m) out[m] = 2.0 * product(m) * scale;
  if (half >= 1) out[half] = product(half) * scale;
}

}  // namespace

std::size_t FftPaddedLength(std::size_t n, std::size_t minimum, const char* functionName) {
  if (n < minimum) n = minimum;
  if (n > std::bit_floor(kMaxVectorLength)) [[unlikely]]
    throw EVXParserException(
        FormatMessage(rsVectorTooLarge, {functionName, std::to_string(kMaxVectorLength)}));
  return std::bit_ceil(n);
}

int FftWindowCode(double window) {
  if (!(window >= 0.0 && window <= 7.0)) return fwRectangle;
  return static_cast<int>(std::nearbyint(window));
}

void FftWindowSamples(int windowCode, std::size_t n, double* w) {
  const CosineSum& window =
      kWindows[windowCode >= 0 && windowCode < 8 && n > 1 ? windowCode : fwRectangle];
  const double step = 2.0 * std::numbers::pi / static_cast<double>(n);
  for (std::size_t k = 0; k < n; ++k) {
    const double t = step * static_cast<double>(k);
    double value = window.a[0];
    for (int j = 1; j < window.terms; ++j)
      value += (j % 2 == 1 ? -window.a[j] : window.a[j]) * std::cos(j * t);
    w[k] = value;
  }
}

void FftAmplitudePhase(const double* x, std::size_t n, int windowCode, double* amplitude,
                       double* phase) {
  TFftScratch& s = Scratch();
  PrepareWindow(s, windowCode, n);
  WindowedTransform(x, n, s.window, s.real1, s.spectrum1);
  const fftw_complex* spectrum = s.spectrum1.Reserve(n / 2 + 1);
  const std::size_t half = n / 2;
  const double scale = 1.0 / s.sum;
  amplitude[0] = spectrum[0][0] * scale;
  for (std::size_t m = 1; m < half; ++m) amplitude[m] = 2.0 * Magnitude(spectrum[m]) * scale;
  if (phase == nullptr) return;
  phase[0] = spectrum[half][0] * scale;
  for (std::size_t m = 1; m < half; ++m)
    phase[m] = std::atan2(spectrum[m][1], spectrum[m][0]) * kDegreesPerRadian;
}

void FftInverseAmplitudePhase(const double* amplitude, const double* phase, std::size_t half,
                              int windowCode, double* out) {
  const std::size_t n = 2 * half;
  TFftScratch& s = Scratch();
  PrepareWindow(s, windowCode, n);
  fftw_complex* spectrum = s.spectrum1.Reserve(half + 1);
  const double gain = s.sum;
  spectrum[0][0] = amplitude[0] * gain;
  spectrum[0][1] = 0.0;
  spectrum[half][0] = phase != nullptr ? phase[0] * gain : 0.0;
  spectrum[half][1] = 0.0;
  for (std::size_t m = 1; m < half; ++m) {
    const double magnitude = 0.5 * amplitude[m] * gain;
    const double angle = phase != nullptr ? phase[m] / kDegreesPerRadian : 0.0;
    spectrum[m][0] = magnitude * std::cos(angle);
    spectrum[m][1] = magnitude * std::sin(angle);
  }
  double* y = s.real1.Reserve(n);
  fftw_execute_dft_c2r(Plans().Get(PlanKind::kComplexToReal, n), spectrum, y);
  const double scale = 1.0 / static_cast<double>(n);
  for (std::size_t k = 0; k < n; ++k) out[k] = y[k] * scale;
}

void FftPowerSpectrum(const double* x, std::size_t n, int windowCode, double* out) {
  TFftScratch& s = Scratch();
  PrepareWindow(s, windowCode, n);
  WindowedTransform(x, n, s.window, s.real1, s.spectrum1);
  const fftw_complex* spectrum = s.spectrum1.Reserve(n / 2 + 1);
  OneSided(n, s.sumOfSquares, out, [&](std::size_t m) {
    return spectrum[m][0] * spectrum[m][0] + spectrum[m][1] * spectrum[m][1];
  });
}

void FftCrossPowerSpectrum(const double* x1, const double* x2, std::size_t n, int windowCode,
                           double* out) {
  TFftScratch& s = Scratch();
  PrepareWindow(s, windowCode, n);
  WindowedTransform(x1, n, s.window, s.real1, s.spectrum1);
  WindowedTransform(x2, n, s.window, s.real2, s.spectrum2);
  const fftw_complex* spectrum1 = s.spectrum1.Reserve(n / 2 + 1);
  const fftw_complex* spectrum2 = s.spectrum2.Reserve(n / 2 + 1);
  OneSided(n, s.sumOfSquares, out,
           [&](std::size_t m) { return Magnitude(spectrum1[m]) * Magnitude(spectrum2[m]); });
}

void FftCorrelation(const double* x1, const double* x2, std::size_t n, int windowCode,
                    double* out) {
  TFftScratch& s = Scratch();
  PrepareWindow(s, windowCode, n);
  WindowedTransform(x1, n, s.window, s.real1, s.spectrum1);
  fftw_complex* product = s.spectrum1.Reserve(n / 2 + 1);
  const std::size_t bins = n / 2 + 1;
  if (x2 == x1) {
    for (std::size_t m = 0; m < bins; ++m) {
      product[m][0] = product[m][0] * product[m][0] + product[m][1] * product[m][1];
      product[m][1] = 0.0;
    }
  } else {
    WindowedTransform(x2, n, s.window, s.real2, s.spectrum2);
    const fftw_complex* spectrum2 = s.spectrum2.Reserve(bins);
    for (std::size_t m = 0; m < bins; ++m) {
      // conj(X1) * X2
      const double re = product[m][0] * spectrum2[m][0] + product[m][1] * spectrum2[m][1];
      const double im = product[m][0] * spectrum2[m][1] - product[m][1] * spectrum2[m][0];
      product[m][0] = re;
      product[m][1] = im;
    }
  }
  double* r = s.real1.Reserve(n);
  fftw_execute_dft_c2r(Plans().Get(PlanKind::kComplexToReal, n), product, r);
  const double scale = 1.0 / (static_cast<double>(n) * static_cast<double>(n));
  for (std::size_t k = 0; k < n; ++k) out[k] = r[k] * scale;
}

}  // namespace loom
