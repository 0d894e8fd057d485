// Growth, names, deletion and dates of the variable database.
#include "algebra/database.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <utility>
#include <vector>

#include "core/heap.h"
#include "core/missing.h"
#include "support/messages.h"

namespace tessel {
namespace {

AlgebraDatabase Create(int capacity, int variables, const MessageSink &sink = {}) {
  AlgebraDatabase db = DbCreate(capacity, sink);
  EXPECT_EQ(DbAddVariables(db, variables), 0);
  return db;
}

std::vector<std::string> Names(const AlgebraDatabase &db) {
  std::vector<std::string> names;
  for (int i = 0; i < db.varCount; ++i) names.emplace_back(db.variables[i].name);
  return names;
}

using Texts = std::vector<std::string>;

TEST(Database, GrowsPastItsCapacity) {
  Messages messages;
  AlgebraDatabase db = Create(2, 2, messages.Sink());
  EXPECT_TRUE(Succeeded(DbSetName(db, 0, "x")));
  const double *column = db.columns[1];
  EXPECT_EQ(DbAddVariables(db, 3), 2);
  EXPECT_EQ(db.capacity, 2 + 2 + 256);
  EXPECT_EQ(Names(db), (Texts{"x", "Var2", "Var3", "Var4", "Var5"}));
  EXPECT_EQ(db.columns[1], column);
  for (int t = 0; t < db.obsCount; ++t) EXPECT_TRUE(IsMissing(db.columns[4][t]));
  EXPECT_EQ(DbAddVariables(db, 1000), 5);
  EXPECT_EQ(messages.texts, Texts());
  for (int count : {-1, INT_MAX}) EXPECT_EQ(DbAddVariables(db, count), -1);
  EXPECT_EQ(messages.texts, (Texts{"Error: Cannot add -1 variable(s) to database",
                                   "Error: Maximum number of variables reached in database "}));
  EXPECT_EQ(db.varCount, 1005);
}

TEST(Database, NewNamesAreCleaned) {
  const std::string longName(64, 'n');
  const struct {
    std::string text, name;
  } table[] = {{"y", "y"},
               {"", "Var2"},
               {" \t a \"b\"\r\n\x01", "a _b_"},
               {"   ", ""},
               {longName + "one", longName},
               {longName + "two", "Var6"},            // the same in 64 bytes, so it keeps its default name
               {std::string(64, ' ') + "z", "Var7"},  // all blanks: the empty name is taken
               {" y", "Var8"}};
  Messages messages;
  AlgebraDatabase db = DbCreate(1, messages.Sink());
  Texts names;
  for (const auto &[text, name] : table) {
    EXPECT_EQ(DbFindOrAdd(db, text.c_str()), static_cast<int>(names.size())) << text;
    names.push_back(name);
  }
  EXPECT_EQ(Names(db), names);
  EXPECT_EQ(messages.texts,
            (Texts{"Error: " + longName + " already exists, use a different name",
                   "Error:  already exists, use a different name", "Error: y already exists, use a different name"}));
  EXPECT_EQ(DbFindOrAdd(db, "y"), 0) << "found, not added";
  EXPECT_EQ(db.varCount, 8);
  // A caller's names are taken as they are, twice too; the first one is found.
  for (int index : {1, 0}) EXPECT_TRUE(Succeeded(DbSetName(db, index, " \"q\" ")));
  EXPECT_EQ(DbFind(db, " \"q\" "), 0);
  EXPECT_TRUE(Succeeded(DbSetName(db, 0, " \"q\" "))) << "the name it has";
  for (int index : {-1, 8}) EXPECT_EQ(DbSetName(db, index, "z"), Status::Invalid);
  EXPECT_EQ(DbSetName(db, 0, ""), Status::Invalid);
}

TEST(Database, DeleteMovesTheLaterVariablesDownAndKeepsTheColumn) {
  Messages messages;
  AlgebraDatabase db = Create(4, 4, messages.Sink());
  db.variables[0].flags = VarProtected;
  db.variables[3].info.kind = VarDates;
  const double *deleted = db.columns[1], *last = db.columns[3];
  for (int index : {0, 1, 3, -1}) DbDeleteVariable(db, index);  // 0 is protected; 3 and -1 are outside
  EXPECT_EQ(messages.texts, (Texts{"Error: Var1 cannot be deleted"}));
  EXPECT_EQ(Names(db), (Texts{"Var1", "Var3", "Var4"}));
  EXPECT_EQ(db.columns[2], last);
  EXPECT_EQ(db.variables[2].info.kind, VarDates);
  EXPECT_EQ(DbFind(db, "Var4"), 2);
  EXPECT_EQ(DbFind(db, "Var2"), -1);
  // Ids stay, and that of the deleted column is not given again.
  EXPECT_EQ(db.variables[2].column, 3);
  EXPECT_EQ(DbFindOrAdd(db, "Var2"), 4);
  EXPECT_EQ(db.allColumns[1], deleted);
}

TEST(Database, MovesAsAWhole) {
  AlgebraDatabase db = Create(1, 2);
  const double *column = db.columns[1];
  AlgebraDatabase other = std::move(db);
  EXPECT_EQ(other.columns[1], column);
  EXPECT_EQ(DbFind(other, "Var2"), 1);
  EXPECT_FALSE(db);
  EXPECT_EQ(db.varCount, 0);
  other = {};
  EXPECT_FALSE(other);
}

TEST(Database, ExhaustedMemoryLeavesItAsItWas) {
  const auto live = HeapLiveBlocks();
  for (int n = 1; n < 30; ++n) {
    AlgebraDatabase db = Create(2, 2);
    HeapFailAt(n);
    const int first = DbAddVariables(db, 8);
    const bool failed = !HeapFailPending();
    HeapFailAt(0);
    EXPECT_EQ(first, failed ? -1 : 2) << n;
    EXPECT_EQ(db.varCount, failed ? 2 : 10);
    EXPECT_EQ(db.allColumns.Size(), db.varCount);
    EXPECT_TRUE(failed || n > 16) << "a column and a name for each variable";
  }
  for (int n = 1; n < 6; ++n) {
    AlgebraDatabase db = Create(9, 4);
    HeapFailAt(n);
    const int found = DbFindOrAdd(db, "new");  // a column, the list of columns and two names
    HeapFailAt(0);
    EXPECT_EQ(found, n > 4 ? 4 : -1) << n;
    EXPECT_EQ(db.varCount, n > 4 ? 5 : 4);
    EXPECT_EQ(DbFindOrAdd(db, "other"), n > 4 ? 5 : 4) << "ids go on without a gap";
  }
  EXPECT_EQ(HeapLiveBlocks(), live);
}

TEST(Database, ATooLongSampleIsCut) {
  Messages messages;
  AlgebraDatabase db = DbCreate(0, messages.Sink());
  EXPECT_TRUE(Succeeded(DbSetSample(db, {INT_MIN, 1, INT_MAX, 12, 12})));
  EXPECT_EQ(messages.texts, (Texts{"Warning: Truncated number of observations to 100000000"}));
  EXPECT_EQ(db.obsCount, 100000000);
  EXPECT_EQ(SampleObsCount(db.sample), 100000000);
  EXPECT_TRUE(Succeeded(DbSetSample(db, {2000, 1, 1990, 1, 1})));
  EXPECT_EQ(DbAddVariables(db, 1), 0);
  EXPECT_EQ(db.obsCount, 0);
  EXPECT_TRUE(IsMissing(DbDateAt(db, 0)));
  // Columns have the length that they have.
  EXPECT_EQ(DbSetSample(db, {2000, 1, 2000, 1, 1}), Status::Invalid);
  EXPECT_EQ(db.obsCount, 0);
}

TEST(Database, DateRange) {
  // Years below 3000, dates from 1e6 on.
  const double table[][4] = {{1996.9, 1998, 0, 2},
                             {1990, 2999, -6, 1003},
                             {1e6, 2e6, 0, 9},
                             {1e6 + 2, 1e6 + 4, 2, 4},
                             {1e6 + 2 + 5e-9, 1e6 + 4 - 5e-9, 2, 4},
                             {1e6 + 2.5, 1e6 + 4.5, 3, 4},
                             {1e6 - 9, 1e6 - 1, 0, -1},
                             {1e6 + 3.1, 1e6 + 3.9, 4, 3}};
  AlgebraDatabase db = Create(1, 1);
  for (int t = 0; t < 10; ++t) db.columns[0][t] = 1e6 + t;
  for (const auto &[low, high, first, last] : table) {
    db.variables[0].info.kind = low < 3000 ? VarPlain : VarDates;
    const ObservationRange range = DbDateRange(db, low, high);
    EXPECT_EQ(range.first, first) << low;
    EXPECT_EQ(range.last, last) << high;
  }
  EXPECT_EQ(DbDateAt(db, INT_MAX), 1e6 + 9);
  EXPECT_EQ(DbDateAt(db, INT_MIN), 1e6);
  EXPECT_TRUE(DbHasDates(db));
  db.columns[0][9] = MissingValue();
  EXPECT_FALSE(DbHasDates(db));
}

}  // namespace
}  // namespace tessel
