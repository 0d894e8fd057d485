// Jackknife covariance and the moments' outer products.
#include "regression/robust_covariance.h"

#include <cmath>

#include "core/heap.h"
#include "linalg/lagged_products.h"
#include "linalg/moments.h"

namespace tessel {

int JackknifeCovariance(RowMatrix x, const double *e, RowMatrix xxInv, int observations, int k, RowMatrix meat,
                        RowMatrix result) {
  MatZero(meat, k, k);
  MatZero(result, k, k);
  const ConstMatrix xView = ViewOf(x, observations, k), inverse = ViewOf(xxInv, k, k);
  double *shift = result[0];  // free until the last product
  for (int t = 0; t < observations; ++t) {
    const double *row = x[t], leverage = QuadFormRow(t, xView, inverse);
    if (1.0 - leverage <= 0.0) return 0;
    const double a = e[t] / (1.0 - leverage);
    for (int i = 0; i < k; ++i) {
      shift[i] += a * row[i];
      const double scale = a * a * row[i];
      for (int j = i; j < k; ++j) meat[i][j] += scale * row[j];
    }
  }

  const double T = observations;
  for (int i = 0; i < k; ++i)
    for (int j = i; j < k; ++j) {
      meat[i][j] -= shift[j] * shift[i] / T;
      meat[i][j] *= (T - 1.0) / T;
      meat[j][i] = meat[i][j];
    }
  return Succeeded(MatCrossWeighted(inverse, ViewOf(meat, k, k), ViewOf(result, k, k))) ? 1 : 0;
}

int BartlettLags(int observations) {
  constexpr double exponent = 0.2222222222222222;
  return TruncateToInt(4.0 * std::pow(observations / 100.0, exponent));
}

void MomentCovariance(RowMatrix a, int m, RowMatrix b, int n, int observations, bool autocovariances, RowMatrix out) {
  const int size = m * n, lags = autocovariances ? BartlettLags(observations) : 0;
  MatZero(out, size, size);
  const int depth = lags + 1;
  // A ring of the moments of as many observations, zero before the first; `past` holds the ring twice, so that the
  // pointers from any place on tell the moments of 0, 1, 2, ... observations ago.
  const std::int64_t stride = (static_cast<std::int64_t>(size) + kLaggedPadding - 1) / kLaggedPadding * kLaggedPadding;
  const auto moments = OwnedBlock<double>::Zeroed(depth * stride), sums = OwnedBlock<double>::Zeroed(stride * stride);
  const OwnedBlock<double *> past(std::int64_t{2} * depth);
  const OwnedBlock<double> weight(depth);
  if (!moments || !sums || !past || !weight) return;
  for (int l = 0; l <= lags; ++l) {
    past[l] = past[depth + l] = moments.get() + l * stride;
    weight[l] = 1.0 - static_cast<double>(l) / depth;
  }

  const Matrix sumsView(sums.get(), size, size, stride);
  int place = 0;  // of the current observation in the ring
  for (int t = 0; t < observations; ++t) {
    place = place == 0 ? lags : place - 1;
    const LaggedVectors history = {past.get() + place, weight.get(), lags};
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) past[place][i * n + j] = b[t][j] * a[t][i];
    AddLaggedProducts(history, sumsView);
  }
  for (int p = 0; p < size; ++p)
    for (int q = 0; q <= p; ++q) out[q][p] = out[p][q] = sums[p * stride + q];
}

}  // namespace tessel
