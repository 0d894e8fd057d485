// Maximum likelihood: damped Newton steps, BFGS, and both in turn, on exact gradients and in a box.
//
//   maximise l(theta), lower <= theta <= upper, with the score g and the information I (minus the Hessian)
//
// Each step solves I d = g for the parameters that are free to move (free_parameters.h), and goes to theta + t d, cut
// at the bounds. The matrix is scaled to a unit diagonal first, so that no unit of a parameter matters. Where it is not
// positive definite, its eigenvalues are replaced by their sizes, at least 1e-8, so that d always leads upwards. The
// step length t starts at 1 and falls by quadratic interpolation until l has risen by 1e-4 of what the slope promises
// (Armijo's rule); a point where l is missing or infinite, or a derivative is, counts as a fall. Where rounding hides
// the rise of l, the slope at the new point decides (Hager, W.W. and Zhang, H. (2005), A new conjugate gradient method
// with guaranteed descent and an efficient line search, SIAM Journal on Optimization 16, 170-192). Box and free set
// after Bertsekas (1982); see also Nocedal, J. and Wright, S.J. (2006), Numerical Optimization, 2nd ed., chapters 3, 6.
//
// Where a fit ends (Convergence::reason):
//   Decrement      g'I^-1 g <= tolerance: by the quadratic model the estimate is within sqrt(tolerance) standard errors
//                  of the maximum, and its log-likelihood within tolerance / 2 of it
//   RoundingLimit  the decrement no longer falls, or no step raises l, with the decrement at most 1e-8
//   AtInfinity     as Decrement, but in the last step, although tiny in standard errors, a parameter grew by more than
//   a
//                  hundredth while its information fell: l rises for ever, as it does under separation
//   SaddlePoint    as Decrement, but I has a negative eigenvalue, and no step along its eigenvector raises l
// or without convergence: Iterations, Evaluations, Stopped, StartNotFinite, DerivativeNotFinite, NoProgress.
#pragma once

#include <span>

#include "optimise/convergence.h"
#include "optimise/problem.h"

namespace tessel {

struct Maximum {
  Convergence convergence;  // objective: the log-likelihood
  OwnedMatrix gradient;     // 1 x P, at the estimate
  OwnedMatrix information;  // P x P at the estimate, for Newton's method; of BFGS its approximation
};

// Each starts at `theta` (P cells) and leaves the best point there. Ok whenever the fit ran, converged or not:
// fit->convergence tells. Otherwise theta is unchanged, or holds the best point when a later evaluation failed:
//   Invalid   a space that does not fit (EnterSpace), no function
//   NoMemory  work memory of O(P^2) doubles could not be had; all of it is taken at the head, except that the
//             factorisation of more than 64 free parameters takes and releases scratch of its own
//   any other status that the objective's function returned

// Damped Newton steps with the objective's information matrix; with differences of its gradients (differences.h) when
// it has none, or `options.differences` asks for them, over the free parameters only. Sets smallestEigenvalue,
// condition and the kUnidentified marks. An approximate information matrix gives Fisher scoring, or the method of
// Berndt, Hall, Hall and Hausman; then SaddlePoint does not occur.
Status NewtonMaximise(const Objective &objective, const OptimiseOptions &options, std::span<double> theta,
                      Maximum *fit);

// BFGS: I is built from the changes of the gradient, which a line search with the weak Wolfe conditions keeps positive
// (Powell's correction where a bound prevents it). It starts from the objective's information matrix, if it has one
// that is positive definite, else from the sizes of the parameters (ParameterSpace::scale). The decrement is as good as
// the approximation is; the curvature of l is not known at the end, so that a maximum at infinity, a saddle point and
// parameters that are not identified do not show.
Status BfgsMaximise(const Objective &objective, const OptimiseOptions &options, std::span<double> theta, Maximum *fit);

// What fits use: Newton's method where the information is exact; elsewhere BFGS, and then Newton steps with differences
// of gradients, of which the first usually finds nothing left to do. The counts are those of both.
Status MaximiseLikelihood(const Objective &objective, const OptimiseOptions &options, std::span<double> theta,
                          Maximum *fit);

}  // namespace tessel
