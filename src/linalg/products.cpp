// Dense matrix products: the shapes and the untiled loops.
#include "linalg/products.h"

#include <algorithm>
#include <cstdint>

#include "linalg/dot_product.h"
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

// out[i][j] = the inner product of row i of A and row j of B; for a symmetric result, of the lower triangle.
void RowByRow(const Product &p) {
  for (int i = 0; i < p.rows; ++i) DotProducts(p.b, 0, p.symmetric ? i + 1 : p.columns, p.a[i], p.inner, p.out[i]);
}

// One block of the inner index: out[j] = (or +=) the sum over k below `terms`, 1 to 4, of c[k] b[k][j].
void AddRows(double *__restrict__ out, int n, const double *c, const double *const *b, int terms, bool add) {
  const double *b0 = b[0], *b1 = b[terms > 1], *b2 = b[terms > 2 ? 2 : 0], *b3 = b[terms > 3 ? 3 : 0];
  const double c0 = c[0], c1 = c[terms > 1], c2 = c[terms > 2 ? 2 : 0], c3 = c[terms > 3 ? 3 : 0];
  const auto each = [&](auto sum) {
    for (int j = 0; j < n; ++j) out[j] = add ? out[j] + sum(j) : sum(j);
  };
  switch (terms) {
    case 1: each([=](int j) { return c0 * b0[j]; }); break;
    case 2: each([=](int j) { return c0 * b0[j] + c1 * b1[j]; }); break;
    case 3: each([=](int j) { return c0 * b0[j] + c1 * b1[j] + c2 * b2[j]; }); break;
    default: each([=](int j) { return c0 * b0[j] + c1 * b1[j] + c2 * b2[j] + c3 * b3[j]; }); break;
  }
}

// out[i][j] = the sum over k of op(A)[i][k] B[k][j], by blocks of four in k, along the rows of B; for a symmetric
// result, of the lower triangle.
void RowByColumn(const Product &p) {
  for (int i = 0; i < p.rows; ++i)
    for (int k = 0; k < p.inner; k += 4) {
      const int terms = std::min(4, p.inner - k);
      double c[4] = {};
      for (int q = 0; q < terms; ++q) c[q] = p.transA ? p.a[k + q][i] : p.a[i][k + q];
      AddRows(p.out[i], p.symmetric ? i + 1 : p.columns, c, p.b + k, terms, k > 0);
    }
}

// The tiled product where `tile` asks for it and its scratch can be had, else the untiled loop.
void TiledOrNot(const Product &p, bool tile) {
  if (tile && TiledProduct(p)) return;
  p.transB ? RowByRow(p) : RowByColumn(p);
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
