// The Algebra workspace: one database, one compiled program and its parameters, for the whole process.
//
// The host opens it over its data (FnInitAlgebraNls), runs the program with trial parameters as often as it likes and
// reads variables back. Forecasts drive the same program through the five calls at the end. One workspace exists at a
// time; nothing here is locked.
#pragma once

#include "algebra/context.h"
#include "core/row_matrix.h"

namespace tessel {

inline constexpr int kMaxParameters = 500;
inline constexpr int kSpareVariables = 20;  // room for variables of the program's own before the database grows

struct AlgebraWorkspace {
  AlgebraDatabase *database;  // null when closed
  AlgebraContext context;
  int firstAdded;  // variables from the host; one at this index or above was made by Algebra code
  int *paramTable;
  int paramCount;
  int paramHigh;
};

// The process's workspace.
AlgebraWorkspace &Workspace();

// Opens a workspace for k variables over the sample, closing the one that was open. 0, with everything closed, when
// memory fails or the sample cannot be held.
int WorkspaceOpen(int k, const SampleSpec &sample);

// Does nothing when no workspace is open.
void WorkspaceClose();

// Scans and compiles the program. 0 with the message in the context's message buffer.
int WorkspaceCompile(const char *code);

// Counts the parameters in use. 0 when one of them has no starting value.
int WorkspaceCountParameters();

// Values and numbers of the parameters in use, in ascending order of number, paramCount each; either may be null.
void WorkspaceGetParameters(double *values, double *numbers);

// Stores trial values, paramCount of them in the same order.
void WorkspaceSetParameters(const double *values);

// Whether both observations lie in the sample of an open workspace.
bool WorkspaceHolds(int first, int last);

// ---- For forecasts

// Variables made by Algebra code, and the index of the first; 0 without a workspace.
int AlgebraAddedCount();
int AlgebraFirstAdded();

// For each row i from firstRow to lastRow, in order, stores cell (i, column) of the matrix into variable
// firstVariable + (i - firstRow) at the observation; AlgebraGetRows reads the variable into the cell. Nothing happens
// when the column is below 0 or at or past the count of observations, or the first row above the last; the loop stops
// at the first row number at or past the count of variables. Variables and observations that do not exist are passed
// over.
void AlgebraPutRows(RowMatrix rows, int firstRow, int lastRow, int column, int firstVariable, int observation);
void AlgebraGetRows(RowMatrix rows, int firstRow, int lastRow, int column, int firstVariable, int observation);

// Runs the program over a range, quietly. 1 when the run did not fail; 0 also when the range is not in the sample.
int AlgebraRunRange(int first, int last);

}  // namespace tessel
