// A compiled program: what is made of a text of Algebra for one layout of the data.
//
// A program is not changed after it is compiled. It may be attached to any number of databases of its layout, and any
// number of threads may run it at once, each with a run of its own (run.h): everything that a run writes is in the run
// and in its database.
#pragma once

#include "algebra/code.h"
#include "algebra/database.h"
#include "algebra/grow.h"
#include "algebra/plan.h"
#include "algebra/symbols.h"
#include "core/status.h"

namespace tessel {

inline constexpr int kMaxParameters = 500;  // their numbers are 0 to 499

struct ProgramParameter {
  int number;  // n of &n
  int slot;    // the constant that holds its value
};

// What a program depends on: the variables with their order, names and columns, whether variable 0 holds dates, the
// frequency and the count of observations. Not the values, nor where the sample begins.
struct DataLayout {
  struct Variable {
    int name;  // its place in `names`
    int column;
    std::uint32_t flags;
    std::uint32_t kind;
  };

  OwnedList<Variable> variables;
  TextList names;
  int columnCount = 0;  // those of deleted variables included
  int frequency = 0;
  int obsCount = 0;
};

// A change that compiling makes to the database.
struct DatabaseEdit {
  int added;    // the place in editNames of the name that was added; -1 for a deletion
  int deleted;  // the index of the variable that was deleted
};

struct AlgebraProgram {
  DataLayout layout;
  OwnedList<Instruction> code;
  OwnedList<double> constants;             // those of parameters hold the starting values, missing where there is none
  OwnedList<ProgramParameter> parameters;  // in ascending order of their numbers
  SymbolTable symbols;
  MachinePlan plan;
  OwnedList<DatabaseEdit> edits;
  TextList editNames;

  // False when default-constructed or moved from.
  explicit operator bool() const { return !code.Empty(); }
};

// The layout of a database; NoMemory leaves it incomplete.
Status LayoutOf(const AlgebraDatabase &database, DataLayout *layout);

bool HasLayout(const AlgebraDatabase &database, const DataLayout &layout);

// Makes the program's edits in another database of its layout: afterwards the program can run on it. Invalid, with
// nothing changed, for another layout. When memory fails the database may keep some of the edits.
Status AttachProgram(const AlgebraProgram &program, AlgebraDatabase &database);

}  // namespace tessel
