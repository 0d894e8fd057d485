// How an optimisation ended: one record for every method.
#pragma once

#include "core/heap.h"
#include "core/missing.h"
#include "core/status.h"

namespace tessel {

// Why an optimisation ended. Those up to RoundingLimit are convergence.
enum class StopReason : int {
  Decrement = 0,        // the estimate is within tolerance of the optimum, in standard errors
  PerfectFit,           // the residuals are zero but for rounding
  RoundingLimit,        // near the optimum, and rounding lets no step improve on the point
  Iterations,           // the limit of iterations was reached
  Evaluations,          // the limit of evaluations was reached
  Stopped,              // the caller's progress function asked to stop
  StartNotFinite,       // the objective is missing or infinite at the start
  DerivativeNotFinite,  // a derivative is missing or infinite at a point whose objective is finite
  NoProgress,           // no step improves the objective, although the point is no optimum: wrong derivatives, a jump
  SaddlePoint,          // the gradient is zero, but the information is not positive definite and no step leads on
  AtInfinity            // the objective keeps improving while parameters grow without limit: separation, say
};

// The reason as a clause, such as "the limit of iterations was reached".
const char *StopText(StopReason reason);

// What holds of a parameter at the end. A set of bits.
using ParameterMarks = unsigned char;
inline constexpr ParameterMarks kFixed = 1;         // the caller fixed it, or its bounds are equal
inline constexpr ParameterMarks kAtLower = 2;       // at its lower bound, with the gradient pointing beyond
inline constexpr ParameterMarks kAtUpper = 4;       // the same of the upper one
inline constexpr ParameterMarks kUnidentified = 8;  // a direction in which it takes part leaves the objective unchanged
inline constexpr ParameterMarks kDiverging = 16;    // it grows without limit (AtInfinity)
inline constexpr ParameterMarks kHeld = kFixed | kAtLower | kAtUpper;  // it has no standard error

struct EvaluationCounts {
  int values = 0;        // calls of the caller's function
  int gradients = 0;     // those that also asked for the gradient or the Jacobian
  int informations = 0;  // those that also asked for the information matrix
};

struct Convergence {
  bool converged = false;
  StopReason reason = StopReason::NoProgress;
  int iterations = 0;  // accepted steps
  EvaluationCounts evaluations;
  double objective = MissingValue();  // log-likelihood, or residual sum of squares

  // Of the parameters that are free to move: neither fixed nor held at a bound.
  double gradientNorm = MissingValue();  // Euclidean norm, in the parameters' own units
  double decrement = MissingValue();     // g' I^-1 g: the squared distance to the optimum in standard errors

  // Of the information matrix of the free parameters, scaled to a unit diagonal, so that no unit matters. The smallest
  // eigenvalue lies between 0 (not identified) and 1 (orthogonal parameters). Missing where no information matrix was
  // computed (BFGS alone).
  double smallestEigenvalue = MissingValue();
  double condition = MissingValue();  // largest over smallest eigenvalue; infinite when that is not above 0

  int parameters = 0;
  int atBound = 0;                   // how many parameters are marked kAtLower or kAtUpper
  int unidentified = 0;              // how many are marked kUnidentified
  int diverging = 0;                 // how many are marked kDiverging
  OwnedBlock<ParameterMarks> marks;  // one cell a parameter

  // Filled by FitFromStarts; a fit from one start that converged agrees with itself.
  int starts = 1;
  int startsAgreeing = 0;      // converged at the best objective
  int startsWorse = 0;         // converged at a worse one
  int startsFailed = 0;        // did not converge
  int startsFailedBetter = 0;  // of these: at an objective better than the best that converged
  int bestStart = 0;

  bool Has(int parameter, ParameterMarks any) const { return (marks[parameter] & any) != 0; }

  // Sets reason and converged.
  void Stop(StopReason why) {
    reason = why;
    converged = why <= StopReason::RoundingLimit;
    startsAgreeing = converged ? 1 : 0;
    startsFailed = converged ? 0 : 1;
  }
};

}  // namespace tessel
