// Spectra of scaled information matrices, and the parameters of their null directions.
#include "optimise/identification.h"

#include <algorithm>
#include <cmath>

#include "linalg/dot_product.h"
#include "linalg/eigen_symmetric.h"

namespace tessel {

namespace {

constexpr double kTakesPart = 1e-5;       // of a direction of length 1
constexpr double kSquaresSuffice = 1e-6;  // eigenvalues of R'R above this are good to ten digits
constexpr int kInverseIterations = 6;

void Mark(int parameter, Convergence *record) {
  if (!record->Has(parameter, kUnidentified)) ++record->unidentified;
  record->marks[parameter] |= kUnidentified;
}

void SetSpectrum(double smallest, double largest, Convergence *record) {
  record->smallestEigenvalue = smallest;
  record->condition = smallest > 0.0 ? largest / smallest : PositiveInfinity();
}

// The smallest eigenvalue of R'R by inverse iteration, which starts from the last column of R^-1: with column pivoting
// it lies close to the singular direction. R has no zero on its diagonal.
double SmallestBySolving(ConstMatrix r, double *v) {
  const int n = r.rows;
  std::fill_n(v, n, 0.0);
  v[n - 1] = 1.0;
  double growth = 0.0;
  for (int iteration = 0; iteration <= kInverseIterations; ++iteration) {
    if (iteration > 0)  // R' x = v
      for (int i = 0; i < n; ++i) {
        v[i] /= r[i][i];
        for (int k = i + 1; k < n; ++k) v[k] -= r[i][k] * v[i];
      }
    for (int i = n - 1; i >= 0; --i) v[i] = (v[i] - DotProduct(r[i] + i + 1, v + i + 1, n - 1 - i)) / r[i][i];
    growth = std::sqrt(DotProduct(v, v, n));
    for (int i = 0; i < n; ++i) v[i] /= growth;
  }
  return 1.0 / growth;
}

// The parameters of the null space of R, whose first `rank` columns span the others: w = (-R11^-1 R12 e, e).
void MarkNullSpace(const TrustRegion &columns, int rank, double *w, Convergence *record) {
  const ConstMatrix r = columns.Triangle();
  for (int free = rank; free < r.rows; ++free) {
    double squares = 1.0;
    for (int i = rank - 1; i >= 0; --i) {
      w[i] = -(r[i][free] + DotProduct(r[i] + i + 1, w + i + 1, rank - 1 - i)) / r[i][i];
      squares += w[i] * w[i];
    }
    const double limit = kTakesPart * std::sqrt(squares);
    for (int i = 0; i < rank; ++i)
      if (std::fabs(w[i]) > limit) Mark(columns.ParameterOf(i), record);
    if (limit < 1.0) Mark(columns.ParameterOf(free), record);
  }
}

}  // namespace

bool IdentificationWork::Reserve(int parameters) {
  matrix = OwnedMatrix(parameters, parameters);
  vectors = OwnedMatrix(3, parameters);
  return matrix && vectors && columns.Reserve(parameters);
}

void IdentifyFromInformation(ConstMatrix information, std::span<const int> free, double flat, IdentificationWork *work,
                             Convergence *record) {
  const auto n = static_cast<int>(free.size());
  if (n == 0) return;
  const Matrix scaled(work->matrix[0], n, n);
  double *root = work->vectors[0];
  for (int a = 0; a < n; ++a) {
    const int j = free[static_cast<std::size_t>(a)];
    const double own = std::fabs(information[j][j]);
    root[a] = own > 0.0 ? std::sqrt(own) : 1.0;
    for (int b = 0; b <= a; ++b) scaled[a][b] = information[j][free[static_cast<std::size_t>(b)]] / root[a] / root[b];
  }
  const std::span<double> values(work->vectors[1], free.size());
  if (Failed(EigenSymmetric(scaled, values, {work->vectors[2], free.size()}))) return;
  SetSpectrum(values.front(), values.back(), record);
  for (int i = 0; i < n && std::fabs(values[static_cast<std::size_t>(i)]) <= flat; ++i)
    for (int a = 0; a < n; ++a)
      if (std::fabs(scaled[i][a]) > kTakesPart) Mark(free[static_cast<std::size_t>(a)], record);
}

void IdentifyFromFactor(const TallFactor &factor, std::span<const int> free, double dependent, IdentificationWork *work,
                        Convergence *record) {
  const auto n = static_cast<int>(free.size());
  if (n == 0) return;
  double *lengths = work->vectors[0];
  for (const int j : free) {
    const double length = std::sqrt(DotProduct(factor.Column(j), factor.Column(j), factor.parameters));
    lengths[j] = length > 0.0 ? length : 1.0;
  }
  work->columns.Enter(factor, free, lengths);
  const ConstMatrix r = work->columns.Triangle();
  const Matrix moments(work->matrix[0], n, n);
  for (int i = 0; i < n; ++i)
    for (int k = 0; k <= i; ++k) {
      double sum = 0.0;
      for (int row = 0; row <= k; ++row) sum += r[row][i] * r[row][k];
      moments[i][k] = sum;
    }
  const std::span<double> values(work->vectors[1], free.size());
  if (Failed(EigenSymmetric(moments, values, {work->vectors[2], free.size()}))) return;
  int rank = 0;
  while (rank < n && std::fabs(r[rank][rank]) > dependent) ++rank;
  double smallest = values.front();
  if (smallest < kSquaresSuffice) smallest = r[n - 1][n - 1] == 0.0 ? 0.0 : SmallestBySolving(r, work->vectors[2]);
  SetSpectrum(smallest, values.back(), record);
  MarkNullSpace(work->columns, rank, work->vectors[2], record);
}

}  // namespace tessel
