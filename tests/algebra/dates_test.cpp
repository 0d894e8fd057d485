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

// Easter Sunday as a day of March: the algorithm of Butcher's Ecclesiastical Calendar (1876) and, before 1583, that of
// Meeus (1991), Astronomical Algorithms, chapter 8.
int Easter(int y) {
  const int a = y % 19, b = y / 100, c = y % 100;
  const int d = (19 * a + 15) % 30, e = (2 * (y % 4) + 4 * (y % 7) - d + 34) % 7;
  if (y < 1583) return 22 + d + e;
  const int h = (19 * a + b - b / 4 - (b - (b + 8) / 25 + 1) / 3 + 15) % 30;
  const int l = (32 + 2 * (b % 4) + 2 * (c / 4) - h - c % 4) % 7;
  return 22 + h + l - 7 * ((a + 11 * h + 22 * l) / 451);
}

// Every day of a month that begins with day number `first`, and of its weekdays the first, second, ... and last ones.
void ExpectMonth(int year, int month, int first, int length) {
  // From dates to numbers, the calendar changes on other days of 1582, and the last days of 1581 are found from there.
  const bool bothWays = year != 1582 && (year != 1581 || month != 12);
  for (int i = 0; i < length; ++i) {
    const int number = first + i;
    const int day = year == 1582 && month == 10 && i >= 4 ? i + 11 : i + 1;
    ASSERT_TRUE(DateToYmd(number) == (CalendarDate{year, month, day})) << number;
    ASSERT_EQ(DayOfWeek(number), (number + 1) % 7 + 1);
    if (number >= kFirstGregorianDay) {
      const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{number - kChronoEpoch}}};
      ASSERT_TRUE(date == std::chrono::year{year} / month / day) << number;
    }
    if (!bothWays) continue;
    ASSERT_EQ(DateFromYmd(year, month, day), number);
    const int weekday = DayOfWeek(number), fromEnd = (length - 1 - i) / 7 + 1;
    ASSERT_EQ(NthWeekday(year, month, weekday, i / 7 + 1), number);
    ASSERT_EQ(NthWeekday(year, month, weekday, -fromEnd), number);
    for (const int n : {5, -5}) {
      ASSERT_TRUE(i / 7 + fromEnd != 4 || NthWeekday(year, month, weekday, n) == 0) << "has four";
    }
  }
}

// Counted from day 0, 1 January 4713 BC; 4 October 1582 is followed by 15 October.
TEST(Dates, EveryDayTo3000) {
  constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  int number = 0;
  for (int year = -4713; year <= 3000; year += year == -1 ? 2 : 1) {
    const int y = year < 0 ? year + 1 : year;
    const bool leap = y % 4 == 0 && (y <= 1582 || y % 100 != 0 || y % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const int length = lengths[month - 1] + (month == 2 && leap ? 1 : 0) - (year == 1582 && month == 10 ? 10 : 0);
      ASSERT_NO_FATAL_FAILURE(ExpectMonth(year, month, number, length));
      if (month == 3 && year > 0 && year != 1582) {
        ASSERT_EQ(EasterDate(year), number + Easter(year) - 1) << year;
      }
      number += length;
    }
  }
  EXPECT_EQ(number, 2817153) << "1 January 3001, as datetime counts in Python";
  for (int year = 3001; year < 10000; ++year)
    ASSERT_EQ(EasterDate(year), DateFromYmd(year, 3, 1) + Easter(year) - 1) << year;
  EXPECT_EQ(EasterDate(1582), DateFromYmd(1582, 4, 15)) << "the last by the Julian calendar";
  for (const int year : {INT_MIN, -1, 0, INT_MAX}) EasterDate(year);
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
  // Day numbers below 0 come back too.
  for (int j = -400000; j < 0; ++j) {
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
  for (const int n : {0, 6, -6, INT_MIN}) EXPECT_EQ(NthWeekday(2000, 1, 1, n), 0);
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
