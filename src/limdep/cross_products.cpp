// Blocked sums of weighted cross products.
#include "limdep/cross_products.h"

#include <algorithm>

namespace tessel {

namespace {

constexpr int kBlock = 8;
constexpr int kTileRows = 2;
constexpr int kTileColumns = 4;

// sum[i][j] += the sum over the vectors v of left[v][i] right[v][j], in the order of v; all rows are `stride` apart.
void AddTile(double *sum, const double *left, const double *right, int vectors, std::int64_t stride) {
  double cell[kTileRows][kTileColumns];
  for (int i = 0; i < kTileRows; ++i)
    for (int j = 0; j < kTileColumns; ++j) cell[i][j] = sum[i * stride + j];
  for (int v = 0; v < vectors; ++v, left += stride, right += stride)
    for (int i = 0; i < kTileRows; ++i)
      for (int j = 0; j < kTileColumns; ++j) cell[i][j] += left[i] * right[j];
  for (int i = 0; i < kTileRows; ++i)
    for (int j = 0; j < kTileColumns; ++j) sum[i * stride + j] = cell[i][j];
}

}  // namespace

CrossProducts::CrossProducts(std::int64_t sums, int n)
    : n_(n), sums_(sums), stride_((std::int64_t{n} + kTileColumns - 1) / kTileColumns * kTileColumns) {
  block_ = OwnedBlock<double>::Zeroed(kBlock * stride_);
  scaled_ = OwnedBlock<double>(kBlock * stride_);
  weights_ = OwnedBlock<double>(kBlock * sums);
  if (block_ && scaled_ && weights_) sum_ = OwnedBlock<double>::Zeroed(sums * stride_ * stride_);
}

void CrossProducts::Add(const double *x, const double *weights) {
  std::copy_n(x, n_, block_.get() + pending_ * stride_);
  std::copy_n(weights, sums_, weights_.get() + pending_ * sums_);
  if (++pending_ == kBlock) Flush();
}

void CrossProducts::Flush() {
  for (std::int64_t s = 0; s < sums_; ++s) {
    for (int v = 0; v < pending_; ++v) {
      const double weight = weights_[v * sums_ + s];
      for (std::int64_t i = v * stride_; i < (v + 1) * stride_; ++i) scaled_[i] = weight * block_[i];
    }
    double *sum = sum_.get() + s * stride_ * stride_;
    for (std::int64_t i = 0; i < n_; i += kTileRows)
      for (std::int64_t j = 0; j < i + kTileRows; j += kTileColumns)
        AddTile(sum + i * stride_ + j, scaled_.get() + i, block_.get() + j, pending_, stride_);
  }
  pending_ = 0;
}

void CrossProducts::Store(std::int64_t s, RowMatrix out, int row, int column, bool whole) {
  if (pending_ > 0) Flush();
  const double *sum = sum_.get() + s * stride_ * stride_;
  for (int i = 0; i < n_; ++i)
    for (int j = 0; j < (whole ? n_ : i + 1); ++j)
      out[row + i][column + j] = sum[std::max(i, j) * stride_ + std::min(i, j)];
}

}  // namespace tessel
