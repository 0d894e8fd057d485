// Correlogram, partial correlogram and periodogram.
#include "series/spectral.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "core/heap.h"
#include "core/missing.h"
#include "series/lanes.h"

namespace tessel {

namespace {

constexpr int kTile = 256;        // observations at a time
constexpr int kFrequencies = 16;  // worked at a time, each with an ordered sum of its own
constexpr double kNoVariation = 1e-20;

// Deviations of a series from a centre, 0 outside it and, where `gaps` are allowed, at missing cells.
struct Deviations {
  const double *x;
  int n;
  double centre;
  bool gaps;

  void Fetch(int first, int count, double *out) const {
    const int inside = std::clamp(n - first, 0, count);
    for (int i = 0; i < inside; ++i) {
      const double v = x[first + i];
      out[i] = gaps && IsMissing(v) ? 0.0 : v - centre;
    }
    std::fill(out + inside, out + count, 0.0);
  }
};

// sums[l] = sum over i of d[i] d[i + k + l], for kLanes lags from k on. Cells that do not count are zeros.
void SumProducts(const Deviations &deviations, int k, double *sums) {
  double base[kTile], shifted[kTile + kLanes];
  std::fill_n(sums, kLanes, 0.0);
  for (int t = 0; t < deviations.n - k; t += kTile) {
    const int count = std::min(kTile, deviations.n - k - t);
    deviations.Fetch(t, count, base);
    deviations.Fetch(t + k, count + kLanes, shifted);
    AddLaneProducts(base, shifted, count, sums);
  }
}

// out[k] = sum over i of d[i] d[i + k], over a divisor, for k from `first` to `last`.
void ProductMoments(const Deviations &deviations, double divisor, int first, int last, double *out) {
  double sums[kLanes];
  for (int k = first; k <= last; k += kLanes) {
    SumProducts(deviations, k, sums);
    for (int l = 0; l < kLanes && k + l <= last; ++l) out[k + l] = sums[l] / divisor;
  }
}

// The sum of c[k] cos(k w) over k from 1 to n - 1, for kFrequencies values of w.
void SumCosines(const double *c, int n, const double *w, double *sums) {
  double stepCos[kFrequencies], stepSin[kFrequencies], cosine[kFrequencies], sine[kFrequencies];
  for (int l = 0; l < kFrequencies; ++l) {
    stepCos[l] = cosine[l] = std::cos(w[l]);
    stepSin[l] = sine[l] = std::sin(w[l]);
    sums[l] = 0.0;
  }
  for (int k = 1; k < n; ++k) {
    for (int l = 0; l < kFrequencies; ++l) {
      sums[l] += c[k] * cosine[l];
      const double next = cosine[l] * stepCos[l] - sine[l] * stepSin[l];
      sine[l] = sine[l] * stepCos[l] + cosine[l] * stepSin[l];
      cosine[l] = next;
    }
  }
}

}  // namespace

Status Correlogram(std::span<const double> x, std::span<double> out) {
  if (out.empty() || out.size() > x.size()) return Status::Invalid;
  double sum = 0, squares = 0;
  int count = 0;
  for (const double v : x) {
    if (IsMissing(v)) continue;
    sum += v;
    ++count;
  }
  const double mean = sum / count;
  for (const double v : x)
    if (!IsMissing(v)) squares += (v - mean) * (v - mean);

  if (squares < kNoVariation) {
    std::fill(out.begin(), out.end(), 0.0);
  } else {
    ProductMoments({x.data(), static_cast<int>(x.size()), mean, true}, squares, 1, static_cast<int>(out.size()) - 1,
                   out.data());
  }
  out[0] = 1;
  return Status::Ok;
}

Status PartialCorrelogram(std::span<const double> r, std::span<double> out) {
  if (r.size() != out.size()) return Status::Invalid;
  const std::size_t m = out.size();
  const OwnedBlock<double> work(static_cast<std::int64_t>(m));
  if (!work) return Status::NoMemory;
  if (m > 0) out[0] = 1;
  if (m < 2) return Status::Ok;
  const std::span<double> a(work.get(), m);
  double p = r[1] / r[0], scale = 1;
  a[0] = p;
  for (std::size_t k = 1;; ++k) {
    scale *= 1 - p * p;
    if (scale == 0) return Status::Singular;
    out[k] = p;
    if (k + 1 == m) return Status::Ok;
    double predicted = 0;
    for (std::size_t j = 0; j < k; ++j) predicted += a[j] * r[k - j];
    p = (r[k + 1] - predicted) / (scale * r[0]);
    for (std::size_t j = 0; 2 * j < k; ++j) {
      const double low = a[j], high = a[k - 1 - j];
      a[j] = low - p * high;
      a[k - 1 - j] = high - p * low;
    }
    a[k] = p;
  }
}

Status Periodogram(std::span<const double> x, std::span<double> out) {
  const int n = static_cast<int>(x.size());
  if (x.empty() || out.size() != x.size() / 2 + 1) return Status::Invalid;
  const OwnedBlock<double> covariances(n);
  if (!covariances) return Status::NoMemory;
  double sum = 0;
  for (const double v : x) sum += v;
  ProductMoments({x.data(), n, sum / n, false}, n, 0, n - 1, covariances.get());

  constexpr double twoPi = 2 * std::numbers::pi;
  double w[kFrequencies], sums[kFrequencies];
  for (int j = 0; j <= n / 2; j += kFrequencies) {
    for (int l = 0; l < kFrequencies; ++l) w[l] = twoPi * (j + l) / n;
    SumCosines(covariances.get(), n, w, sums);
    double *cell = out.data() + j;
    for (int l = 0; l < kFrequencies && j + l <= n / 2; ++l) cell[l] = (covariances[0] + 2 * sums[l]) / twoPi;
  }
  out[0] = 0;
  return Status::Ok;
}

}  // namespace tessel
