// The export frame over the runtime's functions.
#include "frame.h"

#include <algorithm>

namespace tessel {

namespace {

// The cells of a record that holds a matrix: all rows are one block, which the first row pointer opens.
Matrix CellsOf(const MorvValue &record) {
  const auto *table = static_cast<double *const *>(record.data);
  if (table == nullptr) return {};
  const int rows = std::max(record.value.shape.rows, 0), columns = std::max(record.value.shape.columns, 0);
  return {rows > 0 && columns > 0 ? table[0] : nullptr, rows, columns};
}

Output OutputOf(const MorvValue &record) {
  const bool failed = record.data == nullptr;
  return {failed ? Matrix{} : CellsOf(record), true, failed};
}

Output NewMatrix(MorvValue *record, int rows, int columns) {
  MorvLibValMatMalloc(record, rows, columns);
  return OutputOf(*record);
}

}  // namespace

ConstMatrix MatrixAt(MorvValue *args, int position) { return CellsOf(args[position]); }
Matrix ChangedMatrixAt(MorvValue *args, int position) { return CellsOf(args[position]); }

ConstMatrix OptionalMatrixAt(MorvValue *args, int position) {
  return HasTag(args + position, MORV_MATRIX) ? MatrixAt(args, position) : ConstMatrix{};
}

Output OutputAt(MorvValue *args, int position, int rows, int columns) {
  MorvValue *target = TargetAt(args, position);
  return target == nullptr ? Output{{}, true, true} : NewMatrix(target, rows, columns);
}

Output OptionalOutputAt(MorvValue *args, int position, int rows, int columns) {
  return HasTag(args + position, MORV_ARRAY) ? OutputAt(args, position, rows, columns) : Output{};
}

Output MatrixResult(MorvValue *rtn, int rows, int columns) { return NewMatrix(rtn, rows, columns); }

Output CopyResult(MorvValue *rtn, MorvValue *args, int position) {
  const Matrix source = CellsOf(args[position]);
  MorvLibValMatDup(rtn, static_cast<double **>(args[position].data), source.rows, source.columns);
  return OutputOf(*rtn);
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
