// General matrix inverse.
#include "linalg/lu.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/heap.h"
#include "linalg/dot_product.h"
#include "linalg/moments.h"
#include "linalg/products.h"
#include "linalg/row_kernels.h"

namespace tessel {
namespace {

constexpr int kPanel = 32;  // columns of LuFactor that share their sums over the columns before them
constexpr int kBlock = 64;  // rows of TriangularSolve between two matrix products

// A factorisation under way at the panel of columns start..end-1. Each element is its input less an inner product of a
// row of L with a row of the mirror. The part of these products left of the panel is formed for the whole panel at
// once, as partial sums that the panel's own columns then complete: the same additions in the same order.
struct LuPanel {
  RowMatrix lu;
  RowMatrix mirror;
  int n;
  int *piv;
  double *t;        // the current column, cell i at row i
  double *partial;  // room for n x kPanel partial sums
  int start = 0;
  int end = 0;
};

PartialSums SumsLeftOfPanel(const LuPanel &p, RowMatrix a, int aCount, RowMatrix b, int bCount) {
  if (p.start == 0) return {nullptr, 0};
  const PartialSums sums = {p.partial, aCount};
  CurrentRowKernels().accumulate(sums, a, aCount, b, bCount, p.start);
  return sums;
}

// t = column j from the diagonal down, less the products with the columns before it.
void ReduceColumn(const LuPanel &p, int j, const PartialSums &left) {
  for (int i = j; i < p.n; i += 4) {
    const int group = std::min(4, p.n - i);
    double sums[4];
    CurrentRowKernels().dotFour(p.lu + i, group, p.start, p.mirror[j] + p.start, j - p.start,
                                left.At(i - p.start, j - p.start), 4, sums);
    for (int q = 0; q < group; ++q) p.t[i + q] = p.lu[i + q][j] - sums[q];
  }
}

// Cells from..to-1 of row j of U and of the mirror; partial, step: the products left of the panel.
void ReduceRow(const LuPanel &p, int j, int from, int to, const double *partial, std::int64_t step) {
  for (int c = from; c < to; c += 4) {
    const int group = std::min(4, to - c);
    double sums[4];
    CurrentRowKernels().dotFour(p.mirror + c, group, p.start, p.lu[j] + p.start, j - p.start,
                                partial == nullptr ? nullptr : partial + (c - from) * step, step, sums);
    for (int q = 0; q < group; ++q) p.mirror[c + q][j] = p.lu[j][c + q] -= sums[q];
  }
}

// The row of the pivot of step j, brought to row j with all that is known of it.
void ExchangePivot(const LuPanel &p, int j, const PartialSums &left) {
  int best = j;
  double largest = 0;
  for (int i = j; i < p.n; ++i) {
    if (std::fabs(p.t[i]) > largest) {
      largest = std::fabs(p.t[i]);
      best = i;
    }
  }
  p.piv[j] = best;
  if (best == j) return;
  std::swap_ranges(p.lu[j], p.lu[j] + p.n, p.lu[best]);
  std::swap(p.t[j], p.t[best]);
  for (int c = 0; c < p.end - p.start && left.cells != nullptr; ++c)
    std::swap_ranges(left.At(j - p.start, c), left.At(j - p.start, c) + 4, left.At(best - p.start, c));
}

// Factorises the panel's columns; false at the step, stored in `step`, whose pivot fails.
bool FactorColumns(const LuPanel &p, int *step) {
  const PartialSums left = SumsLeftOfPanel(p, p.lu + p.start, p.n - p.start, p.mirror + p.start, p.end - p.start);
  for (int j = p.start; j < p.end; ++j) {
    *step = j;
    ReduceColumn(p, j, left);
    ExchangePivot(p, j, left);
    if (MatTolerance() >= std::fabs(p.t[j])) return false;
    p.lu[j][j] = p.t[j];
    for (int i = j + 1; i < p.n; ++i) p.lu[i][j] = p.mirror[j][i] = p.t[i] / p.t[j];
    ReduceRow(p, j, j + 1, p.end, left.At(j - p.start, j + 1 - p.start), std::int64_t{4} * left.rows);
  }
  return true;
}

// The panel's rows of U right of the panel, by blocks of columns that stay in cache.
void FactorRows(const LuPanel &p) {
  for (int c = p.end; c < p.n; c += kPanel) {
    const int end = std::min(c + kPanel, p.n);
    const PartialSums left = SumsLeftOfPanel(p, p.mirror + c, end - c, p.lu + p.start, p.end - p.start);
    for (int j = p.start; j < p.end; ++j) ReduceRow(p, j, c, end, left.At(0, j - p.start), 4);
  }
}

double LargestRowSum(RowMatrix a, int n) {
  double largest = 0;
  for (int i = 0; i < n; ++i) {
    double sum = 0;
    for (int j = 0; j < n; ++j) sum += std::fabs(a[i][j]);
    largest = std::max(largest, sum);
  }
  return largest;
}

// A copy of known length in all strips but the last.
void CopyStripRow(const double *from, int width, double *to) {
  if (width == kStripWidth) {
    std::copy_n(from, kStripWidth, to);
  } else {
    std::copy_n(from, width, to);
  }
}

// Strips of right-hand sides through one diagonal block: l and u (either may be null) begin at its first row, `at` is
// its first column; b begins at its first row too.
void SolveDiagonalBlock(RowMatrix l, RowMatrix u, int at, int n, bool lowerHasDiagonal, RowMatrix b, int columns) {
  const RowKernels &kernels = CurrentRowKernels();
  alignas(64) StripRow strip[kBlock];
  for (int c = 0; c < columns; c += kStripWidth) {
    const int width = std::min(kStripWidth, columns - c);
    if (width < kStripWidth) std::fill_n(strip[0], kBlock * kStripWidth, 0.0);
    for (int i = 0; i < n; ++i) CopyStripRow(b[i] + c, width, strip[i]);
    if (l != nullptr) kernels.solveLower(l, at, n, lowerHasDiagonal, strip);
    if (u != nullptr) kernels.solveUpper(u, at, n, strip);
    for (int i = 0; i < n; ++i) CopyStripRow(strip[i], width, b[i] + c);
  }
}

// b (rows x columns) -= a x, with cell (i, k) of a in a[i][at + k]. The scratch matrix, rows x columns, may be null.
void SubtractProduct(RowMatrix a, int at, int rows, int inner, RowMatrix x, RowMatrix b, int columns,
                     RowMatrix scratch) {
  if (scratch != nullptr) {
    double *shifted[kBlock];
    for (int i = 0; i < rows; ++i) shifted[i] = a[i] + at;
    MatMul(shifted, rows, inner, x, columns, scratch);
    for (int i = 0; i < rows; ++i) CurrentRowKernels().addScaled(b[i], -1, scratch[i], columns);
    return;
  }
  for (int i = 0; i < rows; ++i)
    for (int k = 0; k < inner; ++k) CurrentRowKernels().addScaled(b[i], -a[i][at + k], x[k], columns);
}

void SolveLowerByBlocks(RowMatrix l, RowMatrix b, int n, int m, bool lowerHasDiagonal, bool identityInput,
                        RowMatrix scratch) {
  const bool unit = identityInput && n == m;
  for (int r0 = 0; r0 < n; r0 += kBlock) {
    const int rows = std::min(kBlock, n - r0);
    const int columns = unit ? r0 + rows : m;
    if (r0 > 0) SubtractProduct(l + r0, 0, rows, r0, b, b + r0, columns, scratch);
    SolveDiagonalBlock(l + r0, nullptr, r0, rows, lowerHasDiagonal, b + r0, columns);
    for (int i = r0; i < r0 + rows && unit; ++i) std::fill(b[i] + i + 1, b[i] + columns, 0.0);
  }
}

void SolveUpperByBlocks(RowMatrix u, RowMatrix b, int n, int m, RowMatrix scratch) {
  for (int r1 = n; r1 > 0; r1 -= kBlock) {
    const int rows = std::min(kBlock, r1);
    const int r0 = r1 - rows;
    if (r1 < n) SubtractProduct(u + r0, r1, rows, n - r1, b + r1, b + r0, m, scratch);
    SolveDiagonalBlock(nullptr, u + r0, r0, rows, false, b + r0, m);
  }
}

// Row i of output = L^-1 e(i).
void SolveLowerUnitVectors(RowMatrix l, RowMatrix output, int n) {
  for (int j = 1; j < n; ++j)
    for (int i = 0; i < j; ++i) output[i][j] = -DotProduct(l[j] + i, output[i] + i, j - i);
}

}  // namespace

int LuFactor(RowMatrix lu, int n, int *piv, double *logDet, int *signCode, RowMatrix mirror) {
  double scaledTolerance = 0;
  if (logDet != nullptr) {
    *logDet = 1.0;
    scaledTolerance = MatTolerance() * LargestRowSum(lu, n);
  }
  if (signCode != nullptr) *signCode = 0;
  OwnedRows own;
  if (mirror == nullptr && n > 0) {
    own = OwnedRows(n, n);
    if (!own) return -1;
    mirror = own.get();
  }
  const OwnedBlock<double> work(n > kPanel ? std::int64_t{n} * (1 + 4 * kPanel) : n);
  if (!work) return -1;
  LuPanel panel{.lu = lu, .mirror = mirror, .n = n, .piv = piv, .t = work.get(), .partial = work.get() + n};
  for (panel.start = 0; panel.start < n; panel.start = panel.end) {
    panel.end = std::min(panel.start + kPanel, n);
    int step = 0;
    if (!FactorColumns(panel, &step)) {
      for (int i = step; i < n; ++i) {
        piv[i] = i;
        lu[i][i] = mirror[i][i] = 0;
      }
      return 1 + step;
    }
    FactorRows(panel);
  }
  if (logDet != nullptr) {
    const int code = LuLogDet(lu, n, piv, scaledTolerance, logDet);
    if (signCode != nullptr) *signCode = code;
  }
  return 0;
}

int LuLogDet(RowMatrix lu, int n, const int *piv, double scaledTolerance, double *logDet) {
  int sign = 1;
  double smallest = PositiveInfinity();
  double sum = 0;
  for (int i = 0; i < n; ++i) {
    const double d = lu[i][i];
    if (d == 0) {
      *logDet = 1.0;
      return 0;
    }
    if ((d < 0) != (piv[i] != i)) sign = -sign;
    sum += std::log(std::fabs(d));
    smallest = std::min(smallest, std::fabs(d));
  }
  *logDet = sum;
  return scaledTolerance >= smallest ? 2 * sign : sign;
}

void LuInverse(RowMatrix l, RowMatrix u, const int *piv, RowMatrix output, int n) {
  MatIdentity(output, n);
  if (n <= kBlock) {
    SolveLowerUnitVectors(l, output, n);
    MatTransposeInPlace(output, n);
    TriangularSolve(nullptr, u, output, n, n, false, false);
  } else {
    TriangularSolve(l, u, output, n, n, false, true);
  }
  for (int r = 0; r < n; ++r)
    for (int i = n - 1; i >= 0; --i)
      if (piv[i] != i) std::swap(output[r][i], output[r][piv[i]]);
}

void TriangularSolve(RowMatrix l, RowMatrix u, RowMatrix b, int n, int m, bool lowerHasDiagonal, bool identityInput) {
  if (n < 1 || m < 1) return;
  if (n <= kBlock) {
    SolveDiagonalBlock(l, u, 0, n, lowerHasDiagonal, b, m);
    return;
  }
  const OwnedRows scratch(kBlock, m);
  if (l != nullptr) SolveLowerByBlocks(l, b, n, m, lowerHasDiagonal, identityInput, scratch.get());
  if (u != nullptr) SolveUpperByBlocks(u, b, n, m, scratch.get());
}

int KernelInvertGeneral(RowMatrix a, int n, double *logDet, int *signCode) {
  if (n < 1) return 1;
  const OwnedBlock<int> piv(n);
  const OwnedRows lu = OwnedRows::Clone(a, n, n);
  if (!piv || !lu) return 1;
  if (LuFactor(lu.get(), n, piv.get(), logDet, signCode, a) != 0) return 1;
  LuInverse(lu.get(), lu.get(), piv.get(), a, n);
  return 0;
}

}  // namespace tessel
