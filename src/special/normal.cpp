// The normal distribution.
//
// Polynomials of degree 12 for erf(z)/z in unit pieces of z^2 and for the sixteenth root of erfc(z) in unit pieces of
// z, z = |x|/sqrt(2); in the far tail the form of algorithm AS 66.
#include "special/normal.h"

#include <cmath>

#include "core/missing.h"
#include "special/normal_tables.h"
#include "special/polynomial.h"

namespace tessel {
namespace {

// P(0 < Z < x) = erf(z)/2, z below 2.2.
double HalfErf(double z) {
  const double w = z * z;
  if (z < 0.3) return z * HornerLast<8>(kErfOverZ[0], w) / 2;
  const int k = static_cast<int>(w);
  return z * Horner(kErfOverZ[k], w - k) / 2;
}

// P(Z > x) = erfc(z)/2, z from 2.2 to below 6.9.
double HalfErfc(double z) {
  const int k = static_cast<int>(z);
  const double r = Horner(kErfcRoot[k - 2], z - k);
  const double r2 = r * r;
  const double r4 = r2 * r2;
  const double s = r4 * r4;
  return s * 0.5 * s;
}

// P(Z > y), z from 6.9 to 25.7.
double FarTail(double y) {
  const double d =
      y - 3.8052e-8 +
      1.00000615302 /
          (y + 0.000398064794 +
           1.98615381364 /
               (y - 0.151679116635 +
                5.29330324926 /
                    (y + 4.8385912808 - 15.1508972451 / (y + 0.742380924027 + 30.789933034 / (y + 3.99019417011)))));
  return std::exp(-y * y / 2) * 0.398942280385 / d;
}

}  // namespace

double NormalTail(double x, Tail tail) {
  if (IsMissing(x)) return x;
  const double z = std::fabs(x) * 0.7071067811865476;
  const bool wantUpper = (tail == Tail::Upper) != (x < 0);  // of |x|
  if (z < 2.2) {
    const double e = HalfErf(z);
    return wantUpper ? 0.5 - e : 0.5 + e;
  }
  if (z < 6.9) {
    const double upper = HalfErfc(z);
    return wantUpper ? upper : 1 - upper;
  }
  if (!wantUpper) return 1;
  return z > 25.7 ? 0 : FarTail(std::fabs(x));
}

double NormalCdf(double x) { return NormalTail(x, Tail::Lower); }

double NormalDensity(double x) { return std::exp(-x * x / 2) / 2.5066282746310007; }

}  // namespace tessel
