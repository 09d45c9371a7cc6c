// The list containers of the formula engine: growable arrays of item pointers with an
// ownership policy and, for the sorted kinds, a key, a comparison and a binary search.
// The word list of an evaluator and the token list of a formula (engine/WordLists.h) are built
// on them.
#pragma once

#include <cstddef>
#include <vector>

namespace loom {

// The root of every object a collection may own: destroying through it reaches the real class.
class TVXParsObject {
 public:
  virtual ~TVXParsObject() = default;
};

// A list of item pointers that owns its items (TVXParsObject descendants): FreeItem destroys one.
class TVXParsCollection {
 public:
  explicit TVXParsCollection(std::size_t limit = 0);
  virtual ~TVXParsCollection();
  TVXParsCollection(const TVXParsCollection&) = delete;
  TVXParsCollection& operator=(const TVXParsCollection&) = delete;

  // Releases one item; the base kind destroys it as an object (nothing for a null pointer).
  virtual void FreeItem(void* item);

  int Count() const { return static_cast<int>(items_.size()); }
  void* At(int index) const { return items_[static_cast<std::size_t>(index)]; }
  void AtPut(int index, void* item) { items_[static_cast<std::size_t>(index)] = item; }
  void AtInsert(int index, void* item);
  // Removes the item at index from the list without releasing it.
  void AtDelete(int index);
  // Appends without regard to order (the unsorted kinds' Add).
  void Insert(void* item) { items_.push_back(item); }
  // Removes the item at index, then releases it.
  void AtFree(int index);
  // AtFree at the item's position, found by identity; an item not in the list is left alone.
  void DoFree(void* item);
  // FreeItem on every item from first to last; the list is empty afterwards.
  void FreeAll();
  // Empties the list without releasing anything.
  void DeleteAll() { items_.clear(); }
  int IndexOfIdentity(const void* item) const;

 protected:
  std::vector<void*> items_;
};

// A list that owns nothing: FreeItem does nothing.
class TVXParsNoOwnerCollection : public TVXParsCollection {
 public:
  using TVXParsCollection::TVXParsCollection;
  ~TVXParsNoOwnerCollection() override;
  void FreeItem(void* item) override;
};

// A list kept in the order of a key, with an optional tolerance for equal keys.
class TVXParsSortedCollection : public TVXParsCollection {
 public:
  using TVXParsCollection::TVXParsCollection;

  bool Duplicates = false;

  virtual int Compare(const void* key1, const void* key2) const = 0;
  // Position of the item: -1 when its key is absent, or (with Duplicates) when the very same
  // item is not met before the end of the run of equal keys.
  virtual int IndexOf(void* item) const;
  // Inserts at the place the key search gives. An existing key without Duplicates inserts
  // nothing and returns the index of the entry already there; the caller still holds item.
  virtual int Add(void* item);
  // Like Add, but an entry with the same key is first taken out of the list (not released).
  virtual int AddReplace(void* item);
  virtual const void* KeyOf(void* item) const { return item; }
  // Binary search; index receives the match (the first of equal keys) or the insertion point.
  virtual bool Search(const void* key, int& index) const;
};

// Sorted zero-terminated byte strings allocated with the C heap; compared byte-wise.
class TVXParsStrCollection : public TVXParsSortedCollection {
 public:
  using TVXParsSortedCollection::TVXParsSortedCollection;
  ~TVXParsStrCollection() override;
  void FreeItem(void* item) override;
  int Compare(const void* key1, const void* key2) const override;
  // Copies text onto the C heap and adds the copy; the copy is released when not inserted.
  int AddString(const char* text);
};

}  // namespace loom
