// Bounds, the active set and steps cut at the bounds.
#include "optimise/free_parameters.h"

#include <algorithm>
#include <cmath>

namespace tessel {

namespace {

constexpr double kNear = 1e-6;  // standard errors

bool HasLength(std::size_t length, std::size_t parameters) { return length == 0 || length == parameters; }

}  // namespace

double LowerBound(const ParameterSpace &space, int j) {
  if (space.lower.empty()) return -PositiveInfinity();
  const double bound = space.lower[static_cast<std::size_t>(j)];
  return IsMissing(bound) ? -PositiveInfinity() : bound;
}

double UpperBound(const ParameterSpace &space, int j) {
  if (space.upper.empty()) return PositiveInfinity();
  const double bound = space.upper[static_cast<std::size_t>(j)];
  return IsMissing(bound) ? PositiveInfinity() : bound;
}

Status EnterSpace(const ParameterSpace &space, std::span<double> theta) {
  const std::size_t n = theta.size();
  if (!HasLength(space.lower.size(), n) || !HasLength(space.upper.size(), n) || !HasLength(space.fixed.size(), n) ||
      !HasLength(space.scale.size(), n))
    return Status::Invalid;
  if (!std::all_of(space.scale.begin(), space.scale.end(), [](double s) { return s > 0.0 && std::isfinite(s); }))
    return Status::Invalid;
  for (std::size_t j = 0; j < n; ++j) {
    const double low = LowerBound(space, static_cast<int>(j)), high = UpperBound(space, static_cast<int>(j));
    if (low > high || low == PositiveInfinity() || high == -PositiveInfinity() || !std::isfinite(theta[j]))
      return Status::Invalid;
    theta[j] = std::clamp(theta[j], low, high);
  }
  return Status::Ok;
}

bool FreeParameters::Reserve(int parameters) {
  index = OwnedBlock<int>(parameters);
  marks = OwnedBlock<ParameterMarks>::Zeroed(parameters);
  toBound = OwnedBlock<double>::Zeroed(parameters);
  return index && marks && toBound;
}

void FreeParameters::Sort(const ParameterSpace &space, std::span<const double> theta, const double *improvement,
                          const double *spread) {
  count = 0;
  pending = false;
  for (int j = 0; j < static_cast<int>(theta.size()); ++j) {
    const auto cell = static_cast<std::size_t>(j);
    const double low = LowerBound(space, j), high = UpperBound(space, j);
    const double near = std::max(0.0, kNear * spread[j]);  // 0 for a missing spread
    marks[j] = 0;
    toBound[j] = 0.0;
    if (low == high || (!space.fixed.empty() && space.fixed[cell] != 0)) {
      marks[j] = kFixed;
    } else if (improvement[j] < 0.0 && std::isfinite(low) && theta[cell] - low <= near) {
      marks[j] = kAtLower;
      toBound[j] = low - theta[cell];
    } else if (improvement[j] > 0.0 && std::isfinite(high) && high - theta[cell] <= near) {
      marks[j] = kAtUpper;
      toBound[j] = high - theta[cell];
    } else {
      index[count++] = j;
    }
    pending = pending || toBound[j] != 0.0;
  }
}

bool HoldBlocked(const ParameterSpace &space, std::span<const double> theta, double *step, FreeParameters *free) {
  int kept = 0;
  for (const int j : free->Index()) {
    const double at = theta[static_cast<std::size_t>(j)];
    const bool blocked = (step[j] < 0.0 && at <= LowerBound(space, j)) || (step[j] > 0.0 && at >= UpperBound(space, j));
    if (blocked)
      step[j] = 0.0;
    else
      free->index[kept++] = j;
  }
  const bool held = kept < free->count;
  free->count = kept;
  return held;
}

bool MoveWithin(const ParameterSpace &space, std::span<const double> theta, const double *step, double t, double *to) {
  bool cut = false;
  for (int j = 0; j < static_cast<int>(theta.size()); ++j) {
    const double wanted = theta[static_cast<std::size_t>(j)] + t * step[j];
    to[j] = step[j] == 0.0 ? wanted : std::clamp(wanted, LowerBound(space, j), UpperBound(space, j));
    cut = cut || to[j] != wanted;
  }
  return cut;
}

}  // namespace tessel
