// Least squares by Householder reflections with row pivoting.
#pragma once

#include "host/row_matrix.h"

namespace tessel {

int KernelQrPivot(RowMatrix x, int k, int t, int *pivot, double *beta);

}  // namespace tessel
