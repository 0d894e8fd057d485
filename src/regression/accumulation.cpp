// Steps that the estimators of this folder share.
#include "regression/accumulation.h"

namespace tessel {

// Products with a symmetric matrix go down its rows, so that the sums of neighbouring cells run side by side: each is
// the same sum in ascending order, and the processor adds several at once.
void SymmetricTimes(RowMatrix s, int d, const double *v, double *out) {
  for (int i = 0; i < d; ++i) out[i] = 0.0;
  for (int l = 0; l < d; ++l) {
    const double *row = s[l], scale = v[l];
    for (int i = 0; i < d; ++i) out[i] += row[i] * scale;
  }
}

double InverseRankOneUpdate(RowMatrix rows, RowMatrix inverse, int d, int column, double *gain) {
  for (int i = 0; i < d; ++i) gain[i] = 0.0;
  for (int l = 0; l < d; ++l) {
    const double *row = inverse[l], scale = rows[l][column];
    for (int i = 0; i < d; ++i) gain[i] += row[i] * scale;
  }
  double product = 0.0;
  for (int i = 0; i < d; ++i) product += rows[i][column] * gain[i];
  const double q = 1.0 + product;

  for (int i = 0; i < d; ++i) {
    double *row = inverse[i];
    const double scale = gain[i];
    for (int l = 0; l < d; ++l) row[l] -= gain[l] * scale / q;
  }
  return q;
}

void LinearResiduals(const double *y, RowMatrix x, int k, const double *beta, int first, int last, double *out) {
  const int count = last - first + 1;
  for (int u = 0; u < count; ++u) out[u] = 0.0;
  for (int i = 0; i < k; ++i) {
    const double *row = x[i] + first, scale = beta[i];
    for (int u = 0; u < count; ++u) out[u] += row[u] * scale;
  }
  for (int u = 0; u < count; ++u) out[u] = y[first + u] - out[u];
}

double SumOfSquares(const double *x, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += x[i] * x[i];
  return sum;
}

void AddOuterLower(RowMatrix m, const double *v, int n) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) m[i][j] += v[i] * v[j];
}

}  // namespace tessel
