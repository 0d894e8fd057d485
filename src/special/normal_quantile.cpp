// The normal quantile: algorithm AS 241, routine PPND16, with its published coefficients.
#include <cmath>

#include "core/missing.h"
#include "special/polynomial.h"
#include "special/quantiles.h"

namespace tessel {
namespace {

struct Rational {
  double numerator[8];
  double denominator[8];

  double operator()(double r) const { return Horner(numerator, r) / Horner(denominator, r); }
};

// |p - 1/2| at or below 0.425.
constexpr Rational kCentral = {
    {2.5090809287301226727E+3, 3.3430575583588128105E+4, 6.7265770927008700853E+4, 4.5921953931549871457E+4,
     1.3731693765509461125E+4, 1.9715909503065514427E+3, 1.3314166789178437745E+2, 3.3871328727963666080E0},
    {5.2264952788528545610E+3, 2.8729085735721942674E+4, 3.9307895800092710610E+4, 2.1213794301586595867E+4,
     5.3941960214247511077E+3, 6.8718700749205790830E+2, 4.2313330701600911252E+1, 1.0}};

// sqrt(-log p) at or below 5, for the smaller of p and 1 - p.
constexpr Rational kMiddle = {
    {7.74545014278341407640E-4, 2.27238449892691845833E-2, 2.41780725177450611770E-1, 1.27045825245236838258E0,
     3.64784832476320460504E0, 5.76949722146069140550E0, 4.63033784615654529590E0, 1.42343711074968357734E0},
    {1.05075007164441684324E-9, 5.47593808499534494600E-4, 1.51986665636164571966E-2, 1.48103976427480074590E-1,
     6.89767334985100004550E-1, 1.67638483018380384940E0, 2.05319162663775882187E0, 1.0}};

// sqrt(-log p) above 5.
constexpr Rational kFar = {
    {2.01033439929228813265E-7, 2.71155556874348757815E-5, 1.24266094738807843860E-3, 2.65321895265761230930E-2,
     2.96560571828504891230E-1, 1.78482653991729133580E0, 5.46378491116411436990E0, 6.65790464350110377720E0},
    {2.04426310338993978564E-15, 1.42151175831644588870E-7, 1.84631831751005468180E-5, 7.86869131145613259100E-4,
     1.48753612908506148525E-2, 1.36929880922735805310E-1, 5.99832206555887937690E-1, 1.0}};

}  // namespace

double NormalQuantile(double p) {
  if (p <= 0) return -PositiveInfinity();
  if (p >= 1) return PositiveInfinity();
  const double q = p - 0.5;
  if (std::fabs(q) <= 0.425) return q * kCentral(0.180625 - q * q);
  const double r = std::sqrt(-std::log(q < 0 ? p : 1 - p));
  const double x = r <= 5 ? kMiddle(r - 1.6) : kFar(r - 5);
  return q < 0 ? -x : x;
}

}  // namespace tessel
