// Spectra and correlations.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// clang-format off
LOOM_PENDING(_VXParsRealFFT,            "RealFFT")
LOOM_PENDING(_VXParsRealInverseFFT,     "RealInverseFFT")
LOOM_PENDING(_VXParsAutoCorrelation,    "AutoCorrelation")
LOOM_PENDING(_VXParsPowerSpectrum,      "PowerSpectrum")
LOOM_PENDING(_VXParsCrossCorrelation,   "CrossCorrelation")
LOOM_PENDING(_VXParsCrossPowerSpectrum, "CrossPowerSpectrum")
// clang-format on

}  // namespace loom
