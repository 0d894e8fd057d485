// Householder reflections and the factorisation made of them.
#include "linalg/householder.h"

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

// In DotProduct's order.
double SquaredNorm(const double *x, int n) { return DotProduct(x, x, n); }

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
  CurrentMicroKernel().rows->addScaled(s.x[r] + from, s.scale[r], s.v + from, s.x.columns - from);
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
  CurrentMicroKernel().rows->addScaledAndDot(s.x.Block(below, s.x.rows - below, i, n), s.scale + below, s.v + i, w,
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
    s.norm[r] = SquaredNorm(s.x[r] + i + 1, s.x.columns - i - 1);
  }
}

}  // namespace

double HouseholderVector(std::span<double> x) {
  if (x.empty()) return 0;
  const double alpha = x[0];
  x[0] = 1;
  const std::span<double> tail = x.subspan(1);
  const double sigma = SquaredNorm(tail.data(), static_cast<int>(tail.size()));
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
    for (int q = 0; q < group; ++q) CurrentMicroKernel().rows->addScaled(rows[r + q], beta * sums[q], v, rows.columns);
  }
}

Status KernelQrPivot(Matrix x, std::span<int> pivot, std::span<double> beta) {
  const int k = x.rows, t = x.columns;
  const auto rowWork = OwnedBlock<double>::Zeroed(2 * std::int64_t{k});
  const auto columnWork = OwnedBlock<double>::Zeroed(2 * std::int64_t{t});
  if (!rowWork || !columnWork) return Status::NoMemory;
  QrState s = {x, rowWork.get(), rowWork.get() + k, columnWork.get(), columnWork.get() + t};
  for (int r = 0; r < k; ++r) s.norm[r] = SquaredNorm(x[r], t);
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

}  // namespace tessel
