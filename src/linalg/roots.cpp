// Polynomial roots and complex helpers.
#include "linalg/roots.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tessel {
namespace {

constexpr double kPrecision = 2.220446049250313e-16;
constexpr int kExceptionalShiftEvery = 10;

// The state of the iteration on the active block, rows first..last of h.
struct FrancisIteration {
  Matrix h;
  std::span<Complex> values;
  int low;
  int first = 0;
  int last = 0;
  double shift = 0;            // sum of the exceptional shifts taken off the diagonal
  double x = 0, y = 0;         // diagonal of the bottom 2 x 2 corner: h[last][last] and the cell above it
  double w = 0;                // product of the corner's off-diagonal cells
  double p = 0, q = 0, r = 0;  // the column that the next reflection maps onto its first cell

  Complex &Value(int row) const { return values[static_cast<std::size_t>(row)]; }
  bool CornerIsFinite() const { return std::isfinite(x) && std::isfinite(y) && std::isfinite(w); }
};

// The row at which the active block begins: the lowest row with a negligible cell left of its diagonal.
int FindFirst(const FrancisIteration &it) {
  const Matrix h = it.h;
  for (int l = it.last; l > it.low; --l) {
    if (std::fabs(h[l][l - 1]) <= (std::fabs(h[l][l]) + std::fabs(h[l - 1][l - 1])) * kPrecision) return l;
  }
  return it.low;
}

void ReadCorner(FrancisIteration &it) {
  const Matrix h = it.h;
  const int n = it.last;
  it.x = h[n][n];
  it.y = h[n - 1][n - 1];
  it.w = h[n][n - 1] * h[n - 1][n];
}

// The roots of the bottom corner, both real or a complex pair.
void StorePair(const FrancisIteration &it) {
  const int n = it.last;
  const double p = (it.y - it.x) / 2;
  const double q = p * p + it.w;
  const double root = std::sqrt(std::fabs(q));
  const double x = it.x + it.shift;
  if (q > 0) {
    const double zz = p < 0 ? p - root : p + root;
    it.Value(n - 1) = {x + zz, 0};
    it.Value(n) = {x - it.w / zz, 0};
  } else {
    it.Value(n - 1) = {x + p, root};
    it.Value(n) = {x + p, -root};
  }
}

// Wilkinson's ad hoc shift, which breaks cycles.
void ShiftExceptionally(FrancisIteration &it) {
  const Matrix h = it.h;
  const int n = it.last;
  it.shift += it.x;
  for (int i = it.low; i <= n; ++i) h[i][i] -= it.x;
  const double s = std::fabs(h[n][n - 1]) + std::fabs(h[n - 1][n - 2]);
  it.x = it.y = 0.75 * s;
  it.w = -0.4375 * s * s;
}

// The row at which the sweep may start: the lowest with two consecutive small subdiagonal cells above it. Leaves the
// first column of (H - x)(H - y) - w, from that row on, in p, q, r, scaled to sum 1.
int FindStart(FrancisIteration &it) {
  const Matrix h = it.h;
  int m = it.last - 2;
  for (;; --m) {
    const double zz = h[m][m];
    const double r = it.x - zz;
    const double s = it.y - zz;
    it.p = (r * s - it.w) / h[m + 1][m] + h[m][m + 1];
    it.q = h[m + 1][m + 1] - zz - r - s;
    it.r = h[m + 2][m + 1];
    const double scale = std::fabs(it.p) + std::fabs(it.q) + std::fabs(it.r);
    it.p /= scale;
    it.q /= scale;
    it.r /= scale;
    if (m == it.first) return m;
    const double left = std::fabs(h[m][m - 1]) * (std::fabs(it.q) + std::fabs(it.r));
    const double right = std::fabs(it.p) * (std::fabs(h[m - 1][m - 1]) + std::fabs(zz) + std::fabs(h[m + 1][m + 1]));
    if (left <= right * kPrecision) return m;
  }
}

// A reflection I - (x, y, z)' (1, q, r) on up to three consecutive rows and columns.
struct Reflector {
  double x, y, z, q, r;
};

void ReflectThree(const FrancisIteration &it, int k, const Reflector &f) {
  const Matrix h = it.h;
  for (int j = k; j <= it.last; ++j) {
    const double p = h[k][j] + f.q * h[k + 1][j] + f.r * h[k + 2][j];
    h[k][j] -= p * f.x;
    h[k + 1][j] -= p * f.y;
    h[k + 2][j] -= p * f.z;
  }
  for (int i = it.first; i <= std::min(it.last, k + 3); ++i) {
    const double p = f.x * h[i][k] + f.y * h[i][k + 1] + f.z * h[i][k + 2];
    h[i][k] -= p;
    h[i][k + 1] -= p * f.q;
    h[i][k + 2] -= p * f.r;
  }
}

void ReflectTwo(const FrancisIteration &it, int k, const Reflector &f) {
  const Matrix h = it.h;
  for (int j = k; j <= it.last; ++j) {
    const double p = h[k][j] + f.q * h[k + 1][j];
    h[k][j] -= p * f.x;
    h[k + 1][j] -= p * f.y;
  }
  for (int i = it.first; i <= it.last; ++i) {
    const double p = f.x * h[i][k] + f.y * h[i][k + 1];
    h[i][k] -= p;
    h[i][k + 1] -= p * f.q;
  }
}

// One double QR step: the bulge is made at row m and chased to the bottom of the block.
void Sweep(FrancisIteration &it, int m) {
  const Matrix h = it.h;
  for (int i = m + 2; i <= it.last; ++i) {
    h[i][i - 2] = 0;
    if (i != m + 2) h[i][i - 3] = 0;
  }
  for (int k = m; k < it.last; ++k) {
    const bool three = k != it.last - 1;
    double scale = 1;
    if (k != m) {
      it.p = h[k][k - 1];
      it.q = h[k + 1][k - 1];
      it.r = three ? h[k + 2][k - 1] : 0;
      scale = std::fabs(it.p) + std::fabs(it.q) + std::fabs(it.r);
      if (scale == 0) continue;
      it.p /= scale;
      it.q /= scale;
      it.r /= scale;
    }
    const double norm = std::sqrt(it.p * it.p + it.q * it.q + it.r * it.r);
    const double s = it.p < 0 ? -norm : norm;
    if (k != m) {
      h[k][k - 1] = -s * scale;
    } else if (it.first != m) {
      h[k][k - 1] = -h[k][k - 1];
    }
    const double p = it.p + s;
    const Reflector f = {p / s, it.q / s, it.r / s, it.q / p, it.r / p};
    three ? ReflectThree(it, k, f) : ReflectTwo(it, k, f);
  }
}

// Iterates until one root or a pair separates at the bottom of the active block. The iterations taken, or -1 at
// failure.
int Deflate(FrancisIteration &it, int maxIter) {
  for (int count = 0;; ++count) {
    it.first = FindFirst(it);
    if (it.first == it.last) {
      it.Value(it.last) = {it.h[it.last][it.last] + it.shift, 0};
      it.last -= 1;
      return count;
    }
    ReadCorner(it);
    if (it.first == it.last - 1) {
      StorePair(it);
      it.last -= 2;
      return count;
    }
    if (count >= maxIter || !it.CornerIsFinite()) return -1;
    if (count > 1 && count % kExceptionalShiftEvery == 0) ShiftExceptionally(it);
    Sweep(it, FindStart(it));
  }
}

}  // namespace

EigenvalueResult HessenbergEigenvalues(Matrix h, RowRange range, int maxIter, std::span<Complex> values) {
  const int low = std::max(range.low, 0), high = std::min(range.high, h.rows - 1);
  FrancisIteration it{.h = h, .values = values, .low = low};
  for (int i = 0; i < h.rows; ++i)
    if (i < low || i > high) it.Value(i) = {h[i][i], 0};
  EigenvalueResult result;
  it.last = high;
  while (it.last >= low) {
    const int taken = Deflate(it, maxIter);
    if (taken < 0) {
      result.status = Status::NotConverged;
      result.stoppedAt = it.last;
      break;
    }
    result.iterations += std::min(taken, std::numeric_limits<int>::max() - result.iterations);
  }
  return result;
}

Status PolyRoots(std::span<const double> coefficients, std::span<Complex> roots) {
  const auto n = static_cast<int>(coefficients.size());
  if (n < 1 || roots.size() < coefficients.size()) return Status::Invalid;
  const OwnedMatrix companion(n, n);
  if (!companion) return Status::NoMemory;
  FillZero(companion);
  for (int j = 0; j < n; ++j) companion[0][j] = -coefficients[static_cast<std::size_t>(j)];
  for (int i = 1; i < n; ++i) companion[i][i - 1] = 1;
  return HessenbergEigenvalues(companion, {0, n - 1}, 50 * n, roots).status;
}

std::optional<Complex> ComplexDivide(Complex a, Complex b) {
  if (b.re == 0 && b.im == 0) return std::nullopt;
  if (std::fabs(b.re) > std::fabs(b.im)) {
    const double r = b.im / b.re;
    const double d = b.re + r * b.im;
    return Complex{(a.re + r * a.im) / d, (a.im - r * a.re) / d};
  }
  const double r = b.re / b.im;
  const double d = b.im + r * b.re;
  return Complex{(r * a.re + a.im) / d, (r * a.im - a.re) / d};
}

double Hypot(double x, double y) {
  x = std::fabs(x);
  y = std::fabs(y);
  const double a = x > y ? x : y;
  const double b = x > y ? y : x;
  if (b == 0 || std::isinf(a)) return a;
  const double ratio = b / a;
  return a * std::sqrt(ratio * ratio + 1);
}

}  // namespace tessel
