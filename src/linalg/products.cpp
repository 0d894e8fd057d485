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

// Whether the cells of a single column lie side by side.
bool RowsContiguous(RowMatrix m, int rows) {
  for (int i = 1; i < rows; ++i)
    if (m[i] != m[0] + i) return false;
  return true;
}

// op(A) times a vector that lies in a row: one inner product for each cell.
void ByVector(const Product &p) {
  if (p.rows == 1) {
    DotProducts(p.b, 0, p.columns, p.a[0], p.inner, p.out[0]);
    return;
  }
  for (int i = 0; i < p.rows; i += kLaneRows) {
    double dots[kLaneRows];
    const int rows = std::min(kLaneRows, p.rows - i);
    DotProducts(p.a + i, 0, rows, p.b[0], p.inner, dots);
    for (int r = 0; r < rows; ++r) p.out[i + r][0] = dots[r];
  }
}

// The product through panels on the stack, with the same bits whatever the vector width: sums run in order over chunks
// of the inner index, which are then added up.
void Untiled(const Product &p) {
  if (p.transB && (p.rows == 1 || p.columns == 1)) return ByVector(p);
  constexpr int chunk = 128;
  alignas(64) double aPanel[chunk * kMaxBlockRows], bPanel[chunk * kMaxBlockColumns];
  const MicroKernel &kernel = CurrentMicroKernel();
  for (int j = 0; j < p.columns; j += kernel.blockColumns)
    for (int k = 0; k < p.inner; k += chunk) {
      const int columns = std::min(kernel.blockColumns, p.columns - j), depth = std::min(chunk, p.inner - k);
      if (p.transB) {
        PackRows({p.b, j, columns, k, depth}, kernel.blockColumns, bPanel);
      } else {
        PackColumns({p.b, k, depth, j, columns}, kernel.blockColumns, kernel.packColumns, bPanel);
      }
      for (int i = p.symmetric ? j : 0, rows = 0; i < p.rows; i += rows) {
        rows = p.transA ? std::min(kernel.blockRows, p.rows - i) : p.rows - i;
        if (p.transA) PackColumns({p.a, k, depth, i, rows}, kernel.blockRows, kernel.packRows, aPanel);
        MultiplyPanels({p.transA ? nullptr : p.a + i, k, p.transA ? aPanel : nullptr, bPanel, rows, columns, depth,
                        p.out + i, j, k > 0, kNoDiagonal},
                       kernel, kernel.exactBlock);
      }
    }
}

// The tiled product where `tile` asks for it and its scratch can be had, else the untiled loop.
void TiledOrNot(const Product &p, bool tile) {
  if (tile && TiledProduct(p)) return;
  Untiled(p);
  if (p.symmetric) MirrorLower(p.out, p.rows);
}

void MulABt(RowMatrix out, RowMatrix a, int rA, int cA, RowMatrix b, int rB) {
  if (rA == 1 && rB == 1) {
    out[0][0] = DotProduct(a[0], b[0], cA);
  } else {
    TiledOrNot({out, a, b, rA, rB, cA, false, true, false}, AtLeast(cA, rB, kTileBudget));
  }
}

void MulAAt(RowMatrix out, RowMatrix a, int rows, int columns) {
  if (rows == 1) {
    out[0][0] = DotProduct(a[0], a[0], columns);
  } else {
    TiledOrNot({out, a, a, rows, rows, columns, false, true, true}, AtLeast(rows, columns, kTileBudget));
  }
}

void MulAB(RowMatrix out, RowMatrix a, int rA, int cA, RowMatrix b, int cB) {
  if (cB == 1 && RowsContiguous(b, cA)) {
    MulABt(out, a, rA, cA, b, 1);  // B's column read as a row
  } else {
    TiledOrNot({out, a, b, rA, cB, cA, false, false, false}, AtLeast(cA, cB, kTileFrom));
  }
}

void MulAtB(RowMatrix out, RowMatrix a, int rA, int cA, RowMatrix b, int cB) {
  if (cA == 1 && cB == 1 && RowsContiguous(a, rA) && RowsContiguous(b, rA)) {
    out[0][0] = DotProduct(a[0], b[0], rA);
  } else {
    TiledOrNot({out, a, b, cA, cB, rA, true, false, false},
               AtLeast(rA, cB, kTileFrom) || AtLeast(rA, cA, kTileFromTransposed));
  }
}

void MulAtA(RowMatrix out, RowMatrix a, int rows, int columns) {
  if (columns == 1 && RowsContiguous(a, rows)) {
    out[0][0] = DotProduct(a[0], a[0], rows);
  } else {
    TiledOrNot({out, a, a, columns, columns, rows, true, false, true}, AtLeast(rows, columns, kTileFromTransposed));
  }
}

}  // namespace

void KernelMultiply(RowMatrix out, RowMatrix a, int rA, int cA, RowMatrix b, int rB, int cB, bool transA, bool transB) {
  const int rows = transA ? cA : rA;
  const int columns = transB && !transA ? rB : cB;
  const int inner = transA ? rA : cA;
  if (inner == 0) MatFillMissing(out, rows, columns);
  if (rows < 1 || columns < 1 || inner < 1) return;
  const bool same = a == b && rA == rB && cA == cB;
  if (transA) {
    same ? MulAtA(out, a, rA, cA) : MulAtB(out, a, rA, cA, b, cB);
  } else if (!transB) {
    MulAB(out, a, rA, cA, b, cB);
  } else {
    same ? MulAAt(out, a, rA, cA) : MulABt(out, a, rA, cA, b, rB);
  }
}

}  // namespace tessel
