// Table rows and helpers shared by the tests of the function library: each row is a formula and
// what it must give, compiled and evaluated once in a test's evaluator.
#pragma once

#include <cstdio>
#include <string>

#include "engine/ParserClasses.h"
#include "functions/Registry.h"

namespace loom {

struct TextCase {
  const char* formula;
  TVXPArsVarType kind;
  const char* text;  // ParsDoubleAsString of the result
};

struct NumberCase {
  const char* formula;
  double value;
};

struct ErrorCase {
  const char* formula;
  const char* message;
};

// Compiles and evaluates one formula; a run-time error surfaces from either step (from the
// compiler while folding a constant call, from the evaluation otherwise).
inline TVXParsDouble EvaluateOnce(TVXExpressionEvaluator& ev, const std::string& formula) {
  return ev.GetResults(ev.AddExpression(formula));
}

// The message of that error, or "<no error>".
inline std::string ErrorOf(TVXExpressionEvaluator& ev, const std::string& formula) {
  try {
    EvaluateOnce(ev, formula);
  } catch (const EVXParserException& e) {
    return e.what();
  }
  return "<no error>";
}

// A number as formula text, to full precision.
inline std::string Num(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", v);
  return text;
}

}  // namespace loom
