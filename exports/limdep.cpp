// FnActFitTable, FnBinProbitJD, FnCountJD, FnLogitJD, FnLogitProbDeriv.
#include <tessel/tessel.h>

#include <algorithm>
#include <limits>

#include "frame.h"
#include "limdep/act_fit_table.h"
#include "limdep/count.h"
#include "limdep/logit.h"
#include "limdep/probit.h"

using namespace tessel;

namespace {

constexpr int kHighest = std::numeric_limits<int>::max();

// The optional outputs of a likelihood evaluator. Cells that the evaluator never reaches read as missing.
class Outputs {
 public:
  Outputs(MorvValue *args, int parameters) : args_(args) { out_.parameters = parameters; }

  void Score(int position) { out_.score = New(position, out_.parameters, 1).Flat(); }
  void Information(int position) { out_.information = New(position, out_.parameters, out_.parameters).cells; }
  void Fitted(int position, int rows, int columns) { out_.fitted = New(position, rows, columns).cells; }
  void LogLik(int position, int observations) { out_.logLik = New(position, observations, 1).Flat(); }
  void OuterProduct(int position) { out_.outerProduct = New(position, out_.parameters, out_.parameters).cells; }

  bool Failed() const { return failed_; }
  const LikelihoodOutputs &Get() const { return out_; }

 private:
  OutputView New(int position, int rows, int columns) {
    const OutputView output = OptionalOutputAt(args_, position, rows, columns);
    MatFillMissing(output.cells, output.rows, output.columns);
    failed_ = failed_ || output.failed;
    return output;
  }

  MorvValue *args_;
  LikelihoodOutputs out_;
  bool failed_ = false;
};

// Whether the first column of y holds integers from 0 to `highest` alone.
bool OutcomesWithin(const MatrixView &y, int highest) {
  for (int t = 0; t < y.rows; ++t)
    if (const int outcome = TruncateToInt(y.cells[t][0]); outcome < 0 || outcome > highest) return false;
  return true;
}

// The weights, when there is one for each observation.
const double *WeightsAt(MorvValue *args, int position, int observations) {
  const MatrixView weights = MatrixAt(args, position);
  return weights.Length() == observations ? weights.Flat() : nullptr;
}

// A matrix of T rows and at least one column is used, any other counts as absent.
bool Used(const MatrixView &m, int observations) { return m.rows == observations && m.columns > 0; }

// The parameters of theta from `needed` up to what an int counts, or -1 when there are too few or too many.
int ParameterCount(const MatrixView &theta, std::int64_t needed) {
  return theta.Length() >= needed && theta.Length() <= kHighest ? static_cast<int>(theta.Length()) : -1;
}

IndexSample IndexSampleOf(const MatrixView &y, const MatrixView &x) {
  IndexSample sample;
  sample.observations = y.rows;
  sample.y = y.cells;
  sample.x = x.cells;
  sample.regressors = x.columns;
  return sample;
}

}  // namespace

void FnLogitJD(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 2);
  CheckTypes(MORV_MATRIX, args, 3, 6);
  const MatrixView theta = MatrixAt(args, 0), y = MatrixAt(args, 1);
  const MatrixView x = MatrixAt(args, 3), z = MatrixAt(args, 4), offset = MatrixAt(args, 6);
  LogitSample sample;
  sample.observations = y.rows;
  sample.outcomes = y.columns >= 2 ? std::min(IntegerAt(args, 2), y.columns) : IntegerAt(args, 2);
  sample.counts = y.columns != 1;
  if (sample.outcomes < 1) return;
  sample.y = y.cells;
  if (Used(x, y.rows)) {
    sample.x = x.cells;
    sample.regressors = x.columns;
  }
  if (Used(z, y.rows)) {
    sample.z = z.cells;
    sample.characteristics = z.columns / sample.outcomes;
  }
  sample.weight = WeightsAt(args, 5, y.rows);
  if (Used(offset, y.rows)) sample.offset = offset.cells;

  const int parameters =
      ParameterCount(theta, std::int64_t{sample.outcomes - 1} * sample.regressors + sample.characteristics);
  if (parameters < 0 || (y.rows > 0 && y.columns < 1)) return;
  if (sample.offset != nullptr && offset.columns < sample.outcomes) return;
  if (!sample.counts && !OutcomesWithin(y, sample.outcomes - 1)) return;

  Outputs outputs(args, parameters);
  outputs.Score(7);
  outputs.Information(8);
  outputs.Fitted(9, y.rows, sample.outcomes);
  outputs.LogLik(10, y.rows);
  outputs.OuterProduct(11);
  if (!outputs.Failed()) ReturnDouble(rtn, LogitLikelihood(sample, theta.Flat(), outputs.Get()));
}

void FnLogitProbDeriv(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 4);
  const MatrixView theta = MatrixAt(args, 0), p = MatrixAt(args, 1);
  const int regressors = IntegerAt(args, 2), outcomes = IntegerAt(args, 3), zColumns = IntegerAt(args, 4);
  if (regressors < 0 || outcomes < 1 || zColumns < 0 || regressors > kHighest - zColumns) return;
  const int characteristics = zColumns / outcomes;
  if (ParameterCount(theta, std::int64_t{outcomes - 1} * regressors + characteristics) < 0) return;
  if (p.rows < 1 || p.columns < outcomes) return;

  const OutputView derivatives = MatrixResult(rtn, regressors + zColumns, outcomes);
  if (derivatives.failed) return;
  MatZero(derivatives.cells, derivatives.rows, derivatives.columns);
  LogitProbDerivatives(theta.Flat(), regressors, outcomes, characteristics, p.cells[0], derivatives.cells);
}

void FnBinProbitJD(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 3);
  const MatrixView theta = MatrixAt(args, 0), y = MatrixAt(args, 1), x = MatrixAt(args, 2);
  if (y.columns != 1 || !Used(x, y.rows)) return;
  const int parameters = ParameterCount(theta, x.columns);
  if (parameters < 0 || !OutcomesWithin(y, 1)) return;
  IndexSample sample = IndexSampleOf(y, x);
  sample.weight = WeightsAt(args, 3, y.rows);

  Outputs outputs(args, parameters);
  outputs.Score(4);
  outputs.Information(5);
  outputs.Fitted(6, y.rows, 2);
  outputs.LogLik(7, y.rows);
  outputs.OuterProduct(8);
  if (!outputs.Failed()) ReturnDouble(rtn, ProbitLikelihood(sample, theta.Flat(), outputs.Get()));
}

void FnActFitTable(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  const MatrixView y = MatrixAt(args, 0), p = MatrixAt(args, 1);
  const int outcomes = p.columns;
  const bool counts = y.columns != 1;
  if (outcomes == kHighest) return;
  if (outcomes > 0 && (p.rows < y.rows || (counts && y.rows > 0 && y.columns < outcomes))) return;
  if (outcomes > 0 && !counts && !OutcomesWithin(y, outcomes - 1)) return;

  const OutputView table = MatrixResult(rtn, outcomes + 1, outcomes + 1);
  if (!table.failed) ActFitTable(y.cells, counts, p.cells, y.rows, outcomes, table.cells);
}

void FnCountJD(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 5);
  CheckTypes(MORV_DOUBLE, args, 6, 6);
  const MatrixView theta = MatrixAt(args, 0), y = MatrixAt(args, 1), x = MatrixAt(args, 2);
  const int kind = IntegerAt(args, 3), truncation = IntegerAt(args, 4), cells = IntegerAt(args, 5);
  if (y.columns != 1 || !Used(x, y.rows)) return;
  CountModel model;
  model.negativeBinomial = kind == 1;
  model.truncation = std::max(truncation, 0);
  model.power = DoubleAt(args, 6);
  model.cells = std::max(cells, 0);
  const int parameters = ParameterCount(theta, std::int64_t{x.columns} + (model.negativeBinomial ? 1 : 0));
  if (parameters < 0 || !OutcomesWithin(y, kHighest - 1)) return;  // more does not fit an int

  Outputs outputs(args, parameters);
  outputs.Score(7);
  outputs.Information(8);
  outputs.Fitted(9, 1, model.cells);
  outputs.LogLik(10, y.rows);
  outputs.OuterProduct(11);
  const bool usable = kind == 1 || (kind == 0 && truncation >= 0);
  if (usable && !outputs.Failed())
    ReturnDouble(rtn, CountLikelihood(model, IndexSampleOf(y, x), theta.Flat(), outputs.Get()));
}
