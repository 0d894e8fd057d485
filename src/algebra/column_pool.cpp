// The pool of columns: a chain of blocks of 256 slots.
#include "algebra/column_pool.h"

#include <algorithm>

#include "core/heap.h"
#include "core/missing.h"

namespace tessel {

namespace {

constexpr int kBlockSlots = 256;

struct PoolBlock {
  ColumnHandle slots[kBlockSlots];
  int used;
  int lowestFree;  // no slot below this one is free
  PoolBlock *next;
};

PoolBlock firstBlock;

// The first block with room, and its place in the chain; a new block is linked when there is none.
PoolBlock *BlockWithRoom(int *place) {
  PoolBlock *block = &firstBlock;
  for (*place = 0; block->used == kBlockSlots; ++*place) {
    if (block->next == nullptr) block->next = static_cast<PoolBlock *>(HeapAllocZeroed(1, sizeof(PoolBlock)));
    if (block->next == nullptr) return nullptr;
    block = block->next;
  }
  return block;
}

bool IsEmpty(const ColumnHandle *handle) { return handle == nullptr || handle->content == ColumnContent::Free; }

// Frees the empty blocks at the end of the chain, so that a process without columns holds no block.
void TrimChain() {
  PoolBlock *lastUsed = &firstBlock;
  for (PoolBlock *block = &firstBlock; block != nullptr; block = block->next)
    if (block->used > 0) lastUsed = block;
  PoolBlock *empty = lastUsed->next;
  lastUsed->next = nullptr;
  while (empty != nullptr) {
    PoolBlock *next = empty->next;
    HeapFree(empty);
    empty = next;
  }
}

void ClearSlot(ColumnHandle *handle) {
  PoolBlock *block = &firstBlock;
  for (int place = handle->slot / kBlockSlots; place > 0; --place) block = block->next;
  --block->used;
  block->lowestFree = std::min(block->lowestFree, handle->slot % kBlockSlots);
  *handle = {};
  if (block->used == 0) TrimChain();
}

}  // namespace

ColumnHandle *ColumnNew(const double *source, int n) {
  OwnedBlock<double> data(n);
  if (!data) return nullptr;
  int place = 0;
  PoolBlock *block = BlockWithRoom(&place);
  if (block == nullptr) return nullptr;

  if (source != nullptr) {
    std::copy_n(source, n, data.get());
  } else {
    std::fill_n(data.get(), n, MissingValue());
  }
  int slot = block->lowestFree;
  while (block->slots[slot].content != ColumnContent::Free) ++slot;
  block->lowestFree = slot + 1;
  ++block->used;
  block->slots[slot] = {ColumnContent::Doubles, n, data.Release(), 1, place * kBlockSlots + slot};
  return &block->slots[slot];
}

void ColumnRetain(ColumnHandle *handle) {
  if (!IsEmpty(handle)) ++handle->references;
}

void ColumnRelease(ColumnHandle *handle) {
  if (IsEmpty(handle) || --handle->references > 0) return;
  HeapFree(handle->data);
  ClearSlot(handle);
}

double *ColumnData(const ColumnHandle *handle) { return IsEmpty(handle) ? nullptr : handle->data; }

}  // namespace tessel
