// The database observations that derivatives through the identities disturb, and their way back.
//
// A derivative pass writes to the observation before the forecasts and to those of the pass. What stood there is saved
// and put back here and nowhere else.
#pragma once

#include "forecast/recursion.h"

namespace tessel {

class DisturbedObservations {
 public:
  DisturbedObservations() = default;
  DisturbedObservations(const DisturbedObservations &) = delete;
  DisturbedObservations &operator=(const DisturbedObservations &) = delete;
  // Puts the observation before the forecasts back as it was at Open.
  ~DisturbedObservations();

  // Saves the observation before the forecasts of a model with identities; passes have at most `steps` columns. The
  // model must outlive this object.
  Status Open(ForecastModel &model, int steps);

  // Before the derivatives of a pass of `steps` columns: saves what its plain run left behind.
  void SavePass(int steps);

  // Before each derivative pass: the pass's observations as the plain run left them, so that a lead in an identity
  // reads the same in every pass.
  void RestorePass();

  // After the derivatives: the identities of the observation before the pass are evaluated from its undisturbed
  // endogenous variables; where the program fails there they get back what SavePass found.
  void SettleBefore();

 private:
  void Save(Matrix saved, int observation);
  void Restore(ConstMatrix saved, int observation);

  ForecastModel *model_ = nullptr;
  OwnedMatrix before_;  // nY + nIdent rows, one column: the observation before the forecasts, at Open
  OwnedMatrix pass_;    // the same rows; column c: observation base - 1 + c at SavePass
  int steps_ = 0;
};

}  // namespace tessel
