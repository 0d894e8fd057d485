// Dense matrix products: the shapes and the untiled loops.
#include "linalg/products.h"

#include <algorithm>
#include <cstdint>

#include "linalg/dot_product.h"
#include "linalg/panels.h"
#include "linalg/tiled_product.h"

namespace tessel {

namespace {

bool AtLeast(int rows, int columns, int limit) { return static_cast<std::int64_t>(rows) * columns >= limit; }

// Whether the cells of a matrix of one column lie side by side.
bool IsVector(const ConstMatrix &m) { return m.columns == 1 && (m.stride == 1 || m.rows == 1); }

// That column as a row.
ConstMatrix AsRow(const ConstMatrix &m) { return {m.cells, 1, m.rows}; }

// op(A) times a vector that lies in a row: one inner product for each cell.
void ByVector(const Product &p) {
  if (p.out.rows == 1) {
    DotProducts(p.b, p.a[0], p.out[0]);
    return;
  }
  for (int i = 0; i < p.out.rows; i += kLaneRows) {
    double dots[kLaneRows];
    const int rows = std::min(kLaneRows, p.out.rows - i);
    DotProducts(p.a.Rows(i, rows), p.b[0], dots);
    for (int r = 0; r < rows; ++r) p.out[i + r][0] = dots[r];
  }
}

// The product through panels on the stack, with the same bits whatever the vector width: sums run in order over chunks
// of the inner index, which are then added up.
void Untiled(const Product &p) {
  if (p.which == Transposed::B && (p.out.rows == 1 || p.out.columns == 1)) return ByVector(p);
  constexpr int chunk = 128;
  alignas(64) double aPanel[chunk * kMaxBlockRows], bPanel[chunk * kMaxBlockColumns];
  const MicroKernel &kernel = CurrentMicroKernel();
  const bool packA = p.which == Transposed::A;
  for (int j = 0; j < p.out.columns; j += kernel.blockColumns)
    for (int k = 0; k < p.Inner(); k += chunk) {
      const int columns = std::min(kernel.blockColumns, p.out.columns - j), depth = std::min(chunk, p.Inner() - k);
      if (p.which == Transposed::B) {
        PackRows(p.b.Block(j, columns, k, depth), kernel.blockColumns, bPanel);
      } else {
        PackColumns(p.b.Block(k, depth, j, columns), kernel.blockColumns, kernel.packColumns, bPanel);
      }
      for (int i = p.symmetric ? j : 0, rows = 0; i < p.out.rows; i += rows) {
        rows = packA ? std::min(kernel.blockRows, p.out.rows - i) : p.out.rows - i;
        if (packA) PackColumns(p.a.Block(k, depth, i, rows), kernel.blockRows, kernel.packRows, aPanel);
        MultiplyPanels({.a = packA ? ConstMatrix() : p.a.Block(i, rows, k, depth),
                        .aPanels = packA ? aPanel : nullptr,
                        .bPanels = bPanel,
                        .depth = depth,
                        .c = p.out.Block(i, rows, j, columns),
                        .add = k > 0,
                        .diagonal = kNoDiagonal},
                       kernel, kernel.exactBlock);
      }
    }
}

// The tiled product where `tile` asks for it and its scratch can be had, else the untiled loop.
void TiledOrNot(const Product &p, bool tile) {
  if (tile && TiledProduct(p)) return;
  Untiled(p);
  if (p.symmetric) MirrorLower(p.out);
}

// A and B are the same view where `symmetric` is set.
void MulABt(const Matrix &out, const ConstMatrix &a, const ConstMatrix &b, bool symmetric) {
  if (a.rows == 1 && b.rows == 1) {
    out[0][0] = DotProduct(a[0], b[0], a.columns);
  } else {
    TiledOrNot({out, a, b, Transposed::B, symmetric}, AtLeast(a.columns, b.rows, kTileBudget));
  }
}

void MulAB(const Matrix &out, const ConstMatrix &a, const ConstMatrix &b) {
  if (IsVector(b)) {
    MulABt(out, a, AsRow(b), false);
  } else {
    TiledOrNot({out, a, b, Transposed::None, false}, AtLeast(b.rows, b.columns, kTileFrom));
  }
}

void MulAtB(const Matrix &out, const ConstMatrix &a, const ConstMatrix &b, bool symmetric) {
  if (IsVector(a) && IsVector(b)) {
    out[0][0] = DotProduct(a[0], b[0], a.rows);
  } else {
    TiledOrNot({out, a, b, Transposed::A, symmetric}, (!symmetric && AtLeast(b.rows, b.columns, kTileFrom)) ||
                                                          AtLeast(a.rows, a.columns, kTileFromTransposed));
  }
}

}  // namespace

void KernelMultiply(const Matrix &out, const ConstMatrix &a, const ConstMatrix &b, Transposed which) {
  const int inner = which == Transposed::A ? a.rows : a.columns;
  if (inner == 0) FillMissing(out);
  if (out.Empty() || inner < 1) return;
  const bool same = a == b;
  switch (which) {
    case Transposed::None: MulAB(out, a, b); break;
    case Transposed::A: MulAtB(out, a, b, same); break;
    case Transposed::B: MulABt(out, a, b, same); break;
  }
}

}  // namespace tessel
