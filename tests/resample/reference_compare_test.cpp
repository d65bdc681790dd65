// Every kernel against the plain reference, bit for bit, on random pictures
// seen through random lens models, with padded strides and offset blocks.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "geometry/lensdistort.h"
#include "reference_resample.h"
#include "resample/interp.h"
#include "test_block.h"

namespace {

TEST(KernelsAgainstReference, RandomPicturesAndLensModels) {
  std::mt19937 rng(20261122);
  const int max_for[5] = {0, 255, 32768, 0, 255};
  for (uint32_t method = 0; method <= 6; ++method) {
    for (uint32_t size : {1u, 2u, 4u}) {
      for (int trial = 0; trial < 6; ++trial) {
        SCOPED_TRACE(testing::Message()
                     << "method " << method << " size " << size << " trial " << trial);
        // 1 to 5 channels (TEST_ALIGN needs 2): the unrolled and the generic paths.
        const int channels = method == TEST_ALIGN ? 2 + trial % 3 : 1 + trial % 5;
        std::uniform_int_distribution<int> dim(1, 40), pad(0, 5);
        // The first trials keep tiny sources to exercise the border path.
        const int sw = trial < 2 ? 1 + trial : dim(rng), sh = dim(rng);
        const int max_value =
            trial == 5 ? 1000 : (trial == 4 && size == 4 ? 2147483647 : max_for[size]);
        TestBlock src(sw, sh, channels, size, max_value, pad(rng) * size, pad(rng));
        // Values beyond max_value too, as a wider document could hold.
        std::uniform_int_distribution<uint32_t> value(
            0, size == 1 ? 255u : (size == 2 ? 65535u : 4294967295u));
        for (uint8_t &b : src.bytes) b = 0;
        for (int y = 0; y < sh; ++y)
          for (int x = 0; x < sw; ++x)
            for (int k = 0; k < channels; ++k) src.set(x, y, k, value(rng));

        // The source block is a window of a larger picture.
        std::uniform_real_distribution<double> unit(-1.0, 1.0);
        lensdistort_model lens{};
        lens.centerX = 0.2 * unit(rng);
        lens.centerY = 0.2 * unit(rng);
        lens.k1 = 0.3 * unit(rng);
        lens.k2 = 0.1 * unit(rng);
        lens.radiusLimit = trial % 2 ? 1.0 + unit(rng) * 0.5 : 0.0;
        lens.scale = 1.0 + 0.2 * unit(rng);
        lens.imageWidth = sw + 6;
        lens.imageHeight = sh + 4;
        lens.orientation = static_cast<uint32_t>(rng() % 10);
        src.origin_x = 3.0;
        src.origin_y = 2.0;

        const int tw = dim(rng), th = dim(rng), tpad = pad(rng), trow = pad(rng);
        TestBlock got(tw, th, channels, size, max_value, tpad * size, trow, 0xC5);
        TestBlock want = got;
        got.origin_x = want.origin_x = unit(rng) * 4.0;
        got.origin_y = want.origin_y = unit(rng) * 4.0;

        const interp_source s = src.source();
        const interp_target tg = got.target(), tw_ = want.target();
        const interp_method *m = interp_get_method(method, size);
        ASSERT_NE(m, nullptr);
        ASSERT_EQ(m->kernel(&s, &tg, lensdistort_transform_point, &lens), 0);
        ASSERT_EQ(reference_resample(method, size, &s, &tw_, lensdistort_transform_point, &lens),
                  0);
        ASSERT_EQ(got.bytes, want.bytes);  // padding untouched by both
      }
    }
  }
}

}  // namespace
