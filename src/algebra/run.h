// The state of a program's runs on one database.
//
// A run refers to a program, a database, generators and a sink, which must outlive it, and owns everything else that it
// changes. Two runs share nothing but what their makers give to both.
#pragma once

#include <cstdint>

#include "algebra/messages.h"
#include "algebra/program.h"
#include "core/heap.h"
#include "random/generators.h"

namespace tessel {

// Bits of the run error word. Messages and consequences stand in machine.cpp.
enum RunError : std::uint32_t {
  ErrStackFull = 1,
  ErrExponentOverflow = 2,
  ErrLogNonPositive = 4,
  ErrDivideByZero = 8,
  ErrDegreesOfFreedom = 16,
  ErrSqrtNegative = 32,
  ErrSameArguments = 64,
  ErrStack = 128,
  ErrLogZero = 256,
  ErrNoMemory = 512
};

struct Step;  // a step of the plan with its pointers (machine.cpp)

struct AlgebraRun {
  const AlgebraProgram *program = nullptr;  // null before BindRun
  AlgebraDatabase *database = nullptr;
  Generators *generators = nullptr;
  MessageSink sink;

  int firstObs = 0;  // the range, both ends included
  int lastObs = -1;
  int currentObs = 0;
  int obsLimit = 0;          // bound of reads
  std::uint32_t errors = 0;  // RunError bits

  OwnedBlock<double> constants;  // the program's, with the parameters at their present values
  OwnedBlock<double *> columns;  // of the program's symbols; null for a function
  OwnedBlock<Step> steps;        // of the program's plan
};

}  // namespace tessel
