// Matrix products in cache-sized tiles: the plan, the packing and the loops around the micro-kernel.
#include "linalg/tiled_product.h"

#include <algorithm>
#include <cstdint>

#include "linalg/micro_kernel.h"

namespace tessel {

namespace {

constexpr int RoundUp(int n, int unit) { return (n + unit - 1) / unit * unit; }
constexpr int Tiles(int n, int tile) { return (n + tile - 1) / tile; }

std::int64_t Cells(int rows, int columns) { return static_cast<std::int64_t>(rows) * columns; }

// A part of a stored matrix: `rows` rows from row `row`, `columns` columns from column `column`.
struct Part {
  RowMatrix m;
  int row, rows, column, columns;
};

// The two ways into panels of `width` lines each, in which the cells of one inner index stand side by side; lines that
// are wanting in the last panel are zero. InterleaveColumns takes the part's columns as lines, InterleaveRows its rows.
void InterleaveColumns(const Part &part, int width, double *panels) {
  for (int first = 0; first < part.columns; first += width) {
    const int lines = std::min(width, part.columns - first);
    for (int k = 0; k < part.rows; ++k, panels += width) {
      const double *source = part.m[part.row + k] + part.column + first;
      if (lines == width) {
        std::copy_n(source, width, panels);
      } else {
        std::fill(std::copy_n(source, lines, panels), panels + width, 0.0);
      }
    }
  }
}

void InterleaveRows(const Part &part, int width, double *panels) {
  for (int first = 0; first < part.rows; first += width, panels += Cells(width, part.columns))
    for (int line = 0; line < width; ++line) {
      if (first + line < part.rows) {
        const double *source = part.m[part.row + first + line] + part.column;
        for (int k = 0; k < part.columns; ++k) panels[Cells(k, width) + line] = source[k];
      } else {
        for (int k = 0; k < part.columns; ++k) panels[Cells(k, width) + line] = 0.0;
      }
    }
}

// A running product: its plan, its scratch, and what the packed tiles hold.
struct Tiler {
  const Product &p;
  TilePlan plan;
  const MicroKernel &kernel;
  OwnedMatrix aTile, bTile, result;  // aTile stands for op(A)'s rows, or is empty where A is read in place
  double *bPanels = nullptr;
  bool packA = false, direct = false;
  int aRow = -1, aInner = -1;  // the place of the packed A tile
  int bColumn = -1, bInner = -1;
};

// Cells start on a cache line inside a scratch of kLine more cells.
constexpr int kLine = 8;
double *Aligned(double *cells) {
  const auto address = reinterpret_cast<std::uintptr_t>(cells);
  return cells + (64 - address % 64) % 64 / sizeof(double);
}

bool TakeScratch(Tiler &t) {
  const auto &[rows, columns, inner] = t.plan;
  t.packA = t.p.transA || rows < t.p.rows || inner < t.p.inner;
  t.direct = rows == t.p.rows && columns == t.p.columns;
  const int width = RoundUp(columns, t.kernel.blockColumns);
  if (t.packA) {
    t.aTile =
        t.p.transA ? OwnedMatrix(1, Cells(RoundUp(rows, t.kernel.blockRows), inner) + kLine) : OwnedMatrix(rows, inner);
    if (!t.aTile) return false;
  }
  t.bTile = OwnedMatrix(1, Cells(width, inner) + kLine);
  if (!t.direct) t.result = OwnedMatrix(rows, width);
  if (!t.bTile || (!t.direct && !t.result)) return false;
  t.bPanels = Aligned(t.bTile[0]);
  return true;
}

// A tile of the result and one inner tile.
struct Tile {
  int row, rows, column, columns, inner, depth;
};

void Pack(Tiler &t, const Tile &tile) {
  if (t.bColumn != tile.column || t.bInner != tile.inner) {
    if (t.p.transB) {
      InterleaveRows({t.p.b, tile.column, tile.columns, tile.inner, tile.depth}, t.kernel.blockColumns, t.bPanels);
    } else {
      InterleaveColumns({t.p.b, tile.inner, tile.depth, tile.column, tile.columns}, t.kernel.blockColumns, t.bPanels);
    }
    t.bColumn = tile.column;
    t.bInner = tile.inner;
  }
  if (!t.packA || (t.aRow == tile.row && t.aInner == tile.inner)) return;
  if (t.p.transA) {
    InterleaveColumns({t.p.a, tile.inner, tile.depth, tile.row, tile.rows}, t.kernel.blockRows, Aligned(t.aTile[0]));
  } else {
    for (int i = 0; i < tile.rows; ++i) std::copy_n(t.p.a[tile.row + i] + tile.inner, tile.depth, t.aTile[i]);
  }
  t.aRow = tile.row;
  t.aInner = tile.inner;
}

// The row pointers of the register block at row i of the tile; rows past the tile's end repeat its last one.
void BlockRows(const Tiler &t, const Tile &tile, int i, const double **a) {
  for (int r = 0; r < t.kernel.blockRows; ++r) {
    if (t.p.transA) {
      a[r] = Aligned(t.aTile[0]) + Cells(i, tile.depth) + r;
    } else {
      const int row = std::min(i + r, tile.rows - 1);
      a[r] = t.packA ? t.aTile[row] : t.p.a[tile.row + row] + tile.inner;
    }
  }
}

// One register block that reaches over the edge of the result: computed aside, and clipped.
void EdgeBlock(const MicroKernel &kernel, const double *const *a, int aStep, const double *b, int depth,
               double *const *c, bool add, int rows, int columns) {
  double aside[kMaxBlockRows][kMaxBlockColumns];
  double *cells[kMaxBlockRows];
  for (int i = 0; i < kMaxBlockRows; ++i) cells[i] = aside[i];
  kernel.block(a, aStep, b, depth, cells, false);
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) c[i][j] = add ? c[i][j] + aside[i][j] : aside[i][j];
}

// Adds the packed inner tile to the tile of the result, or starts it.
void MultiplyTile(Tiler &t, const Tile &tile, bool add) {
  const int blockRows = t.kernel.blockRows, blockColumns = t.kernel.blockColumns;
  const int aStep = t.p.transA ? blockRows : 1;
  for (int i = 0; i < tile.rows; i += blockRows) {
    const double *a[kMaxBlockRows];
    BlockRows(t, tile, i, a);
    const int rows = std::min(blockRows, tile.rows - i);
    // Blocks wholly above the diagonal of a symmetric result are left out.
    const int end = t.p.symmetric ? std::min(tile.columns, tile.row + i + rows - tile.column) : tile.columns;
    for (int j = 0; j < end; j += blockColumns) {
      double *c[kMaxBlockRows] = {};
      for (int r = 0; r < rows; ++r) c[r] = t.direct ? t.p.out[tile.row + i + r] + j : t.result[i + r] + j;
      const double *b = t.bPanels + Cells(j, tile.depth);
      const int columns = t.direct ? std::min(blockColumns, tile.columns - j) : blockColumns;
      if (rows == blockRows && columns == blockColumns) {
        t.kernel.block(a, aStep, b, tile.depth, c, add);
      } else {
        EdgeBlock(t.kernel, a, aStep, b, tile.depth, c, add, rows, columns);
      }
    }
  }
}

}  // namespace

TilePlan PlanTiles(const Product &p) {
  int rows = p.rows, columns = p.columns, inner = p.inner;
  if (Cells(inner, columns) >= (p.transB ? kTileBudget : kTileFrom)) {
    const int depth = std::min(inner, kTileSide);
    columns = RoundUp(std::min({kTileBudget / depth, kTileSide, columns}), 4);
    int deepest = kTileBudget / columns;
    for (int half = deepest / 2; half > inner && columns < kTileSide; half /= 2) {
      deepest = half;
      columns *= 2;
    }
    inner = RoundUp(deepest, 4);
  }
  if (p.transA && Cells(rows, p.inner) >= kTileFromTransposed) rows = std::min(kTileBudget / inner, rows);
  return {rows, std::min(columns, p.columns), std::min(inner, p.inner)};
}

bool TiledProduct(const Product &p) {
  Tiler t{p, PlanTiles(p), CurrentMicroKernel(), {}, {}, {}};
  if (!TakeScratch(t)) return false;
  const int innerTiles = Tiles(p.inner, t.plan.inner);
  bool forwards = true;
  for (int row = 0; row < p.rows; row += t.plan.rows) {
    const int rowEnd = std::min(row + t.plan.rows, p.rows);
    for (int column = 0; column < p.columns; column += t.plan.columns, forwards = !forwards) {
      if (p.symmetric && rowEnd <= column) break;
      const int first = p.symmetric ? std::max(row, column) : row;
      Tile tile{first, rowEnd - first, column, std::min(t.plan.columns, p.columns - column), 0, 0};
      for (int step = 0; step < innerTiles; ++step) {
        tile.inner = t.plan.inner * (forwards ? step : innerTiles - 1 - step);
        tile.depth = std::min(t.plan.inner, p.inner - tile.inner);
        Pack(t, tile);
        MultiplyTile(t, tile, step > 0);
      }
      for (int i = 0; !t.direct && i < tile.rows; ++i) {
        const int end = p.symmetric ? std::min(tile.columns, first + i + 1 - column) : tile.columns;
        std::copy_n(t.result[i], end, p.out[first + i] + column);
      }
    }
  }
  if (p.symmetric) MirrorLower(p.out, p.rows);
  return true;
}

void MirrorLower(RowMatrix m, int n) {
  constexpr int block = 16;  // so that the columns written stay in cache
  for (int i0 = 0; i0 < n; i0 += block)
    for (int j0 = 0; j0 <= i0; j0 += block)
      for (int i = i0; i < std::min(i0 + block, n); ++i)
        for (int j = j0; j < std::min(j0 + block, i); ++j) m[j][i] = m[i][j];
}

}  // namespace tessel
