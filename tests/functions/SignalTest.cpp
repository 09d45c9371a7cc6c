// Spectra and correlations, driven through the evaluator with signals bound as variables. The
// expected values come from the signals' construction (a tone's amplitude and phase, a mean),
// from Parseval's relation, or from direct O(n^2) sums computed here.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "engine/Evaluator.h"
#include "engine/ParserClasses.h"
#include "functions/Fft.h"
#include "functions/Registry.h"
#include "tests/functions/FormulaTestSupport.h"

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
  double sum = 0.0;
  for (double v : x) sum += v * v;
  return sum / static_cast<double>(x.size());
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

// ---- RealFFT: amplitudes, phases, the DC and Nyquist terms -----------------------------------

constexpr int kEveryWindow[] = {0, 1, 2, 3, 4, 5, 6, 7};

TEST_F(SignalFormula, ToneOnABinReadsItsAmplitudeAndPhaseInEveryWindow) {
  for (int window : kEveryWindow) {
    SCOPED_TRACE(window);
    SetX(Tone(1024, 50, 2.5, 30.0));
    const TVXVect amplitude = Vector("RealFFT(x, " + std::to_string(window) + ", 1, p)");
    const TVXVect phase = ev_.Evaluate("p").Vector;
    ASSERT_EQ(amplitude.size(), 512u);
    ASSERT_EQ(phase.size(), 512u);
    EXPECT_NEAR(amplitude[50], 2.5, 1e-9);
    EXPECT_NEAR(phase[50], 30.0, 1e-7);
    // A window leaks a tone into at most four neighbours on each side; beyond, nothing.
    for (std::size_t m = 0; m < 512; ++m) {
      if (m >= 45 && m <= 55) continue;
      EXPECT_NEAR(amplitude[m], 0.0, 1e-9) << "bin " << m;
    }
  }
}

TEST_F(SignalFormula, RectangleShowsNoLeakageButWindowsSpreadIntoNeighbours) {
  SetX(Tone(256, 20, 1.0, 0.0));
  EXPECT_NEAR(Vector("RealFFT(x, WINDOW_RECTANGLE, 0, p)")[21], 0.0, 1e-12);
  // The Hann window's spectrum has -1/4 of its centre on each neighbour: half the amplitude.
  EXPECT_NEAR(Vector("RealFFT(x, WINDOW_HANN, 0, p)")[21], 0.5, 1e-12);
  EXPECT_NEAR(Vector("RealFFT(x, WINDOW_HANNING, 0, p)")[21], 0.5, 1e-12);
  // Hamming: 0.23 / 0.54 of the centre.
  EXPECT_NEAR(Vector("RealFFT(x, WINDOW_HAMMING, 0, p)")[21], 0.23 / 0.54, 1e-12);
}

TEST_F(SignalFormula, SineReadsMinusNinetyDegrees) {
  TVXVect x(128);
  for (std::size_t k = 0; k < x.size(); ++k) x[k] = std::sin(2.0 * kPi * 5.0 * k / 128.0);
  SetX(x);
  Vector("RealFFT(x, 0, 1, p)");
  EXPECT_NEAR(ev_.Evaluate("p").Vector[5], -90.0, 1e-9);
}

TEST_F(SignalFormula, DcTermIsTheMeanWithItsSignInEveryWindow) {
  for (int window : kEveryWindow) {
    SCOPED_TRACE(window);
    SetX(Tone(512, 40, 1.0, 10.0, 3.5));
    EXPECT_NEAR(Vector("RealFFT(x, " + std::to_string(window) + ", 0, p)")[0], 3.5, 1e-12);
    SetX(Tone(512, 40, 1.0, 10.0, -2.0));
    EXPECT_NEAR(Vector("RealFFT(x, " + std::to_string(window) + ", 0, p)")[0], -2.0, 1e-12);
  }
}

TEST_F(SignalFormula, NyquistTermIsCarriedInTheFirstPhase) {
  TVXVect x(64);
  for (std::size_t k = 0; k < x.size(); ++k) x[k] = 1.0 + (k % 2 == 0 ? -0.75 : 0.75);
  SetX(x);
  const TVXVect amplitude = Vector("RealFFT(x, 0, 1, p)");
  EXPECT_NEAR(amplitude[0], 1.0, 1e-12);
  EXPECT_NEAR(ev_.Evaluate("p").Vector[0], -0.75, 1e-12);
  for (std::size_t m = 1; m < amplitude.size(); ++m) EXPECT_NEAR(amplitude[m], 0.0, 1e-12);
}

TEST_F(SignalFormula, WithoutPhasesThePhaseVariableBecomesTheNumberZero) {
  ev_.Evaluate("p := [1, 2, 3]");
  SetX(Noise(16, 1));
  Vector("RealFFT(x, 0, 0, p)");
  const TVXParsDouble p = ev_.Evaluate("p");
  EXPECT_EQ(p.VarType, vtDouble);
  EXPECT_EQ(p.Value, 0.0);
}

TEST_F(SignalFormula, PhaseVariableMayBeTheInputItself) {
  SetX(Tone(32, 3, 2.0, 45.0));
  const TVXVect amplitude = Vector("RealFFT(x, 0, 1, x)");
  EXPECT_NEAR(amplitude[3], 2.0, 1e-12);
  ASSERT_EQ(x_.Vector.size(), 16u);
  EXPECT_NEAR(x_.Vector[3], 45.0, 1e-9);
}

// ---- Padding and window codes ----------------------------------------------------------------

TEST_F(SignalFormula, InputIsPaddedInPlaceWithItsLastValue) {
  TVXVect x = Noise(1000, 2);
  SetX(x);
  EXPECT_EQ(Vector("RealFFT(x, WINDOW_HANNING, 0, p)").size(), 512u);
  ASSERT_EQ(x_.Vector.size(), 1024u);
  for (std::size_t k = 0; k < 1000; ++k) ASSERT_EQ(x_.Vector[k], x[k]);
  for (std::size_t k = 1000; k < 1024; ++k) ASSERT_EQ(x_.Vector[k], x[999]) << k;
  EXPECT_EQ(ev_.Evaluate("p").VarType, vtDouble);
}

TEST_F(SignalFormula, PaddedLengths) {
  struct Case {
    const char* formula;
    std::size_t inputLength;
    std::size_t paddedLength;
    std::size_t resultLength;
  };
  const Case cases[] = {
      {"RealFFT(x, 0, 0, p)", 1, 2, 1},      {"RealFFT(x, 0, 0, p)", 2, 2, 1},
      {"RealFFT(x, 0, 0, p)", 5, 8, 4},      {"PowerSpectrum(x, 0)", 1, 1, 1},
      {"PowerSpectrum(x, 0)", 3, 4, 4},      {"AutoCorrelation(x, 0)", 9, 16, 16},
      {"AutoCorrelation(x, 0)", 16, 16, 16},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.formula) + " of " + std::to_string(c.inputLength));
    SetX(TVXVect(c.inputLength, 7.0));
    EXPECT_EQ(Vector(c.formula).size(), c.resultLength);
    EXPECT_EQ(x_.Vector.size(), c.paddedLength);
  }
}

TEST_F(SignalFormula, OutOfRangeWindowsAreTheRectangle) {
  SetX(Noise(64, 3));
  const TVXVect rectangle = Vector("RealFFT(x, WINDOW_RECTANGLE, 1, p)");
  const TVXVect rectanglePhases = ev_.Evaluate("p").Vector;
  for (const char* window : {"9", "-1", "7.6", "1e300"}) {
    SCOPED_TRACE(window);
    EXPECT_EQ(Vector(std::string("RealFFT(x, ") + window + ", 1, p)"), rectangle);
    EXPECT_EQ(ev_.Evaluate("p").Vector, rectanglePhases);
  }
  // Within 0..7 the code is rounded: 6.6 is Blackman-Harris 92 dB, 0.4 the rectangle.
  EXPECT_EQ(Vector("RealFFT(x, 6.6, 0, p)"),
            Vector("RealFFT(x, WINDOW_BLACKMAN_HARRIS_92DB, 0, p)"));
  EXPECT_EQ(Vector("RealFFT(x, 0.4, 0, p)"), rectangle);
  EXPECT_NE(Vector("RealFFT(x, 4, 0, p)"), rectangle);
}

TEST(FftWindow, CodesAndSamples) {
  EXPECT_EQ(FftWindowCode(2.5), 2);  // ties to even
  EXPECT_EQ(FftWindowCode(7.0), 7);
  EXPECT_EQ(FftWindowCode(-0.0), 0);
  EXPECT_EQ(FftWindowCode(std::nan("")), fwRectangle);
  std::vector<double> w(8);
  FftWindowSamples(fwHann, 8, w.data());
  for (std::size_t k = 0; k < 8; ++k) EXPECT_NEAR(w[k], Hann(k, 8), 1e-15);
  FftWindowSamples(fwBlackman, 8, w.data());
  EXPECT_NEAR(w[0], 0.0, 1e-15);
  EXPECT_NEAR(w[4], 1.0, 1e-15);
  // The flat top peaks at 1 in the middle and dips below zero near the ends.
  FftWindowSamples(fwFlatTop, 8, w.data());
  EXPECT_NEAR(w[4], 1.0, 1e-8);
  EXPECT_LT(w[1], 0.0);
  // One sample: every window is the rectangle.
  FftWindowSamples(fwBlackmanHarris92, 1, w.data());
  EXPECT_EQ(w[0], 1.0);
}

TEST(FftPaddedLength, StaysWithinTheVectorLimit) {
  EXPECT_EQ(FftPaddedLength(kMaxVectorLength, 1, "PowerSpectrum"), kMaxVectorLength);
  EXPECT_EQ(FftPaddedLength(kMaxVectorLength / 2 + 1, 1, "PowerSpectrum"), kMaxVectorLength);
  EXPECT_EQ(FftPaddedLength(0, 2, "RealFFT"), 2u);
  try {
    FftPaddedLength(kMaxVectorLength + 1, 1, "PowerSpectrum");
    ADD_FAILURE() << "no error";
  } catch (const EVXParserException& e) {
    EXPECT_STREQ(e.what(), "PowerSpectrum: a vector may hold at most 134217728 elements");
  }
}

// ---- RealInverseFFT --------------------------------------------------------------------------

TEST_F(SignalFormula, InverseOfTheSpectrumGivesBackTheSignal) {
  for (std::size_t n : {2u, 4u, 64u, 1000u}) {
    SCOPED_TRACE(n);
    TVXVect x = Noise(n, 4);
    SetX(x);
    const TVXVect back = Vector("RealInverseFFT(RealFFT(x, 0, 1, p), p, 0)");
    x.resize(x_.Vector.size(), x.back());
    ExpectVectorNear(back, x, 1e-12);
  }
}

TEST_F(SignalFormula, InverseWithAWindowGivesBackTheWindowedSignal) {
  const TVXVect x = Noise(128, 5);
  SetX(x);
  const TVXVect back = Vector("RealInverseFFT(RealFFT(x, WINDOW_HANN, 1, p), p, WINDOW_HANN)");
  TVXVect expected(128);
  for (std::size_t k = 0; k < 128; ++k) expected[k] = x[k] * Hann(k, 128);
  ExpectVectorNear(back, expected, 1e-12);
}

TEST_F(SignalFormula, InverseCases) {
  struct Case {
    const char* formula;
    TVXVect expected;
  };
  const Case cases[] = {
      // Mean 1 and a cosine of amplitude 2 on bin 1 of four samples; a number as phases means
      // every phase 0.
      {"RealInverseFFT([1, 2], 0, 0)", {3, 1, -1, 1}},
      // Phase 90 degrees turns the cosine into minus a sine; phase[0] is the Nyquist term.
      {"RealInverseFFT([1, 2], [0.5, 90], 0)", {1.5, -1.5, 1.5, 2.5}},
      // The phase vector is the longer one: both are padded to two amplitudes, [1, 1].
      {"RealInverseFFT([1], [0, 0], 0)", {2, 1, 0, 1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.formula);
    ExpectVectorNear(Vector(c.formula), c.expected, 1e-12);
  }
}

TEST_F(SignalFormula, InverseArgumentsArePaddedInPlace) {
  // Three amplitudes become four, the last repeated: cosines of amplitude 1 on bins 2 and 3 of
  // eight samples.
  SetX(TVXVect{0, 0, 1});
  SetY(TVXVect{0, 0, 0});
  const double s = std::sqrt(0.5);
  ExpectVectorNear(Vector("RealInverseFFT(x, y, 0)"), {2, -s, -1, s, 0, s, -1, -s}, 1e-12);
  EXPECT_EQ(x_.Vector, (TVXVect{0, 0, 1, 1}));
  EXPECT_EQ(y_.Vector, (TVXVect{0, 0, 0, 0}));
}

// ---- PowerSpectrum and CrossPowerSpectrum ----------------------------------------------------

TEST_F(SignalFormula, PowerSpectrumObeysParseval) {
  for (std::size_t n : {1u, 2u, 8u, 256u, 1000u}) {
    SCOPED_TRACE(n);
    SetX(Noise(n, 6));
    const TVXVect power = Vector("PowerSpectrum(x, 0)");
    const std::size_t padded = x_.Vector.size();
    ASSERT_EQ(power.size(), padded);
    double total = 0.0;
    for (double p : power) total += p;
    EXPECT_NEAR(total, MeanSquare(x_.Vector), 1e-12);
    for (std::size_t m = padded / 2 + 1; m < padded; ++m) EXPECT_EQ(power[m], 0.0) << m;
  }
}

TEST_F(SignalFormula, PowerOfAToneIsItsMeanSquareInEveryWindow) {
  for (int window : kEveryWindow) {
    SCOPED_TRACE(window);
    SetX(Tone(512, 60, 3.0, 20.0));
    const TVXVect power = Vector("PowerSpectrum(x, " + std::to_string(window) + ")");
    double total = 0.0;
    for (double p : power) total += p;
    EXPECT_NEAR(total, 4.5, 1e-10);
    if (window == 0) {
      EXPECT_NEAR(power[60], 4.5, 1e-10);
    }
  }
}

TEST_F(SignalFormula, PowerSpectrumBinsOfAKnownSignal) {
  // 2 + cos(pi k / 2) + 0.5 (-1)^k over four samples: DC 4, bin 1 mean square 0.5, Nyquist 0.25.
  SetX(TVXVect{3.5, 1.5, 1.5, 1.5});
  ExpectVectorNear(Vector("PowerSpectrum(x, 0)"), {4.0, 0.5, 0.25, 0.0}, 1e-12);
}

TEST_F(SignalFormula, CrossPowerOfASignalWithItselfIsItsPower) {
  SetX(Noise(100, 7));
  for (int window : kEveryWindow) {
    SCOPED_TRACE(window);
    const std::string w = std::to_string(window);
    ExpectVectorNear(Vector("CrossPowerSpectrum(x, x, " + w + ")"),
                     Vector("PowerSpectrum(x, " + w + ")"), 1e-12);
  }
}

TEST_F(SignalFormula, CrossPowerOfTwoTonesOnOneBin) {
  SetX(Tone(64, 5, 2.0, 0.0));
  SetY(Tone(64, 5, 3.0, 70.0));
  const TVXVect cross = Vector("CrossPowerSpectrum(x, y, 0)");
  ASSERT_EQ(cross.size(), 64u);
  EXPECT_NEAR(cross[5], 3.0, 1e-12);  // 2 * 3 / 2
  EXPECT_NEAR(cross[6], 0.0, 1e-12);
}

// ---- Correlations ----------------------------------------------------------------------------

TEST_F(SignalFormula, AutoCorrelationMatchesTheDirectSum) {
  struct Case {
    TVXVect signal;
    int window;
  };
  const Case cases[] = {
      {{1, 2, 3, 4}, 0},
      {{1, -2, 0.5}, 0},  // padded to {1, -2, 0.5, 0.5}
      {{2}, 0},
      {{0.3, -1, 4, 2, 2, -7, 1, 0.5}, 0},
      {{0.3, -1, 4, 2, 2, -7, 1, 0.5}, 5},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c.signal) + " window " + std::to_string(c.window));
    SetX(c.signal);
    const TVXVect r = Vector("AutoCorrelation(x, " + std::to_string(c.window) + ")");
    TVXVect y = x_.Vector;
    if (c.window == 5)
      for (std::size_t k = 0; k < y.size(); ++k) y[k] *= Hann(k, y.size());
    ExpectVectorNear(r, DirectCorrelation(y, y), 1e-12);
  }
}

TEST_F(SignalFormula, AutoCorrelationOfAShortSequence) {
  SetX(TVXVect{1, 2, 3, 4});
  // (1+4+9+16)/4, (2+6+12+4)/4, (3+8+3+8)/4, (4+2+6+12)/4
  ExpectVectorNear(Vector("AutoCorrelation(x, 0)"), {7.5, 6.0, 5.5, 6.0}, 1e-12);
}

TEST_F(SignalFormula, CrossCorrelationPeaksAtTheDelay) {
  const TVXVect x = Noise(32, 8);
  TVXVect delayed(32);
  for (std::size_t k = 0; k < 32; ++k) delayed[k] = x[(k + 32 - 3) % 32];
  SetX(x);
  SetY(delayed);
  const TVXVect r = Vector("CrossCorrelation(x, y, 0)");
  ExpectVectorNear(r, DirectCorrelation(x, delayed), 1e-12);
  std::size_t peak = 0;
  for (std::size_t k = 1; k < r.size(); ++k)
    if (r[k] > r[peak]) peak = k;
  EXPECT_EQ(peak, 3u);
  EXPECT_NEAR(r[3], MeanSquare(x), 1e-12);
}

TEST_F(SignalFormula, TwoInputsOfDifferentLengthArePaddedToTheLargerPowerOfTwo) {
  SetX(TVXVect{1, 2, 3, 4, 5});
  SetY(TVXVect{1, 0, 0});
  const TVXVect r = Vector("CrossCorrelation(x, y, 0)");
  ASSERT_EQ(x_.Vector, (TVXVect{1, 2, 3, 4, 5, 5, 5, 5}));
  ASSERT_EQ(y_.Vector, (TVXVect{1, 0, 0, 0, 0, 0, 0, 0}));
  ExpectVectorNear(r, DirectCorrelation(x_.Vector, y_.Vector), 1e-12);
  SetX(TVXVect{1, 2});
  SetY(TVXVect{4, 3, 2});
  EXPECT_EQ(Vector("CrossPowerSpectrum(x, y, 0)").size(), 4u);
  EXPECT_EQ(x_.Vector, (TVXVect{1, 2, 2, 2}));
  EXPECT_EQ(y_.Vector, (TVXVect{4, 3, 2, 2}));
}

// ---- Arguments -------------------------------------------------------------------------------

TEST_F(SignalFormula, InvalidArguments) {
  SetX(TVXVect{});
  SetY(TVXVect{1, 2});
  const char* const formulas[] = {
      "RealFFT(x, 0, 0, p)",         "RealFFT(3, 0, 0, p)",
      "RealFFT(\"abc\", 0, 0, p)",   "RealFFT(TRUE, 0, 0, p)",
      "RealInverseFFT(x, 0, 0)",     "RealInverseFFT(y, \"a\", 0)",
      "RealInverseFFT(y, x, 0)",     "RealInverseFFT(2, y, 0)",
      "AutoCorrelation(x, 0)",       "AutoCorrelation(1, 0)",
      "PowerSpectrum(x, 0)",         "PowerSpectrum(\"s\", 0)",
      "CrossCorrelation(y, x, 0)",   "CrossCorrelation(3, y, 0)",
      "CrossPowerSpectrum(x, y, 0)", "CrossPowerSpectrum(y, \"s\", 0)",
  };
  for (const char* formula : formulas) {
    SCOPED_TRACE(formula);
    EXPECT_EQ(ErrorOf(ev_, formula), "Invalid parameters");
  }
}

TEST_F(SignalFormula, RepeatedEvaluationGivesTheSameResult) {
  SetX(Noise(300, 9));
  const int index = ev_.AddExpression("PowerSpectrum(x, WINDOW_BLACKMAN)");
  const TVXVect first = ev_.GetResults(index).Vector;
  EXPECT_EQ(ev_.GetResults(index).Vector, first);
}

// Several evaluators transforming at once, each with sizes of its own, so that planning and
// execution overlap; every result must equal the one computed alone.
TEST(SignalThreads, ConcurrentTransformsAgreeWithSequentialOnes) {
  constexpr int kThreads = 4;
  auto run = [](int t, std::vector<TVXVect>& out) {
    TVXExpressionEvaluator ev;
    TVXParsDouble x;
    ev.DefineVariable("x", &x, "", "");
    for (int round = 0; round < 20; ++round) {
      const std::size_t n = std::size_t{64} << ((t + round) % 6);
      x = TVXParsDouble::FromVector(Noise(n, static_cast<unsigned>(t * 100 + round)));
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
