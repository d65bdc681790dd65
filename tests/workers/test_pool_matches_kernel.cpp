// A pool run over bands must give the very bytes of one kernel call on the
// whole block, with the real kernels and the real lens model.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "geometry/lensdistort.h"
#include "workers/interp_workers.h"

namespace {

TEST(WorkerPoolWithRealKernels, BandsGiveTheSameBytesAsOneCall) {
  constexpr int32_t kWidth = 640, kHeight = 480, kChannels = 3;
  lensdistort_model model{0.05, -0.03, -0.21, 0.04, 0.0, 1.1, kWidth, kHeight, 0};
  struct Case {
    uint32_t method, sample_size;
    int32_t max_value;
  };
  const Case cases[] = {{BICUBIC, 1, 255}, {LANCZOS4, 2, 32768}, {BILINEAR, 4, 255}};
  interp_workers *pool = interp_workers_init(4, 2);
  ASSERT_NE(pool, nullptr) << "this machine would not start two threads";
  for (const Case &c : cases) {
    SCOPED_TRACE(c.method);
    const interp_method *method = interp_get_method(c.method, c.sample_size);
    ASSERT_NE(method, nullptr);
    const int32_t pixel = kChannels * static_cast<int32_t>(c.sample_size);
    // A busy picture (xorshift), 16-bit samples kept within 0..32768 so that
    // clamping is not all we see.
    std::vector<uint8_t> src(static_cast<size_t>(kWidth) * kHeight * pixel);
    uint32_t state = 2463534242u;
    for (size_t i = 0; i < src.size(); i++) {
      state ^= state << 13;
      state ^= state >> 17;
      state ^= state << 5;
      src[i] = static_cast<uint8_t>(state >> (c.sample_size == 2 && i % 2 == 1 ? 25 : 24));
    }
    const interp_source source{src.data(),     0.0,   0.0,       kWidth,     kHeight,
                               kWidth * pixel, pixel, kChannels, c.max_value};
    std::vector<uint8_t> whole(src.size(), 0xAB), banded(src.size());
    interp_target target{whole.data(),   0.0,   0.0,       kWidth,     kHeight,
                         kWidth * pixel, pixel, kChannels, c.max_value};
    ASSERT_EQ(method->kernel(&source, &target, lensdistort_transform_point, &model), 0);
    target.data = banded.data();
    // The run's band height for two threads, and an odd one.
    for (int32_t chunk : {kHeight / (32 * 2), 7}) {
      std::fill(banded.begin(), banded.end(), 0xCD);
      interp_workers_run(pool, chunk, &source, &target, method, lensdistort_transform_point,
                         &model);
      EXPECT_TRUE(whole == banded) << "chunk " << chunk;
    }
  }
  interp_workers_destroy(pool);
}

}  // namespace
