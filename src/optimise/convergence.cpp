// The reasons in words.
#include "optimise/convergence.h"

namespace tessel {

const char *StopText(StopReason reason) {
  switch (reason) {
    case StopReason::Decrement: return "the estimate is within tolerance of the optimum";
    case StopReason::PerfectFit: return "the residuals are zero but for rounding";
    case StopReason::RoundingLimit: return "the optimum was reached as closely as rounding allows";
    case StopReason::Iterations: return "the limit of iterations was reached";
    case StopReason::Evaluations: return "the limit of evaluations was reached";
    case StopReason::Stopped: return "the caller stopped the search";
    case StopReason::StartNotFinite: return "the objective is missing or infinite at the starting values";
    case StopReason::DerivativeNotFinite: return "a derivative is missing or infinite";
    case StopReason::NoProgress: return "no step improves the objective, although the gradient is not zero";
    case StopReason::SaddlePoint: return "the gradient is zero, but the point is no optimum";
    case StopReason::AtInfinity: return "the objective keeps improving while parameters grow without limit";
  }
  return "";
}

}  // namespace tessel
