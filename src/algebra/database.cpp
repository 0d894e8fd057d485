// The variable database.
#include "algebra/database.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "algebra/clamp.h"
#include "algebra/name_hash.h"
#include "core/missing.h"

namespace tessel {

namespace {

constexpr double kDateTolerance = 6e-9;
constexpr int kSmallestGrowth = 256;

// The tables of the variables: every entry empty.
bool NewTables(AlgebraDatabase &db, int capacity) {
  auto variables = OwnedBlock<AlgebraVariable>(capacity);
  auto columns = OwnedBlock<double *>(capacity);
  if (!variables || !columns) return false;
  std::fill_n(variables.get(), capacity, AlgebraVariable());
  std::fill_n(columns.get(), capacity, nullptr);
  std::copy_n(db.variables.get(), db.varCount, variables.get());
  std::copy_n(db.columns.get(), db.varCount, columns.get());
  db.variables = std::move(variables);
  db.columns = std::move(columns);
  db.capacity = capacity;
  return true;
}

// Room for `count` more variables. False when memory fails.
bool MakeRoom(AlgebraDatabase &db, int count) {
  if (std::int64_t{db.varCount} + count <= db.capacity) return true;
  const std::int64_t capacity = std::int64_t{db.capacity} + db.varCount + std::max(count, kSmallestGrowth);
  return capacity == ClampToInt(capacity) && NewTables(db, static_cast<int>(capacity));
}

// Enters variable i in the index over the names.
void LinkName(AlgebraDatabase &db, int i) {
  int *at = &db.nameHeads[NameBucket(db.variables[i].name)];
  while (*at >= 0 && *at < i) at = &db.variables[*at].nextName;
  db.variables[i].nextName = *at;
  *at = i;
}

void UnlinkName(AlgebraDatabase &db, int i) {
  int *at = &db.nameHeads[NameBucket(db.variables[i].name)];
  while (*at != i) at = &db.variables[*at].nextName;
  *at = db.variables[i].nextName;
}

char *CloneText(const char *text) {
  const std::size_t size = std::strlen(text) + 1;
  auto *copy = static_cast<char *>(HeapAlloc(size, 1));
  if (copy != nullptr) std::memcpy(copy, text, size);
  return copy;
}

// A new column of missing values; -1 when memory fails.
int AddColumn(AlgebraDatabase &db) {
  OwnedBlock<double> cells(db.obsCount);
  if (!cells || !db.allColumns.Append(cells.get())) return -1;
  std::fill_n(cells.Release(), db.obsCount, MissingValue());
  return db.allColumns.Size() - 1;
}

// Adds one variable at the end, which must have room. False, with the database as it was, when memory fails.
bool AddVariable(AlgebraDatabase &db) {
  const int i = db.varCount;
  char text[32];
  std::snprintf(text, sizeof text, "Var%d", i + 1);
  char *name = CloneText(text);
  const int column = name == nullptr ? -1 : AddColumn(db);
  if (column < 0) {
    HeapFree(name);
    return false;
  }
  db.variables[i] = {name, 0, {}, column, -1};
  db.columns[i] = db.allColumns[column];
  ++db.varCount;
  LinkName(db, i);
  return true;
}

// Undoes the last AddVariable.
void UndoVariable(AlgebraDatabase &db) {
  const int last = db.varCount - 1;
  UnlinkName(db, last);
  HeapFree(db.variables[last].name);
  HeapFree(db.allColumns.Last());
  db.allColumns.RemoveLast();
  --db.varCount;
}

void ReportNamed(const AlgebraDatabase &db, const char *name, const char *what) {
  char text[kMessageBytes];
  std::snprintf(text, sizeof text, "%.400s%s", name, what);
  db.sink(MessageKind::Error, text);
}

Status ReplaceName(AlgebraDatabase &db, int index, const char *text) {
  char *name = CloneText(text);
  if (name == nullptr) return Status::NoMemory;
  UnlinkName(db, index);
  HeapFree(db.variables[index].name);
  db.variables[index].name = name;
  LinkName(db, index);
  return Status::Ok;
}

bool HasVariable(const AlgebraDatabase &db, int index) { return index >= 0 && index < db.varCount; }

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The first 64 bytes of a text without leading white space and trailing control bytes, quotes as underscores.
void CleanName(const char *text, char (&name)[kMaxNameBytes + 1]) {
  const char *end = text + strnlen(text, kMaxNameBytes);
  while (text < end && IsBlank(*text)) ++text;
  while (end > text && static_cast<unsigned char>(end[-1]) <= ' ') --end;
  *std::replace_copy(text, end, name, '"', '_') = '\0';
}

// Gives a variable the cleaned name. Invalid for an empty text, and, with an error reported, for a name that another
// variable bears.
Status Rename(AlgebraDatabase &db, int index, const char *text) {
  if (*text == '\0') return Status::Invalid;
  char name[kMaxNameBytes + 1];
  CleanName(text, name);
  if (std::strcmp(name, db.variables[index].name) == 0) return Status::Ok;
  if (DbFind(db, name) < 0) return ReplaceName(db, index, name);
  ReportNamed(db, name, " already exists, use a different name");
  return Status::Invalid;
}

}  // namespace

AlgebraDatabase &AlgebraDatabase::operator=(AlgebraDatabase &&other) noexcept {
  std::swap(sink, other.sink);
  std::swap(varCount, other.varCount);
  std::swap(obsCount, other.obsCount);
  std::swap(capacity, other.capacity);
  std::swap(sample, other.sample);
  std::swap(variables, other.variables);
  std::swap(columns, other.columns);
  std::swap(allColumns, other.allColumns);
  std::swap(nameHeads, other.nameHeads);
  return *this;
}

AlgebraDatabase::~AlgebraDatabase() {
  for (int i = 0; i < varCount; ++i) HeapFree(variables[i].name);
  for (double *column : allColumns) HeapFree(column);
}

AlgebraDatabase DbCreate(int capacity, const MessageSink &sink) {
  AlgebraDatabase db;
  OwnedBlock<int> nameHeads(kNameBuckets);
  if (!nameHeads || !NewTables(db, std::max(capacity, 0))) return {};
  std::fill_n(nameHeads.get(), kNameBuckets, -1);
  db.nameHeads = std::move(nameHeads);
  db.sink = sink;
  db.obsCount = SampleObsCount(db.sample);
  return db;
}

Status DbSetSample(AlgebraDatabase &db, const SampleSpec &sample) {
  SampleSpec taken = sample;
  const bool tooLong = SampleObsCount(sample) > kMaxObservations;
  if (tooLong) SampleSetCount(&taken, kMaxObservations);
  const int count = std::max(SampleObsCount(taken), 0);
  if (!db.allColumns.Empty() && count != db.obsCount) return Status::Invalid;
  if (tooLong) {
    char text[64];
    std::snprintf(text, sizeof text, "Truncated number of observations to %d", kMaxObservations);
    db.sink(MessageKind::Warning, text);
  }
  db.sample = taken;
  db.obsCount = count;
  return Status::Ok;
}

int DbAddVariables(AlgebraDatabase &db, int count) {
  if (count >= 0 && !MakeRoom(db, count)) {
    db.sink(MessageKind::Error, "Maximum number of variables reached in database ");
    return -1;
  }
  const int first = db.varCount;
  while (db.varCount - first < count && AddVariable(db)) continue;
  if (db.varCount - first == count) return first;
  while (db.varCount > first) UndoVariable(db);
  char text[64];
  std::snprintf(text, sizeof text, "Cannot add %d variable(s) to database", count);
  db.sink(MessageKind::Error, text);
  return -1;
}

void DbDeleteVariable(AlgebraDatabase &db, int index) {
  if (!HasVariable(db, index)) return;
  if ((db.variables[index].flags & VarProtected) != 0) {
    ReportNamed(db, db.variables[index].name, " cannot be deleted");
    return;
  }
  UnlinkName(db, index);
  HeapFree(db.variables[index].name);
  // The later entries move down by one; in the index over the names they count down by one.
  std::copy(&db.variables[index] + 1, db.variables.get() + db.varCount, &db.variables[index]);
  std::copy(&db.columns[index] + 1, db.columns.get() + db.varCount, &db.columns[index]);
  --db.varCount;
  const auto countDown = [index](int &variable) { variable -= variable > index ? 1 : 0; };
  std::for_each_n(db.nameHeads.get(), kNameBuckets, countDown);
  std::for_each_n(db.variables.get(), db.varCount, [&](AlgebraVariable &variable) { countDown(variable.nextName); });
}

Status DbSetName(AlgebraDatabase &db, int index, const char *text) {
  if (!HasVariable(db, index) || *text == '\0') return Status::Invalid;
  return std::strcmp(text, db.variables[index].name) == 0 ? Status::Ok : ReplaceName(db, index, text);
}

int DbFind(const AlgebraDatabase &db, const char *text) {
  int i = db.nameHeads[NameBucket(text)];
  while (i >= 0 && std::strcmp(db.variables[i].name, text) != 0) i = db.variables[i].nextName;
  return i;
}

int DbFindOrAdd(AlgebraDatabase &db, const char *text) {
  int i = DbFind(db, text);
  if (i < 0) {
    i = DbAddVariables(db, 1);
    if (i < 0) return -1;
    // A name that is refused leaves the variable under its default name; one that memory cannot hold undoes it.
    if (Rename(db, i, text) == Status::NoMemory) {
      UndoVariable(db);
      return -1;
    }
  }
  return db.variables[i].column;
}

bool DbHasDates(const AlgebraDatabase &db) {
  if (db.varCount <= 0 || db.obsCount <= 0 || db.variables[0].info.kind != VarDates) return false;
  return IsMissing(db.columns[0][0]) == 0 && IsMissing(db.columns[0][db.obsCount - 1]) == 0;
}

double DbDateAt(const AlgebraDatabase &db, int observation) {
  if (db.varCount <= 0 || db.obsCount <= 0) return MissingValue();
  return db.columns[0][std::clamp(observation, 0, db.obsCount - 1)];
}

ObservationRange DbDateRange(const AlgebraDatabase &db, double low, double high) {
  if (!DbHasDates(db))
    return {SampleIndex(TruncateToInt(low), 1, db.sample), SampleIndex(TruncateToInt(high), 1, db.sample)};
  const double *begin = db.columns[0], *end = begin + db.obsCount;
  const auto starts = [&](double date) { return date >= low - kDateTolerance; };
  const auto stops = [&](double date) { return date <= high + kDateTolerance; };
  if (starts(begin[0]) && stops(end[-1])) return {0, db.obsCount - 1};
  const double *first = std::find_if(begin, end, starts);
  const double *last = end;
  while (last > begin && !stops(last[-1])) --last;
  return {first == end ? 0 : static_cast<int>(first - begin), static_cast<int>(last - begin) - 1};
}

}  // namespace tessel
