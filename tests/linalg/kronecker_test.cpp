// Selected cells of a Kronecker product, against the product's definition.
#include "linalg/kronecker.h"

#include "core/missing.h"
#include "matrices.h"

namespace tessel {
namespace {

TEST(KroneckerSelect, CellsInAnyOrder) {
  const TestMatrix a = Random(2, 3, 1), b = Random(3, 2, 2);
  const double rowCells[] = {5, 0, 3.9, -0.9, 5}, columnCells[] = {4, 1};
  const int rowPlaces[] = {5, 0, 3, 0, 5}, columnPlaces[] = {4, 1};  // truncated toward zero
  const Selection rows = {rowCells, 5, 6}, columns = {columnCells, 2, 6}, all = {nullptr, 6, 6};
  const TestMatrix some(5, 2), whole(6, 6);
  KroneckerSelect(a, b, rows, columns, some);
  KroneckerSelect(a, b, all, all, whole);
  const auto product = [&](int r, int c) { return a[r / 3][c / 2] * b[r % 3][c % 2]; };
  ExpectNear(some, {5, 2, [&](int i, int j) { return product(rowPlaces[i], columnPlaces[j]); }}, 0.0, "selected");
  ExpectNear(whole, {6, 6, product}, 0.0, "all");
}

TEST(Selection, PlacesOutside) {
  for (double outside : {-1.0, 6.0, 1e300, -1e300, HUGE_VAL, MissingValue()}) {
    const double cells[] = {0, outside};
    EXPECT_EQ((Selection{cells, 2, 6}.At(1)), -1) << outside;
    EXPECT_FALSE((Selection{cells, 2, 6}.Valid())) << outside;
  }
  const double cells[] = {5.999, -0.999};
  EXPECT_TRUE((Selection{cells, 2, 6}.Valid()));
  EXPECT_FALSE((Selection{cells, 1, 0}.Valid()));  // nothing to select from
  EXPECT_TRUE((Selection{nullptr, 0, 0}.Valid()));
}

}  // namespace
}  // namespace tessel
