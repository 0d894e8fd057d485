// Damped Newton steps, and BFGS followed by them.
#include <algorithm>
#include <cmath>

#include "linalg/eigen_symmetric.h"
#include "optimise/ascent.h"
#include "optimise/differences.h"
#include "optimise/identification.h"

namespace tessel {

namespace {

constexpr double kTinyStep = 1e-6;    // decrement before a step that is tiny in standard errors
constexpr double kGrows = 0.01;       // share by which a parameter that runs to infinity grows in such a step
constexpr double kVanishes = 0.05;    // and by which its information falls
constexpr double kFirstShare = 0.01;  // of the tolerance: BFGS ahead of Newton
constexpr int kPatience = 2;

struct Newton {
  Ascent s;
  bool differences = false;
  OwnedMatrix differenceWork;  // 3 x P
  OwnedMatrix before;          // 1 x P: the information's diagonal at the last point
  double decrementBefore = 0.0;

  Newton(const Objective &objective, const OptimiseOptions &options, Maximum *fit, std::size_t count)
      : s(objective, options, fit, count),
        differences(objective.information == Information::None || options.differences) {}
};

// The information matrix by differences at `now`.
bool Differentiate(Newton *n) {
  Ascent &s = n->s;
  s.free.Sort(s.options.space, s.Span(s.now.theta), s.now.gradient, s.spread);
  const DifferencePoint at{s.Span(s.now.theta), s.Span(s.now.gradient), s.Span(s.spread), s.free.Index()};
  const Status status = DifferenceInformation(s.objective, s.options.space, at, n->differenceWork, s.now.information,
                                              &s.Record().evaluations);
  if (status == Status::NotFinite)
    s.Record().Stop(StopReason::DerivativeNotFinite);
  else
    s.status = status;
  return Succeeded(status);
}

// Marks the parameters that grew in a step that was tiny in standard errors while their information fell. `next` holds
// the point before the step.
void MarkDiverging(Newton *n) {
  Ascent &s = n->s;
  Convergence &record = s.Record();
  record.diverging = 0;
  for (int j = 0; j < s.parameters; ++j) {
    const double own = s.now.information[j][j];
    const bool diverges = s.steps > 0 && n->decrementBefore <= kTinyStep && s.free.marks[j] == 0 && own > 0.0 &&
                          own < (1.0 - kVanishes) * n->before[0][j] &&
                          std::fabs(s.now.theta[j]) > (1.0 + kGrows) * std::fabs(s.next.theta[j]);
    record.marks[j] = diverges ? kDiverging : 0;
    record.diverging += diverges ? 1 : 0;
  }
}

// Whether the full step would change a parameter by more than a small share: at the start nothing tells yet whether
// the maximum is at infinity.
bool StepIsLarge(const Ascent &s) {
  for (int j = 0; j < s.parameters; ++j)
    if (std::fabs(s.direction[j]) > kGrows * std::fabs(s.now.theta[j])) return true;
  return false;
}

// Leaves a saddle point along the eigenvector of the lowest eigenvalue.
bool LeaveSaddle(Newton *n) {
  Ascent &s = n->s;
  const int count = s.free.count;
  const Matrix scaled(s.scaledMemory[0], count, count);
  for (int a = 0; a < count; ++a)
    for (int b = 0; b <= a; ++b) {
      const int i = s.free.index[a], j = s.free.index[b];
      scaled[a][b] = s.now.information[i][j] * s.spread[i] * s.spread[j];
    }
  const auto size = static_cast<std::size_t>(count);
  if (Failed(EigenSymmetric(scaled, {s.eigenvalues, size}, {s.work, size}))) return false;
  std::fill_n(s.direction, s.parameters, 0.0);
  const double length = 1.0 / std::sqrt(std::fabs(s.eigenvalues[0]));
  for (int a = 0; a < count; ++a) s.direction[s.free.index[a]] = length * scaled[0][a] * s.spread[s.free.index[a]];
  return SearchBothWays(&s);
}

// Tests the decrement. True when the fit ends, or when a saddle point was left by a step to `next` (`stepped`).
bool EndsAtMaximum(Newton *n, bool *stepped) {
  Ascent &s = n->s;
  Convergence &record = s.Record();
  if (s.decrement > s.tolerance || s.free.pending) return false;
  if (s.steps == 0 && s.decrement > 0.0 && StepIsLarge(s)) return false;
  const bool exact = n->differences || s.objective.information == Information::Exact;
  if (record.diverging > 0) {
    record.Stop(StopReason::AtInfinity);
  } else if (s.definite || !exact) {
    record.Stop(StopReason::Decrement);
  } else if (LeaveSaddle(n)) {
    *stepped = true;
    return false;
  } else if (Succeeded(s.status)) {
    record.Stop(StopReason::SaddlePoint);
  }
  return true;
}

// From `now` to the next point; false at the end.
bool Iterate(Newton *n) {
  Ascent &s = n->s;
  if (n->differences && !Differentiate(n)) return false;
  FindDirection(&s, s.now.information);
  MarkDiverging(n);
  bool stepped = false;
  if (EndsAtMaximum(n, &stepped) || EndsByLimit(&s)) return false;
  if (!stepped && (HasStalled(&s, kPatience) || !SearchLine(&s, false))) {
    if (Succeeded(s.status)) EndWithoutStep(&s);
    return false;
  }
  for (int j = 0; j < s.parameters; ++j) n->before[0][j] = s.now.information[j][j];
  n->decrementBefore = s.decrement;
  Accept(&s);
  return true;
}

// What an earlier stage of the fit hands on.
struct Stage {
  int iterations = 0;
  EvaluationCounts evaluations;
  OwnedMatrix spread;  // 1 x P: 1/sqrt of each parameter's information, for the first differences; no cells for nothing
};

Status RunNewton(Newton *n, std::span<double> theta, const Stage &before) {
  Ascent &s = n->s;
  const int p = s.parameters;
  const Status status = Prepare(&s, theta, n->differences ? 1 : 2);
  if (Failed(status)) return status;
  n->differenceWork = OwnedMatrix(3, p);
  n->before = OwnedMatrix(1, p);
  IdentificationWork identification;
  if (!n->differenceWork || !n->before || !identification.Reserve(p)) return Status::NoMemory;
  if (before.spread) std::copy_n(before.spread[0], p, s.spread);
  s.Record().iterations = before.iterations;
  s.Record().evaluations = before.evaluations;
  s.derivatives = n->differences ? Want::Gradient : Want::Information;
  if (!EvaluateStart(&s, s.derivatives)) return s.status;
  while (Iterate(n)) {
    if (n->differences) std::swap(s.now.information, s.next.information);  // there is one alone
  }
  Finish(&s, s.now.information, theta);
  if (Succeeded(s.status))
    IdentifyFromInformation(s.now.information, s.free.Index(), n->differences ? kFlatDifferences : kFlatExact,
                            &identification, &s.Record());
  return s.status;
}

// Whether Newton steps can make anything better of where BFGS ended.
bool GoesOn(const Convergence &record) { return record.converged || record.reason == StopReason::NoProgress; }

}  // namespace

Status NewtonMaximise(const Objective &objective, const OptimiseOptions &options, std::span<double> theta,
                      Maximum *fit) {
  Newton newton(objective, options, fit, theta.size());
  return RunNewton(&newton, theta, Stage());
}

Status MaximiseLikelihood(const Objective &objective, const OptimiseOptions &options, std::span<double> theta,
                          Maximum *fit) {
  if (objective.information == Information::Exact) return NewtonMaximise(objective, options, theta, fit);
  OptimiseOptions stage = options;
  stage.tolerance = kFirstShare * (options.tolerance > 0.0 ? options.tolerance : kDefaultTolerance);
  const Status status = BfgsMaximise(objective, stage, theta, fit);
  if (Failed(status) || !GoesOn(fit->convergence)) return status;

  const Convergence &first = fit->convergence;
  const Stage before{first.iterations, first.evaluations, OwnedMatrix(1, first.parameters)};
  if (!before.spread) return Status::NoMemory;
  for (int j = 0; j < first.parameters; ++j) before.spread[0][j] = 1.0 / std::sqrt(fit->information[j][j]);
  stage = options;
  stage.differences = true;
  Newton newton(objective, stage, fit, theta.size());
  return RunNewton(&newton, theta, before);
}

}  // namespace tessel
