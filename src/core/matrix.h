// Views of matrices, and their owner.
//
// A view is a pointer to the first cell with sizes and a stride: cell (i, j) is m[i][j], at cells[i stride + j]. Rows
// are contiguous; a view with a stride equal to its columns is one vector of rows x columns doubles. A view owns
// nothing and costs nothing to copy. Sizes are not negative. What a function only reads is a ConstMatrix; a Matrix
// converts to one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <utility>

#include "core/heap.h"

namespace tessel {

namespace detail {

template <class Cell>
struct BasicMatrix {
  Cell *cells = nullptr;  // null for no matrix, which is not the same as one without cells
  int rows = 0;
  int columns = 0;
  std::int64_t stride = 0;  // doubles from one row to the next

  BasicMatrix() = default;
  BasicMatrix(Cell *data, int rowCount, int columnCount) : BasicMatrix(data, rowCount, columnCount, columnCount) {}
  BasicMatrix(Cell *data, int rowCount, int columnCount, std::int64_t rowStride)
      : cells(data), rows(rowCount), columns(columnCount), stride(rowStride) {}

  Cell *operator[](std::int64_t row) const { return cells + row * stride; }

  // Whether there is a matrix at all: an optional argument that is not given has null cells.
  explicit operator bool() const { return cells != nullptr; }
  bool Empty() const { return rows < 1 || columns < 1; }
  bool Is(int r, int c) const { return rows == r && columns == c; }
  // Whether all cells are one vector in row-major order.
  bool Contiguous() const { return stride == columns || rows <= 1; }
  std::int64_t Length() const { return static_cast<std::int64_t>(rows) * columns; }

  // The cells of a row, and of a contiguous matrix in row-major order.
  std::span<Cell> Row(std::int64_t row) const { return {(*this)[row], static_cast<std::size_t>(columns)}; }
  std::span<Cell> Flat() const { return {cells, static_cast<std::size_t>(Length())}; }

  // Views of `count` rows, of `count` columns, and of a block.
  BasicMatrix Rows(int first, int count) const { return {(*this)[first], count, columns, stride}; }
  BasicMatrix Columns(int first, int count) const { return {cells + first, rows, count, stride}; }
  BasicMatrix Block(int row, int rowCount, int column, int columnCount) const {
    return {(*this)[row] + column, rowCount, columnCount, stride};
  }

  // A Matrix is a ConstMatrix.
  operator BasicMatrix<const Cell>() const requires(!std::is_const_v<Cell>) { return {cells, rows, columns, stride}; }

  // The same cells in the same shape: an operand that is another operand.
  bool operator==(const BasicMatrix &) const = default;
};

}  // namespace detail

using Matrix = detail::BasicMatrix<double>;
using ConstMatrix = detail::BasicMatrix<const double>;

// A movable owner of rows x columns cells, not initialised. False when memory fails or a size is negative. Sizes of 0
// are allowed: such a matrix exists and has no cells.
class OwnedMatrix {
 public:
  OwnedMatrix() = default;
  OwnedMatrix(std::int64_t rows, std::int64_t columns);
  // A copy; false when memory fails or there is no source.
  static OwnedMatrix Clone(ConstMatrix source);
  OwnedMatrix(OwnedMatrix &&other) noexcept : block_(std::move(other.block_)), view_(std::exchange(other.view_, {})) {}
  OwnedMatrix &operator=(OwnedMatrix &&other) noexcept {
    block_ = std::move(other.block_);
    view_ = std::exchange(other.view_, {});
    return *this;
  }

  explicit operator bool() const { return static_cast<bool>(block_); }
  operator Matrix() const { return view_; }
  operator ConstMatrix() const { return view_; }
  Matrix View() const { return view_; }
  double *operator[](std::int64_t row) const { return view_[row]; }

 private:
  OwnedBlock<double> block_;
  Matrix view_;
};

// Copies the cells of a matrix of the same sizes.
void Copy(Matrix to, ConstMatrix from);

void Fill(Matrix m, double value);
inline void FillZero(Matrix m) { Fill(m, 0.0); }
void FillMissing(Matrix m);
void FillIdentity(Matrix m);  // ones where row and column are equal, zeros elsewhere

// Copies the lower triangle of a square matrix to its upper one, and the upper to the lower one.
void MirrorLower(Matrix m);
void MirrorUpper(Matrix m);

// A square matrix becomes its transpose.
void MatTransposeInPlace(Matrix m);

}  // namespace tessel
