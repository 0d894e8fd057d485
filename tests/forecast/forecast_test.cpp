// Forecasts and impulse responses, called as a user calls them.
#include <cmath>
#include <memory>
#include <vector>

#include "core/missing.h"
#include "forecast/impulse.h"
#include "forecast/recursion.h"
#include "support/reference_cases.h"

namespace {

// A workspace of a and b over as many observations as x has columns, y as far as it is known, in which the program has
// run over the observations before the forecasts.
struct Workspace {
  Workspace(const std::string &code, const Cells &y, int observations, int before) {
    std::vector<double> cells;
    for (int t = 0; t < observations; ++t)
      for (int v = 0; v < y.rows; ++v)
        cells.push_back(t < y.columns ? y.values[static_cast<std::size_t>(v * y.columns + t)] : NAN);
    std::vector<std::string> names;
    for (int v = 0; v < y.rows; ++v) names.emplace_back(1, static_cast<char>('a' + v));
    morv::Arguments open, run;
    open.Matrix(cells.data(), observations, y.rows).Strings(names).Integer(1).Integer(1).Integer(1).Integer(0);
    open.Text(code).Decline().Decline();
    EXPECT_TRUE(morv::Call("FnInitAlgebraNls", FnInitAlgebraNls, open).Untouched());
    run.Column({}).Integer(0).Integer(before);
    EXPECT_TRUE(morv::Call("FnRunAlgebraNls", FnRunAlgebraNls, run).Untouched());
  }
  ~Workspace() {
    morv::Arguments none;
    morv::Call("FnExitAlgebraNls", FnExitAlgebraNls, none);
  }
};

constexpr char kSmoothAndSum[] = "smooth = a / (3 + b^2); two = b + b[-1];";
constexpr char kLevel[] = "level = trend() == 1 ? 100 : level[-1] * exp(b / 100);";

// All numbers of the file: statsmodels for the VAR(4) and the impulses, 50-digit recursions for the rest. A declined
// output changes no forecast by a bit.
TEST(Forecast, ReferenceCases) {
  const std::vector<ReferenceCase> cases = ReadReferenceCases("forecast_reference.txt");
  ASSERT_GT(cases.size(), 10U);
  for (const ReferenceCase &c : cases) {
    SCOPED_TRACE(c.function + " " + c.name);
    const std::vector<Argument> &a = c.arguments;
    std::unique_ptr<Workspace> workspace;
    if (c.name.starts_with("identities"))
      workspace = std::make_unique<Workspace>(kSmoothAndSum + std::string(a[15].integer > 0 ? "" : kLevel), a[0].matrix,
                                              a[1].matrix.columns, a[2].integer - 1);
    const CaseRun full = Call(c.function, a);
    ASSERT_TRUE(full.outcome.Returned());
    for (const Expected &expected : c.expected) ExpectValues(full, expected);
    if (c.function == "FnDynForc") {
      std::vector<Argument> plain = a;
      plain[16].kind = 'x';
      EXPECT_EQ(Call(c.function, plain).At(-1), full.At(-1));
    }
  }
}

// One variable, y_t = 0.5 y_(t-1) + x_t.
ExportCall Forecasts(int t1, int t2, int h = 0) {
  return {"FnDynForc",
          {Mat(1, 3, {1, 2, 4}), Mat(2, 6, {0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1}), Int(t1), Int(t2), Int(0), Int(1),
           Int(2), Mat(1, 3, {8, 8, 9}), Mat(1, 3, {1, 1, 3}), Mat(1, 3, {0, 1, 0}), Mat(1, 2, {0.5, 1}),
           Mat(1, 1, {4}), Int(0), Int(0), Int(0), Int(h), Out(), Int(0), Int(t1 - 1)}};
}

// Two regressors that are not lags.
const std::initializer_list<std::pair<std::string_view, Argument>> kNoLags = {{"identities", Mat(1, 3, {8, 7, 9})},
                                                                              {"lags", Mat(1, 3, {0, 0, 0})}};

ExportCall Responses(int t1, int t2, int equation, int kind) {
  std::vector<Argument> a = Forecasts(t1, t2).arguments;
  a.resize(14);
  a.insert(a.end(), {Int(equation), Int(kind)});
  return ExportCall{"FnImpulse", a}.With({{"reduced", Int(1)}});
}

// The list of endogenous variables holds nY: further descriptors with lag 0 are regressors like others.
TEST(Forecast, MoreDescriptorsWithoutALagThanEquations) {
  constexpr int nX = 50000;
  std::vector<double> identities, kinds(nX + 1, 1.0), lags(nX + 1, 0.0);
  for (int i = 0; i <= nX; ++i) identities.push_back(i);
  lags[3] = 2;  // of a variable that is not endogenous
  identities[7] = 0, lags[7] = 4;
  tessel::ForecastIndex index;
  ASSERT_EQ(tessel::BuildForecastIndex({identities, kinds, lags, 1, 1}, 1, nX, &index), tessel::Status::Ok);
  ASSERT_EQ(index.nLag, 1);
  EXPECT_EQ(index.terms[0].varIndex, 0);
  EXPECT_EQ(index.terms[0].lagOf, 4);
  EXPECT_EQ(index.longestLag, 4);
  EXPECT_EQ(tessel::BuildForecastIndex({identities, kinds, lags, 5, 6}, 1, nX, &index), tessel::Status::Invalid);
}

// One variable that follows its own lag.
tessel::ForecastModel OneEquation(tessel::ConstMatrix actual, tessel::ConstMatrix regressors, int nIdent) {
  constexpr double identities[] = {1, 1}, kinds[] = {1, 1}, lags[] = {0, 1}, pi[] = {0.5};
  tessel::ForecastModel model;
  EXPECT_EQ(tessel::BuildForecastIndex({identities, kinds, lags, 1, 1}, 1, 1, &model.index), tessel::Status::Ok);
  EXPECT_EQ(tessel::NewForecastRows(model.index, {actual, regressors, nIdent, 3}, &model.rows), tessel::Status::Ok);
  model.piColumns = tessel::CoefficientColumns({pi, 1, 1});
  return model;
}

TEST(Forecast, AFailedProgramLeavesNoOldIdentity) {
  constexpr double known[] = {8, 8}, regressors[] = {0, 0, 0, 0};
  tessel::AlgebraWorkspace workspace;
  ASSERT_EQ(workspace.Open({2000, 1, 0, 0, 1}, 4, 1), tessel::Status::Ok);
  const char *const names[] = {"y"};
  ASSERT_EQ(workspace.AddData({known, 2, 1}, names), tessel::Status::Ok);
  ASSERT_EQ(workspace.Compile("root = sqrt(y - 3);"), tessel::Status::Ok);
  tessel::ForecastModel model = OneEquation({known, 1, 2}, {regressors, 1, 4}, 1);
  model.workspace = &workspace;
  model.base = 2;
  tessel::Fill(model.rows.results.Rows(1, 1), 77.0);
  tessel::ForecastRecursion(model, 2, 3, tessel::PlainPass);
  EXPECT_EQ(model.rows[1][2], 1.0) << "the root of 4 - 3";
  EXPECT_TRUE(tessel::IsMissing(model.rows[1][3])) << "2 - 3 has none";
}

TEST(Impulse, OfAnEquationWithoutAnError) {
  constexpr double known[] = {8, 8}, regressors[] = {0, 0, 0, 0};
  const tessel::ForecastModel model = OneEquation({known, 1, 2}, {regressors, 1, 4}, 0);
  for (const int kind : {tessel::StandardErrorShock, tessel::OrthogonalShock}) {
    const tessel::Shock shock = {kind, 0, {}, {}, {}};
    EXPECT_EQ(tessel::ImpulseResponse(model.rows, model.index, model.piColumns, shock, 0, 3), tessel::Status::Invalid);
  }
}

TEST(Forecast, SpansAndMissingValues) {
  const CaseRun cut = Call(Forecasts(3, 2000000000));
  EXPECT_EQ(cut.At(-1), (std::vector<double>{3, 2.5, 2.25})) << "to the last column of the regressors";
  EXPECT_EQ(cut.At(16)[0], 2);
  EXPECT_EQ(cut.At(16)[1], std::sqrt(5));
  const std::vector<double> steps = Call(Forecasts(1, 5, 2)).At(-1);
  EXPECT_EQ((std::vector<double>{steps[0], steps[1], steps[2], steps[3]}), (std::vector<double>{1.5, 1.75, 2, 2.5}));
  EXPECT_TRUE(std::isnan(steps[4])) << "needs column 3, which is not known";
  EXPECT_EQ(Call(Forecasts(3, 5).With({{"Omega", Mat(1, 1, {-4})}})).At(16), std::vector<double>(3, 0.0));
  EXPECT_EQ(Call(Forecasts(-5, 1).With(kNoLags)).At(-1), (std::vector<double>{1, 1}))
      << "without lags a forecast needs no history";
  EXPECT_EQ(Call(Forecasts(3, 5).With({{"second kind", Int(1)}})).At(-1), cut.At(-1)) << "one kind code given twice";
  EXPECT_EQ(Call(Responses(0, 2, 0, 1)).At(-1), (std::vector<double>{2, 1, 0.5}));
}

// What fails before anything is allocated, and what leaves standard errors that are missing.
TEST(Forecast, UnusableArguments) {
  const Argument empty = Mat(0, 0, {}), one = Mat(1, 1, {1});
  const ExportCall forecasts = Forecasts(3, 5), unit = Responses(3, 5, 0, 0);
  const ExportCall atOnce[] = {
      Forecasts(4, 3),
      Forecasts(6, 9),
      Forecasts(0, 5),   // below the lag
      Forecasts(-2, 5),  // counts as 0
      forecasts.With({{"lags", Mat(1, 3, {0, 4, 0})}}),
      forecasts.With({{"lags", Mat(1, 3, {0, 2147483647, 0})}}),
      forecasts.With({{"y", empty}}),
      forecasts.With({{"kinds", Mat(1, 2, {1, 1})}}),
      forecasts.With({{"Pi", one}}),
      forecasts.With({{"Omega", empty}}),
      forecasts.With({{"V", one}}),
      forecasts.With({{"V", one}, {"Q", Mat(2, 1, {1, 1})}}),                  // nQ is 0
      forecasts.With({{"V", one}, {"Q", one}, {"nQ", Int(1)}}),                // Q too short
      forecasts.With({{"V", one}, {"Q", Mat(2, 1, {1, 1})}, {"nQ", Int(2)}}),  // Q too narrow
      forecasts.With({{"with identities", Int(1)}}),                           // no workspace
      Responses(3, 2, 0, 0),
      Responses(3, 5, 1, 0),
      Responses(3, 5, 1, 3),
      Responses(3, 5, -1, 1),
      Responses(3, 5, 0, 3),
      Responses(3, 5, 0, 4),
      Responses(3, 5, 0, -1),
      unit.With({{"Pi", empty}}),
      unit.With({{"reduced", Int(0)}}),  // no map
      unit.With({{"reduced", Int(0)}, {"Omega", empty}}),
      Responses(0, 5, 0, 0).With({{"lags", Mat(1, 3, {0, 2, 0})}}),
      Responses(3, 5, 0, 1).With({{"Omega", empty}}),
      Responses(3, 5, 0, 2).With({{"Omega", Mat(1, 1, {-1})}}),
      Responses(3, 5, 0, 2).With({{"reduced", Int(0)}, {"map", one}, {"Omega", Mat(2, 2, {1, 0, 0, 1})}})};
  for (std::size_t i = 0; i < std::size(atOnce); ++i) {
    SCOPED_TRACE(i);
    ExpectGivesUp(Call(atOnce[i]));
  }
  for (const auto &call :
       {Forecasts(3, 5, 4), forecasts.With({{"Pi", empty}}), forecasts.With({{"kinds", Mat(1, 3, {3, 3, 3})}})}) {
    const CaseRun run = Call(call);
    EXPECT_TRUE(run.outcome.Untouched());
    ASSERT_EQ(run.At(16).size(), 3U);
    for (double se : run.At(16)) EXPECT_TRUE(std::isnan(se));
  }
  EXPECT_TRUE(Call(Forecasts(3, 5, 3)).outcome.Returned());
}

// The workspace has observations 0 to 5.
TEST(Forecast, IdentitiesStayInTheWorkspace) {
  const Workspace workspace("root = sqrt(a - 2.4 + 5 * (a < 2.1));", {1, 3, {1, 2, 4}}, 6, 2);
  const auto forecast = [](int before, int h, bool errors) {
    return Call(Forecasts(3, 5, h).With(
        {{"errors", errors ? Out() : Declined()}, {"with identities", Int(1)}, {"before", Int(before)}}));
  };
  for (auto [before, h, errors, returns] : {std::tuple{2, 0, true, true},
                                            {0, 0, true, true},
                                            {-1, 0, true, false},
                                            {-1, 0, false, true},
                                            {-2, 0, false, false},
                                            {3, 0, false, false},
                                            {3, 2, false, true},
                                            {4, 2, false, false},
                                            {4, 1, true, true},
                                            {2147483647, 0, false, false},
                                            {-2147483647 - 1, 0, true, false}}) {
    const CaseRun run = forecast(before, h, errors);
    EXPECT_EQ(run.outcome.Returned(), returns) << before << " " << h << " " << errors;
    EXPECT_TRUE(returns || run.WroteNothing());
  }
  // The first column has none before it to disturb.
  const ExportCall first = Forecasts(0, 1).With(kNoLags).With({{"with identities", Int(1)}, {"before", Int(0)}});
  EXPECT_TRUE(Call(first).WroteNothing());
  EXPECT_TRUE(Call(first.With({{"errors", Declined()}})).outcome.Returned());

  const CaseRun run = forecast(2, 0, true);
  const std::vector<double> values = run.At(-1);
  EXPECT_EQ((std::vector<double>{values.begin(), values.end() - 1}),
            (std::vector<double>{3, 2.5, 2.25, std::sqrt(3 - 2.4), std::sqrt(2.5 - 2.4)}));
  EXPECT_TRUE(std::isnan(values[5])) << "the program fails at 2.25";
  EXPECT_NEAR(run.At(16)[3], 1 / std::sqrt(3 - 2.4), 1e-8) << "the delta method";

  morv::Arguments before;
  before.Text("a").Integer(0).Integer(2).Decline();
  const auto history = [&] { return morv::Call("FnGetAlgebraVar", FnGetAlgebraVar, before).result.Numbers(); };
  const std::vector<double> known = history();
  EXPECT_TRUE(forecast(2, 2, true).outcome.Returned());
  EXPECT_EQ(history(), known) << "what precedes the forecasts stays";
}

// A lead reads what the database holds from the pass before, which no disturbance reaches: the error is that of -a.
TEST(Forecast, IdentitiesWithLeads) {
  const Workspace workspace("rise = lead(a, 1) - a;", {1, 3, {1, 2, 4}}, 7, 2);
  const std::vector<double> se =
      Call(
          Forecasts(3, 5).With({{"V", Mat(2, 2, {0.04, 0, 0, 0.01})}, {"with identities", Int(1)}, {"before", Int(2)}}))
          .At(16);
  for (const std::size_t c : {0U, 1U}) EXPECT_NEAR(se[3 + c], se[c], 1e-8) << c;
}

}  // namespace
