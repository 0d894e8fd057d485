// Filling a matrix with draws, and copying out the words of a state.
#pragma once

#include <algorithm>
#include <cstdint>

#include "core/row_matrix.h"

namespace tessel {

// Calls draw() for each cell, row by row, and returns the matrix; a null matrix stays null. The rows are reached
// through the table, which may have been reordered.
template <class Draw>
RowMatrix FillCells(RowMatrix m, int rows, int columns, Draw draw) {
  if (m == nullptr) return nullptr;
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) m[i][j] = draw();
  return m;
}

// The first min(size, count) words of a state; none to a null pointer.
inline void CopyState(const std::uint32_t *state, int size, int *words, int count) {
  if (words == nullptr) return;
  for (int i = 0; i < std::min(size, count); ++i) words[i] = static_cast<int>(state[i]);
}

}  // namespace tessel
