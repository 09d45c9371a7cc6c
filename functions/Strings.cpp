// String functions and conversions.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// clang-format off
LOOM_PENDING(_VXParsFormatDateTime,                "FormatDateTime")
LOOM_PENDING(_VXParsFormat,                        "Format")
LOOM_PENDING(_VXParsChr,                           "Chr")
LOOM_PENDING(_VXParsPos,                           "Pos")
LOOM_PENDING(_VXParsLeft,                          "Left")
LOOM_PENDING(_VXParsRight,                         "Right")
LOOM_PENDING(_VXParsMid,                           "Mid")
LOOM_PENDING(_VXParsGetToken,                      "GetToken")
LOOM_PENDING(_VXParsTrim,                          "Trim")
LOOM_PENDING(_VXParsConvertStringToNumber,         "ConvertStringToNumber")
LOOM_PENDING(_VXParsConvertStringDateTimeToNumber, "ConvertStringDateTimeToNumber")
LOOM_PENDING(_VXParsConvertStringHexToInt,         "ConvertStringHexToInt")
LOOM_PENDING(_VXParsStrChar,                       "StrChar")
LOOM_PENDING(_VXParsStrLen,                        "StrLen")
LOOM_PENDING(_VXParsStrComp,                       "StrComp")
LOOM_PENDING(_VXParsStrLComp,                      "StrLComp")
LOOM_PENDING(_VXParsStringWriteBinaryWord,         "StringWriteBinaryWord")
LOOM_PENDING(_VXParsStringWriteBinaryByte,         "StringWriteBinaryByte")
LOOM_PENDING(_VXParsStringWriteBinaryFloat32,      "StringWriteBinaryFloat32")
LOOM_PENDING(_VXParsStringWriteBinaryFloat64,      "StringWriteBinaryFloat64")
LOOM_PENDING(_VXParsStringWriteBinaryInteger,      "StringWriteBinaryInteger")
LOOM_PENDING(_VXParsStringWriteBinaryLongWord,     "StringWriteBinaryLongWord")
LOOM_PENDING(_VXParsStringWriteBinaryShortInteger, "StringWriteBinaryShortInteger")
LOOM_PENDING(_VXParsStringWriteBinarySmallInteger, "StringWriteBinarySmallInteger")
// clang-format on

}  // namespace loom
