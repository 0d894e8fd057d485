// Rank-revealing least squares.
#include "linalg/qr.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/heap.h"
#include "linalg/dot_product.h"
#include "linalg/micro_kernel.h"
#include "linalg/row_kernels.h"

namespace tessel {
namespace {

// A squared row norm that was updated to less than this has lost its digits and is formed anew.
constexpr double kNormLost = 2.220446049250313e-14;

double SumOfSquares(const double *x, int n) { return DotProduct(x, x, n); }

struct Candidate {
  int row;
  double norm;
};

// The first row of the largest norm among first..k-1.
Candidate LargestNorm(const double *norm, int first, int k) {
  Candidate best = {first, 0.0};
  for (int r = first; r < k; ++r)
    if (norm[r] > best.norm) best = {r, norm[r]};
  return best;
}

// A factorisation under way. A reflection needs the inner product of its vector with a row before it can change the
// row; the change is then put off until the next reflection reads the row, so that each step passes over the rows once.
// Only the cells of the step's own column, which the norms need, change at once.
struct QrState {
  RowMatrix x;
  int k;
  int t;
  double *norm;   // squared norms of what remains of each row
  double *scale;  // the multiple of v that row r has yet to receive
  double *v;      // the vector of the last step
  double *w;      // the vector of this step
};

void Settle(const QrState &s, int r, int from) {
  CurrentRowKernels().addScaled(s.x[r] + from, s.scale[r], s.v + from, s.t - from);
  s.scale[r] = 0;
}

void ExchangeRows(const QrState &s, int i, int p) {
  if (p == i) return;
  std::swap_ranges(s.x[i], s.x[i] + s.t, s.x[p]);
  std::swap(s.norm[i], s.norm[p]);
  std::swap(s.scale[i], s.scale[p]);
}

// Makes the reflection of row i and applies it. Row i keeps the vector behind its diagonal cell. Returns beta.
double Reflect(const QrState &s, int i) {
  double *own = s.x[i] + i;
  double *w = s.w + i;
  const int n = s.t - i;
  Settle(s, i, i);
  std::copy_n(own, n, w);
  const double beta = HouseholderVector(w, n);
  own[0] += DotProduct(own, w, n) * beta * w[0];
  std::copy_n(w + 1, n - 1, own + 1);
  CurrentRowKernels().addScaledAndDot(s.x + i + 1, s.k - i - 1, i, s.scale + i + 1, s.v + i, w, n, s.scale + i + 1);
  for (int r = i + 1; r < s.k; ++r) s.x[r][i] += (s.scale[r] *= beta) * w[0];
  return beta;
}

// Takes column i, which is finished, off the squared norms of the rows after i.
void ReduceNorms(const QrState &s, int i) {
  for (int r = i + 1; r < s.k; ++r) {
    s.norm[r] -= s.x[r][i] * s.x[r][i];
    if (!(kNormLost > s.norm[r])) continue;
    Settle(s, r, i + 1);
    s.norm[r] = SumOfSquares(s.x[r] + i + 1, s.t - i - 1);
  }
}

// Makes the unit lower triangle and reciprocal pivots of X X' = U D U' out of the leading block of L', in place.
void ScaleToLdl(RowMatrix x, int rank) {
  for (int i = 0; i < rank; ++i) {
    const double d = 1 / x[i][i];
    x[i][i] = d * d;
    for (int j = i + 1; j < rank; ++j) x[i][j] = x[j][i] *= d;
  }
}

// Cells i..rank-1 of row i of the inverse, from the factor that ScaleToLdl leaves.
void InverseFromLdl(RowMatrix x, int rank, int i, double *row) {
  row[i] = 1;
  for (int j = i + 1; j < rank; ++j) row[j] = -DotProduct(x[j] + i, row + i, j - i);
  row[rank - 1] *= x[rank - 1][rank - 1];
  for (int q = rank - 2; q >= i; --q) row[q] = x[q][q] * row[q] - DotProduct(x[q] + q + 1, row + q + 1, rank - 1 - q);
}

// Undoes the exchanges 0..count-1 within one row.
void UnpivotRow(double *row, int count, const int *pivot) {
  if (pivot == nullptr) return;
  for (int i = count - 1; i >= 0; --i)
    if (pivot[i] != i) std::swap(row[i], row[pivot[i]]);
}

// Undoes them in the rows and in the columns of a k x k matrix.
void UnpivotSquare(RowMatrix s, int k, int count, const int *pivot) {
  if (pivot == nullptr) return;
  for (int i = count - 1; i >= 0; --i)
    if (pivot[i] != i) std::swap_ranges(s[i], s[i] + k, s[pivot[i]]);
  for (int i = 0; i < k; ++i) UnpivotRow(s[i], count, pivot);
}

void SolveCoefficients(RowMatrix x, int k, const int *pivot, int rank, RowMatrix y, int m, RowMatrix b) {
  MatZero(b, m, k);
  for (int q = 0; q < m; ++q) {
    for (int i = rank - 1; i >= 0; --i)
      b[q][i] = (y[q][i] - DotProduct(x[i] + i + 1, b[q] + i + 1, rank - 1 - i)) / x[i][i];
    UnpivotRow(b[q], rank, pivot);
  }
}

void RebuildMoments(RowMatrix x, int k, int t, const int *pivot, RowMatrix xtx) {
  for (int i = 0; i < k; ++i)
    for (int j = 0; j <= i; ++j) xtx[i][j] = xtx[j][i] = DotProduct(x[i], x[j], std::min(j + 1, t));
  UnpivotSquare(xtx, k, k, pivot);
}

void InvertMoments(RowMatrix x, int k, const int *pivot, int rank, RowMatrix xtxInv) {
  ScaleToLdl(x, rank);
  MatZero(xtxInv, k, k);
  for (int i = 0; i < rank; ++i) InverseFromLdl(x, rank, i, xtxInv[i]);
  for (int i = 0; i < rank; ++i)
    for (int j = 0; j < i; ++j) xtxInv[i][j] = xtxInv[j][i];
  UnpivotSquare(xtxInv, k, rank, pivot);
}

}  // namespace

double HouseholderVector(double *x, int n) {
  if (n < 1) return 0;
  const double alpha = x[0];
  x[0] = 1;
  const double sigma = SumOfSquares(x + 1, n - 1);
  if (n == 1 || sigma == 0) return -2;
  const double norm = std::sqrt(sigma + alpha * alpha);
  const double c = alpha >= 0 ? alpha + norm : alpha - norm;
  const double scale = 1 / c;
  for (int j = 1; j < n; ++j) x[j] *= scale;
  return -2 / (sigma / (c * c) + 1);
}

void HouseholderApplyRows(RowMatrix rows, int count, int t, const double *v, int first, int i, double beta) {
  for (int r = first; r < count; r += kLaneRows) {
    const int group = std::min(kLaneRows, count - r);
    double sums[kLaneRows];
    DotProducts(rows + r, i, group, v + i, t - i, sums);
    for (int q = 0; q < group; ++q) CurrentRowKernels().addScaled(rows[r + q] + i, beta * sums[q], v + i, t - i);
  }
}

int KernelQrPivot(RowMatrix x, int k, int t, int *pivot, double *beta) {
  const OwnedBlock<double> rowWork = OwnedBlock<double>::Zeroed(2 * std::int64_t{k});
  const OwnedBlock<double> columnWork = OwnedBlock<double>::Zeroed(2 * std::int64_t{t});
  if (!rowWork || !columnWork) return 0;
  QrState s = {x, k, t, rowWork.get(), rowWork.get() + k, columnWork.get(), columnWork.get() + t};
  for (int r = 0; r < k; ++r) s.norm[r] = SumOfSquares(x[r], t);
  int i = 0;
  for (; i < std::min(k, t); ++i) {
    const Candidate next = pivot != nullptr ? LargestNorm(s.norm, i, k) : Candidate{i, s.norm[i]};
    if (next.norm == 0) break;
    if (pivot != nullptr) pivot[i] = next.row;
    ExchangeRows(s, i, next.row);
    beta[i] = Reflect(s, i);
    std::swap(s.v, s.w);
    ReduceNorms(s, i);
  }
  for (int r = i; r < k; ++r) {
    Settle(s, r, i);
    if (pivot != nullptr) pivot[r] = r;
    if (r < t) x[r][r] = 0;
  }
  return 1;
}

int QrRank(RowMatrix x, int k, int t, int *rank) {
  const int n = std::min(k, t);
  *rank = 0;
  if (n < 1) return QrRankDeficient;
  double largest = SumOfSquares(x[0], 1);
  double smallest = largest;
  for (int i = 1; i < n; ++i) {
    const double norm = SumOfSquares(x[i], i + 1);
    largest = std::max(largest, norm);
    smallest = std::min(smallest, norm);
  }
  if (largest == 0) return QrRankDeficient;
  const double limit = MatTolerance() * std::sqrt(largest);
  while (*rank < n && std::fabs(x[*rank][*rank]) > limit) ++*rank;
  const bool ill = MatTolerance() >= smallest / largest;
  if (*rank < n) return ill ? QrRankDeficientIll : QrRankDeficient;
  return ill ? QrFullRankIll : QrFullRank;
}

void QrSolve(RowMatrix x, int k, int t, const int *pivot, int rank, const double *beta, RowMatrix y, int m, RowMatrix b,
             RowMatrix xtxInv, RowMatrix xtx) {
  for (int i = 0; i < rank; ++i) {
    const double diagonal = std::exchange(x[i][i], 1.0);
    HouseholderApplyRows(y, m, t, x[i], 0, i, beta[i]);
    x[i][i] = diagonal;
  }
  if (b == nullptr && xtxInv == nullptr && xtx == nullptr) return;
  for (int i = 0; i < rank; ++i)
    for (int j = i + 1; j < rank; ++j) x[i][j] = x[j][i];
  if (b != nullptr) SolveCoefficients(x, k, pivot, rank, y, m, b);
  if (xtx != nullptr) RebuildMoments(x, k, t, pivot, xtx);
  if (xtxInv != nullptr) InvertMoments(x, k, pivot, rank, xtxInv);
}

int MatOlsQr(RowMatrix x, int k, int t, RowMatrix y, int m, RowMatrix b, RowMatrix xtxInv, RowMatrix xtx) {
  const OwnedBlock<int> pivot(k);
  const OwnedBlock<double> beta(k);
  if (!pivot || !beta) return QrNoMemory;
  if (kernelTable.qrPivot(x, k, t, pivot.get(), beta.get()) == 0) return QrNoMemory;
  int rank = 0;
  const int code = QrRank(x, k, t, &rank);
  QrSolve(x, k, t, pivot.get(), rank, beta.get(), y, m, b, xtxInv, xtx);
  return code;
}

}  // namespace tessel
