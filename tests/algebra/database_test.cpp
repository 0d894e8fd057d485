// Growth, names, deletion and dates of the variable database, and the column pool below it.
#include "algebra/database.h"

#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <string>

#include "core/heap.h"
#include "core/missing.h"

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
  double *column = db->columns[1];
  EXPECT_EQ(DbAddVariables(db.get(), 3), 2);
  EXPECT_EQ(db->capacity, 2 + 2 + 256);
  EXPECT_STREQ(db->names[0], "x");
  EXPECT_STREQ(db->names[2], "Var3");
  EXPECT_EQ(db->columns[1], column);
  for (int t = 0; t < db->obsCount; ++t) EXPECT_TRUE(IsMissing(db->columns[4][t]));
  EXPECT_EQ(DbAddVariables(db.get(), 1000), 5);
  for (int count : {-1, INT_MAX}) EXPECT_EQ(DbAddVariables(db.get(), count), -1);
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
  for (int index : {1, 0}) EXPECT_EQ(DbSetName(db.get(), index, " \"q\" "), 1);
  EXPECT_EQ(DbFind(db.get(), " \"q\" "), 0);
}

TEST(Database, FindOrAdd) {
  Database db = Create(1, 1);
  EXPECT_EQ(DbFindOrAdd(db.get(), "Var1"), db->handles[0]);
  ColumnHandle *added = DbFindOrAdd(db.get(), "z");
  EXPECT_EQ(added, db->handles[1]);
  DbMarkChanged(db.get(), added);
  EXPECT_EQ(db->flags[1], VarChanged);
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
  EXPECT_EQ(db->info[1].kind, VarDates);
}

TEST(Database, ExhaustedMemoryLeavesItAsItWas) {
  Database first255 = Create(255, 255);  // the column pool needs a new block below
  const auto live = HeapLiveBlocks();
  for (int n = 1; n < 30; ++n) {
    Database db = Create(2, 2);
    HeapFailAt(n);
    const int first = DbAddVariables(db.get(), 8);  // 6 tables, 8 columns, 8 names
    HeapFailAt(0);
    EXPECT_EQ(first, n <= 22 ? -1 : 2);
    EXPECT_EQ(db->varCount, first < 0 ? 2 : 10);
  }
  for (int n = 1; n < 6; ++n) {
    Database db = Create(9, 2);
    HeapFailAt(n);
    const ColumnHandle *found = DbFindOrAdd(db.get(), "new");  // a column and two names
    HeapFailAt(0);
    EXPECT_EQ(found != nullptr, n > 3);
    EXPECT_EQ(db->varCount, found == nullptr ? 2 : 3);
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
  EXPECT_EQ(DbAddVariables(db.get(), 1), 0);
  EXPECT_EQ(db->obsCount, 0);
  EXPECT_TRUE(IsMissing(DbDateAt(db.get(), 0)));
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
  Database db = Create(1, 1);
  for (int t = 0; t < 10; ++t) db->columns[0][t] = 1e6 + t;
  for (const auto &[low, high, first, last] : table) {
    db->info[0].kind = low < 3000 ? VarPlain : VarDates;
    int from = -7, to = -7;
    const int count = DbDateRange(db.get(), low, high, &from, &to);
    EXPECT_EQ(from, first) << low;
    EXPECT_EQ(to, last) << high;
    EXPECT_EQ(count, last - first + 1);
  }
  EXPECT_EQ(DbDateAt(db.get(), INT_MAX), 1e6 + 9);
  EXPECT_EQ(DbDateAt(db.get(), INT_MIN), 1e6);
  EXPECT_EQ(DbHasDates(db.get()), 1);
  db->columns[0][9] = MissingValue();
  EXPECT_EQ(DbHasDates(db.get()), 0);
}

TEST(ColumnPool, SlotsAreUsedAgainFromTheLowestOn) {
  ColumnHandle *columns[700];
  for (auto &column : columns) column = ColumnNew(nullptr, 1);
  ColumnRetain(columns[3]);
  for (int i : {3, 600, 300, 3}) ColumnRelease(columns[i]);
  for (int i : {3, 300, 600}) {
    ColumnHandle *again = ColumnNew(nullptr, 1);
    EXPECT_EQ(again, columns[i]);
  }
  for (auto *column : columns) ColumnRelease(column);
  EXPECT_EQ(HeapLiveBlocks(), 0);
}

}  // namespace
}  // namespace tessel
