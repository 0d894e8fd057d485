// The inner product used throughout the kernel.
#pragma once

#include <span>

#include "core/matrix.h"

namespace tessel {

// The inner product of n doubles; 0 for n below 1. x and y may be the same pointer.
//
// The order of the additions is part of the result and the same on every machine. n up to 4: from the first product to
// the last. Larger n: four partial sums s0..s3, one for each position modulo 4, over the first n rounded down to a
// multiple of 4 elements; the remaining products are added to s0; the result is ((s2 + s1) + s3) + s0. Nothing is
// fused.
double DotProduct(const double *x, const double *y, int n);

// out[r] = DotProduct(rows[r], y, rows.columns) for every row, to the bit; several times faster than one by one. `out`
// may lie in a row, outside the cells that are read.
void DotProducts(const ConstMatrix &rows, const double *y, double *out);

// The same for rows of n doubles that need not belong to one matrix.
void DotProducts(std::span<const double *const> rows, const double *y, int n, double *out);

}  // namespace tessel
