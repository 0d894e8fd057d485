// The Algebra workspace.
#include "algebra/workspace.h"

#include <algorithm>

#include "algebra/machine.h"
#include "algebra/scanner.h"
#include "core/missing.h"

namespace tessel {

namespace {

// Calls move(cell, value) for each cell of a column and the variable it belongs to.
template <class Cells, class Move>
void ForEachRow(const AlgebraDatabase &database, const Cells &cells, int firstVariable, int observation, Move move) {
  if (!database || cells.Empty() || observation < 0 || observation >= database.obsCount) return;
  for (int i = 0; i < cells.rows; ++i) {
    const std::int64_t variable = std::int64_t{firstVariable} + i;
    if (variable >= 0 && variable < database.varCount) move(*cells[i], database.columns[variable][observation]);
  }
}

}  // namespace

Status AlgebraWorkspace::Open(const SampleSpec &start, int observations, int variables) {
  Close();
  log_.Clear();
  if (start.frequency < 1) return Status::Invalid;
  SampleSpec sample = start;
  SampleSetCount(&sample, observations);
  database_ =
      DbCreate(std::min(variables, std::numeric_limits<int>::max() - kSpareVariables) + kSpareVariables, log_.sink);
  if (!database_) return Status::NoMemory;
  Status status = DbSetSample(database_, sample);
  // A sample that runs past the last year that can be counted holds fewer observations.
  if (database_.obsCount != std::min(observations, kMaxObservations)) status = Status::Invalid;
  if (Failed(status)) Close();
  return status;
}

Status AlgebraWorkspace::AddData(ConstMatrix data, std::span<const char *const> names) {
  if (!IsOpen() || static_cast<std::size_t>(data.columns) != names.size()) return Status::Invalid;
  if (Program() != nullptr || AddedCount() > 0) return Status::Invalid;
  const int first = DbAddVariables(database_, data.columns);
  if (first < 0) return Status::NoMemory;
  const int rows = std::min(data.rows, database_.obsCount);
  for (int i = 0; i < data.columns; ++i) {
    const char *name = names[static_cast<std::size_t>(i)];
    if (name != nullptr && *name != '\0' && Failed(DbSetName(database_, first + i, name))) return Status::NoMemory;
    double *column = database_.columns[first + i];
    for (int t = 0; t < rows; ++t) column[t] = data[t][i];
  }
  callerColumns_ = database_.allColumns.Size();
  return Status::Ok;
}

void AlgebraWorkspace::MarkDates() {
  if (database_.varCount > 0 && Program() == nullptr) database_.variables[0].info.kind = VarDates;
}

void AlgebraWorkspace::Close() {
  ReleaseRun(run_);
  run_.errors = 0;
  program_ = {};
  database_ = {};
  callerColumns_ = 0;
}

Status AlgebraWorkspace::Bind(const AlgebraProgram &program) {
  run_.generators = &generators_;
  run_.sink = log_.sink;
  return BindRun(run_, program, database_);
}

Status AlgebraWorkspace::Compile(const char *text, ParameterUse parameters) {
  ReleaseRun(run_);
  program_ = {};
  log_.Clear();
  if (!IsOpen()) return Status::Invalid;
  TokenStream tokens;
  Status status = ScanText(text, log_, &tokens);
  if (Succeeded(status)) status = tessel::Compile(tokens, parameters, database_, log_, &program_);
  if (Failed(status)) return status;
  status = Bind(program_);
  if (Failed(status)) {
    log_.Error("Parse error:  Out of memory on line 1");
    program_ = {};
  }
  return status;
}

Status AlgebraWorkspace::Attach(const AlgebraProgram &program) {
  if (&program == Program()) return Bind(program);
  ReleaseRun(run_);
  program_ = {};
  const Status status = AttachProgram(program, database_);
  if (Failed(status)) return status;
  return Bind(program);
}

double AlgebraWorkspace::ParameterValue(int i) const {
  return HasParameter(i) ? run_.constants[run_.program->parameters[i].slot] : MissingValue();
}

bool AlgebraWorkspace::HasAllParameterValues() const {
  for (int i = 0; i < ParameterCount(); ++i)
    if (IsMissing(ParameterValue(i))) return false;
  return true;
}

Status AlgebraWorkspace::SetParameters(std::span<const double> values) {
  if (values.size() != static_cast<std::size_t>(ParameterCount())) return Status::Invalid;
  for (int i = 0; i < ParameterCount(); ++i)
    run_.constants[run_.program->parameters[i].slot] = values[static_cast<std::size_t>(i)];
  return Status::Ok;
}

bool AlgebraWorkspace::Holds(int first, int last) const {
  const int count = database_.obsCount;
  return IsOpen() && first >= 0 && first < count && last >= 0 && last < count;
}

Status AlgebraWorkspace::Run(int first, int last, RunReporting reporting) {
  log_.Clear();
  if (!Holds(first, last)) return Status::Invalid;
  const Status status = RunAlgebra(run_, first, last, database_.obsCount);
  if (run_.errors != 0 && reporting == RunReporting::Report) {
    char text[kMessageBytes];
    RunReport(run_.errors, text);
    log_.Error(text);
  }
  return status;
}

std::span<const double> AlgebraWorkspace::Variable(int variable) const {
  if (!HasVariable(variable)) return {};
  return {database_.columns[variable], static_cast<std::size_t>(database_.obsCount)};
}

int AlgebraWorkspace::FirstAdded() const {
  // Variables stand in the order in which their columns were made.
  const AlgebraVariable *begin = database_.variables.get(), *end = begin + database_.varCount;
  const auto isCallers = [this](const AlgebraVariable &variable) { return variable.column < callerColumns_; };
  return static_cast<int>(std::partition_point(begin, end, isCallers) - begin);
}

void AlgebraWorkspace::PutRows(const ConstMatrix &cells, int firstVariable, int observation) {
  ForEachRow(database_, cells, firstVariable, observation, [](const double &cell, double &value) { value = cell; });
}

void AlgebraWorkspace::GetRows(const Matrix &cells, int firstVariable, int observation) const {
  ForEachRow(database_, cells, firstVariable, observation, [](double &cell, const double &value) { cell = value; });
}

}  // namespace tessel
