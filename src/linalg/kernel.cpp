// The kernel table's entries.
#include "linalg/kernel.h"

#include "linalg/lu.h"
#include "linalg/products.h"
#include "linalg/qr.h"
#include "linalg/symmetric.h"

namespace tessel {

constinit const KernelTable kernelTable = {
    .factorise = KernelCholesky,
    .invertSpd = KernelInvertSpd,
    .invertGeneral = KernelInvertGeneral,
    .multiply = KernelMultiply,
    .tolerance = 2.220446049250313e-13,
    .qrPivot = KernelQrPivot,
};

}  // namespace tessel
