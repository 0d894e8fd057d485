// Sorting of columns: ascending, missing values first, other columns carried along.
//
// An introspective sort: quicksort with the median of three as pivot, and a heapsort with three children per node for
// what is left after 32 levels of partitioning. So the work is of order n log n for any input. Every exchange is
// applied to the companion as well. The sort is not stable: equal keys, and -0 and 0 among them, end in an order that
// depends on the whole column.
//
// Literature: Musser, Introspective sorting and selection algorithms, Software: Practice and Experience 27 (1997),
// 983-993. Edelkamp and Weiss, BlockQuicksort: how branch mispredictions don't affect quicksort, European Symposium on
// Algorithms (2016), 38:1-38:16.
#pragma once

#include <span>

#include "core/status.h"

namespace tessel {

// Sorts `key` and applies the same permutation to each of the columns in `others`, which have as many cells. A column
// that is `key` itself is passed over. A key without any value moves nothing. NoMemory: nothing is moved; two columns
// of work memory are needed.
Status SortColumns(std::span<double> key, std::span<double *const> others);

// Sorts `key` and moves the cells of `companion`, which is as long or empty, in step. The length of the key; 0, with
// nothing moved, where it has no value.
int SortWithCompanion(std::span<double> key, std::span<double> companion = {});

}  // namespace tessel
