// Owners and elementary fills of matrices.
#include "core/matrix.h"

#include <algorithm>
#include <limits>

#include "core/missing.h"

namespace tessel {

namespace {

constexpr std::int64_t kLargest = std::numeric_limits<int>::max();

bool Fits(std::int64_t rows, std::int64_t columns) {
  return rows >= 0 && columns >= 0 && rows <= kLargest && columns <= kLargest;
}

}  // namespace

OwnedMatrix::OwnedMatrix(std::int64_t rows, std::int64_t columns) : block_(Fits(rows, columns) ? rows * columns : -1) {
  if (block_) view_ = {block_.get(), static_cast<int>(rows), static_cast<int>(columns)};
}

OwnedMatrix OwnedMatrix::Clone(ConstMatrix source) {
  if (!source) return {};
  OwnedMatrix copy(source.rows, source.columns);
  if (copy) Copy(copy, source);
  return copy;
}

void Copy(Matrix to, ConstMatrix from) {
  for (int i = 0; i < from.rows; ++i) std::copy_n(from[i], from.columns, to[i]);
}

void Fill(Matrix m, double value) {
  for (int i = 0; i < m.rows; ++i) std::fill_n(m[i], m.columns, value);
}

void FillMissing(Matrix m) { Fill(m, MissingValue()); }

void FillIdentity(Matrix m) {
  FillZero(m);
  for (int i = 0; i < std::min(m.rows, m.columns); ++i) m[i][i] = 1.0;
}

namespace {

// Calls visit(i, first, last) for the cells first..last-1 of row i, until all cells of the strict lower triangle of an
// n x n matrix have been visited. It goes by blocks, so that the columns opposite stay in cache.
template <class Visit>
void ForEachRunBelowDiagonal(int n, Visit visit) {
  constexpr int block = 16;
  for (int i0 = 0; i0 < n; i0 += block)
    for (int j0 = 0; j0 <= i0; j0 += block)
      for (int i = i0; i < std::min(i0 + block, n); ++i) visit(i, j0, std::min(j0 + block, i));
}

}  // namespace

void MirrorLower(Matrix m) {
  ForEachRunBelowDiagonal(m.rows, [m](int i, int first, int last) {
    const double *row = m[i];
    double *column = m[first] + i;
    for (int j = first; j < last; ++j, column += m.stride) *column = row[j];
  });
}

void MirrorUpper(Matrix m) {
  ForEachRunBelowDiagonal(m.rows, [m](int i, int first, int last) {
    double *row = m[i];
    const double *column = m[first] + i;
    for (int j = first; j < last; ++j, column += m.stride) row[j] = *column;
  });
}

void MatTransposeInPlace(Matrix m) {
  ForEachRunBelowDiagonal(m.rows, [m](int i, int first, int last) {
    double *row = m[i], *column = m[first] + i;
    for (int j = first; j < last; ++j, column += m.stride) std::swap(row[j], *column);
  });
}

}  // namespace tessel
