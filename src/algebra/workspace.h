// The Algebra workspace: data, a compiled program, its parameters, random numbers, and where messages go.
//
// clang-format off
//   AlgebraWorkspace workspace(sink);
//   // The sample: from 1990(1), quarterly.
//   Status status = workspace.Open({1990, 1, 0, 0, 4}, data.rows, data.columns);
//   if (Succeeded(status)) status = workspace.AddData(data, names);
//   if (Succeeded(status)) status = workspace.Compile("y = log(x) - &0;");   // y exists now, with missing values
//   if (Succeeded(status)) status = workspace.Run(0, data.rows - 1);
// clang-format on
//
// A workspace shares nothing with another one: any number may be open, and each may be used by one thread at a time.
// Every call may be made at any time; without data or without a program it does nothing, or returns a status that says
// so. Observations and variables count from 0.
#pragma once

#include <span>

#include "algebra/messages.h"
#include "algebra/parser.h"
#include "algebra/program.h"
#include "algebra/run.h"
#include "core/matrix.h"
#include "core/status.h"
#include "random/generators.h"

namespace tessel {

inline constexpr int kSpareVariables = 20;  // room for variables of the program's own before the database grows

enum class RunReporting { Quiet, Report };

class AlgebraWorkspace {
 public:
  AlgebraWorkspace() = default;
  constexpr explicit AlgebraWorkspace(const MessageSink &sink) { log_.sink = sink; }
  AlgebraWorkspace(const AlgebraWorkspace &) = delete;
  AlgebraWorkspace &operator=(const AlgebraWorkspace &) = delete;

  // ---- Data

  // Opens the workspace over a sample that begins at year1(period1) with `observations` observations (cut with a
  // warning to 100,000,000), and makes room for `variables` variables. Closes what was open. Invalid for a frequency
  // below 1 and for a sample that runs past the last year that an int can hold. When it fails, the workspace is closed.
  Status Open(const SampleSpec &start, int observations, int variables);

  // Adds variables: column i of the matrix, an observation to a row, under names[i]; an empty name leaves the default
  // one, "Var%d". A matrix with fewer rows than observations leaves the rest missing; further rows are not read. They
  // are the caller's; Invalid once a program has been compiled or attached.
  Status AddData(ConstMatrix data, std::span<const char *const> names);

  // Declares that variable 0 holds the dates of the observations; with a program it does nothing.
  void MarkDates();

  // Releases data and program. The generators go on.
  void Close();

  bool IsOpen() const { return static_cast<bool>(database_); }
  // A program depends on the database's layout: its variables are not to be added, deleted or renamed under it.
  AlgebraDatabase &Database() { return database_; }
  const AlgebraDatabase &Database() const { return database_; }

  // ---- The program

  // Scans and compiles a program, in place of the present one. ScanFailed, ParseFailed or NoMemory with Message()
  // telling why; the workspace then has no program, and its data keeps the variables that were added up to there.
  Status Compile(const char *text, ParameterUse parameters = ParameterUse::Allowed);

  // Takes a program that was compiled in another workspace with data of the same layout. It is not copied: it must stay
  // as it is until this workspace is closed, opened anew or given another program: what it came from may not be closed,
  // opened or given another program meanwhile. Invalid for another layout; the program that is attached already takes
  // its starting values again.
  Status Attach(const AlgebraProgram &program);

  // Null without a program. The program that Compile made lives until the next Open, Close, Compile or Attach.
  const AlgebraProgram *Program() const { return run_.program; }

  // ---- Parameters of the program, in ascending order of their numbers

  int ParameterCount() const { return run_.program == nullptr ? 0 : run_.program->parameters.Size(); }
  // -1 for no such parameter.
  int ParameterNumber(int i) const { return HasParameter(i) ? run_.program->parameters[i].number : -1; }
  // The starting value at first; missing where the program sets none, and for no such parameter.
  double ParameterValue(int i) const;
  bool HasAllParameterValues() const;
  // Invalid unless there is a value for each parameter.
  Status SetParameters(std::span<const double> values);

  // ---- Running

  // Whether both observations lie in the sample.
  bool Holds(int first, int last) const;

  // Runs the program over the observations first to last, each statement over all of them before the next one. Invalid
  // for observations outside the sample, RunFailed without a program and when the run fails. With Report, the faults
  // and warnings of the run are reported, and stay in Message().
  Status Run(int first, int last, RunReporting reporting = RunReporting::Quiet);

  // RunError bits of the last run, warnings included.
  std::uint32_t RunErrors() const { return run_.errors; }

  // ---- Variables, those of the data first

  int VariableCount() const { return database_.varCount; }
  int ObservationCount() const { return database_.obsCount; }
  // Null for no such variable.
  const char *Name(int variable) const { return HasVariable(variable) ? database_.variables[variable].name : nullptr; }
  // The first variable of that name, or -1.
  int Find(const char *name) const { return IsOpen() ? DbFind(database_, name) : -1; }
  // All of its observations; none for no such variable.
  std::span<const double> Variable(int variable) const;

  // Variables that the program added, and the index of the first. A deleted variable of the caller's moves it down.
  int AddedCount() const { return database_.varCount - FirstAdded(); }
  int FirstAdded() const;

  // Row i of a column of cells, a view of one column, is variable firstVariable + i at the observation: PutRows stores
  // the cells in the variables, GetRows reads the variables into the cells. Variables and observations that do not
  // exist are passed over.
  void PutRows(const ConstMatrix &cells, int firstVariable, int observation);
  void GetRows(const Matrix &cells, int firstVariable, int observation) const;

  // ---- Messages and random numbers

  // The last error of Open, Compile or a reported run; empty when the last of them ended without one.
  const char *Message() const { return log_.last; }

  Generators &RandomNumbers() { return generators_; }

 private:
  bool HasParameter(int i) const { return i >= 0 && i < ParameterCount(); }
  bool HasVariable(int i) const { return i >= 0 && i < database_.varCount; }
  Status Bind(const AlgebraProgram &program);

  MessageLog log_;
  Generators generators_;
  AlgebraDatabase database_;
  AlgebraProgram program_;  // what Compile made; empty while an attached program is used
  AlgebraRun run_;
  int callerColumns_ = 0;  // the ids below it are those of the caller's columns
};

}  // namespace tessel
