// Polynomial roots against closed forms, and by the polynomial that the roots stand for.
#include "linalg/roots.h"

#include <array>
#include <complex>

#include "../support/failing_allocation.h"
#include "matrices.h"

namespace tessel {
namespace {

// Small degrees: the orders follow from the formula of the pair, and the values are exact.
TEST(PolyRoots, ExactRoots) {
  using Doubles = std::vector<double>;
  const struct {
    Doubles coef, re, im;
  } cases[] = {{{-2.5}, {2.5}, {0}},
               {{0, 1}, {0, 0}, {1, -1}},
               {{-3, 2}, {2, 1}, {0, 0}},
               {{3, 2}, {-2, -1}, {0, 0}},
               {{0.0, -1}, {1, -1}, {0, 0}},
               {{-4, 4}, {2, 2}, {0, 0}},
               {Doubles(4), Doubles(4), Doubles(4)}};
  for (const auto &c : cases) {
    Doubles re(c.coef.size()), im(c.coef.size());
    ASSERT_EQ(PolyRoots(c.coef.data(), re.data(), im.data(), static_cast<int>(re.size())), 0);
    EXPECT_TRUE(re == c.re && im == c.im) << c.coef[0];
  }
}

// Multiplied out, the roots give the coefficients back to the last digits. z^n - 1 has a cyclic companion matrix, which
// plain QR steps leave as it is: only the exceptional shift gets it going.
TEST(PolyRoots, RootsOfANearbyPolynomial) {
  for (int n : {3, 4, 5, 16, 20, 30}) {
    for (bool cyclic : {true, false}) {
      const TestMatrix coef = cyclic ? TestMatrix(1, n, [=](int, int j) { return j == n - 1 ? -1 : 0; })
                                     : Random(1, n, static_cast<unsigned>(n));
      const TestMatrix roots(2, n);
      ASSERT_EQ(PolyRoots(coef[0], roots[0], roots[1], n), 0);
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
  double coef[3] = {1, MissingValue(), 2}, re[3], im[3];
  EXPECT_EQ(PolyRoots(coef, re, im, 3), 1);
  coef[1] = 3;
  for (int none = 0; none < 4; ++none)
    EXPECT_EQ(PolyRoots(none == 0 ? nullptr : coef, none == 1 ? nullptr : re, none == 2 ? nullptr : im, 3 * (none < 3)),
              2);
  int failed = 0;
  ForEachFailingAllocation([&](bool) { failed += PolyRoots(coef, re, im, 3) == 2; });
  EXPECT_EQ(failed, 2);  // the work matrix has two blocks
}

// The block diagonal matrix of 7, the companion of z^3 - 6z^2 + 11z - 6, and 5; then without any iterations, and with a
// missing value and no limit to speak of.
TEST(HessenbergEigenvalues, RangeAndLimit) {
  const struct {
    int limit;
    double cell;
    bool converges;
  } cases[] = {{30, 11, true}, {0, 11, false}, {1 << 30, MissingValue(), false}};
  for (const auto &c : cases) {
    const TestMatrix h = {{7, 1, 2, 3, 4}, {0, 6, -c.cell, 6, 1}, {0, 1, 0, 0, 1}, {0, 0, 1, 0, 1}, {0, 0, 0, 0, 5}};
    double re[5] = {}, im[5];
    int info = -9;
    HessenbergEigenvalues(h.Rows(), re, im, 5, 1, 3, c.limit, &info);
    EXPECT_TRUE(c.converges ? info > 0 : info == -3) << info;
    EXPECT_TRUE(c.limit > 0 || h[1][2] == -11);
    EXPECT_TRUE(re[0] == 7 && im[0] == 0 && re[4] == 5 && im[4] == 0);
    std::sort(re + 1, re + 4);
    for (int i = 1; i <= 3 && c.converges; ++i) EXPECT_NEAR(re[i], i, 1e-13);
  }
  // The cyclic block needs the exceptional shift, of 0.5, which the row above it must follow. The range is cut to fit.
  const TestMatrix cyclic = {{2, 1, 1, 1}, {0, 0.5, 0, 1}, {0, 1, 0.5, 0}, {0, 0, 1, 0.5}};
  double re[4], im[4];
  int info = -9;
  HessenbergEigenvalues(cyclic.Rows(), re, im, 4, -1, 9, 30, &info);
  EXPECT_TRUE(info > 10 && re[0] == 2);
  EXPECT_NEAR(*std::max_element(re + 1, re + 4), 1.5, 1e-14);
}

TEST(ComplexHelpers, NeitherOverflowsNorDividesByZero) {
  double re = 8, im = 9;
  EXPECT_EQ(ComplexDivide(1, 1, 0, -0.0, &re, &im), 0);
  EXPECT_TRUE(re == 8 && im == 9);
  for (const auto &[br, bi] : {std::array{3.0, 4.0}, {4, 3}, {0, 2}, {3, 0}, {1e300, -1e300}}) {
    EXPECT_EQ(ComplexDivide(1, 7, br, bi, &re, &im), 1);
    const auto expected = std::complex<long double>(1, 7) / std::complex<long double>(br, bi);
    EXPECT_DOUBLE_EQ(re, static_cast<double>(expected.real()));
    EXPECT_DOUBLE_EQ(im, static_cast<double>(expected.imag()));
  }
  for (double x : {-3.0, 3e300, HUGE_VAL}) EXPECT_DOUBLE_EQ(Hypot(x, x / 3 * -4), std::fabs(x) / 3 * 5);
  EXPECT_EQ(Hypot(0, -0.0), 0);
  EXPECT_TRUE(IsMissing(Hypot(MissingValue(), 0)));
}

}  // namespace
}  // namespace tessel
