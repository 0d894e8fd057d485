// Products of a vector with itself and with earlier ones.
#include "linalg/lagged_products.h"

#include <cstring>

#include "linalg/four.h"
#include "linalg/micro_kernel.h"

namespace tessel {

namespace {

// Neighbouring cells of a row.
using Pair [[gnu::vector_size(16)]] = double;

template <class Vector>
[[gnu::always_inline]] inline void Load(const double *cells, Vector *v) {
  std::memcpy(v, cells, sizeof *v);
}

template <class Vector>
[[gnu::always_inline]] inline void Store(double *cells, const Vector &v) {
  std::memcpy(cells, &v, sizeof v);
}

constexpr int kTileRows = 2;

// A tile's sums stay in registers over all lags.
template <class Vector>
[[gnu::always_inline]] inline void AddBody(const LaggedVectors &vectors, Matrix sums) {
  constexpr int width = sizeof(Vector) / sizeof(double);
  const double *g = vectors.past[0];
  for (int p = 0; p < sums.rows; p += kTileRows)
    for (int q = 0; q < p + kTileRows; q += width) {
      double *upperCells = sums[p] + q, *lowerCells = sums[p + 1] + q;
      Vector gq, rq, upper, lower;
      Load(g + q, &gq);
      Load(upperCells, &upper);
      Load(lowerCells, &lower);
      upper += g[p] * gq;
      lower += g[p + 1] * gq;
      for (int l = 1; l <= vectors.lags; ++l) {
        const double *r = vectors.past[l];
        Load(r + q, &rq);
        upper += vectors.weight[l] * (g[p] * rq + gq * r[p]);
        lower += vectors.weight[l] * (g[p + 1] * rq + gq * r[p + 1]);
      }
      Store(upperCells, upper);
      Store(lowerCells, lower);
    }
}

using AddFunction = void (*)(const LaggedVectors &, Matrix);

void AddBaseline(const LaggedVectors &vectors, Matrix sums) { AddBody<Pair>(vectors, sums); }

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AddAvx2(const LaggedVectors &vectors, Matrix sums) { AddBody<Four>(vectors, sums); }
#endif

// Both forms give the same bits: neither fuses a product with its sum.
AddFunction MachineAdd() {
#if defined(__x86_64__)
  if (&CurrentMicroKernel() != &MicroKernels().front()) return AddAvx2;  // the wider sets all have AVX2
#endif
  return AddBaseline;
}

}  // namespace

void AddLaggedProducts(const LaggedVectors &vectors, Matrix sums) { MachineAdd()(vectors, sums); }

}  // namespace tessel
