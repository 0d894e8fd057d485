// The data of a run: named columns of doubles over a calendar or dates, read from a CSV file.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "text.h"

struct DataTable {
  std::string source;              // the file's name
  std::vector<std::string> names;  // one per column
  std::vector<bool> iso;           // per column: its cells were written as ISO dates
  std::vector<double> cells;       // row-major
  int rows = 0;
  Calendar calendar;
  bool dated = false;  // column 0 holds the dates of the observations

  int Columns() const { return static_cast<int>(names.size()); }
  double Cell(int row, int column) const {
    return cells[static_cast<std::size_t>(row) * names.size() + static_cast<std::size_t>(column)];
  }
  // -1 when there is none.
  int Find(const std::string &name) const;
  // How the observation is called: its date, or its place in the calendar.
  std::string Label(int observation) const;
  // The same for messages: "observation 2, 1959:2".
  std::string Describe(int observation) const;
};

// What the command line says about the data.
struct DataOptions {
  std::string file;  // "-" is standard input
  std::string start;
  int frequency = 1;
  std::string dates;
  std::vector<std::string> skip;
  std::string first, last;
  std::string presample;  // how many observations before `first` the program runs over as well; or "all"
};

// Reads the file. The first row holds the names. A first column that has no name, or the name "period", labels the rows
// and is not read, nor are the columns to skip. Cells are numbers, missing values or ISO dates (see text.h). The date
// column moves to the front; its dates must be complete and in order.
DataTable ReadData(const DataOptions &options);

// The range of observations to run over, as indices from 0. An observation is given as a number from 1 on, as
// YEAR:PERIOD, as a year where the calendar is yearly, or as a date where there are dates (the first observation at or
// after `first`, the last one at or before `last`).
struct Range {
  int first = 0;
  int last = -1;
  int Count() const { return last - first + 1; }
};
Range RangeOf(const DataTable &data, const DataOptions &options);

// The range with its presample in front: what the program runs over.
Range RunRangeOf(const Range &range, const DataOptions &options);
