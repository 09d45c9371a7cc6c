// Bodies still to come. A file of the function library lists each body it does not have yet
// with LOOM_PENDING: the word is registered and compiles in formulas, but running it raises
// "<name>: this function is not available in this build". Replace the line with the real body.
#pragma once

#include "engine/Messages.h"
#include "engine/ParserClasses.h"

namespace loom {

[[noreturn]] inline void NotAvailable(const char* name) {
  throw EVXParserException(FormatMessage(rsNotAvailable, {name}));
}

}  // namespace loom

#define LOOM_PENDING(body, registeredName) \
  void body(TVXParsExpressionRec*) { NotAvailable(registeredName); }
