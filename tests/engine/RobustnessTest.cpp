// Hostile and malformed input: every outcome is a value or an EVXParserException, never a
// crash, a hang or another exception.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

enum class Result { Value, ParserError };

// Compiles text and, when it compiles, evaluates it twice. Any exception other than
// EVXParserException fails the test with the formula that caused it.
Result Probe(TVXExpressionEvaluatorBase& evaluator, const std::string& text) {
  try {
    const int index = evaluator.AddExpression(text);
    TVXParsDouble result;
    evaluator.GetResults(index, result);
    evaluator.GetResults(index, result);
    return Result::Value;
  } catch (const EVXParserException&) {
    return Result::ParserError;
  } catch (const std::exception& e) {
    ADD_FAILURE() << "formula " << ::testing::PrintToString(text) << " raised " << e.what();
  } catch (...) {
    ADD_FAILURE() << "formula " << ::testing::PrintToString(text)
                  << " raised a non-standard exception";
  }
  return Result::ParserError;
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
      "max(1,)",   "max(,1)",  ")(",        "[1,",       "[[1]]",   "[1,[2,3]]", "x := := 1",
      "If()",      "Else(1)",  "sin",       "sin(1)(2)", "1..2",    "1e5e5",     "not not",
      "1 2 3",     "(1,2)",    "<<<",       "a.b.c",     "1 >> -5", "7 div 0",   "x := x",
      "\"a\" - 1", "(x) := 1", "If(1) + 1", "1 < \"a\"", "1 \\ 2",  "1 && 2",    "x ~ y",
  };
  for (const char* formula : formulas) Probe(evaluator, formula);
  for (const char* formula : {"1 << 99999", "CondEval(1)", "[1, 2] := 3", "x + (y := 2)",
                              "not [1, 2]", "$FFFFFFFFFFFFFFFFFF"})
    Probe(evaluator, formula);
}

TEST(Robustness, DeepNestingRaisesInsteadOfCrashing) {
  TVXExpressionEvaluator evaluator;
  const std::pair<std::string, std::string> rows[] = {
      {"(", ")"}, {"sin(", ")"}, {"[", "]"}, {"not (", ")"}, {"(1 + ", ")"}};
  for (const auto& [open, close] : rows) {
    std::string text;
    for (int i = 0; i < 5000; ++i) text += open;
    text += "1";
    for (int i = 0; i < 5000; ++i) text += close;
    EXPECT_EQ(Probe(evaluator, text), Result::ParserError) << open;
  }
}

TEST(Robustness, LongFlatFormulasAndExtremeNumbers) {
  TVXExpressionEvaluator evaluator;
  std::string nots, vector = "[1";
  for (int i = 0; i < 20000; ++i) nots += "not ", vector += ",1";
  ExpectOutcomes(evaluator, {{(std::string(100000, '-') + "3").c_str(), "3"},
                             {(nots + "2.5").c_str(), "2.5"},
                             {("VectorGetSize(" + vector + "])").c_str(), "20001"},
                             {("StrLen(\"" + std::string(100000, 'x') + "\")").c_str(), "100000"},
                             {std::string(400, '9').c_str(), "inf"},
                             {"1e308 * 10 + 1e99999999999999999999", "inf"},
                             {"1e-99999999999999999999", "0"}});
}

// Deterministic pseudo-random sequences of the language's own tokens.
TEST(Robustness, RandomTokenSequences) {
  std::vector<std::string> vocabulary;
  std::istringstream words(
      "1 2.5 0 $1F x y v \"s\" pi TRUE + - * / ^ mod div << >> % ( ) [ ] , not and or < >= = <> "
      ":= sin max Clamp CondEval If Else Wend Until Repeat VectorGetSize VectorGetValue abs sqrt "
      "Random round");
  for (std::string word; words >> word;) vocabulary.push_back(word);
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
      if (Probe(*evaluator, text) == Result::Value) ++compiled;
      if (i % 500 == 499) evaluator->ClearExpressions();
    }
    // The vocabulary is rich enough that a fair share compiles and runs.
    EXPECT_GT(compiled, 50);
  }
}

}  // namespace
}  // namespace loom
