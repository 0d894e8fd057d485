// FnGLScovariance, FnInstabilityTest, FnJackknifeHCSE, FnKroneckerSel, FnRalsForecast, FnRalsFunc, FnRivEst, FnRlsEst,
// FnSeasonalRsq.
#include <tessel/tessel.h>

#include <algorithm>
#include <initializer_list>
#include <limits>

#include "core/missing.h"
#include "frame.h"
#include "linalg/kronecker.h"
#include "regression/instability.h"
#include "regression/rals.h"
#include "regression/riv.h"
#include "regression/rls.h"
#include "regression/robust_covariance.h"
#include "regression/seasonal_rsq.h"

using namespace tessel;

namespace {

constexpr int kMaxInt = std::numeric_limits<int>::max();

bool AnyFailed(std::initializer_list<Output> outputs) {
  return std::any_of(outputs.begin(), outputs.end(), [](const Output &output) { return output.failed; });
}

}  // namespace

void FnGLScovariance(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 2);
  const ConstMatrix a = MatrixAt(args, 0), b = MatrixAt(args, 1);
  const bool autocovariances = IntegerAt(args, 2) != 0;
  const std::int64_t moments = static_cast<std::int64_t>(a.columns) * b.columns;
  if (b.rows < a.rows || moments > kMaxInt) return;

  const int size = static_cast<int>(moments);
  const Output result = MatrixResult(rtn, size, size);
  if (!result.Empty()) static_cast<void>(MomentCovariance(a, b, autocovariances, result));  // zeros without memory
}

void FnInstabilityTest(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_DOUBLE, args, 2, 2);
  CheckTypes(MORV_ARRAY, args, 3, 3);
  const ConstMatrix x = MatrixAt(args, 0), e = MatrixAt(args, 1);
  const double rss = DoubleAt(args, 2);
  if (x.Empty() || x.columns == kMaxInt || e.Length() < x.rows) return;

  InstabilityResult result;
  const Status status = InstabilityTest(x, e.Flat(), rss, &result);
  ReturnDouble(rtn, -1.0);
  if (status == Status::NoMemory) return;
  const Output statistics = OutputAt(args, 3, 1, x.columns + 1);
  if (statistics.failed) return;
  std::copy_n(result.single.get(), statistics.columns, statistics.cells);
  if (Succeeded(status)) ReturnDouble(rtn, result.joint);
}

void FnJackknifeHCSE(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  const ConstMatrix x = MatrixAt(args, 0), e = MatrixAt(args, 1), xxInv = MatrixAt(args, 2);
  const int k = x.columns;
  if (x.Empty() || e.Length() < x.rows || xxInv.rows < k || xxInv.columns < k) return;

  const OwnedMatrix covariance(k, k);
  if (!covariance) return;
  const Status status = JackknifeCovariance(x, e.Flat(), xxInv.Block(0, k, 0, k), covariance);
  if (status == Status::NoMemory) return;
  const int size = Succeeded(status) ? k : 0;
  const Output result = MatrixResult(rtn, size, size);
  if (!result.Empty()) Copy(result, covariance);
}

void FnKroneckerSel(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 3);
  const ConstMatrix a = MatrixAt(args, 0), b = MatrixAt(args, 1);
  const auto select = [](ConstMatrix cells, int aSize, int bSize) {
    const std::int64_t size = static_cast<std::int64_t>(aSize) * bSize;
    return Selection{cells.Empty() ? nullptr : cells.cells, cells.Empty() ? size : cells.Length(), size};
  };
  const Selection rows = select(MatrixAt(args, 2), a.rows, b.rows);
  const Selection columns = select(MatrixAt(args, 3), a.columns, b.columns);
  if (rows.count > kMaxInt || columns.count > kMaxInt || !rows.Valid() || !columns.Valid()) return;

  const Output result = MatrixResult(rtn, static_cast<int>(rows.count), static_cast<int>(columns.count));
  if (!result.Empty()) KroneckerSelect(a, b, rows, columns, result);
}

namespace {

// Arguments 0 to 4 of the two RALS exports. False when they do not fit together.
bool RalsModelAt(MorvValue *args, RalsModel *model) {
  const ConstMatrix theta = MatrixAt(args, 0), y = MatrixAt(args, 1), x = MatrixAt(args, 2);
  const int lagFirst = IntegerAt(args, 3), lagLast = IntegerAt(args, 4);
  const std::int64_t lagCount = std::max<std::int64_t>(static_cast<std::int64_t>(lagLast) - lagFirst + 1, 0);
  if (x.rows != y.rows || x.columns < 1 || y.columns != 1) return false;
  if (lagLast >= y.rows || (lagCount > 0 && lagFirst < 1) || theta.Length() != x.columns + lagCount) return false;

  *model = {theta.Flat(), y.Flat(), x, lagFirst, std::max(lagLast, 0)};
  return true;
}

}  // namespace

void FnRalsForecast(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 5);
  CheckTypes(MORV_MATRIX, args, 6, 6);
  CheckTypes(MORV_ARRAY, args, 7, 8);
  RalsModel model;
  if (!RalsModelAt(args, &model)) return;
  const int horizon = IntegerAt(args, 5), parameters = model.ParameterCount();
  const ConstMatrix parCov = MatrixAt(args, 6);
  if (horizon < 0 || horizon > model.x.rows - model.start) return;
  if (parCov.rows < parameters || parCov.columns < parameters) return;

  const Output errors = OutputAt(args, 7, horizon, 1), scales = OutputAt(args, 8, horizon, 1);
  if (AnyFailed({errors, scales})) return;
  double explained = 0.0;
  const Status status =
      RalsForecast(model, parCov.Block(0, parameters, 0, parameters), {errors.Flat(), scales.Flat()}, &explained);
  ReturnDouble(rtn, Succeeded(status) ? explained : 0.0);
}

void FnRalsFunc(MorvValue *rtn, MorvValue *args, int) {
  ReturnDouble(rtn, MissingValue());
  CheckTypes(MORV_MATRIX, args, 0, 2);
  CheckTypes(MORV_INTEGER, args, 3, 4);
  CheckTypes(MORV_ARRAY, args, 5, 5);
  RalsModel model;
  if (!RalsModelAt(args, &model)) return;

  const int parameters = model.ParameterCount();
  const Output residuals = OutputAt(args, 5, model.x.rows, 1);
  const Output gradient = OptionalOutputAt(args, 6, parameters, 1);
  const Output matrix = OptionalOutputAt(args, 7, parameters, parameters);
  if (AnyFailed({residuals, gradient, matrix})) return;
  double objective = 0.0;  // without memory the derivatives are zero
  static_cast<void>(RalsObjective(model, {residuals.Flat(), gradient.Flat(), matrix}, &objective));
  ReturnDouble(rtn, objective);
}

void FnRivEst(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 6);
  const RivData data = {MatrixAt(args, 0), IntegerAt(args, 1), IntegerAt(args, 2), IntegerAt(args, 3)};
  const int t1 = IntegerAt(args, 4), t2 = IntegerAt(args, 5), nInit = IntegerAt(args, 6);
  if (t2 < t1 || data.nEndog < 1 || data.k < 1 || data.m < 1 || t2 >= data.z.columns) return;
  if (static_cast<std::int64_t>(data.k) + data.m + 1 > data.z.rows || t1 < 0 || data.k < data.nEndog - 1) return;

  const int columns = t2 + 1;
  const Output beta = OptionalOutputAt(args, 7, data.k, columns);
  const Output inverseDiag = OptionalOutputAt(args, 8, data.k, columns);
  const Output standardised = OptionalOutputAt(args, 9, 1, columns);
  const Output innovation = OptionalOutputAt(args, 10, 1, columns);
  const Output rss = OptionalOutputAt(args, 11, 1, columns);
  const Output residual = OptionalOutputAt(args, 12, 1, columns);
  if (AnyFailed({beta, inverseDiag, standardised, innovation, rss, residual})) return ReturnIntegerField(rtn, 0);
  const RivPaths paths = {beta, inverseDiag, standardised.Flat(), innovation.Flat(), rss.Flat(), residual.Flat()};
  ReturnIntegerField(rtn, Succeeded(RivEstimate(data, t1, t2, nInit, paths)) ? 1 : 0);
}

void FnRlsEst(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 1);
  CheckTypes(MORV_INTEGER, args, 2, 4);
  const ConstMatrix y = MatrixAt(args, 0), x = MatrixAt(args, 1);
  const int t1 = IntegerAt(args, 2), t2 = IntegerAt(args, 3), tExact = IntegerAt(args, 4);
  const int n = y.columns, k = x.columns;
  const std::int64_t coefficients = static_cast<std::int64_t>(n) * k;
  if (t2 < t1 || t1 < 0 || y.rows <= t2 || x.rows <= t2 || coefficients > kMaxInt) return;

  const int columns = t2 + 1;
  const Output beta = OptionalOutputAt(args, 5, static_cast<int>(coefficients), columns);
  const Output inverseDiag = OptionalOutputAt(args, 6, k, columns);
  const Output standardised = OptionalOutputAt(args, 7, n, columns);
  const Output innovation = OptionalOutputAt(args, 8, n, columns);
  const Output rss = OptionalOutputAt(args, 9, n, columns);
  const Output residual = OptionalOutputAt(args, 10, n, columns);
  const Output halfLogDet = OptionalOutputAt(args, 11, 1, columns);
  if (AnyFailed({beta, inverseDiag, standardised, innovation, rss, residual, halfLogDet}))
    return ReturnIntegerField(rtn, 0);
  const RlsPaths paths = {beta, inverseDiag, standardised, innovation, rss, residual, halfLogDet.Flat()};
  ReturnIntegerField(rtn, Succeeded(RlsEstimate(y, x, t1, t2, tExact, paths)) ? 1 : 0);
}

void FnSeasonalRsq(MorvValue *rtn, MorvValue *args, int) {
  CheckTypes(MORV_MATRIX, args, 0, 0);
  CheckTypes(MORV_INTEGER, args, 1, 1);
  CheckTypes(MORV_DOUBLE, args, 2, 2);
  CheckTypes(MORV_ARRAY, args, 3, 3);
  const ConstMatrix y = MatrixAt(args, 0);
  const int seasons = IntegerAt(args, 1);
  const double rss = DoubleAt(args, 2);
  if (y.rows < 1 || y.columns != 1 || seasons < 2) return;

  const Output means = OutputAt(args, 3, 1, seasons);
  if (means.failed) return;
  double rsq = 0.0;
  ReturnDouble(rtn, Succeeded(SeasonalRsq(y.Flat(), rss, means.Flat(), &rsq)) ? rsq : -1.0);
}
