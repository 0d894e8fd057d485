// Covariance matrices of estimates from derivatives at the optimum.
//
// Matrices are scaled to a unit diagonal before they are inverted, so that the units of parameters do not matter. What
// the marks hold (kHeld: fixed, or at a bound) has no variance: its rows and columns are 0, and the others are those of
// the model without it. Where a direction is not identified (identification.h), the rows and columns of the parameters
// that take part in it are missing; those of all others are still right, and the result is Singular.
//
// Statuses beside Ok and Singular: NotPositive, an information matrix with a negative eigenvalue, so that the point is
// no maximum; NotFinite, an input cell that is missing or infinite; Invalid, sizes that do not fit; NoMemory. With
// these every cell of the output is missing.
#pragma once

#include <span>

#include "optimise/convergence.h"
#include "optimise/least_squares.h"

namespace tessel {

// covariance = I^-1. `information` (P x P, lower triangle read) may be the output as well. `flat`: kFlatExact, or
// kFlatDifferences for a matrix made by differences. Takes P^2 + 3 P doubles of work memory.
Status InverseInformation(ConstMatrix information, std::span<const ParameterMarks> marks, double flat,
                          Matrix covariance);

// inverse = (A'A)^-1 for A of T x P: the Jacobian of least squares, or the scores, whose outer product is an estimate
// of the information. By a QR decomposition of A: A'A, whose condition is the square of A's, is never formed. Takes 3
// P^2 + 72 P doubles of work memory.
Status InverseCrossProduct(ConstMatrix a, std::span<const ParameterMarks> marks, Matrix inverse);

// out = sum over t of w_t^2 a_t a_t' for the rows a_t of A (T x P) in their order; w null for ones.
void CrossProduct(ConstMatrix a, const double *w, Matrix out);

// covariance = B M B for symmetric B, the inverse of the information ("bread"), and M, the covariance of the total
// score
// ("meat"): the sum of the outer products of scores, or one that allows for dependence. (White, H. (1982), Maximum
// likelihood estimation of misspecified models, Econometrica 50, 1-25.) Singular, with every cell missing, when B has
// missing cells. Takes P^2 doubles of work memory.
Status Sandwich(ConstMatrix bread, ConstMatrix meat, Matrix covariance);

enum class LeastSquaresErrors {
  Classical,  // s^2 (J'J)^-1, s^2 = f'f / (T - k) for k parameters that are not held
  Robust      // (J'J)^-1 (sum of f_t^2 J_t'J_t) (J'J)^-1: White's HC0
};

// Of the estimates of a fit. Classical without degrees of freedom (T <= k): Invalid.
Status LeastSquaresCovariance(const LeastSquaresFit &fit, LeastSquaresErrors errors, Matrix covariance);

}  // namespace tessel
