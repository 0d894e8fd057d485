// Polynomial roots against closed forms, and by the polynomial that the roots stand for.
#include "linalg/roots.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "../support/failing_allocation.h"
#include "factor_support.h"

using tessel::PolyRoots;

namespace {

struct Roots {
  int status;
  std::vector<double> re, im;
};

Roots RootsOf(const std::vector<double> &coef) {
  Roots r{0, std::vector<double>(coef.size(), -77), std::vector<double>(coef.size(), -77)};
  r.status = PolyRoots(coef.data(), r.re.data(), r.im.data(), static_cast<int>(coef.size()));
  return r;
}

// The coefficients after the leading 1 of the monic polynomial with these roots.
std::vector<long double> Expand(const Roots &r) {
  std::vector<std::complex<long double>> c = {1};
  for (std::size_t i = 0; i < r.re.size(); ++i) {
    c.push_back(0);
    for (std::size_t k = c.size() - 1; k > 0; --k) c[k] -= c[k - 1] * std::complex<long double>(r.re[i], r.im[i]);
  }
  std::vector<long double> real;
  for (std::size_t k = 1; k < c.size(); ++k) real.push_back(c[k].real());
  return real;
}

}  // namespace

// Orders follow from the formula of the pair; the values are exact.
TEST(PolyRoots, SmallDegreesInOrder) {
  const struct {
    std::vector<double> coef, re, im;
  } cases[] = {{{-2.5}, {2.5}, {0}},         {{0, 1}, {0, 0}, {1, -1}},
               {{-3, 2}, {2, 1}, {0, 0}},    {{3, 2}, {-2, -1}, {0, 0}},
               {{0.0, -1}, {1, -1}, {0, 0}}, {{-0.0, -1}, {1, -1}, {0, 0}},
               {{-4, 4}, {2, 2}, {0, 0}},    {{0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}}};
  for (const auto &c : cases) {
    const Roots r = RootsOf(c.coef);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.re, c.re);
    EXPECT_EQ(r.im, c.im);
  }
}

TEST(PolyRoots, KnownRoots) {
  std::vector<double> chebyshev, wilkinson, unity;
  for (int k = 0; k < 12; ++k) chebyshev.push_back(std::cos((2 * k + 1) * std::numbers::pi / 24));
  for (int k = 10; k > 0; --k) wilkinson.push_back(k);
  const struct {
    std::vector<double> coef, roots;  // roots from the largest down
    double tolerance;
  } cases[] = {
      // T(12) / 2048
      {{0, -3, 0, 3.375, 0, -1.75, 0, 0.41015625, 0, -72.0 / 2048, 0, 1.0 / 2048}, chebyshev, 1e-13},
      // (z - 1)(z - 2)...(z - 10); an error of 1e-16 in a coefficient moves a root by about 1e-10
      {{-55, 1320, -18150, 157773, -902055, 3416930, -8409500, 12753576, -10628640, 3628800}, wilkinson, 1e-9},
      // (z - 1)^3 (z + 2) and roots 1e-3 apart, (z - 1)(z - 1.001)(z - 0.999): cube and square roots of the precision
      {{-1, -3, 5, -2}, {1, 1, 1, -2}, 1e-4},
      {{-3, 2.999999, -0.999999}, {1.001, 1, 0.999}, 1e-9}};
  for (const auto &c : cases) {
    Roots r = RootsOf(c.coef);
    ASSERT_EQ(r.status, 0);
    std::sort(r.re.rbegin(), r.re.rend());
    for (std::size_t i = 0; i < c.roots.size(); ++i) {
      EXPECT_NEAR(r.re[i], c.roots[i], c.tolerance);
      EXPECT_NEAR(r.im[i], 0, c.tolerance);
    }
  }
}

// Each set of roots is exact for a polynomial whose coefficients differ in the last digits alone. z^n - 1 is a cyclic
// companion matrix, which plain QR steps leave as it is: only the exceptional shift gets it going.
TEST(PolyRoots, RootsOfANearbyPolynomial) {
  std::vector<std::vector<double>> polynomials;
  for (int n : {3, 4, 6, 16}) {
    polynomials.emplace_back(n, 0.0);
    polynomials.back()[static_cast<std::size_t>(n) - 1] = -1;
  }
  for (int n : {3, 5, 20, 30}) {
    const OwnedMatrix m = RandomMatrix(1, n, static_cast<unsigned>(n));
    polynomials.emplace_back(m[0], m[0] + n);
  }
  for (const auto &coef : polynomials) {
    const Roots r = RootsOf(coef);
    ASSERT_EQ(r.status, 0) << coef.size();
    const std::vector<long double> back = Expand(r);
    for (std::size_t i = 0; i < coef.size(); ++i)
      EXPECT_NEAR(static_cast<double>(back[i]), coef[i], 1e-14 * static_cast<double>(coef.size())) << coef.size();
    for (std::size_t i = 0; i < coef.size(); ++i) {
      if (r.im[i] <= 0) continue;
      EXPECT_EQ(r.re[i], r.re[i + 1]);
      EXPECT_EQ(r.im[i], -r.im[i + 1]);
    }
  }
}

TEST(PolyRoots, Failures) {
  double coef[3] = {1, tessel::MissingValue(), 2}, re[3], im[3];
  EXPECT_EQ(PolyRoots(coef, re, im, 3), 1);
  coef[1] = tessel::PositiveInfinity();
  EXPECT_EQ(PolyRoots(coef, re, im, 3), 1);
  EXPECT_EQ(PolyRoots(nullptr, re, im, 3), 2);
  EXPECT_EQ(PolyRoots(coef, nullptr, im, 3), 2);
  EXPECT_EQ(PolyRoots(coef, re, nullptr, 3), 2);
  EXPECT_EQ(PolyRoots(coef, re, im, 0), 2);
  coef[1] = 3;
  int failed = 0;
  ForEachFailingAllocation([&](bool) { failed += PolyRoots(coef, re, im, 3) == 2; });
  EXPECT_EQ(failed, 2);  // the work matrix has two blocks
}

// The block diagonal matrix of 7, the companion of z^3 - 6z^2 + 11z - 6, and 5.
TEST(HessenbergEigenvalues, RangeAndLimit) {
  const auto matrix = [] {
    return Matrix({{7, 1, 2, 3, 4}, {0, 6, -11, 6, 1}, {0, 1, 0, 0, 1}, {0, 0, 1, 0, 1}, {0, 0, 0, 0, 5}});
  };
  double re[5], im[5];
  int info = -9;
  tessel::HessenbergEigenvalues(matrix().get(), re, im, 5, 1, 3, 30, &info);
  EXPECT_GT(info, 0);
  EXPECT_EQ(re[0], 7);
  EXPECT_EQ(re[4], 5);
  std::sort(re + 1, re + 4);
  for (int i = 1; i <= 3; ++i) EXPECT_NEAR(re[i], i, 1e-13);
  for (double part : im) EXPECT_EQ(part, 0);
  tessel::HessenbergEigenvalues(matrix().get(), re, im, 5, 1, 3, 1, &info);
  EXPECT_EQ(info, -3);
  tessel::HessenbergEigenvalues(matrix().get(), re, im, 5, 4, 4, 0, &info);
  EXPECT_EQ(info, 0);
}

TEST(ComplexDivide, QuotientsWithoutOverflow) {
  const struct {
    double ar, ai, br, bi, re, im;
  } cases[] = {{1, 2, 3, 4, 0.44, 0.08},
               {1, 2, 4, 3, 0.4, 0.2},
               {4, 2, 0, 2, 1, -2},
               {3, -6, 3, 0, 1, -2},
               {1e300, 1e300, 1e300, 1e300, 1, 0}};
  for (const auto &c : cases) {
    double re = 0, im = 0;
    EXPECT_EQ(tessel::ComplexDivide(c.ar, c.ai, c.br, c.bi, &re, &im), 1);
    EXPECT_DOUBLE_EQ(re, c.re);
    EXPECT_DOUBLE_EQ(im, c.im);
  }
  double re = 8, im = 9;
  EXPECT_EQ(tessel::ComplexDivide(1, 1, 0, -0.0, &re, &im), 0);
  EXPECT_EQ(re + im, 17);
}

TEST(Hypot, NeverOverflows) {
  EXPECT_EQ(tessel::Hypot(-3, 4), 5);
  EXPECT_EQ(tessel::Hypot(0, -0.0), 0);
  EXPECT_DOUBLE_EQ(tessel::Hypot(3e300, -4e300), 5e300);
  EXPECT_DOUBLE_EQ(tessel::Hypot(3e-300, 4e-300), 5e-300);
  EXPECT_EQ(tessel::Hypot(-tessel::PositiveInfinity(), tessel::PositiveInfinity()), tessel::PositiveInfinity());
  EXPECT_TRUE(tessel::IsMissing(tessel::Hypot(tessel::MissingValue(), 0)));
}
