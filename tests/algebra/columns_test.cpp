// The functions of whole columns under exhausted memory. What they compute stands in
// end_to_end/algebra_columns_test.cpp and series/series_test.cpp.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "algebra/workspace.h"
#include "core/heap.h"
#include "support/messages.h"

namespace tessel {
namespace {

using Series = std::vector<double>;

// A run with its n-th allocation failing: the column e holds what it held before, or all of the result.
TEST(Columns, UnderExhaustedMemory) {
  const double cells[] = {1, 80, 0, 2, 79, 0, 5, 78, 0, 10, 77, 0};
  const char *const names[] = {"w", "e", "f"};
  const Series before = {80, 79, 78, 77};
  const auto live = HeapLiveBlocks();
  for (const std::string code : {"pacf(w, e, f);", "periodogram(w, e, f);", "smooth_hp(w, 0, e);",
                                 "smooth_np(w, 0, e);", "smooth_sp(w, 3, e);", "_sortallby(e);"}) {
    bool failed = true;
    for (int n = 1; failed; ++n) {
      Messages messages;
      AlgebraWorkspace workspace(messages.Sink());
      ASSERT_TRUE(Succeeded(workspace.Open({1, 1, 0, 0, 1}, 4, 3)));
      ASSERT_TRUE(Succeeded(workspace.AddData({cells, 4, 3}, names)));
      ASSERT_TRUE(Succeeded(workspace.Compile(code.c_str())));
      HeapFailAt(n);
      const Status status = workspace.Run(0, 3);
      failed = !HeapFailPending();
      HeapFailAt(0);
      EXPECT_EQ(std::ranges::equal(workspace.Variable(1), before), failed) << code << n;
      const bool tells = failed && code[0] != '_';  // sorting alone does not
      EXPECT_EQ(status, tells ? Status::RunFailed : Status::Ok) << code << n;
      EXPECT_EQ(messages.texts, tells ? std::vector<std::string>{"Error: Out of memory"} : std::vector<std::string>())
          << code << n;
      EXPECT_TRUE(failed || n > 1) << code << " takes memory";
    }
    EXPECT_EQ(HeapLiveBlocks(), live);
  }
}

}  // namespace
}  // namespace tessel
