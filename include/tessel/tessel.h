/* The exported functions of libtessel13_morv_64, one comment each.
 *
 * Every function has the shape of MorvFunction: results go to `rtn` and to output arguments, arguments are read at
 * fixed positions and `count` is not looked at, so a caller passes exactly the number of arguments that is given here.
 * Argument lists below read: position, kind, name, shape. An output is an array record (an "output reference"); an
 * optional output is declined by passing anything else. Sizes that a function cannot use end it without a message, as
 * told for each. */
#ifndef TESSEL_TESSEL_H
#define TESSEL_TESSEL_H

#include <morv/morv.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Removes seasonal means from each column of a matrix.
 *   0 matrix  x  T x m, each column a series
 *   1 integer p  the number of seasons, at least 2
 * rtn: T x m, each cell less the mean of its column's cells of the same season (rows s, s + p, s + 2p, ...).
 * A missing value makes its season missing in that column. rtn is untouched when T or m is below 1 or p below 2. */
MORV_API void FnDeSeasonalize(MorvValue *rtn, MorvValue *args, int count);

#ifdef __cplusplus
}
#endif

#endif
