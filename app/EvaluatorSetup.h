// What every command of `loom` shares: how an evaluator is made from the options, and the
// exit statuses.
#pragma once

#include <memory>

#include "engine/Evaluator.h"

namespace loom {

// Exit statuses of `loom`; scripts and tests rely on the numbers.
inline constexpr int kExitOk = 0;
inline constexpr int kExitError = 1;    // a compile, run-time or jump-pairing error
inline constexpr int kExitTimeout = 2;  // a script stopped by --timeout
inline constexpr int kExitUsage = 64;   // wrong command line

// The evaluator options that eval and repl take alike.
struct TEvaluatorOptions {
  bool CStyle = false;          // the C-style spellings (||, &&, ==, != ...) on top
  char DecimalSeparator = '.';  // with ',' the list separator is ';'
  bool ConstantFolding = true;
  bool ConnectEngine = false;  // start the engine bridge before the first formula
};

// A fresh evaluator with every word of the language registered and the options applied. Its
// host is the command line's: the system clock and the engine bridge, which starts on the first
// engine function (or at once with ConnectEngine; a failure to start then raises).
std::unique_ptr<TVXExpressionEvaluatorBase> MakeEvaluator(const TEvaluatorOptions& options);

}  // namespace loom
