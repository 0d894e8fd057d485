// Jackknife covariance and the moments' outer products.
#include "regression/robust_covariance.h"

#include <cmath>
#include <utility>

#include "host/heap.h"
#include "linalg/moments.h"
#include "linalg/tiled_product.h"
#include "regression/accumulation.h"

namespace tessel {

int JackknifeCovariance(RowMatrix x, const double *e, RowMatrix xxInv, int observations, int k, RowMatrix meat,
                        RowMatrix result) {
  MatZero(meat, k, k);
  MatZero(result, k, k);
  double *shift = result[0];  // free until the last product
  for (int t = 0; t < observations; ++t) {
    const double *row = x[t], leverage = QuadFormRow(t, x, xxInv, k);
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
  MatCrossWeighted(xxInv, k, meat, k, result);
  return 1;
}

int BartlettLags(int observations) {
  constexpr double exponent = 0.2222222222222222;
  return TruncateToInt(4.0 * std::pow(observations / 100.0, exponent));
}

namespace {

// lower triangle of m += weight (g r' + r g')
void AddSymmetricProductLower(RowMatrix m, const double *g, const double *r, double weight, int n) {
  for (int p = 0; p < n; ++p) {
    double *row = m[p];
    const double gp = g[p], rp = r[p];
    for (int q = 0; q <= p; ++q) row[q] += weight * (gp * r[q] + g[q] * rp);
  }
}

}  // namespace

void MomentCovariance(RowMatrix a, int m, RowMatrix b, int n, int observations, bool autocovariances, RowMatrix out) {
  const int size = m * n, lags = autocovariances ? BartlettLags(observations) : 0;
  MatZero(out, size, size);
  const OwnedMatrix moments(lags + 1, size);  // row l: the moments of l observations ago, zero before the first
  if (!moments) return;
  RowMatrix past = moments.get();
  MatZero(past, lags + 1, size);

  for (int t = 0; t < observations; ++t) {
    for (int l = lags; l > 0; --l) std::swap(past[l], past[l - 1]);
    double *g = past[0];
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) g[i * n + j] = b[t][j] * a[t][i];
    AddOuterLower(out, g, size);
    for (int l = 1; l <= lags; ++l)
      AddSymmetricProductLower(out, g, past[l], 1.0 - static_cast<double>(l) / (lags + 1), size);
  }
  MirrorLower(out, size);
}

}  // namespace tessel
