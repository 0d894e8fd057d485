// Running sums and extremes of a series, its mean and variance, and exponential filters.
//
// x holds the series, one cell a period; a missing cell is any NaN. An `out` may be shorter than x: it then takes the
// results of the last cells of x, so that a caller who wants the results from some period on need not store the earlier
// ones. It is never longer than x, and does not overlap it. All functions take time in proportion to x.
#pragma once

#include <span>

namespace tessel {

// A stock with depreciation, by the perpetual inventory method: s = (1 - rate) s + x, from s = initial before the first
// value of x on. Missing before that value, and from the first gap behind it to the end.
void AccumulateStock(std::span<const double> x, double rate, double initial, std::span<double> out);

// The same with a rate of its own for each period; `rates` is as long as x. The stock begins at the first period that
// has both a value and a rate, and a gap in either ends it.
void AccumulateStock(std::span<const double> x, std::span<const double> rates, double initial, std::span<double> out);

// The largest, or smallest, value up to each period; missing where x is.
void RunningMaximum(std::span<const double> x, std::span<double> out);
void RunningMinimum(std::span<const double> x, std::span<double> out);

// The mean of the values, and the mean of their squared deviations from it (the divisor is their count). Missing cells
// are passed over; missing without any value.
double MeanOfValues(std::span<const double> x);
double VarianceOfValues(std::span<const double> x);

// Exponential smoothing with a level L and a trend T:
//   L' = (1 - alpha) (L + T) + alpha x,   T' = beta (L' - L) + (1 - beta) T,
// both weights clamped to 0 to 1. The first value is the first level, with a trend of 0. With beta > 0 the second value
// is the second level, and its change the trend. out, as long as x, takes the levels; in the g-th period of a gap L +
// g T, and x itself before the first value. A gap counts on from an earlier one when beta > 0 and the second value came
// between them. An undefined level, as infinity less infinity, may be any NaN.
// Literature: Holt, Forecasting seasonals and trends by exponentially weighted moving averages, Office of Naval
// Research Memorandum 52 (1957), reprinted in International Journal of Forecasting 20 (2004), 5-10.
void SmoothExponentially(std::span<const double> x, double alpha, double beta, std::span<double> out);

// The correlation of x and y, both as long as out, around means of 0, with weights that fall by lambda (clamped to 0 to
// 1) from each period with both values to the one before:
//   S_xy / sqrt(S_xx S_yy),   S_ab = a b + lambda S_ab.
// A period without both values repeats the last correlation. Missing up to the second period that has both; may be any
// NaN where a sum is 0.
void CorrelateExponentially(std::span<const double> x, std::span<const double> y, double lambda, std::span<double> out);

}  // namespace tessel
