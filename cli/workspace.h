// An Algebra workspace over a table of data: the engine's, with texts and optional values for the command.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "algebra/workspace.h"
#include "data_table.h"

class Workspace {
 public:
  enum class Use { Plain, Model };  // without parameters, with parameters

  explicit Workspace(const DataTable &data);

  // Opens the workspace over the data as they were read, in place of what was open, and compiles the program. Returns
  // Algebra's message on failure, else an empty text.
  std::string Open(const std::string &program, Use use);

  // Runs the program. False when the run failed. A run that finds no memory throws std::bad_alloc.
  bool Run(const Range &range, std::span<const double> parameters = {});

  // The variables in their order, those of the data first.
  std::vector<std::string> Names() const;
  // Those that the program added.
  std::vector<std::string> AddedNames() const;
  // A variable over a range, until the workspace is opened again; none when there is no variable of that name.
  std::optional<std::span<const double>> Variable(const std::string &name, const Range &range) const;

  // They go on when the workspace is opened again.
  tessel::Generators &RandomNumbers() { return algebra_.RandomNumbers(); }

  std::vector<double> startingValues;  // of the parameters, after Open for a model
  std::vector<int> parameterNumbers;
  std::vector<std::string> messages;  // since Open, as "Warning: ...", without the one that Open returned

 private:
  std::string OpenData();

  const DataTable &data_;
  tessel::AlgebraWorkspace algebra_;
};
