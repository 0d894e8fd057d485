// What Newton's method and BFGS have in common: evaluation, the direction, the line search, the end of a fit.
#pragma once

#include <span>

#include "optimise/free_parameters.h"
#include "optimise/maximise.h"

namespace tessel {

inline constexpr double kDefaultTolerance = 1e-16;

enum class Want { Value, Gradient, Information };

struct AscentPoint {
  double *theta = nullptr;
  double *gradient = nullptr;
  Matrix information;  // no matrix where the method asks for none
  double value = 0.0;
};

struct Ascent {
  const Objective &objective;
  const OptimiseOptions &options;
  Maximum *fit;
  int parameters = 0;
  double tolerance = 0.0;
  Want derivatives = Want::Gradient;  // what the method needs at each accepted point
  Status status = Status::Ok;         // a failure of the objective's function, which ends the fit

  AscentPoint now, next;
  FreeParameters free;
  OwnedMatrix memory, scaledMemory;
  double *direction = nullptr;
  double *spread = nullptr;  // 1/sqrt of each parameter's information
  double *eigenvalues = nullptr;
  double *work = nullptr;
  double decrement = 0.0;  // g'I^-1 g over the free parameters
  bool definite = true;    // the matrix was positive definite there
  double startSize = 0.0;  // |l| at the start
  int steps = 0;           // accepted
  double lastRise = 0.0;   // of l in the last step
  double bestDecrement = 0.0;
  int stalls = 0;  // steps in a row that did not lower it, and in which l rose by rounding alone

  Ascent(const Objective &o, const OptimiseOptions &p, Maximum *f, std::size_t count);

  Convergence &Record() { return fit->convergence; }
  std::span<double> Span(double *cells) const { return {cells, static_cast<std::size_t>(parameters)}; }
};

// Takes all work memory, tests the space and copies the start to `now`. `informations`: how many information matrices
// the method keeps, 0 to 2. Ok, NoMemory or Invalid.
Status Prepare(Ascent *s, std::span<const double> theta, int informations);

// Evaluates at point->theta. False where the point is infeasible, a wanted derivative is not finite, or `status` is
// set.
bool Evaluate(Ascent *s, Want want, AscentPoint *point);

// Solves metric d = g at `now` for the free parameters; sets free, direction, decrement and definite.
void FindDirection(Ascent *s, ConstMatrix metric);

// Moves along the direction to `next`, where l is higher and the derivatives are there. `wolfe`: also far enough for
// the slope to have fallen. False when there is no such point, or `status` is set.
bool SearchLine(Ascent *s, bool wolfe);

// Steps along +-v until l is higher, from a length of 1 downwards; the direction is `direction`.
bool SearchBothWays(Ascent *s);

// Whether the fit ends at `now` for a reason other than the decrement: limits, the caller's wish.
bool EndsByLimit(Ascent *s);

// Whether the decrement has stopped falling at a value that rounding explains.
bool HasStalled(Ascent *s, int patience);

// Evaluates at the start; false with the reason, or `status`, set.
bool EvaluateStart(Ascent *s, Want want);

// Sets the reason when no step raises l.
void EndWithoutStep(Ascent *s);

// Makes `next` the point where the search stands.
void Accept(Ascent *s);

// Copies the estimate, its gradient and marks to where the caller finds them.
void Finish(Ascent *s, ConstMatrix information, std::span<double> theta);

}  // namespace tessel
