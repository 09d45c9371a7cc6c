// The one translation unit that includes ExprTk. The switched-off features are ones the
// benchmark formulas never use; each one removes a family of templates and shortens the build.
// Optimisations that affect evaluation speed (synthesised operator nodes, unrolled vector
// loops) stay on, so that ExprTk is measured as its users run it.
#define exprtk_disable_string_capabilities
#define exprtk_disable_rtl_io
#define exprtk_disable_rtl_io_file
#define exprtk_disable_rtl_vecops
#define exprtk_disable_return_statement
#define exprtk_disable_break_continue
#define exprtk_disable_comments
#include "ExprtkFormula.h"

#include <exprtk.hpp>

namespace loom::bench {

struct ExprtkFormula::State {
  exprtk::symbol_table<double> symbols;
  exprtk::expression<double> expression;
  exprtk::parser<double> parser;
};

ExprtkFormula::ExprtkFormula() : state_(std::make_unique<State>()) {
  state_->symbols.add_constants();  // pi, epsilon, inf
  state_->expression.register_symbol_table(state_->symbols);
}

ExprtkFormula::~ExprtkFormula() = default;

bool ExprtkFormula::BindScalar(const std::string& name, double& value) {
  if (state_->symbols.add_variable(name, value)) return true;
  error_ = "ExprTk refused the variable name '" + name + "'";
  return false;
}

bool ExprtkFormula::BindVector(const std::string& name, double* data, std::size_t size) {
  if (size > 0 && state_->symbols.add_vector(name, data, size)) return true;
  error_ = "ExprTk refused the vector '" + name + "' of " + std::to_string(size) + " elements";
  return false;
}

bool ExprtkFormula::Compile(const std::string& text) {
  if (state_->parser.compile(text, state_->expression)) return true;
  error_ = "ExprTk cannot compile '" + text + "': " + state_->parser.error();
  return false;
}

double ExprtkFormula::Evaluate() {
  return state_->expression.value();
}

}  // namespace loom::bench
