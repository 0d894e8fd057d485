// The export frame over the runtime's functions.
#include "frame.h"

#include <algorithm>

namespace tessel {

namespace {

OutputView NewMatrix(MorvValue *record, int rows, int columns) {
  MorvLibValMatMalloc(record, rows, columns);
  OutputView output;
  output.wanted = true;
  output.cells = static_cast<RowMatrix>(record->data);
  output.failed = output.cells == nullptr;
  if (!output.failed) {
    output.rows = rows;
    output.columns = columns;
  }
  return output;
}

}  // namespace

MatrixView MatrixAt(MorvValue *args, int position) {
  const MorvValue &record = args[position];
  MatrixView view;
  view.cells = static_cast<RowMatrix>(record.data);
  if (view.cells != nullptr) {
    view.rows = std::max(record.value.shape.rows, 0);
    view.columns = std::max(record.value.shape.columns, 0);
  }
  return view;
}

MatrixView OptionalMatrixAt(MorvValue *args, int position) {
  return HasTag(args + position, MORV_MATRIX) ? MatrixAt(args, position) : MatrixView{};
}

OutputView OutputAt(MorvValue *args, int position, int rows, int columns) {
  MorvValue *target = TargetAt(args, position);
  if (target == nullptr) {
    OutputView failed;
    failed.wanted = failed.failed = true;
    return failed;
  }
  return NewMatrix(target, rows, columns);
}

OutputView OptionalOutputAt(MorvValue *args, int position, int rows, int columns) {
  return HasTag(args + position, MORV_ARRAY) ? OutputAt(args, position, rows, columns) : OutputView{};
}

OutputView MatrixResult(MorvValue *rtn, int rows, int columns) { return NewMatrix(rtn, rows, columns); }

Output CopyResult(MorvValue *rtn, MorvValue *args, int position) {
  const MatrixView source = MatrixAt(args, position);
  MorvLibValMatDup(rtn, source.cells, source.rows, source.columns);
  Output copy;
  copy.wanted = true;
  copy.failed = rtn->data == nullptr;
  if (!copy.failed) {
    const MatrixView cells = MatrixAt(rtn, 0);
    static_cast<Matrix &>(copy) = {cells.Flat(), cells.rows, cells.columns};
  }
  return copy;
}

void ReturnDouble(MorvValue *rtn, double value) {
  rtn->type = MORV_DOUBLE;
  rtn->value.number = value;
}

void ReturnInteger(MorvValue *rtn, int value) {
  rtn->type = MORV_INTEGER;
  rtn->value.integer = value;
}

}  // namespace tessel
