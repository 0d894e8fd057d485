// Actual against predicted outcomes of a discrete choice model.
#pragma once

#include "core/matrix.h"

namespace tessel {

// Cell (r, c) of `table`, for r and c below J, becomes the number of cases with actual outcome r and predicted outcome
// c; column J holds row totals, row J column totals, and the last cell the grand total. The predicted outcome is the
// one of the largest fitted probability, the first of equals, and 0 where no probability is above 0.
//
// y: T x 1, the outcome, truncated to an integer from 0 to J - 1; or, with `counts`, at least J columns, the count of
// each outcome. probabilities: at least T rows of J columns. table: J + 1 x J + 1. With J = 0 nothing is read and the
// table is one zero.
//
// Totals add up whole cases: each cell is truncated to an integer first, and a total past the range of a 32-bit integer
// is the end of the range. A missing cell makes its totals missing.
void ActFitTable(ConstMatrix y, bool counts, ConstMatrix probabilities, Matrix table);

}  // namespace tessel
