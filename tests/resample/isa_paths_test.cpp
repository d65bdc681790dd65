// Every instruction-set path of every kernel against the plain reference, bit
// for bit: random pictures through random lens models (the row evaluator) and
// through a transform of our own (the per-pixel callback), with borders,
// one-pixel and odd sizes, runs longer than one strip, padded strides, and
// samples at the top of the 32-bit range.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "geometry/lensdistort.h"
#include "reference_resample.h"
#include "resample/interp.h"
#include "resample/isa.h"
#include "test_block.h"

namespace {

// The lens model behind a different function pointer, so that kernels take the
// per-pixel callback path for it.
void lens_by_callback(double x, double y, double *ox, double *oy, const void *model) {
  lensdistort_transform_point(x, y, ox, oy, model);
}

struct Case {
  int source_width, source_height, target_width, target_height, channels;
  int max_value;
};

class IsaPaths : public testing::TestWithParam<uint32_t> {};

// Runs `kernel` and the reference from `src` into two copies of `target`;
// equal bytes expected, padding included.
void expect_reference_bytes(interp_kernel_fn kernel, uint32_t method, uint32_t size,
                            const TestBlock &src, const TestBlock &target,
                            interp_transform_fn transform, const lensdistort_model &lens) {
  ASSERT_NE(kernel, nullptr);
  TestBlock got = target;
  TestBlock want = target;
  const interp_source s = src.source();
  const interp_target tg = got.target();
  const interp_target tw = want.target();
  ASSERT_EQ(kernel(&s, &tg, transform, &lens), 0);
  ASSERT_EQ(reference_resample(method, size, &s, &tw, lensdistort_transform_point, &lens), 0);
  ASSERT_EQ(got.bytes, want.bytes);
}

// Every sample of the block drawn from 0 .. max.
void fill_random(TestBlock &block, uint32_t max, std::mt19937 &rng) {
  std::uniform_int_distribution<uint32_t> value(0, max);
  for (int y = 0; y < block.height; ++y)
    for (int x = 0; x < block.width; ++x)
      for (int k = 0; k < block.channels; ++k) block.set(x, y, k, value(rng));
}

// Runs the level's kernel and the reference on one case; equal bytes expected,
// padding included.
void compare(uint32_t isa, uint32_t method, uint32_t size, const Case &c, std::mt19937 &rng,
             bool callback) {
  const interp_kernel_fn kernel = interp_get_kernel_isa(method, size, isa);
  std::uniform_int_distribution<int> pad(0, 3);
  TestBlock src(c.source_width, c.source_height, c.channels, size, c.max_value, pad(rng) * size,
                pad(rng));
  std::uniform_int_distribution<uint32_t> value(
      0, size == 1 ? 255u : (size == 2 ? 65535u : 4294967295u));
  for (int y = 0; y < c.source_height; ++y)
    for (int x = 0; x < c.source_width; ++x)
      for (int k = 0; k < c.channels; ++k) {
        // Now and then the extremes, where 32-bit conversion goes wrong first.
        const uint32_t v = value(rng);
        src.set(x, y, k, rng() % 8 == 0 ? (v & 1u ? 0xFFFFFFFFu : 0u) : v);
      }

  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  lensdistort_model lens{};
  lens.centerX = 0.2 * unit(rng);
  lens.centerY = 0.2 * unit(rng);
  lens.k1 = 0.3 * unit(rng);
  lens.k2 = 0.1 * unit(rng);
  lens.radiusLimit = rng() % 2 ? 1.0 + unit(rng) * 0.5 : 0.0;
  lens.scale = 1.0 + 0.3 * unit(rng);
  // The source block is a window of a larger picture; now and then a picture
  // one pixel across, whose normalisation divides by zero.
  lens.imageWidth = rng() % 16 == 0 ? 1 : c.source_width + 6;
  lens.imageHeight = c.source_height + 4;
  lens.orientation = static_cast<uint32_t>(rng() % 10);
  src.origin_x = 3.0;
  src.origin_y = 2.0;

  TestBlock target(c.target_width, c.target_height, c.channels, size, c.max_value, pad(rng) * size,
                   pad(rng), 0xC5);
  target.origin_x = unit(rng) * 4.0;
  target.origin_y = unit(rng) * 4.0;
  const interp_transform_fn transform = callback ? lens_by_callback : lensdistort_transform_point;
  expect_reference_bytes(kernel, method, size, src, target, transform, lens);
}

TEST_P(IsaPaths, EveryKernelMatchesTheReference) {
  const uint32_t isa = GetParam();
  std::mt19937 rng(20261123 + isa);
  const int max_for[5] = {0, 255, 32768, 0, 255};
  for (uint32_t method = 0; method <= TEST_ALIGN; ++method) {
    for (uint32_t size : {1u, 2u, 4u}) {
      std::uniform_int_distribution<int> dim(1, 37);
      for (int trial = 0; trial < 12; ++trial) {
        const int channels = method == TEST_ALIGN ? 2 + trial % 3 : 1 + trial % 5;
        Case c{dim(rng), dim(rng), dim(rng), dim(rng), channels, max_for[size]};
        if (trial == 0) c = {1, 1, 3, 2, channels, c.max_value};  // a one-pixel source
        if (trial == 1) c = {1, 9, 5, 7, channels, c.max_value};  // a one-column source
        if (trial == 2) c = {2, 2, 1, 1, channels, c.max_value};  // a one-pixel target
        if (trial == 3) c.target_width = 300 + trial;             // more than one strip of columns
        if (trial == 4) c.max_value = 1000;                       // a clamp of its own
        if (trial == 5 && size == 4) c.max_value = 2147483647;
        for (bool callback : {false, true}) {
          SCOPED_TRACE(testing::Message()
                       << interp_isa_name(isa) << " method " << method << " size " << size
                       << " trial " << trial << (callback ? " callback" : " lens rows"));
          compare(isa, method, size, c, rng, callback);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

// The picture of the benchmark, in miniature: a wide band of a barrel model
// whose source block is the whole picture, so most taps take the direct reads.
TEST_P(IsaPaths, WideBandOfABarrelLens) {
  const uint32_t isa = GetParam();
  std::mt19937 rng(7);
  for (uint32_t method = 0; method < TEST_ALIGN; ++method) {
    for (uint32_t size : {1u, 2u}) {
      SCOPED_TRACE(testing::Message()
                   << interp_isa_name(isa) << " method " << method << " size " << size);
      const int w = 301, h = 57;
      TestBlock src(w, h, 3, size, size == 1 ? 255 : 32768);
      fill_random(src, size == 1 ? 255u : 32768u, rng);
      lensdistort_model lens{};
      lens.k1 = -0.05;
      lens.k2 = 0.01;
      lens.scale = 1.0;
      lens.imageWidth = w;
      lens.imageHeight = h;
      expect_reference_bytes(interp_get_kernel_isa(method, size, isa), method, size, src,
                             TestBlock(w, h, 3, size, src.max_value, 0, 0, 0x5A),
                             lensdistort_transform_point, lens);
      if (HasFatalFailure()) return;
    }
  }
}

// With the lens model, pictures are filtered tile by tile from samples
// converted once per tile: whole pixels of 3 and 4 channels, and pixels of 1
// and 2 channels as planes whose rows beyond the block's top and bottom repeat
// its edge rows. A strong zoom out spreads a tile over more source pixels than
// that buffer takes, so such tiles read the block directly; a zoom in keeps
// them small. Both, at every depth, with padded pixels and rows, next to the
// block's edges (the model's centre is moved towards a corner).
TEST_P(IsaPaths, TilesAtEveryZoom) {
  const uint32_t isa = GetParam();
  std::mt19937 rng(99);
  const int max_for[5] = {0, 255, 32768, 0, 255};
  for (double scale : {0.12, 0.45, 3.0}) {
    for (uint32_t method = 0; method < TEST_ALIGN; ++method) {
      for (uint32_t size : {1u, 2u, 4u}) {
        for (int channels : {1, 2, 3, 4}) {
          SCOPED_TRACE(testing::Message()
                       << interp_isa_name(isa) << " scale " << scale << " method " << method
                       << " size " << size << " channels " << channels);
          const int w = 420, h = 150;
          TestBlock src(w, h, channels, size, max_for[size], size, 5);
          fill_random(src, static_cast<uint32_t>(max_for[size]), rng);
          lensdistort_model lens{};
          lens.k1 = -0.08;
          lens.k2 = 0.02;
          lens.centerX = 0.4;
          lens.centerY = -0.3;
          lens.scale = scale;
          lens.imageWidth = w;
          lens.imageHeight = h;
          TestBlock target(131, 27, channels, size, src.max_value, 0, 3, 0x5A);
          target.origin_x = 140.0;
          target.origin_y = 60.0;
          expect_reference_bytes(interp_get_kernel_isa(method, size, isa), method, size, src,
                                 target, lensdistort_transform_point, lens);
          if (HasFatalFailure()) return;
        }
      }
    }
  }
}

TEST(IsaLevels, WidestRunsAndWiderLevelsAreRefused) {
  const uint32_t widest = interp_isa_widest();
  ASSERT_LE(widest, static_cast<uint32_t>(INTERP_ISA_AVX512));
  EXPECT_NE(interp_get_kernel_isa(BICUBIC, 1, widest), nullptr);
  EXPECT_EQ(interp_get_kernel_isa(BICUBIC, 1, widest + 1), nullptr);
  EXPECT_EQ(interp_get_kernel_isa(BICUBIC, 3, INTERP_ISA_BASELINE), nullptr);
  EXPECT_EQ(interp_get_kernel_isa(TEST_ALIGN + 1, 1, INTERP_ISA_BASELINE), nullptr);
  EXPECT_EQ(interp_isa_name(INTERP_ISA_AVX512 + 1), nullptr);
}

std::vector<uint32_t> runnable_levels() {
  std::vector<uint32_t> levels;
  for (uint32_t isa = 0; isa <= interp_isa_widest(); ++isa) levels.push_back(isa);
  return levels;
}

INSTANTIATE_TEST_SUITE_P(EveryLevelThisProcessorRuns, IsaPaths,
                         testing::ValuesIn(runnable_levels()),
                         [](const testing::TestParamInfo<uint32_t> &level) {
                           return std::string(interp_isa_name(level.param));
                         });

}  // namespace
