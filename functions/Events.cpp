// Events, timing and panel exchange functions.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// clang-format off
LOOM_PENDING(_VXParsFireEvent,       "FireEvent")
LOOM_PENDING(_VXParsFireEventEx,     "FireEventEx")
LOOM_PENDING(_VXParsWait,            "Wait")
LOOM_PENDING(_VXParsUpdateOutputs,   "UpdateOutputs")
LOOM_PENDING(_VXParsUpdateInputData, "UpdateInputData")
LOOM_PENDING(_VXParsTic,             "tic")
LOOM_PENDING(_VXParsToc,             "toc")
// clang-format on

}  // namespace loom
