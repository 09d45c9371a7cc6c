// `loom functions`, `loom operators` and `loom help-topic`: what the word list offers.
#pragma once

#include <iosfwd>
#include <string>

#include "app/EvaluatorSetup.h"

namespace loom {

// One line per function, as the function list shows it (name or syntax).
int RunFunctionsCommand(const TEvaluatorOptions& options, std::ostream& out);
// One line per operator name a formula can use.
int RunOperatorsCommand(const TEvaluatorOptions& options, std::ostream& out);
// The help page of a word; a name without one is an error.
int RunHelpTopicCommand(const TEvaluatorOptions& options, const std::string& name,
                        std::ostream& out, std::ostream& err);

}  // namespace loom
