// The stack machine: runs compiled code statement by statement, each statement over all observations of the range from
// first to last before the next one starts.
//
// Arithmetic never stops a run: a fault sets a bit in the context's error word and the value goes on.
#pragma once

#include "algebra/context.h"

namespace tessel {

// Runs the code over the observations first to last (both included, and inside the database); reads reach over the
// observations 0 to obsLimit - 1. 1 when the run did not fail, else 0. Unless quiet, the faults are reported with the
// text that RunReport builds. Warnings (overflow in exponent, divide by zero, logarithm of zero) do not fail a run.
int RunAlgebra(AlgebraContext *context, int first, int last, int obsLimit, bool quiet);

// Writes the text for an error word into a buffer of kMessageBytes.
void RunReport(std::uint32_t errors, char *text);

}  // namespace tessel
