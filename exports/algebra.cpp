// The exports of the Algebra workspace.
#include <tessel/tessel.h>

#include <algorithm>
#include <cstdio>
#include <span>

#include "core/heap.h"
#include "core/missing.h"
#include "default_workspace.h"
#include "frame.h"

using namespace tessel;

namespace {

void Print(void *, MessageKind kind, const char *text) {
  std::printf("\n%s: %s\n", kind == MessageKind::Error ? "Error" : "Warning", text);
  std::fflush(stdout);
}

constinit AlgebraWorkspace workspace{MessageSink{Print, nullptr}};

// Closes the workspace again unless opening it came to its end; a refused argument leaves by unwinding.
struct OpeningGuard {
  bool opened = false;
  ~OpeningGuard() {
    if (!opened) workspace.Close();
  }
};

MorvValue *NameAt(MorvValue *names, int i) { return MorvValGetArrayVal(names, i); }

// The host's variables, with their names and values.
Status AddHostVariables(ConstMatrix data, MorvValue *names) {
  const OwnedBlock<const char *> texts(data.columns);
  if (!texts) return Status::NoMemory;
  for (int i = 0; i < data.columns; ++i) texts[i] = MorvValGetString(NameAt(names, i));
  return workspace.AddData(data, {texts.get(), static_cast<std::size_t>(data.columns)});
}

// Opens the workspace over the arguments of FnInitAlgebraNls and compiles the program. The text of the failure, or
// null.
const char *OpenOverArguments(MorvValue *args, const ConstMatrix &data, bool formulation) {
  constexpr const char *noWorkspace = "Algebra initialization error";
  const SampleSpec start = {IntegerAt(args, 2), IntegerAt(args, 3), 0, 0, IntegerAt(args, 4)};
  if (Failed(workspace.Open(start, data.rows, data.columns))) return noWorkspace;
  if (Failed(AddHostVariables(data, args + 1))) return "Algebra initialization error: cannot create database";
  if (IntegerAt(args, 5) != 0) workspace.MarkDates();

  if (Failed(workspace.Compile(TextAt(args, 6)))) return workspace.Message();
  const int count = workspace.ParameterCount();
  if (!workspace.HasAllParameterValues()) return "Error: Need starting values for all parameters";
  if (formulation && count == 0) return "Error: No parameters to estimate";
  if (!formulation && count != 0) return "Error: No parameters alllowed here";
  if (!formulation) return nullptr;

  // Each is filled before the next one is allocated: both may name one target.
  const Output values = OutputAt(args, 7, count, 1);
  for (int i = 0; i < count && !values.failed; ++i) values.cells[i] = workspace.ParameterValue(i);
  const Output numbers = OutputAt(args, 8, count, 1);
  for (int i = 0; i < count && !numbers.failed; ++i) numbers.cells[i] = workspace.ParameterNumber(i);
  return values.failed || numbers.failed ? noWorkspace : nullptr;
}

// The flags of a selection, one for each observation of the sample: a matrix with a column for every observation (its
// first row counts), or a single column with a row for every observation. Null when the argument is none of these.
const double *SelectionAt(MorvValue *args, int position, int obsCount) {
  if (!HasTag(args + position, MORV_MATRIX)) return nullptr;
  const ConstMatrix flags = MatrixAt(args, position);
  const bool isRow = flags.columns == obsCount;
  const bool isColumn = flags.columns == 1 && flags.rows == obsCount;
  return isRow || isColumn ? flags.cells : nullptr;
}

}  // namespace

void FnInitAlgebraNls(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_ARRAY, args, 1, 1);
  CheckTypes(MORV_INTEGER, args, 2, 5);
  CheckTypes(MORV_STRING, args, 6, 6);
  const bool formulation = HasTag(args + 7, MORV_ARRAY) || HasTag(args + 8, MORV_ARRAY);
  if (formulation) CheckTypes(MORV_ARRAY, args, 7, 8);
  const ConstMatrix data = MatrixAt(args, 0);
  for (int i = 0; i < data.columns; ++i) MorvValGetString(NameAt(args + 1, i));

  OpeningGuard guard;
  const char *failure = OpenOverArguments(args, data, formulation);
  guard.opened = failure == nullptr;
  if (failure != nullptr) MorvValSetString(rtn, failure);
}

void FnRunAlgebraNls(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 2);
  const ConstMatrix values = MatrixAt(args, 0);
  const int first = IntegerAt(args, 1), last = IntegerAt(args, 2);
  if (!workspace.Holds(first, last) || Failed(workspace.SetParameters(values.Flat()))) {
    MorvValSetString(rtn, "Algebra run error");
    return;
  }
  if (Failed(workspace.Run(first, last))) MorvValSetString(rtn, workspace.Message());
}

void FnGetAlgebraVar(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_STRING, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 2);
  const int first = IntegerAt(args, 1);
  const int variable = workspace.Find(TextAt(args, 0));
  if (variable < 0 || first < 0) return;

  const int count = workspace.ObservationCount();
  const int end = std::max(first, std::min(IntegerAt(args, 2), count - 1) + 1);
  const double *flags = SelectionAt(args, 3, count);
  auto taken = [flags](int t) { return flags == nullptr || TruncateToInt(flags[t]) != 0; };
  int n = 0;
  for (int t = first; t < end; ++t) n += taken(t) ? 1 : 0;

  const Output result = MatrixResult(rtn, n, 1);
  if (result.failed) return;
  const std::span<const double> values = workspace.Variable(variable);
  double *cell = result.cells;
  for (int t = first; t < end; ++t)
    if (taken(t)) *cell++ = values[static_cast<std::size_t>(t)];
}

void FnGetAlgebraName(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_INTEGER, args, 0, 0);
  const int i = IntegerAt(args, 0);
  MorvValSetString(rtn, i >= 0 && i < workspace.VariableCount() ? workspace.Name(i) : "");
}

void FnGetAlgebraAddedData(MorvValue *, MorvValue *args, int) {
  CheckTypes(MORV_ARRAY, args, 0, 1);
  const int added = workspace.AddedCount(), first = workspace.FirstAdded();
  const Output data = OutputAt(args, 0, workspace.ObservationCount(), added);
  MorvValue *names = TargetAt(args, 1);
  if (data.failed || names == nullptr) return;
  for (int i = 0; i < added && !data.Empty(); ++i) {
    const std::span<const double> values = workspace.Variable(first + i);
    for (int t = 0; t < data.rows; ++t) data[t][i] = values[static_cast<std::size_t>(t)];
  }
  MorvLibValArrayCalloc(names, added);
  for (int i = 0; i < added; ++i) MorvValSetString(MorvValGetArrayVal(names, i), workspace.Name(first + i));
}

void FnExitAlgebraNls(MorvValue *, MorvValue *, int) { workspace.Close(); }

namespace tessel {

AlgebraWorkspace &DefaultWorkspace() { return workspace; }

}  // namespace tessel
