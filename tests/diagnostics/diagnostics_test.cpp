// Specification tests and fractional autocovariances, called as a user calls them.
#include <tessel/tessel.h>

#include <cmath>

#include "support/reference_cases.h"

namespace {

const ExportTable kExports = {
    {"FnComfac", FnComfac}, {"FnEncompassing", FnEncompassing}, {"FnFracSigma", FnFracSigma}};

CaseRun Call(const std::string &name, const std::vector<Argument> &arguments) {
  return {arguments, name, kExports.at(name)};
}

// Integrals of the spectral density in 30 digits, subresultants in 50, projection matrices in 40, statsmodels' F tests.
TEST(Diagnostics, ReferenceCases) {
  for (const ReferenceCase &c : ReadReferenceCases("diagnostics_reference.txt")) {
    SCOPED_TRACE(c.function + " " + c.name);
    const CaseRun run = Call(c.function, c.arguments);
    for (const Expected &expected : c.expected) ExpectValues(run, expected);
  }
}

}  // namespace
