// Hansen's test of parameter constancy.
#include "regression/instability.h"

#include <algorithm>

#include "linalg/moments.h"
#include "linalg/symmetric.h"
#include "regression/accumulation.h"

namespace tessel {

double InstabilityTest(RowMatrix x, const double *e, double rss, int observations, int k, const InstabilityWork &work,
                       double *statistics) {
  const int scores = k + 1;
  const double T = observations;
  std::fill_n(work.cumScore, scores, 0.0);
  std::fill_n(statistics, scores, 0.0);
  MatZero(work.scoreCross, scores, scores);
  MatZero(work.cumCross, scores, scores);

  for (int t = 0; t < observations; ++t) {
    for (int i = 0; i < k; ++i) work.score[i] = x[t][i] * e[t];
    work.score[k] = e[t] * e[t] - rss / T;
    for (int i = 0; i < scores; ++i) {
      work.cumScore[i] += work.score[i];
      statistics[i] += work.cumScore[i] * work.cumScore[i];
    }
    AddOuterLower(work.scoreCross, work.score, scores);
    AddOuterLower(work.cumCross, work.cumScore, scores);
  }
  const Matrix scoreCross = ViewOf(work.scoreCross, scores, scores), cumCross = ViewOf(work.cumCross, scores, scores);
  MirrorLower(scoreCross);
  MirrorLower(cumCross);

  for (int i = 0; i < scores; ++i) statistics[i] /= T * work.scoreCross[i][i];
  // Without memory the inverse is missing, and so is the joint statistic.
  const Status inverted = MatInvertSpd(scoreCross);
  if (Failed(inverted) && inverted != Status::NoMemory) return -1.0;
  MatSymMulBt(cumCross, scoreCross);
  return MatTrace(cumCross) / T;
}

}  // namespace tessel
