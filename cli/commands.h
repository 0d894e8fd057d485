// The work behind each subcommand. Each throws Failure when it cannot be done, and returns the exit status otherwise.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "data_table.h"
#include "output.h"

struct RunOptions {
  std::string program;
  DataOptions data;
  OutputOptions output;
  int seed = 0;  // of the random numbers; 0 for the generator's own
};

struct FitOptions : RunOptions {
  std::string residual;
  std::vector<std::string> startingValues;  // in the place of the program's, in ascending order of parameter number
  int maxIterations = 1000;
  double tolerance = 1e-12;
  int digits = 7;  // significant digits of the table
};

// Runs the program over the data and writes the variables.
int RunCommand(const RunOptions &options);

// Estimates the program's parameters by non-linear least squares and prints a table; writes the variables at the
// estimates where an output file is named.
int FitCommand(const FitOptions &options);

// Compiles the program; without data it knows no variables but its own.
int CheckCommand(const std::string &program, const std::optional<DataOptions> &data);

// Lists the built-in functions, or one of them.
int FunctionsCommand(const std::string &name);

struct CallOptions {
  std::vector<std::string> calls;  // function and file of arguments in turn
  std::vector<std::string> only;   // outputs to print, a function for its result, "result" for every one; all if empty
  int digits = 17;                 // significant digits
};

// Calls exports of the library. Prints each call's results as JSON; a call of which nothing is shown prints nothing.
int CallCommand(const CallOptions &options);
