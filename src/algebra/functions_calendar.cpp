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
  explicit CurrentDate(const AlgebraContext *context)
      : dated(DbHasDates(context->database) != 0),
        value(dated ? DbDateAt(context->database, context->currentObs) : AlgebraMissing()),
        missing(IsMissing(value) != 0) {}

  int Day() const { return TruncateToInt(value); }
  CalendarDate Calendar() const { return DateToYmd(Day()); }

  bool dated;
  double value;
  bool missing;  // also without dates
};

// A part of the current date, or of the current time of day; `otherwise` without dates.
double DatePart(const AlgebraContext *context, int CalendarDate::*part, double otherwise) {
  const CurrentDate date(context);
  if (!date.dated) return otherwise;
  return date.missing ? AlgebraMissing() : date.Calendar().*part;
}

double TimePart(const AlgebraContext *context, int ClockTime::*part) {
  const CurrentDate date(context);
  if (!date.dated) return 1;
  return date.missing ? AlgebraMissing() : TimeToHms(date.value).*part;
}

}  // namespace

double AlgMakeDate(AlgebraContext *, const double *args) {
  return DateFromYmd(TruncateToInt(args[0]), TruncateToInt(args[1]), TruncateToInt(args[2]));
}

double AlgMakeTime(AlgebraContext *, const double *args) {
  return TimeFromHms(TruncateToInt(args[0]), TruncateToInt(args[1]), TruncateToInt(args[2]), 0);
}

double AlgDate(AlgebraContext *context, const double *) {
  const CurrentDate date(context);
  if (!date.dated) return context->currentObs;
  return date.missing ? AlgebraMissing() : date.Day();
}

double AlgTime(AlgebraContext *context, const double *) {
  const CurrentDate date(context);
  if (!date.dated) return 0;
  return date.missing ? AlgebraMissing() : date.value - std::floor(date.value);
}

double AlgYear(AlgebraContext *context, const double *) {
  return DatePart(context, &CalendarDate::year, SampleYear(context->currentObs, context->database->sample));
}

double AlgMonth(AlgebraContext *context, const double *) {
  const SampleSpec &sample = context->database->sample;
  const std::int64_t periods = std::int64_t{SamplePeriod(context->currentObs, sample)} - 1;
  const std::int64_t month = kMonths * periods / std::max(sample.frequency, 1) + 1;
  return DatePart(context, &CalendarDate::month, static_cast<double>(month));
}

double AlgDay(AlgebraContext *context, const double *) { return DatePart(context, &CalendarDate::day, 1); }

double AlgDayOfWeek(AlgebraContext *context, const double *) {
  const CurrentDate date(context);
  return date.missing ? AlgebraMissing() : DayOfWeek(date.Day());
}

double AlgHours(AlgebraContext *context, const double *) { return TimePart(context, &ClockTime::hours); }
double AlgMinutes(AlgebraContext *context, const double *) { return TimePart(context, &ClockTime::minutes); }
double AlgSeconds(AlgebraContext *context, const double *) { return TimePart(context, &ClockTime::seconds); }

// insample(year1, period1, year2, period2)
double AlgInSample(AlgebraContext *context, const double *args) {
  const SampleSpec &sample = context->database->sample;
  const int first = SampleIndex(TruncateToInt(args[0]), TruncateToInt(args[1]), sample);
  const int last = SampleIndex(TruncateToInt(args[2]), TruncateToInt(args[3]), sample);
  return first <= context->currentObs && context->currentObs <= last;
}

// indates(date1, date2): finding the range reads the whole column of dates.
void AlgInDates(AlgebraContext *context, const double *args, double *out, int count) {
  int first = 0, last = 0;
  DbDateRange(context->database, args[0], args[1], &first, &last);
  const int t = context->currentObs;
  for (int i = 0; i < count; ++i) out[i] = first <= t + i && t + i <= last ? 1 : 0;
}

// isdayofmonth(month, weekday, nth); a month of 0 or below is any month.
double AlgIsDayOfMonth(AlgebraContext *context, const double *args) {
  const CurrentDate date(context);
  if (date.missing) return 0;
  const CalendarDate day = date.Calendar();
  const int month = TruncateToInt(args[0]);
  if (month > 0 && month != day.month) return 0;
  const int nth = NthWeekday(day.year, day.month, TruncateToInt(args[1]), TruncateToInt(args[2]));
  return nth != 0 && nth == date.Day();
}

// iseaster(k): the k-th day after Easter Sunday, as far as it lies in March or April.
double AlgIsEaster(AlgebraContext *context, const double *args) {
  const CurrentDate date(context);
  if (date.missing) return 0;
  const CalendarDate day = date.Calendar();
  if (day.month != kMarch && day.month != kApril) return 0;
  return std::int64_t{EasterDate(day.year)} + TruncateToInt(args[0]) == date.Day();
}

}  // namespace tessel
