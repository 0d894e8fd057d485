// Correlogram, partial correlogram and periodogram.
#include "series/spectral.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "algebra/lanes.h"
#include "core/missing.h"

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

int Correlogram(const double *x, int n, int m, double *out) {
  if (m < 0 || m >= n) return 0;
  double sum = 0, squares = 0;
  int count = 0;
  for (int i = 0; i < n; ++i) {
    if (IsMissing(x[i])) continue;
    sum += x[i];
    ++count;
  }
  const double mean = sum / count;
  for (int i = 0; i < n; ++i)
    if (!IsMissing(x[i])) squares += (x[i] - mean) * (x[i] - mean);

  if (squares < kNoVariation) {
    std::fill(out + 1, out + m + 1, 0.0);
  } else {
    ProductMoments({x, n, mean, true}, squares, 1, m, out);
  }
  out[0] = 1;
  return count;
}

int PartialCorrelogram(const double *r, int m, double *out, double *work) {
  if (m < 1) return 1;
  out[0] = 1;
  if (m == 1) return 1;
  double p = r[1] / r[0], scale = 1;
  work[0] = p;
  for (int k = 1;; ++k) {
    scale *= 1 - p * p;
    if (scale == 0) return 0;
    out[k] = p;
    if (k + 1 == m) return 1;
    double predicted = 0;
    for (int j = 0; j < k; ++j) predicted += work[j] * r[k - j];
    p = (r[k + 1] - predicted) / (scale * r[0]);
    for (int j = 0, i = k - 1; j <= i; ++j, --i) {
      const double low = work[j], high = work[i];
      work[j] = low - p * high;
      work[i] = high - p * low;
    }
    work[k] = p;
  }
}

void Periodogram(const double *x, int n, double *out, double *work) {
  if (n < 1) return;
  double sum = 0;
  for (int i = 0; i < n; ++i) sum += x[i];
  ProductMoments({x, n, sum / n, false}, n, 0, n - 1, work);

  constexpr double twoPi = 2 * std::numbers::pi;
  double w[kFrequencies], sums[kFrequencies];
  for (int j = 0; j <= n / 2; j += kFrequencies) {
    for (int l = 0; l < kFrequencies; ++l) w[l] = twoPi * (j + l) / n;
    SumCosines(work, n, w, sums);
    for (int l = 0; l < kFrequencies && j + l <= n / 2; ++l) out[j + l] = (work[0] + 2 * sums[l]) / twoPi;
  }
  out[0] = 0;
}

}  // namespace tessel
