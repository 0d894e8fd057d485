// Cholesky factor and inverse: residuals in extended precision, closed forms, status and memory.
#include "linalg/symmetric.h"

#include <limits>

#include "core/heap.h"
#include "core/missing.h"
#include "linalg/dot_product.h"
#include "matrices.h"

namespace tessel {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// The lower triangle of a matrix; what the routines must not read is missing.
TestMatrix Lower(const TestMatrix &a) {
  return {a.rows, a.rows, [&](int i, int j) { return j <= i ? a[i][j] : MissingValue(); }};
}

// X X' / n + shift I for a random X, of which X X' / n has eigenvalues down to about n^-2.
TestMatrix RandomSpd(int n, double shift = 0.1) {
  const TestMatrix x = Random(n, n, static_cast<unsigned>(n)), s = Mul(x, T(x));
  return {n, n, [&](int i, int j) { return s[i][j] / n + (i == j ? shift : 0.0); }};
}

// The factor cell by cell, each an inner product of its own.
TestMatrix PlainFactor(TestMatrix a) {
  for (int i = 0; i < a.rows; ++i) {
    double squares = 0.0;
    for (int j = 0; j < i; ++j) {
      a[i][j] = (a[i][j] - DotProduct(a[i], a[j], j)) * a[j][j];
      squares += a[i][j] * a[i][j];
    }
    a[i][i] = 1.0 / std::sqrt(a[i][i] - squares);
  }
  return {a.rows, a.rows, [&](int i, int j) { return i == j ? 1.0 / a[i][i] : i > j ? a[i][j] : 0.0; }};
}

// The backward error of a Cholesky factor is at most about (n + 1) epsilon times the diagonal (Higham, "Accuracy and
// Stability of Numerical Algorithms", 2nd ed., theorem 10.3). The plain form, which is all there is without work
// memory, has its own order of additions.
TEST(MatCholesky, FactorReproducesTheMatrix) {
  std::vector<TestMatrix> matrices = {Hilbert(11)};
  for (int n : {1, 2, 7, 8, 9, 17, 63, 64, 65, 71, 128, 129, 200})
    for (double shift : {0.1, 1e-9}) matrices.push_back(RandomSpd(n, shift));
  for (const TestMatrix &a : matrices) {
    const TestMatrix plain = PlainFactor(a);
    WithEachMicroKernel([&](const char *name) {
      for (int fail : {0, 1, 2}) {
        const TestMatrix l = Lower(a);
        HeapFailAt(fail);
        EXPECT_EQ(MatCholesky(l), Status::Ok) << name << a.rows;
        HeapFailAt(0);
        ExpectNear(Mul(l, T(l)), a, 5 * (a.rows + 2) * kEpsilon, name);
        EXPECT_TRUE(l.cells == plain.cells || (a.rows > 64 && fail == 0)) << name << a.rows;
        for (int i = 0; i + 1 < a.rows; ++i) EXPECT_EQ(l[i][a.rows - 1], 0.0);
      }
      return plain.cells;
    });
  }
}

TEST(MatInvertSpd, InverseTimesTheMatrix) {
  for (int n : {1, 2, 3, 8, 9, 16, 17, 40, 65, 150}) {
    const TestMatrix a = RandomSpd(n), l = PlainFactor(a);
    double expected = 0.0;
    for (int i = 0; i < n; ++i) expected += 2 * std::log(l[i][i]);
    WithEachMicroKernel([&](const char *name) {
      const TestMatrix x = Lower(a);
      double logDet = 0.0;
      EXPECT_EQ(MatInvertSpd(x, &logDet), Status::Ok);
      ExpectNear(Mul(a, x), Identity(n), 2e-14 * n, name);
      ExpectNear(x, Mirrored(x), 0.0, "symmetry");
      EXPECT_NEAR(logDet, expected, 1e-13 * n);
      return x.cells;
    });
  }
}

// The inverse of A = L D L' cell by cell, each an inner product of its own: d = 1 / D; M' = the inverse of L,
// transposed; then M' d M from row 0 on, while the rows below are not scaled yet.
TEST(MatInvertSpd, SameBitsAsOneInnerProductPerCell) {
  for (int n : {2, 9, 10, 17, 30}) {
    const TestMatrix input = RandomSpd(n), a = Lower(input);
    std::vector<double> cells(static_cast<std::size_t>(n));
    double *d = cells.data();
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < i; ++j) a[i][j] -= DotProduct(a[i], a[j], j);
      double pivot = a[i][i];
      for (int k = 0; k < i; ++k) {
        const double t = a[i][k];
        a[i][k] = t * d[k];
        pivot -= t * t * d[k];
      }
      d[i] = 1 / pivot;
    }
    for (int i = 1; i < n; ++i)
      for (int j = 0; j < i; ++j) a[j][i] = -a[i][j] - DotProduct(a[i] + j + 1, a[j] + j + 1, i - 1 - j);
    for (int i = 0; i < n; ++i) {
      double sum = 0;
      for (int k = i + 1; k < n; ++k) {
        const double t = a[i][k];
        a[i][k] *= d[k];
        sum += a[i][k] * t;
      }
      a[i][i] = sum + d[i];
      for (int j = i + 1; j < n; ++j) a[i][j] += DotProduct(a[i] + j + 1, a[j] + j + 1, n - 1 - j);
    }
    WithEachMicroKernel([&](const char *name) {
      const TestMatrix inverse = Lower(input);
      EXPECT_EQ(MatInvertSpd(inverse), Status::Ok);
      ExpectNear(inverse, Mirrored(T(a)), 0.0, name);
      return inverse.cells;
    });
  }
}

// The pivots of the Hilbert matrix are ((i-1)!)^4 / ((2i-2)! (2i-1)!): 1.4e-12 at 11, and 8.7e-14 at 12, which is
// refused. Corner (0, 0) of the inverse is n^2. The condition number grows like e^(3.5 n).
TEST(MatInvertSpd, HilbertMatrices) {
  double logDet = 0.0, expected = 0.0;
  for (int n = 1; n <= 12; ++n) {
    const TestMatrix h = Lower(Hilbert(n));
    ASSERT_EQ(MatInvertSpd(h, &logDet), n < 12 ? Status::Ok : Status::NotPositive);
    if (n == 12) break;
    expected += 4 * std::lgamma(n) - std::lgamma(2 * n - 1) - std::lgamma(2 * n);
    const double lost = 10 * kEpsilon * std::exp(3.5 * n);
    EXPECT_NEAR(logDet, expected, lost) << n;
    EXPECT_NEAR(h[0][0] / (n * n), 1.0, lost) << n;
  }
}

TEST(Symmetric, StatusToleranceAndMemory) {
  const struct {
    double pivot;
    bool positive;
  } cases[] = {{1000 * kEpsilon, false}, {std::nextafter(1000 * kEpsilon, 1), true}, {-1.0, false}};
  double logDet = 0.0;
  for (const auto &[pivot, positive] : cases)
    for (int n : {1, 30, 100})  // plain and blocked
      for (int at : {0, n / 2, n - 1}) {
        const TestMatrix l = Lower({n, n, [&, p = pivot](int i, int j) { return i != j ? 0.0 : i == at ? p : 1.0; }});
        const TestMatrix x = l;
        const Status expected = positive ? Status::Ok : Status::NotPositive;
        logDet = -5.0;
        EXPECT_EQ(MatCholesky(l), expected) << pivot << " at " << at << " of " << n;
        EXPECT_EQ(MatInvertSpd(x, &logDet), expected) << pivot;
        EXPECT_NEAR(logDet, positive ? std::log(pivot) : -5.0, 1e-14);
      }
  EXPECT_EQ(MatCholesky({}), Status::Ok);
  for (int n : {3, 100}) EXPECT_EQ(MatCholesky({nullptr, n, n}), Status::Invalid);
  EXPECT_EQ(MatInvertSpd({nullptr, 3, 3}, &logDet), Status::Invalid);
  EXPECT_EQ(MatInvertSpd({}, &logDet), Status::Invalid);
  EXPECT_EQ(logDet, -5.0);
  EXPECT_EQ(MatInvertSpd(Matrix(&logDet, 0, 0), &logDet), Status::Ok);
  EXPECT_EQ(logDet, 0.0);
  // Without memory the determinant is known and the inverse missing.
  const TestMatrix a = {{2, 0, 0}, {0, 4, 0}, {0, 0, 8}};
  HeapFailAt(1);
  EXPECT_EQ(MatInvertSpd(a, &logDet), Status::NoMemory);
  HeapFailAt(0);
  EXPECT_NEAR(logDet, std::log(64), 1e-14);
  for (int i = 0; i < 9; ++i) EXPECT_TRUE(IsMissing(a[i / 3][i % 3]));
}

}  // namespace
}  // namespace tessel
