// The doors of the Algebra workspace.
#include <tessel/tessel.h>

#include <algorithm>
#include <cstring>

#include "algebra/workspace.h"
#include "frame.h"

using namespace tessel;

namespace {

// Closes the workspace again unless opening it came to its end; a refused argument leaves by unwinding.
struct OpeningGuard {
  bool opened = false;
  ~OpeningGuard() {
    if (!opened) WorkspaceClose();
  }
};

MorvValue *NameAt(MorvValue *names, int i) { return MorvValGetArrayVal(names, i); }

// The host's variables, with their names and values. 0 when memory fails.
int AddHostVariables(const MatrixView &data, MorvValue *names) {
  AlgebraDatabase *database = Workspace().database;
  if (DbAddVariables(database, data.columns) < 0) return 0;
  const int rows = std::min(data.rows, database->obsCount);
  for (int i = 0; i < data.columns; ++i) {
    // An empty name leaves the variable its default one.
    const char *name = MorvValGetString(NameAt(names, i));
    if (*name != '\0' && !DbSetName(database, i, name)) return 0;
    for (int t = 0; t < rows; ++t) database->columns[i][t] = data.cells[t][i];
  }
  return 1;
}

// Opens the workspace over the arguments of FnInitAlgebraNls and compiles the program. The text of the failure, or
// null.
const char *OpenOverArguments(MorvValue *args, const MatrixView &data, bool formulation) {
  constexpr const char *noWorkspace = "Algebra initialization error";
  SampleSpec sample = {IntegerAt(args, 2), IntegerAt(args, 3), 0, 0, IntegerAt(args, 4)};
  if (sample.frequency < 1) return noWorkspace;
  SampleSetCount(&sample, data.rows);
  if (!WorkspaceOpen(data.columns, sample)) return noWorkspace;

  AlgebraWorkspace &workspace = Workspace();
  // A sample that runs past the last year that can be counted holds fewer observations than the data.
  if (workspace.database->obsCount != std::min(data.rows, kMaxObservations)) return noWorkspace;
  if (data.columns > 0 && !AddHostVariables(data, args + 1))
    return "Algebra initialization error: cannot create database";
  if (IntegerAt(args, 5) != 0 && data.columns > 0) workspace.database->info[0].kind = VarDates;

  if (!WorkspaceCompile(TextAt(args, 6))) return workspace.context.message;
  if (!WorkspaceCountParameters()) return "Error: Need starting values for all parameters";
  if (formulation && workspace.paramCount == 0) return "Error: No parameters to estimate";
  if (!formulation && workspace.paramCount != 0) return "Error: No parameters alllowed here";
  if (!formulation) return nullptr;

  // Each is filled before the next one is allocated: both may name one target.
  const OutputView values = OutputAt(args, 7, workspace.paramCount, 1);
  WorkspaceGetParameters(values.Flat(), nullptr);
  const OutputView numbers = OutputAt(args, 8, workspace.paramCount, 1);
  WorkspaceGetParameters(nullptr, numbers.Flat());
  return values.failed || numbers.failed ? noWorkspace : nullptr;
}

// The flags of a selection, one for each observation of the sample: a matrix with a column for every observation (its
// first row counts), or a single column with a row for every observation. Null when the argument is none of these.
const double *SelectionAt(MorvValue *args, int position, int obsCount) {
  if (!HasTag(args + position, MORV_MATRIX)) return nullptr;
  const MatrixView flags = MatrixAt(args, position);
  const bool isRow = flags.columns == obsCount;
  const bool isColumn = flags.columns == 1 && flags.rows == obsCount;
  return isRow || isColumn ? flags.Flat() : nullptr;
}

}  // namespace

void FnInitAlgebraNls(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_ARRAY, args, 1, 1);
  CheckTypes(MORV_INTEGER, args, 2, 5);
  CheckTypes(MORV_STRING, args, 6, 6);
  const bool formulation = HasTag(args + 7, MORV_ARRAY) || HasTag(args + 8, MORV_ARRAY);
  if (formulation) CheckTypes(MORV_ARRAY, args, 7, 8);
  const MatrixView data = MatrixAt(args, 0);
  for (int i = 0; i < data.columns; ++i) MorvValGetString(NameAt(args + 1, i));

  OpeningGuard guard;
  const char *failure = OpenOverArguments(args, data, formulation);
  guard.opened = failure == nullptr;
  if (failure != nullptr) MorvValSetString(rtn, failure);
}

void FnRunAlgebraNls(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 2);
  const MatrixView values = MatrixAt(args, 0);
  const int first = IntegerAt(args, 1), last = IntegerAt(args, 2);
  AlgebraWorkspace &workspace = Workspace();
  if (values.Length() != workspace.paramCount || !WorkspaceHolds(first, last)) {
    MorvValSetString(rtn, "Algebra run error");
    return;
  }
  WorkspaceSetParameters(values.Flat());
  if (!AlgebraRunRange(first, last)) MorvValSetString(rtn, workspace.context.message);
}

void FnGetAlgebraVar(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_STRING, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 2);
  const AlgebraDatabase *database = Workspace().database;
  const int first = IntegerAt(args, 1);
  const int variable = database == nullptr ? -1 : DbFind(database, TextAt(args, 0));
  if (variable < 0 || first < 0) return;

  const int end = std::max(first, std::min(IntegerAt(args, 2), database->obsCount - 1) + 1);
  const double *flags = SelectionAt(args, 3, database->obsCount);
  auto taken = [flags](int t) { return flags == nullptr || TruncateToInt(flags[t]) != 0; };
  int count = 0;
  for (int t = first; t < end; ++t) count += taken(t) ? 1 : 0;

  double *cell = MatrixResult(rtn, count, 1).Flat();
  if (cell == nullptr) return;
  for (int t = first; t < end; ++t)
    if (taken(t)) *cell++ = database->columns[variable][t];
}

void FnGetAlgebraName(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_INTEGER, args, 0, 0);
  const int i = IntegerAt(args, 0);
  const AlgebraDatabase *database = Workspace().database;
  const bool exists = database != nullptr && i >= 0 && i < database->varCount;
  MorvValSetString(rtn, exists ? database->names[i] : "");
}

void FnGetAlgebraAddedData(MorvValue *, MorvValue *args, int) {
  CheckTypes(MORV_ARRAY, args, 0, 1);
  const AlgebraDatabase *database = Workspace().database;
  const int added = database == nullptr ? 0 : AlgebraAddedCount();
  const int first = AlgebraFirstAdded();
  const OutputView data = OutputAt(args, 0, database == nullptr ? 0 : database->obsCount, added);
  auto *names = static_cast<MorvValue *>(args[1].data);
  if (data.failed || names == nullptr) return;
  for (int t = 0; t < data.rows; ++t)
    for (int i = 0; i < added; ++i) data.cells[t][i] = database->columns[first + i][t];
  MorvLibValArrayCalloc(names, added);
  for (int i = 0; i < added; ++i) MorvValSetString(MorvValGetArrayVal(names, i), database->names[first + i]);
}

void FnExitAlgebraNls(MorvValue *, MorvValue *, int) { WorkspaceClose(); }
