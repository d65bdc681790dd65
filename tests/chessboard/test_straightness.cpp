// The straightness measure on grids whose answer can be worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "support/chessboard.h"

namespace ortavel::test {
namespace {

CornerGrid Lattice(double spacing, double degrees) {
  const double a = degrees * std::numbers::pi / 180.0;
  CornerGrid g{9, 6, {}};
  for (int r = 0; r < 6; r++) {
    for (int c = 0; c < 9; c++) {
      const double u = c * spacing, v = r * spacing;
      g.corners.push_back(
          {50.0 + u * std::cos(a) - v * std::sin(a), 20.0 + u * std::sin(a) + v * std::cos(a)});
    }
  }
  return g;
}

TEST(Straightness, StraightTurnedLatticeMeasuresZero) {
  const Straightness s = MeasureStraightness(Lattice(10.0, 23.0));
  EXPECT_EQ(s.lines, 15);
  EXPECT_NEAR(s.rms, 0.0, 1e-9);
  EXPECT_NEAR(s.max, 0.0, 1e-9);
  EXPECT_NEAR(s.mean_spacing, 10.0, 1e-9);
}

TEST(Straightness, OneMiddleCornerPushedOffItsRow) {
  // Corner 4 of a row of nine moved by d across the row: the best line moves
  // by d/9 towards it and stays parallel, leaving eight corners at d/9 and the
  // moved one at 8d/9. Its column is untouched, the move being along it.
  // Sum of squares 8d^2/81 + 64d^2/81 = 8d^2/9 over 54 + 54 distances.
  const double d = 0.9;
  CornerGrid g = Lattice(10.0, 0.0);
  g.corners[2 * 9 + 4].y += d;
  const Straightness s = MeasureStraightness(g);
  EXPECT_NEAR(s.max, 8.0 * d / 9.0, 1e-9);
  EXPECT_NEAR(s.rms, std::sqrt(8.0 * d * d / 9.0 / 108.0), 1e-9);
  EXPECT_NEAR(s.relative_rms(), s.rms / s.mean_spacing, 1e-12);
}

}  // namespace
}  // namespace ortavel::test
