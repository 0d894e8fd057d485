// Steps that the estimators of this folder share.
#include "regression/accumulation.h"

namespace tessel {

namespace {

// out = s v for s symmetric, v(l) its l-th factor. Four neighbouring sums run side by side down the rows of s: each is
// in ascending order, and together they keep the processor's adders busy.
template <class Vector>
void Times(RowMatrix s, int d, Vector v, double *out) {
  int i = 0;
  for (; i + 4 <= d; i += 4) {
    double sum[4] = {};
    for (int l = 0; l < d; ++l) {
      const double *cells = s[l] + i, factor = v(l);
      for (int c = 0; c < 4; ++c) sum[c] += cells[c] * factor;
    }
    for (int c = 0; c < 4; ++c) out[i + c] = sum[c];
  }
  for (; i < d; ++i) {
    double sum = 0.0;
    for (int l = 0; l < d; ++l) sum += s[l][i] * v(l);
    out[i] = sum;
  }
}

}  // namespace

void SymmetricTimes(RowMatrix s, int d, const double *v, double *out) {
  Times(
      s, d, [v](int l) { return v[l]; }, out);
}

double InverseRankOneUpdate(RowMatrix rows, RowMatrix inverse, int d, int column, double *gain) {
  Times(
      inverse, d, [rows, column](int l) { return rows[l][column]; }, gain);
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

// Eight observations at a time, whose fits stay in registers.
void LinearResiduals(const double *y, RowMatrix x, int k, const double *beta, int first, int last, double *out) {
  constexpr int width = 8;
  int t = first;
  for (; t <= last - (width - 1); t += width) {
    double fit[width] = {};
    for (int i = 0; i < k; ++i)
      for (int u = 0; u < width; ++u) fit[u] += x[i][t + u] * beta[i];
    for (int u = 0; u < width; ++u) out[t - first + u] = y[t + u] - fit[u];
  }
  for (; t <= last; ++t) {
    double fit = 0.0;
    for (int i = 0; i < k; ++i) fit += x[i][t] * beta[i];
    out[t - first] = y[t] - fit;
  }
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
