// FnComfac, FnEncompassing, FnFracSigma.
#include <tessel/tessel.h>

#include <algorithm>
#include <cstdio>

#include "core/heap.h"
#include "diagnostics/comfac.h"
#include "diagnostics/encompassing.h"
#include "diagnostics/fractional.h"
#include "frame.h"

using namespace tessel;

void FnComfac(MorvValue *rtn, MorvValue *args, int) {
  ReturnInteger(rtn, -1);
  CheckTypes(MORV_MATRIX, args, 0, 4);
  CheckTypes(MORV_DOUBLE, args, 5, 5);
  CheckTypes(MORV_INTEGER, args, 6, 6);
  CheckTypes(MORV_ARRAY, args, 7, 8);
  const MatrixView identity = MatrixAt(args, 0), lag = MatrixAt(args, 1), exclusion = MatrixAt(args, 2);
  const MatrixView coefficients = MatrixAt(args, 3), covariance = MatrixAt(args, 4);
  constexpr int mostTerms = 1 << 30;
  if (identity.Length() < 1 || identity.Length() > mostTerms) return;
  const int terms = static_cast<int>(identity.Length());
  if (lag.Length() < terms || exclusion.Length() < terms || coefficients.Length() < terms - 1) return;
  if (terms > 1 && (covariance.rows < terms - 1 || covariance.columns < terms - 1)) return;

  const OwnedBlock<double> statistics(terms), degrees(terms);
  const ComfacEquation equation = {terms,
                                   identity.Flat(),
                                   lag.Flat(),
                                   exclusion.Flat(),
                                   coefficients.Flat(),
                                   covariance.cells,
                                   DoubleAt(args, 5),
                                   IntegerAt(args, 6)};
  int count = 0;
  ComfacStatus status = ComfacStatus::NoMemory;
  if (statistics && degrees) status = ComfacTest(equation, statistics.get(), degrees.get(), &count);

  const OutputView first = OutputAt(args, 7, 1, count), second = OutputAt(args, 8, 1, count);
  if (first.failed || second.failed) {
    OutputAt(args, 7, 1, 0);
    OutputAt(args, 8, 1, 0);
    return;
  }
  if (count > 0) {
    std::copy_n(statistics.get(), count, first.Flat());
    std::copy_n(degrees.get(), count, second.Flat());
  }
  ReturnInteger(rtn, static_cast<int>(status));
}

namespace {

// The model at a matrix and three counts. False when the counts do not fit the rows.
bool IvModelAt(MorvValue *args, int position, IvModel *model) {
  const MatrixView rows = MatrixAt(args, position);
  *model = {rows.cells, IntegerAt(args, position + 1), IntegerAt(args, position + 2), IntegerAt(args, position + 3)};
  const std::int64_t count = std::int64_t{model->endogenous} + model->exogenous + model->instruments;
  return model->endogenous >= 1 && model->exogenous >= 0 && model->instruments >= 0 && count <= rows.rows;
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
  const int observations = MatrixAt(args, 0).columns;
  if (observations < 1 || MatrixAt(args, 4).columns != observations) return;

  const OutputView statistics = OutputAt(args, 8, 1, kEncompassingStatistics);
  EncompassingResult result;
  EncompassingStatus status = EncompassingStatus::NoMemory;
  if (!statistics.failed) {
    MatFillMissing(statistics.cells, 1, kEncompassingStatistics);
    status = Encompassing(first, second, observations, &result);
  }
  auto *regressors = static_cast<MorvValue *>(args[10].data);
  if (status == EncompassingStatus::Success) {
    const OutputView index = OutputAt(args, 9, 1, result.instruments);
    if (index.failed || regressors == nullptr) {
      status = EncompassingStatus::NoMemory;
    } else {
      std::copy_n(result.statistics, kEncompassingStatistics, statistics.Flat());
      std::copy_n(result.index.get(), result.instruments, index.Flat());
      MorvValSetInt(regressors, result.regressors);
    }
  }
  ReturnInteger(rtn, static_cast<int>(status));
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
  if (autocov.failed || autocov.Empty()) return ReturnIntegerField(rtn, noData);
  const double *d = parameters.cells, *phi = d + 1, *theta = phi + p;
  const FractionalProcess process = {*d, {phi, theta}, {theta, theta + q}, DoubleAt(args, 3)};
  int cutOffSeries = 0;
  const Status status = FracSigma(process, autocov.Flat(), &cutOffSeries);
  for (int i = 0; i < cutOffSeries; ++i) std::puts("hyper: end of loop reached!");
  ReturnIntegerField(rtn, FracSigmaCode(status));
}
