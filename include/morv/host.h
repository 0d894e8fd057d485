/* The host side of the Morv runtime for programs in C: calls of a library's functions, with their errors as results.
 * morv/host.hpp is the same for C++.
 *
 *   double *rows[] = {cells, cells + 2, cells + 4};
 *   MorvValue args[] = {MorvMatrixValue(rows, 3, 2), MorvIntegerValue(4)};
 *   MorvValue result = MorvIntegerValue(0);
 *   char message[256];
 *   if (MorvCall("FnDeSeasonalize", FnDeSeasonalize, &result, args, 2, message, sizeof message) != MORV_RETURNED)
 *     fprintf(stderr, "%s\n", message);
 *   double **means = result.data;
 *   MorvFreeByValue(&result);
 *
 * A record owns what MorvLibValMatMalloc, MorvLibValMatDup, MorvLibValArrayCalloc, MorvValSetString or a call stored in
 * it, and MorvFreeByValue gives it back. The records that the makers below return own nothing. Any number of threads
 * may call at once, each on records of its own. */
#ifndef MORV_HOST_H
#define MORV_HOST_H

#include <morv/morv.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What became of a call. */
enum {
  MORV_RETURNED = 0,     /* the result holds what the function stored */
  MORV_UNTOUCHED = 1,    /* it ended without storing a result: success for some functions, unusable sizes for others */
  MORV_REFUSED = 2,      /* it refused an argument */
  MORV_OUT_OF_MEMORY = 3 /* the runtime had no memory for a result or an output */
};

/* Calls `function` and returns one of the values above. `message` gets one line, with the function's name and the
 * refused argument's number (from 1), cut to `size` bytes; it is empty for MORV_RETURNED. What `result` held is
 * released; after any other end than MORV_RETURNED it is an integer record without meaning. `args` are only read, and
 * positions from `count` on are absent: a function that needs one refuses it. The targets of outputs keep what they
 * hold unless the function writes them; a target may be an input of the same call. */
MORV_API int MorvCall(const char *name, MorvFunction function, MorvValue *result, const MorvValue *args, int count,
                      char *message, size_t size);

/* Makers of arguments. A matrix is borrowed: its row table and its cells (gap-free, row by row) stay the caller's. The
 * target of an output is a valid record, MorvIntegerValue(0) at first. An optional output is declined by
 * MorvIntegerValue(0) in its place. */
static inline MorvValue MorvIntegerValue(int value);
static inline MorvValue MorvDoubleValue(double value);
static inline MorvValue MorvMatrixValue(double **rowTable, int rows, int columns);
static inline MorvValue MorvOutputValue(MorvValue *target);

/* ---- The makers' bodies. opaque[1] of 1 marks a record that owns nothing; opaque[0] counts an array's elements. */

static inline MorvValue MorvRecordOf(int type) {
  MorvValue record;
  memset(&record, 0, sizeof record);
  record.type = type;
  return record;
}

static inline MorvValue MorvIntegerValue(int value) {
  MorvValue record = MorvRecordOf(MORV_INTEGER);
  record.value.integer = value;
  return record;
}

static inline MorvValue MorvDoubleValue(double value) {
  MorvValue record = MorvRecordOf(MORV_DOUBLE);
  record.value.number = value;
  return record;
}

static inline MorvValue MorvMatrixValue(double **rowTable, int rows, int columns) {
  MorvValue record = MorvRecordOf(MORV_MATRIX);
  record.value.shape.rows = rows;
  record.value.shape.columns = columns;
  record.data = rowTable;
  record.opaque[1] = 1;
  return record;
}

static inline MorvValue MorvOutputValue(MorvValue *target) {
  MorvValue record = MorvRecordOf(MORV_ARRAY);
  record.data = target;
  record.opaque[0] = 1;
  record.opaque[1] = 1;
  return record;
}

#ifdef __cplusplus
}
#endif

#endif
