// The heap gate and its test switches.
#include "core/heap.h"

#include <atomic>
#include <cstdlib>

namespace tessel {

namespace {

constinit thread_local std::int64_t failCountdown = 0;
constinit std::atomic<std::int64_t> liveBlocks = 0;

bool MustFail() { return failCountdown > 0 && --failCountdown == 0; }

void *Counted(void *block) {
  if (block != nullptr) liveBlocks.fetch_add(1, std::memory_order_relaxed);
  return block;
}

}  // namespace

void *HeapAlloc(std::size_t count, std::size_t size) {
  std::size_t bytes = 0;
  if (MustFail() || __builtin_mul_overflow(count, size, &bytes)) return nullptr;
  return Counted(std::malloc(bytes == 0 ? 1 : bytes));
}

void *HeapAllocZeroed(std::size_t count, std::size_t size) {
  if (MustFail()) return nullptr;
  if (count == 0 || size == 0) count = size = 1;
  return Counted(std::calloc(count, size));
}

void HeapFree(void *block) {
  if (block == nullptr) return;
  liveBlocks.fetch_sub(1, std::memory_order_relaxed);
  std::free(block);
}

void HeapFailAt(std::int64_t n) { failCountdown = n; }

bool HeapFailPending() { return failCountdown > 0; }

std::int64_t HeapLiveBlocks() { return liveBlocks.load(std::memory_order_relaxed); }

}  // namespace tessel
