// The runtime's own memory, and the error that ends a call.
#pragma once

#include <morv/morv.h>

#include <cstddef>

namespace morv {

// Null when memory fails or the product does not fit.
void *Take(std::size_t count, std::size_t size);
void Release(void *block);

// Ends the call of a library's function: thrown through it, caught by morv::Call.
struct CallError {
  bool outOfMemory = false;
  int argument = 0;                // counts from 1; 0 for none
  const char *expected = nullptr;  // what the argument should have been
  int rows = -1, columns = -1;     // the shape that was asked for
  int tag = 0;                     // the tag that stood there
  MorvShape shape = {};            // its shape, for a matrix
};

// How a record's memory is held, in opaque[1].
enum Ownership : unsigned { kOwned = 0, kBorrowed = 1 };

// An array's count of elements, in opaque[0].
inline std::size_t ElementCount(const MorvValue &record) { return static_cast<std::size_t>(record.opaque[0]); }

inline int TagOf(const MorvValue &record) { return record.type & MORV_TAG_MASK; }

}  // namespace morv
