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

// The solution is put back into the equations. The determinant of the matrix of 2 and -1 is m + 1.
TEST(Smooth, ToeplitzSolves) {
  for (const Series &t : {Series{9601, -6400, 1600}, {3}, {2, 0.9, 0.5, 0.3, 0.1}, {2, -1}, {1, 0, 0.4}}) {
    for (const int m : {1, 2, 3, 2000}) {
      Series rhs(static_cast<std::size_t>(m)), work(rhs.size());
      for (int i = 0; i < m; ++i) rhs[static_cast<std::size_t>(i)] = std::cos(3 * i);
      ASSERT_EQ(ToeplitzSolve(t.data(), static_cast<int>(t.size()), m, rhs.data(), work.data()), 0);
      for (int i = 0; i < m; ++i) {
        double sum = 0;
        for (int j = 0; j < m; ++j)
          if (const auto d = static_cast<std::size_t>(std::abs(i - j)); d < t.size())
            sum += t[d] * rhs[static_cast<std::size_t>(j)];
        ASSERT_NEAR(sum, std::cos(3 * i), 1e-8) << t[0] << " " << m;
      }
      ASSERT_TRUE(t != (Series{2, -1}) || std::fabs(work[0] - std::log(m + 1)) < 1e-10);
    }
  }
  double rhs[] = {1, 1}, work[2];
  for (const double t : {0.0, -1.0, std::nan("")}) EXPECT_EQ(ToeplitzSolve(&t, 1, 2, rhs, work), 1);
  const double singular[] = {1, 1};
  EXPECT_EQ(ToeplitzSolve(singular, 2, 2, rhs, work), 1);
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

// A run over the columns w, e and f with its n-th allocation failing; what e then holds. 0 lets none fail.
Series RunFailing(const char *code, int n, bool *failed) {
  EXPECT_TRUE(WorkspaceOpen(3, {1, 1, 4, 1, 1}));
  AlgebraDatabase *database = Workspace().database;
  EXPECT_EQ(DbAddVariables(database, 3), 0);
  for (int t = 0; t < 4; ++t) {
    database->columns[0][t] = t * t + 1;
    database->columns[1][t] = 80 - t;
  }
  for (int i = 0; i < 3; ++i) DbSetName(database, i, std::string(1, "wef"[i]).c_str());
  EXPECT_TRUE(WorkspaceCompile(code));
  HeapFailAt(n);
  const bool succeeded = AlgebraRunRange(0, 3) != 0;
  *failed = n > 0 && !HeapFailPending();
  HeapFailAt(0);
  EXPECT_EQ(succeeded, !*failed || code[0] == '_') << "sorting alone does not tell";
  const Series e(database->columns[1], database->columns[1] + 4);
  WorkspaceClose();
  return e;
}

// The column holds what it held before, or all of the result.
TEST(Smooth, ColumnsUnderExhaustedMemory) {
  const auto live = HeapLiveBlocks();
  for (const char *code : {"pacf(w, e, f);", "periodogram(w, e, f);", "smooth_hp(w, 0, e);", "smooth_np(w, 0, e);",
                           "smooth_sp(w, 3, e);", "_sortallby(e);"}) {
    bool failed = false;
    const Series expected = RunFailing(code, 0, &failed);
    for (int n = 1; n == 1 || failed; ++n) {
      testing::internal::CaptureStdout();
      const Series e = RunFailing(code, n, &failed);
      const std::string said = testing::internal::GetCapturedStdout();
      EXPECT_EQ(e, failed ? (Series{80, 79, 78, 77}) : expected) << code << n;
      EXPECT_EQ(said, failed && code[0] != '_' ? "\nError: Out of memory\n" : "") << code << n;
      EXPECT_TRUE(failed || n > 1) << code << " takes memory";
    }
    EXPECT_EQ(HeapLiveBlocks(), live);
  }
}

}  // namespace
}  // namespace tessel
