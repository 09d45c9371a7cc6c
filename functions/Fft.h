// Real-signal spectra on FFTW: windows, amplitude and phase spectra and their inverse, power
// spectra and circular correlations, as the spectral functions of the formula language define
// them. Every routine works on caller-owned arrays of the stated lengths and may run on several
// threads at once; the FFTW plans are shared and cached per transform size.
//
// Definitions, for N samples x[k] and the window w[k] of that length (y = x * w):
//  - X[m] = sum_k y[k] exp(-2 pi i m k / N), the unnormalised DFT; S1 = sum w, S2 = sum w^2.
//  - Amplitude spectrum (N / 2 bins, m = 0 .. N/2 - 1): amplitude[0] = X[0] / S1, the
//    window-weighted mean of the signal with its sign; amplitude[m] = 2 |X[m]| / S1, so that a
//    sine of amplitude A on bin m reads A whatever the window (divided by the coherent gain).
//  - Phases in degrees, from -180 to 180, of a cosine: A cos(2 pi m k / N + phi) reads phi, a
//    sine reads -90. phase[0] carries no phase: the DC term's sign is in amplitude[0], and the
//    slot holds the Nyquist term X[N/2] / S1 (the amplitude of the alternating +B, -B sequence,
//    with its sign), which the N / 2 bins otherwise could not hold. With it the inverse is exact.
//  - Power spectrum, one-sided, in units squared: P[0] = |X[0]|^2 / (N S2), P[m] = 2 |X[m]|^2 /
//    (N S2) for 0 < m < N/2, P[N/2] = |X[N/2]|^2 / (N S2). Dividing by the window's power S2
//    keeps the sum of the bins equal to the signal's mean square (Parseval, exact for the
//    rectangle); a single line of amplitude A sums to A^2 / 2 over the bins it leaks into.
//  - Cross power spectrum: the same with |X1[m]| |X2[m]| in place of |X[m]|^2 (the magnitude of
//    conj(X1) X2; its phase is not returned).
//  - Correlations, circular and divided by N: r[k] = (1/N) sum_j y1[j] y2[(j + k) mod N] for
//    k = 0 .. N-1 (lag -k is element N - k); r[0] of the auto-correlation is the mean square.
//    When y2 is y1 delayed by d samples the cross-correlation peaks at k = d.
#pragma once

#include <cstddef>

namespace loom {

// Window (leak) codes of the spectral functions; any other code means the rectangle.
enum TFftWindow : int {
  fwRectangle = 0,
  fwHanning = 1,  // the periodic raised cosine, the same window as fwHann
  fwHamming = 2,
  fwBlackman = 3,
  fwFlatTop = 4,  // five-term flat top: amplitudes read to a fraction of a percent between bins
  fwHann = 5,
  fwBlackmanHarris67 = 6,  // three terms, -67 dB side lobes
  fwBlackmanHarris92 = 7,  // four terms, -92 dB side lobes
};

// The power of two that n samples (at least minimum) are padded to. Beyond the longest vector a
// formula may hold it raises "<functionName>: a vector may hold at most ... elements".
std::size_t FftPaddedLength(std::size_t n, std::size_t minimum, const char* functionName);

// The window code a formula's number selects: rounded when 0 <= window <= 7, else the rectangle.
int FftWindowCode(double window);

// w[k] for k = 0 .. n-1: the periodic (DFT-even) form of the cosine-sum window, so that a tone on
// a bin leaks into a fixed handful of neighbours only. A one-sample window is the rectangle.
void FftWindowSamples(int windowCode, std::size_t n, double* w);

// n samples (n a power of two, at least 2) to n / 2 amplitudes and, when phase is not null,
// n / 2 phases as defined above.
void FftAmplitudePhase(const double* x, std::size_t n, int windowCode, double* amplitude,
                       double* phase);

// The inverse of FftAmplitudePhase: half amplitudes and phases (phase may be null: all phases
// and the Nyquist term 0) to 2 * half samples. With the rectangle it gives back the signal; with
// another window it gives back the windowed signal x[k] * w[k], the window's scaling undone.
void FftInverseAmplitudePhase(const double* amplitude, const double* phase, std::size_t half,
                              int windowCode, double* out);

// n samples (n a power of two) to n / 2 + 1 power values.
void FftPowerSpectrum(const double* x, std::size_t n, int windowCode, double* out);

// Two signals of n samples each to n / 2 + 1 cross power values.
void FftCrossPowerSpectrum(const double* x1, const double* x2, std::size_t n, int windowCode,
                           double* out);

// Two signals of n samples each (x2 may be x1) to n lags.
void FftCorrelation(const double* x1, const double* x2, std::size_t n, int windowCode, double* out);

}  // namespace loom
