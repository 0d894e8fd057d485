// Packed panels, and products of tiles that stand in them.
#pragma once

#include <cstdint>
#include <limits>

#include "core/matrix.h"
#include "linalg/micro_kernel.h"

namespace tessel {

// Panels hold `width` lines of a tile each, and in a panel the cells of one inner index stand side by side; lines that
// are wanting in the last panel are zero.
constexpr int RoundUp(int n, int unit) { return (n + unit - 1) / unit * unit; }
constexpr std::int64_t PanelCells(int lines, int width, int depth) {
  return static_cast<std::int64_t>(RoundUp(lines, width)) * depth;
}

// A tile's rows as lines, and its columns as lines; `pack` is the micro-kernel's for the width.
void PackRows(const ConstMatrix &tile, int width, double *panels);
void PackColumns(const ConstMatrix &tile, int width, PackFunction pack, double *panels);

// c (rows x columns) = op(A) op(B) over an inner tile of `depth` cells; with `add` it is added to c. B's lines are read
// from panels of blockColumns lines, A's from panels of blockRows lines or, where those are null, in place from the
// rows of `a`. Register blocks whose every cell (i, j) has j > i + diagonal are left out; of others all cells are
// written.
struct PanelProduct {
  ConstMatrix a;
  const double *aPanels;
  const double *bPanels;
  int depth;
  Matrix c;
  bool add;
  int diagonal;
};
inline constexpr int kNoDiagonal = std::numeric_limits<int>::max();

void MultiplyPanels(const PanelProduct &p, const MicroKernel &kernel, const Blocks &blocks);

}  // namespace tessel
