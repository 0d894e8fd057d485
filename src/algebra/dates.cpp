// Conversions between Julian day numbers and calendar dates, weekdays, times of day and Easter.
#include "algebra/dates.h"

#include <cmath>
#include <cstdint>

#include "algebra/clamp.h"
#include "core/missing.h"

namespace tessel {

namespace {

constexpr double kHundredthsPerDay = 8640000.0;
constexpr std::int64_t kFirstGregorianDay = 2299161;  // 15 October 1582
constexpr std::int64_t kFirstGregorianKey = 588829;   // (m + 12 year) 31 + day, with m as DateFromYmd counts months
constexpr std::int64_t kDaysPerJulianCentury = 36525;
constexpr std::int64_t kDaysPerWeek = 7;

std::int64_t Truncate(double x) { return static_cast<std::int64_t>(x); }

// The remainder in 0, ..., n - 1, of negative values too.
std::int64_t Modulo(std::int64_t x, std::int64_t n) { return (x % n + n) % n; }

// There is no year 0.
int YearAfter(int year) { return year == -1 ? 1 : ClampToInt(std::int64_t{year} + 1); }

}  // namespace

int DateFromYmd(int year, int month, int day) {
  if (year == 0 || month < 1 || day < 1) return -1;
  // Years and months counted from March, so that the leap day ends a year.
  std::int64_t y = std::int64_t{year} + (year < 0 ? 1 : 0);
  std::int64_t m = std::int64_t{month} + 1;
  if (month < 3) {
    --y;
    m += 12;
  }
  const auto julian = Truncate(std::floor(static_cast<double>(m) * 30.6001) +
                               std::floor(static_cast<double>(y) * 365.25) + day + 1720995.0);
  if ((m + 12 * std::int64_t{year}) * 31 + day < kFirstGregorianKey) return ClampToInt(julian);
  const std::int64_t century = y / 100;
  return ClampToInt(julian + century / 4 - century + 2);
}

CalendarDate DateToYmd(int dayNumber) {
  // a is the day number in the Julian calendar; days before day 0 are moved up by whole Julian centuries.
  const std::int64_t j = dayNumber;
  const std::int64_t centuries = j < 0 ? 1 - j / kDaysPerJulianCentury : 0;
  std::int64_t a = j + kDaysPerJulianCentury * centuries;
  if (j >= kFirstGregorianDay) {
    const auto g = Truncate((static_cast<double>(static_cast<float>(j - 1867216)) - 0.25) / 36524.25);
    a = j + 1 + g - Truncate(0.25 * static_cast<double>(g));
  }
  const std::int64_t b = a + 1524;
  const auto c = Truncate(6680.0 + (static_cast<double>(static_cast<float>(b - 2439870)) - 122.1) / 365.25);
  const std::int64_t e = Truncate(365.0 * static_cast<double>(c) + 0.25 * static_cast<double>(c));
  const auto f = Truncate(static_cast<double>(b - e) / 30.6001);
  const std::int64_t day = b - e - Truncate(30.6001 * static_cast<double>(f));
  const std::int64_t month = f - 1 > 12 ? f - 13 : f - 1;
  std::int64_t year = c - 4715 - (month > 2 ? 1 : 0);
  if (year < 1) --year;
  return {ClampToInt(year - 100 * centuries), static_cast<int>(month), static_cast<int>(day)};
}

int DayOfWeek(int dayNumber) { return static_cast<int>(Modulo(std::int64_t{dayNumber} + 1, kDaysPerWeek)) + 1; }

double TimeFromHms(int hours, int minutes, int seconds, int hundredths) {
  const std::int64_t n = ((std::int64_t{hours} * 60 + minutes) * 60 + seconds) * 100 + hundredths;
  return static_cast<double>(n) / kHundredthsPerDay;
}

ClockTime TimeToHms(double date) {
  if (!std::isfinite(date)) return {};
  const int n = TruncateToInt(std::floor((date - std::floor(date)) * kHundredthsPerDay + 0.5));
  return {n / 360000, n / 6000 % 60, n / 100 % 60, n % 100};
}

int NthWeekday(int year, int month, int weekday, int n) {
  if (n == 0 || n < -5 || n > 5 || weekday < 1 || weekday > kDaysPerWeek) return 0;
  if (year == 0 || month < 1 || month > 12) return 0;
  const int first = DateFromYmd(year, month, 1);
  const int next = month < 12 ? DateFromYmd(year, month + 1, 1) : DateFromYmd(YearAfter(year), 1, 1);
  if (n > 0) {
    const std::int64_t ahead = Modulo(weekday - DayOfWeek(first), kDaysPerWeek);
    const std::int64_t day = first + ahead + kDaysPerWeek * (n - 1);
    return day < next ? static_cast<int>(day) : 0;
  }
  const std::int64_t last = std::int64_t{next} - 1;
  const std::int64_t behind = Modulo(DayOfWeek(ClampToInt(last)) - weekday, kDaysPerWeek);
  const std::int64_t day = last - behind + kDaysPerWeek * (n + 1);
  return day < first ? 0 : static_cast<int>(day);
}

// The method of Oudin, with all quotients truncated. g + 1 is the golden number, the place of the year in the Moon's
// cycle of 19 years, in which the ecclesiastical full moon returns to its date:
//   Julian      moon = (19 g + 15) mod 30
//   Gregorian   moon = h - p (1 - p (29 / (h + 1)) ((21 - g) / 11)),  p = h / 28,
//               h = (19 g + c - c / 4 - (8 c + 13) / 25 + 15) mod 30,  c = year / 100,
//               where h counts the leap days that centuries omit and the Moon's drift of 8 days in 2500 years, and p
//               keeps the full moon before 19 April
// `moon` is the days from 21 March to the full moon on or after it, and
//   weekday = (year + year / 4 + moon [+ 2 - c + c / 4]) mod 7
// the full moon's day of the week, 0 for Sunday; the term in brackets is the Gregorian calendar's. Easter is the Sunday
// after the full moon: 7 days after the Sunday on or before it, which is moon - weekday days from 21 March.
int EasterDate(int year) {
  const std::int64_t y = year, g = y % 19, c = y / 100;
  std::int64_t moon = (19 * g + 15) % 30, days = y + y / 4 + moon;
  if (y >= 1583) {
    const std::int64_t h = (19 * g + c - c / 4 - (8 * c + 13) / 25 + 15) % 30;
    const std::int64_t p = h / 28;
    moon = h - p * (1 - p * (29 / (h + 1)) * ((21 - g) / 11));
    days = y + y / 4 + moon + 2 - c + c / 4;
  }
  const std::int64_t sunday = moon - days % 7;
  const std::int64_t month = 3 + (sunday + 40) / 44;
  const std::int64_t day = sunday + 28 - 31 * (month / 4);
  return DateFromYmd(year, static_cast<int>(month), static_cast<int>(day));
}

}  // namespace tessel
