// The nine regression exports: references and limits.
#include <random>

#include "support/reference_cases.h"

namespace {

// 40-digit recomputations on every sub-sample, other packages' values, closed forms, certified values.
TEST(RegressionExports, EqualTheReferences) {
  ExpectReferenceCases("regression_references.txt");
  ExpectReferenceCases("regression_cases.txt");
}

// The moments' sums take their terms in the order of the observations and of the lags, to the bit, whatever the size.
TEST(RegressionExports, MomentSumsKeepTheirOrder) {
  constexpr std::size_t T = 40, lags = 3;
  std::mt19937 random(6);
  for (std::size_t m = 1; m <= 9; ++m) {
    std::vector<double> a(T * m), sum(m * m), one(T, 1.0);
    for (double &cell : a) cell = static_cast<double>(random()) / 2e9 - 1;
    for (std::size_t t = 0; t < T; ++t)
      for (std::size_t l = 0; l <= std::min(t, lags); ++l)
        for (std::size_t i = 0; i < m * m; ++i) {
          const double *g = &a[t * m], *r = g - l * m, weight = 1 - static_cast<double>(l) / (lags + 1);
          const std::size_t p = i / m, q = i % m;
          sum[i] += l == 0 ? g[p] * g[q] : weight * (g[p] * r[q] + g[q] * r[p]);
        }
    morv::Arguments args;
    args.Matrix(a.data(), T, static_cast<int>(m)).Column(one).Integer(1);
    EXPECT_EQ(morv::Call("FnGLScovariance", FnGLScovariance, args).result.Numbers(), sum) << m;
  }
}

// u(t) = rho u(t), which theta has the right length for, or u(t) = rho u(t + 1).
TEST(RegressionExports, LagsBelowOneAreRefused) {
  for (const int lag : {0, -1}) {
    const CaseRun run = Call("FnRalsFunc", {Mat(2, 1, {2, 0.5}), Mat(3, 1, {0, 3, 4}), Mat(3, 1, {1, 1, 1}), Int(lag),
                                            Int(lag), Out(), Out(), Out()});
    EXPECT_TRUE(run.ReturnsMissing()) << lag;
    EXPECT_TRUE(run.WroteNothing()) << lag;
  }
}

TEST(RegressionExports, GiveUpQuietlyOutsideTheLimits) { ExpectUnfitArguments("regression_cases.txt"); }

}  // namespace
