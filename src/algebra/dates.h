// Dates as doubles: the integer part is the Julian day number (1 January 2000 is 2451545), the fraction the time of
// day.
//
// Years run ..., -2, -1, 1, 2, ...: there is no year 0. The Gregorian calendar starts at day number 2299161 (15 October
// 1582). Arguments outside the reach of 32-bit day numbers give clamped results, never a fault.
//
// Literature: Fliegel and van Flandern, A machine algorithm for processing calendar dates, Communications of the ACM 11
// (1968), 657. Meeus, Astronomical Algorithms (1991), chapters 7 and 8. Oudin, Etude sur la date de Paques, Bulletin
// astronomique 12 (1940), 391-410, as given in Seidelmann (ed.), Explanatory Supplement to the Astronomical Almanac
// (1992), chapter 12.
#pragma once

namespace tessel {

struct CalendarDate {
  int year;
  int month;  // 1 to 12
  int day;    // 1 to 31

  bool operator==(const CalendarDate &) const = default;
};

struct ClockTime {
  int hours;
  int minutes;
  int seconds;
  int hundredths;

  bool operator==(const ClockTime &) const = default;
};

// The day number, or -1 when year is 0, or month or day is below 1. Days past the end of a month run on into the next.
int DateFromYmd(int year, int month, int day);

CalendarDate DateToYmd(int dayNumber);

// 1 Sunday to 7 Saturday.
int DayOfWeek(int dayNumber);

// The fraction of a day: hundredths of a second since midnight over 8,640,000.
double TimeFromHms(int hours, int minutes, int seconds, int hundredths);

// The time of day of a date, rounded to hundredths of a second.
ClockTime TimeToHms(double date);

// The n-th day of the week `weekday` (1 Sunday to 7 Saturday) in a month; n from 1 to 5, or from -1 to -5 counted from
// the month's end. 0 when the month has none, and for any other n.
int NthWeekday(int year, int month, int weekday, int n);

// The day number of Easter Sunday: Gregorian from 1583 on, Julian before.
int EasterDate(int year);

}  // namespace tessel
