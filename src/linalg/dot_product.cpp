// The inner product in its fixed order, alone and for several rows at once.
#include "linalg/dot_product.h"

#include <algorithm>

#include "linalg/micro_kernel.h"

namespace tessel {

double DotProduct(const double *x, const double *y, int n) {
  switch (n) {
    case 1: return x[0] * y[0];
    case 2: return x[0] * y[0] + x[1] * y[1];
    case 3: return x[0] * y[0] + x[1] * y[1] + x[2] * y[2];
    case 4: return x[0] * y[0] + x[1] * y[1] + x[2] * y[2] + x[3] * y[3];
    default: return n < 1 ? 0.0 : CurrentMicroKernel().dot(x, y, n);
  }
}

void DotProducts(ConstMatrix rows, const double *y, double *out) {
  const int n = rows.columns;
  for (int first = 0; first < rows.rows; first += kLaneRows, out += kLaneRows) {
    const int taken = std::min(rows.rows - first, kLaneRows);
    if (n <= 4 || taken == 1) {
      for (int r = 0; r < taken; ++r) out[r] = DotProduct(rows[first + r], y, n);
      continue;
    }
    const double *x[kLaneRows];
    for (int r = 0; r < kLaneRows; ++r) x[r] = rows[first + (r < taken ? r : 0)];
    if (taken == kLaneRows) {
      CurrentMicroKernel().dots(x, y, n, out);
    } else {
      double all[kLaneRows];
      CurrentMicroKernel().dots(x, y, n, all);
      for (int r = 0; r < taken; ++r) out[r] = all[r];
    }
  }
}

}  // namespace tessel
