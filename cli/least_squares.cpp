// Non-linear least squares: cminpack's lmder with numerical derivatives, and the covariance at the optimum.
#include "least_squares.h"

#include <cminpack.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Stands for a residual that does not exist: the step that led there is undone, and its square does not overflow.
constexpr double kForbidden = 1e140;

// The error of a difference of order k is of order h^k from truncation and epsilon/h from rounding; the two balance at
// h = epsilon^(1/(k+1)).
enum class Order { Second, Fourth };

struct Search {
  const ResidualFunction &residuals;
  const LeastSquaresOptions &options;
  int observations;
  std::vector<double> largest;  // the largest size that each parameter has had
  std::vector<double> shrink;   // per parameter: the factor on its step
  std::vector<bool> jumps;      // per parameter: its differences agree at no step
  std::vector<double> point, above, below;
  int iterations = 0;

  Search(const ResidualFunction &f, const LeastSquaresOptions &o, int m, std::size_t n)
      : residuals(f),
        options(o),
        observations(m),
        largest(n),
        shrink(n, 1.0),
        jumps(n, false),
        above(static_cast<std::size_t>(m)),
        below(above) {}

  bool Evaluate(std::span<const double> x, std::span<double> f) const {
    return residuals(x, f) && std::ranges::all_of(f, [](double v) { return std::isfinite(v); });
  }

  // The step for parameter j: relative to its size, or to a share of its former size once it has come close to zero.
  double Step(std::size_t j, double relative) {
    const double size = std::fabs(point[j]);
    largest[j] = std::max(largest[j], size);
    const double scale = std::max(size, 1e-4 * largest[j]);
    return relative * (scale > 0.0 ? scale : 1.0);
  }

  // (f(x + h) - f(x - h)) / 2h into `column`; false when either side does not exist.
  bool CentralDifference(std::size_t j, double h, std::span<double> column) {
    const double x = point[j], right = x + h, left = x - h;
    point[j] = right;
    bool exists = Evaluate(point, above);
    point[j] = left;
    exists = exists && Evaluate(point, below);
    point[j] = x;
    for (std::size_t i = 0; i < column.size(); ++i) column[i] = (above[i] - below[i]) / (right - left);
    return exists;
  }

  // The difference towards one side, for a point at the edge of where residuals exist.
  bool OneSidedDifference(std::size_t j, double h, std::span<double> column) {
    const double x = point[j], moved = x + h;
    if (!Evaluate(point, below)) return false;
    point[j] = moved;
    const bool exists = Evaluate(point, above);
    point[j] = x;
    for (std::size_t i = 0; i < column.size(); ++i) column[i] = (above[i] - below[i]) / (moved - x);
    return exists;
  }

  // Richardson's extrapolation of two central differences. The step starts at a share of the parameter's size and
  // shrinks until the two agree so well that the extrapolated one is good to about 11 digits: a parameter may be large
  // against the scale on which it matters, as a date is. The step that agrees best is kept for later differences.
  bool FourthOrderDifference(std::size_t j, std::span<double> column) {
    constexpr double enough = 1e-5, hopeless = 0.1;
    double least = std::numeric_limits<double>::infinity();
    std::vector<double> wide(column.size()), narrow(column.size());
    for (double trial = 1.0; trial > 1e-8 && least > enough; trial /= 8.0) {
      const double h = trial * Step(j, std::pow(kEpsilon, 0.2));
      if (!CentralDifference(j, 2.0 * h, wide) || !CentralDifference(j, h, narrow)) continue;
      double apart = 0.0, size = 0.0;
      for (std::size_t i = 0; i < column.size(); ++i) {
        apart += (narrow[i] - wide[i]) * (narrow[i] - wide[i]);
        size += narrow[i] * narrow[i];
      }
      const double disagreement = apart == 0.0 ? 0.0 : std::sqrt(apart / size);
      if (!(disagreement < least)) continue;
      least = disagreement;
      shrink[j] = trial;
      for (std::size_t i = 0; i < column.size(); ++i) column[i] = narrow[i] + (narrow[i] - wide[i]) / 3.0;
    }
    jumps[j] = std::isfinite(least) && least > hopeless;
    return std::isfinite(least);
  }

  bool Column(std::size_t j, Order order, std::span<double> column) {
    if (order == Order::Fourth && FourthOrderDifference(j, column)) return true;
    const double h = shrink[j] * Step(j, std::cbrt(kEpsilon));
    return CentralDifference(j, h, column) || OneSidedDifference(j, 1e-2 * h, column) ||
           OneSidedDifference(j, -1e-2 * h, column);
  }

  // The Jacobian at x, column by column.
  bool Jacobian(std::span<const double> x, Order order, double *columns) {
    point.assign(x.begin(), x.end());
    const auto m = static_cast<std::size_t>(observations);
    for (std::size_t j = 0; j < x.size(); ++j)
      if (!Column(j, order, {columns + j * m, m})) return false;
    return true;
  }
};

// What lmder calls. A negative result ends the search at the best point so far.
enum : int { kContinue = 0, kMaxIterations = -1, kNoDerivative = -2 };

int Callback(void *data, int m, int n, const double *x, double *f, double *jacobian, int, int wanted) {
  auto &search = *static_cast<Search *>(data);
  const std::span<const double> parameters(x, static_cast<std::size_t>(n));
  const std::span<double> residuals(f, static_cast<std::size_t>(m));
  if (wanted == 1) {
    if (!search.Evaluate(parameters, residuals)) std::ranges::fill(residuals, kForbidden);
    return kContinue;
  }
  if (search.iterations == search.options.maxIterations) return kMaxIterations;
  ++search.iterations;
  if (search.options.progress) search.options.progress(search.iterations, std::inner_product(f, f + m, f, 0.0));
  const Order order = search.iterations == 1 ? Order::Fourth : Order::Second;  // the first one finds the steps
  return search.Jacobian(parameters, order, jacobian) ? kContinue : kNoDerivative;
}

LeastSquaresFit::Stop StopOf(int info) {
  using Stop = LeastSquaresFit::Stop;
  switch (info) {
    case kMaxIterations:
    case 5: return Stop::MaxIterations;
    case kNoDerivative: return Stop::NoDerivative;
    case 1:
    case 3: return Stop::SumOfSquares;
    case 2: return Stop::Parameters;
    case 4: return Stop::Gradient;
    default: return Stop::Precision;  // the tolerances lie below what rounding allows
  }
}

LeastSquaresFit::Stop Minimise(Search &search, std::vector<double> &x) {
  const auto m = static_cast<std::size_t>(search.observations), n = x.size();
  const int rows = search.observations, columns = static_cast<int>(n);
  const double tolerance = search.options.tolerance;
  std::vector<double> f(m), jacobian(m * n), scale(n), qtf(n), work(3 * n + m);
  std::vector<int> pivots(n);
  int evaluations = 0, jacobians = 0;
  const int info =
      lmder(Callback, &search, rows, columns, x.data(), f.data(), jacobian.data(), rows, tolerance, tolerance, 0.0,
            std::numeric_limits<int>::max(), scale.data(), 1, 1.0, 0, &evaluations, &jacobians, pivots.data(),
            qtf.data(), work.data(), work.data() + n, work.data() + 2 * n, work.data() + 3 * n);
  return StopOf(info);
}

// The Jacobian's columns at a point, each scaled to length 1 so that nothing below depends on the parameters' units,
// and what they say there.
struct Curvature {
  std::vector<double> lengths;    // of the columns
  std::vector<double> inverse;    // (J'J)^-1 of the scaled columns; empty where parameters are unidentified
  std::vector<double> gradient;   // J'f of the scaled columns
  std::vector<int> unidentified;  // parameters whose columns the others' span

  double Spread(std::size_t j) const { return std::sqrt(inverse[j * (lengths.size() + 1)]) / lengths[j]; }
};

// Through the QR decomposition of J with column pivoting.
Curvature CurvatureOf(std::vector<double> jacobian, std::span<const double> f, std::size_t n) {
  const auto m = static_cast<int>(f.size()), p = static_cast<int>(n);
  Curvature curvature;
  for (std::size_t j = 0; j < n; ++j) {
    const std::span<double> column(jacobian.data() + j * f.size(), f.size());
    const double length = enorm(m, column.data());
    if (length > 0.0)
      for (double &v : column) v /= length;
    curvature.lengths.push_back(length);
    curvature.gradient.push_back(std::inner_product(f.begin(), f.end(), column.begin(), 0.0));
  }
  std::vector<double> diagonal(n), work(n);
  std::vector<int> pivots(n);
  qrfac(m, p, jacobian.data(), m, 1, pivots.data(), p, diagonal.data(), work.data(), work.data());

  // The differences are good to about 12 digits: what is smaller than that is no effect of its own.
  for (std::size_t j = 0; j < n; ++j)
    if (!(std::fabs(diagonal[j]) > 1e-11)) curvature.unidentified.push_back(pivots[j] - 1);
  std::ranges::sort(curvature.unidentified);
  if (!curvature.unidentified.empty()) return curvature;

  curvature.inverse.assign(n * n, 0.0);
  for (std::size_t j = 0; j < n; ++j) {
    std::copy_n(jacobian.data() + j * f.size(), j, curvature.inverse.data() + j * n);
    curvature.inverse[j * (n + 1)] = diagonal[j];
  }
  covar(p, curvature.inverse.data(), p, pivots.data(), 0.0, work.data());
  return curvature;
}

// The Gauss-Newton step from x, and its largest size in standard errors of the estimates.
double GaussNewton(const Curvature &curvature, double sigma, std::vector<double> &x) {
  const std::size_t n = x.size();
  double largest = 0.0;
  for (std::size_t j = 0; j < n; ++j) {
    const double *row = curvature.inverse.data() + j * n;
    const double step = -std::inner_product(row, row + n, curvature.gradient.begin(), 0.0) / curvature.lengths[j];
    largest = std::max(largest, std::fabs(step) / (sigma * curvature.Spread(j)));
    x[j] += step;
  }
  return largest;
}

// Near the optimum a change of the sum of squares drowns in rounding long before the parameters have settled, so the
// last digits come from Gauss-Newton steps with the accurate Jacobian. The standard errors come from the same Jacobian.
void Refine(Search &search, LeastSquaresFit &fit) {
  const std::size_t n = fit.estimates.size();
  std::vector<double> f(static_cast<std::size_t>(search.observations)), jacobian(f.size() * n);
  const auto sumOfSquares = [&] { return std::inner_product(f.begin(), f.end(), f.begin(), 0.0); };
  search.Evaluate(fit.estimates, f);
  fit.rss = sumOfSquares();
  fit.standardErrors.assign(n, kNaN);
  bool settled = !fit.Converged();
  for (int pass = 0;; ++pass) {
    fit.sigma = fit.degreesOfFreedom > 0 ? std::sqrt(fit.rss / fit.degreesOfFreedom) : kNaN;
    if (!search.Jacobian(fit.estimates, Order::Fourth, jacobian.data())) return;
    fit.jumpy.clear();
    for (std::size_t j = 0; j < n; ++j)
      if (search.jumps[j]) fit.jumpy.push_back(static_cast<int>(j));
    if (!fit.jumpy.empty()) {
      fit.standardErrors.assign(n, kNaN);
      return;
    }
    const Curvature curvature = CurvatureOf(jacobian, f, n);
    fit.unidentified = curvature.unidentified;
    if (!fit.unidentified.empty()) return;
    for (std::size_t j = 0; j < n; ++j) fit.standardErrors[j] = fit.sigma * curvature.Spread(j);

    if (settled || pass == 20) return;
    std::vector<double> moved = fit.estimates;
    settled = !(GaussNewton(curvature, fit.sigma, moved) > 1e-9);
    if (!search.Evaluate(moved, f) || sumOfSquares() > fit.rss * (1.0 + 1e-12)) return;
    fit.estimates = moved;
    fit.rss = sumOfSquares();
  }
}

}  // namespace

LeastSquaresFit FitLeastSquares(const ResidualFunction &residuals, std::span<const double> start, int observations,
                                const LeastSquaresOptions &options) {
  Search search(residuals, options, observations, start.size());
  LeastSquaresFit fit;
  fit.estimates.assign(start.begin(), start.end());
  fit.stop = Minimise(search, fit.estimates);
  fit.iterations = search.iterations;
  fit.degreesOfFreedom = observations - static_cast<int>(start.size());

  Refine(search, fit);
  return fit;
}
