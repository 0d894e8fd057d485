// Tables that grow by a fixed step, with room taken in powers of two so that growing step by step stays linear.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>

#include "core/heap.h"

namespace tessel {

// A table for `capacity` entries of which the room is GrowableRoom(capacity). Null when memory fails.
inline std::size_t GrowableRoom(int capacity) { return std::bit_ceil(static_cast<std::size_t>(capacity)); }

template <class T>
T *GrowableNew(int capacity) {
  return static_cast<T *>(HeapAlloc(GrowableRoom(capacity), sizeof(T)));
}

// Raises the capacity by `step`, keeping the first `used` entries. 0, with nothing changed, when memory fails.
template <class T>
int GrowableExtend(T *&table, int used, int &capacity, int step) {
  if (GrowableRoom(capacity) < static_cast<std::size_t>(capacity) + static_cast<std::size_t>(step)) {
    T *larger = GrowableNew<T>(capacity + step);
    if (larger == nullptr) return 0;
    std::copy_n(table, used, larger);
    HeapFree(table);
    table = larger;
  }
  capacity += step;
  return 1;
}

}  // namespace tessel
