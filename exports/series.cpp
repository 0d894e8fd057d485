// FnDeSeasonalize.
#include <tessel/tessel.h>

#include "frame.h"
#include "series/deseasonalize.h"

using namespace tessel;

void FnDeSeasonalize(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 1);
  const MatrixView x = MatrixAt(args, 0);
  const int seasons = IntegerAt(args, 1);
  if (x.Empty() || seasons < 2) return;

  // Both allocations precede the work, and without memory the result is a 0 x 0 matrix: never data that still holds its
  // seasonal means.
  MorvLibValMatDup(rtn, x.cells, x.rows, x.columns);
  if (rtn->data == nullptr || !DeSeasonalize(static_cast<RowMatrix>(rtn->data), x.rows, x.columns, seasons))
    MatrixResult(rtn, 0, 0);
}
