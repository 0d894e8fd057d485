// The built-in functions of Algebra.
#include "functions.h"

#include <array>

namespace {

constexpr std::string_view kValues = "Values", kPosition = "Position in the sample", kAround = "Columns around t",
                           kUpTo = "Columns up to t", kWhole = "Whole columns", kDistributions = "Distributions",
                           kCalendar = "Calendar", kOrder = "Order", kSmooth = "Lags, frequencies and smoothing",
                           kRandom = "Random numbers";

constexpr FunctionEntry kFunctions[] = {
    {"abs", kValues, "abs(x)", "absolute value"},
    {"fabs", kValues, "fabs(x)", "absolute value"},
    {"ceil", kValues, "ceil(x)", "least whole number at or above x"},
    {"floor", kValues, "floor(x)", "greatest whole number at or below x"},
    {"round", kValues, "round(x)", "floor(x + 0.5): nearest whole number, halves upwards"},
    {"div", kValues, "div(a, b)", "quotient of the whole parts of a and b, towards zero"},
    {"fmod", kValues, "fmod(a, b)", "remainder of a / b, with the sign of a"},
    {"max", kValues, "max(a, b)", "the larger value"},
    {"min", kValues, "min(a, b)", "the smaller value"},
    {"sqrt", kValues, "sqrt(x)", "square root; a negative x fails the run"},
    {"exp", kValues, "exp(x)", "exponential"},
    {"log", kValues, "log(x)", "natural logarithm; log(0) is -inf, a negative x fails the run"},
    {"log10", kValues, "log10(x)", "logarithm to base 10; edges as log"},
    {"loggamma", kValues, "loggamma(x)", "logarithm of the gamma function; edges as log"},
    {"cos", kValues, "cos(x)", "cosine of x radians"},
    {"sin", kValues, "sin(x)", "sine of x radians"},
    {"tan", kValues, "tan(x)", "tangent of x radians"},
    {"acos", kValues, "acos(x)", "arc cosine in radians; missing outside -1 to 1"},
    {"asin", kValues, "asin(x)", "arc sine in radians; missing outside -1 to 1"},
    {"atan", kValues, "atan(x)", "arc tangent in radians"},

    {"trend", kPosition, "trend()", "1, 2, 3, ... from the first observation of the data"},
    {"period", kPosition, "period()", "period of the year, from 1 to FREQUENCY"},
    {"season", kPosition, "season()", "1 in the first period of the year, else 0"},

    {"lag", kAround, "lag(X, k)", "X, k observations ago; reads all of the data"},
    {"lead", kAround, "lead(X, k)", "X, k observations ahead; reads all of the data"},
    {"diff", kAround, "diff(X, k)", "X less its value k observations ago"},
    {"dlog", kAround, "dlog(X)", "log X less log X one observation ago; missing at zero, a negative X fails the run"},
    {"movingavg", kAround, "movingavg(X, lag, lead)",
     "mean of X from t - lag to t + lead; missing where the window is cut"},
    {"movingSD", kAround, "movingSD(X, lag, lead, mean)",
     "root of the mean squared deviation from `mean` over the same window"},
    {"almon", kAround, "almon(X, lag, power)", "mean of X from t - lag to t, weight (lag + 1 - j)^power on X[t - j]"},

    {"cum", kUpTo, "cum(X)", "sum of X from its first value in the range to t"},
    {"stock", kUpTo, "stock(X, rate, initial)", "stock v of the flow X: v = (1 - rate) v + X, starting at `initial`"},
    {"stockv", kUpTo, "stockv(X, RATE, initial)", "the same with a rate of its own in each observation"},
    {"peak", kUpTo, "peak(X)", "largest X from the start of the range to t"},
    {"trough", kUpTo, "trough(X)", "smallest X from the start of the range to t"},

    {"mean", kWhole, "mean(X)", "mean of X over the range, missing values left out"},
    {"variance", kWhole, "variance(X)", "mean squared deviation of X from its mean over the range"},
    {"ewma", kWhole, "ewma(X, alpha, beta, DEST)",
     "exponential smoothing: weight alpha on the level, beta on the trend"},
    {"ewmc0", kWhole, "ewmc0(X, Y, lambda, DEST)", "correlation of X and Y around zero, with weights lambda^age"},

    {"densn", kDistributions, "densn(x)", "standard normal density"},
    {"probn", kDistributions, "probn(x)", "standard normal probability P(Z <= x)"},
    {"tailn", kDistributions, "tailn(x)", "standard normal tail P(Z > x)"},
    {"densf", kDistributions, "densf(x, n, m)", "F density with n and m degrees of freedom"},
    {"tailf", kDistributions, "tailf(x, n, m)", "F tail P(F > x)"},
    {"denschi", kDistributions, "denschi(x, n)", "chi-squared density with n degrees of freedom"},
    {"tailchi", kDistributions, "tailchi(x, n)", "chi-squared tail"},
    {"denst", kDistributions, "denst(x, n)", "Student t density with n degrees of freedom, a whole number"},
    {"tailt", kDistributions, "tailt(x, n)", "Student t tail P(T > x)"},
    {"quann", kDistributions, "quann(p)", "standard normal quantile: P(Z <= x) = p"},
    {"quant", kDistributions, "quant(p, n)", "Student t quantile"},
    {"quanchi", kDistributions, "quanchi(p, n)", "chi-squared quantile"},
    {"quanf", kDistributions, "quanf(p, n, m)", "F quantile"},

    {"year", kCalendar, "year()", "year of the observation"},
    {"month", kCalendar, "month()", "month; without dates the first month of the period"},
    {"day", kCalendar, "day()", "day of the month; 1 without dates"},
    {"dayofweek", kCalendar, "dayofweek()", "1 Sunday to 7 Saturday; missing without dates"},
    {"hours", kCalendar, "hours()", "hour of the day; 1 without dates"},
    {"minutes", kCalendar, "minutes()", "minute of the hour; 1 without dates"},
    {"seconds", kCalendar, "seconds()", "second of the minute; 1 without dates"},
    {"date", kCalendar, "date()", "the date without its time; without dates the observation, from 0"},
    {"time", kCalendar, "time()", "time of day as a fraction of a day; 0 without dates"},
    {"makedate", kCalendar, "makedate(year, month, day)", "the date as a Julian day number"},
    {"maketime", kCalendar, "maketime(hour, minute, second)", "the time as a fraction of a day"},
    {"insample", kCalendar, "insample(y1, p1, y2, p2)", "1 from y1(p1) to y2(p2), else 0"},
    {"dummy", kCalendar, "dummy(y1, p1, y2, p2)", "the same as insample"},
    {"indates", kCalendar, "indates(d1, d2)", "1 from date d1 to date d2, else 0; without dates they are years"},
    {"dummydates", kCalendar, "dummydates(d1, d2)", "the same as indates"},
    {"isdayofmonth", kCalendar, "isdayofmonth(month, weekday, n)",
     "1 on the n-th such weekday of the month (0: any month; n < 0: from its end)"},
    {"iseaster", kCalendar, "iseaster(k)", "1 on the k-th day after Easter Sunday, in March and April"},

    {"sort", kOrder, "sort(X)", "puts X in ascending order over the range, missing values first"},
    {"_sortby", kOrder, "_sortby(X, Y)", "sorts X over all of the data and moves Y in step"},
    {"_sortallby", kOrder, "_sortallby(X)", "sorts X over all of the data and moves every variable in step"},

    {"acf", kSmooth, "acf(X, DEST, LAGS)", "autocorrelations at lags 0, 1, 2, ... into DEST, the lags into LAGS"},
    {"pacf", kSmooth, "pacf(X, DEST, LAGS)", "partial autocorrelations, laid out as by acf"},
    {"periodogram", kSmooth, "periodogram(X, DEST, FREQUENCIES)", "periodogram at the frequencies 2 pi k / n"},
    {"smooth_hp", kSmooth, "smooth_hp(X, lambda, DEST)", "Hodrick-Prescott trend; lambda 0 means 1600"},
    {"smooth_np", kSmooth, "smooth_np(X, alpha, DEST)",
     "kernel regression on time; alpha 0 automatic, above 0 degrees of freedom, below 0 minus the bandwidth"},
    {"smooth_sp", kSmooth, "smooth_sp(X, alpha, DEST)",
     "cubic smoothing spline; alpha as for smooth_np, below 0 minus the smoothing parameter"},

    {"ranu", kRandom, "ranu()", "uniform between 0 and 1"},
    {"rann", kRandom, "rann()", "standard normal"},
    {"rannormal", kRandom, "rannormal()", "the same as rann"},
    {"ranchi", kRandom, "ranchi(n)", "chi-squared with n degrees of freedom"},
    {"rant", kRandom, "rant(n)", "Student t with n degrees of freedom, a whole number"},
    {"ranf", kRandom, "ranf(n, m)", "F with n and m degrees of freedom"},
    {"ranseed", kRandom, "ranseed(s)",
     "seeds the generator with s; -1 restores its default, 0 only tells its first word"},
};

}  // namespace

std::span<const FunctionEntry> BuiltInFunctions() { return kFunctions; }
