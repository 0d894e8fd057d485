// Likelihoods of limited dependent variable models, called as a user calls them.
#include <chrono>
#include <cmath>
#include <functional>
#include <tuple>

#include "core/heap.h"
#include "limdep/count.h"
#include "limdep/logit.h"
#include "limdep/probit.h"
#include "support/reference_cases.h"

namespace {

const Argument kNone = Mat(0, 0, {});

std::vector<Argument> Logit(Argument theta, Argument y, int outcomes, Argument x, Argument z = kNone,
                            Argument w = kNone, Argument d = kNone) {
  return {theta, y, Int(outcomes), x, z, w, d, Out(), Out(), Out(), Out(), Out()};
}

std::vector<Argument> Probit(Argument theta, Argument y, Argument x, Argument w = kNone) {
  return {theta, y, x, w, Out(), Out(), Out(), Out(), Out()};
}

std::vector<Argument> Count(Argument theta, Argument y, Argument x, int model, int truncation, int cells = 0) {
  return {theta, y, x, Int(model), Int(truncation), Int(cells), Double(0), Out(), Out(), Out(), Out(), Out()};
}

// Real data: estimates and information matrices of statsmodels. Small cases: 60-digit differences of the likelihood.
TEST(Limdep, ReferenceCases) { ExpectReferenceCases("limdep_reference.txt"); }

// Nothing is allocated, and the result is missing or, for the functions that return matrices, untouched.
TEST(Limdep, UnusableArgumentsEndTheCallAtOnce) {
  const Argument one = Mat(1, 1, {0.5}), pair = Mat(2, 1, {1, 2}), zeroOne = Mat(2, 1, {0, 1});
  const std::vector<std::pair<std::string, std::vector<Argument>>> calls = {
      {"FnLogitJD", Logit(one, Mat(2, 1, {0, 2}), 2, pair)},            // an outcome past the last
      {"FnLogitJD", Logit(one, Mat(2, 1, {0, -1}), 2, pair)},           // below the first
      {"FnLogitJD", Logit(one, Mat(2, 1, {0, NAN}), 2, pair)},          // missing
      {"FnLogitJD", Logit(one, zeroOne, 3, pair)},                      // theta too short
      {"FnLogitJD", Logit(one, zeroOne, 0, pair)},                      // no outcomes
      {"FnLogitJD", Logit(one, zeroOne, 2, pair, kNone, kNone, pair)},  // offsets of one outcome alone
      {"FnBinProbitJD", Probit(one, Mat(1, 2, {0, 1}), Mat(1, 1, {1}))},
      {"FnBinProbitJD", Probit(one, zeroOne, Mat(1, 1, {1}))},
      {"FnBinProbitJD", Probit(one, zeroOne, Mat(3, 1, {1, 1, 1}))},
      {"FnBinProbitJD", Probit(one, zeroOne, Mat(2, 0, {}))},
      {"FnBinProbitJD", Probit(kNone, zeroOne, pair)},
      {"FnBinProbitJD", Probit(one, Mat(2, 1, {0, 2}), pair)},
      {"FnCountJD", Count(one, Mat(2, 1, {0, -1}), pair, 0, 0)},
      {"FnCountJD", Count(one, Mat(2, 1, {0, 1e10}), pair, 0, 0)},
      {"FnCountJD", Count(one, zeroOne, Mat(1, 1, {1}), 0, 0)},
      {"FnCountJD", Count(one, zeroOne, pair, 1, 0)},  // log alpha is absent
      {"FnLogitProbDeriv", {one, Mat(1, 2, {0.5, 0.5}), Int(1), Int(0), Int(0)}},
      {"FnLogitProbDeriv", {one, Mat(1, 1, {0.5}), Int(1), Int(2), Int(0)}},
      {"FnLogitProbDeriv", {one, Mat(1, 2, {0.5, 0.5}), Int(1), Int(2), Int(2)}},
      {"FnLogitProbDeriv", {one, Mat(1, 2, {0.5, 0.5}), Int(-1), Int(2), Int(0)}},
      {"FnActFitTable", {Mat(2, 1, {0, 2}), Mat(2, 2, {0.5, 0.5, 0.5, 0.5})}},
      {"FnActFitTable", {zeroOne, Mat(1, 2, {0.5, 0.5})}},
      {"FnActFitTable", {Mat(1, 2, {1, 2}), Mat(1, 3, {0.2, 0.5, 0.3})}}};
  for (std::size_t i = 0; i < calls.size(); ++i) {
    const CaseRun run = Call(calls[i].first, calls[i].second);
    EXPECT_TRUE(run.outcome.Untouched() || run.ReturnsMissing()) << "call " << i;
    EXPECT_TRUE(run.WroteNothing()) << "call " << i;
  }
}

TEST(Limdep, AnUnusableCountModelLeavesMissingOutputs) {
  for (auto [model, truncation] : {std::pair{0, -1}, {2, 0}, {-1, 5}}) {
    const CaseRun run = Call("FnCountJD", Count(Mat(1, 1, {0}), Mat(1, 1, {2}), Mat(1, 1, {1}), model, truncation, 3));
    EXPECT_TRUE(run.ReturnsMissing());
    EXPECT_EQ(run.At(9).size(), 3U);
    for (int position = 7; position < 12; ++position) EXPECT_TRUE(std::isnan(run.At(position)[0])) << position;
  }
  const auto value = [](int truncation) {
    return Call("FnCountJD", Count(Mat(2, 1, {0.1, 0.2}), Mat(1, 1, {2}), Mat(1, 1, {1}), 1, truncation)).At(-1);
  };
  EXPECT_EQ(value(-1), value(0)) << "the negative binomial is not truncated below 0";
}

// As alpha goes to 0, the negative binomial becomes the Poisson: also where 1 / alpha is past the largest double.
TEST(Limdep, TheNegativeBinomialEndsInThePoisson) {
  const Argument x = Mat(2, 1, {1, -2}), y = Mat(2, 1, {2, 0});
  for (int truncation : {0, 4}) {
    const CaseRun poisson = Call("FnCountJD", Count(Mat(1, 1, {0.3}), y, x, 0, truncation, 3));
    const CaseRun limit = Call("FnCountJD", Count(Mat(2, 1, {0.3, -800}), y, x, 1, truncation, 3));
    for (int position : {-1, 7, 9})
      for (std::size_t i = 0; i < poisson.At(position).size(); ++i)
        EXPECT_NEAR(limit.At(position)[i], poisson.At(position)[i], 1e-12) << position;
  }
}

// With mu = 1 the full models have f(0) : f(1) = 1 : 1 and, where alpha = 1, 1 : 1/2.
TEST(Limdep, CountsUpToOne) {
  const auto value = [](int model) {
    return Call("FnCountJD", Count(Mat(2, 1, {0, 0}), Mat(1, 1, {1}), Mat(1, 1, {1}), model, 1)).At(-1)[0];
  };
  EXPECT_DOUBLE_EQ(value(0), std::log(1.0 / 2));
  EXPECT_DOUBLE_EQ(value(1), std::log(1.0 / 3));
}

TEST(Limdep, AnOverflowingMeanAddsNothingToTheFrequencies) {
  const CaseRun run = Call("FnCountJD", Count(Mat(1, 1, {1}), Mat(2, 1, {0, 1}), Mat(2, 1, {0, 800}), 0, 0, 3));
  EXPECT_EQ(run.At(-1)[0], -HUGE_VAL);
  for (const std::size_t c : {0U, 1U, 2U})
    EXPECT_NEAR(run.At(9)[c], std::exp(-1.0) / (c < 2 ? 1 : 2), 1e-15) << "mean 1 alone";
}

// Once the terms of a truncated sum are lost, no time is spent on the others.
TEST(Limdep, AnOverflowingMeanEndsATruncatedSum) {
  const auto start = std::chrono::steady_clock::now();
  const CaseRun run = Call("FnCountJD", Count(Mat(1, 1, {1}), Mat(1, 1, {1}), Mat(1, 1, {800}), 0, 2147483647));
  EXPECT_EQ(run.At(-1)[0], -HUGE_VAL);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2)) << "2^31 terms take longer";
}

// What the headers state for exhausted memory: no result and missing outputs; for logit and probit also, where the sums
// of the outer product alone find none, an outer product of zero beside results that are right.
TEST(Limdep, ExhaustedMemory) {
  const Argument three = Mat(3, 1, {0.1, 0.2, 0.4}), y = Mat(2, 1, {1, 0}), x = Mat(2, 1, {1, 2});
  const Argument z = Mat(2, 4, {5, 6, 8, 1, 0, -1, 2, 3});
  const std::tuple<std::string, std::vector<Argument>, int, bool> calls[] = {
      {"FnLogitJD", Logit(three, y, 2, x, z), 7, true},
      {"FnBinProbitJD", Probit(three, y, x), 4, true},
      {"FnCountJD", Count(three, y, x, 0, 0, 2), 7, false},
      {"FnCountJD", Count(three, y, x, 1, 0, 2), 7, false}};
  for (const auto &[name, arguments, first, partly] : calls) {
    SCOPED_TRACE(name);
    const CaseRun full = Call(name, arguments);
    int without = 0, partial = 0;
    for (int n = 1;; ++n) {
      tessel::HeapFailAt(n);
      const CaseRun run = Call(name, arguments);
      const bool reached = !tessel::HeapFailPending();
      tessel::HeapFailAt(0);
      if (!reached) break;
      const int outer = first + 4;
      if (run.ReturnsMissing()) {
        ++without;
        for (int i = first; i <= outer; ++i)
          for (const double cell : run.At(i)) EXPECT_TRUE(std::isnan(cell)) << "output " << i << ", allocation " << n;
        if (name == "FnLogitJD") {
          EXPECT_EQ(run.arguments[4].matrix.values, z.matrix.values) << "Z is not centred";
        }
      } else {
        ++partial;
        for (int i : {-1, first, first + 1, first + 2, first + 3})
          EXPECT_TRUE(SameValue(run.ValueAt(i), full.ValueAt(i))) << "output " << i << ", allocation " << n;
        EXPECT_EQ(run.At(outer), std::vector<double>(9, 0.0));
      }
    }
    EXPECT_GT(without, 0);
    EXPECT_EQ(partial > 0, partly);
  }
}

// Every failing allocation ends in NoMemory, whatever else is filled.
TEST(Limdep, AStatusTellsExhaustedMemory) {
  const std::vector<double> theta = {0.1, 0.2}, x = {1, 2}, y = {1, 0}, z = {5, 6, 8, 1};
  std::vector<double> information(4), outerProduct(4);
  tessel::LikelihoodOutputs out;
  out.information = {information.data(), 2, 2};
  out.outerProduct = {outerProduct.data(), 2, 2};
  tessel::LogitSample choices;
  choices.outcomes = 2;
  choices.y = {y.data(), 2, 1};
  choices.x = {x.data(), 2, 1};
  choices.z = {z.data(), 2, 2};
  const tessel::IndexSample sample = {{y.data(), 2, 1}, {x.data(), 2, 1}, {}};
  const std::function<tessel::Likelihood()> evaluators[] = {
      [&] { return tessel::LogitLikelihood(choices, theta, out); },
      [&] { return tessel::ProbitLikelihood(sample, theta, out); },
      [&] { return tessel::CountLikelihood({}, sample, theta, out); },
      [&] {
        return tessel::CountLikelihood({true, 0, 0.0}, sample, theta, out);
      }};
  for (const auto &evaluate : evaluators)
    for (int n = 1, reached = 1; reached != 0; ++n) {
      tessel::HeapFailAt(n);
      const tessel::Likelihood likelihood = evaluate();
      reached = tessel::HeapFailPending() ? 0 : 1;
      tessel::HeapFailAt(0);
      EXPECT_EQ(likelihood.status, reached != 0 ? tessel::Status::NoMemory : tessel::Status::Ok) << n;
    }
}

TEST(Logit, FormsOfTheData) {
  const double half = std::log(0.5), third = std::log(1.0 / 3);
  const auto value = [](const std::vector<Argument> &arguments) { return Call("FnLogitJD", arguments).At(-1)[0]; };
  EXPECT_DOUBLE_EQ(value(Logit(kNone, Mat(2, 1, {0, 2.9}), 3, kNone)), 2 * third) << "all probabilities are 1/J";
  EXPECT_DOUBLE_EQ(value(Logit(kNone, Mat(1, 2, {2, 1}), 3, kNone)), 3 * half) << "two columns of counts, J = 2";
  EXPECT_DOUBLE_EQ(value(Logit(kNone, Mat(1, 3, {2, 1, 50}), 2, kNone)), 3 * half) << "the third column is not read";
  EXPECT_DOUBLE_EQ(value(Logit(kNone, Mat(2, 1, {0, 1}), 2, kNone, kNone, Mat(1, 2, {2, 5}))), 7 * half)
      << "a row of weights";
  EXPECT_DOUBLE_EQ(value(Logit(kNone, Mat(2, 1, {0, 1}), 2, kNone, kNone, Mat(1, 1, {9}))), 2 * half)
      << "weights of another size are absent";
  EXPECT_DOUBLE_EQ(value(Logit(kNone, Mat(2, 1, {0, 1}), 2, kNone, kNone, Mat(3, 1, {9, 9, 9}))), 2 * half);
  const CaseRun none = Call("FnLogitJD", Logit(Mat(2, 1, {1, 2}), kNone, 2, kNone));
  EXPECT_EQ(none.At(-1)[0], 0);
  EXPECT_EQ(none.At(8), std::vector<double>(4, 0.0));
  EXPECT_EQ(value(Logit(kNone, Mat(0, 1, {}), 4'000'000, kNone)), 0) << "nothing runs over pairs of outcomes";
  std::vector<Argument> declined =
      Logit(Mat(99'999, 1, std::vector<double>(99'999)), Mat(0, 1, {}), 100'000, Mat(0, 1, {}));
  declined[8] = declined[11] = Declined();
  EXPECT_EQ(value(declined), 0) << "no memory is taken for matrices that are not wanted";
}

TEST(Logit, ExtremeIndices) {
  const CaseRun large = Call("FnLogitJD", Logit(Mat(1, 1, {1e5}), Mat(1, 1, {0}), 2, Mat(1, 1, {1})));
  EXPECT_DOUBLE_EQ(large.At(-1)[0], -104 * std::log(2.0));
  EXPECT_EQ(large.At(9), (std::vector<double>{0x1p-104, 1}));
  const Argument farBelow = Mat(1, 2, {-1e4, -1e4});
  const CaseRun small = Call("FnLogitJD", Logit(kNone, Mat(1, 1, {0}), 2, kNone, kNone, kNone, farBelow));
  EXPECT_TRUE(std::isnan(small.At(-1)[0]));
}

// With gamma = log 3 and z = (0, 1) the probabilities are 1/4 and 3/4, the mean of z is 3/4.
TEST(Logit, TheInformationMatrixLeavesTheArgumentZCentred) {
  std::vector<Argument> arguments = Logit(Mat(1, 1, {std::log(3.0)}), Mat(1, 1, {0}), 2, kNone, Mat(1, 3, {0, 1, 9}));
  const CaseRun run = Call("FnLogitJD", arguments);
  const std::vector<double> &z = run.arguments[4].matrix.values;
  EXPECT_NEAR(z[0], -0.75, 1e-15);
  EXPECT_NEAR(z[1], 0.25, 1e-15);
  EXPECT_EQ(z[2], 9) << "half a characteristic is not read";
  arguments[8] = Declined();
  EXPECT_EQ(Call("FnLogitJD", arguments).arguments[4].matrix.values, arguments[4].matrix.values);
}

TEST(Logit, CentredCharacteristicsGiveTheSameResults) {
  const std::vector<Argument> arguments =
      Logit(Mat(1, 1, {0.7}), Mat(2, 1, {0, 2}), 3, kNone, Mat(2, 3, {5, 6, 8, 1, 0, -1}));
  const CaseRun first = Call("FnLogitJD", arguments);
  const CaseRun second = Call("FnLogitJD", first.arguments);
  for (int position : {-1, 7, 8, 10, 11})
    for (std::size_t i = 0; i < first.At(position).size(); ++i)
      EXPECT_NEAR(second.At(position)[i], first.At(position)[i], 1e-13) << position;
}

// Within the engine z stays as it is; where the centred values go changes no bit.
TEST(Logit, TheEvaluatorKeepsToItsOutputs) {
  const std::vector<double> theta = {0.3, -0.4}, y = {0, 2, 1},
                            z = {5, 6, 8, 1, 0, -1, 1, 2, 3, 4, 4, 7, 0, 1, 0, 2, 2, 1};
  std::vector<double> own(4), given(4), inPlace(4), centred(18), cells = z;
  tessel::LogitSample sample;
  sample.outcomes = 3;
  sample.y = {y.data(), 3, 1};
  sample.z = {z.data(), 3, 6};
  const auto information = [&](std::vector<double> &to, tessel::Matrix centredTo) {
    tessel::LikelihoodOutputs out;
    out.information = {to.data(), 2, 2};
    return tessel::LogitLikelihood(sample, theta, out, centredTo).logLik;
  };
  const double logLik = information(own, {});
  EXPECT_EQ(information(given, {centred.data(), 3, 6}), logLik);
  sample.z = {cells.data(), 3, 6};
  EXPECT_EQ(information(inPlace, {cells.data(), 3, 6}), logLik);
  EXPECT_TRUE(SameBits(own, given));
  EXPECT_TRUE(SameBits(own, inPlace));
  EXPECT_TRUE(SameBits(cells, centred));
  EXPECT_NE(cells, z);
}

TEST(Probit, FarTails) {
  const auto run = [](double x, double y) {
    return Call("FnBinProbitJD", Probit(Mat(1, 1, {1}), Mat(1, 1, {y}), Mat(1, 1, {x})));
  };
  EXPECT_EQ(run(-30, 0).At(-1)[0], 0) << "p0 is 1";
  EXPECT_EQ(run(30, 1).At(6), (std::vector<double>{0x1p-104, 1}));
  EXPECT_EQ(run(30, 1).At(4)[0], 0) << "nothing is divided by 0";
  EXPECT_EQ(run(-40, 1).At(-1)[0], -HUGE_VAL);
}

TEST(ActFitTable, CountsCases) {
  const Argument p = Mat(5, 2, {0.2, 0.8, 0.5, 0.5, 0, 0, NAN, 0.1, -0.5, -0.2});
  const CaseRun index = Call("FnActFitTable", {Mat(5, 1, {1, 1, 0, 1, 0}), p});
  EXPECT_EQ(index.At(-1), (std::vector<double>{2, 0, 2, 1, 2, 3, 3, 2, 5})) << "the first of equals, 0 for none";
  const CaseRun counts = Call("FnActFitTable", {Mat(2, 2, {0.6, 2.5, 0.6, 3e9}), Mat(2, 2, {0.2, 0.8, 0.9, 0.1})});
  EXPECT_EQ(counts.At(-1), (std::vector<double>{0.6, 0.6, 0, 3e9, 2.5, 2147483647, 2147483647, 2, 2147483647}))
      << "totals of truncated cells";
  const std::vector<double> partly = Call("FnActFitTable", {Mat(1, 2, {NAN, 5}), Mat(1, 2, {0.2, 0.8})}).At(-1);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(std::isnan(partly[i]), i == 1 || i == 2 || i == 7 || i == 8) << i;
  EXPECT_EQ(Call("FnActFitTable", {Mat(2, 1, {7, 8}), kNone}).At(-1), std::vector<double>{0});
}

}  // namespace
