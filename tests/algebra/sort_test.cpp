// The introspective sort.
#include "algebra/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "host/heap.h"
#include "host/missing.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

Series Places(int n) {
  Series places(static_cast<std::size_t>(n));
  std::iota(places.begin(), places.end(), 0.0);
  return places;
}

template <class F>
Series Generate(int n, F f) {
  Series x;
  for (int i = 0; i < n; ++i) x.push_back(f(i));
  return x;
}

// Keys of which the median of three cells is always the second smallest, as far as `pairs` partitions go; the rest are
// the same `rest` large values over and over.
Series Killer(int n, int pairs, int rest) {
  Series ids = Places(n), key = Generate(n, [&](int i) { return 1e6 + i % rest; });
  for (int lo = 0; lo < 2 * pairs; lo += 2) {
    double &low = ids[static_cast<std::size_t>(lo + 1)], &middle = ids[static_cast<std::size_t>((lo + n - 1) / 2)];
    key[static_cast<std::size_t>(ids[static_cast<std::size_t>(lo)])] = lo;
    key[static_cast<std::size_t>(middle)] = lo + 1;
    std::swap(low, middle);
  }
  return key;
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
    for (std::size_t i = 0; i < 3000; ++i) {
      actual += static_cast<double>(i + 1) * places[i];
      const double from = key[static_cast<std::size_t>(places[i])];
      ASSERT_TRUE(sorted[i] == from || std::isnan(from)) << "companion out of step at " << i;
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
      Generate(n, [](int i) { return i % 1000; }),
      Generate(n, [](int i) { return i % 2 == 0 ? HUGE_VAL : -HUGE_VAL; }),
      Killer(n, n / 2 - 2, n),
  };
  for (const Series &column : columns) {
    Series expected = column, alone = column, key = column, companion = column;
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(SortWithCompanion(alone.data(), n, nullptr), n);
    EXPECT_EQ(SortWithCompanion(key.data(), n, companion.data()), n);
    EXPECT_EQ(alone, expected);
    EXPECT_EQ(key, expected);
    EXPECT_EQ(companion, expected);
  }
}

TEST(Sort, NothingToSort) {
  Series missing(6, MissingValue()), a = Places(6);
  double *columns[] = {a.data(), missing.data()};
  for (const int n : {6, 0, -5}) EXPECT_EQ(SortColumns(n, missing.data(), columns, 2), 0);
  HeapFailAt(2);
  EXPECT_LT(SortColumns(6, missing.data(), columns, 2), 0);
  EXPECT_EQ(a, Places(6));
}

}  // namespace
}  // namespace tessel
