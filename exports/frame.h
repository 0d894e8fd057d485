// The words of an export's frame: reading arguments, allocating outputs, storing the result.
//
// Only the doors (exports.cpp of each subsystem) include this header. An export follows one order:
//   1. Return...(rtn, default), where a default is stored before the checks
//   2. CheckTypes for each run of arguments of one tag, in argument order
//   3. MatrixAt, VectorAt, IntegerAt, DoubleAt, TextAt
//   4. the tests of sizes; a failed one returns at once, with nothing allocated
//   5. OutputAt and OptionalOutputAt, in argument order; MatrixResult
//   6. the worker
//   7. Return...(rtn, result)
#pragma once

#include <morv/morv.h>

#include <cstdint>

#include "core/row_matrix.h"

namespace tessel {

// A matrix argument or output: `cells` without copying, and its sizes (never negative).
struct MatrixView {
  RowMatrix cells = nullptr;
  int rows = 0;
  int columns = 0;

  bool Empty() const { return rows < 1 || columns < 1; }
  bool Is(int r, int c) const { return rows == r && columns == c; }
  std::int64_t Length() const { return static_cast<std::int64_t>(rows) * columns; }
  // All cells as one row-major vector; null when there are none.
  double *Flat() const { return Empty() || cells == nullptr ? nullptr : cells[0]; }
};

// An allocated output. `wanted` is false for an optional output that was declined, `failed` is true when memory failed;
// in both cases there are no cells.
struct OutputView : MatrixView {
  bool wanted = false;
  bool failed = false;
};

// Each argument from first to last reads as `tag` afterwards; otherwise the call ends.
inline void CheckTypes(int tag, MorvValue *args, int first, int last) { MorvLibCheckType(tag, args, first, last); }

MatrixView MatrixAt(MorvValue *args, int position);
inline int IntegerAt(MorvValue *args, int position) { return args[position].value.integer; }
inline double DoubleAt(MorvValue *args, int position) { return args[position].value.number; }
inline const char *TextAt(MorvValue *args, int position) { return MorvValGetString(args + position); }
inline bool HasTag(const MorvValue *record, int tag) { return (record->type & MORV_TAG_MASK) == tag; }

// A required output (its tag has been checked) becomes a rows x columns matrix.
OutputView OutputAt(MorvValue *args, int position, int rows, int columns);

// The same for an output that the caller may decline by passing anything but an output reference.
OutputView OptionalOutputAt(MorvValue *args, int position, int rows, int columns);

// `rtn` becomes a rows x columns matrix.
OutputView MatrixResult(MorvValue *rtn, int rows, int columns);

// Results with their tag.
void ReturnDouble(MorvValue *rtn, double value);
void ReturnInteger(MorvValue *rtn, int value);

// Stores the integer alone and relies on `rtn` being an integer record, as it is on entry.
inline void ReturnIntegerField(MorvValue *rtn, int value) { rtn->value.integer = value; }

}  // namespace tessel
