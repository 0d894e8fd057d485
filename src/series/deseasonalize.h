// Seasonal means of a matrix of series.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// Subtracts from each cell of column j in row t the mean of that column's cells in the rows t mod p, t mod p + p, ...
// x: rows x columns, in place. 1, or 0 with x unchanged when work memory cannot be had.
int DeSeasonalize(RowMatrix x, int rows, int columns, int seasons);

}  // namespace tessel
