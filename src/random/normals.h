// Standard normal draws: the ziggurat of Marsaglia and Tsang (2000), Journal of Statistical Software 5(8), for the two
// forms of MWC8222, and the polar method of Marsaglia and Bray (1964), SIAM Review 6, for the other generators.
//
// A draw of the ziggurat takes two steps of the generator in 97.2% of the cases, and more in a wedge or in the tail.
// The polar method makes two normals from a pair of uniforms that is accepted in 78.5% of the cases; the second is
// cached and answers the next call.
#pragma once

#include "core/row_matrix.h"

namespace tessel {

inline constexpr int kZigguratCount = 128;
inline constexpr double kZigguratEdge = 3.442619855899;  // where the tail begins

// The abscissae from the base rectangle's pseudo-width down to 0, and zigRatio[i] = zigX[i+1] / zigX[i].
extern double zigX[kZigguratCount + 1];
extern double zigRatio[kZigguratCount];

void ZigguratBuild();

// Here the rectangle and the place in it come from a 32-bit uniform and a step.
double NormalZiggurat32();

// Here both come from the same two steps.
double NormalZiggurat52();
RowMatrix FillZiggurat52(RowMatrix m, int rows, int columns);

double NormalPolar();
void NormalDiscardCached();

}  // namespace tessel
