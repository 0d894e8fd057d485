// FnActFitTable, FnBinProbitJD, FnCountJD, FnLogitJD, FnLogitProbDeriv.
#include <tessel/tessel.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>

#include "frame.h"
#include "limdep/act_fit_table.h"
#include "limdep/count.h"
#include "limdep/logit.h"
#include "limdep/probit.h"

using namespace tessel;

namespace {

constexpr int kHighest = std::numeric_limits<int>::max();

// The optional outputs of a likelihood evaluator for nP parameters. Cells that the evaluator does not fill are missing.
class Outputs {
 public:
  Outputs(MorvValue *args, std::size_t parameters) : args_(args), parameters_(static_cast<int>(parameters)) {}

  void Score(int position) { out_.score = Vector(position, parameters_); }
  void Information(int position) { out_.information = New(position, parameters_, parameters_); }
  void Fitted(int position, int rows, int columns) { out_.fitted = New(position, rows, columns); }
  void LogLik(int position, int observations) { out_.logLik = Vector(position, observations); }
  void OuterProduct(int position) { out_.outerProduct = New(position, parameters_, parameters_); }

  // After an evaluator that found no memory for all of them.
  void SetMissing() const {
    std::fill(out_.score.begin(), out_.score.end(), MissingValue());
    std::fill(out_.logLik.begin(), out_.logLik.end(), MissingValue());
    for (const Matrix &m : {out_.information, out_.fitted, out_.outerProduct}) FillMissing(m);
  }

  bool Failed() const { return failed_; }
  const LikelihoodOutputs &Get() const { return out_; }

 private:
  Matrix New(int position, int rows, int columns) {
    const Output output = OptionalOutputAt(args_, position, rows, columns);
    FillMissing(output);
    failed_ = failed_ || output.failed;
    return output;
  }
  std::span<double> Vector(int position, int n) { return New(position, n, 1).Flat(); }

  MorvValue *args_;
  int parameters_;
  LikelihoodOutputs out_;
  bool failed_ = false;
};

// The weights, when there is one for each observation.
std::span<const double> WeightsAt(MorvValue *args, int position, int observations) {
  const ConstMatrix weights = MatrixAt(args, position);
  return weights.Length() == observations ? weights.Flat() : std::span<const double>{};
}

// A matrix of T rows and at least one column is used, any other counts as absent.
bool Used(ConstMatrix m, int observations) { return m.rows == observations && m.columns > 0; }

// Whether theta has the parameters of the model, and no more than an int counts.
bool HoldsParameters(ConstMatrix theta, std::int64_t needed) {
  return theta.Length() >= needed && theta.Length() <= kHighest;
}

}  // namespace

void FnLogitJD(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 2);
  CheckTypes(MORV_MATRIX, args, 3, 6);
  const ConstMatrix theta = MatrixAt(args, 0), y = MatrixAt(args, 1), x = MatrixAt(args, 3), offset = MatrixAt(args, 6);
  const ConstMatrix z = MatrixAt(args, 4);
  LogitSample sample;
  sample.outcomes = y.columns >= 2 ? std::min(IntegerAt(args, 2), y.columns) : IntegerAt(args, 2);
  sample.y = y;
  sample.counts = y.columns != 1;
  if (sample.outcomes < 1) return;
  if (Used(x, y.rows)) sample.x = x;
  if (Used(z, y.rows)) sample.z = z;
  if (Used(offset, y.rows)) sample.offset = offset;
  sample.weight = WeightsAt(args, 5, y.rows);

  if (!HoldsParameters(theta, sample.Shape().ParameterCount()) || (y.rows > 0 && y.columns < 1)) return;
  if (sample.offset && offset.columns < sample.outcomes) return;
  if (!sample.counts && !OutcomesWithin(y, sample.outcomes - 1)) return;

  Outputs outputs(args, theta.Flat().size());
  outputs.Score(7);
  outputs.Information(8);
  outputs.Fitted(9, y.rows, sample.outcomes);
  outputs.LogLik(10, y.rows);
  outputs.OuterProduct(11);
  if (outputs.Failed()) return;
  // The information matrix leaves its argument Z centred.
  const Matrix centred = sample.z ? ChangedMatrixAt(args, 4) : Matrix{};
  ReturnDouble(rtn, LogitLikelihood(sample, theta.Flat(), outputs.Get(), centred).logLik);
}

void FnLogitProbDeriv(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 4);
  const ConstMatrix theta = MatrixAt(args, 0), p = MatrixAt(args, 1);
  const int regressors = IntegerAt(args, 2), outcomes = IntegerAt(args, 3), zColumns = IntegerAt(args, 4);
  if (regressors < 0 || outcomes < 1 || zColumns < 0 || regressors > kHighest - zColumns) return;
  const int characteristics = zColumns / outcomes;
  if (!HoldsParameters(theta, std::int64_t{outcomes - 1} * regressors + characteristics)) return;
  if (p.rows < 1 || p.columns < outcomes) return;

  const Output derivatives = MatrixResult(rtn, regressors + zColumns, outcomes);
  FillZero(derivatives);
  if (!derivatives.failed)
    LogitProbDerivatives(theta.Flat(), regressors, p.Flat(), derivatives.Rows(0, regressors + characteristics));
}

void FnBinProbitJD(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 3);
  const ConstMatrix theta = MatrixAt(args, 0), y = MatrixAt(args, 1), x = MatrixAt(args, 2);
  if (y.columns != 1 || !Used(x, y.rows)) return;
  if (!HoldsParameters(theta, x.columns) || !OutcomesWithin(y, 1)) return;

  Outputs outputs(args, theta.Flat().size());
  outputs.Score(4);
  outputs.Information(5);
  outputs.Fitted(6, y.rows, 2);
  outputs.LogLik(7, y.rows);
  outputs.OuterProduct(8);
  if (outputs.Failed()) return;
  const IndexSample sample{y, x, WeightsAt(args, 3, y.rows)};
  ReturnDouble(rtn, ProbitLikelihood(sample, theta.Flat(), outputs.Get()).logLik);
}

void FnActFitTable(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  const ConstMatrix y = MatrixAt(args, 0), p = MatrixAt(args, 1);
  const int outcomes = p.columns;
  const bool counts = y.columns != 1;
  if (outcomes == kHighest) return;
  if (outcomes > 0 && (p.rows < y.rows || (counts && y.rows > 0 && y.columns < outcomes))) return;
  if (outcomes > 0 && !counts && !OutcomesWithin(y, outcomes - 1)) return;

  const Output table = MatrixResult(rtn, outcomes + 1, outcomes + 1);
  if (!table.failed) ActFitTable(y, counts, p, table);
}

void FnCountJD(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 5);
  CheckTypes(MORV_DOUBLE, args, 6, 6);
  const ConstMatrix theta = MatrixAt(args, 0), y = MatrixAt(args, 1), x = MatrixAt(args, 2);
  const int kind = IntegerAt(args, 3), truncation = IntegerAt(args, 4), cells = IntegerAt(args, 5);
  if (y.columns != 1 || !Used(x, y.rows)) return;
  CountModel model;
  model.negativeBinomial = kind == 1;
  model.truncation = std::max(truncation, 0);
  model.power = DoubleAt(args, 6);
  if (!HoldsParameters(theta, model.ParameterCount(x.columns))) return;
  if (!OutcomesWithin(y, kHighest - 1)) return;  // more does not fit an int

  Outputs outputs(args, theta.Flat().size());
  outputs.Score(7);
  outputs.Information(8);
  outputs.Fitted(9, 1, std::max(cells, 0));
  outputs.LogLik(10, y.rows);
  outputs.OuterProduct(11);
  const bool usable = kind == 1 || (kind == 0 && truncation >= 0);
  if (!usable || outputs.Failed()) return;
  const Likelihood likelihood = CountLikelihood(model, {y, x, {}}, theta.Flat(), outputs.Get());
  if (Failed(likelihood.status)) return outputs.SetMissing();
  ReturnDouble(rtn, likelihood.logLik);
}
