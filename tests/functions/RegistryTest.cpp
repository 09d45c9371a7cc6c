// The registry as its users see it: how many words each group holds, the constants' values, the
// deliberate quirks of the table, the C-style additions, the function list and the help topics.
#include <gtest/gtest.h>
#include <strings.h>

#include <string>
#include <vector>

#include "functions/Registry.h"
#include "tests/engine/TestSupport.h"

namespace loom {
namespace {

// Plain/varying/jump functions of each group in the order of TVXParsFunctionType (ORDER: keep
// with the enumeration): basic, special, trigonometric, vector ("[" included), transcendent,
// system, jump (CondEval and the seven commands), string, Matlab, file, serial input and
// output, matrix; then operators (the internal -@, +@ and ^@ included), boolean ones, constants
// and the other words (brackets and the list separator).
TEST(Registry, WordsPerGroupAndNothingElse) {
  TVXExpressionEvaluator evaluator;
  int counts[13][3] = {}, operators = 0, booleans = 0, constants = 0, other = 0;
  for (int i = 0; i < evaluator.Words().Count(); ++i) {
    TVXParsExprWord* word = evaluator.Words().Word(i);
    auto* function = dynamic_cast<TVXParsFunction*>(word);
    if (function && function->IsOper) {
      ++operators;
      booleans += word->GeTVXPArsVarType() == vtBoolean;
    } else if (function) {
      ++counts[function->FunctionType][dynamic_cast<TVXParsJumpFunction*>(word)      ? 2
                                       : dynamic_cast<TVXParsVaryingFunction*>(word) ? 1
                                                                                     : 0];
    } else {
      ++(dynamic_cast<TVXParsDoubleConstant*>(word) ? constants : other);
    }
  }
  std::string shown;
  for (const auto& group : counts)
    shown += std::to_string(group[0]) + "/" + std::to_string(group[1]) + "/" +
             std::to_string(group[2]) + " ";
  EXPECT_EQ(shown + std::to_string(operators) + " " + std::to_string(booleans) + " " +
                std::to_string(constants) + " " + std::to_string(other),
            "14/0/0 14/0/0 9/0/0 30/0/0 10/0/0 3/11/0 1/0/7 16/0/0 0/3/0 0/37/0 0/0/0 8/1/0 3/0/0 "
            "25 10 26 4");
}

// Every constant but pi reports the boolean kind, whatever number it holds; window number 4 is
// deliberately unassigned.
TEST(Registry, ConstantValues) {
  TVXExpressionEvaluator evaluator;
  const OutcomeRow rows[] = {
      {"[pi, TRUE, FALSE, FILE_BEGIN, FILE_CURRENT, FILE_END, INVALID_FILEHANDLE]",
       "[ 3.14159265358979, 1, 0, 0, 1, 2, 4294967295]"},
      {"[TC_TYPE_NONE, TC_TYPE_B, TC_TYPE_E, TC_TYPE_J, TC_TYPE_K, TC_TYPE_N, TC_TYPE_R, "
       "TC_TYPE_S, TC_TYPE_T]",
       "[ 0, 1, 2, 3, 4, 5, 6, 7, 8]"},
      {"[WINDOW_RECTANGLE, WINDOW_HANNING, WINDOW_HAMMING, WINDOW_BLACKMAN, WINDOW_HANN, "
       "WINDOW_BLACKMAN_HARRIS_67DB, WINDOW_BLACKMAN_HARRIS_92DB]",
       "[ 0, 1, 2, 3, 5, 6, 7]"},
  };
  ExpectOutcomes(evaluator, rows);
  EXPECT_EQ(evaluator.Words().Find("TC_TYPE_K")->GeTVXPArsVarType(), vtBoolean);
  EXPECT_EQ(evaluator.Words().Find("pi")->GeTVXPArsVarType(), vtDouble);
}

// Deliberate quirks kept from the table: the first registration of a name wins (a second
// StringWriteBinaryWord row with the small-integer body is ignored), the channel-vector functions
// carry the channel-count syntax and help pages, the shifts share the help page of "-", some
// help pages are misspelt, and power, pow and "^" (like intpower and "^@") share one body.
TEST(Registry, DeliberateQuirks) {
  TVXExpressionEvaluator evaluator;
  auto word = [&](const char* name) {
    return static_cast<TVXParsFunction*>(evaluator.Words().Find(name));
  };
  EXPECT_NE(word("StringWriteBinaryWord")->Func, word("StringWriteBinarySmallInteger")->Func);
  EXPECT_EQ(word("StringWriteBinaryWord")->Syntax, "StringWriteBinaryWord( word )");
  EXPECT_EQ(word("MatrixGetChannelVector")->Syntax, "MatrixGetChannelCount( matrix, index )");
  EXPECT_EQ(word("MatrixSetChannelVector")->Syntax,
            "MatrixSetChannelCount( matrix, index, vector )");
  EXPECT_EQ(word("power")->Func, word("pow")->Func);
  EXPECT_EQ(word("power")->Func, word("^")->Func);
  EXPECT_EQ(word("^@")->Func, word("intpower")->Func);
  EXPECT_NE(word("^")->Func, word("^@")->Func);
  const std::pair<const char*, const char*> topics[] = {
      {"<<", "Operators/-_(Minus)_Operator.htm"},
      {"FireEventEx", "Functions/FIreEvent_Function.htm"},
      {"CelsiusToFahrenheit", "Functions/Celcius_To_Fahrenheit_Function.htm"},
      {"realfft", "Functions/RealFFT%20Function.htm"},
      {"InRange", "Functions/VectorInRange_Function.htm"},
      {"MatrixSetChannelVector", "Functions/MatrixSetChannelCount_Function.htm"},
      {"timelength", "Variables.htm"},
      {"generated", ""},
      {"(", ""},
      {"nosuch", ""},
  };
  evaluator.AddExpression("generated := 1");
  for (const auto& [name, topic] : topics) EXPECT_EQ(evaluator.GetHelpTopicID(name), topic) << name;
}

// Zero-argument functions show their name, others their syntax or a generated one; only
// functions are listed, in the list's case-insensitive order.
TEST(Registry, FunctionList) {
  TVXExpressionEvaluator evaluator;
  evaluator.DefineFunction("zzTwo", nullptr, 2, "");
  std::vector<std::string> lines;
  std::vector<TVXParsExprWord*> words;
  evaluator.GetFunctionList(lines, &words);
  EXPECT_EQ(lines.size(), 166u + 1 + 1);
  for (std::size_t i = 1; i < words.size(); ++i)
    EXPECT_LT(strcasecmp(words[i - 1]->Name.c_str(), words[i]->Name.c_str()), 0) << i;
  EXPECT_EQ(lines.front() + "|" + lines.back(), "[ arg1, arg2, ... ]|zzTwo( arg1 , arg2 )");
}

// The C-style evaluator adds fact, perc, ||, &&, == and !=; "&&" deliberately shares the body
// of "or"; spellings the basic language has keep their basic meaning.
TEST(Registry, CStyleAdditions) {
  TVXParsCStyleEvaluator evaluator;
  TVXExpressionEvaluator basic;
  EXPECT_EQ(evaluator.Words().Count(), basic.Words().Count() + 6);
  EXPECT_EQ(evaluator.Words().Find("&&")->Func, evaluator.Words().Find("or")->Func);
  EXPECT_EQ(Outcome(evaluator,
                    "[0 && 1, 6 && 3, 0 && 0, 1 || 0, 3 == 3, 3 != 3, fact(3), perc(50), "
                    "7 div 2, 2 = 3, 50%, 3!, fact(4) - 3! == 18]"),
            "[ 1, 7, 0, 1, 1, 0, 6, 0.5, 3, 0, 0.5, 6, 1]");
  EXPECT_EQ(Outcome(basic, "fact(3)"), "fact(3): unknown function \"fact\"");
}

}  // namespace
}  // namespace loom
