#include "engine/WordLists.h"

#include <strings.h>

#include "engine/Messages.h"

namespace loom {

void TVXParsExprCollection::Check() const {
  int depth = 0;
  for (int i = 0; i < Count(); ++i) {
    TVXPArsVarType kind = Word(i)->GeTVXPArsVarType();
    if (kind == vtLeftBracket) ++depth;
    if (kind == vtRightBracket) --depth;
  }
  if (depth != 0) throw EVXParserException(rsUnbalancedBrackets);
}

TVXParsExpressList::~TVXParsExpressList() {
  FreeAll();
}

void TVXParsExpressList::FreeItem(void* item) {
  delete static_cast<TVXParsExprWord*>(item);
}

int TVXParsExpressList::Compare(const void* key1, const void* key2) const {
  return strcasecmp(static_cast<const char*>(key1), static_cast<const char*>(key2));
}

const void* TVXParsExpressList::KeyOf(void* item) const {
  return static_cast<TVXParsExprWord*>(item)->Name.c_str();
}

TVXParsExprWord* TVXParsExpressList::Find(const char* name) const {
  int index;
  return Search(name, index) ? Word(index) : nullptr;
}

}  // namespace loom
