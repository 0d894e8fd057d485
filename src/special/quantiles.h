// Quantiles of the normal, chi-squared, Student t and F distributions, and the bracketed Newton iteration.
//
// Edges: p at or below 0 gives the lower end of the distribution (negative infinity, or 0), p at or above 1 positive
// infinity; a missing p or parameter gives the missing value.
//
// Accuracy, as measured: NormalQuantile 7e-16 of the value. The others end when the distribution function is within
// 1e-10 of p and the step below 1e-10 (of the value for ChiQuantile); with p at 1e-9 from 0 or 1 they still agree with
// their tails to 1e-7 of p or 1 - p, the spacing of doubles there. FQuantile with n about 2 or below, whose density has
// no bound at 0, agrees to 3e-5 of p at p = 1e-8, to 2e-3 at 1e-9 and to a third at 1e-10. ChiQuantile inherits the
// error of IncompleteGamma: 1e-7 of the value at 2000 degrees of freedom, 3e-5 at 3000 for p = 1e-9. In very heavy tails
// the 40 steps can end early: StudentQuantile with df = 1 below p = 1e-17 and df = 2 below 1e-24, FQuantile with n = 1
// below p = 1e-7 (sooner for n below 1), where it is the missing value.
//
// Literature: Wichura (1988), Algorithm AS 241, Applied Statistics 37. Best and Roberts (1975), Algorithm AS 91,
// Applied Statistics 24. Cran, Martin and Thomas (1977), Algorithm AS 109, Applied Statistics 26. Abramowitz and Stegun
// (1964), Handbook of Mathematical Functions, 26.7.5.
#pragma once

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

// A starting value for the F quantile of the upper probability q. `bad` is set to 1, and q returned, when n or m is at
// or below 0 or q outside 0 to 1; otherwise to 0.
double FQuantileStart(double q, double n, double m, int *bad);

using DistributionFunction = double (*)(double x, double a, double b);

// Solves cdf(x, a, b) = p from x0 by Newton's steps inside a bracket that tightens as it goes. `low` counts only with
// `hasLow`, `high` only with `hasHigh`; absent ends are infinite. Done when |p - F| is below `tolerance` and below
// `tolerance` times the density, or when a step no longer moves x (the middle of the bracket, where a step that reaches
// an end leads, may be far away then); without a slope x moves outwards to twice its size. `low` for p at or below 0,
// `high` for p at or above 1; the missing value when the best point after `maxIter` steps has F more than one per cent
// of p away from p.
double SafeguardedNewton(double p, double x0, DistributionFunction cdf, DistributionFunction density, double a,
                         double b, int maxIter, double tolerance, int hasLow, double low, int hasHigh, double high);

}  // namespace tessel
