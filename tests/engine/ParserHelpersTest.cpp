// The list containers: ownership policies, the sorted kinds' search, insert and replace rules,
// and the case-insensitive word list.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/Messages.h"
#include "engine/ParserClasses.h"
#include "engine/ParserHelpers.h"
#include "engine/WordLists.h"

namespace loom {
namespace {

// An item keyed by an integer that counts its destructions.
struct CountedItem : TVXParsObject {
  explicit CountedItem(int key, int* destroyed = nullptr) : key(key), destroyed_(destroyed) {}
  ~CountedItem() override {
    if (destroyed_) ++*destroyed_;
  }
  int key;
  int* destroyed_;
};

// A sorted list of CountedItem by key; the key of an item is the item itself.
struct KeyedList : TVXParsSortedCollection {
  int Compare(const void* key1, const void* key2) const override {
    const int a = static_cast<const CountedItem*>(key1)->key;
    const int b = static_cast<const CountedItem*>(key2)->key;
    return (a > b) - (a < b);
  }
  std::vector<int> Keys() const {
    std::vector<int> keys;
    for (int i = 0; i < Count(); ++i) keys.push_back(static_cast<CountedItem*>(At(i))->key);
    return keys;
  }
};

// A word that counts its destructions.
struct CountedWord : TVXParsExprWord {
  CountedWord(std::string name, int* destroyed)
      : TVXParsExprWord(std::move(name), nullptr), destroyed_(destroyed) {}
  ~CountedWord() override { ++*destroyed_; }
  int* destroyed_;
};

TEST(CollectionOwnership, OwningListDestroysOnFreeAllAtFreeDoFreeAndDestruction) {
  int destroyed = 0;
  {
    TVXParsCollection list(4);
    auto* a = new CountedItem(1, &destroyed);
    auto* b = new CountedItem(1, &destroyed);
    auto* c = new CountedItem(2, &destroyed);
    for (CountedItem* item : {a, b, c}) list.Insert(item);
    list.Insert(nullptr);  // an empty slot is released as nothing
    list.AtFree(0);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(list.At(0), b);
    list.DoFree(c);  // found by identity
    CountedItem stranger(1);
    list.DoFree(&stranger);  // not in the list: left alone
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(list.Count(), 2);
    list.FreeAll();
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(list.Count(), 0);
    list.Insert(new CountedItem(9, &destroyed));
  }
  EXPECT_EQ(destroyed, 4);
}

TEST(CollectionOwnership, NoOwnerAndTokenListsDestroyNothing) {
  int destroyed = 0;
  CountedItem i0(0, &destroyed), i1(1, &destroyed), i2(2, &destroyed);
  CountedWord word("x", &destroyed);
  {
    TVXParsNoOwnerCollection list;
    for (CountedItem* item : {&i0, &i1, &i2}) list.Insert(item);
    list.AtFree(0);
    EXPECT_EQ(list.Count(), 2);
    list.FreeAll();
    EXPECT_EQ(list.Count(), 0);
    list.Insert(&i0);
    TVXParsExprCollection tokens;
    tokens.Insert(&word);
    tokens.Insert(&word);
    EXPECT_EQ(tokens.Word(1), &word);
  }
  EXPECT_EQ(destroyed, 0);
}

TEST(SortedSearch, AddKeepsOrderSearchGivesIndexOrInsertionPointIndexOfMatchesKey) {
  KeyedList list;
  CountedItem five(5);
  int empty = -7;
  EXPECT_FALSE(list.Search(&five, empty));
  EXPECT_EQ(empty, 0);
  for (int key : {30, 10, 40, 20}) list.Add(new CountedItem(key));
  EXPECT_EQ(list.Keys(), (std::vector<int>{10, 20, 30, 40}));
  struct Row {
    int key;
    bool found;
    int index;  // also what IndexOf gives when found, else -1
  };
  const Row rows[] = {{5, false, 0}, {10, true, 0}, {15, false, 1}, {40, true, 3}, {45, false, 4}};
  for (const Row& row : rows) {
    CountedItem probe(row.key);
    int index = -1;
    EXPECT_EQ(list.Search(&probe, index), row.found) << row.key;
    EXPECT_EQ(index, row.index) << row.key;
    EXPECT_EQ(list.IndexOf(&probe), row.found ? row.index : -1) << row.key;
  }
}

TEST(SortedAdd, ExistingKeyReturnsItsIndexAndAddReplaceSwapsWithoutDestroying) {
  int destroyed = 0;
  KeyedList list;
  CountedItem old(20, &destroyed);
  for (CountedItem* item : {new CountedItem(10, &destroyed), &old, new CountedItem(30, &destroyed)})
    list.Add(item);
  CountedItem second(20, &destroyed);
  EXPECT_EQ(list.Add(&second), 1);  // left with the caller
  EXPECT_EQ(list.At(1), &old);
  auto* replacement = new CountedItem(20, &destroyed);
  EXPECT_EQ(list.AddReplace(replacement), 1);
  EXPECT_EQ(list.At(1), replacement);
  EXPECT_EQ(list.IndexOfIdentity(&old), -1);
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(list.AddReplace(new CountedItem(25, &destroyed)), 2);
  EXPECT_EQ(list.Keys(), (std::vector<int>{10, 20, 25, 30}));
}

TEST(SortedAdd, WithDuplicatesNewerGoFirstSearchFindsFirstIndexOfMatchesIdentity) {
  KeyedList list;
  list.Duplicates = true;
  auto* a = new CountedItem(2);
  auto* b = new CountedItem(2);
  auto* c = new CountedItem(2);
  for (CountedItem* item : {new CountedItem(1), a, b}) list.Add(item);
  EXPECT_EQ(list.Add(c), 1);
  list.Add(new CountedItem(3));
  EXPECT_EQ(list.Keys(), (std::vector<int>{1, 2, 2, 2, 3}));
  CountedItem probe(2);
  int index = -1;
  EXPECT_TRUE(list.Search(&probe, index));
  EXPECT_EQ(index, 1);
  CountedItem* order[] = {c, b, a};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(list.IndexOf(order[i]), i + 1) << i;
  EXPECT_EQ(list.IndexOf(&probe), -1);  // an equal key that is not in the list
}

TEST(StringCollection, ComparesByteWiseAndCaseSensitive) {
  TVXParsStrCollection list;
  for (const char* text : {"beta", "Alpha", "alpha", "Beta", "alpha"}) list.AddString(text);
  ASSERT_EQ(list.Count(), 4);
  const char* expected[] = {"Alpha", "Beta", "alpha", "beta"};
  for (int i = 0; i < 4; ++i) EXPECT_STREQ(static_cast<const char*>(list.At(i)), expected[i]);
}

TEST(WordList, UniqueFoundAndSortedWithoutRegardToCaseAndOwnsItsWords) {
  int destroyed = 0;
  CountedWord duplicate("abs", &destroyed);
  {
    TVXParsExpressList words(30);
    for (const char* name : {"b", "C", "ABS", "Bc"}) words.Add(new CountedWord(name, &destroyed));
    EXPECT_EQ(words.Add(&duplicate), 0);
    std::vector<std::string> names;
    for (int i = 0; i < words.Count(); ++i) names.push_back(words.Word(i)->Name);
    EXPECT_EQ(names, (std::vector<std::string>{"ABS", "b", "Bc", "C"}));
    EXPECT_EQ(words.Find("aBs"), words.Word(0));
    EXPECT_EQ(words.Find("bC"), words.Word(2));
    EXPECT_EQ(words.Find("cos"), nullptr);
    EXPECT_EQ(words.Find(""), nullptr);
    words.AtFree(words.IndexOf(words.Find("c")));
    EXPECT_EQ(destroyed, 1);
  }
  EXPECT_EQ(destroyed, 4);
}

TEST(TokenListCheck, OnlyTheFinalBracketSumCounts) {
  TVXParsLeftBracket open("(");
  TVXParsRightBracket close(")");
  TVXParsExprWord value("1", nullptr);
  struct Row {
    std::vector<TVXParsExprWord*> tokens;
    const char* message;  // empty when balanced
  };
  const Row rows[] = {
      {{}, ""},
      {{&close, &value, &open}, ""},  // order is left to the later checks
      {{&open, &open, &value, &close}, "Unbalanced brackets"},
      {{&value, &close}, "Unbalanced brackets"},
  };
  for (const Row& row : rows) {
    TVXParsExprCollection tokens;
    for (TVXParsExprWord* word : row.tokens) tokens.Insert(word);
    std::string message;
    try {
      tokens.Check();
    } catch (const EVXParserException& e) {
      message = e.what();
    }
    EXPECT_EQ(message, row.message);
  }
}

}  // namespace
}  // namespace loom
