// Tridiagonal reduction from the last row upwards, and QL steps on the rows of the transformation.
#include "linalg/eigen_symmetric.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace tessel {

namespace {

constexpr int kMostSteps = 60;

double PlainDot(const double *x, const double *y, int n) {
  double sum = 0.0;
  for (int i = 0; i < n; ++i) sum += x[i] * y[i];
  return sum;
}

void AddMultiple(double *to, double factor, const double *from, int n) {
  for (int i = 0; i < n; ++i) to[i] += factor * from[i];
}

// sqrt(x^2 + y^2) without overflow on the way.
double Length(double x, double y) {
  const double larger = std::max(std::fabs(x), std::fabs(y)), smaller = std::min(std::fabs(x), std::fabs(y));
  if (larger == 0.0) return 0.0;
  const double ratio = smaller / larger;
  return larger * std::sqrt(1.0 + ratio * ratio);
}

// The reflection I - v v' / h that maps x (n cells) on its last cell: x becomes v. Gives the new last cell; h is 0
// where there is nothing to reflect.
double Reflector(double *x, int n, double *h) {
  double scale = 0.0;
  for (int k = 0; k < n - 1; ++k) scale += std::fabs(x[k]);
  *h = 0.0;
  if (scale == 0.0) return x[n - 1];
  scale += std::fabs(x[n - 1]);
  for (int k = 0; k < n; ++k) x[k] /= scale;
  const double squares = PlainDot(x, x, n), last = x[n - 1];
  const double image = last > 0.0 ? -std::sqrt(squares) : std::sqrt(squares);
  x[n - 1] = last - image;
  *h = squares - last * image;
  return scale * image;
}

// The leading n x n block of A becomes H A H for H = I - v v' / h: A - v q' - q v' with p = A v / h and
// q = p - (p'v / 2h) v. Lower triangle only.
void ReflectBothSides(Matrix a, int n, const double *v, double h, double *q) {
  std::fill_n(q, n, 0.0);
  for (int i = 0; i < n; ++i) {
    q[i] += PlainDot(a[i], v, i + 1);
    AddMultiple(q, v[i], a[i], i);
  }
  for (int i = 0; i < n; ++i) q[i] /= h;
  AddMultiple(q, -PlainDot(q, v, n) / (2.0 * h), v, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) a[i][j] -= v[i] * q[j] + q[i] * v[j];
}

// A = Q T Q'. The diagonal of T goes to `d`, T(i, i - 1) to e[i], and Q' to `a`.
void Tridiagonalise(Matrix a, double *d, double *e) {
  const int n = a.rows;
  for (int i = n - 1; i > 0; --i) {
    double h = 0.0;
    const double below = Reflector(a[i], i, &h);
    if (h != 0.0) ReflectBothSides(a, i, a[i], h, e);  // e[0] to e[i - 1] are still free
    e[i] = below;
    d[i] = h;
  }
  // Q' = H(1) H(2) ... H(n - 1). The leading i x i block is that of the first i - 1 factors; T's diagonal is saved
  // from each row before the block grows over it.
  for (int i = 0; i < n; ++i) {
    const double h = d[i], *v = a[i];
    if (i > 0 && h != 0.0)
      for (int r = 0; r < i; ++r) AddMultiple(a[r], -PlainDot(a[r], v, i) / h, v, i);
    d[i] = a[i][i];
    std::fill_n(a[i], i, 0.0);
    for (int r = 0; r < i; ++r) a[r][i] = 0.0;
    a[i][i] = 1.0;
  }
}

// The rows x and y become c x - s y and s x + c y.
void Rotate(double *x, double *y, double c, double s, int n) {
  for (int k = 0; k < n; ++k) {
    const double t = y[k];
    y[k] = s * x[k] + c * t;
    x[k] = c * x[k] - s * t;
  }
}

// One QL step on rows `first` to `last` with the eigenvalue of the leading 2 x 2 block nearer its first cell as shift.
// e[i] couples i and i + 1.
void QlStep(Matrix w, double *d, double *e, int first, int last) {
  const double half = (d[first + 1] - d[first]) / (2.0 * e[first]);
  const double root = Length(half, 1.0);
  double g = d[last] - d[first] + e[first] / (half + (half >= 0.0 ? root : -root));
  double s = 1.0, c = 1.0, p = 0.0;
  for (int i = last - 1; i >= first; --i) {
    const double f = s * e[i], b = c * e[i];
    const double r = Length(f, g);
    e[i + 1] = r;
    if (r == 0.0) {  // the matrix splits here
      d[i + 1] -= p;
      e[last] = 0.0;
      return;
    }
    s = f / r;
    c = g / r;
    g = d[i + 1] - p;
    const double t = (d[i] - g) * s + 2.0 * c * b;
    p = s * t;
    d[i + 1] = g + p;
    g = c * t - b;
    Rotate(w[i], w[i + 1], c, s, w.columns);
  }
  d[first] -= p;
  e[first] = g;
  e[last] = 0.0;
}

Status Diagonalise(Matrix w, double *d, double *e) {
  const int n = w.rows;
  for (int i = 1; i < n; ++i) e[i - 1] = e[i];
  e[n - 1] = 0.0;
  for (int first = 0; first < n; ++first) {
    for (int steps = 0;; ++steps) {
      int last = first;
      for (; last + 1 < n; ++last) {
        const double size = std::fabs(d[last]) + std::fabs(d[last + 1]);
        if (std::fabs(e[last]) <= 0.5 * std::numeric_limits<double>::epsilon() * size) break;
      }
      if (last == first) break;
      if (steps == kMostSteps) return Status::NotConverged;
      QlStep(w, d, e, first, last);
    }
  }
  return Status::Ok;
}

// Ascending order, by exchanges of values and rows.
void SortPairs(Matrix w, double *d) {
  for (int i = 0; i + 1 < w.rows; ++i) {
    int least = i;
    for (int j = i + 1; j < w.rows; ++j)
      if (d[j] < d[least]) least = j;
    if (least == i) continue;
    std::swap(d[i], d[least]);
    std::swap_ranges(w[i], w[i] + w.columns, w[least]);
  }
}

}  // namespace

Status EigenSymmetric(Matrix a, std::span<double> values, std::span<double> work) {
  const int n = a.rows;
  const auto size = static_cast<std::size_t>(n);
  if (a.columns != n || values.size() != size || work.size() != size) return Status::Invalid;
  if (n == 0) return Status::Ok;
  for (int i = 0; i < n; ++i)
    if (!std::all_of(a[i], a[i] + i + 1, [](double x) { return std::isfinite(x); })) return Status::NotFinite;
  Tridiagonalise(a, values.data(), work.data());
  const Status status = Diagonalise(a, values.data(), work.data());
  if (!std::all_of(values.begin(), values.end(), [](double x) { return std::isfinite(x); })) return Status::NotFinite;
  if (Failed(status)) return status;
  SortPairs(a, values.data());
  return Status::Ok;
}

}  // namespace tessel
