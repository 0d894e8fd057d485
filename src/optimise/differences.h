// Information matrices by differences of exact gradients.
#pragma once

#include <span>

#include "optimise/convergence.h"
#include "optimise/problem.h"

namespace tessel {

// A point where the objective and its gradient are finite.
struct DifferencePoint {
  std::span<const double> theta;
  std::span<const double> gradient;
  std::span<const double> spread;  // 1/sqrt of each parameter's information, as far as it is known; any other value
                                   // where it is not
  std::span<const int> free;       // ascending; the rows and columns of all others become zero
};

// information = minus the Hessian, symmetric, by central differences:
//
//   column j = -(g(theta + h e_j) - g(theta - h e_j)) / 2h,   h = 1e-4 / sqrt(I_jj)
//
// A log-likelihood varies on the scale of a standard error or a wider one, so that truncation, of the order (h / L)^2
// for its length scale L, and rounding, epsilon L / h, leave about nine digits whatever the parameter's unit. The first
// h comes from `spread`, or from the size of the parameter; a column whose own I_jj asks for one 30 times larger or
// smaller is made again. h lies between 1e-9 and 1e-3 |theta_j|: below, rounding of theta_j would show, and where the
// data hardly tell a parameter, its standard error may be wider than the length scale. Where a bound or the absence of
// a value stands in the way, the three points theta, theta + h, theta + 2h on the other side serve, with the same
// order.
//
// `work` is 3 x P cells. NotFinite when a column cannot be had on either side; else Ok, or what the objective returned.
// Takes two gradients a free parameter, added to `counts`.
Status DifferenceInformation(const Objective &objective, const ParameterSpace &space, const DifferencePoint &at,
                             Matrix work, Matrix information, EvaluationCounts *counts);

}  // namespace tessel
