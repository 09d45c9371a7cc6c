// Small helpers shared by the engine tests: compile-and-evaluate shortcuts and error capture.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "engine/Evaluator.h"
#include "engine/ParserClasses.h"

namespace loom::testing {

// The message of the EVXParserException that compiling text raises, or "<compiled>" when it
// compiles. Any other exception escapes and fails the calling test.
inline std::string CompileError(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  try {
    evaluator.AddExpression(text);
  } catch (const EVXParserException& e) {
    return e.what();
  }
  return "<compiled>";
}

// Compiles text and evaluates it once.
inline TVXParsDouble Evaluated(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  return evaluator.GetResults(evaluator.AddExpression(text));
}

inline double Number(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  return Evaluated(evaluator, text).Value;
}

inline std::uint64_t Bits(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

// Compiles a script, one expression per line; an empty line keeps its index as an expression
// that yields nothing.
inline void AddScript(TVXExpressionEvaluatorBase& evaluator,
                      const std::vector<std::string>& lines) {
  for (const std::string& line : lines) {
    if (line.empty())
      evaluator.AddEmptyExpression();
    else
      evaluator.AddExpression(line);
  }
}

// The value of a variable that formulas created, or NaN when there is none.
inline double VariableValue(TVXExpressionEvaluatorBase& evaluator, const std::string& name) {
  TVXParsExprWord* word = evaluator.Words().Find(name.c_str());
  if (word == nullptr || word->AsPointer() == nullptr) return EmptyNaN();
  return word->AsPointer()->Value;
}

}  // namespace loom::testing
