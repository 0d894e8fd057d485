// Pivoted QR of the scaled columns, elimination of the damping by rotations, and the secular equation.
#include "optimise/trust_region.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "linalg/dot_product.h"

namespace tessel {

namespace {

constexpr double kRankTolerance = 1e-14;

// Solves U x = b for the leading n rows of an upper triangle; x and b may be the same.
void SolveUpper(Matrix u, int n, const double *b, double *x) {
  for (int i = n - 1; i >= 0; --i) x[i] = (b[i] - DotProduct(u[i] + i + 1, x + i + 1, n - 1 - i)) / u[i][i];
}

}  // namespace

bool TrustRegion::Reserve(int parameters) {
  const std::int64_t p = parameters;
  memory_ = OwnedMatrix(3 * p + 5, p);
  parameter_ = OwnedBlock<int>(p);
  if (!memory_ || !parameter_) return false;
  columns_ = memory_.View().Rows(0, parameters);
  upper_ = memory_.View().Rows(parameters, parameters);
  damped_ = memory_.View().Rows(2 * parameters, parameters);
  double **const vectors[] = {&scale_, &rotated_, &eliminated_, &y_, &work_};
  for (int i = 0; i < 5; ++i) *vectors[i] = memory_[3 * p + i];
  return true;
}

// Column i, cells i to p - 1, becomes the i-th column of R.
void TrustRegion::Reflect(int i, int p) {
  double *v = columns_[i] + i;
  const int cells = p - i;
  const double length = std::sqrt(DotProduct(v, v, cells));
  if (length == 0.0) return;
  const double old = v[0];
  v[0] = old > 0.0 ? old + length : old - length;
  const double scale = 1.0 / (length * std::fabs(v[0]));
  const auto apply = [&](double *x) {
    const double multiple = scale * DotProduct(v, x, cells);
    for (int k = 0; k < cells; ++k) x[k] -= multiple * v[k];
  };
  for (int k = i + 1; k < n_; ++k) apply(columns_[k] + i);
  apply(rotated_ + i);
  v[0] = old > 0.0 ? -length : length;
}

void TrustRegion::Enter(const TallFactor &factor, std::span<const int> free, const double *scale) {
  const int p = factor.parameters;
  n_ = static_cast<int>(free.size());
  std::copy_n(factor.Rotated(), p, rotated_);
  for (int k = 0; k < n_; ++k) {
    const int j = free[static_cast<std::size_t>(k)];
    parameter_[k] = j;
    scale_[k] = scale[j] > 0.0 ? scale[j] : 1.0;
    for (int i = 0; i < p; ++i) columns_[k][i] = factor.Column(j)[i] / scale_[k];
    work_[k] = DotProduct(columns_[k], columns_[k], p);
    if (work_[k] == 0.0) work_[k] = 1.0;
  }
  for (int i = 0; i < n_; ++i) {
    int pivot = i;
    double largest = -1.0;
    for (int k = i; k < n_; ++k) {
      const double share = DotProduct(columns_[k] + i, columns_[k] + i, p - i) / work_[k];
      if (share > largest) {
        largest = share;
        pivot = k;
      }
    }
    if (pivot != i) {
      std::swap_ranges(columns_[i], columns_[i] + p, columns_[pivot]);
      std::swap(parameter_[i], parameter_[pivot]);
      std::swap(scale_[i], scale_[pivot]);
      std::swap(work_[i], work_[pivot]);
    }
    Reflect(i, p);
  }
  rank_ = 0;
  for (int i = 0; i < n_; ++i) {
    for (int k = i; k < n_; ++k) upper_[i][k] = columns_[k][i];
    if (rank_ == i && std::fabs(upper_[i][i]) > kRankTolerance * std::sqrt(work_[i])) ++rank_;
  }
}

double TrustRegion::Projection() const { return DotProduct(rotated_, rotated_, rank_); }

// R'R + mu I = U'U for the upper triangle U, by rotations of the rows of sqrt(mu) I into R.
void TrustRegion::Eliminate(double damping) {
  const double root = std::sqrt(damping);
  for (int i = 0; i < n_; ++i) std::copy(upper_[i] + i, upper_[i] + n_, damped_[i] + i);
  std::copy_n(rotated_, n_, eliminated_);
  for (int row = 0; row < n_; ++row) {
    std::fill(work_ + row, work_ + n_, 0.0);
    work_[row] = root;
    double right = 0.0;
    for (int k = row; k < n_; ++k) {
      double *u = damped_[k];
      const double length = std::sqrt(u[k] * u[k] + work_[k] * work_[k]);
      if (length == 0.0) continue;
      const double c = u[k] / length, s = work_[k] / length;
      for (int j = k; j < n_; ++j) {
        const double t = u[j];
        u[j] = c * t + s * work_[j];
        work_[j] = c * work_[j] - s * t;
      }
      const double t = eliminated_[k];
      eliminated_[k] = c * t + s * right;
      right = c * right - s * t;
    }
  }
}

// y(mu) without its sign; gives |y|. Without damping a deficient system gets its basic solution.
double TrustRegion::Solve(double damping) {
  if (damping > 0.0) {
    Eliminate(damping);
    SolveUpper(damped_, n_, eliminated_, y_);
  } else {
    SolveUpper(upper_, rank_, rotated_, y_);
    std::fill(y_ + rank_, y_ + n_, 0.0);
  }
  return std::sqrt(DotProduct(y_, y_, n_));
}

// y'(R'R + mu I)^-1 y, which is -|y| d|y|/dmu.
double TrustRegion::Curvature(bool damped) {
  const Matrix u = damped ? damped_ : upper_;
  std::copy_n(y_, n_, work_);
  double sum = 0.0;
  for (int i = 0; i < n_; ++i) {
    const double x = work_[i] / u[i][i];
    sum += x * x;
    for (int k = i + 1; k < n_; ++k) work_[k] -= u[i][k] * x;
  }
  return sum;
}

double TrustRegion::Step(double radius, double *damping, double *step) {
  constexpr double nearly = 0.1;
  constexpr int mostTrials = 10;
  double length = Solve(0.0);
  if (!(length <= (1.0 + nearly) * radius)) {
    // 1/|y(mu)| is nearly straight: Newton steps on it from the left, within bounds on mu.
    const auto correction = [&](bool damped) {
      return (length - radius) / radius * (length * length / Curvature(damped));
    };
    double low = rank_ == n_ ? correction(false) : 0.0;
    if (!std::isfinite(low)) low = 0.0;
    for (int k = 0; k < n_; ++k) {
      double sum = 0.0;
      for (int i = 0; i <= k; ++i) sum += upper_[i][k] * rotated_[i];
      work_[k] = sum;
    }
    const double gradient = std::sqrt(DotProduct(work_, work_, n_));
    double high = std::max(gradient / radius, std::numeric_limits<double>::min());
    double mu = std::clamp(*damping, std::min(low, high), high);
    if (mu == 0.0) mu = gradient / length;
    for (int trial = 0; trial < mostTrials; ++trial) {
      if (!(mu > 0.0)) mu = std::max(std::numeric_limits<double>::min(), 1e-3 * high);
      length = Solve(mu);
      if (std::fabs(length - radius) <= nearly * radius || trial + 1 == mostTrials) break;
      (length > radius ? low : high) = mu;
      mu = std::clamp(mu + correction(true), std::min(low, high), high);
    }
    *damping = mu;
  } else {
    *damping = 0.0;
  }
  for (int k = 0; k < n_; ++k) step[parameter_[k]] = -y_[k] / scale_[k];
  return length;
}

}  // namespace tessel
