// Correlograms and the periodogram: plain sums and closed forms.
#include "algebra/spectral.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace tessel {
namespace {

std::vector<double> Noise(int n, int gap) {
  std::vector<double> x;
  for (int i = 0; i < n; ++i) x.push_back(gap > 0 && i % gap == 1 ? NAN : std::sin(i * i) + 0.1 * std::cos(i));
  return x;
}

// Bit for bit the sums in the order of the observations.
TEST(Spectral, CorrelogramIsThePlainSum) {
  for (const auto &[n, gap] : {std::pair{1000, 0}, {777, 7}, {1000, 3}, {65, 2}}) {
    const std::vector<double> x = Noise(n, gap);
    std::vector<double> out(x.size(), -1);
    double sum = 0, squares = 0;
    int count = 0;
    for (double v : x)
      if (!std::isnan(v)) sum += v, ++count;
    EXPECT_EQ(Correlogram(x.data(), n, n - 1, out.data()), count);
    for (double v : x)
      if (!std::isnan(v)) squares += (v - sum / count) * (v - sum / count);
    EXPECT_EQ(out[0], 1);
    for (std::size_t k = 1; k < x.size(); ++k) {
      double products = 0;
      for (std::size_t i = 0; i + k < x.size(); ++i)
        if (!std::isnan(x[i]) && !std::isnan(x[i + k])) products += (x[i] - sum / count) * (x[i + k] - sum / count);
      ASSERT_EQ(out[k], products / squares) << k;
    }
  }
  const double flat[] = {3, 3, 3};
  double out[] = {-1, -1, -1};
  for (const int m : {3, -1}) EXPECT_EQ(Correlogram(flat, 3, m, out), 0);
  EXPECT_EQ(out[0], -1) << "nothing is written";
}

TEST(Spectral, PartialAutocorrelationsOfKnownProcesses) {
  constexpr int m = 30;
  constexpr double theta = 0.7;
  std::vector<double> ar(m), ma(m, 0.0), out(m, 5), work(m);
  for (int k = 0; k < m; ++k) ar[static_cast<std::size_t>(k)] = std::pow(-0.8, k);
  EXPECT_EQ(PartialCorrelogram(ar.data(), m, out.data(), work.data()), 1);
  EXPECT_EQ(out[0], 1);
  EXPECT_EQ(out[1], -0.8);
  for (std::size_t k = 2; k < m; ++k) EXPECT_NEAR(out[k], 0, 1e-14);
  // MA(1): -(-theta)^k (1 - theta^2) / (1 - theta^(2k + 2)); Box, Jenkins and Reinsel, section 3.3.
  ma[0] = 2;  // any scale will do
  ma[1] = 2 * theta / (1 + theta * theta);
  EXPECT_EQ(PartialCorrelogram(ma.data(), m, out.data(), work.data()), 1);
  for (int k = 1; k < m; ++k)
    EXPECT_NEAR(out[static_cast<std::size_t>(k)],
                -std::pow(-theta, k) * (1 - theta * theta) / (1 - std::pow(theta, 2 * k + 2)), 1e-13);

  // An autocorrelation of 1 ends the recursion, here at lag 2.
  const double r[] = {1, 0, 1, 0};
  double cells[] = {9, 9, 9, 9};
  EXPECT_EQ(PartialCorrelogram(r, 4, cells, work.data()), 0);
  EXPECT_EQ(std::vector<double>(cells, cells + 4), (std::vector<double>{1, 0, 9, 9}));
}

}  // namespace
}  // namespace tessel
