// Matrix products in cache-sized tiles: the plan, the packing and the loops around the micro-kernel.
#include "linalg/tiled_product.h"

#include <algorithm>
#include <cstdint>

#include "linalg/panels.h"

namespace tessel {

namespace {

constexpr int Tiles(int n, int tile) { return (n + tile - 1) / tile; }

std::int64_t Cells(int rows, int columns) { return static_cast<std::int64_t>(rows) * columns; }

// A running product: its plan, its scratch, and what the packed tiles hold. A is read in place unless it is given
// transposed, and without a result tile the one tile is the result.
struct Tiler {
  const Product &p;
  TilePlan plan;
  const MicroKernel &kernel;
  OwnedBlock<double> block{};  // the scratch that is not on the stack
  double *aPanels = nullptr, *bPanels = nullptr;
  Matrix result{};
  int aRow = -1, aInner = -1;  // the place of the packed A tile
  int bColumn = -1, bInner = -1;
};

// Panels small enough stand on the stack, where they cost nothing to take.
constexpr int kSmallPanels = 1024;
struct SmallPanels {
  alignas(64) double a[kSmallPanels], b[kSmallPanels];
};

constexpr int kLine = 8;  // doubles in a cache line, at whose begin each part of the scratch begins

// The rest of the scratch is one block. An allocator that gives free memory at the end of the heap back to the system
// at once would otherwise be made to do so by every product.
bool TakeScratch(Tiler &t, SmallPanels &small) {
  const auto &[rows, columns, inner] = t.plan;
  const bool packA = t.p.which == Transposed::A, direct = rows == t.p.out.rows && columns == t.p.out.columns;
  const int resultColumns = RoundUp(columns, std::max(t.kernel.blockColumns, kLine));
  std::int64_t aCells = packA ? PanelCells(rows, t.kernel.blockRows, inner) : 0;
  std::int64_t bCells = PanelCells(columns, t.kernel.blockColumns, inner);
  if (packA && aCells <= kSmallPanels) t.aPanels = small.a, aCells = 0;
  if (bCells <= kSmallPanels) t.bPanels = small.b, bCells = 0;
  const std::int64_t aEnd = (aCells + kLine - 1) / kLine * kLine, bEnd = aEnd + (bCells + kLine - 1) / kLine * kLine;
  const std::int64_t end = bEnd + (direct ? 0 : Cells(rows, resultColumns));
  if (end == 0) return true;

  t.block = OwnedBlock<double>(end + kLine);
  if (!t.block) return false;
  const auto address = reinterpret_cast<std::uintptr_t>(t.block.get()) / sizeof(double);
  double *first = t.block.get() + (kLine - address % kLine) % kLine;
  if (aCells > 0) t.aPanels = first;
  if (bCells > 0) t.bPanels = first + aEnd;
  if (!direct) t.result = {first + bEnd, rows, resultColumns};
  return true;
}

// A tile of the result and one inner tile.
struct Tile {
  int row, rows, column, columns, inner, depth;
};

void Pack(Tiler &t, const Tile &tile) {
  if (t.bColumn != tile.column || t.bInner != tile.inner) {
    if (t.p.which == Transposed::B) {
      PackRows(t.p.b.Block(tile.column, tile.columns, tile.inner, tile.depth), t.kernel.blockColumns, t.bPanels);
    } else {
      PackColumns(t.p.b.Block(tile.inner, tile.depth, tile.column, tile.columns), t.kernel.blockColumns,
                  t.kernel.packColumns, t.bPanels);
    }
    t.bColumn = tile.column;
    t.bInner = tile.inner;
  }
  if (t.p.which == Transposed::A && (t.aRow != tile.row || t.aInner != tile.inner)) {
    PackColumns(t.p.a.Block(tile.inner, tile.depth, tile.row, tile.rows), t.kernel.blockRows, t.kernel.packRows,
                t.aPanels);
    t.aRow = tile.row;
    t.aInner = tile.inner;
  }
}

// Adds the packed inner tile to the tile of the result, or starts it.
void MultiplyTile(const Tiler &t, const Tile &tile, bool add) {
  const Matrix c = t.result ? t.result.Block(0, tile.rows, 0, RoundUp(tile.columns, t.kernel.blockColumns))
                            : t.p.out.Block(tile.row, tile.rows, tile.column, tile.columns);
  const ConstMatrix a = t.aPanels == nullptr ? t.p.a.Block(tile.row, tile.rows, tile.inner, tile.depth) : ConstMatrix();
  MultiplyPanels({.a = a,
                  .aPanels = t.aPanels,
                  .bPanels = t.bPanels,
                  .depth = tile.depth,
                  .c = c,
                  .add = add,
                  .diagonal = t.p.symmetric ? tile.row - tile.column : kNoDiagonal},
                 t.kernel, t.kernel.block);
}

}  // namespace

TilePlan PlanTiles(const Product &p) {
  int rows = p.out.rows, columns = p.out.columns, inner = p.Inner();
  if (Cells(inner, columns) >= (p.which == Transposed::B ? kTileBudget : kTileFrom)) {
    const int depth = std::min(inner, kTileSide);
    columns = RoundUp(std::min({kTileBudget / depth, kTileSide, columns}), 4);
    int deepest = kTileBudget / columns;
    for (int half = deepest / 2; half > inner && columns < kTileSide; half /= 2) {
      deepest = half;
      columns *= 2;
    }
    inner = RoundUp(deepest, 4);
  }
  if (p.which == Transposed::A && Cells(rows, p.Inner()) >= kTileFromTransposed)
    rows = std::min(kTileBudget / inner, rows);
  return {rows, std::min(columns, p.out.columns), std::min(inner, p.Inner())};
}

bool TiledProduct(const Product &p) {
  Tiler t{.p = p, .plan = PlanTiles(p), .kernel = CurrentMicroKernel()};
  SmallPanels small;
  if (!TakeScratch(t, small)) return false;
  const int innerTiles = Tiles(p.Inner(), t.plan.inner);
  bool forwards = true;
  for (int row = 0; row < p.out.rows; row += t.plan.rows) {
    const int rowEnd = std::min(row + t.plan.rows, p.out.rows);
    for (int column = 0; column < p.out.columns; column += t.plan.columns, forwards = !forwards) {
      if (p.symmetric && rowEnd <= column) break;
      const int first = p.symmetric ? std::max(row, column) : row;
      Tile tile{first, rowEnd - first, column, std::min(t.plan.columns, p.out.columns - column), 0, 0};
      for (int step = 0; step < innerTiles; ++step) {
        tile.inner = t.plan.inner * (forwards ? step : innerTiles - 1 - step);
        tile.depth = std::min(t.plan.inner, p.Inner() - tile.inner);
        Pack(t, tile);
        MultiplyTile(t, tile, step > 0);
      }
      for (int i = 0; t.result && i < tile.rows; ++i) {
        const int end = p.symmetric ? std::min(tile.columns, first + i + 1 - column) : tile.columns;
        std::copy_n(t.result[i], end, p.out[first + i] + column);
      }
    }
  }
  if (p.symmetric) MirrorLower(p.out);
  return true;
}

}  // namespace tessel
