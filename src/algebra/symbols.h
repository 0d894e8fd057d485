// The symbol table: the names that a program can use, newest first.
#pragma once

#include <cstdint>

#include "algebra/grow.h"

namespace tessel {

enum SymbolKind : std::uint32_t {
  SymbolHidden = 0,  // a variable that was deleted: the code before still uses its column, no name finds it
  SymbolVariable = 1,
  SymbolFunction = 8
};

struct SymbolEntry {
  SymbolKind symbolKind;
  int name;    // its place in the table's texts
  int column;  // the id of the variable's column in the database, -1 for a function
  int older;   // the next older symbol of the same hash bucket, -1 for none
};

class SymbolTable {
 public:
  int Size() const { return entries_.Size(); }
  const SymbolEntry &operator[](int i) const { return entries_[i]; }
  const char *Name(int i) const { return names_[entries_[i].name]; }

  // The newest symbol of that name that is not hidden, or -1.
  int Find(const char *name) const;

  // A new symbol on top, of index Size() - 1. False when memory fails.
  [[nodiscard]] bool Add(const char *name, SymbolKind kind, int column);

  // Hides every variable of that column.
  void Hide(int column);

 private:
  OwnedList<SymbolEntry> entries_;
  TextList names_;
  OwnedBlock<int> buckets_;  // the newest symbol of each hash value, -1 for none; null without symbols
};

}  // namespace tessel
