// Runs a call with its 1st, 2nd, 3rd, ... allocation failing until none fails any more.
#pragma once

#include <gtest/gtest.h>
#include <morv/host.hpp>

#include <functional>

#include "core/heap.h"

// `call` makes the whole call (arguments included) and destroys what it made, except what `release` releases. `check`
// sees whether an allocation failed in it. Both the library's own memory and the runtime's are made to fail, one after
// the other; after each round every block must have been released.
inline void ForEachFailingAllocation(
    const std::function<void(bool failing)> &call, const std::function<void()> &release = [] {}) {
  const auto libraryBlocks = tessel::HeapLiveBlocks();
  const auto runtimeBlocks = morv::LiveBlocks();
  const std::function<void(long)> switches[] = {[](long n) { tessel::HeapFailAt(n); },
                                                [](long n) { morv::FailAllocationAt(n); }};
  const std::function<bool()> pending[] = {[] { return tessel::HeapFailPending(); },
                                           [] { return morv::FailAllocationPending(); }};
  for (int kind = 0; kind < 2; ++kind) {
    bool reached = true;
    for (long n = 1; reached; ++n) {
      ASSERT_LT(n, 100000) << "the call never runs out of allocations";
      switches[kind](n);
      call(true);
      reached = !pending[kind]();
      switches[kind](0);
      release();
      ASSERT_EQ(tessel::HeapLiveBlocks(), libraryBlocks) << "library allocation " << n;
      ASSERT_EQ(morv::LiveBlocks(), runtimeBlocks) << "runtime allocation " << n;
    }
  }
  call(false);
  release();
}
