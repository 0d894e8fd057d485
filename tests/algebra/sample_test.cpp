// The calendar sample.
#include "algebra/sample.h"

#include <gtest/gtest.h>

#include <climits>

namespace tessel {
namespace {

// A calendar counted off one period at a time.
TEST(Sample, EveryObservationHasItsYearAndPeriod) {
  for (int frequency : {1, 4, 12, 52}) {
    for (int start = 1; start <= frequency; start += 3) {
      SampleSpec sample = {1999, start, 0, 0, frequency};
      int year = 1999, period = start;
      for (int t = 0; t < 3 * frequency; ++t) {
        ASSERT_EQ(SampleYear(t, sample), year);
        ASSERT_EQ(SamplePeriod(t, sample), period);
        ASSERT_EQ(SampleIndex(year, period, sample), t);
        SampleSetCount(&sample, t + 1);
        ASSERT_EQ(sample.year2, year);
        ASSERT_EQ(sample.period2, period);
        ASSERT_EQ(SampleObsCount(sample), t + 1);
        if (++period > frequency) {
          period = 1;
          ++year;
        }
      }
    }
  }
}

TEST(Sample, HostileValuesAreClamped) {
  const SampleSpec widest = {INT_MIN, INT_MIN, INT_MAX, INT_MAX, INT_MAX};
  EXPECT_EQ(SampleObsCount(widest), INT_MAX);
  EXPECT_EQ(SampleObsCount({INT_MAX, INT_MAX, INT_MIN, INT_MIN, INT_MAX}), INT_MIN);
  EXPECT_EQ(SampleIndex(INT_MIN, 1, widest), INT_MAX) << "1 - period1";
  EXPECT_EQ(SampleYear(10, {INT_MAX, 1, 0, 0, 1}), INT_MAX);
  for (int frequency : {0, -1, INT_MIN}) EXPECT_EQ(SampleYear(5, {2000, 1, 0, 0, frequency}), 2005);
}

}  // namespace
}  // namespace tessel
