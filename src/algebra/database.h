// The variable database: named columns of doubles over one calendar sample.
//
// A sample is set before variables are added. Variables keep the order in which they were added; deleting one moves all
// later ones down. Names compare exactly, with case.
#pragma once

#include <cstdint>

#include "algebra/column_pool.h"
#include "algebra/sample.h"

namespace tessel {

inline constexpr int kMaxObservations = 100000000;
inline constexpr int kMaxNameBytes = 64;

// Bits of a variable's flags. Changed and New are cleared at the end of each structural change (add, delete, rename,
// new sample).
enum VarFlag : std::uint32_t { VarProtected = 1, VarChanged = 2, VarNew = 8 };

enum VarKind : std::uint32_t { VarPlain = 0, VarDates = 1 };

struct VarInfo {
  std::uint32_t kind;
};

struct AlgebraDatabase {
  char *name;  // owned; used in one message; may be empty or null
  int varCount;
  int obsCount;
  double **columns;  // copies of the pointers in the handles
  char **names;      // owned
  SampleSpec sample;
  std::uint32_t *flags;
  ColumnHandle **handles;  // owners of the columns
  VarInfo *info;
  int modified;  // 1 after any change of structure, sample or names
  int flagged;   // 1 when a variable may bear VarChanged or VarNew
  int capacity;  // variables that the tables have room for
  // Index over the names: the lowest variable of each hash bucket, and per variable the next higher one of its bucket;
  // -1 for none.
  int *nameHeads;
  int *nameNext;
};

// A database without variables over 1996(1) to 2005(1); null when memory fails.
AlgebraDatabase *DbCreate(int capacity);

// Releases columns, names, tables and the record; null is accepted.
void DbDestroy(AlgebraDatabase *db);

// Takes the sample, cut with a warning to 100,000,000 observations. Columns are not resized.
void DbSetSample(AlgebraDatabase *db, const SampleSpec &sample);

// Adds `count` variables of missing values named "Var%d"; the index of the first, or -1 with an error reported and the
// database as it was.
int DbAddVariables(AlgebraDatabase *db, int count);

// Does nothing for an index outside the variables; reports an error for a protected variable.
void DbDeleteVariable(AlgebraDatabase *db, int index);

// Gives variable `index` the cleaned name (at most 64 bytes, trimmed, quotes to underscores). 1 when it bears the name
// afterwards; 0 for a bad index, no text, an empty text, a name that another variable bears (an error is reported when
// `report` is set), or exhausted memory.
int DbRename(AlgebraDatabase *db, int index, const char *text, bool report);

// The same with the name taken as it is; a name may then stand twice.
int DbSetName(AlgebraDatabase *db, int index, const char *text);

// The first variable of that name, or -1.
int DbFind(const AlgebraDatabase *db, const char *text);

// The variable of that name, added when there is none; null when adding fails.
ColumnHandle *DbFindOrAdd(AlgebraDatabase *db, const char *text);

// Sets VarChanged on the variable that owns the handle, if any does.
void DbMarkChanged(AlgebraDatabase *db, const ColumnHandle *handle);

// 1 when variable 0 holds the dates of the observations, with neither the first nor the last one missing.
int DbHasDates(const AlgebraDatabase *db);

// The date of an observation; indices outside the sample read its nearer end. The missing value without data.
double DbDateAt(const AlgebraDatabase *db, int observation);

// The observations between two dates (to within 6e-9 days), or between two years without dates; returns their count.
int DbDateRange(const AlgebraDatabase *db, double low, double high, int *first, int *last);

}  // namespace tessel
