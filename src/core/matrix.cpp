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

void MirrorLower(Matrix m) {
  constexpr int block = 16;  // so that the columns written stay in cache
  for (int i0 = 0; i0 < m.rows; i0 += block)
    for (int j0 = 0; j0 <= i0; j0 += block)
      for (int i = i0; i < std::min(i0 + block, m.rows); ++i)
        for (int j = j0; j < std::min(j0 + block, i); ++j) m[j][i] = m[i][j];
}

}  // namespace tessel
