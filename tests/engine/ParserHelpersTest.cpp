// The list containers: ownership policies, the sorted kinds' search, insert and replace rules,
// and the case-insensitive word list.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "engine/Messages.h"
#include "engine/ParserClasses.h"
#include "engine/ParserHelpers.h"

namespace loom {
namespace {

// An item that counts its destructions, keyed by an integer.
class CountedItem : public TVXParsObject {
 public:
  explicit CountedItem(int key, int* destroyed = nullptr) : key(key), destroyed_(destroyed) {}
  ~CountedItem() override {
    if (destroyed_) ++*destroyed_;
  }
  int key;

 private:
  int* destroyed_;
};

// A sorted list of CountedItem by key; the key of an item is the item itself.
class KeyedList : public TVXParsSortedCollection {
 public:
  using TVXParsSortedCollection::TVXParsSortedCollection;
  int Compare(const void* key1, const void* key2) const override {
    int a = static_cast<const CountedItem*>(key1)->key;
    int b = static_cast<const CountedItem*>(key2)->key;
    return a < b ? -1 : (a > b ? 1 : 0);
  }
  CountedItem* Item(int index) const { return static_cast<CountedItem*>(At(index)); }
  std::vector<int> Keys() const {
    std::vector<int> keys;
    for (int i = 0; i < Count(); ++i) keys.push_back(Item(i)->key);
    return keys;
  }
};

// A word that counts its destructions.
class CountedWord : public TVXParsExprWord {
 public:
  CountedWord(std::string name, int* destroyed)
      : TVXParsExprWord(std::move(name), nullptr), destroyed_(destroyed) {}
  ~CountedWord() override { ++*destroyed_; }

 private:
  int* destroyed_;
};

// --- ownership ---

TEST(CollectionOwnership, OwningListDestroysEveryItemOnFreeAllAndDestruction) {
  int destroyed = 0;
  {
    TVXParsCollection list(4);
    for (int i = 0; i < 3; ++i) list.Insert(new CountedItem(i, &destroyed));
    list.Insert(nullptr);  // an empty slot is released as nothing
    list.FreeAll();
    EXPECT_EQ(destroyed, 3);
    EXPECT_EQ(list.Count(), 0);
    list.Insert(new CountedItem(9, &destroyed));
  }
  EXPECT_EQ(destroyed, 4);
}

TEST(CollectionOwnership, AtFreeRemovesThenDestroysAndDoFreeFindsByIdentity) {
  int destroyed = 0;
  TVXParsCollection list;
  auto* a = new CountedItem(1, &destroyed);
  auto* b = new CountedItem(1, &destroyed);
  auto* c = new CountedItem(2, &destroyed);
  list.Insert(a);
  list.Insert(b);
  list.Insert(c);

  list.AtFree(0);
  EXPECT_EQ(destroyed, 1);
  ASSERT_EQ(list.Count(), 2);
  EXPECT_EQ(list.At(0), b);

  list.DoFree(c);
  EXPECT_EQ(destroyed, 2);
  ASSERT_EQ(list.Count(), 1);
  EXPECT_EQ(list.At(0), b);

  CountedItem stranger(1, &destroyed);
  list.DoFree(&stranger);  // not in the list: left alone
  EXPECT_EQ(destroyed, 2);
  EXPECT_EQ(list.Count(), 1);
}

TEST(CollectionOwnership, NoOwnerListDestroysNothing) {
  int destroyed = 0;
  std::vector<std::unique_ptr<CountedItem>> items;
  for (int i = 0; i < 3; ++i) items.push_back(std::make_unique<CountedItem>(i, &destroyed));
  {
    TVXParsNoOwnerCollection list;
    for (auto& item : items) list.Insert(item.get());
    list.FreeAll();
    EXPECT_EQ(list.Count(), 0);
    for (auto& item : items) list.Insert(item.get());
    list.AtFree(0);
    EXPECT_EQ(list.Count(), 2);
  }
  EXPECT_EQ(destroyed, 0);
}

TEST(CollectionOwnership, TokenListOwnsNothing) {
  int destroyed = 0;
  auto word = std::make_unique<CountedWord>("x", &destroyed);
  {
    TVXParsExprCollection tokens;
    tokens.Insert(word.get());
    tokens.Insert(word.get());
    EXPECT_EQ(tokens.Word(1), word.get());
  }
  EXPECT_EQ(destroyed, 0);
}

// --- binary search ---

TEST(SortedSearch, EmptyListIsNotFoundAtZero) {
  KeyedList list;
  CountedItem probe(5);
  int index = -7;
  EXPECT_FALSE(list.Search(&probe, index));
  EXPECT_EQ(index, 0);
}

TEST(SortedSearch, FoundIndexOrInsertionPoint) {
  KeyedList list;
  for (int key : {10, 20, 30, 40}) list.Add(new CountedItem(key));
  struct Row {
    int key;
    bool found;
    int index;
  };
  const Row rows[] = {{5, false, 0}, {10, true, 0},  {15, false, 1}, {20, true, 1},
                      {30, true, 2}, {35, false, 3}, {40, true, 3},  {45, false, 4}};
  for (const Row& row : rows) {
    CountedItem probe(row.key);
    int index = -1;
    EXPECT_EQ(list.Search(&probe, index), row.found) << row.key;
    EXPECT_EQ(index, row.index) << row.key;
  }
}

TEST(SortedSearch, WithDuplicatesGivesTheFirstOfEqualKeys) {
  KeyedList list;
  list.Duplicates = true;
  for (int key : {1, 2, 2, 2, 3}) list.Add(new CountedItem(key));
  EXPECT_EQ(list.Keys(), (std::vector<int>{1, 2, 2, 2, 3}));
  CountedItem probe(2);
  int index = -1;
  EXPECT_TRUE(list.Search(&probe, index));
  EXPECT_EQ(index, 1);
}

// --- Add, AddReplace, IndexOf ---

TEST(SortedAdd, KeepsOrderWhateverTheInsertionOrder) {
  KeyedList list;
  EXPECT_FALSE(list.Duplicates);
  for (int key : {30, 10, 40, 20, 0}) list.Add(new CountedItem(key));
  EXPECT_EQ(list.Keys(), (std::vector<int>{0, 10, 20, 30, 40}));
}

TEST(SortedAdd, DuplicateKeyReturnsExistingIndexAndLeavesItemWithCaller) {
  int destroyed = 0;
  KeyedList list;
  auto* first = new CountedItem(20, &destroyed);
  list.Add(new CountedItem(10, &destroyed));
  list.Add(first);
  list.Add(new CountedItem(30, &destroyed));

  auto second = std::make_unique<CountedItem>(20, &destroyed);
  EXPECT_EQ(list.Add(second.get()), 1);
  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(list.At(1), first);
  EXPECT_EQ(list.IndexOfIdentity(second.get()), -1);
  EXPECT_EQ(destroyed, 0);
}

TEST(SortedAdd, WithDuplicatesInsertsBeforeTheEqualEntries) {
  KeyedList list;
  list.Duplicates = true;
  auto* older = new CountedItem(5);
  auto* newer = new CountedItem(5);
  list.Add(older);
  EXPECT_EQ(list.Add(newer), 0);
  EXPECT_EQ(list.At(0), newer);
  EXPECT_EQ(list.At(1), older);
}

TEST(SortedAddReplace, TakesOutTheOldEntryWithoutDestroyingIt) {
  int destroyed = 0;
  KeyedList list;
  auto old = std::make_unique<CountedItem>(20, &destroyed);
  list.Add(new CountedItem(10, &destroyed));
  list.Add(old.get());
  list.Add(new CountedItem(30, &destroyed));

  auto* replacement = new CountedItem(20, &destroyed);
  EXPECT_EQ(list.AddReplace(replacement), 1);
  EXPECT_EQ(list.Count(), 3);
  EXPECT_EQ(list.At(1), replacement);
  EXPECT_EQ(list.IndexOfIdentity(old.get()), -1);
  EXPECT_EQ(destroyed, 0);

  auto* fresh = new CountedItem(25, &destroyed);
  EXPECT_EQ(list.AddReplace(fresh), 2);
  EXPECT_EQ(list.Keys(), (std::vector<int>{10, 20, 25, 30}));
}

TEST(SortedIndexOf, WithoutDuplicatesMatchesByKey) {
  KeyedList list;
  for (int key : {1, 2, 3}) list.Add(new CountedItem(key));
  CountedItem sameKey(2);
  CountedItem missing(7);
  EXPECT_EQ(list.IndexOf(list.At(2)), 2);
  EXPECT_EQ(list.IndexOf(&sameKey), 1);
  EXPECT_EQ(list.IndexOf(&missing), -1);
}

TEST(SortedIndexOf, WithDuplicatesMatchesTheVerySameItem) {
  KeyedList list;
  list.Duplicates = true;
  auto* a = new CountedItem(2);
  auto* b = new CountedItem(2);
  auto* c = new CountedItem(2);
  list.Add(new CountedItem(1));
  list.Add(a);
  list.Add(b);
  list.Add(c);
  list.Add(new CountedItem(3));
  // Each later duplicate went in front of the earlier ones: 1, c, b, a, 3.
  EXPECT_EQ(list.IndexOf(c), 1);
  EXPECT_EQ(list.IndexOf(b), 2);
  EXPECT_EQ(list.IndexOf(a), 3);
  CountedItem stranger(2);
  EXPECT_EQ(list.IndexOf(&stranger), -1);
  CountedItem missing(9);
  EXPECT_EQ(list.IndexOf(&missing), -1);
}

// --- string list ---

TEST(StringCollection, ComparesByteWiseAndCaseSensitive) {
  TVXParsStrCollection list;
  for (const char* text : {"beta", "Alpha", "alpha", "Beta", "alpha"}) list.AddString(text);
  ASSERT_EQ(list.Count(), 4);
  const char* expected[] = {"Alpha", "Beta", "alpha", "beta"};
  for (int i = 0; i < 4; ++i) EXPECT_STREQ(static_cast<const char*>(list.At(i)), expected[i]);
  EXPECT_EQ(list.AddString("Beta"), 1);
  EXPECT_EQ(list.Count(), 4);
}

// --- word list ---

TEST(WordList, NamesAreUniqueWithoutRegardToCase) {
  int destroyed = 0;
  TVXParsExpressList words(30);
  EXPECT_FALSE(words.Duplicates);
  words.Add(new CountedWord("ABS", &destroyed));
  words.Add(new CountedWord("sin", &destroyed));
  auto duplicate = std::make_unique<CountedWord>("abs", &destroyed);
  const int before = words.Count();
  EXPECT_EQ(words.Add(duplicate.get()), 0);
  EXPECT_EQ(words.Count(), before);
  EXPECT_EQ(words.Word(0)->Name, "ABS");
  EXPECT_EQ(destroyed, 0);

  for (const char* name : {"abs", "Abs", "ABS", "aBs"}) EXPECT_EQ(words.Find(name), words.Word(0));
  EXPECT_EQ(words.Find("SIN"), words.Word(1));
  EXPECT_EQ(words.Find("cos"), nullptr);
  EXPECT_EQ(words.Find(""), nullptr);
}

TEST(WordList, SortsWithoutRegardToCase) {
  TVXParsExpressList words;
  for (const char* name : {"b", "C", "a", "Bc", "AB"})
    words.Add(new TVXParsExprWord(name, nullptr));
  std::vector<std::string> names;
  for (int i = 0; i < words.Count(); ++i) names.push_back(words.Word(i)->Name);
  EXPECT_EQ(names, (std::vector<std::string>{"a", "AB", "b", "Bc", "C"}));
}

TEST(WordList, OwnsItsWords) {
  int destroyed = 0;
  {
    TVXParsExpressList words;
    words.Add(new CountedWord("one", &destroyed));
    words.Add(new CountedWord("two", &destroyed));
    words.AtFree(words.IndexOf(words.Find("ONE")));
    EXPECT_EQ(destroyed, 1);
  }
  EXPECT_EQ(destroyed, 2);
}

// --- bracket balance of a token list ---

TEST(TokenListCheck, OnlyTheFinalBracketSumCounts) {
  TVXParsLeftBracket open("(");
  TVXParsRightBracket close(")");
  TVXParsExprWord value("1", nullptr);
  struct Row {
    std::vector<TVXParsExprWord*> tokens;
    bool balanced;
  };
  const Row rows[] = {
      {{}, true},
      {{&open, &value, &close}, true},
      {{&close, &value, &open}, true},  // order is left to the later checks
      {{&open, &open, &value, &close}, false},
      {{&value, &close}, false},
  };
  for (const Row& row : rows) {
    TVXParsExprCollection tokens;
    for (TVXParsExprWord* word : row.tokens) tokens.Insert(word);
    if (row.balanced) {
      EXPECT_NO_THROW(tokens.Check());
    } else {
      try {
        tokens.Check();
        ADD_FAILURE() << "unbalanced list passed";
      } catch (const EVXParserException& e) {
        EXPECT_STREQ(e.what(), "Unbalanced brackets");
      }
    }
  }
}

}  // namespace
}  // namespace loom
