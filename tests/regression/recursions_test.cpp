// The recursions in closed form, and what they do when rounding gets the better of them.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "regression/riv.h"
#include "regression/rls.h"
#include "regression/robust_covariance.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

Matrix View(Series &cells, int rows) { return {cells.data(), rows, static_cast<int>(cells.size()) / rows}; }

// Two-stage least squares of z's first row; all paths hold a 7 before the call.
struct RivRun {
  Series beta, inverse, standardised, innovation, rss, residual;
  Status status;

  RivRun(Series z, int rows, int nEndog, int k, int nInit) {
    const int T = static_cast<int>(z.size()) / rows;
    for (Series *path : {&standardised, &innovation, &rss, &residual}) path->assign(static_cast<std::size_t>(T), 7);
    for (Series *path : {&beta, &inverse}) path->assign(static_cast<std::size_t>(k * T), 7);
    const RivPaths paths = {View(beta, k), View(inverse, k), standardised, innovation, rss, residual};
    status = RivEstimate({View(z, rows), nEndog, k, rows - 1 - k}, 0, T - 1, nInit, paths);
  }
};

// One equation; the regressors stand side by side in x.
struct RlsRun {
  Series beta, inverse, standardised, innovation, rss, residual, halfLogDet;
  Status status;

  RlsRun(Series y, Series x, int tExact = -1) {
    const int T = static_cast<int>(y.size()), k = static_cast<int>(x.size()) / T;
    for (Series *path : {&standardised, &innovation, &rss, &residual, &halfLogDet}) path->assign(y.size(), 7);
    for (Series *path : {&beta, &inverse}) path->assign(x.size(), 7);
    const RlsPaths paths = {View(beta, k),       View(inverse, k), View(standardised, 1),
                            View(innovation, 1), View(rss, 1),     View(residual, 1),
                            halfLogDet};
    status = RlsEstimate(View(y, T), View(x, T), 0, T - 1, tExact, paths);
  }
};

Series Joined(std::initializer_list<Series> parts) {
  Series all;
  for (const Series &part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// The regressor is a constant: coefficients are means, of as many observations as V tells.
TEST(Riv, MeansInClosedForm) {
  const Series y = {3, 5, 1, 8, 2, 2}, one(6, 1.0), instrument = {1, 2, -1, 4, 0, 1};
  const RivRun run(Joined({y, one, instrument}), 3, 1, 1, 3);
  ASSERT_EQ(run.status, Status::Ok);
  double sum = 0, squares = 0, meanBefore = 0;
  for (std::size_t t = 0; t < y.size(); ++t) {
    sum += y[t];
    squares += y[t] * y[t];
    const double n = static_cast<double>(t) + 1, mean = sum / n, innovation = y[t] - meanBefore;
    if (t < 2) {
      for (const Series *path : {&run.beta, &run.inverse, &run.rss, &run.residual}) EXPECT_TRUE(std::isnan((*path)[t]));
    } else {
      EXPECT_NEAR(run.beta[t], mean, 1e-14);
      EXPECT_NEAR(run.inverse[t], 1 / n, 1e-14);
      EXPECT_NEAR(run.rss[t], squares - n * mean * mean, 1e-12);
      EXPECT_NEAR(run.residual[t], y[t] - mean, 1e-14);
    }
    for (const Series *path : {&run.innovation, &run.standardised}) EXPECT_EQ(std::isnan((*path)[t]), t < 3) << t;
    if (t >= 3) {
      EXPECT_NEAR(run.innovation[t], innovation, 1e-14);
      EXPECT_NEAR(run.standardised[t], innovation / std::sqrt(1 + 1 / (n - 1)), 1e-14);
    }
    meanBefore = mean;
  }
}

TEST(Riv, NeedsAnExogenousRegressor) {
  const Series y = {3, 5, 1, 8, 2, 2}, x = {1, 2, -1, 4, 0, 1};
  const RivRun run(Joined({y, x, x}), 3, 2, 1, 2);
  EXPECT_EQ(run.status, Status::Invalid);
  for (const double cell : Joined({run.beta, run.rss})) EXPECT_TRUE(std::isnan(cell));
}

// 1 / 0.007^2 less an update that leaves 1 / 10^12 is 0 within the rounding of 20408, which is 3.6e-12: from 0.007 the
// update comes out below 0, where V is stored as 0. The step 50 after the first inverts anew.
TEST(Riv, ANegativeVarianceIsZeroUntilTheInverseIsComputedAnew) {
  constexpr std::size_t T = 60, anew = 51;
  Series y(T, 1.0), x(T, 1.0), instrument(T, 0.0);
  x[0] = 0.007, x[1] = 0, x[2] = 1e6;
  instrument[1] = 1;
  const RivRun run(Joined({y, x, instrument}), 3, 1, 1, 2);
  ASSERT_EQ(run.status, Status::Ok);
  EXPECT_NEAR(run.inverse[1], 1 / 4.9e-5, 1e-9);
  for (std::size_t t = 2; t < anew; ++t) EXPECT_EQ(run.inverse[t], 0.0) << t;
  for (std::size_t t = anew; t < T; ++t)
    EXPECT_NEAR(run.inverse[t] * (1e12 + static_cast<double>(t) - 2), 1, 1e-12) << t;
}

// 2^53 takes no further 1 in a running sum, though a sum that is formed anew would show fifty of them.
TEST(Riv, MomentsAreSummedOnce) {
  constexpr std::size_t T = 60;
  Series y(T, 1.0), x(T, 1.0), instrument(T, 0.0);
  y[0] = y[1] = 0, instrument[1] = 1;
  x[2] = std::exp2(27), y[2] = std::exp2(26);
  const RivRun run(Joined({y, x, instrument}), 3, 1, 1, 2);
  ASSERT_EQ(run.status, Status::Ok);
  for (std::size_t t = 2; t < T; ++t) EXPECT_EQ(run.beta[t], run.inverse[t] * std::exp2(53)) << t;
}

// The same loss in least squares. The next update finds q = 1 + x^2 V below 0 and solves the sample exactly.
TEST(Rls, ABrokenUpdateIsReplacedByAnExactStep) {
  const RlsRun run({1, 1, 2e6, 2e6, 2e6}, {0.007, 0, 1e6, 1e6, 1e6});
  ASSERT_EQ(run.status, Status::Ok);
  ASSERT_LT(1 + 1e12 * run.inverse[2], 0);
  for (const std::size_t t : {3U, 4U}) {
    EXPECT_NEAR(run.inverse[t] * 1e12 * (static_cast<double>(t) - 1), 1, 1e-12) << t;
    EXPECT_NEAR(run.beta[t], 2, 1e-12) << t;
    // (1 - 0.007 beta)^2 + 1
    EXPECT_NEAR(run.rss[t], 1 + 0.986 * 0.986, 1e-12) << t;
  }
}

// Two regressors that are never both at work, as (1, 0), (0, s), (1, 0), ...: x'V x is one over the number of times
// that the regressor of the observation was there. Rank-one steps count without the observation, exact ones with it.
// Where s leaves the moments ill-conditioned every step is exact.
TEST(Rls, StaysExactWhileIllConditioned) {
  for (const double s : {1.0, 1e-7}) {
    const RlsRun run({3, 4, 5, 7, 6, 8}, {1, 0, 0, s, 1, 0, 0, s, 1, 0, 0, s});
    ASSERT_EQ(run.status, Status::Ok);
    for (std::size_t t = 2; t < 6; ++t) {
      const bool exact = t == 2 || s < 1;
      const double times = static_cast<double>(t / 2) + exact, ratio = run.innovation[t] / run.standardised[t];
      EXPECT_NEAR(ratio * ratio, 1 + 1 / times, 1e-12) << s << " " << t;
    }
  }
}

// Powers of t up to 10^6 leave (X'X)^-1 X'y a few digits. The sum of squares is that of these coefficients' residuals,
// not the smaller one of the factorisation.
TEST(Rls, ExactSumsOfSquaresBelongToTheCoefficientsThatAreTold) {
  constexpr std::size_t T = 10, k = 7;
  Series y(T), x(T * k);
  for (std::size_t t = 0; t < T; ++t) {
    y[t] = std::sin(static_cast<double>(t));
    for (std::size_t i = 0; i < k; ++i) x[t * k + i] = std::pow(static_cast<double>(t + 1), static_cast<double>(i));
  }
  const RlsRun run(y, x, T - 1);
  ASSERT_EQ(run.status, Status::Ok);
  double sum = 0;
  for (std::size_t t = 0; t < T; ++t) {
    double fit = 0;
    for (std::size_t i = 0; i < k; ++i) fit += x[t * k + i] * run.beta[i * T + T - 1];
    sum += (y[t] - fit) * (y[t] - fit);
  }
  EXPECT_NEAR(run.rss[T - 1] / sum, 1, 1e-12);
}

// Regressors that differ in the eighth digit: V is about 10^14, and the rounding of x'V x is not far from 1. At
// observation 3 it leaves an exact step with q below 0, which ends the run.
TEST(Rls, EndsWhenAnExactStepBreaksDown) {
  Series x;
  for (const auto &[a, d] : {std::pair(9, -3), {7, -2}, {1, 0}, {7, -2}, {6, 2}, {9, 3}})
    for (const double regressor : {a + 0.0, a + d * 1e-7}) x.push_back(regressor);
  const RlsRun run({1, 2, 1, 3, 1, 2}, x);
  EXPECT_EQ(run.status, Status::NotPositive);
  for (std::size_t t = 0; t < 6; ++t) EXPECT_EQ(std::isnan(run.inverse[t]), t != 2) << t;
}

// y = (0, 2 d) on a constant: residual sum of squares over T is d^2. A pivot up to 1000 times the double precision,
// 2.2e-13, is no determinant. The first observation has no step.
TEST(Rls, DeterminantsAboveTheToleranceAlone) {
  EXPECT_TRUE(std::isnan(RlsRun({0, 2 * std::sqrt(2e-13)}, {1, 1}).halfLogDet[1]));
  const RlsRun run({0, 2 * std::sqrt(3e-13)}, {1, 1});
  EXPECT_NEAR(run.halfLogDet[1], -0.5 * std::log(3e-13), 1e-12);
  for (const Series *path :
       {&run.beta, &run.inverse, &run.standardised, &run.innovation, &run.rss, &run.residual, &run.halfLogDet})
    EXPECT_TRUE(std::isnan((*path)[0]));
}

// 4 (T / 100)^(2/9) is 4.996 at T = 272, 5.0002 at 273, 5.99994 at 620, 6.002 at 621, 15.99993 at 51199. It is 16 at
// 51200 and 36 at 1968300, and just below them with the double nearest to 2/9 in the exponent, which is below 2/9.
TEST(BartlettLags, AreTruncated) {
  const std::pair<int, int> lags[] = {{0, 0},   {1, 1},   {99, 3},     {100, 4},    {272, 4},    {273, 5},
                                      {620, 5}, {621, 6}, {51199, 15}, {51200, 15}, {51201, 16}, {1968300, 35}};
  for (const auto &[observations, expected] : lags) EXPECT_EQ(BartlettLags(observations), expected) << observations;
}

}  // namespace
}  // namespace tessel
