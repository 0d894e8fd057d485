// The handlers of the built-in functions, by family, and what they share.
#pragma once

#include "algebra/function_table.h"
#include "algebra/report.h"
#include "core/missing.h"
#include "random/generators.h"

namespace tessel {

// The column behind an `r` or `d` argument.
inline SymbolEntry &SymbolAt(AlgebraContext *context, double argument) {
  return context->symbols[static_cast<int>(argument)];
}
inline double *ColumnAt(AlgebraContext *context, double argument) { return SymbolAt(context, argument).data; }

// The missing value, with bits set in the error word.
inline double Fault(AlgebraContext *context, std::uint32_t bits) {
  context->errors |= bits;
  return AlgebraMissing();
}

// Whether this call is the one that fills a column: the first of a run of at least `fewest` observations. The column is
// marked as written.
inline bool MustFill(AlgebraContext *context, const SymbolEntry &target, int fewest) {
  if (context->currentObs != context->firstObs || context->lastObs - context->firstObs + 1 < fewest) return false;
  DbMarkChanged(context->database, target.handle);
  return true;
}

// A function that needs memory and finds none says so and fails the run; it leaves its columns as they were.
inline void ReportNoMemory(AlgebraContext *context) {
  context->errors |= ErrNoMemory;
  AlgebraReport("Error", "Out of memory");
}

// The generators of all runs.
extern Generators defaultGenerators;

// functions_element.cpp: functions of values and of the position.
double AlgAbs(AlgebraContext *, const double *);
double AlgAcos(AlgebraContext *, const double *);
double AlgAsin(AlgebraContext *, const double *);
double AlgAtan(AlgebraContext *, const double *);
double AlgCeil(AlgebraContext *, const double *);
double AlgCos(AlgebraContext *, const double *);
double AlgDiv(AlgebraContext *, const double *);
double AlgExp(AlgebraContext *, const double *);
double AlgFloor(AlgebraContext *, const double *);
double AlgFmod(AlgebraContext *, const double *);
double AlgLog(AlgebraContext *, const double *);
double AlgLog10(AlgebraContext *, const double *);
double AlgLogGamma(AlgebraContext *, const double *);
double AlgMax(AlgebraContext *, const double *);
double AlgMin(AlgebraContext *, const double *);
double AlgPeriod(AlgebraContext *, const double *);
double AlgRound(AlgebraContext *, const double *);
double AlgSeason(AlgebraContext *, const double *);
double AlgSin(AlgebraContext *, const double *);
double AlgSqrt(AlgebraContext *, const double *);
double AlgTan(AlgebraContext *, const double *);
double AlgTrend(AlgebraContext *, const double *);

// functions_lag.cpp: functions of a column around the current observation.
double AlgAlmon(AlgebraContext *, const double *);
double AlgDiff(AlgebraContext *, const double *);
double AlgDlog(AlgebraContext *, const double *);
double AlgLag(AlgebraContext *, const double *);
double AlgLead(AlgebraContext *, const double *);
double AlgMovingAvg(AlgebraContext *, const double *);
double AlgMovingSD(AlgebraContext *, const double *);

// functions_running.cpp: functions of a column up to the current observation, of the whole range, and filters.
void AlgCum(AlgebraContext *, const double *, double *, int);
double AlgEwma(AlgebraContext *, const double *);
double AlgEwmc0(AlgebraContext *, const double *);
void AlgMean(AlgebraContext *, const double *, double *, int);
void AlgPeak(AlgebraContext *, const double *, double *, int);
void AlgStock(AlgebraContext *, const double *, double *, int);
void AlgStockv(AlgebraContext *, const double *, double *, int);
void AlgTrough(AlgebraContext *, const double *, double *, int);
void AlgVariance(AlgebraContext *, const double *, double *, int);

// functions_distribution.cpp: densities, tails and probabilities.
double AlgDensChi(AlgebraContext *, const double *);
double AlgDensF(AlgebraContext *, const double *);
double AlgDensN(AlgebraContext *, const double *);
double AlgDensT(AlgebraContext *, const double *);
double AlgProbN(AlgebraContext *, const double *);
double AlgTailChi(AlgebraContext *, const double *);
double AlgTailF(AlgebraContext *, const double *);
double AlgTailN(AlgebraContext *, const double *);
double AlgTailT(AlgebraContext *, const double *);

// functions_random.cpp: random numbers and their seed.
double AlgRanChi(AlgebraContext *, const double *);
double AlgRanF(AlgebraContext *, const double *);
double AlgRanN(AlgebraContext *, const double *);
double AlgRanSeed(AlgebraContext *, const double *);
double AlgRanT(AlgebraContext *, const double *);
double AlgRanU(AlgebraContext *, const double *);

// functions_calendar.cpp: dates, times of day and dummies, in dated databases and in samples.
double AlgDate(AlgebraContext *, const double *);
double AlgDay(AlgebraContext *, const double *);
double AlgDayOfWeek(AlgebraContext *, const double *);
double AlgHours(AlgebraContext *, const double *);
void AlgInDates(AlgebraContext *, const double *, double *, int);
double AlgInSample(AlgebraContext *, const double *);
double AlgIsDayOfMonth(AlgebraContext *, const double *);
double AlgIsEaster(AlgebraContext *, const double *);
double AlgMakeDate(AlgebraContext *, const double *);
double AlgMakeTime(AlgebraContext *, const double *);
double AlgMinutes(AlgebraContext *, const double *);
double AlgMonth(AlgebraContext *, const double *);
double AlgSeconds(AlgebraContext *, const double *);
double AlgTime(AlgebraContext *, const double *);
double AlgYear(AlgebraContext *, const double *);

// functions_sort.cpp: columns put in order.
double AlgSort(AlgebraContext *, const double *);
double AlgSortAllBy(AlgebraContext *, const double *);
double AlgSortBy(AlgebraContext *, const double *);

// functions_spectral.cpp: functions of lag and frequency.
double AlgAcf(AlgebraContext *, const double *);
double AlgPacf(AlgebraContext *, const double *);
double AlgPeriodogram(AlgebraContext *, const double *);

// functions_smooth.cpp: smoothers against time.
double AlgSmoothHp(AlgebraContext *, const double *);
double AlgSmoothNp(AlgebraContext *, const double *);
double AlgSmoothSp(AlgebraContext *, const double *);

// functions_quantile.cpp: quantiles.
double AlgQuanChi(AlgebraContext *, const double *);
double AlgQuanF(AlgebraContext *, const double *);
double AlgQuanN(AlgebraContext *, const double *);
double AlgQuanT(AlgebraContext *, const double *);

}  // namespace tessel
