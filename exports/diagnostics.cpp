// FnComfac, FnEncompassing, FnFracSigma.
#include <tessel/tessel.h>

#include <algorithm>
#include <cstdio>

#include "diagnostics/comfac.h"
#include "diagnostics/encompassing.h"
#include "diagnostics/fractional.h"
#include "frame.h"

using namespace tessel;

namespace {

int ComfacCode(Status status) {
  switch (status) {
    case Status::Ok: return 0;
    case Status::Incomplete: return 1;
    case Status::OrderZero: return 2;
    case Status::TooFew: return 3;
    case Status::NoStatistic: return 4;
    default: return -1;
  }
}

}  // namespace

void FnComfac(MorvValue *rtn, MorvValue *args, int) {
  ReturnInteger(rtn, -1);
  CheckTypes(MORV_MATRIX, args, 0, 4);
  CheckTypes(MORV_DOUBLE, args, 5, 5);
  CheckTypes(MORV_INTEGER, args, 6, 6);
  CheckTypes(MORV_ARRAY, args, 7, 8);
  const ConstMatrix identity = MatrixAt(args, 0), lag = MatrixAt(args, 1), exclusion = MatrixAt(args, 2);
  const ConstMatrix coefficients = MatrixAt(args, 3), covariance = MatrixAt(args, 4);
  const double scale = DoubleAt(args, 5);
  const int dependent = IntegerAt(args, 6);
  constexpr int mostTerms = 1 << 30;
  const std::int64_t terms = identity.Length();
  if (terms < 1 || terms > mostTerms) return;
  if (lag.Length() < terms || exclusion.Length() < terms || coefficients.Length() < terms - 1) return;
  if (terms > 1 && (covariance.rows < terms - 1 || covariance.columns < terms - 1)) return;

  ComfacResult result;
  const Status status = ComfacTest(
      {identity.Flat(), lag.Flat(), exclusion.Flat(), coefficients.Flat(), covariance, scale, dependent}, &result);
  const int count = result.count;
  const Output statistics = OutputAt(args, 7, 1, count), degrees = OutputAt(args, 8, 1, count);
  if (statistics.failed || degrees.failed) {
    OutputAt(args, 7, 1, 0);
    OutputAt(args, 8, 1, 0);
    return;
  }
  std::copy_n(result.statistics.get(), count, statistics.cells);
  std::copy_n(result.degrees.get(), count, degrees.cells);
  ReturnInteger(rtn, ComfacCode(status));
}

namespace {

// The model at a matrix and three counts. False when the counts do not fit the rows.
bool IvModelAt(MorvValue *args, int position, IvModel *model) {
  *model = {MatrixAt(args, position), IntegerAt(args, position + 1), IntegerAt(args, position + 2),
            IntegerAt(args, position + 3)};
  const std::int64_t count = std::int64_t{model->endogenous} + model->exogenous + model->instruments;
  return model->endogenous >= 1 && model->exogenous >= 0 && model->instruments >= 0 && count <= model->rows.rows;
}

int EncompassingCode(Status status) {
  switch (status) {
    case Status::Ok: return 0;
    case Status::NotIdentified: return 1;
    case Status::Nested: return 2;
    case Status::Singular: return 3;
    case Status::NotPositive: return 4;
    default: return 5;
  }
}

}  // namespace

void FnEncompassing(MorvValue *rtn, MorvValue *args, int) {
  ReturnInteger(rtn, -1);
  for (const int position : {0, 4}) {
    CheckTypes(MORV_MATRIX, args, position, position);
    CheckTypes(MORV_INTEGER, args, position + 1, position + 3);
  }
  CheckTypes(MORV_ARRAY, args, 8, 10);
  IvModel first, second;
  if (!IvModelAt(args, 0, &first) || !IvModelAt(args, 4, &second)) return;
  if (first.rows.columns < 1 || second.rows.columns != first.rows.columns) return;

  const Output statistics = OutputAt(args, 8, 1, kEncompassingStatistics);
  if (statistics.failed) return ReturnInteger(rtn, EncompassingCode(Status::NoMemory));
  FillMissing(statistics);
  EncompassingResult result;
  Status status = Encompassing(first, second, &result);
  if (Succeeded(status)) {
    const Output index = OutputAt(args, 9, 1, result.instruments);
    MorvValue *regressors = TargetAt(args, 10);
    if (index.failed || regressors == nullptr) {
      status = Status::NoMemory;
    } else {
      std::copy_n(result.statistics, kEncompassingStatistics, statistics.cells);
      std::copy_n(result.index.get(), result.instruments, index.cells);
      MorvValSetInt(regressors, result.regressors);
    }
  }
  ReturnInteger(rtn, EncompassingCode(status));
}

namespace {

int FracSigmaCode(Status status) {
  switch (status) {
    case Status::Ok: return 0;
    case Status::OutOfRange: return 1;
    case Status::NotPositive: return 2;
    case Status::NotStationary: return 4;
    case Status::NotConverged: return 6;
    case Status::EqualRoots: return 7;
    default: return 10;
  }
}

}  // namespace

void FnFracSigma(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 2);
  CheckTypes(MORV_DOUBLE, args, 3, 3);
  CheckTypes(MORV_INTEGER, args, 4, 4);
  CheckTypes(MORV_ARRAY, args, 5, 5);
  const ConstMatrix parameters = MatrixAt(args, 0);
  const int p = IntegerAt(args, 1), q = IntegerAt(args, 2), n = IntegerAt(args, 4);
  const int noData = FracSigmaCode(Status::NoMemory);
  if (p < 0 || q < 0 || n < 0) return ReturnIntegerField(rtn, noData);

  const Output autocov = OutputAt(args, 5, 1, n);
  if (parameters.rows != 1 || parameters.columns < std::int64_t{1} + p + q) {
    ReturnIntegerField(rtn, noData);
    return MorvLibArgError(1);
  }
  if (!parameters || autocov.failed || autocov.Empty()) return ReturnIntegerField(rtn, noData);
  const double *d = parameters.cells, *phi = d + 1, *theta = phi + p;
  const FractionalProcess process = {*d, {phi, theta}, {theta, theta + q}, DoubleAt(args, 3)};
  int cutOffSeries = 0;
  const Status status = FracSigma(process, autocov.Flat(), &cutOffSeries);
  for (int i = 0; i < cutOffSeries; ++i) std::puts("hyper: end of loop reached!");
  ReturnIntegerField(rtn, FracSigmaCode(status));
}
