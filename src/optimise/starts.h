// A fit from several starting points, of which the best result counts.
#pragma once

#include <span>

#include "core/matrix.h"
#include "optimise/convergence.h"

namespace tessel {

// Runs a fit from `theta`, leaves the estimate there and fills `record`; one of the methods of maximise.h or
// least_squares.h, with what the owner holds.
struct StartFit {
  Status (*fit)(void *owner, std::span<double> theta, Convergence *record) = nullptr;
  void *owner = nullptr;
};

enum class Goal { Maximum, Minimum };

// Runs the fit from every row of `starts` (at least 1; P columns), in their order. The best is the one that converged
// at the best objective, the first of equal ones; where none converged, the one with the best objective. Its estimate
// goes to `theta`, its record to `record`, with the start's number and the counts of starts.
//
// Two results agree when their objectives do: log-likelihoods within 1e-6 + 1e-9 |l|, sums of squares within 1e-7 of
// the smaller one or both zero but for rounding. Parameters are not compared: they may be exchanged without effect, as
// regimes and components of mixtures.
//
// Ok whether any start converged or not. A status other than Ok that the fit returns ends the work and is returned.
// Takes P doubles and n records of work memory.
Status FitFromStarts(const StartFit &fit, ConstMatrix starts, Goal goal, std::span<double> theta, Convergence *record);

}  // namespace tessel
