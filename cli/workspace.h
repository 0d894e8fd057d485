// The Algebra workspace of the library, through its exports.
#pragma once

#include <morv/host.hpp>

#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "data_table.h"

// Opens libtessel13_morv_64 from the folder that belongs to this command, or else by the loader's search.
void OpenLibrary(morv::Library &library);

// One workspace: the library has one for the whole process, so at most one object of this type is in use at a time.
// What the library prints is kept off standard output: warnings and errors are collected in `messages`.
class Workspace {
 public:
  enum class Use { Plain, Model };  // without parameters, with parameters

  explicit Workspace(const morv::Library &library);
  Workspace(const Workspace &) = delete;
  Workspace &operator=(const Workspace &) = delete;
  ~Workspace();

  // Opens the workspace over the data and compiles the program; closes what was open. Returns Algebra's message on
  // failure, else an empty text.
  std::string Open(const DataTable &data, const std::string &program, Use use);
  void Close();

  // Runs the program. False when the run failed.
  bool Run(const Range &range, std::span<const double> parameters = {});

  // The variables in their order, those of the data first.
  std::vector<std::string> Names();
  // Those that the program added.
  std::vector<std::string> AddedNames();
  // A variable over a range; none when there is no variable of that name.
  std::optional<std::vector<double>> Variable(const std::string &name, const Range &range);

  std::vector<double> startingValues;  // of the parameters, after Open for a model
  std::vector<int> parameterNumbers;
  std::vector<std::string> messages;  // printed by the library and not returned otherwise, as "Warning: ..."

 private:
  morv::Outcome Call(const std::string &name, morv::Arguments &args);
  void Collect(const std::string &printed);

  const morv::Library &library_;
  std::unique_ptr<std::FILE, int (*)(std::FILE *)> printed_;
  std::vector<std::string> dataNames_;
  bool open_ = false;
};
