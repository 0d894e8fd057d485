// Matrix products in cache-sized tiles.
//
// The operands are copied tile by tile into the panels that the micro-kernel runs along. After Goto and van de Geijn,
// "Anatomy of high-performance matrix multiplication", ACM TOMS 34 (2008); Van Zee and van de Geijn, "BLIS", ACM TOMS
// 41 (2015).
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// out (rows x columns) = op(A) op(B) with an inner size, where op transposes what is stored transposed: `a` is stored
// inner x rows with transA, else rows x inner; `b` columns x inner with transB, else inner x columns. All sizes are at
// least 1. `symmetric` promises that the result is symmetric: only its lower triangle is computed, and mirrored.
struct Product {
  RowMatrix out, a, b;
  int rows, columns, inner;
  bool transA, transB;
  bool symmetric;
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

// Copies the lower triangle of an n x n matrix to its upper one.
void MirrorLower(RowMatrix m, int n);

}  // namespace tessel
