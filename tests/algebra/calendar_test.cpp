// The calendar functions over every day from 200 BC to 3000, against a calendar that is counted day by day.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "algebra/workspace.h"

namespace tessel {
namespace {

struct Day {
  int number, year, month, day;
  int nth, nthFromEnd;  // of its weekday in the month
};

// 1 January 4713 BC is day 0; 4 October 1582 is followed by 15 October.
std::vector<Day> Count(int firstYear, int lastYear) {
  constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::vector<Day> days;
  int number = 0;
  for (int year = -4713; year <= lastYear; year += year == -1 ? 2 : 1) {
    const int y = year < 0 ? year + 1 : year;
    const bool leap = y % 4 == 0 && (y <= 1582 || y % 100 != 0 || y % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const bool reform = year == 1582 && month == 10;
      const int length = lengths[month - 1] + (month == 2 && leap ? 1 : 0) - (reform ? 10 : 0);
      for (int i = 0; i < length; ++i, ++number)
        if (year >= firstYear)
          days.push_back({number, year, month, reform && i >= 4 ? i + 11 : i + 1, i / 7 + 1, (length - 1 - i) / 7 + 1});
    }
  }
  return days;
}

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

TEST(Calendar, EveryDayOf3200Years) {
  const std::vector<Day> days = Count(-200, 3000);
  const int n = static_cast<int>(days.size());
  ASSERT_TRUE(WorkspaceOpen(1, {1, 1, n, 1, 1}));
  AlgebraDatabase *database = Workspace().database;
  ASSERT_EQ(DbAddVariables(database, 1), 0);
  for (int t = 0; t < n; ++t) database->columns[0][t] = days[static_cast<std::size_t>(t)].number + 0.25;
  database->info[0].kind = VarDates;
  std::string code =
      "d = date(); ymd = 10000*year() + 100*month() + day(); h = hours(); w = dayofweek();"
      "made = makedate(year(), month(), day()); e = iseaster(0) + 2*iseaster(-46) + 4*iseaster(39);"
      "other = fmod(w, 7) + 1; nth = 0; last = 0; none = 0;";
  for (int i = 1; i <= 6; ++i) {
    const std::string k = std::to_string(i);
    code += "nth = nth + " + k + "*isdayofmonth(0, w, " + k + "); last = last + " + k + "*isdayofmonth(month(), w, -" +
            k + "); none = none + isdayofmonth(0, other, " + k + ") + isdayofmonth(fmod(month(), 12) + 1, w, " + k +
            ");";
  }
  ASSERT_TRUE(WorkspaceCompile(code.c_str()));
  ASSERT_TRUE(AlgebraRunRange(0, n - 1));
  const auto column = [&](const char *name) { return database->columns[DbFind(database, name)]; };
  const double *number = column("d"), *ymd = column("ymd"), *hour = column("h"), *weekday = column("w"),
               *made = column("made"), *easter = column("e"), *nth = column("nth"), *last = column("last"),
               *none = column("none");
  for (int t = 0; t < n; ++t) {
    const Day &day = days[static_cast<std::size_t>(t)];
    ASSERT_TRUE(number[t] == day.number && ymd[t] == 10000 * day.year + 100 * day.month + day.day && hour[t] == 6 &&
                weekday[t] == (day.number + 1) % 7 + 1)
        << day.number << " " << ymd[t];
    ASSERT_TRUE(day.number == 2451545 || ymd[t] != 20000101);
    // Only days of March and April are found.
    const int after = day.year < 1 || (day.month != 3 && day.month != 4)
                          ? -1
                          : day.day + (day.month == 4 ? 31 : 0) - Easter(day.year);
    ASSERT_TRUE(easter[t] == (after == 0 ? 1 : after == -46 ? 2 : after == 39 ? 4 : 0) || day.year < 1) << ymd[t];
    // From dates to numbers, the calendar changes on other days of 1582.
    if (day.year == 1582 || (day.year == 1581 && day.month == 12)) continue;
    ASSERT_TRUE(made[t] == day.number && nth[t] == day.nth && last[t] == (day.nthFromEnd > 5 ? 0 : day.nthFromEnd) &&
                none[t] == 0)
        << ymd[t] << " " << made[t] << " " << nth[t] << " " << last[t] << " " << none[t];
  }
  WorkspaceClose();
}

}  // namespace
}  // namespace tessel
