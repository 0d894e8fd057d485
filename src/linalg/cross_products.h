// Sums over observations of w x x': what every information matrix and every outer product of scores is made of.
//
// Vectors are collected in blocks of eight, and a block is added to the sums in tiles that stay in registers meanwhile.
// The terms of each cell are added in the order of the observations.
#pragma once

#include <cstdint>

#include "core/heap.h"
#include "core/matrix.h"

namespace tessel {

class CrossProducts {
 public:
  CrossProducts() = default;

  // `sums` sums, one for each weight that comes with a vector of n elements, all zero.
  CrossProducts(std::int64_t sums, int n);

  // False when there was no memory, and for the empty object, which stands for sums that are not wanted.
  explicit operator bool() const { return static_cast<bool>(sum_); }

  // Adds weights[s] x x' to each sum s.
  void Add(const double *x, const double *weights);

  // Copies sum s into the first n rows and columns of `out`: the whole symmetric block, or its lower triangle alone.
  void Store(std::int64_t s, Matrix out, bool whole);

 private:
  void Flush();
  Matrix Sum(std::int64_t s) const;

  int n_ = 0;
  int pending_ = 0;  // vectors collected and not yet added
  std::int64_t sums_ = 0;
  std::int64_t stride_ = 0;  // n padded; the cells beyond n hold zeros
  OwnedBlock<double> sum_;   // sums x stride x stride, lower triangles
  OwnedBlock<double> block_;
  OwnedBlock<double> scaled_;
  OwnedBlock<double> weights_;
};

// Adds g g', with g of the length that `sum` was made for.
inline void AddOuterProduct(CrossProducts &sum, const double *g) {
  const double one = 1.0;
  sum.Add(g, &one);
}

}  // namespace tessel
