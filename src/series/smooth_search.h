// The search for a smoothing parameter, by a score or by a target for the equivalent degrees of freedom; see smooth.h.
#pragma once

#include "core/status.h"

namespace tessel {

// What a fit tells about itself.
struct SmoothFit {
  bool solved;   // false: nothing was written
  int count;     // observations that are not missing
  double rss;    // their squared residuals
  double trace;  // of the smoother matrix: the equivalent degrees of freedom
};

struct Smoother {
  SmoothFit (*fit)(void *state, double parameter);  // writes the destination
  void *state;
  double automatic;  // the start of a search without a start of its own
  int walkLimit;     // steps of doubling or halving
  bool stopsAtZero;  // whether the walk up ends where the criterion is 0
};

// Fits with the parameter that alpha chooses. After a search the destination holds the last fit that was tried, which
// is as close to the best one as the search goes. Invalid: alpha allows no fit; Singular: no fit could be solved.
Status SmoothBy(const Smoother &smoother, double alpha);

}  // namespace tessel
