// Filter and smoother of a Markov chain of hidden regimes, for given densities of the observations.
//
// P is column-stochastic: P[i][j] is the probability of regime i at t+1 given regime j at t.
//
// Hamilton, J.D. (1989), A new approach to the economic analysis of nonstationary time series, Econometrica 57.
// Kim, C.-J. (1994), Dynamic linear models with Markov-switching, Journal of Econometrics 60.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

// The forward filter. density: T x n, of observation t given regime j; prior: n, of the regime at time 0. likelihood:
// T, of observation t given the past; filtered: T x n, of the regime at t given the observations up to t, or null. A
// negative density counts as 0. An observation of likelihood 0 leaves probabilities that are not numbers from there on.
// Without work memory nothing is filled.
void MarkovFilter(RowMatrix density, RowMatrix transition, const double *prior, int observations, int regimes,
                  double *likelihood, RowMatrix filtered);

// The backward smoother. smoothed: T x n, of the regime at t given all observations; transitions: n x n, cell (i, j)
// the expected number of moves from regime j to regime i. T is at least 1. Smoothed probabilities at or below 1e-100
// become 0, and the rows are not scaled to add up to 1. Without work memory nothing is filled.
void MarkovSmoother(RowMatrix filtered, RowMatrix transition, int observations, int regimes, RowMatrix smoothed,
                    RowMatrix transitions);

}  // namespace tessel
