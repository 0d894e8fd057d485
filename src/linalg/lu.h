// The inverse of a general square matrix.
#pragma once

#include "host/row_matrix.h"

namespace tessel {

int KernelInvertGeneral(RowMatrix a, int n, double *logDet, int *signCode);

}  // namespace tessel
