// File functions.
#include "engine/ParserClasses.h"
#include "functions/Bodies.h"
#include "functions/Pending.h"

namespace loom {

// clang-format off
LOOM_PENDING(_VXParsFileOpen,                         "FileOpen")
LOOM_PENDING(_VXParsFileCreate,                       "FileCreate")
LOOM_PENDING(_VXParsFileAppend,                       "FileAppend")
LOOM_PENDING(_VXParsFileClose,                        "FileClose")
LOOM_PENDING(_VXParsFileEOF,                          "FileEOF")
LOOM_PENDING(_VXParsFileSeek,                         "FileSeek")
LOOM_PENDING(_VXParsFileSize,                         "FileSize")
LOOM_PENDING(_VXParsFileWriteString,                  "FileWriteString")
LOOM_PENDING(_VXParsFileWriteStringLn,                "FileWriteStringLn")
LOOM_PENDING(_VXParsFileWriteStringFixed,             "FileWriteStringFixed")
LOOM_PENDING(_VXParsFileWriteBinaryWord,              "FileWriteBinaryWord")
LOOM_PENDING(_VXParsFileWriteBinaryByte,              "FileWriteBinaryByte")
LOOM_PENDING(_VXParsFileWriteBinaryFloat32,           "FileWriteBinaryFloat32")
LOOM_PENDING(_VXParsFileWriteBinaryFloat64,           "FileWriteBinaryFloat64")
LOOM_PENDING(_VXParsFileWriteBinaryInteger,           "FileWriteBinaryInteger")
LOOM_PENDING(_VXParsFileWriteBinaryLongWord,          "FileWriteBinaryLongWord")
LOOM_PENDING(_VXParsFileWriteBinarySmallInteger,      "FileWriteBinarySmallInteger")
LOOM_PENDING(_VXParsFileWriteBinaryShortInteger,      "FileWriteBinaryShortInteger")
LOOM_PENDING(_VXParsFileReadStringLn,                 "FileReadStringLn")
LOOM_PENDING(_VXParsFileReadStringFixed,              "FileReadStringFixed")
LOOM_PENDING(_VXParsFileReadBinaryWord,               "FileReadBinaryWord")
LOOM_PENDING(_VXParsFileReadBinaryByte,               "FileReadBinaryByte")
LOOM_PENDING(_VXParsFileReadBinaryFloat32,            "FileReadBinaryFloat32")
LOOM_PENDING(_VXParsFileReadBinaryFloat64,            "FileReadBinaryFloat64")
LOOM_PENDING(_VXParsFileReadBinaryInteger,            "FileReadBinaryInteger")
LOOM_PENDING(_VXParsFileReadBinaryLongWord,           "FileReadBinaryLongWord")
LOOM_PENDING(_VXParsFileReadBinarySmallInteger,       "FileReadBinarySmallInteger")
LOOM_PENDING(_VXParsFileReadBinaryShortInteger,       "FileReadBinaryShortInteger")
LOOM_PENDING(_VXParsFileReadBinaryWordVector,         "FileReadBinaryWordVector")
LOOM_PENDING(_VXParsFileReadBinaryByteVector,         "FileReadBinaryByteVector")
LOOM_PENDING(_VXParsFileReadBinaryFloat32Vector,      "FileReadBinaryFloat32Vector")
LOOM_PENDING(_VXParsFileReadBinaryFloat64Vector,      "FileReadBinaryFloat64Vector")
LOOM_PENDING(_VXParsFileReadBinaryIntegerVector,      "FileReadBinaryIntegerVector")
LOOM_PENDING(_VXParsFileReadBinaryLongWordVector,     "FileReadBinaryLongWordVector")
LOOM_PENDING(_VXParsFileReadBinarySmallIntegerVector, "FileReadBinarySmallIntegerVector")
LOOM_PENDING(_VXParsFileReadBinaryShortIntegerVector, "FileReadBinaryShortIntegerVector")
LOOM_PENDING(_VXParsCreateDirectory,                  "CreateDirectory")
// clang-format on

// No formula can open a file yet, so there is nothing to close.
void _closeallfiles() {}

}  // namespace loom
