// Interpolation, polynomial and PID loop.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// clang-format off
LOOM_PENDING(_VXParsInterpolLin,          "InterpolLin")
LOOM_PENDING(_VXParsInterpolCubic,        "InterpolCubic")
LOOM_PENDING(_VXParsInterpolCubicPrepare, "InterpolCubicPrepare")
LOOM_PENDING(_VXParsPolynom,              "Polynom")
LOOM_PENDING(_VXParsPIDLoop,              "PIDLoop")
// clang-format on

}  // namespace loom
