// Correction throughput in megapixels per second: a 6000 x 4000 RGB picture at
// 8 and 16 bits through a barrel model (k1 = -0.05, k2 = 0.01), every method,
// on one thread (kernel called directly) and on the worker pool, banded as the
// correction run bands its blocks.
//
// Each iteration corrects a block of --ortavel_rows full-width rows (default
// 500); successive iterations walk down the picture, so a case that runs eight
// iterations has corrected the whole frame. --ortavel_rows=4000 corrects the
// whole frame in every iteration.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "geometry/lensdistort.h"
#include "resample/interp.h"
#include "workers/interp_workers.h"

namespace {

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr int kChannels = 3;
constexpr const char *kMethodNames[7] = {"BILINEAR", "BICUBIC",   "LANCZOS4",  "LANCZOS6",
                                         "LANCZOS8", "LANCZOS12", "TEST_ALIGN"};

int g_rows = 500;

// Source and destination frames for one sample size, made on first use.
struct Frame {
  std::vector<uint8_t> source;
  std::vector<uint8_t> target;
  int max_value = 0;
};

Frame &frame(uint32_t sample_size) {
  static std::map<uint32_t, Frame> frames;
  Frame &f = frames[sample_size];
  if (f.source.empty()) {
    f.max_value = sample_size == 2 ? 32768 : 255;
    const size_t samples = static_cast<size_t>(kWidth) * kHeight * kChannels;
    f.source.resize(samples * sample_size);
    f.target.assign(samples * sample_size, 0);
    // Gradients with some texture, so that no path is trivially constant.
    uint32_t noise = 12345;
    size_t i = 0;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        for (int k = 0; k < kChannels; ++k, ++i) {
          noise = noise * 1664525u + 1013904223u;
          const uint32_t v =
              (static_cast<uint32_t>(x * (k + 1) + y * 2) + (noise >> 28)) % (f.max_value + 1u);
          if (sample_size == 1) {
            f.source[i] = static_cast<uint8_t>(v);
          } else {
            const uint16_t s = static_cast<uint16_t>(v);
            std::memcpy(&f.source[i * 2], &s, 2);
          }
        }
      }
    }
  }
  return f;
}

lensdistort_model barrel_model() {
  lensdistort_model m{};
  m.k1 = -0.05;
  m.k2 = 0.01;
  m.scale = 1.0;
  m.imageWidth = kWidth;
  m.imageHeight = kHeight;
  return m;
}

void correct(benchmark::State &state, uint32_t method, uint32_t sample_size, bool pooled) {
  const interp_method *entry = interp_get_method(method, sample_size);
  if (entry == nullptr) {
    state.SkipWithError("no kernel for this method and sample size");
    return;
  }
  Frame &f = frame(sample_size);
  const lensdistort_model model = barrel_model();
  const int32_t pixel_stride = kChannels * static_cast<int32_t>(sample_size);
  const int32_t row_stride = kWidth * pixel_stride;
  const interp_source source{f.source.data(), 0.0,          0.0,       kWidth,     kHeight,
                             row_stride,      pixel_stride, kChannels, f.max_value};

  const int32_t processors = std::max<int32_t>(1, GetNumProcessors());
  interp_workers *pool = nullptr;
  if (pooled) {
    pool = interp_workers_init(processors, 2);
    if (pool == nullptr) {
      state.SkipWithError("no pool: fewer than two threads could be started");
      return;
    }
  }
  const int32_t chunk = std::max(1, g_rows / (32 * processors));

  int first_row = 0;
  int64_t pixels = 0;
  for (auto _ : state) {
    const int rows = std::min(g_rows, kHeight - first_row);
    uint8_t *data = f.target.data() + static_cast<size_t>(first_row) * row_stride;
    const interp_target target{data,         0.0,       static_cast<double>(first_row),
                               kWidth,       rows,      row_stride,
                               pixel_stride, kChannels, f.max_value};
    if (pool != nullptr) {
      interp_workers_run(pool, chunk, &source, &target, entry, lensdistort_transform_point, &model);
    } else {
      entry->kernel(&source, &target, lensdistort_transform_point, &model);
    }
    benchmark::ClobberMemory();
    pixels += static_cast<int64_t>(rows) * kWidth;
    first_row = (first_row + rows) % kHeight;
  }
  if (pool != nullptr) interp_workers_destroy(pool);
  state.counters["MP/s"] =
      benchmark::Counter(static_cast<double>(pixels) * 1e-6, benchmark::Counter::kIsRate);
  state.counters["threads"] = pooled ? processors : 1;
}

// Console output as usual, plus a compact table of MP/s at the end.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
      const auto it = run.counters.find("MP/s");
      if (!run.error_occurred && it != run.counters.end()) {
        results_[run.run_name.function_name] = it->second.value;
      }
    }
  }

  void PrintTable() const {
    std::printf("\nMP/s, %d x %d RGB, k1 = -0.05, k2 = 0.01\n", kWidth, kHeight);
    std::printf("%-11s %11s %11s %11s %11s\n", "method", "8-bit 1T", "8-bit pool", "16-bit 1T",
                "16-bit pool");
    for (const char *method : kMethodNames) {
      std::printf("%-11s", method);
      for (const char *column : {"/8bit/single", "/8bit/pool", "/16bit/single", "/16bit/pool"}) {
        const auto it = results_.find(std::string(method) + column);
        if (it == results_.end()) {
          std::printf(" %11s", "-");
        } else {
          std::printf(" %11.2f", it->second);
        }
      }
      std::printf("\n");
    }
  }

 private:
  std::map<std::string, double> results_;
};

// Takes --ortavel_rows=N out of the arguments before the library sees them.
void parse_own_flags(int *argc, char **argv) {
  int kept = 1;
  for (int i = 1; i < *argc; ++i) {
    const char *flag = "--ortavel_rows=";
    if (std::strncmp(argv[i], flag, std::strlen(flag)) == 0) {
      g_rows = std::clamp(std::atoi(argv[i] + std::strlen(flag)), 1, kHeight);
    } else {
      argv[kept++] = argv[i];
    }
  }
  *argc = kept;
}

}  // namespace

int main(int argc, char **argv) {
  parse_own_flags(&argc, argv);
  for (uint32_t size : {1u, 2u}) {
    for (uint32_t method = 0; method < 7; ++method) {
      for (bool pooled : {false, true}) {
        const std::string name = std::string(kMethodNames[method]) +
                                 (size == 1 ? "/8bit" : "/16bit") + (pooled ? "/pool" : "/single");
        benchmark::RegisterBenchmark(name.c_str(), correct, method, size, pooled)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.5);
      }
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintTable();
  benchmark::Shutdown();
  return 0;
}
