// Results as CSV, and files that are written as a whole or not at all.
#pragma once

#include <string>
#include <vector>

#include "data_table.h"
#include "workspace.h"

// Which variables are written, and where. All of them without `only` and `added`.
struct OutputOptions {
  std::string file = "-";  // "-" is standard output
  std::vector<std::string> only;
  bool added = false;  // those that the program added
  int digits = 0;      // significant digits; 0 for as many as read back to the same double
};

// Writes the text to a new file in the same folder and then puts it in the place of `path`, so that `path` never holds
// part of it. What is no regular file (a terminal, a pipe, /dev/null) is written to directly.
void WriteFile(const std::string &path, const std::string &text);

// The workspace's variables over the range as CSV: a column of labels or dates, then one column per variable; missing
// values as NA, numbers in the shortest form that reads back as the same double.
std::string VariablesAsCsv(const Workspace &workspace, const DataTable &data, const Range &range,
                           const OutputOptions &options);
