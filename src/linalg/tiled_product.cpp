// Matrix products in cache-sized tiles: the plan, the packing and the loops around the micro-kernel.
#include "linalg/tiled_product.h"

#include <algorithm>
#include <cstdint>

#include "linalg/panels.h"

namespace tessel {

namespace {

constexpr int Tiles(int n, int tile) { return (n + tile - 1) / tile; }

std::int64_t Cells(int rows, int columns) { return static_cast<std::int64_t>(rows) * columns; }

// A running product: its plan, its scratch, and what the packed tiles hold.
struct Tiler {
  const Product &p;
  TilePlan plan;
  const MicroKernel &kernel;
  OwnedRows aTile, bTile, result;  // A is read in place unless it is given transposed
  double *aPanels = nullptr, *bPanels = nullptr;
  bool direct = false;         // one tile covers the result: no result tile
  int aRow = -1, aInner = -1;  // the place of the packed A tile
  int bColumn = -1, bInner = -1;
};

// Panels small enough stand on the stack, where they cost nothing to take.
constexpr int kSmallPanels = 1024;
struct SmallPanels {
  alignas(64) double a[kSmallPanels], b[kSmallPanels];
};

// Panels of `lines` lines, from a cache line on.
double *TakePanels(double *small, OwnedRows &owner, int lines, int width, int depth) {
  constexpr int line = 8;
  const std::int64_t cells = PanelCells(lines, width, depth);
  if (cells <= kSmallPanels) return small;
  owner = OwnedRows(1, cells + line);
  if (!owner) return nullptr;
  const auto address = reinterpret_cast<std::uintptr_t>(owner[0]);
  return owner[0] + (line - address / sizeof(double) % line) % line;
}

bool TakeScratch(Tiler &t, SmallPanels &small) {
  const auto &[rows, columns, inner] = t.plan;
  if (t.p.transA) {
    t.aPanels = TakePanels(small.a, t.aTile, rows, t.kernel.blockRows, inner);
    if (t.aPanels == nullptr) return false;
  }
  t.bPanels = TakePanels(small.b, t.bTile, columns, t.kernel.blockColumns, inner);
  t.direct = rows == t.p.rows && columns == t.p.columns;
  if (!t.direct) t.result = OwnedRows(rows, RoundUp(columns, t.kernel.blockColumns));
  return t.bPanels != nullptr && (t.direct || t.result);
}

// A tile of the result and one inner tile.
struct Tile {
  int row, rows, column, columns, inner, depth;
};

void Pack(Tiler &t, const Tile &tile) {
  if (t.bColumn != tile.column || t.bInner != tile.inner) {
    if (t.p.transB) {
      PackRows({t.p.b, tile.column, tile.columns, tile.inner, tile.depth}, t.kernel.blockColumns, t.bPanels);
    } else {
      PackColumns({t.p.b, tile.inner, tile.depth, tile.column, tile.columns}, t.kernel.blockColumns,
                  t.kernel.packColumns, t.bPanels);
    }
    t.bColumn = tile.column;
    t.bInner = tile.inner;
  }
  if (t.p.transA && (t.aRow != tile.row || t.aInner != tile.inner)) {
    PackColumns({t.p.a, tile.inner, tile.depth, tile.row, tile.rows}, t.kernel.blockRows, t.kernel.packRows, t.aPanels);
    t.aRow = tile.row;
    t.aInner = tile.inner;
  }
}

// Adds the packed inner tile to the tile of the result, or starts it.
void MultiplyTile(const Tiler &t, const Tile &tile, bool add) {
  PanelProduct product = {t.p.transA ? nullptr : t.p.a + tile.row,
                          tile.inner,
                          t.aPanels,
                          t.bPanels,
                          tile.rows,
                          tile.columns,
                          tile.depth,
                          t.p.out + tile.row,
                          tile.column,
                          add,
                          t.p.symmetric ? tile.row - tile.column : kNoDiagonal};
  if (!t.direct) {
    product.columns = RoundUp(tile.columns, t.kernel.blockColumns);
    product.c = t.result.get();
    product.cColumn = 0;
  }
  MultiplyPanels(product, t.kernel, t.kernel.block);
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
  SmallPanels small;
  if (!TakeScratch(t, small)) return false;
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
