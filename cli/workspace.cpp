// An Algebra workspace over a table of data.
#include "workspace.h"

#include <algorithm>
#include <new>

namespace {

void Collect(void *messages, tessel::MessageKind kind, const char *text) {
  static_cast<std::vector<std::string> *>(messages)->push_back(
      (kind == tessel::MessageKind::Error ? "Error: " : "Warning: ") + std::string(text));
}

}  // namespace

Workspace::Workspace(const DataTable &data) : data_(data), algebra_(tessel::MessageSink{Collect, &messages}) {}

std::string Workspace::OpenData() {
  std::string failure = "Algebra initialization error";
  const tessel::ConstMatrix cells(data_.cells.data(), data_.rows, data_.Columns());
  const Calendar &calendar = data_.calendar;
  if (Failed(algebra_.Open({calendar.year, calendar.period, 0, 0, calendar.frequency}, cells.rows, cells.columns)))
    return failure;
  std::vector<const char *> names;
  for (const std::string &name : data_.names) names.push_back(name.c_str());
  if (Failed(algebra_.AddData(cells, names))) return failure + ": cannot create database";
  if (data_.dated) algebra_.MarkDates();
  return {};
}

std::string Workspace::Open(const std::string &program, Use use) {
  messages.clear();
  startingValues.clear();
  parameterNumbers.clear();
  if (std::string failure = OpenData(); !failure.empty()) return failure;
  if (Failed(algebra_.Compile(program.c_str()))) {
    std::string failure = algebra_.Message();
    std::erase(messages, "Error: " + failure);
    return failure;
  }
  const int count = algebra_.ParameterCount();
  if (!algebra_.HasAllParameterValues()) return "Error: Need starting values for all parameters";
  if (use == Use::Model && count == 0) return "Error: No parameters to estimate";
  if (use == Use::Plain && count != 0) return "Error: No parameters alllowed here";
  for (int i = 0; i < count; ++i) {
    startingValues.push_back(algebra_.ParameterValue(i));
    parameterNumbers.push_back(algebra_.ParameterNumber(i));
  }
  return {};
}

bool Workspace::Run(const Range &range, std::span<const double> parameters) {
  if (Failed(algebra_.SetParameters(parameters))) return false;
  const bool succeeded = Succeeded(algebra_.Run(range.first, range.last));
  if ((algebra_.RunErrors() & tessel::ErrNoMemory) != 0) throw std::bad_alloc();
  return succeeded;
}

std::vector<std::string> Workspace::Names() const {
  std::vector<std::string> names;
  for (int i = 0; i < algebra_.VariableCount(); ++i)
    // A program can make a variable with an empty name, out of a name of blanks; nothing can ask for it.
    if (*algebra_.Name(i) != '\0') names.emplace_back(algebra_.Name(i));
  return names;
}

std::vector<std::string> Workspace::AddedNames() const {
  std::vector<std::string> names = Names();
  std::erase_if(names, [&](const std::string &name) { return data_.Find(name) >= 0; });
  return names;
}

std::optional<std::span<const double>> Workspace::Variable(const std::string &name, const Range &range) const {
  const int variable = algebra_.Find(name.c_str());
  if (variable < 0) return std::nullopt;
  return algebra_.Variable(variable).subspan(static_cast<std::size_t>(range.first),
                                             static_cast<std::size_t>(range.Count()));
}
