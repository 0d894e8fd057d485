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

namespace {

// Up to eight rows: row r is at(first + r).
template <class RowAt>
void DotGroup(RowAt at, int first, int taken, const double *y, int n, double *out) {
  if (n <= 4 || taken == 1) {
    for (int r = 0; r < taken; ++r) out[r] = DotProduct(at(first + r), y, n);
    return;
  }
  const double *x[kLaneRows];
  for (int r = 0; r < kLaneRows; ++r) x[r] = at(first + (r < taken ? r : 0));
  if (taken == kLaneRows) {
    CurrentMicroKernel().dots(x, y, n, out);
  } else {
    double all[kLaneRows];
    CurrentMicroKernel().dots(x, y, n, all);
    for (int r = 0; r < taken; ++r) out[r] = all[r];
  }
}

}  // namespace

void DotProducts(ConstMatrix rows, const double *y, double *out) {
  const auto at = [rows](int r) { return rows[r]; };
  for (int first = 0; first < rows.rows; first += kLaneRows)
    DotGroup(at, first, std::min(rows.rows - first, kLaneRows), y, rows.columns, out + first);
}

void DotProducts(std::span<const double *const> rows, const double *y, int n, double *out) {
  const auto at = [rows](int r) { return rows[static_cast<std::size_t>(r)]; };
  const int count = static_cast<int>(rows.size());
  for (int first = 0; first < count; first += kLaneRows)
    DotGroup(at, first, std::min(count - first, kLaneRows), y, n, out + first);
}

}  // namespace tessel
