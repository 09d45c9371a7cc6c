// The list containers: ownership policies, the sorted kinds' search, insert and replace rules,
// and the case-insensitive word list.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/ParserClasses.h"
#include "engine/ParserHelpers.h"

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

struct CountedWord : TVXParsExprWord {
  CountedWord(std::string name, int* destroyed)
      : TVXParsExprWord(std::move(name), nullptr), destroyed_(destroyed) {}
  ~CountedWord() override { ++*destroyed_; }
  int* destroyed_;
};

// An owning list destroys what it releases (AtFree, DoFree by identity, FreeAll, its own end);
// a list without owner destroys nothing.
TEST(Collections, OwnershipSortedSearchAndReplace) {
  int destroyed = 0;
  CountedItem kept(0, &destroyed), old(20, &destroyed), second(20, &destroyed);
  {
    TVXParsCollection owning(4);
    TVXParsNoOwnerCollection borrowed;
    for (int key : {1, 2, 3}) owning.Insert(new CountedItem(key, &destroyed));
    owning.AtFree(0);
    owning.DoFree(&kept);  // not in the list: left alone
    owning.DoFree(owning.At(1));
    borrowed.Insert(&kept);
    borrowed.FreeAll();
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(owning.Count() + borrowed.Count(), 1);
  }
  EXPECT_EQ(destroyed, 3);
  // Search gives the match or the insertion point; an existing key is left with the caller by
  // Add and taken out (not destroyed) by AddReplace.
  KeyedList list;
  for (CountedItem* item : {new CountedItem(30), &old, new CountedItem(10)}) list.Add(item);
  std::string found;
  for (int key : {5, 10, 15, 30, 45}) {
    CountedItem probe(key);
    int index = -1;
    const bool hit = list.Search(&probe, index);
    found +=
        std::to_string(hit) + std::to_string(index) + std::to_string(list.IndexOf(&probe)) + " ";
  }
  EXPECT_EQ(found, "00-1 100 01-1 122 03-1 ");
  EXPECT_EQ(list.Add(&second), 1);
  EXPECT_EQ(list.At(1), &old);
  auto* replacement = new CountedItem(20, &destroyed);
  EXPECT_EQ(list.AddReplace(replacement), 1);
  EXPECT_EQ(list.At(1), replacement);
  EXPECT_EQ(destroyed, 3);
  // With duplicates newer items go first; IndexOf finds the very item.
  KeyedList many;
  many.Duplicates = true;
  auto* a = new CountedItem(2);
  auto* b = new CountedItem(2);
  for (CountedItem* item : {new CountedItem(3), a, new CountedItem(1), b}) many.Add(item);
  EXPECT_EQ(many.Keys(), (std::vector<int>{1, 2, 2, 3}));
  CountedItem probe(2);
  EXPECT_EQ(std::to_string(many.IndexOf(b)) + std::to_string(many.IndexOf(a)) +
                std::to_string(many.IndexOf(&probe)),
            "12-1");
}

// The word list is sorted without regard to letter case, keeps the first word of a name and owns
// its words.
TEST(Collections, WordsWithoutRegardToCase) {
  int destroyed = 0;
  CountedWord duplicate("abs", &destroyed);
  {
    TVXParsExpressList words(30);
    for (const char* name : {"b", "C", "ABS", "Bc"}) words.Add(new CountedWord(name, &destroyed));
    EXPECT_EQ(words.Add(&duplicate), 0);
    EXPECT_EQ(words.Find("bC"), words.Word(2));
    EXPECT_EQ(words.Find("cos"), nullptr);
  }
  EXPECT_EQ(destroyed, 4);
}

}  // namespace
}  // namespace loom
