// The symbol table, with a hash index over its names.
#include "algebra/symbols.h"

#include <algorithm>
#include <cstring>

#include "algebra/name_hash.h"

namespace tessel {

int SymbolTable::Find(const char *name) const {
  if (!buckets_) return -1;
  int i = buckets_[NameBucket(name)];
  while (i >= 0 && (entries_[i].symbolKind == SymbolHidden || std::strcmp(Name(i), name) != 0)) i = entries_[i].older;
  return i;
}

bool SymbolTable::Add(const char *name, SymbolKind kind, int column) {
  if (!buckets_) {
    buckets_ = OwnedBlock<int>(kNameBuckets);
    if (!buckets_) return false;
    std::fill_n(buckets_.get(), kNameBuckets, -1);
  }
  int &newest = buckets_[NameBucket(name)];
  const int place = names_.Add(name);
  if (place < 0 || !entries_.Append({kind, place, column, newest})) return false;
  newest = Size() - 1;
  return true;
}

void SymbolTable::Hide(int column) {
  for (SymbolEntry &symbol : entries_)
    if (symbol.column == column) symbol.symbolKind = SymbolHidden;
}

}  // namespace tessel
