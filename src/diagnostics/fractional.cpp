// Autocovariances of a fractional ARMA process.
#include "diagnostics/fractional.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "core/heap.h"
#include "linalg/roots.h"
#include "special/gamma.h"

namespace tessel {
namespace {

struct Complex {
  double re;
  double im;
};

Complex operator*(Complex a, Complex b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
Complex operator*(double a, Complex b) { return {a * b.re, a * b.im}; }
Complex operator+(Complex a, Complex b) { return {a.re + b.re, a.im + b.im}; }
Complex operator-(Complex a, Complex b) { return {a.re - b.re, a.im - b.im}; }
double Modulus(Complex a) { return Hypot(a.re, a.im); }

constexpr int kSeriesTerms = 10000;
constexpr double kSeriesEnd = 1e-14;

void WarnSeriesEnded() { std::puts("hyper: end of loop reached!"); }

double HyperReal(double a, double c, double z) {
  double term = a / c, sum = term;
  for (int k = 1; !(std::fabs(term) < kSeriesEnd); ++k) {
    if (k > kSeriesTerms) {
      WarnSeriesEnded();
      break;
    }
    term = term * z * (k + a) / (k + c);
    sum += term;
  }
  return sum;
}

// (a / c) F(a + 1, 1; c + 1; z), by its series: t_0 = a / c, t_k = t_(k-1) z (k + a) / (k + c).
Complex Hyper(double a, double c, Complex z) {
  if (z.im == 0) return {HyperReal(a, c, z.re), 0};
  Complex term = {a / c, 0}, sum = term;
  for (int k = 1; !(Modulus(term) < kSeriesEnd); ++k) {
    if (k > kSeriesTerms) {
      WarnSeriesEnded();
      break;
    }
    term = ((k + a) / (k + c)) * (term * z);
    sum = sum + term;
  }
  return sum;
}

// The autocovariance of the moving average at lag j, for unit variance.
double MovingAverageCovariance(const FractionalProcess &y, int j) {
  double sum = j == 0 ? 1.0 : y.theta[j - 1];
  for (int i = 1; i <= y.q - j; ++i) sum += y.theta[i - 1] * y.theta[i + j - 1];
  return sum;
}

// The autocorrelations of fractional noise, r(0) = 1 and r(h) = r(h-1) (h - 1 + d) / (h - d), on both sides of
// g[centre].
void FillFractionalCorrelations(double d, double *g, std::int64_t centre, std::int64_t length) {
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

// The sum over j from -q to q of c_|j| values[at + j].
double MovingAverageSum(const double *c, int q, const double *values) {
  double sum = c[0] * values[0];
  for (int j = 1; j <= q; ++j) sum += c[j] * (values[-j] + values[j]);
  return sum;
}

// One autoregressive root's share of the autocovariances, for a root rho and zeta = 1 / X. Lag k is found at index
// A + p - k of arrays of `cells` cells whose centre is A; `series` has 2 A + 1 cells.
struct RootShare {
  const FractionalProcess &process;
  const double *c;
  const double *g;
  std::int64_t centre, cells;
  Complex *series;
  double *re;
  double *im;

  void FillSeries(Complex rho) const;
  void FillWeighted(Complex rho) const;
  void AddTo(Complex zeta, int n, double *autocov) const;
};

// The hypergeometric function at the end of the array, and backwards from there.
void RootShare::FillSeries(Complex rho) const {
  const double d = process.d;
  const auto half = static_cast<double>(centre);
  Complex value = series[2 * centre] = Hyper(d + half, 1 - d + half, rho);
  for (std::int64_t j = 2 * centre - 1; j >= 0; --j) {
    const auto h = static_cast<double>(j - centre);
    value = series[j] = ((h + d) / (h + 1 - d)) * (Complex{1, 0} + rho * value);
  }
}

// g times rho^(2p) H(h) + rho^(2p-1) + H(-h).
void RootShare::FillWeighted(Complex rho) const {
  Complex odd = rho;
  for (int i = 1; i < 2 * process.p - 1; ++i) odd = odd * rho;
  const Complex even = odd * rho;
  for (std::int64_t i = 0; i < cells; ++i) {
    const Complex value = g[i] * (even * series[i] + odd + series[2 * centre - i]);
    re[i] = value.re;
    im[i] = value.im;
  }
}

void RootShare::AddTo(Complex zeta, int n, double *autocov) const {
  const std::int64_t at = centre + process.p;
  for (int k = 0; k < n; ++k) {
    const Complex s = {MovingAverageSum(c, process.q, re + at - k), MovingAverageSum(c, process.q, im + at - k)};
    autocov[k] += (zeta * s).re;
  }
}

// The product over all j of 1 - rho_i rho_j, times that over all j but i of rho_i - rho_j.
Complex RootProduct(const Complex *roots, int count, int i) {
  Complex product = {1, 0};
  for (int j = 0; j < count; ++j) product = product * (Complex{1, 0} - roots[i] * roots[j]);
  for (int j = 0; j < count; ++j)
    if (j != i) product = product * (roots[i] - roots[j]);
  return product;
}

// The inverses of the roots of Phi.
FracStatus FindRoots(const FractionalProcess &process, Complex *roots) {
  const int p = process.p;
  const OwnedBlock<double> work(std::int64_t{3} * p);
  if (!work) return FracStatus::NoMemory;
  double *negated = work.get(), *re = negated + p, *im = re + p;
  for (int i = 0; i < p; ++i) negated[i] = -process.phi[i];
  if (PolyRoots(negated, re, im, p) != 0) return FracStatus::NoRoots;
  for (int i = 0; i < p; ++i) {
    roots[i] = {re[i], im[i]};
    if (Modulus(roots[i]) >= 0.9999) return FracStatus::NotStationary;
  }
  return FracStatus::Success;
}

// The autocovariances up to the factor gamma0.
FracStatus AddRootShares(const FractionalProcess &process, const double *c, int n, double *autocov) {
  // The recursion reaches p + q past its centre on both sides, so that few lags take a longer array.
  const int p = process.p, q = process.q;
  const std::int64_t length = std::max<std::int64_t>(n, std::int64_t{2} * p + 1);
  const std::int64_t centre = length + q - p - 1, cells = length + std::int64_t{2} * q;
  const OwnedBlock<Complex> roots(p), series(2 * centre + 1);
  const OwnedBlock<double> work(3 * cells);
  if (!roots || !series || !work) return FracStatus::NoMemory;
  const FracStatus found = FindRoots(process, roots.get());
  if (found != FracStatus::Success) return found;

  double *g = work.get();
  FillFractionalCorrelations(process.d, g, centre, cells);
  const RootShare share = {process, c, g, centre, cells, series.get(), g + cells, g + 2 * cells};
  for (int i = 0; i < p; ++i) {
    const Complex product = RootProduct(roots.get(), p, i);
    Complex zeta = {0, 0};
    if (Modulus(product) < 1e-11 || !ComplexDivide(1, 0, product.re, product.im, &zeta.re, &zeta.im))
      return FracStatus::EqualRoots;
    share.FillSeries(roots[i]);
    share.FillWeighted(roots[i]);
    share.AddTo(zeta, n, autocov);
  }
  return FracStatus::Success;
}

FracStatus AddFractionalNoise(const FractionalProcess &process, const double *c, int n, double *autocov) {
  const std::int64_t q = process.q, centre = n + q - 1, length = n + 2 * q;
  const OwnedBlock<double> g(length);
  if (!g) return FracStatus::NoMemory;
  FillFractionalCorrelations(process.d, g.get(), centre, length);
  for (int k = 0; k < n; ++k) autocov[k] = MovingAverageSum(c, process.q, g.get() + centre - k);
  return FracStatus::Success;
}

}  // namespace

FracStatus FracSigma(const FractionalProcess &process, int n, double *autocov) {
  std::fill_n(autocov, n, 0.0);
  if (std::fabs(process.d) > 5) return FracStatus::DegreeTooLarge;
  if (process.sigma2 <= 0.0001) return FracStatus::VarianceTooSmall;

  const OwnedBlock<double> c(std::int64_t{process.q} + 1);
  if (!c) return FracStatus::NoMemory;
  for (int j = 0; j <= process.q; ++j) c[j] = MovingAverageCovariance(process, j);
  if (process.p == 0 && std::fabs(process.d) < 1e-11) {
    for (int j = 0; j < n && j <= process.q; ++j) autocov[j] = process.sigma2 * c[j];
    return FracStatus::Success;
  }
  const FracStatus status =
      process.p == 0 ? AddFractionalNoise(process, c.get(), n, autocov) : AddRootShares(process, c.get(), n, autocov);
  if (status != FracStatus::Success) return status;
  const double gamma0 = FractionalVariance(process.sigma2, process.d);
  for (int k = 0; k < n; ++k) autocov[k] *= gamma0;
  return FracStatus::Success;
}

}  // namespace tessel
