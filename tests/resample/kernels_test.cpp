// Kernel behaviour on small hand-made blocks; expected values are worked out
// from the weight formulas by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>

#include "geometry/lensdistort.h"
#include "resample/interp.h"
#include "test_block.h"

namespace {

constexpr int kMaxFor[5] = {0, 255, 32768, 0, 2147483647};

int32_t run(uint32_t method, uint32_t size, const TestBlock &src, TestBlock &dst,
            interp_transform_fn transform, const void *model) {
  const interp_method *m = interp_get_method(method, size);
  EXPECT_NE(m, nullptr);
  const interp_source s = src.source();
  const interp_target t = dst.target();
  return m->kernel(&s, &t, transform, model);
}

// One-channel value of the single target pixel mapped to (x, y).
uint32_t sample_at(uint32_t method, uint32_t size, const TestBlock &src, double x, double y) {
  TestBlock dst(1, 1, src.channels, size, src.max_value, 0, 0, 0xEE);
  const double point[2] = {x, y};
  EXPECT_EQ(run(method, size, src, dst, fixed_transform, point), 0);
  return dst.get(0, 0, 0);
}

TEST(Kernels, IdentityReproducesTheSourceForEveryMethodAndSize) {
  std::mt19937 rng(3);
  for (uint32_t size : {1u, 2u, 4u}) {
    TestBlock src(9, 7, 3, size, kMaxFor[size], 1, 3);
    std::uniform_int_distribution<uint32_t> value(0, static_cast<uint32_t>(kMaxFor[size]));
    for (int y = 0; y < 7; ++y)
      for (int x = 0; x < 9; ++x)
        for (int k = 0; k < 3; ++k) src.set(x, y, k, value(rng));
    lensdistort_model lens{};
    lens.scale = 1.0;
    lens.imageWidth = 9;
    lens.imageHeight = 7;
    for (uint32_t method = 0; method <= 5; ++method) {
      for (bool use_lens : {false, true}) {
        SCOPED_TRACE(testing::Message() << "method " << method << " size " << size
                                        << (use_lens ? " lens" : " identity"));
        TestBlock dst(9, 7, 3, size, kMaxFor[size], 2, 1, 0xAA);
        if (use_lens) {
          ASSERT_EQ(run(method, size, src, dst, lensdistort_transform_point, &lens), 0);
        } else {
          ASSERT_EQ(run(method, size, src, dst, identity_transform, nullptr), 0);
        }
        for (int y = 0; y < 7; ++y)
          for (int x = 0; x < 9; ++x)
            for (int k = 0; k < 3; ++k) ASSERT_EQ(dst.get(x, y, k), src.get(x, y, k));
      }
    }
  }
}

TEST(Kernels, BilinearRoundsHalfUp) {
  for (uint32_t size : {1u, 2u, 4u}) {
    TestBlock src(2, 1, 1, size, kMaxFor[size]);
    src.set(0, 0, 0, 10);
    src.set(1, 0, 0, 11);
    EXPECT_EQ(sample_at(BILINEAR, size, src, 0.5, 0.0), 11u);   // 10.5 + 0.5
    EXPECT_EQ(sample_at(BILINEAR, size, src, 0.25, 0.0), 10u);  // 10.25 + 0.5
    // A one-row source: the vertical taps are clamped onto that row.
    EXPECT_EQ(sample_at(BILINEAR, size, src, 0.75, 0.4), 11u);  // 10.75 + 0.5
  }
}

TEST(Kernels, InsideTestIsInclusiveAtHalfAPixelBeyondTheEdges) {
  TestBlock src(4, 3, 1, 1, 255);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 4; ++x) src.set(x, y, 0, 40 + 10 * x + 50 * y);
  // Bilinear at the corners: the clamped taps repeat the edge pixel.
  EXPECT_EQ(sample_at(BILINEAR, 1, src, -0.5, -0.5), 40u);
  EXPECT_EQ(sample_at(BILINEAR, 1, src, 3.5, 2.5), 170u);
  EXPECT_EQ(sample_at(BILINEAR, 1, src, -0.5, 1.0), 90u);
  for (uint32_t method = 0; method <= 5; ++method) {
    SCOPED_TRACE(method);
    EXPECT_NE(sample_at(method, 1, src, -0.5, 1.0), 0u);
    EXPECT_NE(sample_at(method, 1, src, 3.5, 1.0), 0u);
    EXPECT_NE(sample_at(method, 1, src, 1.0, 2.5), 0u);
    EXPECT_EQ(sample_at(method, 1, src, -0.5000001, 1.0), 0u);
    EXPECT_EQ(sample_at(method, 1, src, 3.5000001, 1.0), 0u);
    EXPECT_EQ(sample_at(method, 1, src, 1.0, -0.5000001), 0u);
    EXPECT_EQ(sample_at(method, 1, src, 1.0, 2.5000001), 0u);
    EXPECT_EQ(sample_at(method, 1, src, NAN, 1.0), 0u);
  }
}

TEST(Kernels, ClampedBorderEqualsReadingAnEdgeExtendedSource) {
  // The small source is read through the clamped path near its border; the
  // same picture with its edges repeated 8 pixels outward is read directly.
  constexpr int kPad = 8, kW = 11, kH = 9;
  std::mt19937 rng(17);
  std::uniform_int_distribution<uint32_t> value(0, 255);
  TestBlock small(kW, kH, 3, 1, 255);
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x)
      for (int k = 0; k < 3; ++k) small.set(x, y, k, value(rng));
  TestBlock big(kW + 2 * kPad, kH + 2 * kPad, 3, 1, 255);
  big.origin_x = -kPad;
  big.origin_y = -kPad;
  for (int y = 0; y < big.height; ++y)
    for (int x = 0; x < big.width; ++x)
      for (int k = 0; k < 3; ++k)
        big.set(x, y, k,
                small.get(std::clamp(x - kPad, 0, kW - 1), std::clamp(y - kPad, 0, kH - 1), k));
  std::uniform_real_distribution<double> px(-0.5, kW - 0.5), py(-0.5, kH - 0.5);
  for (uint32_t method = 0; method <= 5; ++method) {
    for (int i = 0; i < 300; ++i) {
      const double point[2] = {px(rng), py(rng)};
      TestBlock a(1, 1, 3, 1, 255), b(1, 1, 3, 1, 255);
      run(method, 1, small, a, fixed_transform, point);
      run(method, 1, big, b, fixed_transform, point);
      ASSERT_EQ(a.bytes, b.bytes) << method << " at " << point[0] << "," << point[1];
    }
  }
}

TEST(Kernels, OnePixelWideSourceInterpolatesItsColumn) {
  TestBlock src(1, 4, 1, 2, 32768);
  const uint32_t column[4] = {0, 100, 200, 50};
  for (int y = 0; y < 4; ++y) src.set(0, y, 0, column[y]);
  EXPECT_EQ(sample_at(BILINEAR, 2, src, 0.3, 1.25), 125u);  // 100 * 0.75 + 200 * 0.25
  EXPECT_EQ(sample_at(BILINEAR, 2, src, -0.4, 2.5), 125u);  // 200 * 0.5 + 50 * 0.5
  EXPECT_EQ(sample_at(BICUBIC, 2, src, 0.1, 2.0), 200u);    // cubic weights sum to 1
}

TEST(Kernels, WideSamplesKeepTheirFullRange) {
  TestBlock src(2, 1, 1, 4, 2147483647);
  src.set(0, 0, 0, 4294967295u);
  src.set(1, 0, 0, 4294967293u);
  EXPECT_EQ(sample_at(BILINEAR, 4, src, 0.5, 0.0), 2147483647u);  // clamped, not negative
  src.set(0, 0, 0, 2147483647u);
  src.set(1, 0, 0, 2147483645u);
  EXPECT_EQ(sample_at(BILINEAR, 4, src, 0.5, 0.0), 2147483646u);
  EXPECT_EQ(sample_at(LANCZOS8, 4, src, 0.0, 0.0), 2147483647u);

  TestBlock wide(2, 1, 1, 2, 65535);
  wide.set(0, 0, 0, 65535);
  wide.set(1, 0, 0, 65533);
  EXPECT_EQ(sample_at(BILINEAR, 2, wide, 0.5, 0.0), 65534u);
  wide.max_value = 32768;
  EXPECT_EQ(sample_at(BICUBIC, 2, wide, 0.0, 0.0), 32768u);
}

TEST(Kernels, OvershootAtAHardEdgeIsClamped) {
  // 16-bit samples clamped to 255, so an unclamped overshoot would show.
  TestBlock src(8, 1, 1, 2, 255);
  for (int x = 4; x < 8; ++x) src.set(x, 0, 0, 255);
  // Cubic at f = 0.25 past the edge: 255 * (1 - K2(1.25)) = 281.9 -> 255;
  // at 2.75 only the last tap sees the edge: 255 * K2(1.25) < 0 -> 0;
  // at 3.75: 255 * (K1(0.25) + K2(1.25)) = 197.2 -> 197.
  EXPECT_EQ(sample_at(BICUBIC, 2, src, 4.25, 0.0), 255u);
  EXPECT_EQ(sample_at(BICUBIC, 2, src, 2.75, 0.0), 0u);
  EXPECT_EQ(sample_at(BICUBIC, 2, src, 3.75, 0.0), 197u);
  for (uint32_t method = 2; method <= 5; ++method) {
    EXPECT_EQ(sample_at(method, 2, src, 4.25, 0.0), 255u) << method;
    EXPECT_EQ(sample_at(method, 2, src, 2.75, 0.0), 0u) << method;
    for (double x = -0.5; x <= 7.5; x += 0.125) EXPECT_LE(sample_at(method, 2, src, x, 0.0), 255u);
  }
}

TEST(Kernels, EightBitKernelStoresTheLowByteOfALargerMax) {
  TestBlock src(8, 1, 1, 1, 32768);
  for (int x = 4; x < 8; ++x) src.set(x, 0, 0, 255);
  // 255 * 1.10546875 = 281.89 -> 282, stored as 282 - 256.
  EXPECT_EQ(sample_at(BICUBIC, 1, src, 4.25, 0.0), 26u);
}

TEST(Kernels, TestAlignDrawsTheSubPixelPhase) {
  for (uint32_t size : {1u, 2u, 4u}) {
    SCOPED_TRACE(size);
    const uint32_t M = static_cast<uint32_t>(kMaxFor[size]);
    TestBlock src(5, 4, 3, size, kMaxFor[size]);
    TestBlock dst(5, 4, 3, size, kMaxFor[size], 0, 0, 0x5A);
    ASSERT_EQ(run(TEST_ALIGN, size, src, dst, identity_transform, nullptr), 0);
    for (int k = 0; k < 3; ++k) EXPECT_EQ(dst.get(2, 1, k), 0u);
    const double half_x[2] = {0.5, 0.0};
    ASSERT_EQ(run(TEST_ALIGN, size, src, dst, shift_transform, half_x), 0);
    EXPECT_EQ(dst.get(1, 2, 0), M);
    EXPECT_EQ(dst.get(1, 2, 1), 0u);
    EXPECT_EQ(dst.get(1, 2, 2), 0u);
    EXPECT_EQ(dst.get(4, 2, 0), M);  // mapped to 4.5, the inclusive edge
    const double quarter_y[2] = {0.0, 0.25};
    ASSERT_EQ(run(TEST_ALIGN, size, src, dst, shift_transform, quarter_y), 0);
    EXPECT_EQ(dst.get(0, 0, 1), (M + 1) / 2);  // trunc(0.5 * M + 0.5)
  }
  TestBlock one(3, 3, 1, 1, 255), out(3, 3, 1, 1, 255, 0, 0, 0x77);
  EXPECT_EQ(run(TEST_ALIGN, 1, one, out, identity_transform, nullptr), 1);
  EXPECT_EQ(out.bytes, std::vector<uint8_t>(out.bytes.size(), 0x77));
}

TEST(Kernels, MismatchedRecordsAndEmptyTargetsCallNoTransform) {
  for (uint32_t method = 0; method <= 6; ++method) {
    for (uint32_t size : {1u, 2u, 4u}) {
      SCOPED_TRACE(testing::Message() << method << "/" << size);
      std::vector<std::pair<double, double>> calls;
      TestBlock src(4, 4, 3, size, 255);
      TestBlock other_channels(4, 4, 4, size, 255, 0, 0, 0x33);
      EXPECT_EQ(run(method, size, src, other_channels, recording_transform, &calls), 1);
      EXPECT_EQ(other_channels.bytes, std::vector<uint8_t>(other_channels.bytes.size(), 0x33));
      TestBlock other_max(4, 4, 3, size, 32768, 0, 0, 0x33);
      EXPECT_EQ(run(method, size, src, other_max, recording_transform, &calls), 1);
      EXPECT_EQ(other_max.bytes, std::vector<uint8_t>(other_max.bytes.size(), 0x33));
      TestBlock no_rows(4, 0, 3, size, 255), no_cols(0, 4, 3, size, 255);
      EXPECT_EQ(run(method, size, src, no_rows, recording_transform, &calls), 0);
      EXPECT_EQ(run(method, size, src, no_cols, recording_transform, &calls), 0);
      EXPECT_TRUE(calls.empty());
    }
  }
}

TEST(Kernels, TransformIsCalledOncePerPixelInRowMajorOrder) {
  for (uint32_t method = 0; method <= 6; ++method) {
    std::vector<std::pair<double, double>> calls;
    TestBlock src(4, 4, 2, 1, 255), dst(3, 2, 2, 1, 255);
    dst.origin_x = 10.5;
    dst.origin_y = -3.0;
    ASSERT_EQ(run(method, 1, src, dst, recording_transform, &calls), 0);
    const std::vector<std::pair<double, double>> expected = {{10.5, -3}, {11.5, -3}, {12.5, -3},
                                                             {10.5, -2}, {11.5, -2}, {12.5, -2}};
    EXPECT_EQ(calls, expected) << method;
  }
}

}  // namespace
