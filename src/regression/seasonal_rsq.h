// Goodness of fit of a seasonal series.
#pragma once

#include <span>

#include "core/status.h"

namespace tessel {

// R^2 against seasonal means of the first differences (Harvey, A. C. 1989, "Forecasting, Structural Time Series Models
// and the Kalman Filter", section 5.5): 1 - rss / tss, tss the sum of squared deviations of the first differences from
// their seasonal means.
// y: the series. means: one cell a season, at least 2, written: season s holds the differences y(i + 1) - y(i) for
// i = s, s + seasons, ... Invalid, with nothing written, when the series is not longer than two years.
Status SeasonalRsq(std::span<const double> y, double rss, std::span<double> means, double *rsq);

}  // namespace tessel
