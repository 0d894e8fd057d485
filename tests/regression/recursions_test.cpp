// What the recursions do when rounding gets the better of them.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "regression/riv.h"
#include "regression/rls.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

// One exogenous regressor x and one instrument more; the first estimate is at observation 1.
struct RivRun {
  Series beta, inverse;
  Status status;

  RivRun(const Series &y, const Series &x, const Series &instrument) : beta(y.size()), inverse(y.size()) {
    Series z = y;
    z.insert(z.end(), x.begin(), x.end());
    z.insert(z.end(), instrument.begin(), instrument.end());
    const int T = static_cast<int>(y.size());
    RivPaths paths;
    paths.beta = {beta.data(), 1, T};
    paths.inverseDiag = {inverse.data(), 1, T};
    status = RivEstimate({{z.data(), 3, T}, 1, 1, 1}, 0, T - 1, 2, paths);
  }
};

// 1 / 0.007^2 less an update that leaves 1 / 10^12 is 0 within the rounding of 20408, which is 3.6e-12: from 0.007 the
// update comes out below 0, where V is stored as 0. The step 50 after the first inverts anew.
TEST(Riv, ANegativeVarianceIsZeroUntilTheInverseIsComputedAnew) {
  constexpr std::size_t T = 60, anew = 51;
  Series y(T, 1.0), x(T, 1.0), instrument(T, 0.0);
  x[0] = 0.007, x[1] = 0, x[2] = 1e6;
  instrument[1] = 1;
  const RivRun run(y, x, instrument);
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
  const RivRun run(y, x, instrument);
  ASSERT_EQ(run.status, Status::Ok);
  for (std::size_t t = 2; t < T; ++t) EXPECT_EQ(run.beta[t], run.inverse[t] * std::exp2(53)) << t;
}

// The same loss in least squares. The next update finds q = 1 + x^2 V below 0 and solves the sample exactly.
TEST(Rls, ABrokenUpdateIsReplacedByAnExactStep) {
  const Series x = {0.007, 0, 1e6, 1e6, 1e6}, y = {1, 1, 2e6, 2e6, 2e6};
  Series inverse(x.size()), beta(x.size()), rss(x.size());
  const int T = static_cast<int>(x.size());
  RlsPaths paths;
  paths.inverseDiag = {inverse.data(), 1, T};
  paths.beta = {beta.data(), 1, T};
  paths.rss = {rss.data(), 1, T};
  ASSERT_EQ(RlsEstimate({y.data(), T, 1}, {x.data(), T, 1}, 0, T - 1, -1, paths), Status::Ok);
  ASSERT_LT(1 + 1e12 * inverse[2], 0);
  for (const std::size_t t : {3U, 4U}) {
    EXPECT_NEAR(inverse[t] * 1e12 * (static_cast<double>(t) - 1), 1, 1e-12) << t;
    EXPECT_NEAR(beta[t], 2, 1e-12) << t;
    // (1 - 0.007 beta)^2 + 1
    EXPECT_NEAR(rss[t], 1 + 0.986 * 0.986, 1e-12) << t;
  }
}

}  // namespace
}  // namespace tessel
