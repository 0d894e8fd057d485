// The handlers of the built-in functions, by family, and what they share.
#pragma once

#include "algebra/run.h"
#include "core/missing.h"
#include "random/generators.h"

namespace tessel {

// The column behind an `r` or `d` argument.
inline double *ColumnAt(const AlgebraRun &run, double argument) { return run.columns[static_cast<int>(argument)]; }

// The missing value, with bits set in the error word.
inline double Fault(AlgebraRun &run, std::uint32_t bits) {
  run.errors |= bits;
  return AlgebraMissing();
}

// Whether this call is the one that fills columns: the first of a run of at least `fewest` observations.
inline bool MustFill(const AlgebraRun &run, int fewest) {
  return run.currentObs == run.firstObs && run.lastObs - run.firstObs + 1 >= fewest;
}

// A function that needs memory and finds none says so and fails the run; it leaves its columns as they were.
inline void ReportNoMemory(AlgebraRun &run) {
  run.errors |= ErrNoMemory;
  run.sink(MessageKind::Error, "Out of memory");
}

// functions_element.cpp: functions of values and of the position.
double AlgAbs(AlgebraRun &, const double *);
double AlgAcos(AlgebraRun &, const double *);
double AlgAsin(AlgebraRun &, const double *);
double AlgAtan(AlgebraRun &, const double *);
double AlgCeil(AlgebraRun &, const double *);
double AlgCos(AlgebraRun &, const double *);
double AlgDiv(AlgebraRun &, const double *);
double AlgExp(AlgebraRun &, const double *);
double AlgFloor(AlgebraRun &, const double *);
double AlgFmod(AlgebraRun &, const double *);
double AlgLog(AlgebraRun &, const double *);
double AlgLog10(AlgebraRun &, const double *);
double AlgLogGamma(AlgebraRun &, const double *);
double AlgMax(AlgebraRun &, const double *);
double AlgMin(AlgebraRun &, const double *);
double AlgPeriod(AlgebraRun &, const double *);
double AlgRound(AlgebraRun &, const double *);
double AlgSeason(AlgebraRun &, const double *);
double AlgSin(AlgebraRun &, const double *);
double AlgSqrt(AlgebraRun &, const double *);
double AlgTan(AlgebraRun &, const double *);
double AlgTrend(AlgebraRun &, const double *);

// functions_lag.cpp: functions of a column around the current observation.
double AlgAlmon(AlgebraRun &, const double *);
double AlgDiff(AlgebraRun &, const double *);
double AlgDlog(AlgebraRun &, const double *);
double AlgLag(AlgebraRun &, const double *);
double AlgLead(AlgebraRun &, const double *);
double AlgMovingAvg(AlgebraRun &, const double *);
double AlgMovingSD(AlgebraRun &, const double *);

// functions_running.cpp: functions of a column up to the current observation, of the whole range, and filters.
void AlgCum(AlgebraRun &, const double *, double *, int);
double AlgEwma(AlgebraRun &, const double *);
double AlgEwmc0(AlgebraRun &, const double *);
void AlgMean(AlgebraRun &, const double *, double *, int);
void AlgPeak(AlgebraRun &, const double *, double *, int);
void AlgStock(AlgebraRun &, const double *, double *, int);
void AlgStockv(AlgebraRun &, const double *, double *, int);
void AlgTrough(AlgebraRun &, const double *, double *, int);
void AlgVariance(AlgebraRun &, const double *, double *, int);

// functions_distribution.cpp: densities, tails and probabilities.
double AlgDensChi(AlgebraRun &, const double *);
double AlgDensF(AlgebraRun &, const double *);
double AlgDensN(AlgebraRun &, const double *);
double AlgDensT(AlgebraRun &, const double *);
double AlgProbN(AlgebraRun &, const double *);
double AlgTailChi(AlgebraRun &, const double *);
double AlgTailF(AlgebraRun &, const double *);
double AlgTailN(AlgebraRun &, const double *);
double AlgTailT(AlgebraRun &, const double *);

// functions_random.cpp: random numbers and their seed.
double AlgRanChi(AlgebraRun &, const double *);
double AlgRanF(AlgebraRun &, const double *);
double AlgRanN(AlgebraRun &, const double *);
double AlgRanSeed(AlgebraRun &, const double *);
double AlgRanT(AlgebraRun &, const double *);
double AlgRanU(AlgebraRun &, const double *);

// functions_calendar.cpp: dates, times of day and dummies, in dated databases and in samples.
double AlgDate(AlgebraRun &, const double *);
double AlgDay(AlgebraRun &, const double *);
double AlgDayOfWeek(AlgebraRun &, const double *);
double AlgHours(AlgebraRun &, const double *);
void AlgInDates(AlgebraRun &, const double *, double *, int);
double AlgInSample(AlgebraRun &, const double *);
double AlgIsDayOfMonth(AlgebraRun &, const double *);
double AlgIsEaster(AlgebraRun &, const double *);
double AlgMakeDate(AlgebraRun &, const double *);
double AlgMakeTime(AlgebraRun &, const double *);
double AlgMinutes(AlgebraRun &, const double *);
double AlgMonth(AlgebraRun &, const double *);
double AlgSeconds(AlgebraRun &, const double *);
double AlgTime(AlgebraRun &, const double *);
double AlgYear(AlgebraRun &, const double *);

// functions_sort.cpp: columns put in order.
double AlgSort(AlgebraRun &, const double *);
double AlgSortAllBy(AlgebraRun &, const double *);
double AlgSortBy(AlgebraRun &, const double *);

// functions_spectral.cpp: functions of lag and frequency.
double AlgAcf(AlgebraRun &, const double *);
double AlgPacf(AlgebraRun &, const double *);
double AlgPeriodogram(AlgebraRun &, const double *);

// functions_smooth.cpp: smoothers against time.
double AlgSmoothHp(AlgebraRun &, const double *);
double AlgSmoothNp(AlgebraRun &, const double *);
double AlgSmoothSp(AlgebraRun &, const double *);

// functions_quantile.cpp: quantiles.
double AlgQuanChi(AlgebraRun &, const double *);
double AlgQuanF(AlgebraRun &, const double *);
double AlgQuanN(AlgebraRun &, const double *);
double AlgQuanT(AlgebraRun &, const double *);

}  // namespace tessel
