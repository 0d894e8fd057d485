// Cholesky factor and inverse: residuals in extended precision, matrices with a known inverse, status and memory.
#include "linalg/symmetric.h"

#include <cmath>
#include <limits>

#include "host/heap.h"
#include "host_matrix.h"
#include "linalg/dot_product.h"

namespace tessel {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// The lower triangle of a matrix; what the routines must not read is missing.
HostMatrix Lower(int n, const std::function<double(int i, int j)> &cell) {
  return {n, n, 1, [&](int i, int j) { return j <= i ? cell(i, j) : MissingValue(); }};
}

// X X' / n + shift I for a random X, of which X X' / n has eigenvalues down to about n^-2.
HostMatrix RandomSpd(int n, double shift = 0.1) {
  const HostMatrix x = Random(n, n, static_cast<unsigned>(n)), s = Mul(x, T(x));
  return Lower(n, [&](int i, int j) { return s[i][j] / n + (i == j ? shift : 0.0); });
}

HostMatrix Copy(const HostMatrix &a) {
  return Lower(a.rows, [&](int i, int j) { return a[i][j]; });
}

HostMatrix Hilbert(int n) {
  return Lower(n, [](int i, int j) { return 1.0 / (i + j + 1); });
}

// The backward error of a Cholesky factor is at most about (n + 1) epsilon times the diagonal (Higham, "Accuracy and
// Stability of Numerical Algorithms", 2nd ed., theorem 10.3).
TEST(MatCholesky, FactorReproducesTheMatrix) {
  std::vector<HostMatrix> matrices;
  for (int n : {1, 2, 7, 8, 9, 17, 63, 64, 65, 71, 128, 129, 200})
    for (double shift : {0.1, 1e-9}) matrices.push_back(RandomSpd(n, shift));
  matrices.push_back(Hilbert(11));
  WithEachMicroKernel([&](const char *name) {
    for (const HostMatrix &a : matrices) {
      HostMatrix l = Copy(a);
      ASSERT_EQ(MatCholesky(l.Rows(), a.rows), 1) << name << a.rows;
      ExpectNear(Mul(l, T(l)), Mirrored(a), 5 * (a.rows + 2) * kEpsilon, name);
      for (int i = 0; i + 1 < a.rows; ++i) ASSERT_EQ(l[i][a.rows - 1], 0.0);
    }
  });
}

TEST(MatCholesky, WithoutScratchThePlainForm) {
  const HostMatrix a = RandomSpd(130);
  HostMatrix blocked = Copy(a);
  ASSERT_EQ(MatCholesky(blocked.Rows(), 130), 1);
  bool pending = false;
  for (int fail = 1; !pending; ++fail) {
    HostMatrix l = Copy(a);
    HeapFailAt(fail);
    EXPECT_EQ(MatCholesky(l.Rows(), 130), 1);
    pending = HeapFailPending();
    HeapFailAt(0);
    ExpectNear(l, blocked, 1e-13, "allocation " + std::to_string(fail));
  }
}

TEST(MatInvertSpd, InverseTimesTheMatrix) {
  for (int n : {1, 2, 3, 8, 9, 16, 17, 40, 65, 150}) {
    const HostMatrix a = RandomSpd(n);
    std::vector<double> first;
    WithEachMicroKernel([&](const char *name) {
      HostMatrix x = Copy(a), l = Copy(a);
      double logDet = 0.0, expected = 0.0;
      ASSERT_EQ(MatInvertSpdDet(x.Rows(), n, &logDet), 0);
      ExpectNear(Mul(Mirrored(a), x), {n, n, 1, [](int i, int j) { return i == j; }}, 2e-14 * n, name);
      ExpectNear(x, Mirrored(x), 0.0, "symmetry");
      HeapFailAt(1);  // the plain form at every size
      ASSERT_EQ(MatCholesky(l.Rows(), n), 1);
      HeapFailAt(0);
      for (int i = 0; i < n; ++i) expected += 2 * std::log(l[i][i]);
      EXPECT_NEAR(logDet, expected, 1e-13 * n);
      x.cells.insert(x.cells.end(), l.cells.begin(), l.cells.end());
      if (first.empty()) first = x.cells;
      EXPECT_EQ(first, x.cells) << "the same bits in set " << name;
    });
  }
}

// The factorisations cell by cell, each an inner product of its own: grouping rows must not change a bit.
TEST(MatInvertSpd, SameBitsAsOneInnerProductPerCell) {
  for (int n : {3, 30, 64}) {
    HostMatrix a = RandomSpd(n), l = Copy(a), x = Copy(a);
    for (int i = 0; i < n; ++i) {
      double squares = 0.0;
      for (int j = 0; j < i; ++j) {
        a[i][j] = (a[i][j] - DotProduct(a[i], a[j], j)) * a[j][j];
        squares += a[i][j] * a[i][j];
      }
      a[i][i] = 1.0 / std::sqrt(a[i][i] - squares);
    }
    ASSERT_EQ(MatCholesky(l.Rows(), n), 1);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j <= i; ++j) EXPECT_EQ(l[i][j], i == j ? 1.0 / a[i][i] : a[i][j]);

    a = Copy(x);
    ASSERT_EQ(MatInvertSpd(x.Rows(), n), 0);
    std::vector<double> pivots;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < i; ++j) a[i][j] -= DotProduct(a[i], a[j], j);
      double p = a[i][i];
      for (int k = 0; k < i; ++k) {
        const double t = a[i][k], d = pivots[static_cast<std::size_t>(k)];
        a[i][k] = t * d;
        p -= t * t * d;
      }
      pivots.push_back(1.0 / p);
    }
    for (int i = 1; i < n; ++i)
      for (int j = 0; j < i; ++j) a[j][i] = -a[i][j] - DotProduct(a[i] + j + 1, a[j] + j + 1, i - 1 - j);
    for (int i = 0; i < n; ++i) {
      double sum = 0.0;
      for (int k = i + 1; k < n; ++k) {
        const double t = a[i][k];
        a[i][k] = t * pivots[static_cast<std::size_t>(k)];
        sum += a[i][k] * t;
      }
      a[i][i] = sum + pivots[static_cast<std::size_t>(i)];
      for (int j = i + 1; j < n; ++j) a[i][j] += DotProduct(a[i] + j + 1, a[j] + j + 1, n - 1 - j);
    }
    for (int i = 0; i < n; ++i)
      for (int j = i; j < n; ++j) EXPECT_EQ(x[i][j], a[i][j]) << n << " at " << i << "," << j;
  }
}

TEST(MatInvertSpd, KnownInverses) {
  // Autocorrelations r^|i-j|: a tridiagonal inverse and a determinant of (1 - r^2)^(n - 1).
  constexpr int n = 200;
  constexpr double r = 0.9, v = 1 - r * r;
  HostMatrix a = Lower(n, [](int i, int j) { return std::pow(r, i - j); });
  double logDet = 0.0;
  ASSERT_EQ(MatInvertSpdDet(a.Rows(), n, &logDet), 0);
  EXPECT_NEAR(logDet, (n - 1) * std::log(v), 1e-11);
  const auto tridiagonal = [](int i, int j) {
    const double diagonal = i == 0 || i == n - 1 ? 1 / v : (1 + r * r) / v;
    return i == j ? diagonal : std::abs(i - j) == 1 ? -r / v : 0.0;
  };
  ExpectNear(a, {n, n, 1, tridiagonal}, 1e-13, "autocorrelations");

  // The pivots of the Hilbert matrix are ((i-1)!)^4 / ((2i-2)! (2i-1)!): 1.4e-12 at 11, and 8.7e-14 at 12, which is
  // refused. Corner (0, 0) of the inverse is n^2. The condition number grows like e^(3.5 n).
  for (int size = 2; size <= 12; ++size) {
    HostMatrix h = Hilbert(size);
    double expected = 0.0;
    for (int i = 1; i <= size; ++i) expected += 4 * std::lgamma(i) - std::lgamma(2 * i - 1) - std::lgamma(2 * i);
    ASSERT_EQ(MatInvertSpdDet(h.Rows(), size, &logDet), size < 12 ? 0 : 1);
    if (size == 12) break;
    const double lost = 10 * kEpsilon * std::exp(3.5 * size);
    EXPECT_NEAR(logDet, expected, lost) << size;
    EXPECT_NEAR(h[0][0] / (size * size), 1.0, lost) << size;
  }
}

TEST(SymmetricStatus, PivotsAndTheAbsoluteTolerance) {
  const struct {
    double pivot;
    bool positive;
  } cases[] = {{2.0e-13, false}, {1000 * kEpsilon, false}, {3.0e-13, true}, {0.0, false}, {-1.0, false}};
  for (const auto &[pivot, positive] : cases)
    for (int n : {1, 30, 100})  // plain and blocked
      for (int at : {0, n / 2, n - 1}) {
        const auto diagonal = [&, pivot = pivot](int i, int j) { return i != j ? 0.0 : i == at ? pivot : 1.0; };
        HostMatrix l = Lower(n, diagonal), x = Lower(n, diagonal);
        double logDet = -5.0;
        EXPECT_EQ(MatCholesky(l.Rows(), n), positive) << pivot << " at " << at << " of " << n;
        EXPECT_EQ(MatInvertSpdDet(x.Rows(), n, &logDet), !positive) << pivot;
        EXPECT_NEAR(logDet, positive ? std::log(pivot) : -5.0, 1e-14);
      }
}

TEST(SymmetricStatus, NothingThere) {
  double logDet = -5.0, *none[] = {nullptr};
  EXPECT_EQ(KernelCholesky(nullptr, 0), 0);
  for (int n : {3, 100}) EXPECT_EQ(KernelCholesky(nullptr, n), 1);
  EXPECT_EQ(KernelInvertSpd(nullptr, 3, &logDet), 3);
  EXPECT_EQ(KernelInvertSpd(none, 3, &logDet), 3);
  EXPECT_EQ(logDet, -5.0);
  EXPECT_EQ(KernelInvertSpd(none, 0, &logDet), 0);
  EXPECT_EQ(logDet, 0.0);
}

TEST(MatInvertSpd, WithoutScratchEverythingIsMissing) {
  for (int fail : {1, 2}) {
    HostMatrix a = RandomSpd(4);
    HeapFailAt(fail);
    EXPECT_EQ(MatInvertSpd(a.Rows(), 4), 0);
    HeapFailAt(0);
    for (int i = 0; i < 16; ++i) EXPECT_TRUE(IsMissing(a[i / 4][i % 4]));
  }
}

}  // namespace
}  // namespace tessel
