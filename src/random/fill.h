// Filling a matrix with draws, and copying out the words of a state.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "core/matrix.h"

namespace tessel {

// Calls draw() for each cell, row by row.
template <class Draw>
void FillCells(Matrix m, Draw draw) {
  for (int i = 0; i < m.rows; ++i)
    for (int j = 0; j < m.columns; ++j) m[i][j] = draw();
}

// The first words of a state, as many as there is room for.
inline void CopyState(std::span<const std::uint32_t> state, std::span<int> words) {
  const std::size_t count = std::min(state.size(), words.size());
  for (std::size_t i = 0; i < count; ++i) words[i] = static_cast<int>(state[i]);
}

}  // namespace tessel
