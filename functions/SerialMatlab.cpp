// Serial port and MATLAB engine functions.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// clang-format off
LOOM_PENDING(_VXParsSerialWriteString, "SerialWriteString")
LOOM_PENDING(_VXParsMatlabCommand,     "MatlabCommand")
LOOM_PENDING(_VXParsMatlabPutVector,   "MatlabPutVector")
LOOM_PENDING(_VXParsMatlabGetVector,   "MatlabGetVector")
// clang-format on

}  // namespace loom
