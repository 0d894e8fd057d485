// Products of a vector with itself and with earlier ones.
#include "linalg/lagged_products.h"

#include "linalg/micro_kernel.h"
#include "linalg/sum_kernels.h"

namespace tessel {

void AddLaggedProducts(const LaggedVectors &vectors, const Matrix &sums) {
  CurrentMicroKernel().sums->addLagged(vectors, sums);
}

}  // namespace tessel
