// Selected rows and columns of a Kronecker product, without the product.
#pragma once

#include <cstdint>

#include "core/matrix.h"

namespace tessel {

// Positions along one side of a Kronecker product of `size` rows (or columns): `count` cells, zero-based, truncated
// toward zero, in any order and repeated at will; null for all in order.
struct Selection {
  const double *cells = nullptr;
  std::int64_t count = 0;
  std::int64_t size = 0;

  // The i-th position, or -1 when the cell is outside 0 to size - 1 or missing.
  std::int64_t At(std::int64_t i) const;
  bool Valid() const;  // no position is outside
};

// out(i, j) = a(r / r2, c / c2) b(r mod r2, c mod c2) for r = rows.At(i), c = columns.At(j), b of r2 x c2.
// Both selections are valid. out: rows.count x columns.count, written.
void KroneckerSelect(ConstMatrix a, ConstMatrix b, const Selection &rows, const Selection &columns, Matrix out);

}  // namespace tessel
