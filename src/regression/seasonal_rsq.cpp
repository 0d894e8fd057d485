// Goodness of fit of a seasonal series.
#include "regression/seasonal_rsq.h"

#include <cstdint>

namespace tessel {

double SeasonalRsq(const double *y, int observations, int seasons, double rss, double *means) {
  if (observations / 2 < seasons || observations == 2 * seasons) return -1.0;
  const int last = observations - 1;
  double tss = 0.0;
  for (int s = 0; s < seasons; ++s) {
    double sum = 0.0;
    int count = 0;
    for (std::int64_t i = s; i < last; i += seasons, ++count) sum += y[i + 1] - y[i];
    const double mean = sum / count;
    double squares = 0.0;
    for (std::int64_t i = s; i < last; i += seasons) {
      const double deviation = y[i + 1] - y[i] - mean;
      squares += deviation * deviation;
    }
    tss += squares;
    means[s] = mean;
  }
  return 1.0 - rss / tss;
}

}  // namespace tessel
