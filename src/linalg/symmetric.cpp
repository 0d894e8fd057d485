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

// The plain form; false when a pivot fails. Until the end the diagonal holds the reciprocals of the finished elements.
bool CholeskyPlain(Matrix a) {
  const int n = a.rows;
  for (int first = 0; first < n; first += kGroup) {
    const int end = std::min(first + kGroup, n);
    double squares[kGroup] = {}, dots[kGroup];
    for (int j = 0; j < end; ++j) {
      if (j >= first) {
        const double d = a[j][j] - squares[j - first];
        a[j][j] = 1.0 / std::sqrt(d);
        if (MatTolerance() >= d) return false;
      }
      const int begin = std::max(first, j + 1);
      DotProducts(a.Block(begin, end - begin, 0, j), a[j], dots);
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
  return true;
}

// B becomes B times the inverse of L', for B of m x n and a lower triangular L of n x n.
void SolveRows(Matrix b, ConstMatrix l) {
  double dots[kBlock];
  for (int c = 0; c < l.rows; ++c) {
    DotProducts(b.Columns(0, c), l[c], dots);
    for (int r = 0; r < b.rows; ++r) b[r][c] = (b[r][c] - dots[r]) / l[c][c];
  }
}

void CopyLower(Matrix to, ConstMatrix from) {
  for (int i = 0; i < from.rows; ++i) std::copy_n(from[i], i + 1, to[i]);
}

// Block (row, column) of the blocked form, by way of two scratch matrices of kBlock rows and columns. False when a
// pivot fails.
bool CholeskyBlock(Matrix a, int row, int column, Matrix firstScratch, Matrix secondScratch) {
  const int rows = std::min(kBlock, a.rows - row), columns = std::min(kBlock, a.rows - column);
  const Matrix block = a.Block(row, rows, column, columns);
  const Matrix work = firstScratch.Block(0, rows, 0, columns);
  Copy(work, block);
  if (column > 0) {
    const Matrix product = secondScratch.Block(0, rows, 0, columns);
    KernelMultiply(product, a.Block(row, rows, 0, column), a.Block(column, columns, 0, column), Transposed::B);
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < columns; ++j) work[i][j] -= product[i][j];
  }
  if (row == column) {
    if (!CholeskyPlain(work)) return false;
    CopyLower(block, work);
  } else {
    const Matrix factor = secondScratch.Block(0, columns, 0, columns);
    CopyLower(factor, a.Block(column, columns, column, columns));
    SolveRows(work, factor);
    Copy(block, work);
  }
  return true;
}

bool CholeskyBlocked(Matrix a, Matrix work, Matrix other) {
  const int n = a.rows;
  for (int row = 0; row < n; row += kBlock)
    for (int column = 0; column <= row; column += kBlock)
      if (!CholeskyBlock(a, row, column, work, other)) return false;
  for (int i = 0; i < n; ++i) std::fill(a[i] + i + 1, a[i] + n, 0.0);
  return true;
}

// A = L D L' with L unit lower triangular: L in the strict lower triangle, and d, the reciprocals of the pivots D, in
// row 0, whose cells above the diagonal are free. A failed pivot does not stop it. False when a pivot failed.
bool LdlFactor(Matrix a) {
  const int n = a.rows;
  double *d = a[0];
  bool positive = true;
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
        if (failed) positive = false;
      }
      const int begin = std::max(first, j + 1);
      DotProducts(a.Block(begin, end - begin, 0, j), a[j], dots);
      for (int i = begin; i < end; ++i) a[i][j] -= dots[i - begin];
    }
  }
  return positive;
}

// Cells first to first + 7 of row j of M': cell i is -L(i, j) less the inner product of row i of L and row j of M' over
// the cells between j and i. first - j - 1 is a multiple of 8, so all eight share the partial sums up to `first`, and
// each goes on with the cells of the group that come before its own.
void InvertGroup(Matrix a, int j, int first) {
  const double *l[kGroup], *m = a[j] + j + 1;
  const int n = a.rows, rows = std::min(kGroup, n - first), shared = first - j - 1;
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
void InvertUnitLower(Matrix a) {
  const int n = a.rows;
  for (int band = 0; band < n; band += kGroup)
    for (int j = 0; j < std::min(band + kGroup, n) - 1; ++j) {
      const int first = band + (j + 1) % kGroup;
      if (first <= j || first >= n) continue;
      if (first > j + 1) {
        InvertGroup(a, j, first);
      } else {
        for (int i = first; i < std::min(first + kGroup, n); ++i)
          a[j][i] = -a[i][j] - DotProduct(a[i] + j + 1, a[j] + j + 1, i - 1 - j);
      }
    }
}

// Step two: the upper triangle becomes that of M' diag(d) M.
void MultiplyInverses(Matrix a, const double *d) {
  const int n = a.rows;
  for (int first = 0; first < n; first += kGroup) {
    const int end = std::min(first + kGroup, n);
    double dots[kGroup];
    for (int j = first; j < n; ++j) {
      const int rows = std::min(j, end) - first;
      DotProducts(a.Block(first, rows, j + 1, n - 1 - j), a[j] + j + 1, dots);
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

// The inverse from the factor.
Status LdlInvert(Matrix a) {
  const OwnedBlock<double> d(a.rows);
  if (!d) {
    FillMissing(a);
    return Status::NoMemory;
  }
  std::copy_n(a[0], a.rows, d.get());
  InvertUnitLower(a);
  MultiplyInverses(a, d.get());
  MirrorUpper(a);
  return Status::Ok;
}

}  // namespace

Status KernelCholesky(Matrix a) {
  if (a.rows < 1) return Status::Ok;
  if (!a) return Status::Invalid;
  if (a.rows > kBlock) {
    const OwnedMatrix work(kBlock, kBlock), other(kBlock, kBlock);
    if (work && other) return CholeskyBlocked(a, work, other) ? Status::Ok : Status::NotPositive;
  }
  return CholeskyPlain(a) ? Status::Ok : Status::NotPositive;
}

Status KernelInvertSpd(Matrix a, double *logDet) {
  if (!a) return Status::Invalid;
  if (a.rows < 1) {
    if (logDet != nullptr) *logDet = 0.0;
    return Status::Ok;
  }
  if (!LdlFactor(a)) return Status::NotPositive;
  if (logDet != nullptr) {
    double sum = 0.0;
    for (int i = 0; i < a.rows; ++i) sum += std::log(a[0][i]);
    *logDet = -sum;
  }
  return LdlInvert(a);
}

}  // namespace tessel
