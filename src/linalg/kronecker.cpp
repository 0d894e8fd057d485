// Selected rows and columns of a Kronecker product.
#include "linalg/kronecker.h"

namespace tessel {

std::int64_t Selection::At(std::int64_t i) const {
  if (cells == nullptr) return i;
  const double cell = cells[i];
  return size > 0 && cell > -1.0 && cell < static_cast<double>(size) ? static_cast<std::int64_t>(cell) : -1;
}

bool Selection::Valid() const {
  if (cells == nullptr) return true;
  for (std::int64_t i = 0; i < count; ++i)
    if (At(i) < 0) return false;
  return true;
}

void KroneckerSelect(ConstMatrix a, ConstMatrix b, const Selection &rows, const Selection &columns, Matrix out) {
  for (std::int64_t i = 0; i < rows.count; ++i) {
    const std::int64_t r = rows.At(i);
    for (std::int64_t j = 0; j < columns.count; ++j) {
      const std::int64_t c = columns.At(j);
      out[i][j] = a[r / b.rows][c / b.columns] * b[r % b.rows][c % b.columns];
    }
  }
}

}  // namespace tessel
