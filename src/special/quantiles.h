// Quantiles of the normal, chi-squared, Student t and F distributions, and the bracketed Newton iteration.
//
// Edges: p at or below 0 gives the lower end of the distribution (negative infinity, or 0), p at or above 1 positive
// infinity; a missing p or parameter gives the missing value.
//
// Accuracy, as measured: NormalQuantile 7e-16 of the value. The others end when the distribution function is within
// 1e-10 of p and the step below 1e-10 (of the value for ChiQuantile); with p at 1e-9 from 0 or 1 they still agree with
// their tails to 1e-7 of p or 1 - p, the spacing of doubles there. FQuantile with n about 2 or below, whose density has
// no bound at 0, agrees to 3e-5 of p at p = 1e-8, to 2e-3 at 1e-9 and to a third at 1e-10. ChiQuantile inherits the
// error of IncompleteGamma: 1e-7 of the value at 2000 degrees of freedom, 3e-5 at 3000 for p = 1e-9. In very heavy
// tails the 40 steps can end early: StudentQuantile with df = 1 below p = 1e-17 and df = 2 below 1e-24, FQuantile with
// n = 1 below p = 1e-7 (sooner for n below 1), where it is the missing value.
//
// Literature: Wichura, Algorithm AS 241: the percentage points of the normal distribution, Applied Statistics 37
// (1988), 477-484. Best and Roberts, Algorithm AS 91: the percentage points of the chi-squared distribution, Applied
// Statistics 24 (1975), 385-388. Cran, Martin and Thomas, Remark AS R19 and Algorithm AS 109: a remark on Algorithms AS
// 63, the incomplete beta integral, and AS 64, inverse of the incomplete beta function ratio, Applied Statistics 26
// (1977), 111-114. Abramowitz and Stegun, Handbook of Mathematical Functions (1964), 26.7.5.
#pragma once

#include <limits>
#include <optional>

namespace tessel {

// x with P(Z <= x) = p.
double NormalQuantile(double p);

// The chi-squared quantile for df above 0. 0 for p below 1e-10 or df at or below 0.
double ChiQuantile(double p, double df);

// The t quantile; the missing value for df below 1.
double StudentQuantile(double p, int df);

// The F quantile with n and m degrees of freedom. 0 for p at or below 1e-10; the missing value when n or m is at or
// below 0 or no solution comes within one per cent of p.
double FQuantile(double p, double n, double m);

// A starting value for the F quantile of the upper probability q. Nothing when n or m is not above 0 or q not from 0 to
// 1.
std::optional<double> FQuantileStart(double q, double n, double m);

// A function of x with the parameters a and b.
using DistributionFunction = double (*)(double x, double a, double b);

struct NewtonProblem {
  DistributionFunction cdf, density;
  double a, b;  // parameters of both
  // The ends of the first bracket. An infinite end is absent.
  double low = -std::numeric_limits<double>::infinity();
  double high = std::numeric_limits<double>::infinity();
  int maxIter = 40;
  double tolerance = 1e-10;
};

// Solves cdf(x, a, b) = p from x0, moved into the bracket, by the steps s = (p - F) / f of Newton's iteration inside a
// bracket that tightens as it goes. A step that would reach an end of the bracket becomes half the bracket, or half the
// way to its only end. Where f is 0, and no end is in the way, x goes to 2 |x| + 1 in the direction of p. `low` for p
// at or below 0, `high` for p at or above 1. The iteration ends
//   when |p - F| is below `tolerance` and below `tolerance` times f, with one more step;
//   when F = p, when a step leaves x as it is, or after maxIter steps, with the best point so far;
// and gives the missing value when F there is more than one per cent of p away from p.
double SafeguardedNewton(double p, double x0, const NewtonProblem &problem);

}  // namespace tessel
