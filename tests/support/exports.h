// Calls of the exports that are linked to a test.
#pragma once

#include <tessel/tessel.h>

#include "calls.h"

struct ExportFunction {
  std::string_view name;
  MorvFunction function;
};

// In the order of the table.
inline constexpr ExportFunction kFunctions[] = {
    {"FnActFitTable", FnActFitTable},
    {"FnBinProbitJD", FnBinProbitJD},
    {"FnComfac", FnComfac},
    {"FnCountJD", FnCountJD},
    {"FnDeSeasonalize", FnDeSeasonalize},
    {"FnDynForc", FnDynForc},
    {"FnEgarchVar", FnEgarchVar},
    {"FnEncompassing", FnEncompassing},
    {"FnExitAlgebraNls", FnExitAlgebraNls},
    {"FnFilterMS", FnFilterMS},
    {"FnFracSigma", FnFracSigma},
    {"FnGLScovariance", FnGLScovariance},
    {"FnGarchVar", FnGarchVar},
    {"FnGetAlgebraAddedData", FnGetAlgebraAddedData},
    {"FnGetAlgebraName", FnGetAlgebraName},
    {"FnGetAlgebraVar", FnGetAlgebraVar},
    {"FnImpulse", FnImpulse},
    {"FnInitAlgebraNls", FnInitAlgebraNls},
    {"FnInstabilityTest", FnInstabilityTest},
    {"FnJackknifeHCSE", FnJackknifeHCSE},
    {"FnKroneckerSel", FnKroneckerSel},
    {"FnLogitJD", FnLogitJD},
    {"FnLogitProbDeriv", FnLogitProbDeriv},
    {"FnRalsForecast", FnRalsForecast},
    {"FnRalsFunc", FnRalsFunc},
    {"FnRivEst", FnRivEst},
    {"FnRlsEst", FnRlsEst},
    {"FnRunAlgebraNls", FnRunAlgebraNls},
    {"FnSeasonalRsq", FnSeasonalRsq},
    {"FnSmoothMS", FnSmoothMS},
};
static_assert(std::ranges::equal(kFunctions, tessel::kExports, {}, &ExportFunction::name, &tessel::Export::name));

inline MorvFunction FunctionOf(std::string_view name) {
  return std::ranges::find(kFunctions, name, &ExportFunction::name)->function;
}

inline CaseRun Call(const std::string &name, const std::vector<Argument> &arguments) {
  return {arguments, name, FunctionOf(name)};
}

inline CaseRun Call(const ExportCall &call) { return Call(call.name, call.arguments); }
