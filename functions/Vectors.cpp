// Vector functions.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// "[a0, a1, ...]": one element per argument, each the argument's number field (a vector
// argument contributes its number field, not its elements).
void _VXParsVectorConstant(TVXParsExpressionRec* rec) {
  TVXParsDouble& result = rec->Result;
  result.VarType = vtVector;
  result.Value = 0;
  const std::size_t count = rec->ArgData.size();
  result.Vector.resize(count);
  for (std::size_t i = 0; i < count; ++i) result.Vector[i] = rec->ArgData[i]->Value;
}

// clang-format off
LOOM_PENDING(_VXParsVectorGetFirstValue,      "VectorGetFirstValue")
LOOM_PENDING(_VXParsVectorGetLastValue,       "VectorGetLastValue")
LOOM_PENDING(_VXParsVectorGetMean,            "VectorGetMean")
LOOM_PENDING(_VXParsVectorGetRMS,             "VectorGetRMS")
LOOM_PENDING(_VXParsVectorGetDeviation,       "VectorGetDeviation")
LOOM_PENDING(_VXParsVectorGetMinimumValue,    "VectorGetMinimumValue")
LOOM_PENDING(_VXParsVectorGetMinimumPosition, "VectorGetMinimumPosition")
LOOM_PENDING(_VXParsVectorGetMaximumValue,    "VectorGetMaximumValue")
LOOM_PENDING(_VXParsVectorGetMaximumPosition, "VectorGetMaximumPosition")
LOOM_PENDING(_VXParsVectorGetSum,             "VectorGetSum")
LOOM_PENDING(_VXParsVectorAppend,             "VectorAppend")
LOOM_PENDING(_VXParsVectorCopy,               "VectorCopy")
LOOM_PENDING(_VXParsHistogram,                "Histogram")
LOOM_PENDING(_VXParsInRange,                  "InRange")
LOOM_PENDING(_VXParsOutOfRange,               "OutOfRange")
LOOM_PENDING(_VXParsVectorGetLowest,          "VectorGetLowest")
LOOM_PENDING(_VXParsVectorGetHighest,         "VectorGetHighest")
LOOM_PENDING(_VXParsVectorGetSize,            "VectorGetSize")
LOOM_PENDING(_VXParsVectorSetSize,            "VectorSetSize")
LOOM_PENDING(_VXParsVectorGetValue,           "VectorGetValue")
LOOM_PENDING(_VXParsVectorSetValue,           "VectorSetValue")
LOOM_PENDING(_VXParsRamp,                     "Ramp")
LOOM_PENDING(_VXParsVectorResample,           "VectorResample")
LOOM_PENDING(_VXParsMovingAverage,            "MovingAverage")
LOOM_PENDING(_VXParsDelayLine,                "DelayLine")
LOOM_PENDING(_VXParsDelayLineReverse,         "DelayLineReverse")
LOOM_PENDING(_VXParsMatrixGetChannelCount,    "MatrixGetChannelCount")
LOOM_PENDING(_VXParsMatrixGetChannelVector,   "MatrixGetChannelVector")
LOOM_PENDING(_VXParsMatrixSetChannelVector,   "MatrixSetChannelVector")
// clang-format on

}  // namespace loom
