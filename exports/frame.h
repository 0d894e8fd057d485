// The words of an export's frame: reading arguments, allocating outputs, storing the result.
//
// Only the files of this folder and their test include this header. An export goes through these steps in this order:
//   1. Return...(rtn, default), where a default is stored before the checks
//   2. CheckTypes for each run of arguments of one tag, in argument order
//   3. MatrixAt, OptionalMatrixAt, IntegerAt, DoubleAt, TextAt
//   4. the tests of sizes; a failed one returns at once, with nothing allocated
//   5. OutputAt and OptionalOutputAt, in argument order; MatrixResult
//   6. the worker
//   7. Return...(rtn, result)
// An output is allocated behind the worker where only the worker knows its size (FnComfac, output 9 of FnEncompassing),
// or where it must stay as it was when the worker fails (FnInstabilityTest; rtn of FnDynForc, FnImpulse and
// FnJackknifeHCSE). FnGarchVar and FnEgarchVar keep their outputs' old values by giving the worker matrices of their
// own. FnFracSigma refuses its first argument behind step 5. The exports of the workspace (algebra.cpp) take steps 1 to
// 3 and then work on the workspace.
#pragma once

#include <morv/morv.h>

#include <cstdint>

#include "core/matrix.h"

namespace tessel {

// An output: its cells, and whether there are any. `wanted` is false for an optional output that was declined, `failed`
// is true when memory failed; in both cases there are no cells.
struct Output : Matrix {
  bool wanted = false;
  bool failed = false;
};

// Each argument from first to last reads as `tag` afterwards; otherwise the call ends.
inline void CheckTypes(int tag, MorvValue *args, int first, int last) { MorvLibCheckType(tag, args, first, last); }

// A matrix argument, without copying. Its cells are null when there are none; a size below 0 reads as 0.
ConstMatrix MatrixAt(MorvValue *args, int position);

// The same for an argument that the export changes (Z of FnLogitJD).
Matrix ChangedMatrixAt(MorvValue *args, int position);

// The same for a matrix that anything else may stand for; then it is empty.
ConstMatrix OptionalMatrixAt(MorvValue *args, int position);

inline int IntegerAt(MorvValue *args, int position) { return args[position].value.integer; }
inline double DoubleAt(MorvValue *args, int position) { return args[position].value.number; }
inline const char *TextAt(MorvValue *args, int position) { return MorvValGetString(args + position); }
inline bool HasTag(const MorvValue *record, int tag) { return (record->type & MORV_TAG_MASK) == tag; }

// The record that an output argument stands for; null when there is none.
inline MorvValue *TargetAt(MorvValue *args, int position) { return static_cast<MorvValue *>(args[position].data); }

// A required output (its tag has been checked) becomes a rows x columns matrix: Output e = OutputAt(args, 7, n, 1).
Output OutputAt(MorvValue *args, int position, int rows, int columns);

// The same for an output that the caller may decline by passing anything but an output reference.
Output OptionalOutputAt(MorvValue *args, int position, int rows, int columns);

// `rtn` becomes a rows x columns matrix.
Output MatrixResult(MorvValue *rtn, int rows, int columns);

// `rtn` becomes a copy of a matrix argument.
Output CopyResult(MorvValue *rtn, MorvValue *args, int position);

// Results with their tag.
void ReturnDouble(MorvValue *rtn, double value);
void ReturnInteger(MorvValue *rtn, int value);

// Stores the integer alone and relies on `rtn` being an integer record, as it is on entry.
inline void ReturnIntegerField(MorvValue *rtn, int value) { rtn->value.integer = value; }

}  // namespace tessel
