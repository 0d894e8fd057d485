// Day numbers, weekdays, times of day and Easter.
#include "algebra/dates.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cmath>

namespace tessel {
namespace {

// std::chrono's calendar is Gregorian throughout; its day 0, 1 January 1970, is Julian day 2440588.
constexpr int kChronoEpoch = 2440588;
constexpr int kFirstGregorianDay = 2299161;

int JulianDay(std::chrono::sys_days day) { return kChronoEpoch + static_cast<int>(day.time_since_epoch().count()); }

TEST(Dates, AgreeWithTheStandardLibraryFor3000Years) {
  for (int j = kFirstGregorianDay; j < kFirstGregorianDay + 3000 * 366; ++j) {
    const std::chrono::sys_days day{std::chrono::days{j - kChronoEpoch}};
    const std::chrono::year_month_day expected{day};
    const CalendarDate date = {int{expected.year()}, static_cast<int>(unsigned{expected.month()}),
                               static_cast<int>(unsigned{expected.day()})};
    ASSERT_TRUE(DateToYmd(j) == date) << j;
    ASSERT_EQ(DateFromYmd(date.year, date.month, date.day), j);
    ASSERT_EQ(DayOfWeek(j), static_cast<int>(std::chrono::weekday{day}.c_encoding()) + 1) << j;
  }
}

// Meeus, Astronomical Algorithms (1998), chapter 7, at noon of each day. Years before 1 are one lower here, where there
// is no year 0.
TEST(Dates, JulianCalendar) {
  const struct {
    int day;
    CalendarDate date;
  } table[] = {{0, {-4713, 1, 1}},        {1356001, {-1001, 7, 12}}, {1356037, {-1001, 8, 17}},
               {1676497, {-124, 12, 31}}, {1842713, {333, 1, 27}},   {2026872, {837, 4, 10}}};
  for (const auto &[day, date] : table) {
    EXPECT_EQ(DateFromYmd(date.year, date.month, date.day), day);
    EXPECT_TRUE(DateToYmd(day) == date) << day;
  }
  // Before 1582 every day number comes back, before day 0 too.
  for (int j = -400000; j < 2298800; ++j) {
    const CalendarDate date = DateToYmd(j);
    ASSERT_EQ(DateFromYmd(date.year, date.month, date.day), j);
  }
}

TEST(Dates, ImpossibleDates) {
  for (const CalendarDate &date : {CalendarDate{0, 1, 1}, {2000, 0, 1}, {2000, 1, 0}, {2000, -5, 3}})
    EXPECT_EQ(DateFromYmd(date.year, date.month, date.day), -1);
  EXPECT_EQ(DateFromYmd(2001, 2, 30), DateFromYmd(2001, 3, 2)) << "days run on into the next month";
  for (int a : {INT_MIN, -1, 1, INT_MAX}) {
    DateToYmd(a);
    EXPECT_GE(DayOfWeek(a), 1);
    for (int b : {1, 12, 13, INT_MAX}) {
      DateFromYmd(a, b, INT_MAX);
      NthWeekday(a, b, 1, 5);
      NthWeekday(a, b, INT_MIN, -5);
    }
  }
  EXPECT_EQ(DateFromYmd(INT_MAX, INT_MAX, INT_MAX), INT_MAX);
}

TEST(Dates, NthWeekdayAgreesWithTheStandardLibrary) {
  for (int i = 0; i < 5 * 12 * 7; ++i) {
    const int year = 1996 + i / 84, month = i / 7 % 12 + 1, weekday = i % 7 + 1;
    const auto ym = std::chrono::year{year} / month;
    const std::chrono::weekday w{static_cast<unsigned>(weekday - 1)};
    for (int n = 1; n <= 5; ++n) {
      const auto day = ym / w[static_cast<unsigned>(n)];
      ASSERT_EQ(NthWeekday(year, month, weekday, n), day.ok() ? JulianDay(day) : 0);
      const int fromEnd = JulianDay(ym / w[std::chrono::last]) - 7 * (n - 1);
      ASSERT_EQ(NthWeekday(year, month, weekday, -n), fromEnd < JulianDay(ym / 1) ? 0 : fromEnd);
    }
  }
  for (int n : {0, 6, -6, INT_MIN}) EXPECT_EQ(NthWeekday(2000, 1, 1, n), 0);
  EXPECT_EQ(NthWeekday(-1, 12, 1, -1) - NthWeekday(-1, 12, 1, 1), 21) << "December of the year before year 1";
}

TEST(Dates, Easter) {
  // Printed by tools/algebra_easter.py, from python3-dateutil.
  constexpr CalendarDate table[] = {{325, 4, 18},  {1000, 3, 31}, {1066, 4, 16}, {1492, 4, 22}, {1582, 4, 15},
                                    {1583, 4, 10}, {1609, 4, 19}, {1761, 3, 22}, {1818, 3, 22}, {1886, 4, 25},
                                    {1943, 4, 25}, {1954, 4, 18}, {1981, 4, 19}, {2000, 4, 23}, {2008, 3, 23},
                                    {2024, 3, 31}, {2038, 4, 25}, {2049, 4, 18}, {2285, 3, 22}};
  for (const CalendarDate &easter : table)
    EXPECT_EQ(EasterDate(easter.year), DateFromYmd(easter.year, easter.month, easter.day)) << easter.year;
  for (int year = 1; year < 5000; ++year) ASSERT_EQ(DayOfWeek(EasterDate(year)), 1) << year;
  for (int year : {INT_MIN, -1, 0, INT_MAX}) EasterDate(year);
}

TEST(Dates, TimesOfDay) {
  EXPECT_EQ(TimeFromHms(12, 0, 0, 0), 0.5);
  for (int n = 0; n < 8640000; n += 977) {
    const ClockTime time = {n / 360000, n / 6000 % 60, n / 100 % 60, n % 100};
    const double date = 2451545 + TimeFromHms(time.hours, time.minutes, time.seconds, time.hundredths);
    ASSERT_TRUE(TimeToHms(date) == time) << n;
  }
  EXPECT_EQ(TimeFromHms(INT_MAX, 0, 0, 0), INT_MAX / 24.0);
  for (double date : {HUGE_VAL, -HUGE_VAL, std::nan("")}) EXPECT_EQ(TimeToHms(date).hours, 0);
}

}  // namespace
}  // namespace tessel
