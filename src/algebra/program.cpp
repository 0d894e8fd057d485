// Layouts, and programs attached to further databases.
#include "algebra/program.h"

#include <cstring>

namespace tessel {

namespace {

DataLayout::Variable Described(const AlgebraVariable &variable, int name) {
  return {name, variable.column, variable.flags, variable.info.kind};
}

bool IsAlike(const AlgebraVariable &variable, const DataLayout::Variable &other, const char *otherName) {
  return variable.column == other.column && variable.flags == other.flags && variable.info.kind == other.kind &&
         std::strcmp(variable.name, otherName) == 0;
}

}  // namespace

Status LayoutOf(const AlgebraDatabase &database, DataLayout *layout) {
  *layout = {};
  layout->columnCount = database.allColumns.Size();
  layout->frequency = database.sample.frequency;
  layout->obsCount = SampleObsCount(database.sample);
  for (int i = 0; i < database.varCount; ++i) {
    const int name = layout->names.Add(database.variables[i].name);
    if (name < 0 || !layout->variables.Append(Described(database.variables[i], name))) return Status::NoMemory;
  }
  return Status::Ok;
}

bool HasLayout(const AlgebraDatabase &database, const DataLayout &layout) {
  if (database.varCount != layout.variables.Size() || database.allColumns.Size() != layout.columnCount ||
      database.sample.frequency != layout.frequency || SampleObsCount(database.sample) != layout.obsCount)
    return false;
  int i = 0;
  for (const DataLayout::Variable &variable : layout.variables)
    if (!IsAlike(database.variables[i++], variable, layout.names[variable.name])) return false;
  return true;
}

Status AttachProgram(const AlgebraProgram &program, AlgebraDatabase &database) {
  if (!program || !database || !HasLayout(database, program.layout)) return Status::Invalid;
  for (const DatabaseEdit &edit : program.edits) {
    if (edit.added < 0) {
      DbDeleteVariable(database, edit.deleted);
    } else if (DbFindOrAdd(database, program.editNames[edit.added]) < 0) {
      return Status::NoMemory;
    }
  }
  return Status::Ok;
}

}  // namespace tessel
