// Blocked sums of weighted cross products.
#include "limdep/cross_products.h"

#include <algorithm>

namespace tessel {

namespace {

constexpr int kBlock = 8;
constexpr int kTileRows = 2;
constexpr int kTileColumns = 4;

// Two doubles in a vector register of the baseline; loads and stores need no alignment.
typedef double Pair __attribute__((vector_size(2 * sizeof(double)), aligned(alignof(double)), may_alias));

Pair &PairAt(double *x) { return *reinterpret_cast<Pair *>(x); }
const Pair &PairAt(const double *x) { return *reinterpret_cast<const Pair *>(x); }

// sum[i][j] += the sum over the vectors v of left[v][i] right[v][j], in the order of v; all rows are `stride` apart.
void AddTile(double *sum, const double *left, const double *right, int vectors, std::int64_t stride) {
  Pair cell00 = PairAt(sum), cell01 = PairAt(sum + 2);
  Pair cell10 = PairAt(sum + stride), cell11 = PairAt(sum + stride + 2);
  for (int v = 0; v < vectors; ++v, left += stride, right += stride) {
    const Pair right0 = PairAt(right), right1 = PairAt(right + 2);
    cell00 += left[0] * right0;
    cell01 += left[0] * right1;
    cell10 += left[1] * right0;
    cell11 += left[1] * right1;
  }
  PairAt(sum) = cell00;
  PairAt(sum + 2) = cell01;
  PairAt(sum + stride) = cell10;
  PairAt(sum + stride + 2) = cell11;
}

// product = c x, for an even number n of elements.
void Scale(double *product, double c, const double *x, std::int64_t n) {
  for (std::int64_t i = 0; i < n; i += 2) PairAt(product + i) = c * PairAt(x + i);
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
  const double *block = block_.get();
  double *scaled = scaled_.get();
  for (std::int64_t s = 0; s < sums_; ++s) {
    for (int v = 0; v < pending_; ++v)
      Scale(scaled + v * stride_, weights_[v * sums_ + s], block + v * stride_, stride_);
    double *sum = sum_.get() + s * stride_ * stride_;
    for (std::int64_t i = 0; i < n_; i += kTileRows)
      for (std::int64_t j = 0; j < i + kTileRows; j += kTileColumns)
        AddTile(sum + i * stride_ + j, scaled + i, block + j, pending_, stride_);
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
