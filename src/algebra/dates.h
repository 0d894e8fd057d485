// Dates as doubles: the integer part is the Julian day number (1 January 2000 is 2451545), the fraction the time of
// day.
//
// Years run ..., -2, -1, 1, 2, ...: there is no year 0. The Gregorian calendar starts at day number 2299161 (15 October
// 1582). Arithmetic runs in 32-bit integers as stated in the literature (Fliegel and van Flandern; Meeus, Astronomical
// Algorithms); arguments outside its reach give clamped results, never a fault.
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
