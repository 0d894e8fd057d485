// Lists that grow.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "core/heap.h"

namespace tessel {

// A movable list of trivial elements. Room is taken in powers of two, so growing one by one costs linear time.
template <class T>
class OwnedList {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  OwnedList() = default;
  OwnedList(OwnedList &&other) noexcept
      : block_(std::move(other.block_)), size_(std::exchange(other.size_, 0)), room_(std::exchange(other.room_, 0)) {}
  OwnedList &operator=(OwnedList &&other) noexcept {
    block_ = std::move(other.block_);
    size_ = std::exchange(other.size_, 0);
    room_ = std::exchange(other.room_, 0);
    return *this;
  }

  int Size() const { return size_; }
  bool Empty() const { return size_ == 0; }
  T &operator[](std::int64_t i) { return block_[i]; }
  const T &operator[](std::int64_t i) const { return block_[i]; }
  T &Last() { return block_[size_ - 1]; }
  T *begin() { return block_.get(); }
  T *end() { return block_.get() + size_; }
  const T *begin() const { return block_.get(); }
  const T *end() const { return block_.get() + size_; }

  // Room for `count` elements in all. False, with the list as it was, when memory fails.
  [[nodiscard]] bool Reserve(std::int64_t count) {
    if (count <= room_) return true;
    if (count > std::numeric_limits<int>::max() / 2) return false;
    const auto room = static_cast<int>(std::bit_ceil(static_cast<std::uint32_t>(count)));
    OwnedBlock<T> block(room);
    if (!block) return false;
    std::copy_n(block_.get(), size_, block.get());
    block_ = std::move(block);
    room_ = room;
    return true;
  }

  // False, with the list as it was, when memory fails.
  [[nodiscard]] bool Append(const T &element) {
    if (size_ == room_ && !Reserve(std::int64_t{size_} + 1)) return false;
    block_[size_++] = element;
    return true;
  }

  // Adds `count` elements that the caller fills; null, with the list as it was, when memory fails.
  [[nodiscard]] T *Extend(std::int64_t count) {
    if (!Reserve(size_ + count)) return nullptr;
    T *added = end();
    size_ += static_cast<int>(count);
    return added;
  }

  void RemoveLast() { --size_; }

 private:
  OwnedBlock<T> block_;
  int size_ = 0;
  int room_ = 0;
};

// Texts, one behind the other, each with its final zero. A text is known by where it begins.
class TextList {
 public:
  // The place of a copy of the text; -1 when memory fails.
  [[nodiscard]] int Add(const char *text) {
    const int place = bytes_.Size();
    const std::size_t size = std::strlen(text) + 1;
    char *copy = bytes_.Extend(static_cast<std::int64_t>(size));
    if (copy == nullptr) return -1;
    std::memcpy(copy, text, size);
    return place;
  }
  const char *operator[](int place) const { return bytes_.begin() + place; }

 private:
  OwnedList<char> bytes_;
};

}  // namespace tessel
