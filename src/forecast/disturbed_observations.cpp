// Saving and restoring database observations.
#include "forecast/disturbed_observations.h"

namespace tessel {

DisturbedObservations::~DisturbedObservations() {
  if (before_) Restore(before_, model_->base - 1);
}

Status DisturbedObservations::Open(ForecastModel &model, int steps) {
  model_ = &model;
  OwnedMatrix before(model.rows.Results(), 1);
  pass_ = OwnedMatrix(model.rows.Results(), std::int64_t{steps} + 1);
  if (!before || !pass_) return Status::NoMemory;
  before_ = std::move(before);
  Save(before_, model.base - 1);
  return Status::Ok;
}

void DisturbedObservations::SavePass(int steps) {
  steps_ = steps;
  for (int c = 0; c <= steps; ++c) Save(pass_.View().Columns(c, 1), model_->base - 1 + c);
}

void DisturbedObservations::RestorePass() {
  for (int c = 1; c <= steps_; ++c) Restore(pass_.View().Columns(c, 1), model_->base - 1 + c);
}

void DisturbedObservations::SettleBefore() {
  const int before = model_->base - 1;
  AlgebraWorkspace &workspace = *model_->workspace;
  if (Failed(workspace.Run(before, before)))
    workspace.PutRows(pass_.View().Block(model_->rows.nY, model_->rows.nIdent, 0, 1), workspace.FirstAdded(), before);
}

void DisturbedObservations::Save(Matrix saved, int observation) {
  const int nY = model_->rows.nY;
  const AlgebraWorkspace &workspace = *model_->workspace;
  workspace.GetRows(saved.Rows(0, nY), 0, observation);
  workspace.GetRows(saved.Rows(nY, model_->rows.nIdent), workspace.FirstAdded(), observation);
}

void DisturbedObservations::Restore(ConstMatrix saved, int observation) {
  const int nY = model_->rows.nY;
  AlgebraWorkspace &workspace = *model_->workspace;
  workspace.PutRows(saved.Rows(0, nY), 0, observation);
  workspace.PutRows(saved.Rows(nY, model_->rows.nIdent), workspace.FirstAdded(), observation);
}

}  // namespace tessel
