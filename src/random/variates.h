// Gamma, chi-squared, Student t and F draws from the current generator.
//
// Degrees of freedom, shape and rate that are not positive and finite give the missing value and draw nothing. The
// order in which a variate takes its uniforms and normals is fixed: a seed gives the same numbers everywhere.
#pragma once

namespace tessel {

// Mean shape/rate. Shapes below 1 by GS of Ahrens and Dieter (1974), Computing 12; above 1 by GKM3 of Cheng and Feast
// (1979), Applied Statistics 28; shape 1 takes one uniform, as -log(uniform)/rate. Tiny shapes give 0 where the draw is
// below the smallest double.
double GammaVariate(double shape, double rate);

// Of shape df/2 and rate 1/2.
double ChiVariate(double df);

// Takes the normal first, then the chi-squared.
double StudentVariate(int df);

// Takes the chi-squared of n (the numerator) first. Missing where both draws are 0, as with n and m near 0.
double FVariate(double n, double m);

}  // namespace tessel
