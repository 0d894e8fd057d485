// Correlograms and the periodogram: plain sums and closed forms.
#include "algebra/spectral.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
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
  EXPECT_EQ(Correlogram(flat, 3, 3, out), 0);
  EXPECT_EQ(Correlogram(flat, 3, -1, out), 0);
  EXPECT_EQ(out[0], -1) << "nothing is written";
  EXPECT_EQ(Correlogram(flat, 3, 1, out), 3);
  EXPECT_EQ(std::vector<double>(out, out + 3), (std::vector<double>{1, 0, -1}));
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

  const double stops[] = {1, 1, 1, 1}, later[] = {1, 0, 1, 0};
  for (const auto &[r, left] : {std::pair{stops, 1}, {later, 2}}) {
    double cells[] = {9, 9, 9, 9};
    EXPECT_EQ(PartialCorrelogram(r, 4, cells, work.data()), 0);
    for (int k = 1; k < 4; ++k) EXPECT_EQ(cells[k], k < left ? 0 : 9);
  }
}

TEST(Spectral, PeriodogramIsTheFourierTransform) {
  for (int n : {2, 15, 16, 500, 501}) {
    const std::vector<double> x = Noise(n, 0);
    std::vector<double> out(x.size()), work(x.size());
    Periodogram(x.data(), n, out.data(), work.data());
    EXPECT_EQ(out[0], 0);
    for (int j = 1; j <= n / 2; ++j) {
      std::complex<double> sum = 0;
      for (int i = 0; i < n; ++i) sum += std::polar(x[static_cast<std::size_t>(i)], -2 * std::numbers::pi * i * j / n);
      EXPECT_NEAR(out[static_cast<std::size_t>(j)], std::norm(sum) / (2 * std::numbers::pi * n), 1e-12)
          << n << " " << j;
    }
  }
}

}  // namespace
}  // namespace tessel
