// Which parameters an information matrix, or a Jacobian, identifies.
//
// Everything is judged on matrices scaled to a unit diagonal (columns of length 1), so that no unit of a parameter
// matters. A direction v with v'Cv near zero, C the scaled information, is one along which the objective does not
// change; parameter j is not identified when such a direction of length 1 has |v_j| above 1e-5, or when its own
// information is zero. With two parameters that enter as their sum alone both are marked.
#pragma once

#include <span>

#include "optimise/convergence.h"
#include "optimise/trust_region.h"

namespace tessel {

// Eigenvalues of scaled information matrices at or below these are zero: of those that are exact to rounding, and those
// made by differences of exact gradients.
inline constexpr double kFlatExact = 1e-12;
inline constexpr double kFlatDifferences = 1e-9;

// Cells on the diagonal of R for scaled columns at or below these are zero: at a point known to rounding, and one that
// is known to the square root of it.
inline constexpr double kDependentExact = 1e-12;
inline constexpr double kDependentNearly = 1e-5;

// Work memory of the functions below.
struct IdentificationWork {
  OwnedMatrix matrix;            // P x P
  OwnedMatrix vectors;           // 3 x P
  TrustRegion columns;           // of IdentifyFromFactor
  bool Reserve(int parameters);  // false when memory fails
};

// Sets smallestEigenvalue, condition, unidentified and the kUnidentified marks of `record` from the rows and columns
// `free` of `information` (P x P, lower triangle read). Cells that are not finite leave the record as it is.
void IdentifyFromInformation(ConstMatrix information, std::span<const int> free, double flat, IdentificationWork *work,
                             Convergence *record);

// The same from the free columns of a triangular factor R, for the information R'R, whose eigenvalues are those of the
// scaled R'R. They are found from R, so that they are good far below epsilon.
void IdentifyFromFactor(const TallFactor &factor, std::span<const int> free, double dependent, IdentificationWork *work,
                        Convergence *record);

}  // namespace tessel
