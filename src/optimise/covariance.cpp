// Scaled inverses, generalised ones where parameters are not identified, and sandwiches.
#include "optimise/covariance.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "linalg/dot_product.h"
#include "linalg/eigen_symmetric.h"
#include "linalg/products.h"
#include "linalg/symmetric.h"
#include "optimise/identification.h"

namespace tessel {

namespace {

bool AllFinite(ConstMatrix m, bool lowerOnly) {
  for (int i = 0; i < m.rows; ++i)
    if (!std::all_of(m[i], m[i] + (lowerOnly ? i + 1 : m.columns), [](double v) { return std::isfinite(v); }))
      return false;
  return true;
}

// Where results for the parameters that have a variance come from and go to.
struct Estimated {
  OwnedBlock<int> index;
  int count = 0;
  Convergence record;  // marks of parameters that are not identified

  bool Reserve(std::span<const ParameterMarks> held) {
    const auto p = static_cast<std::int64_t>(held.size());
    index = OwnedBlock<int>(p);
    record.marks = OwnedBlock<ParameterMarks>::Zeroed(p);
    if (!index || !record.marks) return false;
    for (int j = 0; j < static_cast<int>(p); ++j)
      if ((held[static_cast<std::size_t>(j)] & kHeld) == 0) index[count++] = j;
    return true;
  }
  std::span<const int> Index() const { return {index.get(), static_cast<std::size_t>(count)}; }
};

// out from the inverse of the scaled matrix, cell (a, b) over root_a root_b; missing where not identified.
Status Spread(const Estimated &estimated, ConstMatrix inverse, const double *root, Matrix out) {
  FillZero(out);
  for (int a = 0; a < estimated.count; ++a)
    for (int b = 0; b <= a; ++b) {
      const int i = estimated.index[a], j = estimated.index[b];
      const bool known = !estimated.record.Has(i, kUnidentified) && !estimated.record.Has(j, kUnidentified);
      out[i][j] = out[j][i] = known ? inverse[a][b] / root[a] / root[b] : MissingValue();
    }
  return estimated.record.unidentified > 0 ? Status::Singular : Status::Ok;
}

// The inverse over the eigenvalues above `flat`, in the lower triangle. `values` and the rows of `vectors` are a
// decomposition.
void GeneralisedInverse(ConstMatrix vectors, const double *values, double flat, Matrix inverse) {
  FillZero(inverse);
  for (int k = 0; k < vectors.rows; ++k) {
    if (values[k] <= flat) continue;
    for (int a = 0; a < vectors.rows; ++a)
      for (int b = 0; b <= a; ++b) inverse[a][b] += vectors[k][a] / values[k] * vectors[k][b];
  }
}

Status Fail(Status status, Matrix out) {
  FillMissing(out);
  return status;
}

}  // namespace

Status InverseInformation(ConstMatrix information, std::span<const ParameterMarks> marks, double flat,
                          Matrix covariance) {
  const int p = information.rows;
  if (!information.Is(p, p) || !covariance.Is(p, p) || marks.size() != static_cast<std::size_t>(p))
    return Fail(Status::Invalid, covariance);
  if (!AllFinite(information, true)) return Fail(Status::NotFinite, covariance);
  Estimated estimated;
  IdentificationWork work;
  const OwnedMatrix copy(p, p), roots(1, p);
  if (!estimated.Reserve(marks) || !work.Reserve(p) || !copy || !roots) return Fail(Status::NoMemory, covariance);
  const int n = estimated.count;
  const Matrix scaled(copy[0], n, n);
  for (int a = 0; a < n; ++a) {
    const int i = estimated.index[a];
    const double own = std::fabs(information[i][i]);
    roots[0][a] = own > 0.0 ? std::sqrt(own) : 1.0;
    for (int b = 0; b <= a; ++b) scaled[a][b] = information[i][estimated.index[b]] / roots[0][a] / roots[0][b];
  }
  // Leaves the eigenvectors in work.matrix and the eigenvalues in work.vectors[1].
  IdentifyFromInformation(information, estimated.Index(), flat, &work, &estimated.record);
  if (n > 0 && !(estimated.record.smallestEigenvalue >= -flat))
    return Fail(IsMissing(estimated.record.smallestEigenvalue) ? Status::NotFinite : Status::NotPositive, covariance);
  if (estimated.record.unidentified > 0 || Failed(MatInvertSpd(scaled)))
    GeneralisedInverse(Matrix(work.matrix[0], n, n), work.vectors[1], flat, scaled);
  return Spread(estimated, scaled, roots[0], covariance);
}

Status InverseCrossProduct(ConstMatrix a, std::span<const ParameterMarks> marks, Matrix inverse) {
  const int p = a.columns;
  if (!inverse.Is(p, p) || marks.size() != static_cast<std::size_t>(p)) return Fail(Status::Invalid, inverse);
  if (!AllFinite(a, false)) return Fail(Status::NotFinite, inverse);
  Estimated estimated;
  IdentificationWork work;
  TallFactor factor;
  if (!estimated.Reserve(marks) || !work.Reserve(p) || !factor.Reserve(a.rows, p))
    return Fail(Status::NoMemory, inverse);
  FactorTall(a, nullptr, &factor);
  for (int j = 0; j < p; ++j)
    if (!std::all_of(factor.Column(j), factor.Column(j) + j + 1, [](double v) { return std::isfinite(v); }))
      return Fail(Status::NotFinite, inverse);
  IdentifyFromFactor(factor, estimated.Index(), kDependentExact, &work, &estimated.record);

  // U = R11^-1 by rows of its transpose, then U U'. Columns that depend on others come last and are left out.
  const ConstMatrix r = work.columns.Triangle();
  int rank = 0;
  while (rank < r.rows && std::fabs(r[rank][rank]) > kDependentExact) ++rank;
  const Matrix u = work.matrix;  // u[j] holds column j of U
  for (int j = 0; j < rank; ++j)
    for (int i = j; i >= 0; --i) {
      double sum = i == j ? 1.0 : 0.0;
      for (int k = i + 1; k <= j; ++k) sum -= r[i][k] * u[j][k];
      u[j][i] = sum / r[i][i];
    }
  FillZero(inverse);
  for (int i = 0; i < r.rows; ++i)
    for (int j = 0; j <= i; ++j) {
      const int row = work.columns.ParameterOf(i), column = work.columns.ParameterOf(j);
      double sum = 0.0;
      for (int k = i; k < rank; ++k) sum += u[k][i] * u[k][j];
      const bool known = !estimated.record.Has(row, kUnidentified) && !estimated.record.Has(column, kUnidentified);
      const double lengths = work.vectors[0][row] * work.vectors[0][column];
      inverse[row][column] = inverse[column][row] = known ? sum / lengths : MissingValue();
    }
  return estimated.record.unidentified > 0 ? Status::Singular : Status::Ok;
}

void CrossProduct(ConstMatrix a, const double *w, Matrix out) {
  FillZero(out);
  for (int t = 0; t < a.rows; ++t) {
    const double weight = w == nullptr ? 1.0 : w[t];
    for (int i = 0; i < a.columns; ++i) {
      const double x = weight * a[t][i];
      for (int j = 0; j <= i; ++j) out[i][j] += x * (weight * a[t][j]);
    }
  }
  MirrorLower(out);
}

Status Sandwich(ConstMatrix bread, ConstMatrix meat, Matrix covariance) {
  const int p = bread.rows;
  if (!bread.Is(p, p) || !meat.Is(p, p) || !covariance.Is(p, p)) return Fail(Status::Invalid, covariance);
  if (!AllFinite(bread, false)) return Fail(Status::Singular, covariance);
  if (!AllFinite(meat, false)) return Fail(Status::NotFinite, covariance);
  const OwnedMatrix product(p, p);
  if (!product) return Fail(Status::NoMemory, covariance);
  if (p == 0) return Status::Ok;
  MatMul(bread, meat, product);
  MatMul(product, bread, covariance);
  for (int i = 0; i < p; ++i)
    for (int j = 0; j < i; ++j) covariance[i][j] = covariance[j][i] = 0.5 * (covariance[i][j] + covariance[j][i]);
  return Status::Ok;
}

Status LeastSquaresCovariance(const LeastSquaresFit &fit, LeastSquaresErrors errors, Matrix covariance) {
  const ConstMatrix jacobian = fit.jacobian;
  const int p = fit.convergence.parameters;
  if (!jacobian || !covariance.Is(p, p)) return Fail(Status::Invalid, covariance);
  const std::span<const ParameterMarks> marks(fit.convergence.marks.get(), static_cast<std::size_t>(p));
  const auto held = std::count_if(marks.begin(), marks.end(), [](ParameterMarks m) { return (m & kHeld) != 0; });
  const int freedom = jacobian.rows - p + static_cast<int>(held);
  if (errors == LeastSquaresErrors::Classical) {
    if (freedom < 1) return Fail(Status::Invalid, covariance);
    const Status status = InverseCrossProduct(jacobian, marks, covariance);
    const double variance = fit.convergence.objective / freedom;
    for (int i = 0; i < p; ++i)
      for (int j = 0; j < p; ++j) covariance[i][j] *= variance;
    return status;
  }
  const OwnedMatrix bread(p, p), meat(p, p);
  if (!bread || !meat) return Fail(Status::NoMemory, covariance);
  if (const Status status = InverseCrossProduct(jacobian, marks, bread); Failed(status))
    return Fail(status, covariance);
  CrossProduct(jacobian, fit.residuals[0], meat);
  return Sandwich(bread, meat, covariance);
}

}  // namespace tessel
