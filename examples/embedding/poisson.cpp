// A host in C++: visits to a doctor as a Poisson regression, maximised by Newton's method with FnCountJD.
#include <morv/host.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

// A data file: the counts are its first column, and the other columns follow a constant as explanatory variables.
struct Sample {
  std::vector<std::string> names = {"constant"};
  std::vector<double> counts, x;  // x row by row
};

Sample Read(const std::string &path) {
  Sample sample;
  std::ifstream file(path);
  std::string line, field;
  std::getline(file, line);
  std::istringstream header(line);
  std::getline(header, field, ',');
  while (std::getline(header, field, ',')) sample.names.push_back(field);
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    std::getline(fields, field, ',');
    sample.counts.push_back(std::stod(field));
    sample.x.push_back(1.0);
    while (std::getline(fields, field, ',')) sample.x.push_back(std::stod(field));
  }
  return sample;
}

// Solves a x = b for a symmetric positive definite matrix, by elimination on copies.
std::vector<double> Solve(std::vector<double> a, std::vector<double> b) {
  const std::size_t n = b.size();
  for (std::size_t j = 0; j < n; ++j)
    for (std::size_t i = j + 1; i < n; ++i) {
      const double factor = a[i * n + j] / a[j * n + j];
      for (std::size_t k = j; k < n; ++k) a[i * n + k] -= factor * a[j * n + k];
      b[i] -= factor * b[j];
    }
  for (std::size_t j = n; j-- > 0;) {
    for (std::size_t k = j + 1; k < n; ++k) b[j] -= a[j * n + k] * b[k];
    b[j] /= a[j * n + j];
  }
  return b;
}

// The Poisson likelihood at theta.
struct Evaluation {
  double logLikelihood = NAN;
  std::vector<double> score, information;
};

Evaluation Evaluate(const morv::Library &library, const Sample &sample, const std::vector<double> &theta) {
  morv::Value score, information;
  morv::Arguments args;  // borrows the matrices; the outputs are filled by the call
  args.Column(theta).Column(sample.counts);
  args.Matrix(sample.x.data(), static_cast<int>(sample.counts.size()), static_cast<int>(theta.size()));
  args.Integer(0).Integer(0).Integer(0).Double(0.0);  // Poisson, no truncation, no predicted frequencies
  args.Output(score).Output(information).Decline().Decline().Decline();
  const morv::Outcome outcome = library.Call("FnCountJD", args);
  if (!outcome.Returned()) throw std::runtime_error(outcome.message);
  if (std::isnan(outcome.result.AsDouble())) throw std::runtime_error("the likelihood does not exist at these values");
  return {outcome.result.AsDouble(), score.Numbers(), information.Numbers()};
}

int Main(const std::string &path) {
  morv::Library library;
  if (const std::string error = library.Open("libtessel13_morv_64.so"); !error.empty()) throw std::runtime_error(error);
  const Sample sample = Read(path);
  if (sample.counts.empty()) throw std::runtime_error(path + ": no data");

  std::vector<double> theta(sample.names.size(), 0.0);
  Evaluation at = Evaluate(library, sample, theta);
  for (int iteration = 0; iteration < 50; ++iteration) {
    const std::vector<double> step = Solve(at.information, at.score);
    double gain = 0.0;  // twice the increase that a quadratic likelihood would have
    for (std::size_t j = 0; j < step.size(); ++j) gain += step[j] * at.score[j];
    if (gain < 1e-16 * std::fabs(at.logLikelihood)) break;
    const std::vector<double> from = theta;
    const double before = at.logLikelihood;
    double length = 1.0;
    do {  // halve a step that does not climb
      for (std::size_t j = 0; j < step.size(); ++j) theta[j] = from[j] + length * step[j];
      at = Evaluate(library, sample, theta);
      length /= 2.0;
    } while (at.logLikelihood < before && length > 1e-6);
  }

  std::printf("%-10s %12s %12s\n", "", "estimate", "std.error");
  for (std::size_t j = 0; j < theta.size(); ++j) {
    std::vector<double> unit(theta.size(), 0.0);
    unit[j] = 1.0;
    const double variance = Solve(at.information, unit)[j];
    std::printf("%-10s %12.6f %12.6f\n", sample.names[j].c_str(), theta[j], std::sqrt(variance));
  }
  std::printf("log-likelihood %.6f, %zu observations\n", at.logLikelihood, sample.counts.size());
  return 0;
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return Main(argc > 1 ? argv[1] : "health_visits.csv");
  } catch (const std::exception &error) {
    std::cerr << "poisson: " << error.what() << '\n';
    return 1;
  }
}
