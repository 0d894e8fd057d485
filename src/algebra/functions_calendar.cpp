// Built-in functions of the calendar.
//
// An observation has a date where the database holds dates; otherwise the sample gives it a year and a period. A date
// that is missing inside a dated database gives missing values, and 0 to the questions isdayofmonth and iseaster.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "algebra/clamp.h"
#include "algebra/dates.h"
#include "algebra/functions.h"

namespace tessel {

namespace {

constexpr int kMonths = 12;
constexpr int kMarch = 3;
constexpr int kApril = 4;

// The current observation's date, where there are dates.
struct CurrentDate {
  explicit CurrentDate(const AlgebraRun &run)
      : dated(DbHasDates(*run.database)),
        value(dated ? DbDateAt(*run.database, run.currentObs) : AlgebraMissing()),
        missing(IsMissing(value) != 0) {}

  int Day() const { return TruncateToInt(value); }
  CalendarDate Calendar() const { return DateToYmd(Day()); }

  bool dated;
  double value;
  bool missing;  // also without dates
};

// A part of the current date, or of the current time of day; `otherwise` without dates.
double DatePart(const AlgebraRun &run, int CalendarDate::*part, double otherwise) {
  const CurrentDate date(run);
  if (!date.dated) return otherwise;
  return date.missing ? AlgebraMissing() : date.Calendar().*part;
}

double TimePart(const AlgebraRun &run, int ClockTime::*part) {
  const CurrentDate date(run);
  if (!date.dated) return 1;
  return date.missing ? AlgebraMissing() : TimeToHms(date.value).*part;
}

}  // namespace

double AlgMakeDate(AlgebraRun &, const double *args) {
  return DateFromYmd(TruncateToInt(args[0]), TruncateToInt(args[1]), TruncateToInt(args[2]));
}

double AlgMakeTime(AlgebraRun &, const double *args) {
  return TimeFromHms(TruncateToInt(args[0]), TruncateToInt(args[1]), TruncateToInt(args[2]), 0);
}

double AlgDate(AlgebraRun &run, const double *) {
  const CurrentDate date(run);
  if (!date.dated) return run.currentObs;
  return date.missing ? AlgebraMissing() : date.Day();
}

double AlgTime(AlgebraRun &run, const double *) {
  const CurrentDate date(run);
  if (!date.dated) return 0;
  return date.missing ? AlgebraMissing() : date.value - std::floor(date.value);
}

double AlgYear(AlgebraRun &run, const double *) {
  return DatePart(run, &CalendarDate::year, SampleYear(run.currentObs, run.database->sample));
}

double AlgMonth(AlgebraRun &run, const double *) {
  const SampleSpec &sample = run.database->sample;
  const std::int64_t periods = std::int64_t{SamplePeriod(run.currentObs, sample)} - 1;
  const std::int64_t month = kMonths * periods / std::max(sample.frequency, 1) + 1;
  return DatePart(run, &CalendarDate::month, static_cast<double>(month));
}

double AlgDay(AlgebraRun &run, const double *) { return DatePart(run, &CalendarDate::day, 1); }

double AlgDayOfWeek(AlgebraRun &run, const double *) {
  const CurrentDate date(run);
  return date.missing ? AlgebraMissing() : DayOfWeek(date.Day());
}

double AlgHours(AlgebraRun &run, const double *) { return TimePart(run, &ClockTime::hours); }
double AlgMinutes(AlgebraRun &run, const double *) { return TimePart(run, &ClockTime::minutes); }
double AlgSeconds(AlgebraRun &run, const double *) { return TimePart(run, &ClockTime::seconds); }

// insample(year1, period1, year2, period2)
double AlgInSample(AlgebraRun &run, const double *args) {
  const SampleSpec &sample = run.database->sample;
  const int first = SampleIndex(TruncateToInt(args[0]), TruncateToInt(args[1]), sample);
  const int last = SampleIndex(TruncateToInt(args[2]), TruncateToInt(args[3]), sample);
  return first <= run.currentObs && run.currentObs <= last;
}

// indates(date1, date2): finding the range reads the whole column of dates.
void AlgInDates(AlgebraRun &run, const double *args, double *out, int count) {
  const auto [first, last] = DbDateRange(*run.database, args[0], args[1]);
  const int t = run.currentObs;
  for (int i = 0; i < count; ++i) out[i] = first <= t + i && t + i <= last ? 1 : 0;
}

// isdayofmonth(month, weekday, nth); a month of 0 or below is any month.
double AlgIsDayOfMonth(AlgebraRun &run, const double *args) {
  const CurrentDate date(run);
  if (date.missing) return 0;
  const CalendarDate day = date.Calendar();
  const int month = TruncateToInt(args[0]);
  if (month > 0 && month != day.month) return 0;
  const int nth = NthWeekday(day.year, day.month, TruncateToInt(args[1]), TruncateToInt(args[2]));
  return nth != 0 && nth == date.Day();
}

// iseaster(k): the k-th day after Easter Sunday, as far as it lies in March or April.
double AlgIsEaster(AlgebraRun &run, const double *args) {
  const CurrentDate date(run);
  if (date.missing) return 0;
  const CalendarDate day = date.Calendar();
  if (day.month != kMarch && day.month != kApril) return 0;
  return std::int64_t{EasterDate(day.year)} + TruncateToInt(args[0]) == date.Day();
}

}  // namespace tessel
