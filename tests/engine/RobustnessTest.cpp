// Hostile and malformed input: every outcome is a value or an EVXParserException, never a
// crash, a hang or another exception.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

enum class Outcome { Value, ParserError };

// Compiles text and, when it compiles, evaluates it twice. Any exception other than
// EVXParserException fails the test with the formula that caused it.
Outcome Probe(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  try {
    const int index = evaluator.AddExpression(text);
    TVXParsDouble result;
    evaluator.GetResults(index, result);
    evaluator.GetResults(index, result);
    return Outcome::Value;
  } catch (const EVXParserException&) {
    return Outcome::ParserError;
  } catch (const std::exception& e) {
    ADD_FAILURE() << "formula " << ::testing::PrintToString(text) << " raised " << e.what();
  } catch (...) {
    ADD_FAILURE() << "formula " << ::testing::PrintToString(text)
                  << " raised a non-standard exception";
  }
  return Outcome::ParserError;
}

TEST(Robustness, EverySingleByte) {
  TVXExpressionEvaluator evaluator;
  for (int byte = 0; byte < 256; ++byte) Probe(evaluator, std::string(1, static_cast<char>(byte)));
  TVXParsCStyleEvaluator cstyle;
  for (int byte = 0; byte < 256; ++byte) Probe(cstyle, std::string(1, static_cast<char>(byte)));
}

TEST(Robustness, EveryPairOfSyntaxCharacters) {
  TVXExpressionEvaluator evaluator;
  const std::string alphabet = "0.9$aE\"()[],;:=<>!%&|+-*/^\\~ ";
  for (char a : alphabet)
    for (char b : alphabet) Probe(evaluator, std::string{a, b});
}

TEST(Robustness, MalformedFormulas) {
  TVXExpressionEvaluator evaluator;
  const char* formulas[] = {
      "max(1,)",
      "max(,1)",
      "max(,)",
      "sin(,)",
      "(",
      ")",
      ")(",
      "(()",
      "())",
      "[",
      "]",
      "[]",
      "[,]",
      "[1,",
      "1]",
      "[[1]]",
      "[1,[2,3]]",
      ":=",
      "x :=",
      ":= 1",
      "1 :=",
      "x := := 1",
      "If",
      "If()",
      "Else(1)",
      "Wend(1, 2)",
      "sin",
      "sin 1",
      "sin(1)(2)",
      "$",
      "$G",
      "$FFFFFFFFFFFFFFFFFF",
      ".",
      "..",
      "1..2",
      "1.2.3",
      "e",
      "1e5e5",
      "--",
      "+",
      "-",
      "!",
      "%",
      "x!",
      "not",
      "and",
      "1 and",
      "not not",
      "\"",
      "\"\"\"",
      "1 2 3",
      ",",
      ",,",
      "1,2",
      "(1,2)",
      "x := (1, 2)",
      "=<",
      "<<<",
      ">>=",
      "a.b.c",
      "...x",
      "1 << 99999",
      "1 >> -5",
      "(-4)!",
      "1e308 * 10",
      "0/0",
      "-1/0",
      "ln(0)",
      "sqrt(-1)",
      "7 div 0",
      "7 mod 0",
      "CondEval(1)",
      "CondEval(1, 2, 3, 4)",
      "Random(1)",
      "x := x",
      "\"a\" - 1",
      "\"a\" * [1, 2]",
      "[1, 2] := 3",
      "3 := x",
      "(x) := 1",
      "x + (y := 2)",
      "If(1) + 1",
      "Wend + Wend",
      "not [1, 2]",
      "[1, 2] and \"s\"",
      "1 < \"a\"",
      "TRUE + 1",
      "\\",
      "1 \\ 2",
      "&",
      "&&",
      "|",
      "||",
      "1 && 2",
      "x ~ y",
  };
  for (const char* formula : formulas) Probe(evaluator, formula);
}

TEST(Robustness, DeepNestingRaisesInsteadOfCrashing) {
  TVXExpressionEvaluator evaluator;
  const int depth = 5000;
  struct Row {
    std::string open;
    std::string inner;
    std::string close;
  };
  const Row rows[] = {
      {"(", "1", ")"},       {"sin(", "1", ")"},  {"-(", "1", ")"},    {"[", "1", "]"},
      {"max(1, ", "1", ")"}, {"not (", "1", ")"}, {"(1 + ", "1", ")"},
  };
  for (const Row& row : rows) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += row.open;
    text += row.inner;
    for (int i = 0; i < depth; ++i) text += row.close;
    EXPECT_EQ(Probe(evaluator, text), Outcome::ParserError) << row.open;
  }
}

TEST(Robustness, LongFlatFormulas) {
  TVXExpressionEvaluator evaluator;
  std::string sum = "1";
  while (sum.size() < 200000) sum += "+1";
  const Outcome outcome = Probe(evaluator, sum);
  if (outcome == Outcome::Value) {
    EXPECT_EQ(testing::Number(evaluator, sum), 100000.0);
  }

  std::string signs(100000, '-');
  EXPECT_EQ(Probe(evaluator, signs + "3"), Outcome::Value);
  EXPECT_EQ(testing::Number(evaluator, signs + "3"), 3.0);

  std::string nots;
  for (int i = 0; i < 20000; ++i) nots += "not ";
  EXPECT_EQ(testing::Number(evaluator, nots + "2.5"), 2.5);

  std::string vector = "[1";
  for (int i = 0; i < 20000; ++i) vector += ",1";
  vector += "]";
  if (Probe(evaluator, vector) == Outcome::Value) {
    EXPECT_EQ(testing::Evaluated(evaluator, vector).Vector.size(), 20001u);
  }

  std::string text = "\"" + std::string(100000, 'x') + "\"";
  EXPECT_EQ(testing::Evaluated(evaluator, text).StrValue.size(), 100000u);
}

TEST(Robustness, HugeAndTinyNumbers) {
  TVXExpressionEvaluator evaluator;
  EXPECT_TRUE(std::isinf(testing::Number(evaluator, "1e400")));
  EXPECT_TRUE(std::isinf(testing::Number(evaluator, "-1e400")));
  EXPECT_EQ(testing::Number(evaluator, "1e-400"), 0.0);
  EXPECT_TRUE(std::isinf(testing::Number(evaluator, "1e308 * 10")));
  const std::string digits(400, '9');
  EXPECT_TRUE(std::isinf(testing::Number(evaluator, digits)));
  EXPECT_EQ(Probe(evaluator, "1e99999999999999999999"), Outcome::Value);
}

// Deterministic pseudo-random formulas: raw bytes, and sequences of the language's own tokens.
TEST(Robustness, RandomByteStrings) {
  TVXExpressionEvaluator evaluator;
  std::mt19937 random(20240501);
  std::uniform_int_distribution<int> length(1, 24);
  std::uniform_int_distribution<int> byte(0, 255);
  for (int i = 0; i < 3000; ++i) {
    std::string text;
    const int n = length(random);
    for (int k = 0; k < n; ++k) text += static_cast<char>(byte(random));
    Probe(evaluator, text);
    if (i % 500 == 499) evaluator.ClearExpressions();
  }
}

TEST(Robustness, RandomTokenSequences) {
  const std::vector<std::string> vocabulary = {
      "1",
      "2.5",
      "0",
      "$1F",
      "x",
      "y",
      "v",
      "\"s\"",
      "pi",
      "TRUE",
      "+",
      "-",
      "*",
      "/",
      "^",
      "mod",
      "div",
      "<<",
      ">>",
      "%",
      "(",
      ")",
      "[",
      "]",
      ",",
      "not",
      "and",
      "or",
      "<",
      ">=",
      "=",
      "<>",
      ":=",
      "sin",
      "max",
      "Clamp",
      "CondEval",
      "If",
      "Else",
      "Wend",
      "Until",
      "Repeat",
      "VectorGetSize",
      "VectorGetValue",
      "abs",
      "sqrt",
      "Random",
      "round",
  };
  std::mt19937 random(7);
  std::uniform_int_distribution<std::size_t> pick(0, vocabulary.size() - 1);
  std::uniform_int_distribution<int> length(1, 14);
  for (bool cstyle : {false, true}) {
    std::unique_ptr<TVXExpressionEvaluator> evaluator =
        cstyle ? std::make_unique<TVXParsCStyleEvaluator>()
               : std::make_unique<TVXExpressionEvaluator>();
    int compiled = 0;
    for (int i = 0; i < 4000; ++i) {
      std::string text;
      const int n = length(random);
      for (int k = 0; k < n; ++k) text += vocabulary[pick(random)] + " ";
      if (Probe(*evaluator, text) == Outcome::Value) ++compiled;
      if (i % 500 == 499) evaluator->ClearExpressions();
    }
    // The vocabulary is rich enough that a fair share compiles and runs.
    EXPECT_GT(compiled, 50);
  }
}

}  // namespace
}  // namespace loom
