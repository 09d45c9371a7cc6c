// The word list of an evaluator, the sorted list it is built on, and the token list's bracket
// check.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/ParserClasses.h"
#include "engine/ParserHelpers.h"

namespace loom {
namespace {

struct CountedWord : TVXParsExprWord {
  CountedWord(std::string name, int* destroyed)
      : TVXParsExprWord(std::move(name), nullptr), destroyed_(destroyed) {}
  ~CountedWord() override { ++*destroyed_; }
  int* destroyed_;
};

// The word list is sorted without regard to letter case, keeps the first word of a name and owns
// its words.
TEST(Collections, WordsWithoutRegardToCase) {
  int destroyed = 0;
  CountedWord duplicate("abs", &destroyed);
  {
    TVXParsExpressList words(30);
    for (const char* name : {"b", "C", "ABS", "Bc"}) words.Add(new CountedWord(name, &destroyed));
    EXPECT_EQ(words.Add(&duplicate), 0);  // an existing name is left with the caller
    std::string names;
    for (int i = 0; i < words.Count(); ++i) names += words.Word(i)->Name + " ";
    EXPECT_EQ(names, "ABS b Bc C ");
    int index = -1;
    EXPECT_FALSE(words.Search("bb", index));
    EXPECT_EQ(index, 2);  // the insertion point
    EXPECT_EQ(words.Find("bC"), words.Word(2));
    EXPECT_EQ(words.Find("cos"), nullptr);
    words.AtFree(words.IndexOf(words.Find("c")));
    EXPECT_EQ(destroyed, 1);
  }
  EXPECT_EQ(destroyed, 4);
  // The token list checks only the final bracket sum; the order is left to later checks.
  TVXParsLeftBracket open("(");
  TVXParsRightBracket close(")");
  TVXParsExprCollection tokens;
  tokens.Insert(&close);
  tokens.Insert(&open);
  EXPECT_NO_THROW(tokens.Check());
  tokens.Insert(&open);
  EXPECT_THROW(tokens.Check(), EVXParserException);
}

}  // namespace
}  // namespace loom
