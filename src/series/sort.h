// Sorting of columns: ascending, missing values first, other columns carried along.
//
// An introspective sort (Musser 1997, Software: Practice and Experience 27): quicksort with the median of three as
// pivot, and a heapsort with three children per node for what is left after 32 levels of partitioning. So the work is
// of order n log n for any input. Every exchange is applied to the companion as well. The sort is not stable: equal
// keys, and -0 and 0 among them, end in an order that depends on the whole column.
#pragma once

namespace tessel {

// Sorts n cells of `key` and applies the same permutation to each of the `count` columns in `others`, passing over a
// column that is `key` itself. n when work was done; 0, with nothing moved, when there is no cell or every cell of
// `key` is missing; -1, with nothing moved, when memory for two columns cannot be had.
int SortColumns(int n, double *key, double *const *others, int count);

// Sorts n cells of `key` and moves the cells of `companion`, which may be null, in step. n, or 0 when there is no cell
// or every cell is missing.
int SortWithCompanion(double *key, int n, double *companion);

}  // namespace tessel
