// Polynomial roots against closed forms, and by the polynomial that the roots stand for.
#include "linalg/roots.h"

#include <array>
#include <complex>

#include "../support/failing_allocation.h"
#include "core/missing.h"
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
    std::vector<Complex> roots(c.coef.size());
    ASSERT_EQ(PolyRoots(c.coef, roots), Status::Ok);
    for (std::size_t i = 0; i < roots.size(); ++i) {
      EXPECT_EQ(roots[i].re, c.re[i]) << c.coef[0];
      EXPECT_EQ(roots[i].im, c.im[i]) << c.coef[0];
    }
  }
}

// Multiplied out, the roots give the coefficients back to the last digits. z^n - 1 has a cyclic companion matrix, which
// plain QR steps leave as it is: only the exceptional shift gets it going.
TEST(PolyRoots, RootsOfANearbyPolynomial) {
  for (int n : {3, 4, 5, 16, 20, 30}) {
    for (bool cyclic : {true, false}) {
      const TestMatrix coef = cyclic ? TestMatrix(1, n, [=](int, int j) { return j == n - 1 ? -1 : 0; })
                                     : Random(1, n, static_cast<unsigned>(n));
      const auto size = static_cast<std::size_t>(n);
      std::vector<Complex> roots(size + 1);
      ASSERT_EQ(PolyRoots({coef[0], size}, roots), Status::Ok);
      std::vector<std::complex<long double>> product = {1};
      for (std::size_t i = 0; i < size; ++i) {
        product.emplace_back(0);
        for (std::size_t k = product.size() - 1; k > 0; --k)
          product[k] -= product[k - 1] * std::complex<long double>(roots[i].re, roots[i].im);
        if (roots[i].im <= 0) continue;
        EXPECT_EQ(roots[i].re, roots[i + 1].re);
        EXPECT_EQ(roots[i].im, -roots[i + 1].im);
      }
      for (int i = 0; i < n; ++i)
        EXPECT_NEAR(static_cast<double>(product[static_cast<std::size_t>(i) + 1].real()), coef[0][i], 1e-14 * n) << n;
    }
  }
}

TEST(PolyRoots, Failures) {
  double coef[3] = {1, MissingValue(), 2};
  Complex roots[3];
  EXPECT_EQ(PolyRoots(coef, roots), Status::NotConverged);
  coef[1] = 3;
  EXPECT_EQ(PolyRoots({}, roots), Status::Invalid);
  EXPECT_EQ(PolyRoots(coef, {roots, 2}), Status::Invalid);
  int failed = 0;
  ForEachFailingAllocation([&](bool) { failed += PolyRoots(coef, roots) == Status::NoMemory; });
  EXPECT_EQ(failed, 1);
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
    Complex values[5];
    const EigenvalueResult result = HessenbergEigenvalues(h, {1, 3}, c.limit, values);
    EXPECT_EQ(result.status, c.converges ? Status::Ok : Status::NotConverged);
    EXPECT_EQ(result.stoppedAt, c.converges ? -1 : 3);
    EXPECT_EQ(result.iterations > 0, c.converges);
    EXPECT_TRUE(c.limit > 0 || h[1][2] == -11);
    for (const auto &[row, value] : {std::pair{0, 7.0}, {4, 5.0}}) {
      EXPECT_EQ(values[row].re, value);
      EXPECT_EQ(values[row].im, 0);
    }
    std::sort(values + 1, values + 4, [](const Complex &a, const Complex &b) { return a.re < b.re; });
    for (int i = 1; i <= 3 && c.converges; ++i) EXPECT_NEAR(values[i].re, i, 1e-13);
  }
  // The cyclic block needs the exceptional shift, of 0.5, which the row above it must follow. The range is cut to fit.
  const TestMatrix frame(12, 12, [](int, int) { return MissingValue(); });
  const Matrix cyclic = frame.View().Block(4, 4, 4, 4);
  Copy(cyclic, TestMatrix{{2, 1, 1, 1}, {0, 0.5, 0, 1}, {0, 1, 0.5, 0}, {0, 0, 1, 0.5}});
  Complex framed[12];
  const std::span<Complex> values = std::span(framed).subspan(4, 4);
  const EigenvalueResult result = HessenbergEigenvalues(cyclic, {-1, 9}, 30, values);
  EXPECT_EQ(result.status, Status::Ok);
  EXPECT_GT(result.iterations, 10);
  EXPECT_EQ(values[0].re, 2);
  for (int i : {0, 3, 8, 11}) EXPECT_EQ(framed[i].re, 0) << i;
  EXPECT_NEAR(std::max({values[1].re, values[2].re, values[3].re}), 1.5, 1e-14);
}

TEST(ComplexHelpers, NeitherOverflowsNorDividesByZero) {
  EXPECT_FALSE(ComplexDivide({1, 1}, {0, -0.0}));
  for (const auto &[br, bi] : {std::array{3.0, 4.0}, {4, 3}, {0, 2}, {3, 0}, {1e300, -1e300}}) {
    const std::optional<Complex> quotient = ComplexDivide({1, 7}, {br, bi});
    ASSERT_TRUE(quotient);
    const auto expected = std::complex<long double>(1, 7) / std::complex<long double>(br, bi);
    EXPECT_DOUBLE_EQ(quotient->re, static_cast<double>(expected.real()));
    EXPECT_DOUBLE_EQ(quotient->im, static_cast<double>(expected.imag()));
  }
  for (double x : {-3.0, 3e300, HUGE_VAL}) EXPECT_DOUBLE_EQ(Hypot(x, x / 3 * -4), std::fabs(x) / 3 * 5);
  EXPECT_EQ(Hypot(0, -0.0), 0);
  EXPECT_TRUE(IsMissing(Hypot(MissingValue(), 0)));
}

}  // namespace
}  // namespace tessel
