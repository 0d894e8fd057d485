// Smoothers of long series, and columns under exhausted memory.
#include "algebra/smooth.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "algebra/workspace.h"
#include "host/heap.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

Series Wave(int n, int gap) {
  Series x;
  for (int i = 0; i < n; ++i)
    x.push_back(gap > 0 && i * i % gap == 1 ? NAN : std::sin(i * 0.01) + 0.3 * std::sin(i * i));
  return x;
}

// Solves a small dense system by elimination without pivoting; the logarithm of the determinant.
double DenseSolve(std::vector<Series> a, Series &b) {
  const std::size_t n = b.size();
  double logDet = 0;
  for (std::size_t k = 0; k < n; ++k) {
    logDet += std::log(a[k][k]);
    for (std::size_t i = k + 1; i < n; ++i) {
      const double factor = a[i][k] / a[k][k];
      for (std::size_t j = k; j < n; ++j) a[i][j] -= factor * a[k][j];
      b[i] -= factor * b[k];
    }
  }
  for (std::size_t k = n; k-- > 0;) {
    for (std::size_t j = k + 1; j < n; ++j) b[k] -= a[k][j] * b[j];
    b[k] /= a[k][k];
  }
  return logDet;
}

TEST(Smooth, ToeplitzAgreesWithElimination) {
  for (const Series &t : {Series{9601, -6400, 1600}, {3}, {2, 0.9, 0.5, 0.3, 0.1}, {1.5, -0.7}, {1, 0, 0.4}}) {
    for (std::size_t m : {1U, 2U, 3U, 60U}) {
      std::vector<Series> a(m, Series(m, 0.0));
      Series expected(m), work(m);
      for (std::size_t i = 0; i < m; ++i) {
        expected[i] = std::cos(static_cast<double>(3 * i));
        for (std::size_t j = 0; j < m; ++j) {
          const std::size_t d = i > j ? i - j : j - i;
          a[i][j] = d < t.size() ? t[d] : 0;
        }
      }
      Series rhs = expected;
      const double logDet = DenseSolve(a, expected);
      ASSERT_EQ(ToeplitzSolve(t.data(), static_cast<int>(t.size()), static_cast<int>(m), rhs.data(), work.data()), 0);
      for (std::size_t i = 0; i < m; ++i) EXPECT_NEAR(rhs[i], expected[i], 1e-12) << t[0] << " " << m;
      EXPECT_NEAR(work[0], logDet, 1e-11 * std::max(1.0, std::fabs(logDet)));
    }
  }
  double rhs[] = {1, 1}, work[2];
  for (const double t : {0.0, -1.0, std::nan("")}) EXPECT_EQ(ToeplitzSolve(&t, 1, 2, rhs, work), 1);
  const double singular[] = {1, 1};
  EXPECT_EQ(ToeplitzSolve(singular, 2, 2, rhs, work), 1);
}

// The trend solves g + lambda K'K g = x, with K the second differences.
TEST(Smooth, TrendsOfLongSeries) {
  constexpr int n = 20000;
  const Series x = Wave(n, 0);
  for (const double lambda : {0.1, 1600.0, 1e7}) {
    const double tolerance = 1e-13 * (1 + 16 * lambda);  // what rounding g costs in the equation
    Series g(n), second(n + 2, 0.0);
    ASSERT_TRUE(SmoothTrend(x.data(), n, lambda, g.data()));
    for (std::size_t i = 2; i < n; ++i) second[i] = g[i] - 2 * g[i - 1] + g[i - 2];
    for (std::size_t i = 0; i < n; ++i)
      ASSERT_NEAR(g[i] + lambda * (second[i] - 2 * second[i + 1] + second[i + 2]), x[i], tolerance)
          << lambda << " " << i;
  }
}

TEST(Smooth, KernelOfLongSeriesIsThePlainSum) {
  constexpr int n = 700;
  for (const int gap : {0, 7}) {
    const Series x = Wave(n, gap);
    for (const double h : {1.5, 40.0, 300.25, 5000.0}) {
      Series out(n);
      ASSERT_TRUE(SmoothKernel(x.data(), n, -h, out.data()));
      for (int i = 0; i < n; ++i) {
        double sum = 0, weights = 0;
        for (int j = 0; j < n; ++j) {
          const double u = (i - j) / h, v = x[static_cast<std::size_t>(j)];
          if (std::isnan(v) || std::fabs(u) > 1) continue;
          sum += 0.75 * (1 - u * u) * v;
          weights += 0.75 * (1 - u * u);
        }
        ASSERT_EQ(out[static_cast<std::size_t>(i)], sum / weights) << h << " " << i;
      }
    }
  }
}

// The residuals of a spline are lambda Q gamma with R gamma = Q'g: its second derivatives, recovered from the residuals
// by summing twice, must be those of the natural spline through its own fit.
TEST(Smooth, SplinesOfLongSeriesAreNatural) {
  constexpr int n = 20000;
  const Series x = Wave(n, 5);
  for (const double lambda : {0.01, 30.0, 1600.0}) {
    Series g(n), at, residual, fit;
    ASSERT_TRUE(SmoothSpline(x.data(), n, -lambda, g.data()));
    for (std::size_t i = 0; i < n; ++i) {
      if (std::isnan(x[i])) continue;
      at.push_back(static_cast<double>(i));
      residual.push_back(x[i] - g[i]);
      fit.push_back(g[i]);
    }
    const std::size_t m = at.size();
    ASSERT_LT(m, n - 5000U);
    Series gamma(m, 0.0);
    double slope = 0;
    for (std::size_t i = 0; i + 1 < m; ++i) {
      slope += residual[i] / lambda;
      gamma[i + 1] = gamma[i] + slope * (at[i + 1] - at[i]);
    }
    EXPECT_NEAR(gamma[m - 1], 0, 1e-7) << "no second derivative at the end";
    for (std::size_t i = 1; i + 1 < m; ++i) {
      const double h = at[i] - at[i - 1], k = at[i + 1] - at[i];
      const double difference = (fit[i + 1] - fit[i]) / k - (fit[i] - fit[i - 1]) / h;
      ASSERT_NEAR(gamma[i - 1] * h / 6 + gamma[i] * (h + k) / 3 + gamma[i + 1] * k / 6, difference, 1e-7) << lambda;
    }
  }
}

// Runs y = CODE over w and e with its n-th allocation failing, for n from 1 on: e then holds what it held before, or
// all of the result.
TEST(Smooth, ColumnsUnderExhaustedMemory) {
  const Series w = {7, 2.1, 3.4, NAN, 5.2, 4.4, 6.8, 8.1}, before(8, 77);
  for (const std::string code : {"acf(w, e, f)", "pacf(w, e, f)", "periodogram(w, e, f)", "smooth_hp(w, 0, e)",
                                 "smooth_np(w, 0, e)", "smooth_sp(w, 3, e)", "_sortallby(e)", "_sortby(w, e)"}) {
    Series expected;
    int failures = 0;
    for (int n = 0; n == 0 || failures == n - 1; ++n) {
      const auto live = HeapLiveBlocks();
      ASSERT_TRUE(WorkspaceOpen(3, {1, 1, 8, 1, 1}));
      AlgebraDatabase *database = Workspace().database;
      ASSERT_EQ(DbAddVariables(database, 3), 0);
      for (int i = 0; i < 3; ++i) {
        DbSetName(database, i, std::string(1, "wef"[i]).c_str());
        std::copy_n(i == 0 ? w.data() : before.data(), 8, database->columns[i]);
      }
      if (code == "_sortallby(e)")
        for (int t = 0; t < 8; ++t) database->columns[1][t] = 8 - t;
      const Series start(database->columns[1], database->columns[1] + 8);
      ASSERT_TRUE(WorkspaceCompile((code + ";").c_str()));
      testing::internal::CaptureStdout();
      HeapFailAt(n);
      AlgebraRunRange(0, 7);
      if (n > 0 && !HeapFailPending()) ++failures;
      HeapFailAt(0);
      const std::string said = testing::internal::GetCapturedStdout();
      const Series e(database->columns[1], database->columns[1] + 8);
      const auto same = [&e](const Series &other) {
        return std::equal(e.begin(), e.end(), other.begin(),
                          [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); });
      };
      if (n == 0) expected = e;
      EXPECT_TRUE(same(start) || same(expected)) << code << " " << n;
      EXPECT_TRUE(n > 0 || code == "_sortby(w, e)" || !same(start)) << code;
      if (!same(expected)) {
        EXPECT_EQ(said, code[0] == '_' && n > 1 ? "" : "\nError: Out of memory\n") << code << " " << n;
      }
      WorkspaceClose();
      ASSERT_EQ(HeapLiveBlocks(), live);
    }
    EXPECT_GE(failures, code[0] == 'a' || code == "_sortby(w, e)" ? 1 : 2) << code;
  }
}

}  // namespace
}  // namespace tessel
