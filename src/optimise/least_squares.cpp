// The Levenberg-Marquardt iteration.
#include "optimise/least_squares.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "linalg/dot_product.h"
#include "optimise/free_parameters.h"
#include "optimise/identification.h"
#include "optimise/tall_qr.h"
#include "optimise/trust_region.h"

namespace tessel {

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kDefaultTolerance = 1e-20;
constexpr double kNoise = 1e-13;  // least share of f'f below which a fall is not seen in it
constexpr double kMostNoise = 1e-3;
constexpr double kLess = 0.9;               // of a measure of the gradient that counts as a fall of it
constexpr double kNearCosine = 1e-6;        // of f and the columns of J, which rounding may leave
constexpr double kNearZero = 1e-10;         // |f| against its size at the start
constexpr double kLevel = 1e-8;             // fall of f'f, as a share, of a step that
constexpr double kStillChanging = 0.02;     // nevertheless changes a parameter and its column by so much
constexpr double kNearOptimum = 1e-8;       // decrement that rounding may leave
constexpr double kNegligibleRadius = 1e-6;  // times |f|: theta says nothing of the size of steps
constexpr double kFirstRadius = 1.0;        // times |D theta|
constexpr double kAccept = 1e-4;            // least ratio of actual to predicted fall
constexpr int kMostRejections = 60;
constexpr int kMostSettlings = 5;  // rejections among the falls that cannot be seen

enum class Want { Residuals, Jacobian };
enum class Outcome { Accepted, Ended };

// The point where the search stands, or a trial.
struct Point {
  double *theta = nullptr;
  double squares = 0.0;  // f'f
  TallFactor factor;
};

struct Search {
  const LeastSquaresProblem &problem;
  const OptimiseOptions &options;
  LeastSquaresFit *fit;
  int parameters = 0;
  Status status = Status::Ok;

  Point now, next;
  FreeParameters free;
  TrustRegion region;
  IdentificationWork identification;
  OwnedMatrix memory;
  double *scale = nullptr;        // D
  double *improvement = nullptr;  // minus the gradient of f'f / 2
  double *spread = nullptr;       // s / |J_j|
  double *step = nullptr;
  OwnedMatrix trial;  // 1 x T: residuals of a trial

  double radius = 0.0, damping = 0.0;
  double decrement = 0.0;
  double modelSize = 0.0;      // sum of |J_j| |theta_j|: its product with epsilon is what rounding changes in f
  double startLength = 0.0;    // |f| at the start
  bool jacobianIsNow = false;  // fit->jacobian and fit->residuals belong to `now`

  Search(const LeastSquaresProblem &p, const OptimiseOptions &o, LeastSquaresFit *f, std::size_t count)
      : problem(p), options(o), fit(f), parameters(static_cast<int>(count)) {}
  Convergence &Record() { return fit->convergence; }
  std::span<double> Span(double *cells) const { return {cells, static_cast<std::size_t>(parameters)}; }
};

bool AllFinite(const double *x, std::int64_t n) {
  return std::all_of(x, x + n, [](double v) { return std::isfinite(v); });
}

bool Reserve(Search *s) {
  const int t = s->problem.observations, p = s->parameters;
  s->memory = OwnedMatrix(6, p);
  s->trial = OwnedMatrix(1, t);
  s->fit->residuals = OwnedMatrix(1, t);
  s->fit->jacobian = OwnedMatrix(t, p);
  s->Record().marks = OwnedBlock<ParameterMarks>::Zeroed(p);
  if (!s->memory || !s->trial || !s->fit->residuals || !s->fit->jacobian || !s->Record().marks) return false;
  double **const rows[] = {&s->now.theta, &s->next.theta, &s->scale, &s->improvement, &s->spread, &s->step};
  for (int i = 0; i < 6; ++i) *rows[i] = s->memory[i];
  return s->free.Reserve(p) && s->region.Reserve(p) && s->identification.Reserve(p) && s->now.factor.Reserve(t, p) &&
         s->next.factor.Reserve(t, p);
}

// Residuals at a point and, when wanted, the Jacobian's factor. False where the point is infeasible, or with `status`
// set.
bool Evaluate(Search *s, Want want, Point *point) {
  const int t = s->problem.observations;
  const bool jacobian = want == Want::Jacobian;
  const Matrix residuals = jacobian ? s->fit->residuals : s->trial;
  if (jacobian) s->jacobianIsNow = false;
  EvaluationCounts &counts = s->Record().evaluations;
  ++counts.values;
  counts.gradients += jacobian ? 1 : 0;
  s->status = s->problem.evaluate(s->problem.owner, s->Span(point->theta), {residuals[0], static_cast<std::size_t>(t)},
                                  jacobian ? s->fit->jacobian : Matrix());
  if (Failed(s->status)) return false;
  point->squares = DotProduct(residuals[0], residuals[0], t);
  return std::isfinite(point->squares);
}

// Factors the Jacobian just evaluated. False when a derivative is not finite.
bool Factor(Search *s, Point *point) {
  if (!AllFinite(s->fit->jacobian[0], s->fit->jacobian.View().Length())) return false;
  FactorTall(s->fit->jacobian, s->fit->residuals[0], &point->factor);
  for (int j = 0; j < s->parameters; ++j)
    if (!AllFinite(point->factor.Column(j), j + 1)) return false;
  return true;
}

double ColumnLength(const TallFactor &factor, int j) {
  return std::sqrt(DotProduct(factor.Column(j), factor.Column(j), j + 1));
}

// The squared length of the projection of f on the free columns, over s^2.
double Decrement(const Search &s, const Point &point) {
  const int freedom = std::max(s.problem.observations - s.free.count, 1);
  const double projection = s.region.Projection();
  return projection == 0.0 ? 0.0 : projection / (point.squares / freedom);
}

// Finds the free parameters and the decrement at `point`, and readies the trust region there.
double Enter(Search *s, const Point &point) {
  const double sigma = std::sqrt(point.squares / std::max(s->problem.observations - s->parameters, 1));
  s->modelSize = 0.0;
  for (int j = 0; j < s->parameters; ++j) {
    const double *column = point.factor.Column(j);
    const double length = ColumnLength(point.factor, j);
    s->modelSize += length * std::fabs(point.theta[j]);
    s->improvement[j] = -DotProduct(column, point.factor.Rotated(), j + 1);
    s->spread[j] = sigma / length;
    s->scale[j] = std::max(s->scale[j], length);
  }
  s->free.Sort(s->options.space, s->Span(point.theta), s->improvement, s->spread);
  s->region.Enter(point.factor, s->free.Index(), s->scale);
  return Decrement(*s, point);
}

// |D x|.
double ScaledLength(const Search &s, const double *x) {
  double sum = 0.0;
  for (int j = 0; j < s.parameters; ++j) sum += s.scale[j] * x[j] * (s.scale[j] * x[j]);
  return std::sqrt(sum);
}

// The share of f'f that rounding in the residuals changes.
double Noise(const Search &s) {
  return std::clamp(16.0 * kEpsilon * s.modelSize / std::sqrt(s.now.squares), kNoise, kMostNoise);
}

bool EndsHere(Search *s) {
  Convergence &record = s->Record();
  record.objective = s->now.squares;
  record.decrement = s->decrement;
  const double tolerance = s->options.tolerance > 0.0 ? s->options.tolerance : kDefaultTolerance;
  const auto stop = [&](StopReason why) {
    record.Stop(why);
    return true;
  };
  if (std::sqrt(s->now.squares) <= 4.0 * kEpsilon * s->modelSize) return stop(StopReason::PerfectFit);
  if (s->decrement <= tolerance && !s->free.pending)
    return stop(record.diverging > 0 ? StopReason::AtInfinity : StopReason::Decrement);
  if (s->options.progress != nullptr &&
      !s->options.progress(s->options.owner, {record.iterations, record.evaluations.values, s->now.squares,
                                              s->decrement, s->Span(s->now.theta)}))
    return stop(StopReason::Stopped);
  if (record.iterations >= s->options.maxIterations) return stop(StopReason::Iterations);
  if (record.evaluations.values >= s->options.maxEvaluations) return stop(StopReason::Evaluations);
  return false;
}

// What the linear model foretells of a move from `now`, as shares of f'f: the fall of f'f, and the slope at `now`.
struct Forecast {
  double fall = 0.0, slope = 0.0;
};

Forecast Foretell(const Search &s) {
  const TallFactor &factor = s.now.factor;
  double slope = 0.0, squares = 0.0;
  for (int i = 0; i < s.parameters; ++i) {
    double image = 0.0;  // row i of R s
    for (int j = i; j < s.parameters; ++j) image += factor.Column(j)[i] * (s.next.theta[j] - s.now.theta[j]);
    slope -= 2.0 * image * factor.Rotated()[i];
    squares += image * image;
  }
  return {(slope - squares) / s.now.squares, slope / s.now.squares};
}

// The step within the radius, as the point `next`; gives |D s| over the free parameters before bounds cut it.
double Propose(Search *s) {
  std::copy_n(s->free.toBound.get(), s->parameters, s->step);
  double length = s->region.Step(s->radius, &s->damping, s->step);
  while (HoldBlocked(s->options.space, s->Span(s->now.theta), s->step, &s->free)) {
    s->region.Enter(s->now.factor, s->free.Index(), s->scale);
    length = s->region.Step(s->radius, &s->damping, s->step);
  }
  MoveWithin(s->options.space, s->Span(s->now.theta), s->step, 1.0, s->next.theta);
  return length;
}

// A length of 0 belongs to a step on to bounds alone, which has no radius.
void Shrink(Search *s, double length, double factor) {
  if (length == 0.0) return;
  s->radius = factor * std::min(s->radius, length);
  s->damping /= factor;
}

// Moves the radius by how well the model foretold the fall.
void AdaptRadius(Search *s, double length, double actual, const Forecast &model) {
  const double ratio = actual / model.fall;
  if (ratio < 0.25) {
    // The minimum of the parabola through both values and the slope.
    double factor = actual >= 0.0 ? 0.5 : 0.5 * model.slope / (model.slope - actual);
    if (!(factor >= 0.1)) factor = 0.1;
    Shrink(s, length, factor);
  } else if (length > 0.0 && (ratio >= 0.75 || s->damping == 0.0)) {
    s->radius = 2.0 * length;
    s->damping *= 0.5;
  }
}

// The largest cosine between f and a free column of J; Enter(s, point) came last.
double LargestCosine(const Search &s, const Point &point) {
  const double length = std::sqrt(point.squares);
  double cosine = 0.0;
  for (const int j : s.free.Index()) {
    const double column = ColumnLength(point.factor, j);
    if (column > 0.0) cosine = std::max(cosine, std::fabs(s.improvement[j]) / (column * length));
  }
  return cosine;
}

// Moves to `next`, where the decrement is `decrement`. A step that hardly changes f'f changes neither a parameter nor
// its column of J by much, unless the parameter runs to infinity while its column vanishes.
void Accept(Search *s, double decrement) {
  Convergence &record = s->Record();
  const bool level = s->now.squares - s->next.squares <= kLevel * s->now.squares;
  record.diverging = 0;
  for (int j = 0; j < s->parameters; ++j) {
    const double before = ColumnLength(s->now.factor, j), after = ColumnLength(s->next.factor, j);
    const bool diverges = level && after < (1.0 - kStillChanging) * before &&
                          std::fabs(s->next.theta[j]) > (1.0 + kStillChanging) * std::fabs(s->now.theta[j]);
    record.marks[j] = diverges ? kDiverging : 0;
    record.diverging += diverges ? 1 : 0;
  }
  std::swap(s->now, s->next);
  s->decrement = decrement;
  s->jacobianIsNow = true;
  ++record.iterations;
}

// A step whose fall rounding hides: taken when the sum of squares stays and the decrement falls, or, where a singular
// Jacobian keeps the decrement up, the cosine. On false the trust region belongs to `now` again.
bool Settle(Search *s) {
  if (!Evaluate(s, Want::Jacobian, &s->next) || !Factor(s, &s->next)) return false;
  if (s->next.squares <= s->now.squares * (1.0 + Noise(*s))) {
    const double before = LargestCosine(*s, s->now);
    const double decrement = Enter(s, s->next);
    const bool level = decrement <= s->decrement * (1.0 + kLevel);
    if (decrement < s->decrement || (level && LargestCosine(*s, s->next) < kLess * before)) {
      Accept(s, decrement);
      return true;
    }
  }
  Enter(s, s->now);
  return false;
}

// No step helps: the point is an optimum within rounding, or the search is stuck.
Outcome EndWithoutProgress(Search *s) {
  const double length = std::sqrt(s->now.squares);
  if (length <= kNearZero * std::max(s->startLength, s->modelSize))
    s->Record().Stop(StopReason::PerfectFit);
  else if (s->Record().diverging > 0)
    s->Record().Stop(StopReason::AtInfinity);
  else if (s->decrement <= kNearOptimum || LargestCosine(*s, s->now) <= kNearCosine)
    s->Record().Stop(StopReason::RoundingLimit);
  else
    s->Record().Stop(StopReason::NoProgress);
  return Outcome::Ended;
}

// Steps from `now` until one is taken.
Outcome Advance(Search *s) {
  int settlings = 0;
  const double size = ScaledLength(*s, s->now.theta);
  for (int rejections = 0; rejections < kMostRejections; ++rejections) {
    if (s->Record().evaluations.values >= s->options.maxEvaluations) {
      s->Record().Stop(StopReason::Evaluations);
      return Outcome::Ended;
    }
    const double length = Propose(s);
    const Forecast model = Foretell(*s);
    if (s->Record().iterations == 0 && length > 0.0) s->radius = std::min(s->radius, length);
    if (!(model.fall > Noise(*s))) {
      if (settlings == kMostSettlings) break;
      if (Settle(s)) return Outcome::Accepted;
      if (Failed(s->status)) return Outcome::Ended;
      ++settlings;
      Shrink(s, length, 0.25);
      continue;
    }
    const bool exists = Evaluate(s, Want::Residuals, &s->next);
    if (Failed(s->status)) return Outcome::Ended;
    if (!exists) {
      Shrink(s, length, 0.25);
      continue;
    }
    const double actual = (s->now.squares - s->next.squares) / s->now.squares;
    AdaptRadius(s, length, actual, model);
    if (actual < kAccept * model.fall) {
      if (length <= kEpsilon * size) break;
      continue;
    }
    const bool derivatives = Evaluate(s, Want::Jacobian, &s->next) && Factor(s, &s->next);
    if (Failed(s->status)) return Outcome::Ended;
    if (derivatives) {
      Accept(s, Enter(s, s->next));
      return Outcome::Accepted;
    }
    Shrink(s, length, 0.25);
  }
  return EndWithoutProgress(s);
}

// The estimate's residuals and Jacobian, marks and identification.
void Finish(Search *s) {
  Convergence &record = s->Record();
  if (!s->jacobianIsNow) {
    const bool exists = Evaluate(s, Want::Jacobian, &s->now) && Factor(s, &s->now);
    if (Failed(s->status) || !exists) return;
  }
  Enter(s, s->now);
  double squares = 0.0;
  for (int j = 0; j < s->parameters; ++j) {
    record.marks[j] |= s->free.marks[j];
    if ((s->free.marks[j] & (kAtLower | kAtUpper)) != 0) ++record.atBound;
    if (s->free.marks[j] == 0) squares += 4.0 * s->improvement[j] * s->improvement[j];
  }
  record.gradientNorm = std::sqrt(squares);
  // Where the decrement stayed up although f is orthogonal to J, the Jacobian is singular as far as it is known.
  const bool singular = record.reason == StopReason::RoundingLimit && s->decrement > kNearOptimum;
  IdentifyFromFactor(s->now.factor, s->free.Index(), singular ? kDependentNearly : kDependentExact, &s->identification,
                     &record);
}

void Run(Search *s) {
  const bool exists = Evaluate(s, Want::Jacobian, &s->now);
  if (Failed(s->status)) return;
  s->Record().objective = s->now.squares;
  if (!exists) return s->Record().Stop(StopReason::StartNotFinite);
  if (!Factor(s, &s->now)) return s->Record().Stop(StopReason::DerivativeNotFinite);
  s->jacobianIsNow = true;
  s->decrement = Enter(s, s->now);
  s->startLength = std::sqrt(s->now.squares);
  s->radius = kFirstRadius * ScaledLength(*s, s->now.theta);
  if (s->radius < kNegligibleRadius * s->startLength) s->radius = s->startLength;
  while (!EndsHere(s) && Advance(s) == Outcome::Accepted) {
  }
  if (Succeeded(s->status)) Finish(s);
}

}  // namespace

Status FitLeastSquares(const LeastSquaresProblem &problem, const OptimiseOptions &options, std::span<double> theta,
                       LeastSquaresFit *fit) {
  *fit = LeastSquaresFit();
  fit->convergence.parameters = static_cast<int>(theta.size());
  if (problem.observations < 1 || problem.evaluate == nullptr) return Status::Invalid;
  Search s(problem, options, fit, theta.size());
  if (!Reserve(&s)) return Status::NoMemory;
  std::copy(theta.begin(), theta.end(), s.now.theta);
  if (const Status status = EnterSpace(options.space, s.Span(s.now.theta)); Failed(status)) return status;
  std::fill_n(s.scale, s.parameters, 0.0);
  Run(&s);
  std::copy_n(s.now.theta, s.parameters, theta.begin());
  return s.status;
}

}  // namespace tessel
