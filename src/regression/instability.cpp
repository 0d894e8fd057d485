// Hansen's test of parameter constancy.
#include "regression/instability.h"

#include "linalg/moments.h"
#include "linalg/symmetric.h"
#include "regression/recursive_updates.h"

namespace tessel {

Status InstabilityTest(ConstMatrix x, std::span<const double> e, double rss, InstabilityResult *result) {
  const int k = x.columns, scores = k + 1;
  const double T = x.rows;
  const OwnedMatrix scoreCross(scores, scores), cumCross(scores, scores);  // V, and the sum of S S'
  const OwnedMatrix work(2, scores);
  result->single = OwnedBlock<double>::Zeroed(scores);
  if (!scoreCross || !cumCross || !work || !result->single) return Status::NoMemory;
  const std::span<double> score = work.View().Row(0), cumScore = work.View().Row(1);
  double *single = result->single.get();
  FillZero(scoreCross);
  FillZero(cumCross);
  FillZero(work);

  for (int t = 0; t < x.rows; ++t) {
    for (int i = 0; i < k; ++i) score[i] = x[t][i] * e[t];
    score[k] = e[t] * e[t] - rss / T;
    for (int i = 0; i < scores; ++i) {
      cumScore[i] += score[i];
      single[i] += cumScore[i] * cumScore[i];
    }
    AddOuterLower(scoreCross, score);
    AddOuterLower(cumCross, cumScore);
  }
  MirrorLower(scoreCross);
  MirrorLower(cumCross);

  for (int i = 0; i < scores; ++i) single[i] /= T * scoreCross[i][i];
  if (const Status status = MatInvertSpd(scoreCross); Failed(status)) return status;
  MatSymMulBt(cumCross, scoreCross);
  result->joint = MatTrace(cumCross) / T;
  return Status::Ok;
}

}  // namespace tessel
