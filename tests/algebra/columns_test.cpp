// The workers behind the functions of whole columns: sorting, correlograms and smoothers of long columns, and all of
// them under exhausted memory. What they give on short ones stands in end_to_end/algebra_columns_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "algebra/workspace.h"
#include "core/heap.h"
#include "core/missing.h"
#include "series/smooth.h"
#include "series/sort.h"
#include "series/spectral.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

template <class F>
Series Generate(int n, F f) {
  Series x;
  for (int i = 0; i < n; ++i) x.push_back(f(i));
  return x;
}

Series Places(int n) {
  return Generate(n, [](int i) { return i; });
}

Series Wave(int n, int gap) {
  return Generate(n, [&](int i) { return gap > 0 && i * i % gap == 1 ? NAN : std::sin(i * 0.01) + std::sin(i * i); });
}

// Keys of which the median of three cells is always the second smallest, as far as `pairs` partitions go; the rest are
// the same `rest` large values over and over.
Series Killer(int n, int pairs, int rest) {
  Series places = Places(n), keys = Generate(n, [&](int i) { return 1e6 + i % rest; });
  double *ids = places.data(), *key = keys.data();
  for (int lo = 0; lo < 2 * pairs; lo += 2) {
    const int middle = (lo + n - 1) / 2;
    key[static_cast<int>(ids[lo])] = lo;
    key[static_cast<int>(ids[middle])] = lo + 1;
    std::swap(ids[lo + 1], ids[middle]);
  }
  return keys;
}

// The companion's order tells every exchange. Sums of (i + 1) companion[i], printed by tools/columns_reference.py from
// a plain transcription of the published steps.
TEST(Sort, CompanionsEndWhereTheTranscriptionPutsThem) {
  const struct {
    Series key;
    double sum;
  } cases[] = {
      {Generate(3000, [](int i) { return i % 11 == 3 ? MissingValue() : i * i % 101; }), 6768529452},
      {Generate(3000, [](int i) { return i * 7919 % 3000; }), 6750898000},
      {Killer(3000, 35, 97), 6857764461},
  };
  for (const auto &[key, sum] : cases) {
    Series sorted = key, places = Places(3000);
    ASSERT_EQ(SortWithCompanion(sorted.data(), 3000, places.data()), 3000);
    double actual = 0;
    for (int i = 0; i < 3000; ++i) {
      actual += (i + 1) * places.data()[i];
      const double from = key.data()[static_cast<int>(places.data()[i])];
      ASSERT_TRUE(sorted.data()[i] == from || std::isnan(from)) << "companion out of step at " << i;
    }
    EXPECT_EQ(actual, sum);
  }
}

// A million cells each; a sort of order n^2 would take minutes on the killer.
TEST(Sort, HostileOrdersOfAMillionCells) {
  constexpr int n = 1000000;
  std::mt19937_64 generator(1);
  const Series columns[] = {
      Generate(n, [&](int) { return static_cast<double>(generator()); }),
      Generate(n, [](int i) { return -i; }),
      Generate(n, [](int i) { return std::min(i, n - i); }),  // organ pipe
      Generate(n, [](int i) { return i % 2 == 0 ? HUGE_VAL : -HUGE_VAL; }),
      Killer(n, n / 2 - 2, n),
  };
  for (const Series &column : columns) {
    Series expected = column, alone = column, key = column, companion = column;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(SortWithCompanion(alone.data(), n, nullptr), n);
    EXPECT_EQ(SortWithCompanion(key.data(), n, companion.data()), n);
    EXPECT_TRUE(alone == expected && key == expected && companion == expected) << column[1];
  }
}

TEST(Sort, NothingToSort) {
  Series missing(6, MissingValue()), places = Places(6);
  double *columns[] = {places.data(), missing.data()};
  for (const int n : {6, 0, -5}) EXPECT_EQ(SortColumns(n, missing.data(), columns, 2), 0);
  EXPECT_EQ(places, Places(6));
}

// Bit for bit the sums in the order of the observations.
TEST(Spectral, CorrelogramIsThePlainSum) {
  for (const auto &[n, gap] : {std::pair{1000, 0}, {777, 7}, {65, 3}}) {
    const Series x = Wave(n, gap);
    const std::ptrdiff_t last = n - 1;
    double sum = 0, count = 0;
    for (const double v : x)
      if (!std::isnan(v)) sum += v, ++count;
    const Series deviations =
        Generate(n, [&](int i) { return std::isnan(x.data()[i]) ? 0 : x.data()[i] - sum / count; });
    const auto products = [&](int k) {
      double total = 0;
      for (const double *d = deviations.data(), *end = d + last; d + k <= end; ++d) total += d[0] * d[k];
      return total;
    };
    Series out(x.size());
    EXPECT_EQ(Correlogram(x.data(), n, n - 1, out.data()), count);
    for (int k = 1; k < n; ++k) ASSERT_EQ(out.data()[k], products(k) / products(0)) << k;
  }
}

// An autocorrelation of 1 ends the recursion, here at lag 2.
TEST(Spectral, PartialCorrelogramStopsAtOne) {
  const double r[] = {1, 0, 1, 0};
  Series cells(4, 9), work(4);
  EXPECT_EQ(PartialCorrelogram(r, 4, cells.data(), work.data()), 0);
  EXPECT_EQ(cells, (Series{1, 0, 9, 9}));
}

// A cosine has one line, of height n a^2 / (8 pi).
TEST(Spectral, PeriodogramOfALine) {
  constexpr int n = 1001, line = 137;
  const Series x = Generate(n, [](int i) { return 5 + 2 * std::cos(2 * std::numbers::pi * line * i / n); });
  Series out(n / 2 + 1), work(n);
  Periodogram(x.data(), n, out.data(), work.data());
  for (int j = 0; j <= n / 2; ++j) ASSERT_NEAR(out.data()[j], j == line ? n / (2 * std::numbers::pi) : 0, 1e-9) << j;
}

// The solution is put back into the equations. The determinant of the matrix of 2 and -1 is m + 1.
TEST(Smooth, ToeplitzSolves) {
  for (const Series &t : {Series{9601, -6400, 1600}, {3}, {2, 0.9, 0.5, 0.3, 0.1}, {2, -1}, {1, 0, 0.4}}) {
    for (const int m : {1, 2, 3, 2001}) {
      Series solution = Generate(m, [](int i) { return std::cos(3 * i); }), work(solution.size());
      const double *x = solution.data();
      const int b = static_cast<int>(t.size());
      ASSERT_EQ(ToeplitzSolve(t.data(), b, m, solution.data(), work.data()), 0);
      for (int i = 0; i < m; ++i) {
        double sum = 0;
        for (int j = std::max(0, i - b + 1); j < std::min(m, i + b); ++j) sum += t.data()[std::abs(i - j)] * x[j];
        ASSERT_NEAR(sum, std::cos(3 * i), 1e-8) << t[0] << " " << m;
      }
      ASSERT_TRUE(t != (Series{2, -1}) || std::fabs(work[0] - std::log(m + 1)) < 1e-10);
    }
  }
  double rhs[] = {1, 1}, work[2];
  for (const Series &t : {Series{0, 0}, {-1, 0}, {NAN, 0}, {1, 1}})
    EXPECT_EQ(ToeplitzSolve(t.data(), 2, 2, rhs, work), 1);
}

// Bit for bit the sums in the order of the observations.
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
          const double u = (i - j) / h, v = x.data()[j];
          if (std::isnan(v) || std::fabs(u) > 1) continue;
          sum += 0.75 * (1 - u * u) * v;
          weights += 0.75 * (1 - u * u);
        }
        ASSERT_EQ(out.data()[i], sum / weights) << h << " " << i;
      }
    }
  }
}

// A run with its n-th allocation failing: the column e holds what it held before, or all of the result.
TEST(Columns, UnderExhaustedMemory) {
  const Series w = {1, 2, 5, 10}, before = {80, 79, 78, 77};
  const auto live = HeapLiveBlocks();
  for (const std::string code : {"pacf(w, e, f);", "periodogram(w, e, f);", "smooth_hp(w, 0, e);",
                                 "smooth_np(w, 0, e);", "smooth_sp(w, 3, e);", "_sortallby(e);"}) {
    bool failed = true;
    for (int n = 1; failed; ++n) {
      ASSERT_TRUE(WorkspaceOpen(3, {1, 1, 4, 1, 1}));
      AlgebraDatabase *database = Workspace().database;
      ASSERT_EQ(DbAddVariables(database, 3), 0);
      for (int i = 0; i < 3; ++i) DbSetName(database, i, std::string(1, "wef"[i]).c_str());
      std::copy(w.begin(), w.end(), database->columns[0]);
      double *e = std::copy(before.begin(), before.end(), database->columns[1]) - 4;
      ASSERT_TRUE(WorkspaceCompile(code.c_str()));
      testing::internal::CaptureStdout();
      HeapFailAt(n);
      const bool succeeded = AlgebraRunRange(0, 3) != 0;
      failed = !HeapFailPending();
      HeapFailAt(0);
      const std::string said = testing::internal::GetCapturedStdout();
      EXPECT_EQ(std::equal(e, e + 4, before.begin()), failed) << code << n;
      const bool tells = failed && code[0] != '_';  // sorting alone does not
      EXPECT_EQ(succeeded, !tells) << code << n;
      EXPECT_EQ(said, tells ? "\nError: Out of memory\n" : "") << code << n;
      EXPECT_TRUE(failed || n > 1) << code << " takes memory";
      WorkspaceClose();
    }
    EXPECT_EQ(HeapLiveBlocks(), live);
  }
}

}  // namespace
}  // namespace tessel
