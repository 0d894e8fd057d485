// Moment matrices, quadratic forms and small operations on matrices.
#include "linalg/moments.h"

#include <algorithm>
#include <utility>

#include "linalg/dot_product.h"
#include "linalg/products.h"
#include "linalg/tiled_product.h"

namespace tessel {

RowMatrix MatSandwich(RowMatrix x, int n, RowMatrix w, int m, RowMatrix out) {
  constexpr int block = 16;
  if (out == nullptr || out == x || out == w) return nullptr;
  if (w == nullptr) return MatMulBt(x, n, m, x, n, out);
  if (n < 1 || m < 1) return nullptr;
  OwnedRows scratch(std::min(n, block), m);
  if (!scratch) return nullptr;
  for (int i = 0; i < n;) {
    const int rows = n - i >= block ? block : 1;
    MatMulBt(x + i, rows, m, w, m, scratch.get());
    MatMulBt(scratch.get(), rows, m, x, i + rows, out + i);
    i += rows;
  }
  MirrorLower(out, n);
  return out;
}

RowMatrix MatCrossWeighted(RowMatrix x, int n, RowMatrix w, int m, RowMatrix out) {
  if (out == nullptr || out == x || out == w) return nullptr;
  if (w == nullptr) {
    kernelTable.multiply(out, x, n, m, x, n, m, true, false);
    return out;
  }
  // By strips of columns: u = W[r] X over the strip, and then X[r][i] u is added to row i of the result.
  constexpr int strip = 64;
  MatZero(out, m, m);
  for (int first = 0; first < m; first += strip) {
    const int end = std::min(first + strip, m);
    for (int r = 0; r < n; ++r) {
      double u[strip] = {};
      for (int c = 0; c < n; c += 4) {
        const int terms = std::min(4, n - c);
        for (int j = first; j < end; ++j) {
          double sum = w[r][c] * x[c][j];
          for (int q = 1; q < terms; ++q) sum += w[r][c + q] * x[c + q][j];
          u[j - first] += sum;
        }
      }
      for (int i = first; i < m; ++i)
        for (int j = first; j < std::min(end, i + 1); ++j) out[i][j] += x[r][i] * u[j - first];
    }
  }
  MirrorLower(out, m);
  return out;
}

RowMatrix MatCrossRows(RowMatrix x, int n, int c0, int c1, RowMatrix out) {
  for (int i = 0; i < n; ++i) DotProducts(x, c0, i + 1, x[i] + c0, c1 - c0 + 1, out[i]);
  MirrorLower(out, n);
  return out;
}

RowMatrix MatCrossRows2(RowMatrix x, int n, int c0, int c1, RowMatrix y, int m, RowMatrix out) {
  for (int i = 0; i < n; ++i) DotProducts(y, c0, m, x[i] + c0, c1 - c0 + 1, out[i]);
  return out;
}

RowMatrix MatSymMulBt(RowMatrix s, RowMatrix b, int n) {
  // With S stored in full, row i is all that its own results need, and they go where no later row looks: to cells j
  // below i of column i, above the diagonal.
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) s[i][j] = s[j][i];
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) s[j][i] = DotProduct(s[i], b[j], n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) s[i][j] = s[j][i];
  return s;
}

double MatTrace(RowMatrix a, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += a[i][i];
  return sum;
}

RowMatrix MatAddScaled(RowMatrix a, int rows, int columns, RowMatrix b, double alpha, RowMatrix out) {
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) out[i][j] = a[i][j] + (alpha == 1.0 ? b[i][j] : alpha * b[i][j]);
  return out;
}

double QuadFormColumn(int c, RowMatrix x, RowMatrix s, int n) {
  double total = 0.0;
  for (int i = 0; i < n; ++i) {
    double above = 0.0;
    for (int j = i + 1; j < n; ++j) above += s[i][j] * x[j][c];
    total += x[i][c] * (s[i][i] * x[i][c] + 2.0 * above);
  }
  return total;
}

double QuadFormRow(int r, RowMatrix x, RowMatrix s, int n) {
  const double *v = x[r];
  double total = 0.0;
  for (int i = 0; i < n; ++i)
    if (v[i] != 0.0) total += v[i] * (s[i][i] * v[i] + 2.0 * DotProduct(s[i] + i + 1, v + i + 1, n - 1 - i));
  return total;
}

RowMatrix MatTransposeInPlace(RowMatrix a, int n) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) std::swap(a[i][j], a[j][i]);
  return a;
}

}  // namespace tessel
