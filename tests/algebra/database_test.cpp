// Growth, names, deletion and dates of the variable database, and the column pool below it.
#include "algebra/database.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>

#include "host/heap.h"
#include "host/missing.h"

namespace tessel {
namespace {

using Database = std::unique_ptr<AlgebraDatabase, decltype(&DbDestroy)>;

Database Create(int capacity, int variables) {
  Database db(DbCreate(capacity), DbDestroy);
  EXPECT_EQ(DbAddVariables(db.get(), variables), 0);
  return db;
}

TEST(Database, GrowsPastItsCapacity) {
  Database db = Create(2, 2);
  DbSetName(db.get(), 0, "x");
  db->columns[1][9] = 7;
  double *column = db->columns[1];
  EXPECT_EQ(DbAddVariables(db.get(), 3), 2);
  EXPECT_EQ(db->varCount, 5);
  EXPECT_EQ(db->capacity, 2 + 2 + 256);
  EXPECT_STREQ(db->names[0], "x");
  EXPECT_STREQ(db->names[2], "Var3");
  EXPECT_EQ(db->columns[1], column);
  EXPECT_EQ(ColumnData(db->handles[1])[9], 7);
  for (int t = 0; t < db->obsCount; ++t) EXPECT_TRUE(IsMissing(db->columns[4][t]));
  EXPECT_EQ(DbAddVariables(db.get(), 1000), 5);
  EXPECT_EQ(DbAddVariables(db.get(), -1), -1);
  EXPECT_EQ(DbAddVariables(db.get(), INT_MAX), -1);
  EXPECT_EQ(db->varCount, 1005);
}

TEST(Database, Rename) {
  const std::string longName(64, 'n');
  const struct {
    int index;
    std::string text;
    int result;
    std::string name;  // afterwards
  } table[] = {{1, "y", 1, "y"},
               {1, "y", 1, "y"},
               {1, "x", 0, "y"},
               {1, "", 0, "y"},
               {1, " \t a \"b\"\r\n\x01", 1, "a _b_"},
               {0, "   ", 1, ""},
               {0, longName + "one", 1, longName},
               {1, longName + "two", 0, "a _b_"},
               {1, std::string(64, ' ') + "z", 1, ""}};
  Database db = Create(10, 2);
  DbSetName(db.get(), 0, "x");
  for (const auto &[index, text, result, name] : table) {
    EXPECT_EQ(DbRename(db.get(), index, text.c_str(), false), result) << text;
    EXPECT_EQ(db->names[index], name);
  }
  EXPECT_EQ(DbRename(db.get(), 0, nullptr, false), 0);
  for (int index : {-1, 2}) EXPECT_EQ(DbRename(db.get(), index, "z", false), 0);
  // The host's names are taken as they are, twice too; the first one is found.
  EXPECT_EQ(DbSetName(db.get(), 0, " \"q\" "), 1);
  EXPECT_EQ(DbSetName(db.get(), 1, " \"q\" "), 1);
  EXPECT_EQ(DbFind(db.get(), " \"q\" "), 0);
  EXPECT_EQ(DbFind(db.get(), "Q"), -1);
}

TEST(Database, FindOrAdd) {
  Database db = Create(1, 1);
  EXPECT_EQ(DbFindOrAdd(db.get(), "Var1"), db->handles[0]);
  ColumnHandle *added = DbFindOrAdd(db.get(), "z");
  EXPECT_EQ(added, db->handles[1]);
  EXPECT_EQ(DbFindOrAdd(db.get(), "z"), added);
  DbMarkChanged(db.get(), added);
  EXPECT_EQ(db->flags[1], VarChanged);
  DbMarkChanged(db.get(), nullptr);
  // The cleaned name is taken: the new variable keeps its default name.
  EXPECT_EQ(DbFindOrAdd(db.get(), " z"), db->handles[2]);
  EXPECT_STREQ(db->names[2], "Var3");
  EXPECT_EQ(db->flags[1], 0U) << "a structural change clears the flag";
}

TEST(Database, DeleteMovesTheLaterVariablesDown) {
  Database db = Create(3, 3);
  ColumnHandle *last = db->handles[2];
  db->flags[0] = VarProtected;
  db->info[2].kind = VarDates;
  for (int index : {0, 1, 2, -1}) DbDeleteVariable(db.get(), index);  // 0 is protected; 2 and -1 are outside
  EXPECT_EQ(db->varCount, 2);
  EXPECT_STREQ(db->names[0], "Var1");
  EXPECT_STREQ(db->names[1], "Var3");
  EXPECT_EQ(db->handles[1], last);
  EXPECT_EQ(db->columns[1], ColumnData(last));
  EXPECT_EQ(db->info[1].kind, VarDates);
  EXPECT_EQ(db->names[2], nullptr);
}

TEST(Database, ExhaustedMemoryLeavesItAsItWas) {
  const auto live = HeapLiveBlocks();
  for (int n = 1; n < 30; ++n) {
    Database db = Create(2, 2);
    HeapFailAt(n);
    const int first = DbAddVariables(db.get(), 8);  // 6 tables, 8 columns, 8 names
    EXPECT_EQ(first, n <= 22 ? -1 : 2);
    HeapFailAt(n);
    ColumnHandle *found = DbFindOrAdd(db.get(), "new");
    const bool pending = HeapFailPending();
    HeapFailAt(0);
    EXPECT_EQ(found != nullptr, pending) << n;
    const int count = 2 + (first < 0 ? 0 : 8) + (found == nullptr ? 0 : 1);
    EXPECT_EQ(db->varCount, count);
    for (int i = count; i < db->capacity; ++i) ASSERT_EQ(db->handles[i], nullptr);
  }
  for (int n = 1; n <= 8; ++n) {
    HeapFailAt(n);
    EXPECT_EQ(DbCreate(4), nullptr);
  }
  EXPECT_EQ(HeapLiveBlocks(), live);
}

TEST(Database, ATooLongSampleIsCut) {
  Database db(DbCreate(0), DbDestroy);
  testing::internal::CaptureStdout();
  DbSetSample(db.get(), {INT_MIN, 1, INT_MAX, 12, 12});
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "\nWarning: Truncated number of observations to 100000000\n");
  EXPECT_EQ(db->obsCount, 100000000);
  EXPECT_EQ(SampleObsCount(db->sample), 100000000);
  DbSetSample(db.get(), {2000, 1, 1990, 1, 1});
  EXPECT_EQ(db->obsCount, 0);
  EXPECT_EQ(DbAddVariables(db.get(), 1), 0);
  db->info[0].kind = VarDates;
  EXPECT_EQ(DbHasDates(db.get()), 0);
  EXPECT_TRUE(IsMissing(DbDateAt(db.get(), 0)));
}

TEST(Database, DateRange) {
  constexpr int notDated = 0, dated = 1;
  const struct {
    int kind;
    double low, high;
    int first, last;
  } table[] = {{notDated, 1996.9, 1998, 0, 2},
               {notDated, 1990, 1e300, -6, INT_MAX - 1996},
               {dated, 0, 200, 0, 9},
               {dated, 102, 104, 2, 4},
               {dated, 102 + 1e-9, 104 - 1e-9, 2, 4},
               {dated, 102.5, 104.5, 3, 4},
               {dated, 1, 99, 0, -1},
               {dated, 103.1, 103.9, 4, 3}};
  Database db = Create(1, 1);
  for (int t = 0; t < 10; ++t) db->columns[0][t] = 100 + t;
  for (const auto &[kind, low, high, first, last] : table) {
    db->info[0].kind = kind == dated ? VarDates : VarPlain;
    int from = -7, to = -7;
    const int count = DbDateRange(db.get(), low, high, &from, &to);
    EXPECT_EQ(from, first) << low;
    EXPECT_EQ(to, last) << high;
    EXPECT_EQ(count, last - first + 1);
  }
  EXPECT_EQ(DbDateAt(db.get(), INT_MAX), 109);
  EXPECT_EQ(DbDateAt(db.get(), INT_MIN), 100);
  EXPECT_EQ(DbHasDates(db.get()), 1);
  db->columns[0][9] = MissingValue();
  EXPECT_EQ(DbHasDates(db.get()), 0);
}

TEST(ColumnPool, SlotsAreUsedAgainFromTheLowestOn) {
  constexpr int count = 700;
  ColumnHandle *columns[count];
  for (auto &column : columns) column = ColumnNew(nullptr, 1);
  const int slots[] = {columns[600]->slot, columns[3]->slot, columns[300]->slot};
  ColumnRetain(columns[3]);
  for (int i : {3, 3, 300, 600}) ColumnRelease(columns[i]);
  const double source[] = {5, 6};
  ColumnHandle *again = ColumnNew(source, 2);
  EXPECT_EQ(again->slot, slots[1]);
  EXPECT_EQ(ColumnData(again)[1], 6);
  columns[300] = ColumnNew(nullptr, 1);
  columns[600] = ColumnNew(nullptr, 1);
  EXPECT_EQ(columns[300]->slot, slots[2]);
  EXPECT_EQ(columns[600]->slot, slots[0]);
  for (auto *column : columns) ColumnRelease(column);
  EXPECT_EQ(ColumnData(again), nullptr);
  EXPECT_EQ(ColumnData(nullptr), nullptr);
}

}  // namespace
}  // namespace tessel
