// Matrix products in cache-sized tiles.
//
// The operands are copied tile by tile into the panels that the micro-kernel runs along. After Goto and van de Geijn,
// "Anatomy of high-performance matrix multiplication", ACM TOMS 34 (2008); Van Zee and van de Geijn, "BLIS: A framework
// for rapidly instantiating BLAS functionality", ACM TOMS 41 (2015).
#pragma once

#include "linalg/kernel.h"

namespace tessel {

// out = op(A) op(B), where op transposes the operand that `which` names. No size is 0. `symmetric` promises that the
// result is symmetric: only its lower triangle is computed, and mirrored.
struct Product {
  const Matrix &out;
  const ConstMatrix &a, &b;
  Transposed which;
  bool symmetric;

  int Inner() const { return which == Transposed::A ? a.rows : a.columns; }
};

// The sizes of a tile of the result and of the inner tiles.
struct TilePlan {
  int rows, columns, inner;
};

// From these sizes on a product is tiled: K x N with B given transposed and not, and M x K with A given transposed.
inline constexpr int kTileBudget = 12288;  // doubles in a packed tile of 96 kB
inline constexpr int kTileFrom = 128;
inline constexpr int kTileFromTransposed = 196;
inline constexpr int kTileSide = 96;

TilePlan PlanTiles(const Product &p);

// False, with `out` unchanged, when work memory cannot be had.
bool TiledProduct(const Product &p);

}  // namespace tessel
