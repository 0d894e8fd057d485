// The symbol table: the names that Algebra code can use, newest first.
#pragma once

#include "algebra/context.h"

namespace tessel {

// Room for `capacity` symbols. 0 when memory fails.
int SymbolsOpen(AlgebraContext *context, int capacity);

// Releases the names, the references to columns and the table.
void SymbolsClose(AlgebraContext *context);

// Makes room for 20 more when 10 or fewer are free. 0 when memory fails.
int SymbolsGrow(AlgebraContext *context);

inline int SymbolCount(const AlgebraContext *context) {
  return static_cast<int>(context->symbolTop - context->symbols);
}

// The newest symbol of that name that is not hidden, or -1.
int SymbolFind(const AlgebraContext *context, const char *name);

enum class SymbolAdded { Yes, TableFull, OutOfMemory };

// A new symbol on top, which holds one reference to the handle. Its index is SymbolCount - 1.
SymbolAdded SymbolAdd(AlgebraContext *context, const char *name, SymbolKind kind, ColumnHandle *handle);

// Hides every symbol of that column.
void SymbolsHide(AlgebraContext *context, const ColumnHandle *handle);

}  // namespace tessel
