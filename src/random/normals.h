// Standard normal draws: the ziggurat for the two forms of MWC8222, and the polar method for the other generators.
//
// A draw of the ziggurat takes two steps of the generator in 97.2% of the cases, and more in a wedge or in the tail.
// Marsaglia and Tsang, The ziggurat method for generating random variables, Journal of Statistical Software 5(8)
// (2000).
//
// The polar method makes two normals from a pair of uniforms that is accepted in 78.5% of the cases; the second is
// cached and answers the next call. Marsaglia and Bray, A convenient method for generating normal variables, SIAM
// Review 6 (1964), 260-264.
#pragma once

#include "random/generators.h"

namespace tessel {

// Here the rectangle and the place in it come from a 32-bit uniform and a step.
double NormalZiggurat32(Generators &generators);

// Here both come from the same two steps.
double NormalZiggurat52(Generators &generators);
void FillZiggurat52(Generators &generators, Matrix m);

double NormalPolar(Generators &generators);

}  // namespace tessel
