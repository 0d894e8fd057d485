// Sorting, correlograms, smoothers and running sums of long series, and how they fail. What they give on short ones
// stands in end_to_end/algebra_columns_test.cpp and algebra_functions_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "core/heap.h"
#include "core/missing.h"
#include "series/running.h"
#include "series/smooth.h"
#include "series/smooth_search.h"
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
    ASSERT_EQ(SortWithCompanion(sorted, places), 3000);
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
    EXPECT_EQ(SortWithCompanion(alone), n);
    EXPECT_EQ(SortWithCompanion(key, companion), n);
    EXPECT_TRUE(alone == expected) << column[1];
    EXPECT_TRUE(key == expected) << column[1];
    EXPECT_TRUE(companion == expected) << column[1];
  }
}

TEST(Sort, NothingToSort) {
  Series missing(6, MissingValue()), places = Places(6), none;
  double *columns[] = {places.data(), missing.data()};
  EXPECT_EQ(SortColumns(missing, columns), Status::Ok);
  EXPECT_EQ(SortColumns(none, columns), Status::Ok);
  EXPECT_EQ(places, Places(6));
  EXPECT_EQ(SortWithCompanion(missing, places), 0);
  EXPECT_EQ(SortWithCompanion(none), 0);
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
    ASSERT_EQ(Correlogram(x, out), Status::Ok);
    for (int k = 1; k < n; ++k) ASSERT_EQ(out.data()[k], products(k) / products(0)) << k;
  }
}

// A sum of squares below 1e-20 counts as none.
TEST(Spectral, NoVariation) {
  Series out(3);
  ASSERT_EQ(Correlogram(Series{0, 1.2e-10, 0}, out), Status::Ok);  // 0.96e-20
  EXPECT_EQ(out, (Series{1, 0, 0}));
  ASSERT_EQ(Correlogram(Series{0, 1.3e-10, 0}, out), Status::Ok);
  EXPECT_NEAR(out[1], -2.0 / 3, 1e-12);
}

// An autocorrelation of 1 ends the recursion, here at lag 2.
TEST(Spectral, PartialCorrelogramStopsAtOne) {
  const Series r = {1, 0, 1, 0};
  Series cells(4, 9);
  EXPECT_EQ(PartialCorrelogram(r, cells), Status::Singular);
  EXPECT_EQ(cells, (Series{1, 0, 9, 9}));
}

// A cosine has one line, of height n a^2 / (8 pi).
TEST(Spectral, PeriodogramOfALine) {
  constexpr int n = 1001, line = 137;
  const Series x = Generate(n, [](int i) { return 5 + 2 * std::cos(2 * std::numbers::pi * line * i / n); });
  Series out(n / 2 + 1);
  ASSERT_EQ(Periodogram(x, out), Status::Ok);
  for (int j = 0; j <= n / 2; ++j) ASSERT_NEAR(out.data()[j], j == line ? n / (2 * std::numbers::pi) : 0, 1e-9) << j;
}

// The recursion of Levinson over all sizes, in plain loops: Golub and Van Loan, algorithm 4.7.2.
Series PlainLevinson(const Series &t, Series y) {
  const auto element = [&](std::size_t i) { return i < t.size() ? t[i] : 0.0; };
  Series a;
  double pivot = t[0];
  y[0] /= pivot;
  for (std::size_t k = 1; k < y.size(); ++k) {
    double p = element(k), rest = 0;
    for (std::size_t i = 1; i < k && i < t.size(); ++i) p += t[i] * a[k - 1 - i];
    p = -p / pivot;
    const Series before = a;
    for (std::size_t j = 0; j < before.size(); ++j) a[j] += p * before[before.size() - 1 - j];
    a.push_back(p);
    pivot *= 1 - p * p;
    for (std::size_t i = 1; i <= k && i < t.size(); ++i) rest += t[i] * y[k - i];
    const double next = (y[k] - rest) / pivot;
    for (std::size_t j = 0; j < k; ++j) y[j] += next * a[k - 1 - j];
    y[k] = next;
  }
  return y;
}

// To the bit, although the solver leaves out what changes no digit.
TEST(Smooth, ToeplitzIsThePlainRecursion) {
  for (const Series &t : {Series{9601, -6400, 1600}, {2, 0.9, 0.5, 0.3, 0.1}, {1, 0, 0.4}}) {
    Series solution = Generate(1501, [](int i) { return std::cos(3 * i); });
    const Series plain = PlainLevinson(t, solution);
    ASSERT_EQ(ToeplitzSolve(t, solution).status, Status::Ok);
    EXPECT_EQ(solution, plain) << t[0];
  }
}

// The solution is put back into the equations. The determinant of the matrix of 2 and -1 is m + 1.
TEST(Smooth, ToeplitzSolves) {
  for (const Series &t : {Series{9601, -6400, 1600}, {3}, {2, 0.9, 0.5, 0.3, 0.1}, {2, -1}, {1, 0, 0.4}}) {
    for (const int m : {1, 2, 3, 2001}) {
      Series solution = Generate(m, [](int i) { return std::cos(3 * i); });
      const double *x = solution.data();
      const int b = static_cast<int>(t.size());
      const auto [status, logDeterminant] = ToeplitzSolve(t, solution);
      ASSERT_EQ(status, Status::Ok);
      for (int i = 0; i < m; ++i) {
        double sum = 0;
        for (int j = std::max(0, i - b + 1); j < std::min(m, i + b); ++j) sum += t.data()[std::abs(i - j)] * x[j];
        ASSERT_NEAR(sum, std::cos(3 * i), 1e-8) << t[0] << " " << m;
      }
      ASSERT_TRUE(t != (Series{2, -1}) || std::fabs(logDeterminant - std::log(m + 1)) < 1e-10);
    }
  }
  Series rhs = {1, 1};
  for (const Series &t : {Series{0, 0}, {-1, 0}, {NAN, 0}, {1, 1}})
    EXPECT_EQ(ToeplitzSolve(t, rhs).status, Status::Singular) << t[0];
}

// Bit for bit the sums in the order of the observations.
TEST(Smooth, KernelOfLongSeriesIsThePlainSum) {
  constexpr int n = 700;
  for (const int gap : {0, 7}) {
    const Series x = Wave(n, gap);
    for (const double h : {1.5, 40.0, 300.25, 5000.0}) {
      Series out(n);
      ASSERT_EQ(SmoothKernel(x, -h, out), Status::Ok);
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

// Three values have one second difference d, and the trend x - lambda d (1, -2, 1) / (1 + 6 lambda). A lambda of 1e-20
// means 1600. A spline's equations of three values overflow in one pivot.
TEST(Smooth, ThreeValues) {
  const Series x = {1, 5, 2, NAN}, d = {-7, 14, -7};
  for (const auto &[lambda, used] : {std::pair(2.0, 2.0), {1e-20, 1600.0}, {1.1e-20, 0.0}}) {
    Series out(4, 9);
    ASSERT_EQ(SmoothTrend(x, lambda, out), Status::Ok);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(out[i], x[i] - used * d[i] / (1 + 6 * used), 1e-12) << lambda;
    EXPECT_EQ(out[3], 9);
    EXPECT_EQ(SmoothSpline(x, -1e308, out), Status::Singular);
  }
}

// A constant series has a score of 0 once the bandwidth leaves it degrees of freedom, at twice the first step of the
// search, which then goes no further up. Its last fit reaches 2 cells beyond the last value, at 27; printed by
// tools/columns_reference.py.
TEST(Smooth, SearchStopsAtAPerfectScore) {
  const Series x = Generate(40, [](int i) { return i % 3 == 0 && i < 30 ? 1 : NAN; });
  Series out(x.size());
  ASSERT_EQ(SmoothKernel(x, 0, out), Status::Ok);
  for (std::size_t i = 0; i < out.size(); ++i) {
    EXPECT_EQ(std::isnan(out[i]), i >= 30) << i;
    EXPECT_TRUE(i >= 30 || out[i] == 1) << i;
  }
}

// A smoother with given residuals and degrees of freedom, which counts its fits.
struct Model {
  int count;
  bool rising;  // residuals that grow with the parameter, or none
  int fits = 0;
  double last = 0;
};

SmoothFit FitModel(void *state, double v) {
  Model &model = *static_cast<Model *>(state);
  ++model.fits;
  model.last = v;
  return {true, model.count, model.rising ? 10 + v : 0, 2 + 60 / (1 + v)};
}

// Printed by tools/columns_reference.py from a plain transcription of the search.
TEST(Smooth, SearchTriesWhatTheTranscriptionTries) {
  const struct {
    int count;
    bool rising;
    double alpha, automatic;
    int limit;
    bool stopsAtZero;
    int fits;
    double last;
  } cases[] = {
      {100, true, 0, 8, 20, false, 29, 4.0330810546875},
      {100, true, -1e-20, 8, 20, false, 29, 4.0330810546875},
      {100, true, -1.1e-20, 8, 20, false, 1, 8},
      {100, true, -1e-10, 8, 20, false, 1, 8},
      {100, true, -1.1e-10, 8, 20, false, 1, 1.1e-10},
      {100, true, 1e-10, 8, 20, false, 29, 4.0330810546875},
      {100, true, 1.1e-10, 8, 50, false, 60, 4.0329805824},
      {100, true, 0, 0.0001, 20, false, 42, 4.033099999999999},
      {100, true, 0, 1000000.0, 3, false, 105, 62500.00000000009},
      {100, true, 0, 0.0001, 3, false, 89, 0.0007999999999999091},
      {100, true, 0.4, 8, 20, false, 28, 4.03310546875},
      {100, true, 0.5, 8, 20, false, 100, 524287.99999952316},
      {100, true, 30.4, 8, 20, false, 31, 1.1429107666015625},
      {100, true, 500, 8, 20, false, 102, 0.0002384185791021046},
      {100, true, 500, 8, 50, false, 70, 2.231288070975168e-13},
      {52, false, 0, 1.0, 20, false, 29, 1.0001220703125},
      {52, false, 0, 1.0, 20, true, 28, 0.75006103515625},
  };
  for (const auto &c : cases) {
    Model model = {c.count, c.rising};
    EXPECT_EQ(SmoothBy({FitModel, &model, c.automatic, c.limit, c.stopsAtZero}, c.alpha), Status::Ok);
    EXPECT_EQ(model.fits, c.fits) << c.alpha << ", " << c.automatic << ", " << c.limit;
    EXPECT_NEAR(model.last, c.last, 1e-9 * c.last) << c.alpha << ", " << c.automatic << ", " << c.limit;
  }
}

// More degrees of freedom than there are cells take the search to the end of its walk: 20 halvings of the bandwidth, 50
// of lambda. The residuals of the spline are in proportion to a small lambda.
TEST(Smooth, WalksEndAtTheirLimits) {
  const Series x = Wave(700, 0), few = Generate(10, [](int i) { return std::cos(3 * i); });
  Series out(x.size()), direct(x.size()), fit(10), small(10);
  ASSERT_EQ(SmoothKernel(x, 4e6, out), Status::Ok);
  ASSERT_EQ(SmoothKernel(x, -std::ldexp(4e6, -21), direct), Status::Ok);
  for (std::size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], direct[i], 1e-9) << i;
  ASSERT_EQ(SmoothSpline(few, 1000, fit), Status::Ok);
  ASSERT_EQ(SmoothSpline(few, -1e-6, small), Status::Ok);
  const double lambdas = std::ldexp(1000, -51) / 1e-6;
  for (std::size_t i = 0; i < fit.size(); ++i)
    ASSERT_NEAR((few[i] - fit[i]) / (few[i] - small[i]), lambdas, 0.1 * lambdas) << i;
}

// Each as its definition says, from every start, and for tails of every length.
TEST(Running, TailsOfSumsAndExtremes) {
  const Series x = {NAN, 3, -2, NAN, 5, 4}, rates = {0.5, 0.25, NAN, 0.5, 0.5, 1};
  const struct {
    std::function<void(std::span<double>)> run;
    Series expected;
  } cases[] = {
      {[&](auto out) { AccumulateStock(x, 0.5, 8, out); }, {NAN, 7, 1.5, NAN, NAN, NAN}},
      {[&](auto out) { AccumulateStock(x, rates, 8, out); }, {NAN, 9, NAN, NAN, NAN, NAN}},
      {[&](auto out) { AccumulateStock(rates, x, 8, out); }, {NAN, -15.75, NAN, NAN, NAN, NAN}},
      {[&](auto out) { RunningMaximum(x, out); }, {NAN, 3, 3, NAN, 5, 5}},
      {[&](auto out) { RunningMinimum(x, out); }, {NAN, 3, -2, NAN, -2, -2}},
  };
  for (const auto &[run, expected] : cases)
    for (std::size_t length = 0; length <= x.size(); ++length) {
      Series out(length);
      run(out);
      for (std::size_t i = 0; i < length; ++i) {
        const double e = expected[x.size() - length + i];
        EXPECT_TRUE(out[i] == e || (std::isnan(out[i]) && std::isnan(e))) << e << " " << out[i];
      }
    }
  // Weights beyond 0 to 1 count as 0 or 1.
  Series held(6), clamped(6);
  for (const auto &[weight, end] : {std::pair(-0.5, 0.0), {1.5, 1.0}}) {
    SmoothExponentially(x, weight, weight, clamped), SmoothExponentially(x, end, end, held);
    EXPECT_TRUE(std::ranges::equal(clamped, held, [](double a, double b) { return a == b || std::isnan(a); }));
    CorrelateExponentially(Series{1, 2, -1, 3}, Series{2, -1, 1, 1}, weight, std::span(clamped).first(4));
    CorrelateExponentially(Series{1, 2, -1, 3}, Series{2, -1, 1, 1}, end, std::span(held).first(4));
    EXPECT_EQ(clamped[3], held[3]);
  }
  EXPECT_EQ(MeanOfValues(x), 2.5);
  EXPECT_EQ(VarianceOfValues(x), 7.25);
  EXPECT_TRUE(std::isnan(MeanOfValues({})));
  EXPECT_TRUE(std::isnan(VarianceOfValues({x.data(), 1})));
}

// Sizes that do not fit and series that are too short are refused; then, and without memory, nothing is written.
TEST(Series, RefusalsAndExhaustedMemoryWriteNothing) {
  const Series x = Generate(9, [](int i) { return std::cos(i); }), nothing(9, 9);
  const struct {
    std::function<Status(std::span<const double>, std::span<double>)> run;
    std::size_t outSize;  // for 9 cells
    Status tooFew;        // for 2 of them
  } cases[] = {
      {Correlogram, 9, Status::Ok},
      {PartialCorrelogram, 9, Status::Ok},
      {Periodogram, 5, Status::Ok},
      {[](auto in, auto out) { return SmoothTrend(in, 0, out); }, 9, Status::TooFew},
      {[](auto in, auto out) { return SmoothKernel(in, 0, out); }, 9, Status::TooFew},
      {[](auto in, auto out) { return SmoothSpline(in, 0, out); }, 9, Status::TooFew},
  };
  const auto live = HeapLiveBlocks();
  for (const auto &[run, size, tooFew] : cases) {
    Series out = nothing;
    EXPECT_EQ(run({x.data(), 2}, std::span(out).first(2)), tooFew);
    EXPECT_EQ(out == nothing, Failed(tooFew));
    out = nothing;
    EXPECT_EQ(run({x.data(), 8}, out), Status::Invalid);
    EXPECT_EQ(out, nothing);
    Status status = Status::NoMemory;
    for (int n = 1; status == Status::NoMemory; ++n) {
      HeapFailAt(n);
      status = run(x, std::span(out).first(size));
      HeapFailAt(0);
      EXPECT_EQ(out == nothing, Failed(status)) << n;
    }
    EXPECT_EQ(status, Status::Ok);
  }
  Series out = nothing;
  for (const double alpha : {HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(SmoothKernel(x, alpha, out), Status::Invalid) << alpha;
    EXPECT_EQ(SmoothSpline(x, alpha, out), Status::Invalid) << alpha;
  }
  EXPECT_EQ(SmoothSpline(x, -1e308, out), Status::Singular);
  EXPECT_EQ(SmoothSpline(x, -HUGE_VAL, out), Status::Singular);
  EXPECT_EQ(out, nothing);
  EXPECT_EQ(HeapLiveBlocks(), live);
}

}  // namespace
}  // namespace tessel
