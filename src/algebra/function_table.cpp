// The table of built-in functions.
#include "algebra/function_table.h"

#include <algorithm>

#include "algebra/functions.h"

namespace tessel {

namespace {

constexpr CallOrder Any = CallOrder::Any;
constexpr CallOrder InTurn = CallOrder::InTurn;

constexpr FunctionRow kRows[] = {
    {"abs", "v", "abs(VAR);", Any, AlgAbs},
    {"acf", "rdd", "acf(VAR,VAR_DEST,LAG_DEST);", InTurn, AlgAcf},
    {"acos", "v", "acos(VAR);", Any, AlgAcos},
    {"almon", "rvv", "almon(VAR, LAG, POWER);", Any, AlgAlmon},
    {"asin", "v", "asin(VAR);", Any, AlgAsin},
    {"atan", "v", "atan(VAR);", Any, AlgAtan},
    {"ceil", "v", "ceil(VAR);", Any, AlgCeil},
    {"cos", "v", "cos(VAR);", Any, AlgCos},
    {"cum", "r", "cum(VAR);", Any, nullptr, AlgCum},
    {"date", "", "date();", Any, AlgDate},
    {"day", "", "day();", Any, AlgDay},
    {"dayofweek", "", "dayofweek();", Any, AlgDayOfWeek},
    {"denschi", "vv", "denschi(VAR, DF);", Any, AlgDensChi},
    {"densf", "vvv", "densf(VAR, DF1, DF2);", Any, AlgDensF},
    {"densn", "v", "densn(VAR);", Any, AlgDensN},
    {"denst", "vv", "denst(VAR, DF);", Any, AlgDensT},
    {"diff", "rv", "diff(VAR, LAG);", Any, AlgDiff},
    {"div", "vv", "div(VAR, VAR);", Any, AlgDiv},
    {"dlog", "r", "dlog(VAR);", Any, AlgDlog},
    {"dummy", "vvvv", "dummy(YEAR1, PERIOD1, YEAR2, PERIOD2);", Any, AlgInSample},
    {"dummydates", "vv", "dummydates(DATE1, DATE2);", Any, nullptr, AlgInDates},
    {"ewma", "rvvd", "ewma(VAR,ALPHA,BETA,VAR_DEST);", InTurn, AlgEwma},
    {"ewmc0", "rrvd", "ewmc0(VARX,VARY,LAMBDA,VAR_DEST);", InTurn, AlgEwmc0},
    {"exp", "v", "exp(VAR);", Any, AlgExp},
    {"fabs", "v", "fabs(VAR);", Any, AlgAbs},
    {"floor", "v", "floor(VAR);", Any, AlgFloor},
    {"fmod", "vv", "fmod(VAR, VAR);", Any, AlgFmod},
    {"hours", "", "hours();", Any, AlgHours},
    {"indates", "vv", "indates(DATE1, DATE2);", Any, nullptr, AlgInDates},
    {"insample", "vvvv", "insample(YEAR1, PERIOD1, YEAR2, PERIOD2);", Any, AlgInSample},
    {"isdayofmonth", "vvv", "isdayofmonth(MONTH, DAYOFWEEK, NTH);", Any, AlgIsDayOfMonth},
    {"iseaster", "v", "iseaster(DAYSAFTER);", Any, AlgIsEaster},
    {"lag", "rv", "lag(VAR,LAG);", Any, AlgLag, nullptr, -1},
    {"lead", "rv", "lead(VAR,LAG);", Any, AlgLead, nullptr, 1},
    {"log", "v", "log(VAR);", Any, AlgLog},
    {"log10", "v", "log10(VAR);", Any, AlgLog10},
    {"loggamma", "v", "loggamma(VAR);", Any, AlgLogGamma},
    {"makedate", "vvv", "makedate(YEAR, MONTH, DAY);", Any, AlgMakeDate},
    {"maketime", "vvv", "maketime(HOUR, MIN, SEC);", Any, AlgMakeTime},
    {"max", "vv", "max(VAR, VAR);", Any, AlgMax},
    {"mean", "r", "mean(VAR);", Any, nullptr, AlgMean},
    {"min", "vv", "min(VAR, VAR);", Any, AlgMin},
    {"minutes", "", "minutes();", Any, AlgMinutes},
    {"month", "", "month();", Any, AlgMonth},
    {"movingavg", "rvv", "movingavg(VAR, LAG, LEAD);", Any, AlgMovingAvg},
    {"movingSD", "rvvv", "movingSD(VAR, LAG, LEAD, MEAN);", Any, AlgMovingSD},
    {"pacf", "rdd", "pacf(VAR,VAR_DEST,LAG_DEST);", InTurn, AlgPacf},
    {"peak", "r", "peak(VAR);", Any, nullptr, AlgPeak},
    {"period", "", "period();", Any, AlgPeriod},
    {"periodogram", "rdd", "periodogram(VAR,VAR_DEST,FREQ_DEST);", InTurn, AlgPeriodogram},
    {"probn", "v", "probn(VAR);", Any, AlgProbN},
    {"quanchi", "vv", "quanchi(VAR, DF);", Any, AlgQuanChi},
    {"quanf", "vvv", "quanf(VAR, DF1, DF2);", Any, AlgQuanF},
    {"quann", "v", "quann(VAR);", Any, AlgQuanN},
    {"quant", "vv", "quant(VAR, DF);", Any, AlgQuanT},
    {"ranu", "", "ranu();", InTurn, AlgRanU},
    {"ranchi", "v", "ranchi(DF);", InTurn, AlgRanChi},
    {"ranf", "vv", "ranf(DF1, DF2);", InTurn, AlgRanF},
    {"rann", "", "rann();", InTurn, AlgRanN},
    {"rannormal", "", "rannormal();", InTurn, AlgRanN},
    {"rant", "v", "rant(DF);", InTurn, AlgRanT},
    {"ranseed", "v", "ranseed(SEED);", InTurn, AlgRanSeed},
    {"round", "v", "round(VAR);", Any, AlgRound},
    {"seconds", "", "seconds();", Any, AlgSeconds},
    {"season", "", "season();", Any, AlgSeason},
    {"sin", "v", "sin(VAR);", Any, AlgSin},
    {"smooth_hp", "rvd", "smooth_hp(VAR,LAMBDA,VAR_DEST);", InTurn, AlgSmoothHp},
    {"smooth_np", "rvd", "smooth_np(VAR,ALPHA,VAR_DEST);", InTurn, AlgSmoothNp},
    {"smooth_sp", "rvd", "smooth_sp(VAR,ALPHA,VAR_DEST);", InTurn, AlgSmoothSp},
    {"sort", "r", "sort(VAR);", InTurn, AlgSort},
    {"_sortallby", "r", "_sortallby(VAR);", InTurn, AlgSortAllBy},
    {"_sortby", "rr", "_sortby(VAR, VAR);", InTurn, AlgSortBy},
    {"sqrt", "v", "sqrt(VAR);", Any, AlgSqrt},
    {"stock", "rvv", "stock(VAR, ARVAL, INIT);", Any, nullptr, AlgStock},
    {"stockv", "rrv", "stockv(VAR, ARVAR, INIT);", Any, nullptr, AlgStockv},
    {"tailchi", "vv", "tailchi(VAR, DF);", Any, AlgTailChi},
    {"tailf", "vvv", "tailf(VAR, DF1, DF2);", Any, AlgTailF},
    {"tailn", "v", "tailn(VAR);", Any, AlgTailN},
    {"tailt", "vv", "tailt(VAR, DF);", Any, AlgTailT},
    {"tan", "v", "tan(VAR);", Any, AlgTan},
    {"time", "", "time();", Any, AlgTime},
    {"trend", "", "trend();", Any, AlgTrend},
    {"trough", "r", "trough(VAR);", Any, nullptr, AlgTrough},
    {"variance", "r", "variance(VAR);", Any, nullptr, AlgVariance},
    {"year", "", "year();", Any, AlgYear},
};

constexpr bool HasDistinctNames() {
  for (const FunctionRow &row : kRows)
    if (std::ranges::count(kRows, std::string_view(row.name), &FunctionRow::name) != 1) return false;
  return true;
}
static_assert(HasDistinctNames());
static_assert(std::ranges::all_of(kRows, [](const FunctionRow &row) { return row.signature.count <= kMaxArguments; }));

}  // namespace

std::span<const FunctionRow> FunctionTable() { return kRows; }

int FindFunction(const char *name) {
  const FunctionRow *row = std::ranges::find(kRows, std::string_view(name), &FunctionRow::name);
  return row == std::end(kRows) ? -1 : static_cast<int>(row - kRows);
}

}  // namespace tessel
