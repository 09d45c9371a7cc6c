#include "engine/ParserHelpers.h"

#include <cstdlib>
#include <cstring>

namespace loom {

TVXParsCollection::TVXParsCollection(std::size_t limit) {
  items_.reserve(limit);
}

// Derived kinds that release items differently empty themselves in their own destructors,
// because a base destructor no longer reaches their FreeItem.
TVXParsCollection::~TVXParsCollection() {
  FreeAll();
}

void TVXParsCollection::FreeItem(void* item) {
  delete static_cast<TVXParsObject*>(item);
}

void TVXParsCollection::AtInsert(int index, void* item) {
  items_.insert(items_.begin() + index, item);
}

void TVXParsCollection::AtDelete(int index) {
  items_.erase(items_.begin() + index);
}

void TVXParsCollection::AtFree(int index) {
  void* item = At(index);
  AtDelete(index);
  FreeItem(item);
}

void TVXParsCollection::DoFree(void* item) {
  int index = IndexOfIdentity(item);
  if (index >= 0) AtFree(index);
}

void TVXParsCollection::FreeAll() {
  for (void* item : items_) FreeItem(item);
  items_.clear();
}

int TVXParsCollection::IndexOfIdentity(const void* item) const {
  for (std::size_t i = 0; i < items_.size(); ++i)
    if (items_[i] == item) return static_cast<int>(i);
  return -1;
}

TVXParsNoOwnerCollection::~TVXParsNoOwnerCollection() {
  DeleteAll();
}

void TVXParsNoOwnerCollection::FreeItem(void*) {}

bool TVXParsSortedCollection::Search(const void* key, int& index) const {
  int lo = 0;
  int hi = Count() - 1;
  bool found = false;
  while (lo <= hi) {
    int mid = (lo + hi) / 2;
    int c = Compare(KeyOf(At(mid)), key);
    if (c < 0) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
      if (c == 0) {
        found = true;
        if (!Duplicates) lo = mid;
      }
    }
  }
  index = lo;
  return found;
}

int TVXParsSortedCollection::IndexOf(void* item) const {
  int index;
  if (!Search(KeyOf(item), index)) return -1;
  if (Duplicates) {
    while (index < Count() && At(index) != item) ++index;
    if (index >= Count()) return -1;
  }
  return index;
}

int TVXParsSortedCollection::Add(void* item) {
  int index;
  if (Search(KeyOf(item), index) && !Duplicates) return index;
  AtInsert(index, item);
  return index;
}

int TVXParsSortedCollection::AddReplace(void* item) {
  int index;
  if (Search(KeyOf(item), index)) AtDelete(index);
  return Add(item);
}

TVXParsStrCollection::~TVXParsStrCollection() {
  FreeAll();
}

void TVXParsStrCollection::FreeItem(void* item) {
  std::free(item);
}

int TVXParsStrCollection::Compare(const void* key1, const void* key2) const {
  return std::strcmp(static_cast<const char*>(key1), static_cast<const char*>(key2));
}

int TVXParsStrCollection::AddString(const char* text) {
  char* copy = strdup(text);
  int before = Count();
  int index = Add(copy);
  if (Count() == before) std::free(copy);
  return index;
}

}  // namespace loom
