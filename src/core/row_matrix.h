// RowMatrix: a table of row pointers over one contiguous row-major block of doubles.
//
// Cell (i, j) is m[i][j], and m[0] is also the whole matrix as one vector of rows x columns doubles. Sizes travel
// beside the pointer. A matrix of the library's own has one more word ahead of its table, which holds the block's
// address, so that rows may be swapped in the table; a matrix of the host's has no such word and is never given to
// MatFree.
#pragma once

#include <cstdint>
#include <utility>

#include "core/matrix.h"
#include "core/missing.h"

namespace tessel {

using RowMatrix = double **;

// A new matrix, cells not initialised. Null when rows is 0 (or a size is negative) and when memory fails. With 0
// columns and at least 1 row the table holds null rows and there is no cell block.
RowMatrix MatAlloc(std::int64_t rows, std::int64_t columns);

// Releases cells and table; null does nothing.
void MatFree(RowMatrix m);

// Copies the cells row by row and returns the destination; null, with nothing copied, if either is null.
RowMatrix MatCopy(RowMatrix destination, RowMatrix source, int rows, int columns);

// MatAlloc then MatCopy; null when memory fails or the source is null.
RowMatrix MatClone(RowMatrix source, int rows, int columns);

// A view of the first rows and columns of a row table whose rows are equally far apart.
inline Matrix ViewOf(RowMatrix m, int rows, int columns) {
  if (m == nullptr) return {nullptr, rows, columns};
  return {m[0], rows, columns, rows > 1 ? m[1] - m[0] : columns};
}

// Fills; each returns its matrix.
RowMatrix MatZero(RowMatrix m, int rows, int columns);
RowMatrix MatIdentity(RowMatrix m, int n);
RowMatrix MatFillMissing(RowMatrix m, int rows, int columns);

// Frees the n blocks that the table points at and then the table; a null table does nothing.
void BlockTableFree(void **table, int n);

// A new table of n copied texts; a null entry stays null. Null when n is 0 or memory fails.
char **TextTableClone(const char *const *table, int n);

// A heap copy of a text with its final zero; null for null or when memory fails.
char *TextClone(const char *text);

// A movable owner of a RowMatrix of the library's own.
class OwnedRows {
 public:
  OwnedRows() = default;
  OwnedRows(std::int64_t rows, std::int64_t columns) : m_(MatAlloc(rows, columns)) {}
  static OwnedRows Clone(RowMatrix source, int rows, int columns) {
    OwnedRows owner;
    owner.m_ = MatClone(source, rows, columns);
    return owner;
  }
  OwnedRows(OwnedRows &&other) noexcept : m_(std::exchange(other.m_, nullptr)) {}
  OwnedRows &operator=(OwnedRows &&other) noexcept {
    if (this != &other) {
      MatFree(m_);
      m_ = std::exchange(other.m_, nullptr);
    }
    return *this;
  }
  ~OwnedRows() { MatFree(m_); }

  explicit operator bool() const { return m_ != nullptr; }
  RowMatrix get() const { return m_; }
  double *operator[](std::int64_t i) const { return m_[i]; }

 private:
  RowMatrix m_ = nullptr;
};

}  // namespace tessel
