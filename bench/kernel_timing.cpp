// The kernels and the worker pool timed with nothing but the engines, so that
// the same source builds for Linux and, with mingw-w64, for Windows (where it
// runs under Wine): scripts/bench-end-to-end runs both builds in turn and sets
// their figures side by side.
//
//   ortavel-kernel-timing [ROUNDS]
//
// Prints one line per case, "name value unit", best of ROUNDS (default 5):
//   pool-start-stop       microseconds to start the pool and join it again
//   pool-empty-run        microseconds for a run of one tiny band per thread
//                         (waking the threads and waiting for them)
//   METHOD/DEPTH/single   MP/s, one thread, widest kernels, whole frame
//   METHOD/DEPTH/pool     MP/s, the pool, the frame in tiles of 1024 x 1024
//                         as the module walks it, 32 bands per thread each
//   METHOD/grey8/...      the same for a one-channel 8-bit frame
// Frames are RGB unless named grey.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "geometry/lensdistort.h"
#include "resample/interp.h"
#include "workers/interp_workers.h"

namespace {

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr int kChannels = 3;  // of the tiny picture and the colour frames
constexpr int kTile = 1024;

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<uint8_t> make_frame(uint32_t sample_size, int channels) {
  const size_t samples = static_cast<size_t>(kWidth) * kHeight * channels;
  std::vector<uint8_t> f(samples * sample_size);
  uint32_t noise = 12345;
  const uint32_t top = sample_size == 2 ? 32768u : 255u;
  for (size_t i = 0; i < samples; ++i) {
    noise = noise * 1664525u + 1013904223u;
    const uint32_t v = (static_cast<uint32_t>(i % (kWidth * channels)) + (noise >> 28)) % (top + 1);
    if (sample_size == 1) {
      f[i] = static_cast<uint8_t>(v);
    } else {
      const uint16_t s = static_cast<uint16_t>(v);
      std::memcpy(&f[i * 2], &s, 2);
    }
  }
  return f;
}

}  // namespace

int main(int argc, char **argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
  const int32_t threads = std::max<int32_t>(1, GetNumProcessors());
  std::printf("processors %d count\n", threads);

  double best_start = 1e9;
  for (int r = 0; r < rounds * 4; ++r) {
    const auto t = std::chrono::steady_clock::now();
    interp_workers *pool = interp_workers_init(threads, 1);
    if (pool != nullptr) interp_workers_destroy(pool);
    best_start = std::min(best_start, seconds_since(t));
  }
  std::printf("pool-start-stop %.1f us\n", best_start * 1e6);

  lensdistort_model model{};
  model.k1 = -0.05;
  model.k2 = 0.01;
  model.scale = 1.0;
  model.imageWidth = kWidth;
  model.imageHeight = kHeight;
  interp_workers *pool = interp_workers_init(threads, 1);
  if (pool == nullptr) {
    std::fprintf(stderr, "ortavel-kernel-timing: no pool could be started\n");
    return 1;
  }

  {
    // One band of one row per thread, of a tiny picture: the cost of waking
    // the threads and waiting for them, which every tile of a run pays.
    std::vector<uint8_t> tiny(static_cast<size_t>(threads) * 4 * kChannels, 1);
    std::vector<uint8_t> out(tiny.size());
    const interp_source source{tiny.data(),   0,         0,         4,  threads,
                               4 * kChannels, kChannels, kChannels, 255};
    const interp_target target{out.data(),    0,         0,         4,  threads,
                               4 * kChannels, kChannels, kChannels, 255};
    const interp_method *m = interp_get_method(BILINEAR, 1);
    double best = 1e9;
    for (int r = 0; r < rounds * 200; ++r) {
      const auto t = std::chrono::steady_clock::now();
      interp_workers_run(pool, 1, &source, &target, m, lensdistort_transform_point, &model);
      best = std::min(best, seconds_since(t));
    }
    std::printf("pool-empty-run %.1f us\n", best * 1e6);
  }

  const uint32_t methods[3] = {BILINEAR, BICUBIC, LANCZOS8};
  const char *names[3] = {"BILINEAR", "BICUBIC", "LANCZOS8"};
  struct Frame {
    uint32_t size;
    int32_t channels;
    const char *depth;
  };
  for (const Frame &f :
       {Frame{1, kChannels, "8bit"}, Frame{2, kChannels, "16bit"}, Frame{1, 1, "grey8"}}) {
    const uint32_t size = f.size;
    const int32_t channels = f.channels;
    const std::vector<uint8_t> in = make_frame(size, channels);
    std::vector<uint8_t> out(in.size(), 0);
    const int32_t pixel_stride = channels * static_cast<int32_t>(size);
    const int32_t row_stride = kWidth * pixel_stride;
    const int32_t max_value = size == 2 ? 32768 : 255;
    const interp_source source{in.data(),  0.0,          0.0,      kWidth,   kHeight,
                               row_stride, pixel_stride, channels, max_value};
    for (int i = 0; i < 3; ++i) {
      const interp_method *m = interp_get_method(methods[i], size);
      double best_single = 1e9;
      double best_pool = 1e9;
      for (int r = 0; r < rounds; ++r) {
        const interp_target whole{out.data(), 0.0,          0.0,      kWidth,   kHeight,
                                  row_stride, pixel_stride, channels, max_value};
        auto t = std::chrono::steady_clock::now();
        m->kernel(&source, &whole, lensdistort_transform_point, &model);
        best_single = std::min(best_single, seconds_since(t));

        t = std::chrono::steady_clock::now();
        for (int y = 0; y < kHeight; y += kTile) {
          for (int x = 0; x < kWidth; x += kTile) {
            const int w = std::min(kTile, kWidth - x);
            const int h = std::min(kTile, kHeight - y);
            const interp_target tile{out.data() + static_cast<size_t>(y) * row_stride +
                                         static_cast<size_t>(x) * pixel_stride,
                                     static_cast<double>(x),
                                     static_cast<double>(y),
                                     w,
                                     h,
                                     row_stride,
                                     pixel_stride,
                                     channels,
                                     max_value};
            interp_workers_run(pool, std::max(1, h / (32 * threads)), &source, &tile, m,
                               lensdistort_transform_point, &model);
          }
        }
        best_pool = std::min(best_pool, seconds_since(t));
      }
      const double mp = static_cast<double>(kWidth) * kHeight * 1e-6;
      std::printf("%s/%s/single %.1f MP/s\n", names[i], f.depth, mp / best_single);
      std::printf("%s/%s/pool %.1f MP/s\n", names[i], f.depth, mp / best_pool);
      std::fflush(stdout);
    }
  }
  interp_workers_destroy(pool);
  return 0;
}
