// Storage and elementary fills of RowMatrix.
#include "core/row_matrix.h"

#include <cstring>

#include "core/heap.h"

namespace tessel {

RowMatrix MatAlloc(std::int64_t rows, std::int64_t columns) {
  if (rows <= 0 || columns < 0) return nullptr;
  const auto tableWords = static_cast<std::size_t>(rows) + 1;
  auto *table = static_cast<double **>(HeapAllocZeroed(tableWords, sizeof(double *)));
  if (table == nullptr || columns == 0) return table == nullptr ? nullptr : table + 1;

  std::size_t cells = 0;
  double *block = nullptr;
  if (!__builtin_mul_overflow(static_cast<std::size_t>(rows), static_cast<std::size_t>(columns), &cells))
    block = static_cast<double *>(HeapAlloc(cells, sizeof(double)));
  if (block == nullptr) {
    HeapFree(table);
    return nullptr;
  }
  table[0] = block;
  for (std::int64_t i = 0; i < rows; ++i) table[i + 1] = block + i * columns;
  return table + 1;
}

void MatFree(RowMatrix m) {
  if (m == nullptr) return;
  HeapFree(m[-1]);
  HeapFree(m - 1);
}

RowMatrix MatCopy(RowMatrix destination, RowMatrix source, int rows, int columns) {
  if (destination == nullptr || source == nullptr) return nullptr;
  for (int i = 0; i < rows; ++i)
    if (columns > 0) std::memcpy(destination[i], source[i], static_cast<std::size_t>(columns) * sizeof(double));
  return destination;
}

RowMatrix MatClone(RowMatrix source, int rows, int columns) {
  if (source == nullptr) return nullptr;
  return MatCopy(MatAlloc(rows, columns), source, rows, columns);
}

namespace {

RowMatrix Fill(RowMatrix m, int rows, int columns, double value) {
  for (int i = 0; i < rows; ++i)
    for (int j = 0; j < columns; ++j) m[i][j] = value;
  return m;
}

}  // namespace

RowMatrix MatZero(RowMatrix m, int rows, int columns) { return Fill(m, rows, columns, 0.0); }

RowMatrix MatIdentity(RowMatrix m, int n) {
  MatZero(m, n, n);
  for (int i = 0; i < n; ++i) m[i][i] = 1.0;
  return m;
}

RowMatrix MatFillMissing(RowMatrix m, int rows, int columns) { return Fill(m, rows, columns, MissingValue()); }

void BlockTableFree(void **table, int n) {
  if (table == nullptr) return;
  for (int i = 0; i < n; ++i) HeapFree(table[i]);
  HeapFree(table);
}

char **TextTableClone(const char *const *table, int n) {
  if (table == nullptr || n <= 0) return nullptr;
  auto **copy = static_cast<char **>(HeapAllocZeroed(static_cast<std::size_t>(n), sizeof(char *)));
  if (copy == nullptr) return nullptr;
  for (int i = 0; i < n; ++i) {
    copy[i] = TextClone(table[i]);
    if (copy[i] == nullptr && table[i] != nullptr) {
      BlockTableFree(reinterpret_cast<void **>(copy), n);
      return nullptr;
    }
  }
  return copy;
}

char *TextClone(const char *text) {
  if (text == nullptr) return nullptr;
  const std::size_t bytes = std::strlen(text) + 1;
  auto *copy = static_cast<char *>(HeapAlloc(bytes, 1));
  if (copy != nullptr) std::memcpy(copy, text, bytes);
  return copy;
}

}  // namespace tessel
