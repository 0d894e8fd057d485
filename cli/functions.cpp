// The built-in functions of Algebra.
#include "functions.h"

#include <array>

namespace {

constexpr std::string_view kValues = "Values", kPosition = "Position in the sample", kAround = "Columns around t",
                           kUpTo = "Columns up to t", kWhole = "Whole columns", kDistributions = "Distributions";

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
};

}  // namespace

std::span<const FunctionEntry> BuiltInFunctions() { return kFunctions; }
