// Gamma, chi-squared, Student t and F draws from the selected generator.
//
// Degrees of freedom, shape and rate that are not positive and finite give the missing value and draw nothing. The
// order in which a variate takes its uniforms and normals is fixed: a seed gives the same numbers everywhere.
#pragma once

#include "random/generators.h"

namespace tessel {

// The gamma distribution with mean shape/rate. Tiny shapes give 0 where the draw is below the smallest double.
//   shape < 1   method GS: Ahrens and Dieter, Computer methods for sampling from gamma, beta, Poisson and binomial
//               distributions, Computing 12 (1974), 223-246
//   shape = 1   -log(uniform) / rate, of one uniform
//   shape > 1   method GKM3: Cheng and Feast, Some simple gamma variate generators, Applied Statistics 28 (1979),
//               290-295
double GammaVariate(Generators &generators, double shape, double rate);

// The gamma distribution of shape df/2 and rate 1/2.
double ChiVariate(Generators &generators, double df);

// sqrt(df / c) z of a normal z and a chi-squared c, drawn in this order.
double StudentVariate(Generators &generators, int df);

// (c1 / n) / (c2 / m) of two chi-squared with n and m degrees of freedom, drawn in this order. Missing where both draws
// are 0, as with n and m near 0.
double FVariate(Generators &generators, double n, double m);

}  // namespace tessel
