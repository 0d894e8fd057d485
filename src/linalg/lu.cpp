// General matrix inverse.
#include "linalg/lu.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/heap.h"
#include "core/missing.h"
#include "linalg/dot_product.h"
#include "linalg/micro_kernel.h"
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
  Matrix lu;
  Matrix mirror;
  std::span<int> piv;
  double *t;        // the current column, cell i at row i
  double *partial;  // room for n x kPanel partial sums
  int start = 0;
  int end = 0;
};

// The partial sums of rows of two matrices over the columns left of the panel.
PartialSums SumsLeftOfPanel(const LuPanel &p, ConstMatrix a, ConstMatrix b) {
  if (p.start == 0) return {nullptr, 0};
  const PartialSums sums = {p.partial, a.rows};
  CurrentMicroKernel().rows->accumulate(sums, a.Columns(0, p.start), b.Columns(0, p.start));
  return sums;
}

// t = column j from the diagonal down, less the products with the columns before it.
void ReduceColumn(const LuPanel &p, int j, const PartialSums &left) {
  const int n = p.lu.rows;
  for (int i = j; i < n; i += 4) {
    const int group = std::min(4, n - i);
    double sums[4];
    CurrentMicroKernel().rows->dotFour(p.lu.Block(i, group, p.start, j - p.start), p.mirror[j] + p.start,
                                       left.At(i - p.start, j - p.start), 4, sums);
    for (int q = 0; q < group; ++q) p.t[i + q] = p.lu[i + q][j] - sums[q];
  }
}

// Cells from..to-1 of row j of U and of the mirror; partial, step: the products left of the panel.
void ReduceRow(const LuPanel &p, int j, int from, int to, const double *partial, std::int64_t step) {
  for (int c = from; c < to; c += 4) {
    const int group = std::min(4, to - c);
    double sums[4];
    CurrentMicroKernel().rows->dotFour(p.mirror.Block(c, group, p.start, j - p.start), p.lu[j] + p.start,
                                       partial == nullptr ? nullptr : partial + (c - from) * step, step, sums);
    for (int q = 0; q < group; ++q) p.mirror[c + q][j] = p.lu[j][c + q] -= sums[q];
  }
}

// Swaps the row of the pivot of step j into row j, with its partial sums.
void ExchangePivot(const LuPanel &p, int j, const PartialSums &left) {
  const int n = p.lu.rows;
  int best = j;
  double largest = 0;
  for (int i = j; i < n; ++i) {
    if (std::fabs(p.t[i]) > largest) {
      largest = std::fabs(p.t[i]);
      best = i;
    }
  }
  p.piv[static_cast<std::size_t>(j)] = best;
  if (best == j) return;
  std::swap_ranges(p.lu[j], p.lu[j] + n, p.lu[best]);
  std::swap(p.t[j], p.t[best]);
  for (int c = 0; c < p.end - p.start && left.cells != nullptr; ++c)
    std::swap_ranges(left.At(j - p.start, c), left.At(j - p.start, c) + 4, left.At(best - p.start, c));
}

// Factorises the panel's columns; false at the step, stored in `step`, whose pivot fails.
bool FactorColumns(const LuPanel &p, int *step) {
  const int n = p.lu.rows;
  const PartialSums left = SumsLeftOfPanel(p, p.lu.Rows(p.start, n - p.start), p.mirror.Rows(p.start, p.end - p.start));
  for (int j = p.start; j < p.end; ++j) {
    *step = j;
    ReduceColumn(p, j, left);
    ExchangePivot(p, j, left);
    if (MatTolerance() >= std::fabs(p.t[j])) return false;
    p.lu[j][j] = p.t[j];
    for (int i = j + 1; i < n; ++i) p.lu[i][j] = p.mirror[j][i] = p.t[i] / p.t[j];
    ReduceRow(p, j, j + 1, p.end, left.At(j - p.start, j + 1 - p.start), std::int64_t{4} * left.rows);
  }
  return true;
}

// The panel's rows of U right of the panel, by blocks of columns that stay in cache.
void FactorRows(const LuPanel &p) {
  const int n = p.lu.rows;
  for (int c = p.end; c < n; c += kPanel) {
    const int end = std::min(c + kPanel, n);
    const PartialSums left = SumsLeftOfPanel(p, p.mirror.Rows(c, end - c), p.lu.Rows(p.start, p.end - p.start));
    for (int j = p.start; j < p.end; ++j) ReduceRow(p, j, c, end, left.At(0, j - p.start), 4);
  }
}

double LargestRowSum(ConstMatrix a) {
  double largest = 0;
  for (int i = 0; i < a.rows; ++i) {
    double sum = 0;
    for (int j = 0; j < a.columns; ++j) sum += std::fabs(a[i][j]);
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

// Strips of right-hand sides through one diagonal block of L and of U, of which one may be null.
void SolveDiagonalBlock(ConstMatrix l, ConstMatrix u, bool lowerHasDiagonal, Matrix b) {
  const RowKernels &kernels = *CurrentMicroKernel().rows;
  alignas(64) StripRow strip[kBlock];
  for (int c = 0; c < b.columns; c += kStripWidth) {
    const int width = std::min(kStripWidth, b.columns - c);
    if (width < kStripWidth) std::fill_n(strip[0], kBlock * kStripWidth, 0.0);
    for (int i = 0; i < b.rows; ++i) CopyStripRow(b[i] + c, width, strip[i]);
    if (l) kernels.solveLower(l, lowerHasDiagonal, strip);
    if (u) kernels.solveUpper(u, strip);
    for (int i = 0; i < b.rows; ++i) CopyStripRow(strip[i], width, b[i] + c);
  }
}

// b -= a x. The scratch matrix, of at least b's size, may be null.
void SubtractProduct(ConstMatrix a, ConstMatrix x, Matrix b, Matrix scratch) {
  if (scratch) {
    const Matrix product = scratch.Block(0, b.rows, 0, b.columns);
    KernelMultiply(product, a, x, Transposed::None);
    for (int i = 0; i < b.rows; ++i) CurrentMicroKernel().rows->addScaled(b[i], -1, product[i], b.columns);
    return;
  }
  for (int i = 0; i < b.rows; ++i)
    for (int k = 0; k < x.rows; ++k) CurrentMicroKernel().rows->addScaled(b[i], -a[i][k], x[k], b.columns);
}

void SolveLowerByBlocks(ConstMatrix l, Matrix b, bool lowerHasDiagonal, bool identityInput, Matrix scratch) {
  const int n = b.rows;
  const bool unit = identityInput && n == b.columns;
  for (int r0 = 0; r0 < n; r0 += kBlock) {
    const int rows = std::min(kBlock, n - r0);
    const Matrix part = b.Columns(0, unit ? r0 + rows : b.columns), block = part.Rows(r0, rows);
    if (r0 > 0) SubtractProduct(l.Block(r0, rows, 0, r0), part.Rows(0, r0), block, scratch);
    SolveDiagonalBlock(l.Block(r0, rows, r0, rows), {}, lowerHasDiagonal, block);
    for (int i = 0; i < rows && unit; ++i) std::fill(block[i] + r0 + i + 1, block[i] + block.columns, 0.0);
  }
}

void SolveUpperByBlocks(ConstMatrix u, Matrix b, Matrix scratch) {
  const int n = b.rows;
  for (int r1 = n; r1 > 0; r1 -= kBlock) {
    const int rows = std::min(kBlock, r1), r0 = r1 - rows;
    const Matrix block = b.Rows(r0, rows);
    if (r1 < n) SubtractProduct(u.Block(r0, rows, r1, n - r1), b.Rows(r1, n - r1), block, scratch);
    SolveDiagonalBlock({}, u.Block(r0, rows, r0, rows), false, block);
  }
}

// Row i of output = L^-1 e(i).
void SolveLowerUnitVectors(ConstMatrix l, Matrix output) {
  for (int j = 1; j < output.rows; ++j)
    for (int i = 0; i < j; ++i) output[i][j] = -DotProduct(l[j] + i, output[i] + i, j - i);
}

// Marks the steps from `step` on as failed.
void EndAtStep(const LuPanel &p, int step) {
  for (int i = step; i < p.lu.rows; ++i) {
    p.piv[static_cast<std::size_t>(i)] = i;
    p.lu[i][i] = p.mirror[i][i] = 0;
  }
}

}  // namespace

Status LuFactor(Matrix lu, std::span<int> piv, Matrix mirror, LogDeterminant *determinant) {
  const int n = lu.rows;
  if (determinant != nullptr) *determinant = {};
  const double scaledTolerance = determinant != nullptr ? MatTolerance() * LargestRowSum(lu) : 0;
  OwnedMatrix own;
  if (!mirror) {
    own = OwnedMatrix(n, n);
    if (!own) return Status::NoMemory;
    mirror = own;
  }
  const OwnedBlock<double> work(n > kPanel ? std::int64_t{n} * (1 + 4 * kPanel) : n);
  if (!work) return Status::NoMemory;
  LuPanel panel{.lu = lu, .mirror = mirror, .piv = piv, .t = work.get(), .partial = work.get() + n};
  for (panel.start = 0; panel.start < n; panel.start = panel.end) {
    panel.end = std::min(panel.start + kPanel, n);
    int step = 0;
    if (!FactorColumns(panel, &step)) {
      EndAtStep(panel, step);
      return Status::Singular;
    }
    FactorRows(panel);
  }
  if (determinant != nullptr) *determinant = LuLogDet(lu, piv, scaledTolerance);
  return Status::Ok;
}

LogDeterminant LuLogDet(ConstMatrix lu, std::span<const int> piv, double scaledTolerance) {
  int sign = 1;
  double smallest = PositiveInfinity();
  double sum = 0;
  for (int i = 0; i < lu.rows; ++i) {
    const double d = lu[i][i];
    if (d == 0) return {};
    if ((d < 0) != (piv[static_cast<std::size_t>(i)] != i)) sign = -sign;
    sum += std::log(std::fabs(d));
    smallest = std::min(smallest, std::fabs(d));
  }
  return {sum, scaledTolerance >= smallest ? 2 * sign : sign};
}

void LuInverse(ConstMatrix l, ConstMatrix u, std::span<const int> piv, Matrix output) {
  const int n = output.rows;
  FillIdentity(output);
  if (n <= kBlock) {
    SolveLowerUnitVectors(l, output);
    MatTransposeInPlace(output);
    TriangularSolve({}, u, output, false, false);
  } else {
    TriangularSolve(l, u, output, false, true);
  }
  for (int r = 0; r < n; ++r)
    for (int i = n - 1; i >= 0; --i) {
      const int other = piv[static_cast<std::size_t>(i)];
      if (other != i) std::swap(output[r][i], output[r][other]);
    }
}

void TriangularSolve(ConstMatrix l, ConstMatrix u, Matrix b, bool lowerHasDiagonal, bool identityInput) {
  if (b.Empty()) return;
  if (b.rows <= kBlock) {
    SolveDiagonalBlock(l, u, lowerHasDiagonal, b);
    return;
  }
  const OwnedMatrix scratch(kBlock, b.columns);
  if (l) SolveLowerByBlocks(l, b, lowerHasDiagonal, identityInput, scratch);
  if (u) SolveUpperByBlocks(u, b, scratch);
}

Status KernelInvertGeneral(Matrix a, LogDeterminant *determinant) {
  if (determinant != nullptr) *determinant = {};
  if (a.Empty() || !a) return Status::Invalid;
  const auto lu = OwnedMatrix::Clone(a);
  const OwnedBlock<int> piv(a.rows);
  if (!piv || !lu) return Status::NoMemory;
  const std::span<int> interchanges(piv.get(), static_cast<std::size_t>(a.rows));
  const Status status = LuFactor(lu, interchanges, a, determinant);
  if (Succeeded(status)) LuInverse(lu, lu, interchanges, a);
  return status;
}

}  // namespace tessel
