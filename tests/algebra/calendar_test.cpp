// The calendar functions over every day from 200 BC to 3000, against a calendar that is counted day by day.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "algebra/workspace.h"

namespace tessel {
namespace {

struct Day {
  int number, year, month, day;
  int first, next;  // day numbers of the first of this and of the next month
};

// 1 January 4713 BC is day 0; 4 October 1582 is followed by 15 October.
std::vector<Day> Count(int firstYear, int lastYear) {
  constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::vector<Day> days;
  int number = 0;
  for (int year = -4713; year <= lastYear; ++year) {
    if (year == 0) continue;
    const int y = year < 0 ? year + 1 : year;
    const bool leap = y % 4 == 0 && (y <= 1582 || y % 100 != 0 || y % 400 == 0);
    for (int month = 1; month <= 12; ++month) {
      const int first = number, length = lengths[month - 1] + (month == 2 && leap ? 1 : 0);
      const int next = first + length - (year == 1582 && month == 10 ? 10 : 0);
      for (; number < next; ++number) {
        const int day = number - first + 1;
        if (year >= firstYear)
          days.push_back({number, year, month, year == 1582 && month == 10 && day > 4 ? day + 10 : day, first, next});
      }
    }
  }
  return days;
}

// The day of March that is Easter Sunday: the algorithm of Butcher's Ecclesiastical Calendar (1876) and, before 1583,
// that of Meeus (1991), Astronomical Algorithms, chapter 8.
int Easter(int y) {
  const int a = y % 19;
  if (y < 1583) {
    const int d = (19 * a + 15) % 30, e = (2 * (y % 4) + 4 * (y % 7) - d + 34) % 7;
    return 22 + d + e;
  }
  const int b = y / 100, c = y % 100, f = (b + 8) / 25, g = (b - f + 1) / 3, h = (19 * a + b - b / 4 - g + 15) % 30;
  const int l = (32 + 2 * (b % 4) + 2 * (c / 4) - h - c % 4) % 7, m = (a + 11 * h + 22 * l) / 451;
  return 22 + h + l - 7 * m;
}

// A workspace of those days as dates, and the results of a program.
struct Calendar {
  Calendar(const std::vector<Day> &days, const std::string &code) {
    const int n = static_cast<int>(days.size());
    EXPECT_TRUE(WorkspaceOpen(1, {1, 1, n, 1, 1}));
    AlgebraDatabase *database = Workspace().database;
    EXPECT_EQ(DbAddVariables(database, 1), 0);
    for (int t = 0; t < n; ++t) database->columns[0][t] = days[static_cast<std::size_t>(t)].number + 0.25;
    database->info[0].kind = VarDates;
    EXPECT_TRUE(WorkspaceCompile(code.c_str()));
    EXPECT_TRUE(AlgebraRunRange(0, n - 1));
  }
  ~Calendar() { WorkspaceClose(); }

  const double *operator[](const std::string &name) const {
    const AlgebraDatabase *database = Workspace().database;
    return database->columns[DbFind(database, name.c_str())];
  }
};

TEST(Calendar, EveryDayOf3200Years) {
  const std::vector<Day> days = Count(-200, 3000);
  ASSERT_EQ(std::find_if(days.begin(), days.end(), [](const Day &d) { return d.year == 2000; })->number, 2451545);
  const Calendar calendar(days,
                          "n = date(); y = year(); m = month(); d = day(); w = dayofweek(); h = hours();"
                          "made = makedate(y, m, d); e = iseaster(0); k = iseaster(-46); l = iseaster(39);");
  const double *n = calendar["n"], *y = calendar["y"], *m = calendar["m"], *d = calendar["d"], *w = calendar["w"],
               *h = calendar["h"], *made = calendar["made"], *e = calendar["e"], *k = calendar["k"], *l = calendar["l"];
  for (std::size_t t = 0; t < days.size(); ++t) {
    const Day &day = days[t];
    ASSERT_TRUE(n[t] == day.number && y[t] == day.year && m[t] == day.month && d[t] == day.day && h[t] == 6)
        << day.number << ": " << y[t] << " " << m[t] << " " << d[t];
    // From numbers to dates the calendar changes in October 1582, from dates to numbers on other days of that year.
    ASSERT_TRUE(made[t] == day.number || day.year == 1582) << made[t];
    ASSERT_EQ(w[t], (day.number + 1) % 7 + 1);
    if (day.year < 1) continue;
    // Days of March, as Easter counts them; iseaster finds days of March and April alone.
    const int march = day.day + (day.month == 4 ? 31 : 0);
    const bool near = day.month == 3 || day.month == 4;
    ASSERT_EQ(e[t], near && march == Easter(day.year)) << day.year << " " << day.month << " " << day.day;
    ASSERT_EQ(k[t], near && march == Easter(day.year) - 46);
    ASSERT_EQ(l[t], near && march == Easter(day.year) + 39);
  }
}

TEST(Calendar, EveryWeekdayRuleAcrossTheReform) {
  constexpr int firstOf1582 = 2298884;
  const std::vector<Day> days = Count(1579, 1605);
  for (int month : {0, 10}) {
    std::string code;
    for (int w = 1; w <= 7; ++w)
      for (int n = -6; n <= 6; ++n)
        code += "r" + std::to_string(w) + "_" + std::to_string(n + 6) + " = isdayofmonth(" + std::to_string(month) +
                ", " + std::to_string(w) + ", " + std::to_string(n) + ");";
    const Calendar calendar(days, code);
    for (int w = 1; w <= 7; ++w) {
      for (int n = -6; n <= 6; ++n) {
        const double *rule = calendar["r" + std::to_string(w) + "_" + std::to_string(n + 6)];
        for (std::size_t t = 0; t < days.size(); ++t) {
          const Day &day = days[t];
          if (day.year == 1582 || day.next == firstOf1582) continue;
          const bool counted = (month == 0 || month == day.month) && (day.number + 1) % 7 + 1 == w;
          const bool nth = n == (day.number - day.first) / 7 + 1 || n == -((day.next - 1 - day.number) / 7) - 1;
          ASSERT_EQ(rule[t], counted && nth) << w << " " << n << " " << day.number;
        }
      }
    }
  }
}

}  // namespace
}  // namespace tessel
