// The arithmetic cores of the kernel, one set for each vector width.
//
// The framework around them (shapes, tiles, packing, factorisations) knows nothing of vector widths. The set is chosen
// once, at the first use, for the machine at hand. `dot` and `lanes` give the same bits in every set; `block` adds in
// an order of its own and may fuse.
#pragma once

#include <span>

namespace tessel {

inline constexpr int kLaneRows = 8;          // rows that `lanes` takes at once
inline constexpr int kMaxBlockRows = 8;      // bounds on the register block of every set
inline constexpr int kMaxBlockColumns = 16;  //

struct MicroKernel {
  const char *name;
  bool (*supported)();

  // The inner product for n above 4, in DotProduct's order.
  double (*dot)(const double *x, const double *y, int n);

  // DotProduct's four partial sums for eight rows x[r] against one y: sums[p][r] is the sum of x[r][k] y[k] over the
  // k = p, p + 4, p + 8, ... below n, in that order. n is a multiple of 4.
  void (*lanes)(const double *const *x, const double *y, int n, double (*sums)[kLaneRows]);

  // The register block: c[i][j] = (or, with `add`, +=) the sum over k below depth of a[i][k aStep] b[k blockColumns +
  // j], for i below blockRows and j below blockColumns. An aStep of 1 reads rows, one of blockRows an interleaved
  // panel.
  void (*block)(const double *const *a, int aStep, const double *b, int depth, double *const *c, bool add);
  int blockRows;
  int blockColumns;
};

// All sets, from the narrowest to the widest.
std::span<const MicroKernel> MicroKernels();

// The current set.
const MicroKernel &CurrentMicroKernel();

// Test hook: makes a set that the machine supports current; null goes back to the machine's own.
void ForceMicroKernel(const MicroKernel *kernel);

}  // namespace tessel
