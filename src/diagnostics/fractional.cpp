// Autocovariances of a fractional ARMA process.
#include "diagnostics/fractional.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <iterator>
#include <optional>

#include "core/heap.h"
#include "linalg/roots.h"
#include "special/gamma.h"

namespace tessel {
namespace {

Complex operator*(Complex a, Complex b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
Complex operator*(double a, Complex b) { return {a * b.re, a * b.im}; }
Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
double Modulus(Complex a) { return Hypot(a.re, a.im); }

constexpr int kSeriesTerms = 10000;
constexpr double kSeriesEnd = 1e-14;

// A sum of the series, and whether it was cut off before a term fell below kSeriesEnd.
template <class Number>
struct Series {
  Number sum;
  bool cutOff = false;
};

Series<double> HyperReal(double a, double c, double z) {
  double term = a / c, sum = term;
  for (int k = 1; !(std::fabs(term) < kSeriesEnd); ++k) {
    if (k > kSeriesTerms) return {sum, true};
    term = term * z * (k + a) / (k + c);
    sum += term;
  }
  return {sum};
}

// (a / c) F(a + 1, 1; c + 1; z), by its series: t_0 = a / c, t_k = t_(k-1) z (k + a) / (k + c).
Series<Complex> Hyper(double a, double c, Complex z) {
  if (z.im == 0) {
    const Series<double> real = HyperReal(a, c, z.re);
    return {{real.sum, 0}, real.cutOff};
  }
  Complex term = {a / c, 0}, sum = term;
  for (int k = 1; !(Modulus(term) < kSeriesEnd); ++k) {
    if (k > kSeriesTerms) return {sum, true};
    term = ((k + a) / (k + c)) * (term * z);
    sum = sum + term;
  }
  return {sum};
}

// The autocovariance of the moving average at lag j, for unit variance.
double MovingAverageCovariance(std::span<const double> theta, std::size_t j) {
  double sum = j == 0 ? 1.0 : theta[j - 1];
  for (std::size_t i = 0; i + j < theta.size(); ++i) sum += theta[i] * theta[i + j];
  return sum;
}

// The autocorrelations of fractional noise, r(0) = 1 and r(h) = r(h-1) (h - 1 + d) / (h - d), on both sides of
// g[centre].
void FillFractionalCorrelations(double d, std::span<double> g, std::int64_t centre) {
  const std::int64_t length = std::ssize(g);
  double r = g[centre] = 1.0;
  for (std::int64_t h = 1; h <= centre || centre + h < length; ++h) {
    const auto lag = static_cast<double>(h);
    r = r * (lag - 1 + d) / (lag - d);
    if (h <= centre) g[centre - h] = r;
    if (centre + h < length) g[centre + h] = r;
  }
}

// The variance of fractional noise, in a form without a pole at d = 0.
double FractionalVariance(double sigma2, double d) {
  const double g = Gamma(2 - d);
  return sigma2 * (1 - d) * (1 - d) / (1 - 2 * d) * Gamma(2 - 2 * d) / (g * g);
}

// The sum over j from -q to q of c_|j| values[j], of which there are q on both sides of values[0]. c: q + 1 cells.
double MovingAverageSum(std::span<const double> c, const double *values) {
  double sum = c[0] * values[0];
  for (std::ptrdiff_t j = 1; j < std::ssize(c); ++j) sum += c[j] * (values[-j] + values[j]);
  return sum;
}

// One autoregressive root's share of the autocovariances, for a root rho and zeta = 1 / X. Lag k is found at index
// A + p - k of g, re and im, whose centre is A; `series` has 2 A + 1 cells.
struct RootShare {
  const FractionalProcess &process;
  std::int64_t centre;
  std::span<const double> c, g;
  std::span<Complex> series;
  std::span<double> re, im;

  bool FillSeries(Complex rho) const;
  void FillWeighted(Complex rho) const;
  void AddTo(Complex zeta, std::span<double> autocov) const;
};

// The hypergeometric function at the end of the array, and backwards from there. Returns whether its series was cut
// off.
bool RootShare::FillSeries(Complex rho) const {
  const double d = process.d;
  const auto half = static_cast<double>(centre);
  const Series<Complex> last = Hyper(d + half, 1 - d + half, rho);
  Complex value = series[2 * centre] = last.sum;
  for (std::int64_t j = 2 * centre - 1; j >= 0; --j) {
    const auto h = static_cast<double>(j - centre);
    value = series[j] = ((h + d) / (h + 1 - d)) * (Complex{1, 0} + rho * value);
  }
  return last.cutOff;
}

// g times rho^(2p) H(h) + rho^(2p-1) + H(-h).
void RootShare::FillWeighted(Complex rho) const {
  Complex odd = rho;
  for (std::size_t i = 1; i + 1 < 2 * process.phi.size(); ++i) odd = odd * rho;
  const Complex even = odd * rho;
  for (std::int64_t i = 0; i < std::ssize(g); ++i) {
    const Complex value = g[i] * (even * series[i] + odd + series[2 * centre - i]);
    re[i] = value.re;
    im[i] = value.im;
  }
}

void RootShare::AddTo(Complex zeta, std::span<double> autocov) const {
  const std::int64_t at = centre + std::ssize(process.phi);
  for (std::int64_t k = 0; k < std::ssize(autocov); ++k) {
    const Complex sum = {MovingAverageSum(c, &re[at - k]), MovingAverageSum(c, &im[at - k])};
    autocov[k] += (zeta * sum).re;
  }
}

// The product over all j of 1 - rho_i rho_j, times that over all j but i of rho_i - rho_j.
Complex RootProduct(std::span<const Complex> roots, std::size_t i) {
  Complex product = {1, 0};
  for (const Complex &root : roots) product = product * (Complex{1, 0} - roots[i] * root);
  for (std::size_t j = 0; j < roots.size(); ++j)
    if (j != i) product = product * (roots[i] - roots[j]);
  return product;
}

// The inverses of the roots of Phi: the roots of z^p - phi_1 z^(p-1) - ... - phi_p.
Status FindRoots(std::span<const double> phi, std::span<Complex> roots) {
  const OwnedBlock<double> negated(std::ssize(phi));
  if (!negated) return Status::NoMemory;
  std::transform(phi.begin(), phi.end(), negated.get(), std::negate<>());
  const Status found = PolyRoots({negated.get(), phi.size()}, roots);
  if (Failed(found)) return found;
  for (const Complex &root : roots)
    if (Modulus(root) >= 0.9999) return Status::NotStationary;
  return Status::Ok;
}

// The autocovariances up to the factor gamma0.
Status AddRootShares(const FractionalProcess &process, std::span<const double> c, std::span<double> autocov,
                     int *cutOffSeries) {
  // The recursion reaches p + q past its centre on both sides, so that few lags take a longer array.
  const std::int64_t n = std::ssize(autocov), p = std::ssize(process.phi), q = std::ssize(process.theta);
  const std::int64_t length = std::max(n, 2 * p + 1);
  const std::int64_t centre = length + q - p - 1, cells = length + 2 * q;
  const OwnedBlock<Complex> rootBlock(p), series(2 * centre + 1);
  const OwnedBlock<double> work(3 * cells);
  if (!rootBlock || !series || !work) return Status::NoMemory;
  const std::span<Complex> roots = {rootBlock.get(), process.phi.size()};
  const Status found = FindRoots(process.phi, roots);
  if (Failed(found)) return found;

  const auto part = [&](int i) { return std::span<double>(work.get() + i * cells, static_cast<std::size_t>(cells)); };
  FillFractionalCorrelations(process.d, part(0), centre);
  const RootShare share = {process, centre, c, part(0), {series.get(), series.get() + 2 * centre + 1},
                           part(1), part(2)};
  for (std::size_t i = 0; i < roots.size(); ++i) {
    const Complex product = RootProduct(roots, i);
    const std::optional<Complex> zeta = ComplexDivide({1, 0}, product);
    if (Modulus(product) < 1e-11 || !zeta) return Status::EqualRoots;
    if (share.FillSeries(roots[i])) ++*cutOffSeries;
    share.FillWeighted(roots[i]);
    share.AddTo(*zeta, autocov);
  }
  return Status::Ok;
}

// Without an autoregressive part, up to the factor gamma0.
Status AddFractionalNoise(double d, std::span<const double> c, std::span<double> autocov) {
  const std::int64_t n = std::ssize(autocov), q = std::ssize(c) - 1, centre = n + q - 1, length = n + 2 * q;
  const OwnedBlock<double> g(length);
  if (!g) return Status::NoMemory;
  FillFractionalCorrelations(d, {g.get(), g.get() + length}, centre);
  for (std::int64_t k = 0; k < n; ++k) autocov[k] = MovingAverageSum(c, g.get() + centre - k);
  return Status::Ok;
}

}  // namespace

Status FracSigma(const FractionalProcess &process, std::span<double> autocov, int *cutOffSeries) {
  *cutOffSeries = 0;
  std::fill(autocov.begin(), autocov.end(), 0.0);
  if (std::fabs(process.d) > 5) return Status::OutOfRange;
  if (process.sigma2 <= 0.0001) return Status::NotPositive;

  const std::size_t q = process.theta.size();
  const OwnedBlock<double> block(static_cast<std::int64_t>(q) + 1);
  if (!block) return Status::NoMemory;
  const std::span<double> c = {block.get(), q + 1};
  for (std::size_t j = 0; j <= q; ++j) c[j] = MovingAverageCovariance(process.theta, j);
  if (process.phi.empty() && std::fabs(process.d) < 1e-11) {
    for (std::size_t j = 0; j < autocov.size() && j <= q; ++j) autocov[j] = process.sigma2 * c[j];
    return Status::Ok;
  }
  const Status status = process.phi.empty() ? AddFractionalNoise(process.d, c, autocov)
                                            : AddRootShares(process, c, autocov, cutOffSeries);
  if (Failed(status)) return status;
  const double gamma0 = FractionalVariance(process.sigma2, process.d);
  for (double &value : autocov) value *= gamma0;
  return Status::Ok;
}

}  // namespace tessel
