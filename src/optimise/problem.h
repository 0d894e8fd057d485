// What is optimised: a function with exact derivatives, a space for its parameters, and limits.
//
// A problem is a function pointer and the owner that the function gets back. It is called from the thread that runs the
// fit, never after the fit has returned. Every failing Status that it returns ends the fit at once and becomes the
// fit's; a point at which the model does not exist is no failure: it has the value missing, or an infinite one.
#pragma once

#include <span>

#include "core/matrix.h"
#include "core/missing.h"
#include "core/status.h"

namespace tessel {

// What an evaluation of an Objective asks for and receives.
struct Evaluation {
  double value = MissingValue();  // missing or infinite: the point is infeasible, and derivatives need not be set
  std::span<double> gradient;     // the score, P cells; empty when not wanted
  Matrix information;             // P x P, of which the lower triangle is read; no matrix when not wanted
};

// The matrices that an objective can give along with its gradient.
enum class Information {
  None,         // none: it is never asked for
  Approximate,  // close to minus the Hessian near the maximum: expected information, outer product of scores
  Exact         // minus the Hessian
};

// A function to be maximised, usually a log-likelihood.
struct Objective {
  Status (*evaluate)(void *owner, std::span<const double> theta, Evaluation *out) = nullptr;
  void *owner = nullptr;
  Information information = Information::None;
};

// Residuals f(theta) (T cells) whose sum of squares is minimised, and their Jacobian (T x P, row t the derivatives of
// residual t). A Jacobian without cells is not wanted; the residuals always are. A point is infeasible when a residual
// is missing or infinite, or their squares overflow, and the Jacobian need not be set there.
struct LeastSquaresProblem {
  int observations = 0;
  Status (*evaluate)(void *owner, std::span<const double> theta, std::span<double> residuals,
                     Matrix jacobian) = nullptr;
  void *owner = nullptr;
};

// Which parameters may move, and where. An empty span means none of the kind; otherwise each has one cell a parameter.
struct ParameterSpace {
  std::span<const double> lower, upper;  // a missing or infinite bound is none
  std::span<const unsigned char> fixed;  // other than 0: the parameter stays at its start
  std::span<const double> scale;         // typical sizes, above 0, for BFGS without an information matrix; where
                                         // there is none, the size of the starting value, or 1
};

// What a caller hears after each iteration.
struct Progress {
  int iteration = 0;
  int evaluations = 0;
  double objective = 0.0;
  double decrement = 0.0;
  std::span<const double> theta;
};

struct OptimiseOptions {
  ParameterSpace space;
  // A fit has converged when the decrement g' I^-1 g is at most `tolerance`: the estimate then lies within
  // sqrt(tolerance) standard errors of the optimum, by the quadratic model. 0 or less: the method's own (1e-16 for
  // likelihoods, 1e-20 for least squares).
  double tolerance = 0.0;
  // Newton's method: the information matrix by differences of gradients, though the objective offers an approximation.
  bool differences = false;
  int maxIterations = 1000;
  int maxEvaluations = 1000000;
  // Called at the start and after each iteration; false ends the fit with StopReason::Stopped.
  bool (*progress)(void *owner, const Progress &progress) = nullptr;
  void *owner = nullptr;
};

}  // namespace tessel
