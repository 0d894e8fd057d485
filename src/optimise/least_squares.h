// Non-linear least squares by the Levenberg-Marquardt method on exact Jacobians.
//
//   minimise f'f over theta, l <= theta <= u, for residuals f (T) with the Jacobian J (T x P)
//
// Steps solve |f + J s| within |D s| <= radius, by QR decompositions of J, never J'J (trust_region.h); D holds the
// largest length that each column of J has had, so that no unit of a parameter matters. The radius follows the ratio of
// the actual to the predicted fall of the sum of squares. A trial point without residuals counts as a bad step.
// Parameters held at bounds leave J (free_parameters.h); steps of the others end at their bounds. (More, J.J. (1978),
// The Levenberg-Marquardt algorithm: implementation and theory, Lecture Notes in Mathematics 630.)
//
// Where it ends (Convergence::reason):
//   Decrement      |J+ f|^2 / s^2 <= tolerance, with J+ f the projection of f on the free columns of J and
//                  s^2 = f'f / max(T - P, 1): the Gauss-Newton step is below sqrt(tolerance) standard errors (the
//                  relative offset of Bates, D.M. and Watts, D.G. (1981), A relative offset orthogonality convergence
//                  criterion for nonlinear least squares, Technometrics 23, 179-183)
//   PerfectFit     |f| <= 4 epsilon sum of |theta_j| |J_j|: what rounding of the parameters changes
//   RoundingLimit  predicted falls below 1e-13 f'f no longer reduce the decrement, which is at most 1e-8
// or without convergence: Iterations, Evaluations, Stopped, StartNotFinite, DerivativeNotFinite, and NoProgress, when
// steps shrink below rounding with the decrement still large. Where a fall is too small to be seen in f'f, a step is
// taken if it reduces the decrement, so that estimates keep all the digits that the gradient has.
#pragma once

#include <span>

#include "optimise/convergence.h"
#include "optimise/problem.h"

namespace tessel {

struct LeastSquaresFit {
  Convergence convergence;  // objective: the residual sum of squares
  OwnedMatrix residuals;    // 1 x T, at the estimate
  OwnedMatrix jacobian;     // T x P, at the estimate
};

// Starts at `theta` (P cells) and leaves the best point there. Ok whenever the fit ran, converged or not:
// fit->convergence tells. Otherwise theta is unchanged, or holds the best point when a later evaluation failed:
//   Invalid   a space that does not fit (EnterSpace), no residual, sizes below 0
//   NoMemory  work memory of T P + O(P^2 + T) doubles could not be had
//   any other status that the problem's function returned
// A parameter is marked kUnidentified when it takes part in a direction along which the scaled Jacobian is zero within
// 1e-12 (identification.h).
Status FitLeastSquares(const LeastSquaresProblem &problem, const OptimiseOptions &options, std::span<double> theta,
                       LeastSquaresFit *fit);

}  // namespace tessel
