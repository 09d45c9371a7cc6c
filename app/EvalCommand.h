// `loom eval`: evaluates the expressions given on the command line, or runs a script file.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "app/EvaluatorSetup.h"

namespace loom {

struct TEvalOptions {
  TEvaluatorOptions Evaluator;
  std::vector<std::string> Expressions;  // evaluated in turn, variables carried along
  std::string ScriptFile;                // a script instead of Expressions; "-" is stdin
  bool Boolean = false;                  // the last expression as a condition: True/False
  bool Dump = false;                     // the compiled list of each expression first
  bool Trace = false;                    // scripts: "index: result" per expression run
  double TimeoutSeconds = 0;             // scripts: stop after this long; 0 is no limit
};

// Runs the command; results go to out, errors to err as one line each. Returns the exit
// status: kExitOk, kExitError on the first error, kExitTimeout when --timeout stopped a script.
int RunEvalCommand(const TEvalOptions& options, std::istream& in, std::ostream& out,
                   std::ostream& err);

}  // namespace loom
