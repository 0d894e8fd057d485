// The heap gate: every block of the library's own memory is taken and released here.
//
// All functions give null when memory cannot be had and leave nothing behind. A size of 0 is allowed and gives a block
// that must be released like any other. Any thread may call them; a block may be released by another thread. The test
// switches below make exhausted memory an everyday test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

namespace tessel {

// `count` elements of `size` bytes each, not initialised. Null when the product does not fit the address space.
void *HeapAlloc(std::size_t count, std::size_t size);

// The same, filled with zero bytes.
void *HeapAllocZeroed(std::size_t count, std::size_t size);

// Releases a block; null does nothing.
void HeapFree(void *block);

// Test switch: the n-th allocation of this thread from now fails (1 is the next one), later ones succeed again. 0
// switches it off.
void HeapFailAt(std::int64_t n);

// Test probe: whether an allocation of this thread switched to fail has not come yet.
bool HeapFailPending();

// Test probe: blocks taken by all threads and not yet released.
std::int64_t HeapLiveBlocks();

// A movable owner of `count` elements of a trivial type; null when there was no memory. Sizes below 0 give null.
template <class T>
class OwnedBlock {
 public:
  OwnedBlock() = default;
  explicit OwnedBlock(std::int64_t count)
      : data_(count < 0 ? nullptr : static_cast<T *>(HeapAlloc(static_cast<std::size_t>(count), sizeof(T)))) {}
  static OwnedBlock Zeroed(std::int64_t count) {
    OwnedBlock block;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a block of pointers is meant
    if (count >= 0) block.data_ = static_cast<T *>(HeapAllocZeroed(static_cast<std::size_t>(count), sizeof(T)));
    return block;
  }
  OwnedBlock(OwnedBlock &&other) noexcept : data_(std::exchange(other.data_, nullptr)) {}
  OwnedBlock &operator=(OwnedBlock &&other) noexcept {
    if (this != &other) {
      HeapFree(data_);
      data_ = std::exchange(other.data_, nullptr);
    }
    return *this;
  }
  ~OwnedBlock() { HeapFree(data_); }

  explicit operator bool() const { return data_ != nullptr; }
  T *get() const { return data_; }
  T &operator[](std::int64_t i) const { return data_[i]; }
  T *Release() { return std::exchange(data_, nullptr); }

 private:
  T *data_ = nullptr;
};

}  // namespace tessel
