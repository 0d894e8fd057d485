// Random numbers, against the C++ standard library's distributions over its Mersenne twister of 64 bits.
#include <benchmark/benchmark.h>

#include <random>
#include <string>
#include <vector>

#include "random/generators.h"
#include "random/variates.h"

namespace {

constexpr int kCount = 100000;

std::mt19937_64 engine(20240229);
constinit tessel::Generators generators;

template <class Draw>
void Add(const char *work, const char *who, Draw draw) {
  const std::string name = std::string(work) + "/" + std::to_string(kCount) + "/" + who;
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) mutable {
    std::vector<double> cells(kCount);
    for (auto _ : state) {
      for (double &cell : cells) cell = draw();
      benchmark::DoNotOptimize(cells.data());
      benchmark::ClobberMemory();
    }
  });
}

// Our fill of a matrix of 1000 columns; the peer has none and is called cell by cell.
void AddFill(const char *work, void (*fill)(tessel::Generators &, tessel::Matrix)) {
  const std::string name = std::string(work) + "/" + std::to_string(kCount) + "/tessel";
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
    const tessel::OwnedMatrix m(kCount / 1000, 1000);
    for (auto _ : state) {
      fill(generators, m);
      benchmark::ClobberMemory();
    }
  });
}

template <class Distribution>
void AddPeer(const char *work, Distribution distribution) {
  Add(work, "std", [distribution]() mutable { return distribution(engine); });
}

const int registered = [] {
  Add("Uniform", "tessel", [] { return tessel::RanUniform(generators); });
  AddFill("FillUniform", tessel::RanFillUniform);
  Add("Normal", "tessel", [] { return tessel::RanNormal(generators); });
  AddFill("FillNormal", tessel::RanFillNormal);
  for (const char *work : {"Uniform", "FillUniform"}) AddPeer(work, std::uniform_real_distribution<double>());
  for (const char *work : {"Normal", "FillNormal"}) AddPeer(work, std::normal_distribution<double>());
  Add("ChiVariate(1)", "tessel", [] { return tessel::ChiVariate(generators, 1); });
  AddPeer("ChiVariate(1)", std::chi_squared_distribution<double>(1));
  Add("ChiVariate(3)", "tessel", [] { return tessel::ChiVariate(generators, 3); });
  AddPeer("ChiVariate(3)", std::chi_squared_distribution<double>(3));
  Add("ChiVariate(20)", "tessel", [] { return tessel::ChiVariate(generators, 20); });
  AddPeer("ChiVariate(20)", std::chi_squared_distribution<double>(20));
  Add("StudentVariate(5)", "tessel", [] { return tessel::StudentVariate(generators, 5); });
  AddPeer("StudentVariate(5)", std::student_t_distribution<double>(5));
  Add("FVariate(3,20)", "tessel", [] { return tessel::FVariate(generators, 3, 20); });
  AddPeer("FVariate(3,20)", std::fisher_f_distribution<double>(3, 20));
  return 0;
}();

}  // namespace
