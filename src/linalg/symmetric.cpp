// Cholesky factorisation and the inverse by a root-free one.
//
// Every cell is an inner product in DotProduct's own order. Rows go in groups of eight, so that one pass over a
// finished row serves the whole group (DotProducts).
#include "linalg/symmetric.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "linalg/dot_product.h"
#include "linalg/micro_kernel.h"
#include "linalg/products.h"

namespace tessel {

namespace {

constexpr int kBlock = 64;  // rows of a block; the largest matrix factored without blocks
constexpr int kGroup = kLaneRows;

// The plain form. Until the end the diagonal holds the reciprocals of the finished elements.
int CholeskyPlain(RowMatrix a, int n) {
  if (a == nullptr) return 1;
  for (int first = 0; first < n; first += kGroup) {
    const int end = std::min(first + kGroup, n);
    double squares[kGroup] = {}, dots[kGroup];
    for (int j = 0; j < end; ++j) {
      if (j >= first) {
        const double d = a[j][j] - squares[j - first];
        a[j][j] = 1.0 / std::sqrt(d);
        if (MatTolerance() >= d) return 1;
      }
      const int begin = std::max(first, j + 1);
      DotProducts(a + begin, 0, end - begin, a[j], j, dots);
      for (int i = begin; i < end; ++i) {
        const double t = (a[i][j] - dots[i - begin]) * a[j][j];
        a[i][j] = t;
        squares[i - first] += t * t;
      }
    }
  }
  for (int i = 0; i < n; ++i) {
    a[i][i] = 1.0 / a[i][i];
    std::fill(a[i] + i + 1, a[i] + n, 0.0);
  }
  return 0;
}

// B becomes B times the inverse of L', for B of m x n and a lower triangular L of n x n. A column whose diagonal cell
// of L is 0 becomes 0.
void SolveRows(RowMatrix b, int m, RowMatrix l, int n) {
  double dots[kBlock];
  for (int c = 0; c < n; ++c) {
    DotProducts(b, 0, m, l[c], c, dots);
    for (int r = 0; r < m; ++r) b[r][c] = l[c][c] == 0.0 ? 0.0 : (b[r][c] - dots[r]) / l[c][c];
  }
}

// The lower triangle of `from`, whose rows begin at `column`, to `to`.
void CopyLower(RowMatrix from, int fromColumn, RowMatrix to, int toColumn, int n) {
  for (int i = 0; i < n; ++i) std::copy_n(from[i] + fromColumn, i + 1, to[i] + toColumn);
}

// Block (row, column) of the blocked form, by way of the scratch matrices. 0, or 1 for a failed pivot.
int CholeskyBlock(RowMatrix a, int row, int rows, int column, int columns, RowMatrix work, RowMatrix other) {
  for (int i = 0; i < rows; ++i) std::copy_n(a[row + i] + column, columns, work[i]);
  if (column > 0) {
    KernelMultiply(other, a + row, rows, column, a + column, columns, column, false, true);
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < columns; ++j) work[i][j] -= other[i][j];
  }
  if (row == column) {
    if (CholeskyPlain(work, rows) != 0) return 1;
    CopyLower(work, 0, a + row, column, rows);
  } else {
    CopyLower(a + column, column, other, 0, columns);
    SolveRows(work, rows, other, columns);
    for (int i = 0; i < rows; ++i) std::copy_n(work[i], columns, a[row + i] + column);
  }
  return 0;
}

int CholeskyBlocked(RowMatrix a, int n, RowMatrix work, RowMatrix other) {
  for (int row = 0; row < n; row += kBlock)
    for (int column = 0; column <= row; column += kBlock)
      if (CholeskyBlock(a, row, std::min(kBlock, n - row), column, std::min(kBlock, n - column), work, other) != 0)
        return 1;
  for (int i = 0; i < n; ++i) std::fill(a[i] + i + 1, a[i] + n, 0.0);
  return 0;
}

// A = L D L' with L unit lower triangular: L in the strict lower triangle, and d, the reciprocals of the pivots D, in
// row 0, whose cells above the diagonal are free. A failed pivot does not stop it. 0, or 1 when a pivot failed.
int LdlFactor(RowMatrix a, int n) {
  double *d = a[0];
  int status = 0;
  for (int first = 0; first < n; first += kGroup) {
    const int end = std::min(first + kGroup, n);
    double dots[kGroup];
    for (int j = 0; j < end; ++j) {
      if (j >= first) {  // row j is reduced: scale it and find its pivot
        double pivot = a[j][j];
        for (int k = 0; k < j; ++k) {
          const double t = a[j][k];
          a[j][k] = t * d[k];
          pivot -= t * t * d[k];
        }
        const bool failed = MatTolerance() >= pivot;
        d[j] = failed ? std::numeric_limits<double>::max() : 1.0 / pivot;
        if (failed) status = 1;
      }
      const int begin = std::max(first, j + 1);
      DotProducts(a + begin, 0, end - begin, a[j], j, dots);
      for (int i = begin; i < end; ++i) a[i][j] -= dots[i - begin];
    }
  }
  return status;
}

// Cells first to first + 7 of row j of M': cell i is -L(i, j) less the inner product of row i of L and row j of M' over
// the cells between j and i. first - j - 1 is a multiple of 8, so all eight share the partial sums up to `first`, and
// each goes on with the cells of the group that come before its own.
void InvertGroup(RowMatrix a, int n, int j, int first) {
  const double *l[kGroup], *m = a[j] + j + 1;
  const int rows = std::min(kGroup, n - first), shared = first - j - 1;
  for (int r = 0; r < kGroup; ++r) l[r] = a[first + std::min(r, rows - 1)] + j + 1;
  double s[4][kGroup];
  CurrentMicroKernel().lanes(l, m, shared, s);
  for (int r = 0; r < rows; ++r) {
    for (int k = 0; k < r; ++k) s[r >= 4 && k < 4 ? k : 0][r] += l[r][shared + k] * m[shared + k];
    a[j][first + r] = -a[first + r][j] - (s[2][r] + s[1][r] + s[3][r] + s[0][r]);
  }
}

// Step one of the inverse: M, the inverse of L, as its transpose into the strict upper triangle. By bands of rows of L
// that stay in cache; in row j of M' the groups begin at j + 1, j + 9, ...
void InvertUnitLower(RowMatrix a, int n) {
  for (int band = 0; band < n; band += kGroup)
    for (int j = 0; j < std::min(band + kGroup, n) - 1; ++j) {
      const int first = band + (j + 1) % kGroup;
      if (first <= j || first >= n) continue;
      if (first > j + 1) {
        InvertGroup(a, n, j, first);
      } else {
        for (int i = first; i < std::min(first + kGroup, n); ++i)
          a[j][i] = -a[i][j] - DotProduct(a[i] + j + 1, a[j] + j + 1, i - 1 - j);
      }
    }
}

// Step two: the upper triangle becomes that of M' diag(d) M.
void MultiplyInverses(RowMatrix a, int n, const double *d) {
  for (int first = 0; first < n; first += kGroup) {
    const int end = std::min(first + kGroup, n);
    double dots[kGroup];
    for (int j = first; j < n; ++j) {
      const int rows = std::min(j, end) - first;
      DotProducts(a + first, j + 1, rows, a[j] + j + 1, n - 1 - j, dots);
      for (int r = 0; r < rows; ++r) a[first + r][j] += dots[r];
      if (j >= end) continue;
      double sum = 0.0;
      for (int k = j + 1; k < n; ++k) {
        const double t = a[j][k];
        a[j][k] = t * d[k];
        sum += a[j][k] * t;
      }
      a[j][j] = sum + d[j];
    }
  }
}

void LdlInvert(RowMatrix a, int n) {
  OwnedRows d(1, n);
  if (!d) {
    MatFillMissing(a, n, n);
    return;
  }
  std::copy_n(a[0], n, d[0]);
  InvertUnitLower(a, n);
  MultiplyInverses(a, n, d[0]);
  for (int i = 1; i < n; ++i)
    for (int j = 0; j < i; ++j) a[i][j] = a[j][i];
}

}  // namespace

int KernelCholesky(RowMatrix a, int n) {
  if (n < 1) return 0;
  if (n > kBlock && a != nullptr) {
    OwnedRows work(kBlock, kBlock), other(kBlock, kBlock);
    if (work && other) return CholeskyBlocked(a, n, work.get(), other.get());
  }
  return CholeskyPlain(a, n);
}

int KernelInvertSpd(RowMatrix a, int n, double *logDet) {
  if (a == nullptr) return 3;
  if (n < 1) {
    if (logDet != nullptr) *logDet = 0.0;
    return 0;
  }
  if (a[0] == nullptr) return 3;
  if (LdlFactor(a, n) != 0) return 1;
  if (logDet != nullptr) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += std::log(a[0][i]);
    *logDet = -sum;
  }
  LdlInvert(a, n);
  return 0;
}

}  // namespace tessel
