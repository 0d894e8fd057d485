// The functions of whole columns under exhausted memory. What they compute stands in
// end_to_end/algebra_columns_test.cpp and series/series_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "algebra/workspace.h"
#include "core/heap.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

// A run with its n-th allocation failing: the column e holds what it held before, or all of the result.
TEST(Columns, UnderExhaustedMemory) {
  const Series w = {1, 2, 5, 10}, before = {80, 79, 78, 77};
  const auto live = HeapLiveBlocks();
  for (const std::string code : {"pacf(w, e, f);", "periodogram(w, e, f);", "smooth_hp(w, 0, e);",
                                 "smooth_np(w, 0, e);", "smooth_sp(w, 3, e);", "_sortallby(e);"}) {
    bool failed = true;
    for (int n = 1; failed; ++n) {
      ASSERT_TRUE(WorkspaceOpen(3, {1, 1, 4, 1, 1}));
      AlgebraDatabase *database = Workspace().database;
      ASSERT_EQ(DbAddVariables(database, 3), 0);
      for (int i = 0; i < 3; ++i) DbSetName(database, i, std::string(1, "wef"[i]).c_str());
      std::copy(w.begin(), w.end(), database->columns[0]);
      double *e = std::copy(before.begin(), before.end(), database->columns[1]) - 4;
      ASSERT_TRUE(WorkspaceCompile(code.c_str()));
      testing::internal::CaptureStdout();
      HeapFailAt(n);
      const bool succeeded = AlgebraRunRange(0, 3) != 0;
      failed = !HeapFailPending();
      HeapFailAt(0);
      const std::string said = testing::internal::GetCapturedStdout();
      EXPECT_EQ(std::equal(e, e + 4, before.begin()), failed) << code << n;
      const bool tells = failed && code[0] != '_';  // sorting alone does not
      EXPECT_EQ(succeeded, !tells) << code << n;
      EXPECT_EQ(said, tells ? "\nError: Out of memory\n" : "") << code << n;
      EXPECT_TRUE(failed || n > 1) << code << " takes memory";
      WorkspaceClose();
    }
    EXPECT_EQ(HeapLiveBlocks(), live);
  }
}

}  // namespace
}  // namespace tessel
