// Cholesky factor and inverse: residuals in extended precision, matrices with a known inverse, status and memory.
#include "linalg/symmetric.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/heap.h"
#include "host_matrix.h"
#include "linalg/products.h"

namespace tessel {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// The lower triangle of a matrix given by its cells; what the routines must not read is missing.
HostMatrix Lower(int n, const std::function<double(int i, int j)> &cell) {
  HostMatrix a(n, n, 1);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) a[i][j] = j <= i ? cell(i, j) : MissingValue();
  return a;
}

// X X' / n + shift I for a random X.
HostMatrix RandomSpd(int n, double shift = 0.1) {
  HostMatrix x(n, n);
  x.Random(static_cast<unsigned>(n));
  return Lower(n, [&](int i, int j) {
    long double sum = 0.0;
    for (int k = 0; k < n; ++k) sum += static_cast<long double>(x[i][k]) * x[j][k];
    return static_cast<double>(sum / n) + (i == j ? shift : 0.0);
  });
}

HostMatrix Copy(HostMatrix &a, int n) {
  return Lower(n, [&](int i, int j) { return a[i][j]; });
}

// Autocorrelations r^|i-j|, with a tridiagonal inverse and a determinant of (1 - r^2)^(n - 1).
HostMatrix Autocorrelations(int n, double r) {
  return Lower(n, [=](int i, int j) { return std::pow(r, i - j); });
}

HostMatrix Hilbert(int n) {
  return Lower(n, [](int i, int j) { return 1.0 / (i + j + 1); });
}

// The backward error of a Cholesky factor is at most about (n + 1) epsilon in each |L||L'|, whose diagonal is A's
// (Higham, "Accuracy and Stability of Numerical Algorithms", 2nd ed., theorem 10.3).
void CheckFactor(HostMatrix &l, HostMatrix &a, int n) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      if (j > i) {
        ASSERT_EQ(l[i][j], 0.0);
        continue;
      }
      long double sum = 0.0;
      for (int k = 0; k <= j; ++k) sum += static_cast<long double>(l[i][k]) * l[j][k];
      ASSERT_LE(std::fabs(sum - a[i][j]), (n + 2) * kEpsilon * std::sqrt(a[i][i] * a[j][j])) << n << " " << i << j;
    }
  EXPECT_TRUE(l.GapsIntact());
}

TEST(MatCholesky, FactorReproducesTheMatrix) {
  WithEachMicroKernel([](const MicroKernel &) {
    for (int n : {1, 2, 7, 8, 9, 17, 63, 64, 65, 71, 128, 129, 300})
      for (double shift : {0.1, 1e-9}) {
        HostMatrix a = RandomSpd(n, shift), l = Copy(a, n);
        ASSERT_EQ(MatCholesky(l.Rows(), n), 1) << n;
        CheckFactor(l, a, n);
      }
    HostMatrix a = Hilbert(11), l = Copy(a, 11);
    ASSERT_EQ(MatCholesky(l.Rows(), 11), 1);
    CheckFactor(l, a, 11);
  });
}

TEST(MatCholesky, WithoutScratchThePlainForm) {
  HostMatrix a = RandomSpd(130), blocked = Copy(a, 130);
  ASSERT_EQ(MatCholesky(blocked.Rows(), 130), 1);
  bool pending = false;
  for (int fail = 1; !pending; ++fail) {
    HostMatrix l = Copy(a, 130);
    HeapFailAt(fail);
    EXPECT_EQ(MatCholesky(l.Rows(), 130), 1);
    pending = HeapFailPending();
    HeapFailAt(0);
    for (int i = 0; i < 130; ++i)
      for (int j = 0; j < 130; ++j) ASSERT_NEAR(l[i][j], blocked[i][j], 1e-13) << fail;
  }
}

// A X and X A against the identity, where rounding is multiplied by the condition number.
TEST(MatInvertSpd, InverseTimesTheMatrix) {
  WithEachMicroKernel([](const MicroKernel &) {
    for (int n : {1, 2, 3, 8, 9, 16, 17, 40, 65, 150}) {
      HostMatrix a = RandomSpd(n), x = Copy(a, n);
      double logDet = 0.0, expected = 0.0;
      ASSERT_EQ(MatInvertSpdDet(x.Rows(), n, &logDet), 0);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          ASSERT_EQ(x[i][j], x[j][i]);
          long double sum = 0.0;
          for (int k = 0; k < n; ++k) sum += static_cast<long double>(a[std::max(i, k)][std::min(i, k)]) * x[k][j];
          ASSERT_NEAR(static_cast<double>(sum), i == j, 2e-13 * n) << n;
        }
      ASSERT_EQ(MatCholesky(a.Rows(), n), 1);
      for (int i = 0; i < n; ++i) expected += 2 * std::log(a[i][i]);
      EXPECT_NEAR(logDet, expected, 1e-13 * n);
      EXPECT_TRUE(x.GapsIntact());
    }
  });
}

TEST(MatInvertSpd, KnownInverses) {
  const int n = 200;
  const double r = 0.9, v = 1 - r * r;
  HostMatrix a = Autocorrelations(n, r);
  double logDet = 0.0;
  ASSERT_EQ(MatInvertSpdDet(a.Rows(), n, &logDet), 0);
  EXPECT_NEAR(logDet, (n - 1) * std::log(v), 1e-11);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const double diagonal = i == 0 || i == n - 1 ? 1 / v : (1 + r * r) / v;
      ASSERT_NEAR(a[i][j], i == j ? diagonal : std::abs(i - j) == 1 ? -r / v : 0.0, 1e-13) << i << " " << j;
    }

  // The pivots of the Hilbert matrix are ((i-1)!)^4 / ((2i-2)! (2i-1)!): 1.4e-12 at 11, and 8.7e-14 at 12, which is
  // refused. Corner (0, 0) of the inverse is n^2.
  for (int size = 2; size <= 12; ++size) {
    HostMatrix h = Hilbert(size);
    double expected = 0.0;
    for (int i = 1; i <= size; ++i) expected += 4 * std::lgamma(i) - std::lgamma(2 * i - 1) - std::lgamma(2 * i);
    ASSERT_EQ(MatInvertSpdDet(h.Rows(), size, &logDet), size < 12 ? 0 : 1);
    if (size == 12) break;
    const double lost = kEpsilon * std::exp(3.5 * size);  // the condition number grows like e^(3.5 n)
    EXPECT_NEAR(logDet, expected, 10 * lost) << size;
    EXPECT_NEAR(h[0][0] / (size * size), 1.0, 10 * lost) << size;
  }
}

TEST(MatInvertSpd, SameBitsInEverySet) {
  for (int n : {5, 64, 101}) {
    HostMatrix a = RandomSpd(n);
    std::vector<double> inverse, factor;
    WithEachMicroKernel([&](const MicroKernel &kernel) {
      HostMatrix x = Copy(a, n), l = Copy(a, n);
      ASSERT_EQ(MatInvertSpd(x.Rows(), n), 0);
      HeapFailAt(1);  // the plain form at every size
      ASSERT_EQ(MatCholesky(l.Rows(), n), 1);
      HeapFailAt(0);
      if (inverse.empty()) inverse = x.Cells(), factor = l.Cells();
      EXPECT_EQ(inverse, x.Cells()) << kernel.name;
      EXPECT_EQ(factor, l.Cells()) << kernel.name;
    });
  }
}

TEST(SymmetricStatus, PivotsAndTheAbsoluteTolerance) {
  EXPECT_EQ(MatTolerance(), 1000 * kEpsilon);
  const struct {
    double pivot;
    bool positive;
  } cases[] = {{2.0e-13, false}, {2.220446049250313e-13, false}, {3.0e-13, true}, {0.0, false}, {-1.0, false}};
  for (const auto &[pivot, positive] : cases)
    for (int n : {1, 30, 100})  // plain and blocked
      for (int at : {0, n / 2, n - 1}) {
        const auto diagonal = [&, pivot = pivot](int i, int j) { return i != j ? 0.0 : i == at ? pivot : 1.0; };
        HostMatrix l = Lower(n, diagonal), x = Lower(n, diagonal);
        double logDet = -5.0;
        EXPECT_EQ(MatCholesky(l.Rows(), n), positive) << pivot << " at " << at << " of " << n;
        EXPECT_EQ(MatInvertSpdDet(x.Rows(), n, &logDet), !positive) << pivot;
        EXPECT_EQ(logDet, positive ? -std::log(1 / pivot) : -5.0);
      }
}

TEST(SymmetricStatus, NothingThere) {
  double logDet = -5.0;
  double *none[] = {nullptr};
  EXPECT_EQ(KernelCholesky(nullptr, 0), 0);
  EXPECT_EQ(KernelCholesky(nullptr, 3), 1);
  EXPECT_EQ(KernelCholesky(nullptr, 100), 1);
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
    EXPECT_TRUE(a.GapsIntact());
  }
}

}  // namespace
}  // namespace tessel
