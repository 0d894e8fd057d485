// Polynomial roots against closed forms, and by the polynomial that the roots stand for.
#include "linalg/roots.h"

#include <gtest/gtest.h>

#include <complex>
#include <numbers>

#include "../support/failing_allocation.h"
#include "factor_support.h"

using Doubles = std::vector<double>;

// Small degrees: the orders follow from the formula of the pair, and the values are exact. Otherwise real roots,
// sorted: T(12), whose roots are cosines; (z - 1)...(z - 10), where 1e-16 in a coefficient moves a root by 1e-10; a
// triple root; and three roots 1e-3 apart.
TEST(PolyRoots, KnownRoots) {
  Doubles cosines;
  for (int k = 0; k < 12; ++k) cosines.push_back(std::cos((2 * k + 1) * std::numbers::pi / 24));
  const struct {
    Doubles coef, re, im;
    double tolerance;
  } cases[] = {
      {{-2.5}, {2.5}, {0}, 0},
      {{0, 1}, {0, 0}, {1, -1}, 0},
      {{-3, 2}, {2, 1}, {0, 0}, 0},
      {{3, 2}, {-2, -1}, {0, 0}, 0},
      {{0.0, -1}, {1, -1}, {0, 0}, 0},
      {{-4, 4}, {2, 2}, {0, 0}, 0},
      {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, 0},
      {{0, -3, 0, 3.375, 0, -1.75, 0, 0.41015625, 0, -72.0 / 2048, 0, 1.0 / 2048}, cosines, Doubles(12), 1e-13},
      {{-55, 1320, -18150, 157773, -902055, 3416930, -8409500, 12753576, -10628640, 3628800},
       {10, 9, 8, 7, 6, 5, 4, 3, 2, 1},
       Doubles(10),
       1e-9},
      {{-1, -3, 5, -2}, {1, 1, 1, -2}, Doubles(4), 1e-4},
      {{-3, 2.999999, -0.999999}, {1.001, 1, 0.999}, Doubles(3), 1e-9}};
  for (const auto &c : cases) {
    Doubles re(c.coef.size()), im(c.coef.size());
    ASSERT_EQ(tessel::PolyRoots(c.coef.data(), re.data(), im.data(), static_cast<int>(re.size())), 0);
    if (c.tolerance > 0) std::sort(re.rbegin(), re.rend());
    for (std::size_t i = 0; i < re.size(); ++i) {
      EXPECT_NEAR(re[i], c.re[i], c.tolerance);
      EXPECT_NEAR(im[i], c.im[i], c.tolerance);
    }
  }
}

// Multiplied out, the roots give the coefficients back to the last digits. z^n - 1 has a cyclic companion matrix, which
// plain QR steps leave as it is: only the exceptional shift gets it going.
TEST(PolyRoots, RootsOfANearbyPolynomial) {
  for (int n : {3, 4, 5, 16, 20, 30}) {
    for (bool cyclic : {true, false}) {
      const OwnedMatrix coef = cyclic ? MatrixOf(1, n, [=](int, int j) { return j == n - 1 ? -1 : 0; })
                                      : RandomMatrix(1, n, static_cast<unsigned>(n));
      const OwnedMatrix roots(2, n);
      ASSERT_EQ(tessel::PolyRoots(coef[0], roots[0], roots[1], n), 0);
      std::vector<std::complex<long double>> product = {1};
      for (int i = 0; i < n; ++i) {
        product.emplace_back(0);
        for (std::size_t k = product.size() - 1; k > 0; --k)
          product[k] -= product[k - 1] * std::complex<long double>(roots[0][i], roots[1][i]);
        EXPECT_TRUE(roots[1][i] <= 0 || (roots[0][i] == roots[0][i + 1] && roots[1][i] == -roots[1][i + 1]));
      }
      for (int i = 0; i < n; ++i)
        EXPECT_NEAR(static_cast<double>(product[static_cast<std::size_t>(i) + 1].real()), coef[0][i], 1e-14 * n) << n;
    }
  }
}

TEST(PolyRoots, Failures) {
  double coef[3] = {1, tessel::MissingValue(), 2}, re[3], im[3];
  EXPECT_EQ(tessel::PolyRoots(coef, re, im, 3), 1);
  coef[1] = 3;
  EXPECT_EQ(tessel::PolyRoots(nullptr, re, im, 3), 2);
  EXPECT_EQ(tessel::PolyRoots(coef, nullptr, im, 3), 2);
  EXPECT_EQ(tessel::PolyRoots(coef, re, nullptr, 3), 2);
  EXPECT_EQ(tessel::PolyRoots(coef, re, im, 0), 2);
  int failed = 0;
  ForEachFailingAllocation([&](bool) { failed += tessel::PolyRoots(coef, re, im, 3) == 2; });
  EXPECT_EQ(failed, 2);  // the work matrix has two blocks
}

// The block diagonal matrix of 7, the companion of z^3 - 6z^2 + 11z - 6, and 5; then without any iterations, and with a
// missing value and no limit to speak of.
TEST(HessenbergEigenvalues, RangeAndLimit) {
  const struct {
    int limit;
    double cell;
    bool converges;
  } cases[] = {{30, 11, true}, {0, 11, false}, {1 << 30, tessel::MissingValue(), false}};
  for (const auto &c : cases) {
    const OwnedMatrix h =
        Matrix({{7, 1, 2, 3, 4}, {0, 6, -c.cell, 6, 1}, {0, 1, 0, 0, 1}, {0, 0, 1, 0, 1}, {0, 0, 0, 0, 5}});
    double re[5], im[5];
    int info = -9;
    tessel::HessenbergEigenvalues(h.get(), re, im, 5, 1, 3, c.limit, &info);
    EXPECT_TRUE(c.converges ? info > 0 : info == -3) << info;
    EXPECT_TRUE(c.limit > 0 || h[1][2] == -11);
    EXPECT_TRUE(re[0] == 7 && im[0] == 0 && re[4] == 5 && im[4] == 0);
    std::sort(re + 1, re + 4);
    for (int i = 1; i <= 3 && c.converges; ++i) EXPECT_NEAR(re[i], i, 1e-13);
  }
}

TEST(ComplexHelpers, NeitherOverflowsNorDividesByZero) {
  const double cases[][6] = {{1, 2, 3, 4, 0.44, 0.08},
                             {1, 2, 4, 3, 0.4, 0.2},
                             {4, 2, 0, 2, 1, -2},
                             {3, -6, 3, 0, 1, -2},
                             {1e300, 1e300, 1e300, 1e300, 1, 0}};
  double re = 8, im = 9;
  EXPECT_EQ(tessel::ComplexDivide(1, 1, 0, -0.0, &re, &im), 0);
  EXPECT_TRUE(re == 8 && im == 9);
  for (const auto &c : cases) {
    EXPECT_EQ(tessel::ComplexDivide(c[0], c[1], c[2], c[3], &re, &im), 1);
    EXPECT_DOUBLE_EQ(re, c[4]);
    EXPECT_DOUBLE_EQ(im, c[5]);
  }
  const double infinity = tessel::PositiveInfinity();
  const double sides[][3] = {{-3, 4, 5}, {0, -0.0, 0}, {3e300, -4e300, 5e300}, {infinity, -infinity, infinity}};
  for (const auto &s : sides) EXPECT_DOUBLE_EQ(tessel::Hypot(s[0], s[1]), s[2]);
  EXPECT_TRUE(tessel::IsMissing(tessel::Hypot(tessel::MissingValue(), 0)));
}
