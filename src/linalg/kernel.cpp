// The kernel table's entries.
#include "linalg/kernel.h"

#include "linalg/householder.h"
#include "linalg/lu.h"
#include "linalg/products.h"
#include "linalg/symmetric.h"

namespace tessel {

constinit const KernelTable kernelTable = {
    .factorise = KernelCholesky,
    .invertSpd = KernelInvertSpd,
    .invertGeneral = KernelInvertGeneral,
    .multiply = KernelMultiply,
    .tolerance = MatTolerance(),
    .qrPivot = KernelQrPivot,
};

}  // namespace tessel
