// Moment matrices, quadratic forms and small operations on matrices.
#include "linalg/moments.h"

#include <algorithm>

#include "linalg/dot_product.h"
#include "linalg/products.h"

namespace tessel {

namespace {

bool Refused(ConstMatrix x, ConstMatrix w, Matrix out) { return !out || out.cells == x.cells || out.cells == w.cells; }

}  // namespace

Status MatSandwich(ConstMatrix x, ConstMatrix w, Matrix out) {
  constexpr int block = 16;
  const int n = x.rows, m = x.columns;
  if (Refused(x, w, out) || (w && x.Empty())) return Status::Invalid;
  if (!w) {
    MatMulBt(x, x, out);
    return Status::Ok;
  }
  const OwnedMatrix owner(std::min(n, block), m);
  if (!owner) return Status::NoMemory;
  for (int i = 0; i < n;) {
    const int rows = n - i >= block ? block : 1;
    const Matrix scratch = owner.View().Rows(0, rows);
    MatMulBt(x.Rows(i, rows), w, scratch);
    MatMulBt(scratch, x.Rows(0, i + rows), out.Block(i, rows, 0, i + rows));
    i += rows;
  }
  MirrorLower(out);
  return Status::Ok;
}

Status MatCrossWeighted(ConstMatrix x, ConstMatrix w, Matrix out) {
  if (Refused(x, w, out)) return Status::Invalid;
  if (!w) {
    kernelTable.multiply(out, x, x, Transposed::A);
    return Status::Ok;
  }
  // By strips of columns: u = W[r] X over the strip, and then X[r][i] u is added to row i of the result.
  constexpr int strip = 64;
  const int n = x.rows, m = x.columns;
  FillZero(out);
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
  MirrorLower(out);
  return Status::Ok;
}

void MatCrossRows(ConstMatrix x, int c0, int c1, Matrix out) {
  const ConstMatrix part = x.Columns(c0, c1 - c0 + 1);
  for (int i = 0; i < x.rows; ++i) DotProducts(part.Rows(0, i + 1), part[i], out[i]);
  MirrorLower(out);
}

void MatCrossRows2(ConstMatrix x, ConstMatrix y, int c0, int c1, Matrix out) {
  const ConstMatrix part = y.Columns(c0, c1 - c0 + 1);
  for (int i = 0; i < x.rows; ++i) DotProducts(part, x[i] + c0, out[i]);
}

void MatSymMulBt(Matrix s, ConstMatrix b) {
  const int n = s.rows;
  // With S stored in full, row i is all that its own results need, and they go where no later row looks: to cells j
  // below i of column i, above the diagonal.
  MirrorUpper(s);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) s[j][i] = DotProduct(s[i], b[j], n);
  MirrorUpper(s);
}

double MatTrace(ConstMatrix a) {
  double sum = 0.0;
  for (int i = 0; i < a.rows; ++i) sum += a[i][i];
  return sum;
}

void MatAddScaled(ConstMatrix a, ConstMatrix b, double alpha, Matrix out) {
  for (int i = 0; i < a.rows; ++i)
    for (int j = 0; j < a.columns; ++j) out[i][j] = a[i][j] + (alpha == 1.0 ? b[i][j] : alpha * b[i][j]);
}

double QuadFormColumn(int c, const ConstMatrix &x, const ConstMatrix &s) {
  const int n = s.rows;
  double total = 0.0;
  for (int i = 0; i < n; ++i) {
    double above = 0.0;
    for (int j = i + 1; j < n; ++j) above += s[i][j] * x[j][c];
    total += x[i][c] * (s[i][i] * x[i][c] + 2.0 * above);
  }
  return total;
}

double QuadFormRow(int r, const ConstMatrix &x, const ConstMatrix &s) {
  const int n = s.rows;
  const double *v = x[r];
  double total = 0.0;
  for (int i = 0; i < n; ++i)
    if (v[i] != 0.0) total += v[i] * (s[i][i] * v[i] + 2.0 * DotProduct(s[i] + i + 1, v + i + 1, n - 1 - i));
  return total;
}

}  // namespace tessel
