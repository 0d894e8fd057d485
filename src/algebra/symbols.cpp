// The symbol table, with a hash index over its names.
#include "algebra/symbols.h"

#include <algorithm>
#include <cstring>

#include "algebra/grow.h"
#include "algebra/name_hash.h"
#include "core/heap.h"
#include "core/row_matrix.h"

namespace tessel {

namespace {

constexpr int kGrowWhenFree = 10;
constexpr int kGrowBy = 20;

}  // namespace

int SymbolsOpen(AlgebraContext *context, int capacity) {
  context->symbols = GrowableNew<SymbolEntry>(capacity);
  context->symbolBuckets = static_cast<int *>(HeapAlloc(kNameBuckets, sizeof(int)));
  context->symbolTop = context->symbols;
  context->symbolCapacity = capacity;
  if (context->symbols == nullptr || context->symbolBuckets == nullptr) return 0;
  std::fill_n(context->symbolBuckets, kNameBuckets, -1);
  return 1;
}

void SymbolsClose(AlgebraContext *context) {
  for (SymbolEntry *symbol = context->symbols; symbol != context->symbolTop; ++symbol) {
    HeapFree(symbol->name);
    ColumnRelease(symbol->handle);
  }
  HeapFree(context->symbols);
  HeapFree(context->symbolBuckets);
  context->symbols = context->symbolTop = nullptr;
  context->symbolBuckets = nullptr;
  context->symbolCapacity = 0;
}

int SymbolsGrow(AlgebraContext *context) {
  const int used = SymbolCount(context);
  if (used < context->symbolCapacity - kGrowWhenFree) return 1;
  if (!GrowableExtend(context->symbols, used, context->symbolCapacity, kGrowBy)) return 0;
  context->symbolTop = context->symbols + used;
  return 1;
}

int SymbolFind(const AlgebraContext *context, const char *name) {
  for (int i = context->symbolBuckets[NameBucket(name)]; i >= 0; i = context->symbols[i].older)
    if (context->symbols[i].symbolKind != SymbolHidden && std::strcmp(context->symbols[i].name, name) == 0) return i;
  return -1;
}

SymbolAdded SymbolAdd(AlgebraContext *context, const char *name, SymbolKind kind, ColumnHandle *handle) {
  const int index = SymbolCount(context);
  if (index == context->symbolCapacity) return SymbolAdded::TableFull;
  char *copy = TextClone(name);
  if (copy == nullptr) return SymbolAdded::OutOfMemory;
  ColumnRetain(handle);
  int &newest = context->symbolBuckets[NameBucket(name)];
  *context->symbolTop++ = {copy, kind, handle, nullptr, newest};
  newest = index;
  return SymbolAdded::Yes;
}

void SymbolsHide(AlgebraContext *context, const ColumnHandle *handle) {
  for (SymbolEntry *symbol = context->symbols; symbol != context->symbolTop; ++symbol)
    if (symbol->handle == handle && symbol->symbolKind == SymbolVariable) symbol->symbolKind = SymbolHidden;
}

}  // namespace tessel
