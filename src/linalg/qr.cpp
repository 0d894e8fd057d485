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
  Matrix x;
  double *norm;   // squared norms of what remains of each row
  double *scale;  // the multiple of v that row r has yet to receive
  double *v;      // the vector of the last step
  double *w;      // the vector of this step
};

void Settle(const QrState &s, int r, int from) {
  CurrentRowKernels().addScaled(s.x[r] + from, s.scale[r], s.v + from, s.x.columns - from);
  s.scale[r] = 0;
}

void ExchangeRows(const QrState &s, int i, int p) {
  if (p == i) return;
  std::swap_ranges(s.x[i], s.x[i] + s.x.columns, s.x[p]);
  std::swap(s.norm[i], s.norm[p]);
  std::swap(s.scale[i], s.scale[p]);
}

// Makes the reflection of row i and applies it. Row i keeps the vector behind its diagonal cell. Returns beta.
double Reflect(const QrState &s, int i) {
  double *own = s.x[i] + i;
  double *w = s.w + i;
  const int n = s.x.columns - i, below = i + 1;
  Settle(s, i, i);
  std::copy_n(own, n, w);
  const double beta = HouseholderVector({w, static_cast<std::size_t>(n)});
  own[0] += DotProduct(own, w, n) * beta * w[0];
  std::copy_n(w + 1, n - 1, own + 1);
  CurrentRowKernels().addScaledAndDot(s.x.Block(below, s.x.rows - below, i, n), s.scale + below, s.v + i, w,
                                      s.scale + below);
  for (int r = below; r < s.x.rows; ++r) s.x[r][i] += (s.scale[r] *= beta) * w[0];
  return beta;
}

// Takes column i, which is finished, off the squared norms of the rows after i.
void ReduceNorms(const QrState &s, int i) {
  for (int r = i + 1; r < s.x.rows; ++r) {
    s.norm[r] -= s.x[r][i] * s.x[r][i];
    if (!(kNormLost > s.norm[r])) continue;
    Settle(s, r, i + 1);
    s.norm[r] = SumOfSquares(s.x[r] + i + 1, s.x.columns - i - 1);
  }
}

// Makes the unit lower triangle and reciprocal pivots of X X' = U D U' out of the leading block of L', in place.
void ScaleToLdl(Matrix x, int rank) {
  for (int i = 0; i < rank; ++i) {
    const double d = 1 / x[i][i];
    x[i][i] = d * d;
    for (int j = i + 1; j < rank; ++j) x[i][j] = x[j][i] *= d;
  }
}

// Cells i..rank-1 of row i of the inverse, from the factor that ScaleToLdl leaves.
void InverseFromLdl(ConstMatrix x, int rank, int i, double *row) {
  row[i] = 1;
  for (int j = i + 1; j < rank; ++j) row[j] = -DotProduct(x[j] + i, row + i, j - i);
  row[rank - 1] *= x[rank - 1][rank - 1];
  for (int q = rank - 2; q >= i; --q) row[q] = x[q][q] * row[q] - DotProduct(x[q] + q + 1, row + q + 1, rank - 1 - q);
}

// Undoes the given exchanges within one row.
void UnpivotRow(double *row, std::span<const int> pivot) {
  for (std::size_t i = pivot.size(); i-- > 0;) std::swap(row[i], row[pivot[i]]);
}

// Undoes them in the rows and in the columns of a k x k matrix.
void UnpivotSquare(Matrix s, std::span<const int> pivot) {
  for (int i = static_cast<int>(pivot.size()) - 1; i >= 0; --i) {
    const int other = pivot[static_cast<std::size_t>(i)];
    if (other != i) std::swap_ranges(s[i], s[i] + s.columns, s[other]);
  }
  for (int i = 0; i < s.rows; ++i) UnpivotRow(s[i], pivot);
}

// The exchanges of the first `count` steps.
std::span<const int> Exchanges(const QrFactor &f, int count) {
  return f.pivot.first(std::min(f.pivot.size(), static_cast<std::size_t>(count)));
}

void SolveCoefficients(const QrFactor &f, ConstMatrix y, Matrix b) {
  FillZero(b);
  for (int q = 0; q < y.rows; ++q) {
    for (int i = f.rank - 1; i >= 0; --i)
      b[q][i] = (y[q][i] - DotProduct(f.x[i] + i + 1, b[q] + i + 1, f.rank - 1 - i)) / f.x[i][i];
    UnpivotRow(b[q], Exchanges(f, f.rank));
  }
}

void RebuildMoments(const QrFactor &f, Matrix xtx) {
  for (int i = 0; i < f.x.rows; ++i)
    for (int j = 0; j <= i; ++j) xtx[i][j] = xtx[j][i] = DotProduct(f.x[i], f.x[j], std::min(j + 1, f.x.columns));
  UnpivotSquare(xtx, Exchanges(f, f.x.rows));
}

void InvertMoments(const QrFactor &f, Matrix xtxInv) {
  ScaleToLdl(f.x, f.rank);
  FillZero(xtxInv);
  for (int i = 0; i < f.rank; ++i) InverseFromLdl(f.x, f.rank, i, xtxInv[i]);
  for (int i = 0; i < f.rank; ++i)
    for (int j = 0; j < i; ++j) xtxInv[i][j] = xtxInv[j][i];
  UnpivotSquare(xtxInv, Exchanges(f, f.rank));
}

}  // namespace

double HouseholderVector(std::span<double> x) {
  if (x.empty()) return 0;
  const double alpha = x[0];
  x[0] = 1;
  const std::span<double> tail = x.subspan(1);
  const double sigma = SumOfSquares(tail.data(), static_cast<int>(tail.size()));
  if (sigma == 0) return -2;
  const double norm = std::sqrt(sigma + alpha * alpha);
  const double c = alpha >= 0 ? alpha + norm : alpha - norm;
  const double scale = 1 / c;
  for (double &cell : tail) cell *= scale;
  return -2 / (sigma / (c * c) + 1);
}

void HouseholderApplyRows(Matrix rows, const double *v, double beta) {
  for (int r = 0; r < rows.rows; r += kLaneRows) {
    const int group = std::min(kLaneRows, rows.rows - r);
    double sums[kLaneRows];
    DotProducts(rows.Rows(r, group), v, sums);
    for (int q = 0; q < group; ++q) CurrentRowKernels().addScaled(rows[r + q], beta * sums[q], v, rows.columns);
  }
}

Status KernelQrPivot(Matrix x, std::span<int> pivot, std::span<double> beta) {
  const int k = x.rows, t = x.columns;
  const auto rowWork = OwnedBlock<double>::Zeroed(2 * std::int64_t{k});
  const auto columnWork = OwnedBlock<double>::Zeroed(2 * std::int64_t{t});
  if (!rowWork || !columnWork) return Status::NoMemory;
  QrState s = {x, rowWork.get(), rowWork.get() + k, columnWork.get(), columnWork.get() + t};
  for (int r = 0; r < k; ++r) s.norm[r] = SumOfSquares(x[r], t);
  int i = 0;
  for (; i < std::min(k, t); ++i) {
    const Candidate next = pivot.empty() ? Candidate{i, s.norm[i]} : LargestNorm(s.norm, i, k);
    if (next.norm == 0) break;
    if (!pivot.empty()) pivot[static_cast<std::size_t>(i)] = next.row;
    ExchangeRows(s, i, next.row);
    beta[static_cast<std::size_t>(i)] = Reflect(s, i);
    std::swap(s.v, s.w);
    ReduceNorms(s, i);
  }
  for (int r = i; r < k; ++r) {
    Settle(s, r, i);
    if (!pivot.empty()) pivot[static_cast<std::size_t>(r)] = r;
    if (r < t) x[r][r] = 0;
  }
  return Status::Ok;
}

QrRankResult QrRank(ConstMatrix x) {
  const int n = std::min(x.rows, x.columns);
  if (n < 1) return {QrRankDeficient, 0};
  double largest = SumOfSquares(x[0], 1);
  double smallest = largest;
  for (int i = 1; i < n; ++i) {
    const double norm = SumOfSquares(x[i], i + 1);
    largest = std::max(largest, norm);
    smallest = std::min(smallest, norm);
  }
  if (largest == 0) return {QrRankDeficient, 0};
  const double limit = MatTolerance() * std::sqrt(largest);
  int rank = 0;
  while (rank < n && std::fabs(x[rank][rank]) > limit) ++rank;
  const bool ill = MatTolerance() >= smallest / largest;
  if (rank < n) return {ill ? QrRankDeficientIll : QrRankDeficient, rank};
  return {ill ? QrFullRankIll : QrFullRank, rank};
}

void QrSolve(const QrFactor &f, Matrix y, const QrOutputs &out) {
  const Matrix x = f.x;
  for (int i = 0; i < f.rank; ++i) {
    const double diagonal = std::exchange(x[i][i], 1.0);
    HouseholderApplyRows(y.Columns(i, y.columns - i), x[i] + i, f.beta[static_cast<std::size_t>(i)]);
    x[i][i] = diagonal;
  }
  if (!out.b && !out.xtxInv && !out.xtx) return;
  for (int i = 0; i < f.rank; ++i)
    for (int j = i + 1; j < f.rank; ++j) x[i][j] = x[j][i];
  if (out.b) SolveCoefficients(f, y, out.b);
  if (out.xtx) RebuildMoments(f, out.xtx);
  if (out.xtxInv) InvertMoments(f, out.xtxInv);
}

QrResult MatOlsQr(Matrix x, Matrix y, const QrOutputs &out) {
  const OwnedBlock<int> pivot(x.rows);
  const OwnedBlock<double> beta(x.rows);
  if (!pivot || !beta) return {};
  const auto k = static_cast<std::size_t>(x.rows);
  const std::span<int> exchanges(pivot.get(), k);
  const std::span<double> scales(beta.get(), k);
  if (Failed(kernelTable.qrPivot(x, exchanges, scales))) return {};
  const QrRankResult found = QrRank(x);
  QrSolve({x, exchanges, scales, found.rank}, y, out);
  return {Status::Ok, found.code, found.rank};
}

}  // namespace tessel
