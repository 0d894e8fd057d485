// FnDeSeasonalize.
#include <tessel/tessel.h>

#include "frame.h"
#include "series/deseasonalize.h"

using namespace tessel;

void FnDeSeasonalize(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 1);
  const ConstMatrix x = MatrixAt(args, 0);
  const int seasons = IntegerAt(args, 1);
  if (x.Empty() || seasons < 2) return;

  // Without memory the result is a 0 x 0 matrix, not data that still hold their seasonal means.
  const Output centred = CopyResult(rtn, args, 0);
  if (centred.failed || Failed(DeSeasonalize(centred, seasons))) MatrixResult(rtn, 0, 0);
}
