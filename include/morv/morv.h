/* The Morv runtime's C interface: the value record that crosses between a host program and a library of functions, and
 * the 11 functions that such a library calls.
 *
 * Every argument and every result is one MorvValue of 40 bytes, and an argument list is a contiguous array of them.
 * Argument ranges count from 0 and include both ends. An argument that a check refuses ends the call: the function does
 * not return to its caller (it leaves by unwinding), and the host side of the runtime reports the error. */
#ifndef MORV_MORV_H
#define MORV_MORV_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define MORV_API
#else
#define MORV_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Tags. A record's tag is `type` AND MORV_TAG_MASK. */
enum {
  MORV_INTEGER = 1, /* value.integer */
  MORV_DOUBLE = 2,  /* value.number */
  MORV_MATRIX = 3,  /* value.shape; data is a table of row pointers over one gap-free row-major block of doubles */
  MORV_STRING = 4,  /* data is a text that ends in a zero byte */
  MORV_ARRAY = 5,   /* data is the first of the array's records; an output argument is an array of its one target */
  MORV_TAG_MASK = 15
};

typedef struct MorvShape {
  int32_t rows;
  int32_t columns;
} MorvShape;

typedef struct MorvValue {
  int32_t type;
  int32_t reserved;
  union {
    int32_t integer;
    double number;
    MorvShape shape;
  } value;
  void *data;
  uint64_t opaque[2]; /* the runtime's own; copied when a whole record is moved */
} MorvValue;

/* The shape of every function that a host can call. `rtn` arrives as a valid integer record. */
typedef void (*MorvFunction)(MorvValue *rtn, MorvValue *args, int count);

/* On return each argument from first to last reads as `tag`. Otherwise the call ends here. An integer becomes a double
 * where a double is asked for, and a double that holds a whole number becomes an integer. */
MORV_API void MorvLibCheckType(int tag, MorvValue *args, int first, int last);

/* On return each argument from first to last is a matrix of that shape. Otherwise the call ends here. */
MORV_API void MorvLibCheckMatrixSize(MorvValue *args, int first, int last, int rows, int columns);

/* Reports an argument as invalid and ends the call; 1 names position 0. */
MORV_API void MorvLibArgError(int argument);

/* The record becomes a new matrix; a function relies on nothing in its cells, but they are missing values (the first
 * 2^24 of them), so that a cell that it leaves unset never shows old memory. Either size may be 0. What the record held
 * is released. `data` is null when memory fails. */
MORV_API void MorvLibValMatMalloc(MorvValue *record, int rows, int columns);

/* As MorvLibValMatMalloc, holding a copy of the source. */
MORV_API void MorvLibValMatDup(MorvValue *record, double **source, int rows, int columns);

/* The record becomes an array of `count` integer records of value 0. Ends the call when memory fails. */
MORV_API void MorvLibValArrayCalloc(MorvValue *record, int count);

/* An array's element. An index outside the array ends the call. */
MORV_API MorvValue *MorvValGetArrayVal(MorvValue *record, int index);

/* A string's text, valid as long as the record holds it. A record that is no string ends the call. */
MORV_API const char *MorvValGetString(MorvValue *record);

/* The record becomes a string holding a copy of `text`. Ends the call when memory fails. */
MORV_API void MorvValSetString(MorvValue *record, const char *text);

/* The record becomes an integer. */
MORV_API void MorvValSetInt(MorvValue *record, int value);

/* Releases what the record holds; the record itself is then undefined. */
MORV_API void MorvFreeByValue(MorvValue *record);

#ifdef __cplusplus
}

static_assert(sizeof(MorvValue) == 40 && offsetof(MorvValue, value) == 8 && offsetof(MorvValue, data) == 16 &&
                  offsetof(MorvValue, opaque) == 24,
              "the record's layout is fixed");
#endif

#endif
