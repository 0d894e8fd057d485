// Kernel regression on the positions 1, 2, ...
#include <algorithm>
#include <cmath>

#include "core/heap.h"
#include "core/missing.h"
#include "series/lanes.h"
#include "series/smooth.h"
#include "series/smooth_search.h"

namespace tessel {

namespace {

constexpr int kFewest = 3;
constexpr int kTile = 256;
constexpr double kPeak = 0.75;

struct KernelRegression {
  const double *x;
  int n;
  double *out;
  double *values;   // of x, 0 where it is missing
  double *present;  // 1, or 0 where x is missing
  double *weights;  // of the distances 0, 1, ...
  int reach;        // distances with a weight
};

// The Epanechnikov kernel over the distances within the bandwidth, ends included.
void SetWeights(KernelRegression &r, double bandwidth) {
  for (r.reach = 0; r.reach < r.n; ++r.reach) {
    const double u = r.reach / bandwidth;
    if (!(u <= 1)) return;
    r.weights[r.reach] = kPeak * (1 - u * u);
  }
}

void FetchCells(const double *cells, int n, int first, int count, double *out) {
  for (int i = 0; i < count; ++i) out[i] = first + i >= 0 && first + i < n ? cells[first + i] : 0.0;
}

// sums[l] = sum of the weight of |i - j| times cells[j] over j, for the kLanes cells i from `first` on.
void SumWeighted(const KernelRegression &r, const double *cells, int first, double *sums) {
  double weights[kTile], shifted[kTile + kLanes];
  std::fill_n(sums, kLanes, 0.0);
  // The distances j - i that reach a cell at all.
  const int from = std::max(1 - r.reach, 1 - kLanes - first), to = std::min(r.reach - 1, r.n - 1 - first);
  for (int d = from; d <= to; d += kTile) {
    const int count = std::min(kTile, to - d + 1);
    for (int i = 0; i < count; ++i) weights[i] = r.weights[std::abs(d + i)];
    FetchCells(cells, r.n, first + d, count + kLanes, shifted);
    AddLaneProducts(weights, shifted, count, sums);
  }
}

SmoothFit FitKernel(void *state, double bandwidth) {
  KernelRegression &r = *static_cast<KernelRegression *>(state);
  SmoothFit fit = {!IsMissing(bandwidth), 0, 0, 0};
  if (!fit.solved) return fit;
  SetWeights(r, bandwidth);
  for (int first = 0; first < r.n; first += kLanes) {
    double sums[kLanes], totals[kLanes];
    SumWeighted(r, r.values, first, sums);
    SumWeighted(r, r.present, first, totals);
    for (int l = 0; l < kLanes && first + l < r.n; ++l) {
      const int i = first + l;
      r.out[i] = totals[l] > 0 ? sums[l] / totals[l] : MissingValue();
      if (IsMissing(r.x[i])) continue;
      ++fit.count;
      fit.trace += kPeak / totals[l];
      fit.rss += (r.x[i] - r.out[i]) * (r.x[i] - r.out[i]);
    }
  }
  return fit;
}

}  // namespace

Status SmoothKernel(std::span<const double> x, double alpha, std::span<double> out) {
  if (out.size() != x.size()) return Status::Invalid;
  const int n = static_cast<int>(x.size());
  if (n < kFewest) return Status::TooFew;
  OwnedBlock<double> values(n), present(n), weights(n);
  if (!values || !present || !weights) return Status::NoMemory;
  for (int i = 0; i < n; ++i) {
    const double v = x.data()[i];
    present[i] = IsMissing(v) ? 0 : 1;
    values[i] = IsMissing(v) ? 0 : v;
  }
  KernelRegression regression = {x.data(), n, out.data(), values.get(), present.get(), weights.get(), 0};
  const double sigma = std::sqrt((static_cast<double>(n) * n - 1) / 12);
  return SmoothBy({FitKernel, &regression, 0.75 * sigma * std::pow(n, -0.2), 20, true}, alpha);
}

}  // namespace tessel
