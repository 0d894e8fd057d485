// The heap gate and its owner.
#include "core/heap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <utility>

namespace tessel {
namespace {

TEST(Heap, SizesWithoutMemoryGiveNull) {
  const auto blocks = HeapLiveBlocks();
  constexpr std::size_t past = (std::numeric_limits<std::size_t>::max() >> 3) + 2;  // 8 times as many bytes is 8
  EXPECT_EQ(HeapAlloc(past, 8), nullptr);
  EXPECT_EQ(HeapAllocZeroed(past, 8), nullptr);
  EXPECT_FALSE(OwnedBlock<double>(-1));
  EXPECT_FALSE(OwnedBlock<double>::Zeroed(-1));
  EXPECT_FALSE(OwnedBlock<double>());
  EXPECT_EQ(HeapLiveBlocks(), blocks);
}

TEST(Heap, BlocksOfNoSizeExist) {
  const auto blocks = HeapLiveBlocks();
  {
    const OwnedBlock<double> plain(0), zeroed = OwnedBlock<double>::Zeroed(0);
    EXPECT_TRUE(plain && zeroed);
    EXPECT_EQ(HeapLiveBlocks(), blocks + 2);
  }
  EXPECT_EQ(HeapLiveBlocks(), blocks);
}

TEST(Heap, OneAllocationFailsAndLaterOnesDoNot) {
  const auto blocks = HeapLiveBlocks();
  HeapFailAt(2);
  const OwnedBlock<int> first(1);
  EXPECT_TRUE(HeapFailPending());
  const OwnedBlock<int> second = OwnedBlock<int>::Zeroed(1);
  EXPECT_FALSE(HeapFailPending());
  const OwnedBlock<int> third(1);
  EXPECT_TRUE(first);
  EXPECT_FALSE(second);
  EXPECT_TRUE(third);
  EXPECT_EQ(HeapLiveBlocks(), blocks + 2);
  HeapFailAt(1);
  HeapFailAt(0);
  EXPECT_TRUE(OwnedBlock<int>(1)) << "switched off";
}

TEST(Heap, OwnersMove) {
  const auto blocks = HeapLiveBlocks();
  OwnedBlock<int> a = OwnedBlock<int>::Zeroed(3), b(1);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(a[i], 0);
  a[2] = 7;
  b = std::move(a);
  EXPECT_EQ(b[2], 7);
  EXPECT_EQ(HeapLiveBlocks(), blocks + 1) << "what b held is released";
  OwnedBlock<int> &self = b;
  b = std::move(self);
  EXPECT_EQ(b[2], 7);
  HeapFree(b.Release());
  EXPECT_FALSE(b);
  EXPECT_EQ(HeapLiveBlocks(), blocks);
}

}  // namespace
}  // namespace tessel
