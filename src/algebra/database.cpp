// The variable database.
#include "algebra/database.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "algebra/clamp.h"
#include "algebra/name_hash.h"
#include "algebra/report.h"
#include "core/heap.h"
#include "core/missing.h"
#include "core/row_matrix.h"

namespace tessel {

namespace {

constexpr double kDateTolerance = 6e-9;
constexpr int kSmallestGrowth = 256;
constexpr std::size_t kReportBytes = 512;

// The parallel tables, zeroed.
struct Tables {
  explicit Tables(std::int64_t capacity)
      : columns(OwnedBlock<double *>::Zeroed(capacity)),
        names(OwnedBlock<char *>::Zeroed(capacity)),
        flags(OwnedBlock<std::uint32_t>::Zeroed(capacity)),
        handles(OwnedBlock<ColumnHandle *>::Zeroed(capacity)),
        info(OwnedBlock<VarInfo>::Zeroed(capacity)),
        nameNext(OwnedBlock<int>::Zeroed(capacity)) {}

  explicit operator bool() const { return columns && names && flags && handles && info && nameNext; }

  OwnedBlock<double *> columns;
  OwnedBlock<char *> names;
  OwnedBlock<std::uint32_t> flags;
  OwnedBlock<ColumnHandle *> handles;
  OwnedBlock<VarInfo> info;
  OwnedBlock<int> nameNext;
};

void FreeTables(AlgebraDatabase *db) {
  HeapFree(static_cast<void *>(db->columns));
  HeapFree(static_cast<void *>(db->names));
  HeapFree(db->flags);
  HeapFree(static_cast<void *>(db->handles));
  HeapFree(db->info);
  HeapFree(db->nameNext);
}

void InstallTables(AlgebraDatabase *db, Tables &tables, int capacity) {
  FreeTables(db);
  db->columns = tables.columns.Release();
  db->names = tables.names.Release();
  db->flags = tables.flags.Release();
  db->handles = tables.handles.Release();
  db->info = tables.info.Release();
  db->nameNext = tables.nameNext.Release();
  db->capacity = capacity;
}

// Room for `count` more variables; 0 when memory fails.
int MakeRoom(AlgebraDatabase *db, int count) {
  if (std::int64_t{db->varCount} + count <= db->capacity) return 1;
  const std::int64_t capacity = std::int64_t{db->capacity} + db->varCount + std::max(count, kSmallestGrowth);
  if (capacity != ClampToInt(capacity)) return 0;
  Tables tables(capacity);
  if (!tables) return 0;
  std::copy_n(db->columns, db->varCount, tables.columns.get());
  std::copy_n(db->names, db->varCount, tables.names.get());
  std::copy_n(db->flags, db->varCount, tables.flags.get());
  std::copy_n(db->handles, db->varCount, tables.handles.get());
  std::copy_n(db->info, db->varCount, tables.info.get());
  std::copy_n(db->nameNext, db->varCount, tables.nameNext.get());
  InstallTables(db, tables, static_cast<int>(capacity));
  return 1;
}

// Enters variable i in the index over the names.
void LinkName(AlgebraDatabase *db, int i) {
  int *at = &db->nameHeads[NameBucket(db->names[i])];
  while (*at >= 0 && *at < i) at = &db->nameNext[*at];
  db->nameNext[i] = *at;
  *at = i;
}

void UnlinkName(AlgebraDatabase *db, int i) {
  int *at = &db->nameHeads[NameBucket(db->names[i])];
  while (*at != i) at = &db->nameNext[*at];
  *at = db->nameNext[i];
}

// Takes variable i out of the index and counts the later ones down by one.
void RemoveName(AlgebraDatabase *db, int i) {
  UnlinkName(db, i);
  std::rotate(db->nameNext + i, db->nameNext + i + 1, db->nameNext + db->varCount);
  const auto countDown = [i](int &variable) { variable -= variable > i ? 1 : 0; };
  std::for_each_n(db->nameHeads, kNameBuckets, countDown);
  std::for_each_n(db->nameNext, db->varCount, countDown);
}

// Entry i gets a column of missing values and its default name; 0, with what was made left to ClearEntry, when memory
// fails.
int FillEntry(AlgebraDatabase *db, int i) {
  char name[32];
  std::snprintf(name, sizeof name, "Var%d", i + 1);
  db->handles[i] = ColumnNew(nullptr, db->obsCount);
  db->columns[i] = ColumnData(db->handles[i]);
  db->names[i] = TextClone(name);
  return db->handles[i] != nullptr && db->names[i] != nullptr;
}

// Releases what entry i owns and empties it.
void ClearEntry(AlgebraDatabase *db, int i) {
  ColumnRelease(db->handles[i]);
  HeapFree(db->names[i]);
  db->columns[i] = nullptr;
  db->names[i] = nullptr;
  db->flags[i] = 0;
  db->handles[i] = nullptr;
  db->info[i] = {};
}

// The end of every structural change.
void MarkModified(AlgebraDatabase *db) {
  db->modified = 1;
  if (db->flagged == 0) return;
  db->flagged = 0;
  for (int i = 0; i < db->varCount; ++i) db->flags[i] &= ~static_cast<std::uint32_t>(VarChanged | VarNew);
}

void ReportNamed(const char *before, const char *name, const char *after) {
  char text[kReportBytes];
  std::snprintf(text, sizeof text, "%s%.400s%s", before, name == nullptr ? "" : name, after);
  AlgebraReport("Error", text);
}

enum class Renamed { Done, Refused, OutOfMemory };

Renamed ReplaceName(AlgebraDatabase *db, int index, const char *text) {
  char *name = TextClone(text);
  if (name == nullptr) return Renamed::OutOfMemory;
  UnlinkName(db, index);
  HeapFree(db->names[index]);
  db->names[index] = name;
  LinkName(db, index);
  MarkModified(db);
  return Renamed::Done;
}

bool HasVariable(const AlgebraDatabase *db, int index) { return index >= 0 && index < db->varCount; }

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// The first 64 bytes of a text without leading white space and trailing control bytes, quotes as underscores.
void CleanName(const char *text, char (&name)[kMaxNameBytes + 1]) {
  const char *end = text + strnlen(text, kMaxNameBytes);
  while (text < end && IsBlank(*text)) ++text;
  while (end > text && static_cast<unsigned char>(end[-1]) <= ' ') --end;
  *std::replace_copy(text, end, name, '"', '_') = '\0';
}

Renamed RenameCleaned(AlgebraDatabase *db, int index, const char *text, bool report) {
  if (!HasVariable(db, index) || text == nullptr || *text == '\0') return Renamed::Refused;
  char name[kMaxNameBytes + 1];
  CleanName(text, name);
  if (std::strcmp(name, db->names[index]) == 0) return Renamed::Done;
  if (DbFind(db, name) >= 0) {
    if (report) ReportNamed("", name, " already exists, use a different name");
    return Renamed::Refused;
  }
  return ReplaceName(db, index, name);
}

}  // namespace

AlgebraDatabase *DbCreate(int capacity) {
  capacity = std::max(capacity, 0);
  OwnedBlock<AlgebraDatabase> db = OwnedBlock<AlgebraDatabase>::Zeroed(1);
  OwnedBlock<int> nameHeads(kNameBuckets);
  Tables tables(capacity);
  if (!db || !tables || !nameHeads) return nullptr;
  InstallTables(db.get(), tables, capacity);
  db[0].nameHeads = nameHeads.Release();
  std::fill_n(db[0].nameHeads, kNameBuckets, -1);
  db[0].obsCount = 10;
  db[0].sample = {1996, 1, 2005, 1, 1};
  return db.Release();
}

void DbDestroy(AlgebraDatabase *db) {
  if (db == nullptr) return;
  for (int i = 0; i < db->varCount; ++i) ClearEntry(db, i);
  FreeTables(db);
  HeapFree(db->nameHeads);
  HeapFree(db->name);
  HeapFree(db);
}

void DbSetSample(AlgebraDatabase *db, const SampleSpec &sample) {
  if (sample == db->sample) return;
  db->sample = sample;
  if (SampleObsCount(sample) > kMaxObservations) {
    char text[64];
    std::snprintf(text, sizeof text, "Truncated number of observations to %d", kMaxObservations);
    AlgebraReport("Warning", text);
    SampleSetCount(&db->sample, kMaxObservations);
  }
  db->obsCount = std::max(SampleObsCount(db->sample), 0);
  MarkModified(db);
}

int DbAddVariables(AlgebraDatabase *db, int count) {
  if (count >= 0 && MakeRoom(db, count) == 0) {
    ReportNamed("Maximum number of variables reached in database ", db->name, "");
    return -1;
  }
  const int first = db->varCount;
  int made = 0;
  while (made < count && FillEntry(db, first + made) != 0) ++made;
  if (made != count) {
    for (int i = first; count > 0 && i <= first + made; ++i) ClearEntry(db, i);
    char text[64];
    std::snprintf(text, sizeof text, "Cannot add %d variable(s) to database", count);
    AlgebraReport("Error", text);
    return -1;
  }
  for (int i = first; i < first + count; ++i) LinkName(db, i);
  db->varCount += count;
  MarkModified(db);
  return first;
}

void DbDeleteVariable(AlgebraDatabase *db, int index) {
  if (!HasVariable(db, index)) return;
  if ((db->flags[index] & VarProtected) != 0) {
    ReportNamed("", db->names[index], " cannot be deleted");
    return;
  }
  RemoveName(db, index);
  ClearEntry(db, index);
  // The emptied entry moves to the end, the later ones down by one.
  const int next = index + 1, end = db->varCount;
  std::rotate(db->columns + index, db->columns + next, db->columns + end);
  std::rotate(db->names + index, db->names + next, db->names + end);
  std::rotate(db->flags + index, db->flags + next, db->flags + end);
  std::rotate(db->handles + index, db->handles + next, db->handles + end);
  std::rotate(db->info + index, db->info + next, db->info + end);
  --db->varCount;
  MarkModified(db);
}

int DbRename(AlgebraDatabase *db, int index, const char *text, bool report) {
  return RenameCleaned(db, index, text, report) == Renamed::Done;
}

int DbSetName(AlgebraDatabase *db, int index, const char *text) {
  if (!HasVariable(db, index) || text == nullptr || *text == '\0') return 0;
  if (std::strcmp(text, db->names[index]) == 0) return 1;
  return ReplaceName(db, index, text) == Renamed::Done;
}

int DbFind(const AlgebraDatabase *db, const char *text) {
  int i = db->nameHeads[NameBucket(text)];
  while (i >= 0 && std::strcmp(db->names[i], text) != 0) i = db->nameNext[i];
  return i;
}

ColumnHandle *DbFindOrAdd(AlgebraDatabase *db, const char *text) {
  if (const int found = DbFind(db, text); found >= 0) return db->handles[found];
  const int added = DbAddVariables(db, 1);
  if (added < 0) return nullptr;
  // A name that is refused leaves the variable under its default name; one that memory cannot hold undoes it.
  if (RenameCleaned(db, added, text, true) == Renamed::OutOfMemory) {
    DbDeleteVariable(db, added);
    return nullptr;
  }
  return db->handles[added];
}

void DbMarkChanged(AlgebraDatabase *db, const ColumnHandle *handle) {
  if (handle == nullptr) return;
  for (int i = 0; i < db->varCount; ++i) {
    if (db->handles[i] != handle) continue;
    db->flags[i] |= VarChanged;
    db->flagged = 1;
    return;
  }
}

int DbHasDates(const AlgebraDatabase *db) {
  if (db->varCount <= 0 || db->obsCount <= 0 || db->info[0].kind != VarDates) return 0;
  return IsMissing(db->columns[0][0]) == 0 && IsMissing(db->columns[0][db->obsCount - 1]) == 0;
}

double DbDateAt(const AlgebraDatabase *db, int observation) {
  if (db->varCount <= 0 || db->obsCount <= 0) return MissingValue();
  return db->columns[0][std::clamp(observation, 0, db->obsCount - 1)];
}

int DbDateRange(const AlgebraDatabase *db, double low, double high, int *first, int *last) {
  *first = 0;
  *last = -1;
  if (DbHasDates(db) == 0) {
    *first = SampleIndex(TruncateToInt(low), 1, db->sample);
    *last = SampleIndex(TruncateToInt(high), 1, db->sample);
    return ClampToInt(std::int64_t{*last} - *first + 1);
  }
  const double *begin = db->columns[0], *end = begin + db->obsCount;
  const auto starts = [&](double date) { return date >= low - kDateTolerance; };
  const auto stops = [&](double date) { return date <= high + kDateTolerance; };
  if (starts(begin[0]) && stops(end[-1])) {
    *last = db->obsCount - 1;
  } else {
    if (const double *at = std::find_if(begin, end, starts); at != end) *first = static_cast<int>(at - begin);
    const double *at = end;
    while (at > begin && !stops(at[-1])) --at;
    *last = static_cast<int>(at - begin) - 1;
  }
  return *last - *first + 1;
}

}  // namespace tessel
