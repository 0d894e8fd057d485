// Seasonal means of a matrix of series.
#include "series/deseasonalize.h"

#include <algorithm>

#include "core/heap.h"

namespace tessel {

Status DeSeasonalize(Matrix x, int seasons) {
  // Seasons past the last row have no cells and need no mean.
  const int used = std::min(seasons, x.rows);
  OwnedBlock<double> mean(used);
  if (!mean) return Status::NoMemory;

  for (int j = 0; j < x.columns; ++j) {
    for (int s = 0; s < used; ++s) {
      double sum = 0.0;
      int count = 0;
      for (std::int64_t t = s; t < x.rows; t += seasons, ++count) sum += x[t][j];
      mean[s] = sum / count;
    }
    for (int t = 0; t < x.rows; ++t) x[t][j] -= mean[t % seasons];
  }
  return Status::Ok;
}

}  // namespace tessel
