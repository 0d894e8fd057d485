// The record that scanner, compiler, machine and built-in functions share.
#pragma once

#include <csetjmp>
#include <cstdint>

#include "algebra/code.h"
#include "algebra/column_pool.h"
#include "algebra/database.h"

namespace tessel {

struct MachinePlan;

inline constexpr int kMessageBytes = 512;

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

enum SymbolKind : std::uint32_t {
  SymbolHidden = 0,  // a variable that was deleted: the code before still uses its column, no name finds it
  SymbolVariable = 1,
  SymbolFunction = 8
};

struct SymbolEntry {
  char *name;
  std::uint32_t symbolKind;
  ColumnHandle *handle;  // one reference is held; null for a function
  double *data;          // the handle's column, filled at the end of compiling
  int older;             // the next older symbol of the same hash bucket, -1 for none
};

struct AlgebraContext {
  unsigned char *tokens;        // the token stream
  const unsigned char *cursor;  // the parser's place in it
  int tokenSize;
  int firstObs;  // the run's range, both ends included
  int lastObs;
  int currentObs;
  int obsLimit;          // bound of reads
  std::uint32_t errors;  // RunError bits
  char *message;         // kMessageBytes
  SymbolEntry *symbols;
  int symbolCapacity;
  SymbolEntry *symbolTop;  // next free entry
  Instruction *code;
  int codeCapacity;
  Instruction *codeTop;  // next free instruction
  double *constants;
  int constantCount;
  int constantCapacity;
  int *paramTable;  // parameter number to constant slot, -1 when unused; null where no parameter may stand
  int *paramHigh;   // highest parameter number in use, -1 for none
  int paramCapacity;
  AlgebraDatabase *database;
  std::jmp_buf recovery;  // where a compile error unwinds to
  int *hostVariables;     // how many variables came from the host; falls when the code deletes one. May be null
  int *symbolBuckets;     // the newest symbol of each hash value, -1 for none
  MachinePlan *plan;      // the code, prepared for the machine
};

}  // namespace tessel
