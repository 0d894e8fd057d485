// Jackknife covariance and the moments' outer products.
#include "regression/robust_covariance.h"

#include <cmath>
#include <utility>

#include "host/heap.h"
#include "linalg/moments.h"

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

constexpr int kBlock = 4;  // cells whose sums stay in registers over all lags of an observation

// Cells (p, q) to (p, q + kBlock - 1) of an observation's part: g(p) g(q), and for each lag l, r = past[l],
// weight(l) (g(p) r(q) + g(q) r(p)). past[0] is g.
void AddBlock(double *cells, RowMatrix past, const double *weight, int lags, int p, int q) {
  const double *g = past[0];
  double sum[kBlock];
  for (int c = 0; c < kBlock; ++c) sum[c] = cells[c] + g[p] * g[q + c];
  for (int l = 1; l <= lags; ++l) {
    const double *r = past[l];
    for (int c = 0; c < kBlock; ++c) sum[c] += weight[l] * (g[p] * r[q + c] + g[q + c] * r[p]);
  }
  for (int c = 0; c < kBlock; ++c) cells[c] = sum[c];
}

}  // namespace

void MomentCovariance(RowMatrix a, int m, RowMatrix b, int n, int observations, bool autocovariances, RowMatrix out) {
  const int size = m * n, lags = autocovariances ? BartlettLags(observations) : 0;
  MatZero(out, size, size);
  // Rows are padded to whole blocks. Row l of `moments`: the moments of l observations ago, zero before the first.
  const std::int64_t padded = (static_cast<std::int64_t>(size) + kBlock - 1) / kBlock * kBlock;
  const auto moments = OwnedBlock<double>::Zeroed((lags + 1) * padded),
             sums = OwnedBlock<double>::Zeroed(size * padded);
  const OwnedBlock<double *> past(lags + 1);
  const OwnedBlock<double> weight(lags + 1);
  if (!moments || !sums || !past || !weight) return;
  for (int l = 0; l <= lags; ++l) {
    past[l] = moments.get() + l * padded;
    weight[l] = 1.0 - static_cast<double>(l) / (lags + 1);
  }

  for (int t = 0; t < observations; ++t) {
    for (int l = lags; l > 0; --l) std::swap(past[l], past[l - 1]);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) past[0][i * n + j] = b[t][j] * a[t][i];
    for (int p = 0; p < size; ++p)
      for (int q = 0; q <= p; q += kBlock) AddBlock(sums.get() + p * padded + q, past.get(), weight.get(), lags, p, q);
  }
  for (int p = 0; p < size; ++p)
    for (int q = 0; q <= p; ++q) out[q][p] = out[p][q] = sums[p * padded + q];
}

}  // namespace tessel
