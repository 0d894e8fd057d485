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

// Calls visit(i, j) for every cell of the strict lower triangle of an n x n matrix, in blocks: cells of a column that
// are visited one after the other stay in cache.
template <class Visit>
void ForEachBelowDiagonal(int n, Visit visit) {
  constexpr int block = 16;
  for (int i0 = 0; i0 < n; i0 += block)
    for (int j0 = 0; j0 <= i0; j0 += block)
      for (int i = i0; i < std::min(i0 + block, n); ++i)
        for (int j = j0; j < std::min(j0 + block, i); ++j) visit(i, j);
}

}  // namespace

void MirrorLower(Matrix m) {
  ForEachBelowDiagonal(m.rows, [m](int i, int j) { m[j][i] = m[i][j]; });
}

void MirrorUpper(Matrix m) {
  ForEachBelowDiagonal(m.rows, [m](int i, int j) { m[i][j] = m[j][i]; });
}

void MatTransposeInPlace(Matrix m) {
  ForEachBelowDiagonal(m.rows, [m](int i, int j) { std::swap(m[i][j], m[j][i]); });
}

}  // namespace tessel
