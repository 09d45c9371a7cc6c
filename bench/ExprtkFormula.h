// ExprTk behind a narrow door. Only ExprtkFormula.cpp includes ExprTk's header, which is large
// enough that its translation unit is built on its own (with -O2) and only for the benchmark;
// EvalBench.cpp reaches it through this class, as it reaches muParser through its library.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace loom::bench {

// One ExprTk expression over names bound to the caller's storage. The bound doubles and arrays
// must outlive the formula; binding after Compile takes effect at the next Compile.
class ExprtkFormula {
 public:
  ExprtkFormula();
  ~ExprtkFormula();
  ExprtkFormula(const ExprtkFormula&) = delete;
  ExprtkFormula& operator=(const ExprtkFormula&) = delete;

  // Binds `name` to a double the caller owns; false (and Error()) when ExprTk refuses the name.
  bool BindScalar(const std::string& name, double& value);
  // Binds `name` to `size` doubles at `data` for ExprTk's element-wise vector operations.
  bool BindVector(const std::string& name, double* data, std::size_t size);
  // Compiles `text`, replacing the previous expression; false (and Error()) on a syntax error.
  bool Compile(const std::string& text);
  // Evaluates the compiled expression once. A vector expression computes every element into
  // ExprTk's own result buffer and returns the first element.
  double Evaluate();
  // Why the last Bind or Compile failed.
  const std::string& Error() const { return error_; }

 private:
  struct State;
  std::unique_ptr<State> state_;
  std::string error_;
};

}  // namespace loom::bench
