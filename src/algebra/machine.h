// The stack machine: runs compiled code statement by statement, each statement over all observations of the range from
// first to last before the next one starts.
//
// Arithmetic never stops a run: a fault sets a bit in the run's error word and the value goes on.
#pragma once

#include "algebra/run.h"
#include "core/status.h"

namespace tessel {

// Makes a run ready for a program and a database that it was compiled for or attached to; generators and sink are the
// caller's to set. The parameters take their starting values. Invalid for a database that the program does not fit.
// When it fails, the run has no program.
Status BindRun(AlgebraRun &run, const AlgebraProgram &program, AlgebraDatabase &database);

// Takes the program from a run, and releases what BindRun made.
void ReleaseRun(AlgebraRun &run);

// Runs the program over the observations first to last (both included, and inside the database); reads reach over the
// observations 0 to obsLimit - 1. RunFailed when the run has no program, and when it left a bit in run.errors that is
// more than a warning (overflow in exponent, divide by zero, logarithm of zero).
Status RunAlgebra(AlgebraRun &run, int first, int last, int obsLimit);

// The text for an error word: a line for each of its bits.
void RunReport(std::uint32_t errors, char (&text)[kMessageBytes]);

}  // namespace tessel
