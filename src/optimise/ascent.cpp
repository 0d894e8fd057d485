// Directions from scaled matrices, and the line search.
#include "optimise/ascent.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "linalg/dot_product.h"
#include "linalg/eigen_symmetric.h"
#include "linalg/symmetric.h"

namespace tessel {

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

constexpr double kNearOptimum = 1e-8;      // decrement that rounding may leave
constexpr double kArmijo = 1e-4;           // least share of the promised rise
constexpr double kWolfe = 0.9;             // greatest share of the slope that a long enough step leaves
constexpr double kLeastEigenvalue = 1e-8;  // of a scaled matrix that is not definite
constexpr double kNegative = -1e-9;        // an eigenvalue below is no rounding
constexpr double kLessDecrement = 0.9;     // share of the decrement that counts as a fall
constexpr int kMostTrials = 60;

bool AllFinite(const double *x, int n) {
  return std::all_of(x, x + n, [](double v) { return std::isfinite(v); });
}

// The direction of the scaled matrix through its eigenvectors; `scaled` is filled anew.
void DirectionByEigenvalues(Ascent *s, Matrix scaled, const double *right, double *solution) {
  const int n = scaled.rows;
  const std::span<double> values(s->eigenvalues, static_cast<std::size_t>(n));
  if (Failed(EigenSymmetric(scaled, values, {solution, values.size()}))) {
    std::copy_n(right, n, solution);  // steepest ascent
    s->definite = false;
    return;
  }
  s->definite = n == 0 || values[0] >= kNegative;
  std::fill_n(solution, n, 0.0);
  for (int i = 0; i < n; ++i) {
    const double multiple = DotProduct(scaled[i], right, n) / std::max(std::fabs(s->eigenvalues[i]), kLeastEigenvalue);
    for (int k = 0; k < n; ++k) solution[k] += multiple * scaled[i][k];
  }
}

// The free rows and columns of the metric over root_i root_j.
void FillScaled(const Ascent &s, ConstMatrix metric, Matrix scaled) {
  for (int a = 0; a < s.free.count; ++a)
    for (int b = 0; b <= a; ++b) {
      const int i = s.free.index[a], j = s.free.index[b];
      scaled[a][b] = metric[i][j] * s.spread[i] * s.spread[j];
    }
}

// Solves for the parameters that are free now.
void SolveFree(Ascent *s, ConstMatrix metric) {
  const int n = s->free.count;
  const Matrix scaled(s->scaledMemory[0], n, n);
  double *right = s->scaledMemory[s->parameters], *solution = s->scaledMemory[s->parameters + 1];
  for (int a = 0; a < n; ++a) right[a] = s->now.gradient[s->free.index[a]] * s->spread[s->free.index[a]];
  FillScaled(*s, metric, scaled);
  s->definite = true;
  if (Succeeded(MatCholesky(scaled))) {
    for (int i = 0; i < n; ++i) solution[i] = (right[i] - DotProduct(scaled[i], solution, i)) / scaled[i][i];
    for (int i = n - 1; i >= 0; --i) {
      solution[i] /= scaled[i][i];
      for (int k = 0; k < i; ++k) solution[k] -= scaled[i][k] * solution[i];
    }
  } else {
    FillScaled(*s, metric, scaled);
    DirectionByEigenvalues(s, scaled, right, solution);
  }
  s->decrement = DotProduct(right, solution, n);
  for (int a = 0; a < n; ++a) s->direction[s->free.index[a]] = solution[a] * s->spread[s->free.index[a]];
}

// What rounding may do to l.
double Noise(const Ascent &s) { return 64.0 * kEpsilon * std::max(std::fabs(s.now.value), s.startSize); }

// The rise of l that the slope at `now` promises at `next`.
double Promise(const Ascent &s) {
  double sum = 0.0;
  for (int j = 0; j < s.parameters; ++j) sum += s.now.gradient[j] * (s.next.theta[j] - s.now.theta[j]);
  return sum;
}

// The slope of l at `next` along the way from `now`.
double SlopeThere(const Ascent &s) {
  double sum = 0.0;
  for (int j = 0; j < s.parameters; ++j) sum += s.next.gradient[j] * (s.next.theta[j] - s.now.theta[j]);
  return sum;
}

bool Unmoved(const Ascent &s) { return std::equal(s.now.theta, s.now.theta + s.parameters, s.next.theta); }

// The point at t, which the search has seen; false for t of 0.
bool ReturnTo(Ascent *s, double t) {
  if (t == 0.0) return false;
  MoveWithin(s->options.space, s->Span(s->now.theta), s->direction, t, s->next.theta);
  return Evaluate(s, s->derivatives, &s->next);
}

}  // namespace

Ascent::Ascent(const Objective &o, const OptimiseOptions &p, Maximum *f, std::size_t count)
    : objective(o), options(p), fit(f), parameters(static_cast<int>(count)) {
  tolerance = p.tolerance > 0.0 ? p.tolerance : kDefaultTolerance;
}

Status Prepare(Ascent *s, std::span<const double> theta, int informations) {
  const int p = s->parameters;
  s->fit->convergence = Convergence();
  s->Record().parameters = p;
  if (s->objective.evaluate == nullptr) return Status::Invalid;
  s->memory = OwnedMatrix(8 + static_cast<std::int64_t>(informations) * p, p);
  s->scaledMemory = OwnedMatrix(p + 2, p);
  s->Record().marks = OwnedBlock<ParameterMarks>::Zeroed(p);
  s->fit->gradient = OwnedMatrix(1, p);
  s->fit->information = OwnedMatrix(p, p);
  if (!s->memory || !s->scaledMemory || !s->Record().marks || !s->fit->gradient || !s->fit->information ||
      !s->free.Reserve(p))
    return Status::NoMemory;
  FillZero(s->memory);
  double **const vectors[] = {&s->now.theta, &s->now.gradient, &s->next.theta,  &s->next.gradient,
                              &s->direction, &s->spread,       &s->eigenvalues, &s->work};
  for (int i = 0; i < 8; ++i) *vectors[i] = s->memory[i];
  if (informations > 0) s->now.information = s->memory.View().Rows(8, p);
  if (informations > 1) s->next.information = s->memory.View().Rows(8 + p, p);
  std::copy(theta.begin(), theta.end(), s->now.theta);
  return EnterSpace(s->options.space, s->Span(s->now.theta));
}

bool Evaluate(Ascent *s, Want want, AscentPoint *point) {
  Evaluation out;
  const bool gradient = want != Want::Value, information = want == Want::Information;
  if (gradient) out.gradient = s->Span(point->gradient);
  if (information) out.information = point->information;
  EvaluationCounts &counts = s->Record().evaluations;
  ++counts.values;
  counts.gradients += gradient ? 1 : 0;
  counts.informations += information ? 1 : 0;
  s->status = s->objective.evaluate(s->objective.owner, s->Span(point->theta), &out);
  if (Failed(s->status)) return false;
  point->value = out.value;
  if (!std::isfinite(out.value) || (gradient && !AllFinite(point->gradient, s->parameters))) return false;
  for (int i = 0; information && i < s->parameters; ++i) {
    if (!AllFinite(point->information[i], i + 1)) return false;
    for (int j = 0; j < i; ++j) point->information[j][i] = point->information[i][j];
  }
  return true;
}

void FindDirection(Ascent *s, ConstMatrix metric) {
  for (int j = 0; j < s->parameters; ++j) {
    const double own = std::fabs(metric[j][j]), size = std::fabs(s->now.theta[j]);
    if (own > 0.0) s->spread[j] = 1.0 / std::sqrt(own);
    if (!(s->spread[j] > 0.0) || !std::isfinite(s->spread[j])) s->spread[j] = size > 0.0 ? size : 1.0;
  }
  const std::span<const double> theta = s->Span(s->now.theta);
  s->free.Sort(s->options.space, theta, s->now.gradient, s->spread);
  std::copy_n(s->free.toBound.get(), s->parameters, s->direction);
  SolveFree(s, metric);
  while (HoldBlocked(s->options.space, theta, s->direction, &s->free)) SolveFree(s, metric);
  s->Record().decrement = s->decrement;
}

// Between `low`, whose rise suffices while its slope is still steep, and `high`, which is too far.
bool SearchLine(Ascent *s, bool wolfe) {
  const double noise = Noise(*s);
  double low = 0.0, high = PositiveInfinity(), t = 1.0;
  for (int trial = 0; trial < kMostTrials; ++trial) {
    const bool cut = MoveWithin(s->options.space, s->Span(s->now.theta), s->direction, t, s->next.theta);
    if (Unmoved(*s) || s->Record().evaluations.values >= s->options.maxEvaluations) break;
    const bool first = trial == 0;
    bool exists = Evaluate(s, first || low > 0.0 ? s->derivatives : Want::Value, &s->next);
    if (Failed(s->status)) return false;
    const double promise = Promise(*s), rise = s->next.value - s->now.value;
    const bool upwards = promise > 0.0;  // the bounds may have turned a long step round
    bool enough = exists && upwards && rise >= kArmijo * promise;
    if (exists && upwards && !enough && !(rise < -noise)) {  // rounding hides the rise
      exists = Evaluate(s, s->derivatives, &s->next);
      enough = exists && SlopeThere(*s) >= -(1.0 - 2.0 * kArmijo) * promise;
    } else if (enough && !first && low == 0.0) {
      exists = enough = Evaluate(s, s->derivatives, &s->next);
    }
    if (Failed(s->status)) return false;
    const bool steep = enough && wolfe && !cut && SlopeThere(*s) > kWolfe * promise;
    if (enough && !steep) return true;
    if (steep) {
      low = t;
      t = high < PositiveInfinity() ? 0.5 * (low + high) : 10.0 * t;
    } else {
      high = t;
      const double top = exists && upwards ? 0.5 * promise * t / (promise - rise) : 0.25 * t;  // of the parabola
      t = low > 0.0 ? 0.5 * (low + high) : std::isfinite(top) ? std::clamp(top, 0.1 * t, 0.5 * t) : 0.1 * t;
    }
  }
  return ReturnTo(s, low);
}

bool SearchBothWays(Ascent *s) {
  const double noise = Noise(*s);
  for (double t = 1.0; t > 1e-6; t *= 0.25)
    for (const double side : {t, -t}) {
      MoveWithin(s->options.space, s->Span(s->now.theta), s->direction, side, s->next.theta);
      const bool exists = Evaluate(s, s->derivatives, &s->next);
      if (Failed(s->status)) return false;
      if (exists && s->next.value > s->now.value + noise) return true;
    }
  return false;
}

bool EndsByLimit(Ascent *s) {
  Convergence &record = s->Record();
  if (s->options.progress != nullptr &&
      !s->options.progress(s->options.owner, {record.iterations, record.evaluations.values, s->now.value, s->decrement,
                                              s->Span(s->now.theta)})) {
    record.Stop(StopReason::Stopped);
  } else if (record.iterations >= s->options.maxIterations) {
    record.Stop(StopReason::Iterations);
  } else if (record.evaluations.values >= s->options.maxEvaluations) {
    record.Stop(StopReason::Evaluations);
  } else {
    return false;
  }
  return true;
}

bool HasStalled(Ascent *s, int patience) {
  const bool falls = s->steps == 0 || s->decrement < kLessDecrement * s->bestDecrement;
  s->stalls = falls || s->lastRise > Noise(*s) ? 0 : s->stalls + 1;
  if (falls) s->bestDecrement = s->decrement;
  return s->stalls >= patience && s->decrement <= kNearOptimum;
}

void EndWithoutStep(Ascent *s) {
  Convergence &record = s->Record();
  if (record.evaluations.values >= s->options.maxEvaluations)
    record.Stop(StopReason::Evaluations);
  else if (s->decrement > kNearOptimum)
    record.Stop(StopReason::NoProgress);
  else
    record.Stop(record.diverging > 0 ? StopReason::AtInfinity : StopReason::RoundingLimit);
}

bool EvaluateStart(Ascent *s, Want want) {
  s->now.value = MissingValue();
  const bool exists = Evaluate(s, want, &s->now);
  s->Record().objective = s->now.value;
  if (exists) {
    s->startSize = std::fabs(s->now.value);
  } else if (Succeeded(s->status)) {
    s->Record().Stop(std::isfinite(s->now.value) ? StopReason::DerivativeNotFinite : StopReason::StartNotFinite);
  }
  return exists;
}

void Accept(Ascent *s) {
  s->lastRise = s->next.value - s->now.value;
  std::swap(s->now, s->next);
  ++s->steps;
  ++s->Record().iterations;
}

void Finish(Ascent *s, ConstMatrix information, std::span<double> theta) {
  Convergence &record = s->Record();
  double squares = 0.0;
  for (int j = 0; j < s->parameters; ++j) {
    record.marks[j] |= s->free.marks[j];
    if ((s->free.marks[j] & (kAtLower | kAtUpper)) != 0) ++record.atBound;
    if (s->free.marks[j] == 0) squares += s->now.gradient[j] * s->now.gradient[j];
  }
  record.gradientNorm = std::sqrt(squares);
  record.objective = s->now.value;
  std::copy_n(s->now.theta, s->parameters, theta.begin());
  std::copy_n(s->now.gradient, s->parameters, s->fit->gradient[0]);
  if (information) Copy(s->fit->information, information);
}

}  // namespace tessel
