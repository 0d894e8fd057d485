// The inner loops of sums over observations of products of two cells, compiled for each vector width and chosen with
// the MicroKernel.
//
// A sum is the lower triangle of a matrix, in tiles of two rows that stay in registers while terms are added. The terms
// of a cell are added in one order and no product is fused with its sum, so that every width gives the same bits.
#pragma once

#include <cstdint>

#include "linalg/lagged_products.h"

namespace tessel {

// Vectors, the rows of a matrix, and the weight of each, `weightStep` apart.
struct WeightedVectors {
  ConstMatrix vectors;
  const double *weights;
  std::int64_t weightStep;
};

struct SumKernels {
  // Cell (i, j) of the lower triangle gains the sum over the vectors v of weight_v v_i v_j, in the order of v. `scaled`
  // is work memory of the block's size. Sums and vectors are padded as for AddLaggedProducts.
  void (*addWeighted)(const WeightedVectors &block, double *scaled, const Matrix &sums);

  // AddLaggedProducts.
  void (*addLagged)(const LaggedVectors &vectors, const Matrix &sums);
};

extern const SumKernels kBaselineSumKernels;
extern const SumKernels kAvx2SumKernels;  // on x86-64 alone

}  // namespace tessel
