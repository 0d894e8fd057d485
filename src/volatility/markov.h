// Filter and smoother of a Markov chain of n hidden regimes, for given densities of the observations.
//
// P is column-stochastic: P[i][j] is the probability of regime i at t+1 given regime j at t. Times t run from 0 to T-1.
//
// Hamilton, J.D. (1989), A new approach to the economic analysis of nonstationary time series and the business cycle,
// Econometrica 57, 357-384.
// Kim, C.-J. (1994), Dynamic linear models with Markov-switching, Journal of Econometrics 60, 1-22.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/status.h"

namespace tessel {

// The forward filter. With F[t][j] the density of observation t given regime j, and the prior pi_0,
//   L_t     = sum over j of pi_t(j) F[t][j]
//   f_t(j)  = pi_t(j) F[t][j] / L_t
//   pi_(t+1)(i) = sum over j of P[i][j] f_t(j)
// density: F, T x n. transition: P, n x n. prior: pi_0, n, of the regime at time 0. likelihood: T, receives L_t, of
// observation t given the past. filtered: T x n, receives f_t, of the regime at t given the observations up to t; or no
// matrix. A negative pi_t(j) F[t][j] counts as 0. An L_t of 0 leaves probabilities that are not numbers from there on.
// NoMemory, which two to four regimes never meet: nothing is filled.
Status MarkovFilter(ConstMatrix density, ConstMatrix transition, std::span<const double> prior,
                    std::span<double> likelihood, Matrix filtered);

// The backward smoother. With pi_(t+1) the prediction of the filter, as above, and s_(T-1) = f_(T-1), for t from T-2
// down to 0
//   ratio_(t+1)(i) = s_(t+1)(i) / pi_(t+1)(i),   s_(t+1)(i) 1e100 where pi_(t+1)(i) is at or below 1e-100
//   s_t(j)         = f_t(j) sum over i of ratio_(t+1)(i) P[i][j]
//   M[i][j]        = sum over t of ratio_(t+1)(i) P[i][j] f_t(j)
// An s_t(j) at or below 1e-100 becomes 0 and one above 1 becomes 1; the rows are not scaled to add up to 1 again.
// filtered: f, T x n, T at least 1. transition: P, n x n. smoothed: T x n, receives s_t, of the regime at t given all
// observations. moves: n x n, receives M, the expected numbers of moves from regime j to regime i. NoMemory, which two
// to four regimes never meet: nothing is filled.
Status MarkovSmoother(ConstMatrix filtered, ConstMatrix transition, Matrix smoothed, Matrix moves);

}  // namespace tessel
