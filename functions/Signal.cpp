// Spectra and correlations: RealFFT, RealInverseFFT, AutoCorrelation, PowerSpectrum,
// CrossCorrelation and CrossPowerSpectrum. The bodies check and pad their arguments and copy the
// results into formula vectors; the transforms and their scalings are in Fft.h.
//
// Every input vector is lengthened in place to a power of two, the new elements repeating its
// last one, so the caller's variable changes length; this side effect is intended. Two inputs
// of different lengths are both lengthened to the larger power of two.
#include <algorithm>
#include <cstddef>

#include "functions/Bodies.h"
#include "functions/BodyHelpers.h"
#include "functions/Fft.h"

namespace loom {

namespace {

bool IsNonEmptyVector(const TVXParsDouble& value) {
  return value.VarType == vtVector && !value.Vector.empty();
}

// Lengthens v to n elements, each new one a copy of the last.
void PadInPlace(TVXVect& v, std::size_t n) {
  if (v.size() >= n) return;
  const double last = v.back();  // copied: resizing may move the element it refers to
  v.resize(n, last);
}

// Checks and pads the one input of AutoCorrelation and PowerSpectrum; returns N.
std::size_t PrepareOne(TVXParsDouble& input, const char* functionName) {
  if (!IsNonEmptyVector(input)) throw EVXParserException(rsInvalidParameters);
  const std::size_t n = FftPaddedLength(input.Vector.size(), 1, functionName);
  PadInPlace(input.Vector, n);
  return n;
}

// Checks and pads both inputs of the two-signal functions to one length N; returns N.
std::size_t PrepareTwo(TVXParsDouble& input1, TVXParsDouble& input2, const char* functionName) {
  if (!IsNonEmptyVector(input1) || !IsNonEmptyVector(input2))
    throw EVXParserException(rsInvalidParameters);
  const std::size_t longer = std::max(input1.Vector.size(), input2.Vector.size());
  const std::size_t n = FftPaddedLength(longer, 1, functionName);
  PadInPlace(input1.Vector, n);
  PadInPlace(input2.Vector, n);
  return n;
}

// A result vector of n elements whose first `filled` come from a transform and the rest are 0.
double* ZeroFilledResult(TVXParsExpressionRec* rec, std::size_t n, std::size_t filled) {
  TVXParsDouble& result = rec->Result;
  result.VarType = vtVector;
  result.Vector.resize(n);
  std::fill(result.Vector.begin() + static_cast<std::ptrdiff_t>(filled), result.Vector.end(), 0.0);
  return result.Vector.data();
}

}  // namespace

// RealFFT(inputvector, window, calcphases, phasevector): N / 2 amplitudes; with calcphases not 0
// phasevector becomes the N / 2 phases, otherwise the number 0. A one-element input is N = 1:
// it stays as it is and gives no amplitude (and no phase).
void _VXParsRealFFT(TVXParsExpressionRec* rec) {
  TVXParsDouble& input = rec->Arg(0);
  const std::size_t n = PrepareOne(input, "RealFFT");
  const int window = FftWindowCode(rec->Arg(1).Value);
  const bool calcPhases = rec->Arg(2).Value != 0.0;
  TVXParsDouble& phases = rec->Arg(3);
  if (&phases == &input) {
    // The phases would overwrite the signal being transformed: take a copy first.
    const TVXVect signal = input.Vector;
    rec->Result.VarType = vtVector;
    rec->Result.Vector.resize(n / 2);
    if (calcPhases) {
      phases.VarType = vtVector;
      phases.Vector.resize(n / 2);
      if (n >= 2)
        FftAmplitudePhase(signal.data(), n, window, rec->Result.Vector.data(),
                          phases.Vector.data());
    } else {
      if (n >= 2) FftAmplitudePhase(signal.data(), n, window, rec->Result.Vector.data(), nullptr);
      phases.VarType = vtDouble;
      phases.Value = 0.0;
    }
    return;
  }
  rec->Result.VarType = vtVector;
  rec->Result.Vector.resize(n / 2);
  double* phaseData = nullptr;
  if (calcPhases) {
    phases.VarType = vtVector;
    phases.Vector.resize(n / 2);
    phaseData = phases.Vector.data();
  } else {
    phases.VarType = vtDouble;
    phases.Value = 0.0;
  }
  if (n >= 2)
    FftAmplitudePhase(input.Vector.data(), n, window, rec->Result.Vector.data(), phaseData);
}

// RealInverseFFT(amplitudevector, phasevector, window): 2 M samples from M amplitudes and
// phases. phasevector may be a number (as RealFFT leaves it without phases): every phase and the
// Nyquist term are then 0. Amplitudes and phases are padded alike to the larger power of two.
void _VXParsRealInverseFFT(TVXParsExpressionRec* rec) {
  TVXParsDouble& amplitudes = rec->Arg(0);
  TVXParsDouble& phases = rec->Arg(1);
  const bool withPhases = phases.VarType == vtVector;
  if (!IsNonEmptyVector(amplitudes) ||
      (withPhases ? phases.Vector.empty() : phases.VarType != vtDouble))
    throw EVXParserException(rsInvalidParameters);
  std::size_t longer = amplitudes.Vector.size();
  if (withPhases) longer = std::max(longer, phases.Vector.size());
  // The output holds two samples per amplitude.
  const std::size_t half = FftPaddedLength(2 * longer, 2, "RealInverseFFT") / 2;
  PadInPlace(amplitudes.Vector, half);
  if (withPhases) PadInPlace(phases.Vector, half);
  const int window = FftWindowCode(rec->Arg(2).Value);
  double* out = ZeroFilledResult(rec, 2 * half, 2 * half);
  FftInverseAmplitudePhase(amplitudes.Vector.data(), withPhases ? phases.Vector.data() : nullptr,
                           half, window, out);
}

// AutoCorrelation(inputvector, window): N lags of the circular auto-correlation.
void _VXParsAutoCorrelation(TVXParsExpressionRec* rec) {
  TVXParsDouble& input = rec->Arg(0);
  const std::size_t n = PrepareOne(input, "AutoCorrelation");
  const int window = FftWindowCode(rec->Arg(1).Value);
  double* out = ZeroFilledResult(rec, n, n);
  FftCorrelation(input.Vector.data(), input.Vector.data(), n, window, out);
}

// PowerSpectrum(inputvector, window): N elements, the one-sided spectrum in 0 .. N/2, then 0.
void _VXParsPowerSpectrum(TVXParsExpressionRec* rec) {
  TVXParsDouble& input = rec->Arg(0);
  const std::size_t n = PrepareOne(input, "PowerSpectrum");
  const int window = FftWindowCode(rec->Arg(1).Value);
  double* out = ZeroFilledResult(rec, n, n / 2 + 1);
  FftPowerSpectrum(input.Vector.data(), n, window, out);
}

// CrossCorrelation(inputvector1, inputvector2, window): N lags of the circular correlation.
void _VXParsCrossCorrelation(TVXParsExpressionRec* rec) {
  TVXParsDouble& input1 = rec->Arg(0);
  TVXParsDouble& input2 = rec->Arg(1);
  const std::size_t n = PrepareTwo(input1, input2, "CrossCorrelation");
  const int window = FftWindowCode(rec->Arg(2).Value);
  double* out = ZeroFilledResult(rec, n, n);
  FftCorrelation(input1.Vector.data(), input2.Vector.data(), n, window, out);
}

// CrossPowerSpectrum(inputvector1, inputvector2, window): N elements as PowerSpectrum.
void _VXParsCrossPowerSpectrum(TVXParsExpressionRec* rec) {
  TVXParsDouble& input1 = rec->Arg(0);
  TVXParsDouble& input2 = rec->Arg(1);
  const std::size_t n = PrepareTwo(input1, input2, "CrossPowerSpectrum");
  const int window = FftWindowCode(rec->Arg(2).Value);
  double* out = ZeroFilledResult(rec, n, n / 2 + 1);
  FftCrossPowerSpectrum(input1.Vector.data(), input2.Vector.data(), n, window, out);
}

}  // namespace loom
