// Updates over a growing sample.
#include "regression/recursive_updates.h"

namespace tessel {

namespace {

// out = s v for s symmetric, v(l) its l-th factor. Four neighbouring sums run side by side down the rows of s: each is
// in ascending order, and together they keep the processor's adders busy.
template <class Vector>
void Times(ConstMatrix s, Vector v, double *out) {
  const int d = s.rows;
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

void SymmetricTimes(ConstMatrix s, std::span<const double> v, std::span<double> out) {
  Times(
      s, [v](int l) { return v[l]; }, out.data());
}

double InverseRankOneUpdate(Matrix inverse, ConstMatrix rows, int column, std::span<double> gain) {
  const int d = inverse.rows;
  Times(
      inverse, [rows, column](int l) { return rows[l][column]; }, gain.data());
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
void LinearResiduals(const double *y, ConstMatrix x, std::span<const double> beta, double *out) {
  constexpr int width = 8;
  int t = 0;
  for (; t <= x.columns - width; t += width) {
    double fit[width] = {};
    for (int i = 0; i < x.rows; ++i)
      for (int u = 0; u < width; ++u) fit[u] += x[i][t + u] * beta[i];
    for (int u = 0; u < width; ++u) out[t + u] = y[t + u] - fit[u];
  }
  for (; t < x.columns; ++t) {
    double fit = 0.0;
    for (int i = 0; i < x.rows; ++i) fit += x[i][t] * beta[i];
    out[t] = y[t] - fit;
  }
}

double AscendingSumOfSquares(std::span<const double> x) {
  double sum = 0.0;
  for (const double value : x) sum += value * value;
  return sum;
}

void AddOuterLower(Matrix m, std::span<const double> v) {
  for (int i = 0; i < m.rows; ++i)
    for (int j = 0; j <= i; ++j) m[i][j] += v[i] * v[j];
}

}  // namespace tessel
