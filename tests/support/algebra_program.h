// A fuzz input as an Algebra program over a small database.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "algebra/workspace.h"

// More than a block of observations.
inline constexpr int kFuzzObservations = 300;

// Opens a workspace of quarterly observations of x, z and dates "date" and compiles the program. The first byte of the
// input chooses whether variable 0 holds dates.
inline bool CompileProgram(tessel::AlgebraWorkspace &workspace, const std::uint8_t *data, std::size_t size) {
  using namespace tessel;
  const std::uint8_t choice = size > 0 ? data[0] : 0;
  const std::string code(reinterpret_cast<const char *>(data) + (size > 0 ? 1 : 0), size > 0 ? size - 1 : 0);
  const char *const names[] = {"date", "x", "z"};
  const double cells[3][5] = {{0, 91, 182, 274, 366}, {1, NAN, 0, -4, 1e300}, {2, 3, 5, 7, 11}};
  std::vector<double> values;
  for (int t = 0; t < kFuzzObservations; ++t)
    for (int i = 0; i < 3; ++i) values.push_back(cells[i][t % 5] + (i == 0 ? 2451545 + t / 5 * 457 : 0));
  if (Failed(workspace.Open({2000, 3, 0, 0, 4}, kFuzzObservations, 3))) return false;
  if (Failed(workspace.AddData({values.data(), kFuzzObservations, 3}, names))) return false;
  if ((choice & 1) != 0) workspace.MarkDates();
  return Succeeded(workspace.Compile(code.c_str()));
}
