// Jackknife covariance and the moments' outer products.
#include "regression/robust_covariance.h"

#include <cmath>

#include "core/heap.h"
#include "core/missing.h"
#include "linalg/lagged_products.h"
#include "linalg/moments.h"

namespace tessel {

Status JackknifeCovariance(ConstMatrix x, std::span<const double> e, ConstMatrix xxInv, Matrix covariance) {
  const int k = x.columns;
  const OwnedMatrix meat(k, k);
  if (!meat) return Status::NoMemory;
  FillZero(meat);
  FillZero(covariance);
  double *shift = covariance[0];  // s; free until the last product
  for (int t = 0; t < x.rows; ++t) {
    const double *row = x[t], leverage = QuadFormRow(t, x, xxInv);
    if (1.0 - leverage <= 0.0) return Status::NotPositive;
    const double a = e[t] / (1.0 - leverage);
    for (int i = 0; i < k; ++i) {
      shift[i] += a * row[i];
      const double scale = a * a * row[i];
      for (int j = i; j < k; ++j) meat[i][j] += scale * row[j];
    }
  }

  const double T = x.rows;
  for (int i = 0; i < k; ++i)
    for (int j = i; j < k; ++j) {
      meat[i][j] -= shift[j] * shift[i] / T;
      meat[i][j] *= (T - 1.0) / T;
      meat[j][i] = meat[i][j];
    }
  return MatCrossWeighted(xxInv, meat, covariance);
}

int BartlettLags(int observations) {
  constexpr double exponent = 0.2222222222222222;
  return TruncateToInt(4.0 * std::pow(observations / 100.0, exponent));
}

Status MomentCovariance(ConstMatrix a, ConstMatrix b, bool autocovariances, Matrix out) {
  const int observations = a.rows, m = a.columns, n = b.columns, size = m * n;
  const int lags = autocovariances ? BartlettLags(observations) : 0, depth = lags + 1;
  FillZero(out);
  // A ring of the moments of as many observations, zero before the first; `past` holds the ring twice, so that the
  // pointers from any place on tell the moments of 0, 1, 2, ... observations ago.
  const std::int64_t stride = (static_cast<std::int64_t>(size) + kLaggedPadding - 1) / kLaggedPadding * kLaggedPadding;
  const auto moments = OwnedBlock<double>::Zeroed(depth * stride), sums = OwnedBlock<double>::Zeroed(stride * stride);
  const OwnedBlock<double *> past(std::int64_t{2} * depth);
  const OwnedBlock<double> weight(depth);
  if (!moments || !sums || !past || !weight) return Status::NoMemory;
  for (int l = 0; l <= lags; ++l) {
    past[l] = past[depth + l] = moments.get() + l * stride;
    weight[l] = 1.0 - static_cast<double>(l) / depth;
  }

  const Matrix total(sums.get(), size, size, stride);
  int place = 0;  // of the current observation in the ring
  for (int t = 0; t < observations; ++t) {
    place = place == 0 ? lags : place - 1;
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) past[place][i * n + j] = b[t][j] * a[t][i];
    AddLaggedProducts({past.get() + place, weight.get(), lags}, total);
  }
  for (int p = 0; p < size; ++p)
    for (int q = 0; q <= p; ++q) out[q][p] = out[p][q] = total[p][q];
  return Status::Ok;
}

}  // namespace tessel
