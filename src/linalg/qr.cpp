// Rank-revealing least squares.
#include "linalg/qr.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/heap.h"
#include "linalg/dot_product.h"
#include "linalg/householder.h"

namespace tessel {
namespace {

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
  MirrorUpper(xtxInv.Block(0, f.rank, 0, f.rank));
  UnpivotSquare(xtxInv, Exchanges(f, f.rank));
}

}  // namespace

QrRankResult QrRank(ConstMatrix x) {
  const int n = std::min(x.rows, x.columns);
  if (n < 1) return {QrRankDeficient, 0};
  double largest = DotProduct(x[0], x[0], 1);
  double smallest = largest;
  for (int i = 1; i < n; ++i) {
    const double norm = DotProduct(x[i], x[i], i + 1);
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
  MirrorLower(x.Block(0, f.rank, 0, f.rank));
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
