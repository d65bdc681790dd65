// The lens row evaluator at every lane width against the point transform, bit
// for bit (NaN patterns included), on random models: all orientations, radius
// limits, zooms, the exact centre, and pictures one pixel across.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "geometry/lens_rows.h"
#include "geometry/lensdistort.h"
#include "lens_rows_levels.h"
#include "resample/isa.h"
#include "resample/simd_lanes.h"

ORTAVEL_LENS_ROW_AT(lens_row_scalar, ortavel_simd::Lanes1)
#if defined(__SSE2__)
ORTAVEL_LENS_ROW_AT(lens_row_sse2, ortavel_simd::LanesSse2)
#endif

namespace {

uint64_t bits_of(double v) {
  uint64_t b;
  std::memcpy(&b, &v, sizeof b);
  return b;
}

struct Level {
  const char *name;
  LensRowFn row;
};

std::vector<Level> runnable_levels() {
  std::vector<Level> levels{{"scalar", lens_row_scalar}};
#if defined(__SSE2__)
  levels.push_back({"sse2", lens_row_sse2});
#endif
#if defined(ORTAVEL_TEST_WIDE_LENS_ROWS)
  if (interp_isa_widest() >= INTERP_ISA_AVX2) levels.push_back({"avx2", lens_row_avx2});
  if (interp_isa_widest() >= INTERP_ISA_AVX512) levels.push_back({"avx512", lens_row_avx512});
#endif
  return levels;
}

TEST(LensRows, EveryLaneWidthGivesThePointTransformsBits) {
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (const Level &level : runnable_levels()) {
    for (int trial = 0; trial < 400; ++trial) {
      lensdistort_model m{};
      // Odd sizes with a zero centre put one pixel exactly on the axis (r = 0).
      const bool centred = trial % 5 == 0;
      m.centerX = centred ? 0.0 : 0.3 * unit(rng);
      m.centerY = centred ? 0.0 : 0.3 * unit(rng);
      m.k1 = 0.5 * unit(rng);
      m.k2 = 0.2 * unit(rng);
      m.radiusLimit = trial % 3 == 0 ? 0.8 + unit(rng) * 0.5 : (trial % 3 == 1 ? 0.0 : -1.0);
      m.scale = centred ? 1.0 : 1.0 + 0.5 * unit(rng);
      m.imageWidth = trial % 37 == 0 ? 1 : 2 * static_cast<int32_t>(rng() % 200) + 1;
      m.imageHeight = 2 * static_cast<int32_t>(rng() % 150) + 1;
      m.orientation = static_cast<uint32_t>(trial % 10);
      const int count = 1 + static_cast<int>(rng() % 256);
      const auto first = static_cast<int32_t>(rng() % 300) - 50;
      const double origin_x = centred ? 0.0 : unit(rng) * 3.0;
      const double y = centred ? (m.imageHeight - 1) / 2 : static_cast<int>(rng() % 400) + origin_x;
      std::vector<double> xs(count), ys(count);
      level.row(m, first, origin_x, count, y, xs.data(), ys.data());
      for (int i = 0; i < count; ++i) {
        double px;
        double py;
        lensdistort_transform_point(static_cast<double>(first + i) + origin_x, y, &px, &py, &m);
        ASSERT_EQ(bits_of(xs[i]), bits_of(px)) << level.name << " trial " << trial << " i " << i;
        ASSERT_EQ(bits_of(ys[i]), bits_of(py)) << level.name << " trial " << trial << " i " << i;
      }
    }
  }
}

}  // namespace
