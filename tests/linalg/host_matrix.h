// Matrices for the kernel's tests: a row table over memory with a gap after each row, as a host may hand over.
#pragma once

#include <functional>
#include <random>
#include <vector>

#include "linalg/micro_kernel.h"

namespace tessel {

// rows x columns cells with `gap` doubles after each row, all of them `fill` at first.
class HostMatrix {
 public:
  static constexpr double kFill = -777.25;

  HostMatrix(int rows, int columns, int gap = 0)
      : columns_(columns), cells_(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns + gap), kFill) {
    for (int i = 0; i < rows; ++i) table_.push_back(cells_.data() + static_cast<std::ptrdiff_t>(i) * (columns + gap));
  }
  HostMatrix(HostMatrix &&) = default;

  HostMatrix &Random(unsigned seed) {
    std::mt19937_64 random(seed);
    std::normal_distribution<double> normal;
    for (double *row : table_)
      for (int j = 0; j < columns_; ++j) row[j] = normal(random);
    return *this;
  }
  double **Rows() { return table_.data(); }
  double *operator[](int i) { return table_[static_cast<std::size_t>(i)]; }
  const std::vector<double> &Cells() const { return cells_; }

  // Whether the gaps are as they were.
  bool GapsIntact() const {
    for (std::size_t i = 0; i < table_.size(); ++i) {
      const double *end = i + 1 < table_.size() ? table_[i + 1] : cells_.data() + cells_.size();
      for (const double *p = table_[i] + columns_; p < end; ++p)
        if (*p != kFill) return false;
    }
    return true;
  }

 private:
  int columns_;
  std::vector<double> cells_;
  std::vector<double *> table_;
};

// Runs `test` with each set of micro-kernels that this machine supports forced in turn.
inline void WithEachMicroKernel(const std::function<void(const MicroKernel &)> &test) {
  for (const MicroKernel &kernel : MicroKernels()) {
    if (!kernel.supported()) continue;
    ForceMicroKernel(&kernel);
    test(kernel);
  }
  ForceMicroKernel(nullptr);
}

}  // namespace tessel
