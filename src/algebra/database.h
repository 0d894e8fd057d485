// The variable database: named columns of doubles over one calendar sample.
//
// A sample is set before variables are added. Variables keep the order in which they were added; deleting one moves all
// later ones down. Names compare exactly, with case.
//
// Every column has an id that never changes: columns are numbered from 0 in the order in which they were made. The
// column of a deleted variable stays, without a name, until the database is destroyed, so that a program compiled
// before the deletion may go on using it.
#pragma once

#include <cstdint>

#include "algebra/grow.h"
#include "algebra/messages.h"
#include "algebra/sample.h"
#include "core/heap.h"
#include "core/status.h"

namespace tessel {

inline constexpr int kMaxObservations = 100000000;
inline constexpr int kMaxNameBytes = 64;

enum VarFlag : std::uint32_t { VarProtected = 1 };  // cannot be deleted

enum VarKind : std::uint32_t { VarPlain = 0, VarDates = 1 };

struct VarInfo {
  std::uint32_t kind = VarPlain;
};

struct AlgebraVariable {
  char *name = nullptr;  // owned by the database
  std::uint32_t flags = 0;
  VarInfo info;
  int column = -1;    // id
  int nextName = -1;  // the next higher variable of the same hash bucket of names, -1 for none
};

// False as a condition when it was default-constructed, moved from, or not made for lack of memory: it then has no
// variables and must be given no work.
struct AlgebraDatabase {
  AlgebraDatabase() = default;
  AlgebraDatabase(const AlgebraDatabase &) = delete;
  AlgebraDatabase &operator=(const AlgebraDatabase &) = delete;
  AlgebraDatabase(AlgebraDatabase &&other) noexcept { *this = std::move(other); }
  AlgebraDatabase &operator=(AlgebraDatabase &&other) noexcept;
  ~AlgebraDatabase();

  explicit operator bool() const { return static_cast<bool>(nameHeads); }

  MessageSink sink;  // takes the errors and warnings of the operations below
  int varCount = 0;
  int obsCount = 0;  // of every column
  int capacity = 0;  // variables that the tables have room for
  SampleSpec sample = {1996, 1, 2005, 1, 1};
  OwnedBlock<AlgebraVariable> variables;
  OwnedBlock<double *> columns;    // of the variables, in their order
  OwnedList<double *> allColumns;  // by id; owned
  OwnedBlock<int> nameHeads;       // the lowest variable of each hash bucket of names, -1 for none
};

// A database without variables over 10 observations, 1996(1) to 2005(1). False when memory fails.
AlgebraDatabase DbCreate(int capacity, const MessageSink &sink = {});

// Takes the sample, cut with a warning to 100,000,000 observations. Columns are not resized: Invalid, with nothing
// changed, for another count of observations than that of columns that exist.
Status DbSetSample(AlgebraDatabase &db, const SampleSpec &sample);

// Adds `count` variables of missing values named "Var%d"; the index of the first, or -1 with an error reported and the
// database as it was.
int DbAddVariables(AlgebraDatabase &db, int count);

// Does nothing for an index outside the variables; reports an error for a protected variable.
void DbDeleteVariable(AlgebraDatabase &db, int index);

// Gives a variable a name, taken as it is; a name may stand twice. Invalid for an index outside the variables and for
// an empty name.
Status DbSetName(AlgebraDatabase &db, int index, const char *text);

// The first variable of that name, or -1.
int DbFind(const AlgebraDatabase &db, const char *text);

// The column of the variable of that name, added when there is none; -1 when adding fails. A new variable's name is
// cut to 64 bytes, loses leading white space and trailing control bytes, and bears underscores for quotes. When another
// variable has that name already, an error is reported and the new variable keeps the name "Var%d".
int DbFindOrAdd(AlgebraDatabase &db, const char *text);

// Whether variable 0 holds the dates of the observations, with neither the first nor the last one missing.
bool DbHasDates(const AlgebraDatabase &db);

// The date of an observation; indices outside the sample read its nearer end. The missing value without data.
double DbDateAt(const AlgebraDatabase &db, int observation);

struct ObservationRange {
  int first, last;  // both included; last may be below first
};

// The observations between two dates (to within 6e-9 days), or between two years without dates. A dated range without
// an observation at or above `low` begins at 0, one without an observation at or below `high` ends at -1.
ObservationRange DbDateRange(const AlgebraDatabase &db, double low, double high);

}  // namespace tessel
