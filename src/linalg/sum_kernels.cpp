// The inner loops of sums over observations.
#include "linalg/sum_kernels.h"

#include "core/simd.h"

namespace tessel {

namespace {

constexpr int kTileRows = 2;
constexpr int kWeightedColumns = 4;

[[gnu::always_inline]] inline void AddWeightedBody(const WeightedVectors &block, double *scaled, const Matrix &sums) {
  const std::int64_t stride = block.vectors.stride;
  const int count = block.vectors.rows;
  for (int v = 0; v < count; ++v) {
    const double weight = block.weights[v * block.weightStep];
    for (std::int64_t i = 0; i < stride; i += kWeightedColumns)
      At<Double4>(scaled + v * stride + i).v = weight * At<Double4>(block.vectors[v] + i).v;
  }
  for (int i = 0; i < sums.rows; i += kTileRows)
    for (int j = 0; j < i + kTileRows; j += kWeightedColumns) {
      double *upperCells = sums[i] + j, *lowerCells = sums[i + 1] + j;
      Double4 upper = At<Double4>(upperCells).v, lower = At<Double4>(lowerCells).v;
      const double *left = scaled + i, *right = block.vectors.cells + j;
      for (int v = 0; v < count; ++v, left += stride, right += stride) {
        upper += left[0] * At<Double4>(right).v;
        lower += left[1] * At<Double4>(right).v;
      }
      At<Double4>(upperCells).v = upper;
      At<Double4>(lowerCells).v = lower;
    }
}

// A tile's sums stay in registers over all lags.
template <class Vector>
[[gnu::always_inline]] inline void AddLaggedBody(const LaggedVectors &vectors, const Matrix &sums) {
  constexpr int width = sizeof(Vector) / sizeof(double);
  const double *g = vectors.past[0];
  for (int p = 0; p < sums.rows; p += kTileRows)
    for (int q = 0; q < p + kTileRows; q += width) {
      double *upperCells = sums[p] + q, *lowerCells = sums[p + 1] + q;
      const Vector gq = At<Vector>(g + q).v;
      Vector upper = At<Vector>(upperCells).v, lower = At<Vector>(lowerCells).v;
      upper += g[p] * gq;
      lower += g[p + 1] * gq;
      for (int l = 1; l <= vectors.lags; ++l) {
        const double *r = vectors.past[l];
        const Vector rq = At<Vector>(r + q).v;
        upper += vectors.weight[l] * (g[p] * rq + gq * r[p]);
        lower += vectors.weight[l] * (g[p + 1] * rq + gq * r[p + 1]);
      }
      At<Vector>(upperCells).v = upper;
      At<Vector>(lowerCells).v = lower;
    }
}

namespace baseline {

void AddWeighted(const WeightedVectors &block, double *scaled, const Matrix &sums) {
  AddWeightedBody(block, scaled, sums);
}
void AddLagged(const LaggedVectors &vectors, const Matrix &sums) { AddLaggedBody<Double2>(vectors, sums); }

}  // namespace baseline

#if defined(__x86_64__)
namespace avx2 {

[[gnu::target("avx2")]] void AddWeighted(const WeightedVectors &block, double *scaled, const Matrix &sums) {
  AddWeightedBody(block, scaled, sums);
}
[[gnu::target("avx2")]] void AddLagged(const LaggedVectors &vectors, const Matrix &sums) {
  AddLaggedBody<Double4>(vectors, sums);
}

}  // namespace avx2
#endif

}  // namespace

constinit const SumKernels kBaselineSumKernels = {baseline::AddWeighted, baseline::AddLagged};
#if defined(__x86_64__)
constinit const SumKernels kAvx2SumKernels = {avx2::AddWeighted, avx2::AddLagged};
#endif

}  // namespace tessel
