// Blocked sums of weighted cross products.
#include "linalg/cross_products.h"

#include <algorithm>

#include "linalg/four.h"
#include "linalg/micro_kernel.h"

namespace tessel {

namespace {

constexpr int kBlock = 8;
constexpr int kTileRows = 2;
constexpr int kTileColumns = 4;

// A block of vectors of n elements, `stride` apart, and the weight of each, `weightStep` apart.
struct Block {
  const double *vectors;
  const double *weights;
  std::int64_t weightStep;
  int count;
  int n;
  std::int64_t stride;
};

// sum[i][j] += the sum over the vectors v of weight_v v_i v_j, in the order of v, in the tiles of the lower triangle.
// `scaled` is work memory of the block's size.
[[gnu::always_inline]] inline void AddBlockBody(const Block &block, double *scaled, double *sum) {
  const std::int64_t stride = block.stride;
  for (int v = 0; v < block.count; ++v) {
    const double weight = block.weights[v * block.weightStep];
    for (std::int64_t i = v * stride; i < (v + 1) * stride; i += kTileColumns)
      At(scaled + i).v = weight * At(block.vectors + i).v;
  }
  for (std::int64_t i = 0; i < block.n; i += kTileRows)
    for (std::int64_t j = 0; j < i + kTileRows; j += kTileColumns) {
      double *cells = sum + i * stride + j;
      Four upper = At(cells).v, lower = At(cells + stride).v;
      const double *left = scaled + i, *right = block.vectors + j;
      for (int v = 0; v < block.count; ++v, left += stride, right += stride) {
        upper += left[0] * At(right).v;
        lower += left[1] * At(right).v;
      }
      At(cells).v = upper;
      At(cells + stride).v = lower;
    }
}

using AddBlockFunction = void (*)(const Block &, double *, double *);

void AddBlockBaseline(const Block &block, double *scaled, double *sum) { AddBlockBody(block, scaled, sum); }

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AddBlockAvx2(const Block &block, double *scaled, double *sum) {
  AddBlockBody(block, scaled, sum);
}
#endif

// Both forms give the same bits: neither fuses a product with its sum.
AddBlockFunction MachineAddBlock() {
#if defined(__x86_64__)
  if (&CurrentMicroKernel() != &MicroKernels().front()) return AddBlockAvx2;  // the wider sets all have AVX2
#endif
  return AddBlockBaseline;
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
  const AddBlockFunction addBlock = MachineAddBlock();
  for (std::int64_t s = 0; s < sums_; ++s)
    addBlock({block_.get(), weights_.get() + s, sums_, pending_, n_, stride_}, scaled_.get(),
             sum_.get() + s * stride_ * stride_);
  pending_ = 0;
}

void CrossProducts::Store(std::int64_t s, Matrix out, bool whole) {
  if (pending_ > 0) Flush();
  const double *sum = sum_.get() + s * stride_ * stride_;
  for (int i = 0; i < n_; ++i)
    for (int j = 0; j < (whole ? n_ : i + 1); ++j) out[i][j] = sum[std::max(i, j) * stride_ + std::min(i, j)];
}

}  // namespace tessel
