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

/* ---- Algebra workspace. One workspace exists at a time, from FnInitAlgebraNls to FnExitAlgebraNls. Observations count
 * from 0. The language's manual is docs/algebra.md. */

/* Opens a workspace: copies the data into a new database and compiles a program, which does not run yet.
 *   0 matrix  data       T x k, row t observation t, column i variable i
 *   1 array   names      k strings
 *   2 integer year       of the first observation
 *   3 integer period     of the first observation
 *   4 integer frequency  periods in a year, at least 1
 *   5 integer dated      not 0: variable 0 holds the observations' dates (Julian day numbers); ignored when k is 0
 *   6 string  code       the program
 *   7 output  starts     p x 1: starting values of the parameters
 *   8 output  numbers    p x 1: the parameters' numbers, ascending
 * A program with parameters needs outputs at 7 and 8, one without needs anything else there.
 *
 * rtn: untouched on success. On failure a string, and no workspace is open: the scanner's or compiler's message,
 * "Algebra initialization error" (no memory, a frequency below 1, or a sample that cannot be counted),
 * "Algebra initialization error: cannot create database", "Error: Need starting values for all parameters",
 * "Error: No parameters to estimate", "Error: No parameters alllowed here". A workspace that was still open is
 * closed. */
MORV_API void FnInitAlgebraNls(MorvValue *rtn, MorvValue *args, int count);

/* Runs the program over a range of observations.
 *   0 matrix  parameters  as many cells as the program has parameters, in ascending order of number; 0 x 0 for none
 *   1 integer first       observation, inside the sample
 *   2 integer last        observation, inside the sample
 * rtn: untouched when the run succeeded; the string "Algebra run error" for a wrong count of parameters, a range
 * outside the sample or no workspace, with no run; an empty string when the run failed. */
MORV_API void FnRunAlgebraNls(MorvValue *rtn, MorvValue *args, int count);

/* Reads a variable.
 *   0 string  name
 *   1 integer first      observation, not negative
 *   2 integer last       observation; lowered to the last one of the sample
 *   3 matrix  selection  1 x T or T x 1 flags; anything else takes all of the range
 * With a selection only the observations are taken whose flag, truncated to an integer, is not 0.
 *
 * rtn: n x 1; untouched for an unknown name, a negative first observation or no workspace. */
MORV_API void FnGetAlgebraVar(MorvValue *rtn, MorvValue *args, int count);

/* The name of a variable.
 *   0 integer index  the host's variables come first, in order, then those that the program added
 * rtn: string, empty when there is no such variable. */
MORV_API void FnGetAlgebraName(MorvValue *rtn, MorvValue *args, int count);

/* The variables that the program added.
 *   0 output  data   T x a, a column for each
 *   1 output  names  array of a strings
 * rtn: untouched. */
MORV_API void FnGetAlgebraAddedData(MorvValue *rtn, MorvValue *args, int count);

/* Closes the workspace; does nothing when none is open. No arguments, no result. */
MORV_API void FnExitAlgebraNls(MorvValue *rtn, MorvValue *args, int count);

/* ---- Seasonal */

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
