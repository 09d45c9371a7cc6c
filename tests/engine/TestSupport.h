// Helpers shared by the tests of the engine and the function library: a formula's outcome as one
// exact text, its compiled form on one line, and tables of formulas with what they must give.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>

#include "engine/Evaluator.h"
#include "engine/ParserClasses.h"

namespace loom {

// Compiles text and evaluates it once.
inline TVXParsDouble Evaluated(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  return evaluator.GetResults(evaluator.AddExpression(text));
}

// A result as one exact text: a number in shortest round-trip form ("0.75", "100000", "1e+300",
// "inf", "nan"), a vector as displayed ("[ 1, 2]", "]" when empty), a string in double quotes, a
// boolean as displayed ("True").
inline std::string Shown(const TVXParsDouble& value) {
  if (value.VarType == vtString) return "\"" + value.StrValue + "\"";
  if (value.VarType != vtDouble) return ParsDoubleAsString(value);
  if (std::isnan(value.Value)) return "nan";
  char text[32];
  const double magnitude = std::fabs(value.Value);
  const bool plain = magnitude >= 1e-4 && magnitude < 1e21;  // no exponent for 100000
  return std::string(
      text, (plain ? std::to_chars(text, text + sizeof text, value.Value, std::chars_format::fixed)
                   : std::to_chars(text, text + sizeof text, value.Value))
                .ptr);
}

// What compiling and evaluating text once gives: its result Shown, or the message of the
// EVXParserException that either step raised. Lines of text run in turn as expressions of their
// own; the last one's outcome counts.
inline std::string Outcome(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  try {
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
      Evaluated(evaluator, text.substr(start, end - start));
    return Shown(Evaluated(evaluator, text.substr(start)));
  } catch (const EVXParserException& e) {
    return e.what();
  }
}

struct OutcomeRow {
  const char* formula;
  const char* outcome;
};

// Each formula in turn, in the same evaluator, must give its outcome.
template <typename Rows>
void ExpectOutcomes(TVXExpressionEvaluatorBase& evaluator, const Rows& rows) {
  for (const OutcomeRow& row : rows)
    EXPECT_EQ(Outcome(evaluator, row.formula), row.outcome) << row.formula;
}
inline void ExpectOutcomes(TVXExpressionEvaluatorBase& evaluator,
                           std::initializer_list<OutcomeRow> rows) {
  ExpectOutcomes<std::initializer_list<OutcomeRow>>(evaluator, rows);
}

// The rows of a table that needs no state, each in an evaluator that folds constants at compile
// time and again in one that evaluates everything at run time.
template <typename Evaluator, typename Rows>
void ExpectOutcomesFoldedOrNot(const Rows& rows) {
  for (const bool folding : {true, false}) {
    SCOPED_TRACE(folding ? "folded" : "not folded");
    Evaluator evaluator;
    evaluator.ConstantFolding = folding;
    ExpectOutcomes(evaluator, rows);
  }
}

// Each formula, folded and not, must give the same outcome (most often one error message).
template <typename Evaluator>
void ExpectEachGives(const std::string& outcome, std::initializer_list<const char*> formulas) {
  for (const bool folding : {true, false}) {
    Evaluator evaluator;
    evaluator.ConstantFolding = folding;
    for (const char* formula : formulas)
      EXPECT_EQ(Outcome(evaluator, formula), outcome) << formula << (folding ? "" : " not folded");
  }
}

// The rows of several tables in turn (a table cut by row length only, to lay out in columns).
template <typename Row, std::size_t... N>
std::vector<Row> Rows(const Row (&... tables)[N]) {
  std::vector<Row> rows;
  (rows.insert(rows.end(), std::begin(tables), std::end(tables)), ...);
  return rows;
}

// The value of a variable that formulas created, or NaN when there is none.
inline double VariableValue(TVXExpressionEvaluatorBase& evaluator, const std::string& name) {
  TVXParsExprWord* word = evaluator.Words().Find(name.c_str());
  if (word == nullptr || word->AsPointer() == nullptr) return EmptyNaN();
  return word->AsPointer()->Value;
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

// Compiles text and gives its disassembly on one line, node by node: "+ (x, 6)",
// "^@ (x, 2); := (y, #0)"; a jump command adds "jump If", a text without compiled form gives "".
inline std::string Compiled(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  std::istringstream lines(evaluator.Disassemble(evaluator.AddExpression(text)));
  std::string line, form;
  std::getline(lines, line);  // the expression's own text
  while (std::getline(lines, line)) {
    std::string node;
    if (line.rfind("  jump command: ", 0) == 0) {
      node = "jump " + line.substr(16);
    } else if (line.size() > 7 && std::isdigit(static_cast<unsigned char>(line[2]))) {
      // "  0003 name     (operands) -> #3": the number, the padding and the slot go.
      const std::string rest = line.substr(7);
      const std::size_t name = rest.find(' ');
      const std::size_t open = rest.find('(', name);
      node = rest.substr(0, name) + " " + rest.substr(open, rest.rfind(" -> #") - open);
    } else {
      continue;
    }
    form += (form.empty() ? "" : "; ") + node;
  }
  return form;
}

// Bytes as upper-case hexadecimal pairs separated by blanks: "61 62 00".
inline std::string Hex(const std::string& bytes) {
  std::string text;
  char pair[4];
  for (unsigned char byte : bytes) {
    std::snprintf(pair, sizeof pair, text.empty() ? "%02X" : " %02X", byte);
    text += pair;
  }
  return text;
}

// A number as formula text, to full precision.
inline std::string Num(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", v);
  return text;
}

}  // namespace loom
