// Goodness of fit of a seasonal series.
#pragma once

namespace tessel {

// R^2 against seasonal means of the first differences (Harvey, A. C. 1989, "Forecasting, Structural Time Series Models
// and the Kalman Filter", section 5.5): 1 - rss / tss, tss the sum of squared deviations of the first differences from
// their seasonal means.
// y: the series. means: one cell a season, written: season s holds the differences y(i + 1) - y(i) for i = s, s +
// seasons, ... Returns -1, with nothing written, when the series is not longer than two years.
double SeasonalRsq(const double *y, int observations, int seasons, double rss, double *means);

}  // namespace tessel
