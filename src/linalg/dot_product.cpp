// The inner product in its fixed order.
#include "linalg/dot_product.h"

namespace tessel {

double DotProduct(const double *x, const double *y, int n) {
  switch (n) {
    case 1: return x[0] * y[0];
    case 2: return x[0] * y[0] + x[1] * y[1];
    case 3: return x[0] * y[0] + x[1] * y[1] + x[2] * y[2];
    case 4: return x[0] * y[0] + x[1] * y[1] + x[2] * y[2] + x[3] * y[3];
    default: break;
  }
  if (n < 1) return 0.0;
  double s[4] = {};
  const int whole = n - n % 4;
  for (int k = 0; k < whole; k += 4)
    for (int p = 0; p < 4; ++p) s[p] += x[k + p] * y[k + p];
  for (int k = whole; k < n; ++k) s[0] += x[k] * y[k];
  return s[2] + s[1] + s[3] + s[0];
}

}  // namespace tessel
