// All exports by name.
#pragma once

#include <tessel/tessel.h>

#include "calls.h"

inline const ExportTable kExports = {
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

inline CaseRun Call(const std::string &name, const std::vector<Argument> &arguments) {
  return {arguments, name, kExports.at(name)};
}
