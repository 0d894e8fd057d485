// Seasonal means of a matrix of series.
#pragma once

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// Subtracts from each cell of column j in row t the mean of that column's cells in the rows t mod seasons,
// t mod seasons + seasons, ... x: a series a column, in place; `seasons` at least 1. NoMemory leaves x unchanged.
Status DeSeasonalize(Matrix x, int seasons);

}  // namespace tessel
