// Spectra and correlations of signals bound as variables, checked against the signals' own
// construction (a tone's amplitude and phase, a mean), Parseval's relation and direct sums.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "functions/Fft.h"
#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

constexpr double kPi = std::numbers::pi;

// n samples of offset + amplitude * cos(2 pi bin k / n + phase degrees).
TVXVect Tone(std::size_t n, double bin, double amplitude, double phaseDegrees,
             double offset = 0.0) {
  TVXVect x(n);
  for (std::size_t k = 0; k < n; ++k)
    x[k] = offset +
           amplitude * std::cos(2.0 * kPi * bin * static_cast<double>(k) / static_cast<double>(n) +
                                phaseDegrees * kPi / 180.0);
  return x;
}

TVXVect Noise(std::size_t n, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  TVXVect x(n);
  for (double& v : x) v = uniform(generator);
  return x;
}

double MeanSquare(const TVXVect& x) {
  return std::inner_product(x.begin(), x.end(), x.begin(), 0.0) / static_cast<double>(x.size());
}

// The periodic Hann window written out independently of the library.
double Hann(std::size_t k, std::size_t n) {
  return 0.5 - 0.5 * std::cos(2.0 * kPi * static_cast<double>(k) / static_cast<double>(n));
}

// r[k] = (1/N) sum_j x1[j] x2[(j + k) mod N], the direct way.
TVXVect DirectCorrelation(const TVXVect& x1, const TVXVect& x2) {
  const std::size_t n = x1.size();
  TVXVect r(n, 0.0);
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t j = 0; j < n; ++j) r[k] += x1[j] * x2[(j + k) % n];
    r[k] /= static_cast<double>(n);
  }
  return r;
}

void ExpectVectorNear(const TVXVect& actual, const TVXVect& expected, double tolerance) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i)
    EXPECT_NEAR(actual[i], expected[i], tolerance) << "element " << i;
}

// An evaluator with signal variables x and y that the test owns.
class SignalFormula : public ::testing::Test {
 protected:
  void SetUp() override {
    ev_.DefineVariable("x", &x_, "", "");
    ev_.DefineVariable("y", &y_, "", "");
  }
  void SetX(TVXVect v) { x_ = TVXParsDouble::FromVector(std::move(v)); }
  void SetY(TVXVect v) { y_ = TVXParsDouble::FromVector(std::move(v)); }
  TVXVect Vector(const std::string& formula) {
    const TVXParsDouble result = ev_.Evaluate(formula);
    EXPECT_EQ(result.VarType, vtVector) << formula;
    return result.Vector;
  }

  TVXExpressionEvaluator ev_;
  TVXParsDouble x_;
  TVXParsDouble y_;
};

// A sine of amplitude A shows a peak of A in every window, its phase in degrees, and element 0
// holds the mean; the power of a tone sums to its mean square in every window.
TEST_F(SignalFormula, ToneAmplitudePhaseMeanAndPowerInEveryWindow) {
  for (int window = 0; window <= 7; ++window) {
    SCOPED_TRACE(window);
    const std::string w = std::to_string(window);
    SetX(Tone(1024, 50, 2.5, 30.0, -2.0));
    const TVXVect amplitude = Vector("RealFFT(x, " + w + ", 1, p)");
    const TVXVect phase = ev_.Evaluate("p").Vector;
    ASSERT_EQ(amplitude.size(), 512u);
    ASSERT_EQ(phase.size(), 512u);
    EXPECT_NEAR(amplitude[0], -2.0, 1e-12);
    EXPECT_NEAR(amplitude[50], 2.5, 1e-9);
    EXPECT_NEAR(phase[50], 30.0, 1e-7);
    // A window leaks a tone into at most four neighbours on each side (and the mean into four
    // bins above it); beyond, nothing: m skips from 44 over the tone to 56.
    for (std::size_t m = 5; m < 512; m += m == 44 ? 12 : 1)
      EXPECT_NEAR(amplitude[m], 0.0, 1e-9) << "bin " << m;
    SetX(Tone(512, 60, 3.0, 20.0));
    const TVXVect power = Vector("PowerSpectrum(x, " + w + ")");
    EXPECT_NEAR(std::accumulate(power.begin(), power.end(), 0.0), 4.5, 1e-10);
  }
  SetX(Tone(256, 20, 1.0, 0.0));  // the Hann window puts half the amplitude on each neighbour
  EXPECT_NEAR(Vector("RealFFT(x, WINDOW_HANNING, 0, p)")[21], 0.5, 1e-12);
  // A sine reads -90 degrees; the phase variable may be the input itself.
  SetX(Tone(128, 5, 1.0, -90.0));
  EXPECT_NEAR(Vector("RealFFT(x, 0, 1, x)")[5], 1.0, 1e-12);
  EXPECT_NEAR(x_.Vector.at(5), -90.0, 1e-9);
}

TEST_F(SignalFormula, NyquistTermIsCarriedInTheFirstPhase) {
  TVXVect x(64);
  for (std::size_t k = 0; k < x.size(); ++k) x[k] = 1.0 + (k % 2 == 0 ? -0.75 : 0.75);
  SetX(x);
  const TVXVect amplitude = Vector("RealFFT(x, 0, 1, p)");
  EXPECT_NEAR(amplitude[0], 1.0, 1e-12);
  EXPECT_NEAR(ev_.Evaluate("p").Vector[0], -0.75, 1e-12);
  for (std::size_t m = 1; m < amplitude.size(); ++m) EXPECT_NEAR(amplitude[m], 0.0, 1e-12);
  EXPECT_EQ(Outcome(ev_, "RealFFT(x, 0, 0, p)\np"), "0");  // without phases, the number 0
}

// Inputs are padded in place to a power of two with their last value; other window codes are
// the rectangle, codes within 0..7 are rounded.
TEST_F(SignalFormula, PaddingAndWindowCodes) {
  const TVXVect noise = Noise(1000, 2);
  SetX(noise);
  EXPECT_EQ(Vector("RealFFT(x, WINDOW_HANNING, 0, p)").size(), 512u);
  TVXVect padded = noise;
  padded.resize(1024, noise.back());
  EXPECT_EQ(x_.Vector, padded);
  SetX(TVXVect{7.0});  // one sample is N = 1: kept as it is, and no amplitude or phase
  EXPECT_EQ(Vector("PowerSpectrum(x, 0)").size(), 1u);
  EXPECT_EQ(Outcome(ev_, "RealFFT(x, 0, 1, p)"), "]");
  EXPECT_EQ(Outcome(ev_, "p") + Outcome(ev_, "x"), "][ 7]");
  SetX(Noise(64, 3));
  const TVXVect rectangle = Vector("RealFFT(x, WINDOW_RECTANGLE, 1, p)");
  const TVXVect rectanglePhases = ev_.Evaluate("p").Vector;
  for (const char* window : {"9", "-1", "7.6", "1e300", "0.4"}) {
    EXPECT_EQ(Vector(std::string("RealFFT(x, ") + window + ", 1, p)"), rectangle) << window;
    EXPECT_EQ(ev_.Evaluate("p").Vector, rectanglePhases) << window;
  }
  EXPECT_THROW(FftPaddedLength(kMaxVectorLength + 1, 1, "PowerSpectrum"), EVXParserException);
  EXPECT_EQ(Vector("RealFFT(x, 6.6, 0, p)"),
            Vector("RealFFT(x, WINDOW_BLACKMAN_HARRIS_92DB, 0, p)"));
}

TEST_F(SignalFormula, InverseTransforms) {
  for (std::size_t n : {64u, 1000u}) {
    TVXVect x = Noise(n, 4);
    SetX(x);
    const TVXVect back = Vector("RealInverseFFT(RealFFT(x, 0, 1, p), p, 0)");
    x.resize(x_.Vector.size(), x.back());
    ExpectVectorNear(back, x, 1e-12);
  }
  // Mean 1 and a cosine of amplitude 2 on bin 1 of four samples; a number as phases means every
  // phase 0; 90 degrees turn the cosine into minus a sine; phase[0] is the Nyquist term; the
  // longer of the two vectors decides the length.
  ExpectVectorNear(Vector("RealInverseFFT([1, 2], 0, 0)"), {3, 1, -1, 1}, 1e-12);
  ExpectVectorNear(Vector("RealInverseFFT([1, 2], [0.5, 90], 0)"), {1.5, -1.5, 1.5, 2.5}, 1e-12);
  ExpectVectorNear(Vector("RealInverseFFT([1], [0, 0], 0)"), {2, 1, 0, 1}, 1e-12);
}

// One-sided, 2|X|^2 / (N x sum of the window squared) per bin, DC and Nyquist not doubled.
TEST_F(SignalFormula, PowerSpectraObeyParseval) {
  for (std::size_t n : {1u, 8u, 1000u}) {
    SetX(Noise(n, 6));
    const TVXVect power = Vector("PowerSpectrum(x, 0)");
    ASSERT_EQ(power.size(), x_.Vector.size());
    EXPECT_NEAR(std::accumulate(power.begin(), power.end(), 0.0), MeanSquare(x_.Vector), 1e-12);
    for (std::size_t m = power.size() / 2 + 1; m < power.size(); ++m) EXPECT_EQ(power[m], 0.0);
  }
  // 2 + cos(pi k / 2) + 0.5 (-1)^k over four samples: DC 4, bin 1 mean square 0.5, Nyquist 0.25.
  SetX(TVXVect{3.5, 1.5, 1.5, 1.5});
  ExpectVectorNear(Vector("PowerSpectrum(x, 0)"), {4.0, 0.5, 0.25, 0.0}, 1e-12);
  SetX(Noise(100, 7));
  ExpectVectorNear(Vector("CrossPowerSpectrum(x, x, 3)"), Vector("PowerSpectrum(x, 3)"), 1e-12);
  SetX(Tone(64, 5, 2.0, 0.0));
  SetY(Tone(64, 5, 3.0, 70.0));
  const TVXVect cross = Vector("CrossPowerSpectrum(x, y, 0)");
  EXPECT_NEAR(cross[5], 3.0, 1e-12);  // 2 * 3 / 2
  EXPECT_NEAR(cross[6], 0.0, 1e-12);
}

TEST_F(SignalFormula, CorrelationsMatchTheDirectSums) {
  for (const auto& [signal, window] : {std::pair{TVXVect{1, -2, 0.5}, 0},
                                       {TVXVect{2}, 0},
                                       {TVXVect{0.3, -1, 4, 2, 2, -7, 1, 0.5}, 0},
                                       {TVXVect{0.3, -1, 4, 2, 2, -7, 1, 0.5}, 5}}) {
    SetX(signal);
    const TVXVect r = Vector("AutoCorrelation(x, " + std::to_string(window) + ")");
    TVXVect y = x_.Vector;  // padded to {1, -2, 0.5, 0.5} and so on
    if (window == 5)
      for (std::size_t k = 0; k < y.size(); ++k) y[k] *= Hann(k, y.size());
    ExpectVectorNear(r, DirectCorrelation(y, y), 1e-12);
  }
  const TVXVect x = Noise(32, 8);
  TVXVect delayed(32);
  for (std::size_t k = 0; k < 32; ++k) delayed[k] = x[(k + 32 - 3) % 32];
  SetX(x);
  SetY(delayed);
  const TVXVect r = Vector("CrossCorrelation(x, y, 0)");
  ExpectVectorNear(r, DirectCorrelation(x, delayed), 1e-12);
  EXPECT_NEAR(r[3], MeanSquare(x), 1e-12);  // the peak, at the delay
  // Two inputs of different length are both padded to the larger power of two.
  SetX(TVXVect{1, 2, 3, 4, 5});
  SetY(TVXVect{1, 0, 0});
  const TVXVect padded = Vector("CrossCorrelation(x, y, 0)");
  EXPECT_EQ(x_.Vector, (TVXVect{1, 2, 3, 4, 5, 5, 5, 5}));
  EXPECT_EQ(y_.Vector, (TVXVect{1, 0, 0, 0, 0, 0, 0, 0}));
  ExpectVectorNear(padded, DirectCorrelation(x_.Vector, y_.Vector), 1e-12);
}

TEST_F(SignalFormula, InvalidArguments) {
  SetX(TVXVect{});
  SetY(TVXVect{1, 2});
  for (const char* formula :
       {"RealFFT(x, 0, 0, p)", "RealFFT(\"abc\", 0, 0, p)", "RealInverseFFT(y, x, 0)",
        "RealInverseFFT(2, y, 0)", "AutoCorrelation(1, 0)", "PowerSpectrum(x, 0)",
        "CrossCorrelation(3, y, 0)", "CrossPowerSpectrum(y, \"s\", 0)"})
    EXPECT_EQ(Outcome(ev_, formula), "Invalid parameters") << formula;
}

// Several evaluators transforming at once, each with sizes of its own, so that planning and
// execution overlap; every result must equal the one computed alone.
TEST(SignalThreads, ConcurrentTransformsAgreeWithSequentialOnes) {
  constexpr int kThreads = 4;
  auto run = [](int t, std::vector<TVXVect>& out) {
    TVXExpressionEvaluator ev;
    for (int round = 0; round < 20; ++round) {
      ev.Evaluate("Ramp(x, " + std::to_string(t) + ", 0.37, " +
                  std::to_string(64 << ((t + round) % 6)) + ")");
      out.push_back(ev.Evaluate("RealFFT(x, " + std::to_string(round % 8) + ", 1, p)").Vector);
      out.push_back(ev.Evaluate("AutoCorrelation(x, 3)").Vector);
    }
  };
  std::vector<std::vector<TVXVect>> sequential(kThreads), concurrent(kThreads);
  for (int t = 0; t < kThreads; ++t) run(t, sequential[t]);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(run, t, std::ref(concurrent[t]));
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(concurrent[t], sequential[t]) << "thread " << t;
}

}  // namespace
}  // namespace loom
