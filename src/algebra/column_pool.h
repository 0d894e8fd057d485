// Columns of doubles with reference counts, in a pool of slots that outlives every workspace.
//
// The pool is a chain of blocks of 256 slots. The first block is static; later ones are allocated when every block is
// full, and freed when they are empty and no later block is in use.
#pragma once

#include <cstdint>

namespace tessel {

enum class ColumnContent : std::uint32_t { Free = 0, Doubles = 1 };

// A slot of the pool. A free slot and a null handle both count as the empty handle.
struct ColumnHandle {
  ColumnContent content;
  int count;  // doubles
  double *data;
  int references;
  int slot;  // this slot's number in the pool
};

// A column of n doubles with one reference: copies of `source`, or missing values without one. Null when memory fails
// or n is below 0.
ColumnHandle *ColumnNew(const double *source, int n);

// One more reference; the empty handle is ignored.
void ColumnRetain(ColumnHandle *handle);

// One reference less; the last one frees the doubles and the slot. The empty handle is ignored.
void ColumnRelease(ColumnHandle *handle);

// The doubles, or null for the empty handle.
double *ColumnData(const ColumnHandle *handle);

}  // namespace tessel
