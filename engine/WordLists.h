// The two lists of words: the token list of a formula and the word list of an evaluator.
#pragma once

#include "engine/ParserClasses.h"
#include "engine/ParserHelpers.h"

namespace loom {

// A token list: words in formula order, owned by the evaluator's word list.
class TVXParsExprCollection : public TVXParsNoOwnerCollection {
 public:
  using TVXParsNoOwnerCollection::TVXParsNoOwnerCollection;
  TVXParsExprWord* Word(int index) const { return static_cast<TVXParsExprWord*>(At(index)); }
  // Bracket balance: the sum of +1 per "(" and -1 per ")" must come to zero.
  void Check() const;
};

// The word list of an evaluator: sorted by name without regard to letter case, owning its words.
class TVXParsExpressList : public TVXParsSortedCollection {
 public:
  using TVXParsSortedCollection::TVXParsSortedCollection;
  ~TVXParsExpressList() override;
  void FreeItem(void* item) override;
  int Compare(const void* key1, const void* key2) const override;
  const void* KeyOf(void* item) const override;
  TVXParsExprWord* Word(int index) const { return static_cast<TVXParsExprWord*>(At(index)); }
  // The word of that name (any letter case), or null.
  TVXParsExprWord* Find(const char* name) const;
};

}  // namespace loom
