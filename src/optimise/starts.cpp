// Several starts: the best record, and how the others compare with it.
#include "optimise/starts.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tessel {

namespace {

struct Result {
  double objective = MissingValue();
  bool converged = false;
  bool perfect = false;
};

// Whether a is better than b, for objectives that may be missing.
bool Better(Goal goal, double a, double b) {
  if (std::isnan(b)) return !std::isnan(a);
  return goal == Goal::Maximum ? a > b : a < b;
}

bool Preferred(Goal goal, const Result &a, const Result &b) {
  return a.converged != b.converged ? a.converged : Better(goal, a.objective, b.objective);
}

bool Agree(Goal goal, const Result &a, const Result &best) {
  const double apart = std::fabs(a.objective - best.objective), size = std::fabs(best.objective);
  if (goal == Goal::Maximum) return apart <= 1e-6 + 1e-9 * size;
  return apart <= 1e-7 * size || (a.perfect && best.perfect);
}

void Count(Goal goal, const Result &result, const Result &best, Convergence *record) {
  if (!result.converged) {
    ++record->startsFailed;
    const bool apart = !Agree(goal, result, best);
    record->startsFailedBetter += apart && Better(goal, result.objective, best.objective) ? 1 : 0;
  } else if (Agree(goal, result, best)) {
    ++record->startsAgreeing;
  } else {
    ++record->startsWorse;
  }
}

}  // namespace

Status FitFromStarts(const StartFit &fit, ConstMatrix starts, Goal goal, std::span<double> theta, Convergence *record) {
  const int n = starts.rows;
  if (n < 1 || static_cast<std::size_t>(starts.columns) != theta.size() || fit.fit == nullptr) return Status::Invalid;
  const OwnedMatrix point(1, starts.columns);
  const OwnedBlock<Result> results(n);
  if (!point || !results) return Status::NoMemory;
  int best = 0;
  for (int i = 0; i < n; ++i) {
    std::copy_n(starts[i], starts.columns, point[0]);
    Convergence one;
    const Status status = fit.fit(fit.owner, {point[0], theta.size()}, &one);
    if (Failed(status)) return status;
    results[i] = {one.objective, one.converged, one.reason == StopReason::PerfectFit};
    if (i > 0 && !Preferred(goal, results[i], results[best])) continue;
    best = i;
    std::copy_n(point[0], starts.columns, theta.begin());
    *record = std::move(one);
  }
  record->starts = n;
  record->bestStart = best;
  record->startsAgreeing = record->startsWorse = record->startsFailed = record->startsFailedBetter = 0;
  for (int i = 0; i < n; ++i) Count(goal, results[i], results[best], record);
  return Status::Ok;
}

}  // namespace tessel
