// The box that parameters move in, and the set of those that are free at a point.
//
// A parameter is held where its bound is and the objective improves beyond it (the active set of Bertsekas, D.P.
// (1982), Projected Newton methods for optimization problems with simple constraints, SIAM Journal on Control and
// Optimization 20, 221-246). All others are free: a step that would take one of them through its bound ends at the
// bound.
#pragma once

#include <span>

#include "optimise/convergence.h"
#include "optimise/problem.h"

namespace tessel {

// The bounds of parameter j; infinite where there is none.
double LowerBound(const ParameterSpace &space, int j);
double UpperBound(const ParameterSpace &space, int j);

// Tests the space against the start and moves a start outside its bounds to the nearer one. Invalid: spans of a wrong
// length, a lower bound above the upper one, a scale not above 0, a start that is missing or infinite.
Status EnterSpace(const ParameterSpace &space, std::span<double> theta);

struct FreeParameters {
  OwnedBlock<int> index;             // the free ones, ascending
  OwnedBlock<ParameterMarks> marks;  // kFixed, kAtLower, kAtUpper of the others
  OwnedBlock<double> toBound;        // step of each held parameter that still takes it to its bound, else 0
  int count = 0;                     // of free ones
  bool pending = false;              // a held parameter is not quite at its bound

  bool Reserve(int parameters);  // false when memory fails
  std::span<const int> Index() const { return {index.get(), static_cast<std::size_t>(count)}; }

  // Sorts the parameters at theta. improvement[j] above 0: the objective improves as theta[j] grows. spread[j]: the
  // parameter's standard error, were all others known; one within a millionth of it from its bound counts as there.
  void Sort(const ParameterSpace &space, std::span<const double> theta, const double *improvement,
            const double *spread);
};

// Takes the free parameters that stand at a bound and that `step` would push through it out of the free ones, and makes
// their steps 0. Whether there were any.
bool HoldBlocked(const ParameterSpace &space, std::span<const double> theta, double *step, FreeParameters *free);

// to = theta + t step, within the bounds. Whether a bound cut it.
bool MoveWithin(const ParameterSpace &space, std::span<const double> theta, const double *step, double t, double *to);

}  // namespace tessel
