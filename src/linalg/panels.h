// Packed panels, and products of tiles that stand in them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "core/row_matrix.h"
#include "linalg/micro_kernel.h"

namespace tessel {

// A part of a stored matrix: `rows` rows from row `row`, `columns` columns from column `column`.
struct Part {
  RowMatrix m;
  int row, rows, column, columns;
};

// Panels hold `width` lines of a tile each, and in a panel the cells of one inner index stand side by side; lines that
// are wanting in the last panel are zero.
constexpr int RoundUp(int n, int unit) { return (n + unit - 1) / unit * unit; }
constexpr std::int64_t PanelCells(int lines, int width, int depth) {
  return static_cast<std::int64_t>(RoundUp(lines, width)) * depth;
}

// The part's rows as lines, and its columns as lines; `pack` is the micro-kernel's for the width.
void PackRows(const Part &part, int width, double *panels);
void PackColumns(const Part &part, int width, PackFunction pack, double *panels);

// op(A) op(B) over one inner tile. A's lines are read in place, from column `aColumn` of `aRows`, or from panels of
// blockRows lines where `aPanels` is given; B's from panels of blockColumns lines. The result goes to (or, with `add`,
// is added to) columns from `cColumn` of the rows c. Register blocks whose every cell (i, j) has j > i + diagonal are
// left out; of others all cells are written.
struct PanelProduct {
  const double *const *aRows;
  int aColumn;
  const double *aPanels;
  const double *bPanels;
  int rows, columns, depth;
  double *const *c;
  int cColumn;
  bool add;
  int diagonal;
};
inline constexpr int kNoDiagonal = std::numeric_limits<int>::max();

void MultiplyPanels(const PanelProduct &p, const MicroKernel &kernel, const Blocks &blocks);

}  // namespace tessel
