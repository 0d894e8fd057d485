// Blocked sums of weighted cross products.
#include "linalg/cross_products.h"

#include <algorithm>

#include "linalg/micro_kernel.h"
#include "linalg/sum_kernels.h"

namespace tessel {

namespace {

constexpr int kBlock = 8;

}  // namespace

CrossProducts::CrossProducts(std::int64_t sums, int n)
    : n_(n), sums_(sums), stride_((n + kLaggedPadding - 1) / kLaggedPadding * kLaggedPadding) {
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

Matrix CrossProducts::Sum(std::int64_t s) const { return {sum_.get() + s * stride_ * stride_, n_, n_, stride_}; }

void CrossProducts::Flush() {
  const SumKernels &kernels = *CurrentMicroKernel().sums;
  const ConstMatrix vectors(block_.get(), pending_, n_, stride_);
  for (std::int64_t s = 0; s < sums_; ++s)
    kernels.addWeighted({vectors, weights_.get() + s, sums_}, scaled_.get(), Sum(s));
  pending_ = 0;
}

void CrossProducts::Store(std::int64_t s, Matrix out, bool whole) {
  if (pending_ > 0) Flush();
  const ConstMatrix sum = Sum(s);
  for (int i = 0; i < n_; ++i) std::copy_n(sum[i], i + 1, out[i]);
  if (whole) MirrorLower(out.Block(0, n_, 0, n_));
}

}  // namespace tessel
