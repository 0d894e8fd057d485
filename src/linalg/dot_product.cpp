// The inner product in its fixed order, alone and for several rows at once.
#include "linalg/dot_product.h"

#include <algorithm>

#include "core/simd.h"
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

namespace {

// out[r] for the first `taken` of eight rows; places after them repeat any row.
void DotGroup(const double *const *rows, int taken, const double *y, int n, double *out) {
  if (n <= 4 || taken == 1) {
    for (int r = 0; r < taken; ++r) out[r] = DotProduct(rows[r], y, n);
  } else if (taken == kLaneRows) {
    CurrentMicroKernel().dots(rows, y, n, out);
  } else {
    double all[kLaneRows];
    CurrentMicroKernel().dots(rows, y, n, all);
    CopyFew(all, taken, out);
  }
}

}  // namespace

void DotProducts(const ConstMatrix &rows, const double *y, double *out) {
  for (int first = 0; first < rows.rows; first += kLaneRows) {
    const int taken = std::min(rows.rows - first, kLaneRows);
    const double *x[kLaneRows];
    for (int r = 0; r < kLaneRows; ++r) x[r] = rows[first + (r < taken ? r : 0)];
    DotGroup(x, taken, y, rows.columns, out + first);
  }
}

void DotProducts(std::span<const double *const> rows, const double *y, int n, double *out) {
  for (; !rows.empty(); out += kLaneRows) {
    const std::size_t taken = std::min<std::size_t>(rows.size(), kLaneRows);
    const double *x[kLaneRows];
    for (std::size_t r = 0; r < kLaneRows; ++r) x[r] = rows[r < taken ? r : 0];
    DotGroup(x, static_cast<int>(taken), y, n, out);
    rows = rows.subspan(taken);
  }
}

}  // namespace tessel
