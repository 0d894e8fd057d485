// Introspective sort of a column of doubles.
#include "series/sort.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <numeric>
#include <utility>

#include "core/heap.h"
#include "core/missing.h"

namespace tessel {

namespace {

constexpr int kDeepest = 32;  // levels of partitioning before the heapsort
constexpr std::int64_t kBlock = 16;
constexpr std::int64_t kWindow = 64;  // cells that a word of bits stands for

// A column with its companion, or alone.
struct Column {
  double *key;
  double *companion;
};
struct LoneColumn {
  double *key;
};

inline void Exchange(Column c, std::int64_t i, std::int64_t j) {
  std::swap(c.key[i], c.key[j]);
  std::swap(c.companion[i], c.companion[j]);
}
inline void Exchange(LoneColumn c, std::int64_t i, std::int64_t j) { std::swap(c.key[i], c.key[j]); }

// Puts cells i and j in order, without a branch.
inline void Order(double *cells, bool exchange, std::int64_t i, std::int64_t j) {
  const double a = cells[i], b = cells[j];
  cells[i] = exchange ? b : a;
  cells[j] = exchange ? a : b;
}
inline void Order(Column c, std::int64_t i, std::int64_t j) {
  const bool exchange = c.key[i] > c.key[j];
  Order(c.key, exchange, i, j);
  Order(c.companion, exchange, i, j);
}
inline void Order(LoneColumn c, std::int64_t i, std::int64_t j) { Order(c.key, c.key[i] > c.key[j], i, j); }

template <class C>
void SiftDown(C c, std::int64_t lo, std::int64_t i, std::int64_t end) {
  for (std::int64_t child = 3 * (i - lo) + lo + 1; child <= end; child = 3 * (i - lo) + lo + 1) {
    std::int64_t largest = child;
    for (std::int64_t k = child + 1; k <= std::min(child + 2, end); ++k)
      if (c.key[k] > c.key[largest]) largest = k;
    if (!(c.key[largest] > c.key[i])) return;
    Exchange(c, i, largest);
    i = largest;
  }
}

template <class C>
void Heapsort(C c, std::int64_t lo, std::int64_t hi) {
  for (std::int64_t k = (hi - lo - 1) / 3; k >= 0; --k) SiftDown(c, lo, lo + k, hi);
  for (std::int64_t end = hi; end > lo; --end) {
    Exchange(c, lo, end);
    SiftDown(c, lo, lo, end - 1);
  }
}

// The cells of a block that stand on the wrong side of the pivot and have not been exchanged yet.
struct Misplaced {
  std::int64_t at[kBlock];
  int next = 0;
  int count = 0;

  bool Empty() const { return next == count; }
};

// The exchanges of Hoare's partition between i and j, as far as whole blocks on either side go: first the misplaced
// cells of a block are listed, without a branch, then they are exchanged in pairs (Edelkamp and Weiss). Pairs and order
// are those of the plain loop. At most kWindow cells are left between the new i and j.
template <class C>
void PartitionBlocks(C c, double pivot, std::int64_t &i, std::int64_t &j) {
  Misplaced left, right;
  std::int64_t leftEnd = i + 1, rightEnd = j - 1;  // the next cells to look at
  while (rightEnd - leftEnd >= kWindow - kBlock) {
    if (left.Empty()) {
      left.next = left.count = 0;
      for (const std::int64_t end = leftEnd + kBlock; leftEnd < end; ++leftEnd) {
        left.at[left.count] = leftEnd;
        left.count += c.key[leftEnd] >= pivot ? 1 : 0;
      }
    }
    if (right.Empty()) {
      right.next = right.count = 0;
      for (const std::int64_t end = rightEnd - kBlock; rightEnd > end; --rightEnd) {
        right.at[right.count] = rightEnd;
        right.count += c.key[rightEnd] <= pivot ? 1 : 0;
      }
    }
    while (!left.Empty() && !right.Empty()) Exchange(c, left.at[left.next++], right.at[right.next++]);
  }
  i = (left.Empty() ? leftEnd : left.at[left.next]) - 1;
  j = (right.Empty() ? rightEnd : right.at[right.next]) + 1;
}

// The rest of the partition, for the cells between i and j: bit s of a mask tells on which side of the pivot cell
// i + 1 + s may stand. Both indices look at original cells until they cross; then j stops at the next cell at or below
// the pivot, or at the last one that was exchanged, or at i.
template <class C>
std::int64_t PartitionWindow(C c, double pivot, std::int64_t i, std::int64_t j) {
  const std::int64_t first = i + 1;
  std::uint64_t high = 0, low = 0;
  for (std::int64_t s = 0; s < j - first; ++s) {
    const double key = c.key[first + s];
    high |= std::uint64_t{key >= pivot} << s;
    low |= std::uint64_t{key <= pivot} << s;
  }
  int exchanged = -1;
  for (;;) {
    const int left = std::countr_zero(high), right = 63 - std::countl_zero(low);
    if (left >= right) return first + std::max(right, exchanged);
    Exchange(c, first + left, first + right);
    high &= high - 1;
    low ^= std::bit_floor(low);
    exchanged = left;
  }
}

// Hoare's partition around the median of three, for at least three cells: cells lo to p are at or below the pivot,
// cells p + 1 to hi at or above it.
template <class C>
std::int64_t Partition(C c, std::int64_t lo, std::int64_t hi) {
  const std::int64_t middle = (lo + hi) / 2;
  Order(c, lo, middle);
  Order(c, middle, hi);
  Order(c, lo, middle);
  const double pivot = c.key[middle];
  std::int64_t i = lo - 1, j = hi + 1;
  PartitionBlocks(c, pivot, i, j);
  return PartitionWindow(c, pivot, i, j);
}

// Up to four cells.
template <class C>
void SortFew(C c, std::int64_t lo, std::int64_t hi) {
  if (hi - lo == 3) {
    Order(c, lo, lo + 1);
    Order(c, lo + 1, lo + 2);
    Order(c, lo + 2, lo + 3);
  }
  if (hi - lo >= 2) {
    Order(c, lo, lo + 1);
    Order(c, lo + 1, lo + 2);
  }
  if (hi - lo >= 1) Order(c, lo, lo + 1);
}

// The right part is the loop, and counts toward the depth as the left part does.
template <class C>
void SortCells(C c, std::int64_t lo, std::int64_t hi, int depth) {
  while (hi - lo > 3) {
    const std::int64_t p = Partition(c, lo, hi);
    if (++depth >= kDeepest) {
      Heapsort(c, lo, p);
      Heapsort(c, p + 1, hi);
      return;
    }
    SortCells(c, lo, p, depth);
    lo = p + 1;
  }
  SortFew(c, lo, hi);
}

// Moves the missing values to the front and counts them.
template <class C>
int MissingFirst(C c, int n) {
  int count = 0;
  for (int i = 0; i < n; ++i) {
    if (!IsMissing(c.key[i])) continue;
    if (i > count) Exchange(c, i, count);
    ++count;
  }
  return count;
}

template <class C>
int SortBehindMissing(C c, int n) {
  const int missing = MissingFirst(c, n);
  if (missing >= n) return 0;
  SortCells(c, missing, n - 1, 0);
  return n;
}

}  // namespace

int SortWithCompanion(std::span<double> key, std::span<double> companion) {
  const int n = static_cast<int>(key.size());
  if (companion.empty()) return SortBehindMissing(LoneColumn{key.data()}, n);
  return SortBehindMissing(Column{key.data(), companion.data()}, n);
}

Status SortColumns(std::span<double> key, std::span<double *const> others) {
  const auto n = static_cast<std::int64_t>(key.size());
  OwnedBlock<double> index(n), copy(n);
  if (!index || !copy) return Status::NoMemory;
  std::iota(index.get(), index.get() + n, 0.0);
  if (SortWithCompanion(key, {index.get(), key.size()}) == 0) return Status::Ok;
  for (double *other : others) {
    if (other == key.data()) continue;
    std::copy_n(other, n, copy.get());
    for (std::int64_t i = 0; i < n; ++i) other[i] = copy[static_cast<std::int64_t>(index[i])];
  }
  return Status::Ok;
}

}  // namespace tessel
