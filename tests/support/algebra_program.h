// A fuzz input as an Algebra program over a small database.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

#include "algebra/workspace.h"

// Algebra's messages go nowhere.
inline void SilenceMessages() {
  static const bool silent = [] { return std::freopen("/dev/null", "w", stdout) != nullptr; }();
  (void)silent;
}

// More than a block of observations.
inline constexpr int kFuzzObservations = 300;

// Opens a workspace of quarterly observations of x, z and dates "date" and compiles the program. The first byte of the
// input chooses whether variable 0 holds dates and whether parameters are allowed.
inline bool CompileProgram(const std::uint8_t *data, std::size_t size) {
  using namespace tessel;
  SilenceMessages();
  const std::uint8_t choice = size > 0 ? data[0] : 0;
  const std::string code(reinterpret_cast<const char *>(data) + (size > 0 ? 1 : 0), size > 0 ? size - 1 : 0);
  if (!WorkspaceOpen(3, {2000, 3, 2075, 2, 4})) return false;
  AlgebraDatabase *database = Workspace().database;
  if (DbAddVariables(database, 3) < 0) return false;
  const char *names[] = {"date", "x", "z"};
  const double cells[3][5] = {{0, 91, 182, 274, 366}, {1, NAN, 0, -4, 1e300}, {2, 3, 5, 7, 11}};
  for (int i = 0; i < 3; ++i) {
    DbSetName(database, i, names[i]);
    for (int t = 0; t < kFuzzObservations; ++t) {
      database->columns[i][t] = cells[i][t % 5] + (i == 0 ? 2451545 + t / 5 * 457 : 0);
    }
  }
  if ((choice & 1) != 0) database->info[0].kind = VarDates;
  return WorkspaceCompile(code.c_str()) != 0;
}
