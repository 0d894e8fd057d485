// LogGamma, LogBeta, Gamma and Polygamma.
//
// LogGamma, LogBeta: Stirling's series after a shift of the argument to 8.5 or more (Abramowitz and Stegun 6.1.41), a
// table for small integers. Gamma: the power series of 1/Gamma (6.1.34) after a reduction to (0, 1], exact factorials,
// reflection (6.1.17). Polygamma: the asymptotic series (6.4.11) after a shift by the recurrence (6.4.6).
#include "special/gamma.h"

#include <array>
#include <cmath>

#include "core/missing.h"
#include "special/gamma_tables.h"
#include "special/polynomial.h"

namespace tessel {
namespace {

constexpr double kHalfLogTwoPi = 0.9189385332046727;
constexpr double kPi = 3.141592653589793;
constexpr double kShiftedMinimum = 8.5;  // from here on the asymptotic series hold to the last digit

// B(2k) / (2k (2k - 1)), k from 8 down to 1: log Gamma(y) = (y - 1/2) log y - y + log(2 pi)/2 + S(1/y^2)/y.
constexpr double kStirling[8] = {-7.092156862745098 / 240, 0.006410256410256411,   -0.0019175269175269174,
                                 0.0008417508417508418,    -0.0005952380952380952, 0.0007936507936507937,
                                 -0.002777777777777778,    0.08333333333333333};

// c(2) to c(25) of 1/Gamma(z) = z + c(2) z^2 + c(3) z^3 + ..., as printed in Abramowitz and Stegun 6.1.34. Each is
// within 2.1e-16 of the exact coefficient.
constexpr double kReciprocalGamma[24] = {
    0.5772156649015329,  -0.6558780715202538, -0.0420026350340952, 0.1665386113822915,  -0.0421977345555443,
    -0.0096219715278770, 0.0072189432466630,  -0.0011651675918591, -0.0002152416741149, 0.0001280502823882,
    -0.0000201348547807, -0.0000012504934821, 0.0000011330272320,  -0.0000002056338417, 0.0000000061160950,
    0.0000000050020075,  -0.0000000011812746, 0.0000000001043427,  0.0000000000077823,  -0.0000000000036968,
    0.0000000000005100,  -0.0000000000000206, -0.0000000000000054, 0.0000000000000014};

constexpr int kFactorialCount = 20;

// (x-1)! for x from 1 to 20, exact; the first entry is not used.
constexpr auto kFactorial = [] {
  std::array<double, kFactorialCount + 1> table{};
  table[1] = 1;
  for (int x = 2; x <= kFactorialCount; ++x) {
    const auto entry = static_cast<unsigned>(x);
    table[entry] = table[entry - 1] * (x - 1);
  }
  return table;
}();

// The rest of Stirling's formula.
double StirlingRest(double y) {
  const double v = 1 / y;
  return v * Horner(kStirling, v * v);
}

// 1/Gamma(z) for z in (0, 1], with as many terms as z needs.
double ReciprocalGamma(double z) {
  const int terms = z < 0.1 ? 11 : z < 0.3 ? 14 : z < 0.55 ? 18 : z < 0.75 ? 21 : 24;
  double sum = 0;
  for (int k = terms - 1; k >= 0; --k) sum = (sum + kReciprocalGamma[k]) * z;
  return z + z * sum;
}

// sin(pi x), with the whole half-periods taken off exactly.
double SinPi(double x) {
  const double r = std::remainder(x, 1.0);
  const double sine = std::sin(kPi * r);
  return std::remainder(x - r, 2.0) == 0 ? sine : -sine;
}

// y^-k
double NegativePower(double y, double k) { return k == 1 ? 1 / y : k == 2 ? 1 / (y * y) : std::pow(y, -k); }

// exp(logFactor) y^-k, by way of the logarithm where a factor leaves the range of normal numbers.
double Scaled(double logFactor, double y, double k) {
  const double power = NegativePower(y, k);
  const double factor = std::exp(logFactor);
  if (std::isnormal(power) && std::isnormal(factor)) return factor * power;
  return std::exp(logFactor - k * std::log(y));
}

}  // namespace

double LogGamma(double x) {
  if (x < 0) return MissingValue();
  if (x == 0) return PositiveInfinity();
  const int whole = TruncateToInt(x);
  if (whole == x && whole >= 1 && whole <= 50) return kLogFactorial[whole];
  if (x == PositiveInfinity()) return x;

  double y = x;
  double f = 1;
  while (y < kShiftedMinimum) {
    f *= y;
    y += 1;
  }
  double result = (y - 0.5) * std::log(y);
  if (f != 1) result -= std::log(f);
  return result - y + kHalfLogTwoPi + StirlingRest(y);
}

double LogBeta(double a, double b) {
  const double small = a < b ? a : b;
  const double large = a < b ? b : a;
  const double sum = a + b;
  if (large < 1000) return LogGamma(a) + LogGamma(b) - LogGamma(sum);
  // Stirling's formula for the large one and the sum, whose leading terms cancel.
  const double rest = StirlingRest(large) - StirlingRest(sum) - (large - 0.5) * std::log1p(small / large);
  if (small < kShiftedMinimum) return LogGamma(small) + small * (1 - std::log(sum)) + rest;
  return (small - 0.5) * std::log(small / sum) - 0.5 * std::log(sum) + kHalfLogTwoPi + StirlingRest(small) + rest;
}

double Gamma(double x) {
  if (x > kFactorialCount) return std::exp(LogGamma(x));
  const int whole = TruncateToInt(x);
  if (x <= 0) {
    if (x < -2147483648.0) return MissingValue();
    if (whole == x) return PositiveInfinity();
    if (x > -1e-300) return 1 / x;  // Gamma(-x) may overflow below
    return -kPi / (Gamma(-x) * x * SinPi(x));
  }
  if (whole == x) return kFactorial[static_cast<unsigned>(whole)];
  double z = x;
  double m = 1;
  while (z > 1) {
    z -= 1;
    m *= z;
  }
  return m / ReciprocalGamma(z);
}

double Polygamma(double x, int n) {
  // B(2k), k from 1 to 8.
  constexpr double kBernoulli[8] = {
      1.0 / 6,           -1.0 / 30, 1.0 / 42, -1.0 / 30, 0.07575757575757576, -0.2531135531135531, 1.1666666666666667,
      -7.092156862745098};
  if (x <= 0 || n < 0) return 0;
  if (IsMissing(x)) return x;
  const double order = n;
  const double sign = n % 2 == 1 ? 1 : -1;

  // Shift: a term n! / y^(n+1) for each step. High orders need a larger argument, and their sums are formed in units of
  // the first term so that they stay in range. Once a term leaves the sum as it is, so does all that follows.
  const double minimum = n > 1 ? kShiftedMinimum + order : kShiftedMinimum;
  const double unit = n > 1 ? x : 1;
  const double unitTerm = sign * Scaled(LogGamma(order + 1), unit, order + 1);
  double y = x;
  double sum = 0;
  while (y < minimum) {
    const double next = sum + NegativePower(y / unit, order + 1);
    if (next == sum) return unitTerm * sum;
    sum = next;
    y += 1;
  }
  const double correction = sum > 0 ? unitTerm * sum : 0;

  // The sum of B(2k) (n + 2k - 1)! / (2k)! y^(-n-2k); `term[k-1]` is the factor of B(2k); the smallest
  // terms are added first.
  const double w = 1 / (y * y);
  double term[8];
  term[0] = Scaled(LogGamma(order + 2), y, order) * w / 2;
  for (int k = 1; k < 8; ++k) {
    term[k] = term[k - 1] * w * ((order + 2 * k) * (order + 2 * k + 1)) / ((2 * k + 1) * (2 * k + 2));
  }
  double series = 0;
  for (int k = 7; k >= 0; --k) series += term[k] * kBernoulli[k];
  const double leading = n > 0 ? Scaled(LogGamma(order), y, order) * (order / (2 * y) + 1) : 1 / (2 * y) - std::log(y);
  return sign * (series + leading) + correction;
}

}  // namespace tessel
