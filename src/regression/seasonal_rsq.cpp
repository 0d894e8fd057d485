// Goodness of fit of a seasonal series.
#include "regression/seasonal_rsq.h"

namespace tessel {

Status SeasonalRsq(std::span<const double> y, double rss, std::span<double> means, double *rsq) {
  const std::size_t seasons = means.size(), last = y.size() - 1;
  if (y.size() <= 2 * seasons) return Status::Invalid;
  double tss = 0.0;
  for (std::size_t s = 0; s < seasons; ++s) {
    double sum = 0.0;
    int count = 0;
    for (std::size_t i = s; i < last; i += seasons, ++count) sum += y[i + 1] - y[i];
    const double mean = sum / count;
    double squares = 0.0;
    for (std::size_t i = s; i < last; i += seasons) {
      const double deviation = y[i + 1] - y[i] - mean;
      squares += deviation * deviation;
    }
    tss += squares;
    means[s] = mean;
  }
  *rsq = 1.0 - rss / tss;
  return Status::Ok;
}

}  // namespace tessel
