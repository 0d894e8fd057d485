// The table of built-in functions.
#include "algebra/function_table.h"

#include <cstring>

#include "algebra/functions.h"

namespace tessel {

namespace {

// A row without its count of arguments, which is the length of the signature.
struct FunctionSpec {
  FunctionHandler handler;
  const char *name;
  const char *signature;
  const char *prototype;
  CallOrder order;
  StretchHandler stretch = nullptr;
};

constexpr CallOrder Any = CallOrder::Any;
constexpr CallOrder InTurn = CallOrder::InTurn;

constexpr FunctionSpec kRows[] = {
    {AlgAbs, "abs", "v", "abs(VAR);", Any},
    {AlgAcf, "acf", "rdd", "acf(VAR,VAR_DEST,LAG_DEST);", InTurn},
    {AlgAcos, "acos", "v", "acos(VAR);", Any},
    {AlgAlmon, "almon", "rvv", "almon(VAR, LAG, POWER);", Any},
    {AlgAsin, "asin", "v", "asin(VAR);", Any},
    {AlgAtan, "atan", "v", "atan(VAR);", Any},
    {AlgCeil, "ceil", "v", "ceil(VAR);", Any},
    {AlgCos, "cos", "v", "cos(VAR);", Any},
    {nullptr, "cum", "r", "cum(VAR);", Any, AlgCum},
    {AlgDate, "date", "", "date();", Any},
    {AlgDay, "day", "", "day();", Any},
    {AlgDayOfWeek, "dayofweek", "", "dayofweek();", Any},
    {AlgDensChi, "denschi", "vv", "denschi(VAR, DF);", Any},
    {AlgDensF, "densf", "vvv", "densf(VAR, DF1, DF2);", Any},
    {AlgDensN, "densn", "v", "densn(VAR);", Any},
    {AlgDensT, "denst", "vv", "denst(VAR, DF);", Any},
    {AlgDiff, "diff", "rv", "diff(VAR, LAG);", Any},
    {AlgDiv, "div", "vv", "div(VAR, VAR);", Any},
    {AlgDlog, "dlog", "r", "dlog(VAR);", Any},
    {AlgInSample, "dummy", "vvvv", "dummy(YEAR1, PERIOD1, YEAR2, PERIOD2);", Any},
    {nullptr, "dummydates", "vv", "dummydates(DATE1, DATE2);", Any, AlgInDates},
    {AlgEwma, "ewma", "rvvd", "ewma(VAR,ALPHA,BETA,VAR_DEST);", InTurn},
    {AlgEwmc0, "ewmc0", "rrvd", "ewmc0(VARX,VARY,LAMBDA,VAR_DEST);", InTurn},
    {AlgExp, "exp", "v", "exp(VAR);", Any},
    {AlgAbs, "fabs", "v", "fabs(VAR);", Any},
    {AlgFloor, "floor", "v", "floor(VAR);", Any},
    {AlgFmod, "fmod", "vv", "fmod(VAR, VAR);", Any},
    {AlgHours, "hours", "", "hours();", Any},
    {nullptr, "indates", "vv", "indates(DATE1, DATE2);", Any, AlgInDates},
    {AlgInSample, "insample", "vvvv", "insample(YEAR1, PERIOD1, YEAR2, PERIOD2);", Any},
    {AlgIsDayOfMonth, "isdayofmonth", "vvv", "isdayofmonth(MONTH, DAYOFWEEK, NTH);", Any},
    {AlgIsEaster, "iseaster", "v", "iseaster(DAYSAFTER);", Any},
    {AlgLag, "lag", "rv", "lag(VAR,LAG);", Any},
    {AlgLead, "lead", "rv", "lead(VAR,LAG);", Any},
    {AlgLog, "log", "v", "log(VAR);", Any},
    {AlgLog10, "log10", "v", "log10(VAR);", Any},
    {AlgLogGamma, "loggamma", "v", "loggamma(VAR);", Any},
    {AlgMakeDate, "makedate", "vvv", "makedate(YEAR, MONTH, DAY);", Any},
    {AlgMakeTime, "maketime", "vvv", "maketime(HOUR, MIN, SEC);", Any},
    {AlgMax, "max", "vv", "max(VAR, VAR);", Any},
    {nullptr, "mean", "r", "mean(VAR);", Any, AlgMean},
    {AlgMin, "min", "vv", "min(VAR, VAR);", Any},
    {AlgMinutes, "minutes", "", "minutes();", Any},
    {AlgMonth, "month", "", "month();", Any},
    {AlgMovingAvg, "movingavg", "rvv", "movingavg(VAR, LAG, LEAD);", Any},
    {AlgMovingSD, "movingSD", "rvvv", "movingSD(VAR, LAG, LEAD, MEAN);", Any},
    {AlgPacf, "pacf", "rdd", "pacf(VAR,VAR_DEST,LAG_DEST);", InTurn},
    {nullptr, "peak", "r", "peak(VAR);", Any, AlgPeak},
    {AlgPeriod, "period", "", "period();", Any},
    {AlgPeriodogram, "periodogram", "rdd", "periodogram(VAR,VAR_DEST,FREQ_DEST);", InTurn},
    {AlgProbN, "probn", "v", "probn(VAR);", Any},
    {AlgQuanChi, "quanchi", "vv", "quanchi(VAR, DF);", Any},
    {AlgQuanF, "quanf", "vvv", "quanf(VAR, DF1, DF2);", Any},
    {AlgQuanN, "quann", "v", "quann(VAR);", Any},
    {AlgQuanT, "quant", "vv", "quant(VAR, DF);", Any},
    {AlgRanU, "ranu", "", "ranu();", InTurn},
    {AlgRanChi, "ranchi", "v", "ranchi(DF);", InTurn},
    {AlgRanF, "ranf", "vv", "ranf(DF1, DF2);", InTurn},
    {AlgRanN, "rann", "", "rann();", InTurn},
    {AlgRanN, "rannormal", "", "rannormal();", InTurn},
    {AlgRanT, "rant", "v", "rant(DF);", InTurn},
    {AlgRanSeed, "ranseed", "v", "ranseed(SEED);", InTurn},
    {AlgRound, "round", "v", "round(VAR);", Any},
    {AlgSeconds, "seconds", "", "seconds();", Any},
    {AlgSeason, "season", "", "season();", Any},
    {AlgSin, "sin", "v", "sin(VAR);", Any},
    {AlgSmoothHp, "smooth_hp", "rvd", "smooth_hp(VAR,LAMBDA,VAR_DEST);", InTurn},
    {AlgSmoothNp, "smooth_np", "rvd", "smooth_np(VAR,ALPHA,VAR_DEST);", InTurn},
    {AlgSmoothSp, "smooth_sp", "rvd", "smooth_sp(VAR,ALPHA,VAR_DEST);", InTurn},
    {AlgSort, "sort", "r", "sort(VAR);", InTurn},
    {AlgSortAllBy, "_sortallby", "r", "_sortallby(VAR);", InTurn},
    {AlgSortBy, "_sortby", "rr", "_sortby(VAR, VAR);", InTurn},
    {AlgSqrt, "sqrt", "v", "sqrt(VAR);", Any},
    {nullptr, "stock", "rvv", "stock(VAR, ARVAL, INIT);", Any, AlgStock},
    {nullptr, "stockv", "rrv", "stockv(VAR, ARVAR, INIT);", Any, AlgStockv},
    {AlgTailChi, "tailchi", "vv", "tailchi(VAR, DF);", Any},
    {AlgTailF, "tailf", "vvv", "tailf(VAR, DF1, DF2);", Any},
    {AlgTailN, "tailn", "v", "tailn(VAR);", Any},
    {AlgTailT, "tailt", "vv", "tailt(VAR, DF);", Any},
    {AlgTan, "tan", "v", "tan(VAR);", Any},
    {AlgTime, "time", "", "time();", Any},
    {AlgTrend, "trend", "", "trend();", Any},
    {nullptr, "trough", "r", "trough(VAR);", Any, AlgTrough},
    {nullptr, "variance", "r", "variance(VAR);", Any, AlgVariance},
    {AlgYear, "year", "", "year();", Any},
};

FunctionRow table[kMaxFunctions + 1];  // the row behind the last one keeps its null name

void AddRow(const FunctionSpec &spec) {
  int free = 0;
  while (free < kMaxFunctions && table[free].name != nullptr) ++free;
  if (free == kMaxFunctions) return;
  const int argCount = static_cast<int>(std::strlen(spec.signature));
  table[free] = {spec.handler, spec.name, argCount, spec.order, spec.signature, spec.prototype, spec.stretch};
}

}  // namespace

void RegisterFunctions() {
  static bool registered = false;
  if (registered) return;
  registered = true;
  for (const FunctionSpec &spec : kRows) AddRow(spec);
}

const FunctionRow *FunctionTable() { return table; }

int FindFunction(const char *name) {
  for (int i = 0; table[i].name != nullptr; ++i)
    if (std::strcmp(table[i].name, name) == 0) return i;
  return -1;
}

}  // namespace tessel
