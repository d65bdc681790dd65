// Correction throughput in megapixels per second: a 6000 x 4000 RGB picture at
// 8 and 16 bits through a barrel model (k1 = -0.05, k2 = 0.01), every method,
// on one thread (kernel called directly) and on the worker pool, banded as the
// correction run bands its blocks.
//
// Each iteration corrects a block of --ortavel_rows full-width rows (default
// 500); successive iterations walk down the picture, so a case that runs eight
// iterations has corrected the whole frame. --ortavel_rows=4000 corrects the
// whole frame in every iteration.
//
// Then whole frames of the pool (widest kernels) and of OpenCV, taken in turn
// (opencv_compare.h): only figures measured side by side under the same load
// are set against each other. --quick runs that comparison alone.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "geometry/lensdistort.h"
#include "opencv_compare.h"
#include "processor_limit.h"
#include "resample/interp.h"
#include "resample/isa.h"
#include "workers/interp_workers.h"

namespace {

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr int kChannels = 3;
constexpr const char *kMethodNames[7] = {"BILINEAR", "BICUBIC",   "LANCZOS4",  "LANCZOS6",
                                         "LANCZOS8", "LANCZOS12", "TEST_ALIGN"};

int g_rows = 500;
int g_rounds = 5;      // rounds of the interleaved comparison with OpenCV
bool g_quick = false;  // the interleaved comparison alone, 3 rounds

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

// The frame's whole source picture as the kernels read it.
interp_source frame_source(const Frame &f, uint32_t sample_size) {
  const int32_t pixel_stride = kChannels * static_cast<int32_t>(sample_size);
  return {f.source.data(),       0.0,          0.0,       kWidth,     kHeight,
          kWidth * pixel_stride, pixel_stride, kChannels, f.max_value};
}

void correct(benchmark::State &state, uint32_t method, uint32_t sample_size, uint32_t isa,
             bool pooled) {
  const interp_method *row = interp_get_method(method, sample_size);
  const interp_kernel_fn kernel = interp_get_kernel_isa(method, sample_size, isa);
  if (row == nullptr || kernel == nullptr) {
    state.SkipWithError("no kernel for this method, sample size and instruction set");
    return;
  }
  // The table's row with the kernel of the level under test.
  const interp_method level_row{row->method, kernel, row->support, row->sample_size};
  const interp_method *entry = &level_row;
  Frame &f = frame(sample_size);
  const lensdistort_model model = barrel_model();
  const interp_source source = frame_source(f, sample_size);
  const int32_t pixel_stride = source.pixel_stride;
  const int32_t row_stride = source.row_stride;

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

// One whole frame on the pool at the widest level, in seconds; the pool is
// started once and kept, as the plug-in keeps it.
double whole_frame_seconds(uint32_t method, uint32_t sample_size) {
  static interp_workers *pool = nullptr;
  const int32_t processors = std::max<int32_t>(1, GetNumProcessors());
  if (pool == nullptr) pool = interp_workers_init(processors, 1);
  const interp_method *entry = interp_get_method(method, sample_size);
  Frame &f = frame(sample_size);
  const lensdistort_model model = barrel_model();
  const interp_source source = frame_source(f, sample_size);
  const int32_t pixel_stride = source.pixel_stride;
  const int32_t row_stride = source.row_stride;
  const interp_target target{f.target.data(), 0.0,          0.0,       kWidth,     kHeight,
                             row_stride,      pixel_stride, kChannels, f.max_value};
  const auto start = std::chrono::steady_clock::now();
  if (pool != nullptr) {
    interp_workers_run(pool, std::max(1, kHeight / (32 * processors)), &source, &target, entry,
                       lensdistort_transform_point, &model);
  } else {
    entry->kernel(&source, &target, lensdistort_transform_point, &model);
  }
  benchmark::ClobberMemory();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Console output as usual, plus compact tables of MP/s at the end.
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

  double Find(const std::string &name) const {
    const auto it = results_.find(name);
    return it == results_.end() ? -1.0 : it->second;
  }

  void PrintTable(const std::vector<uint32_t> &levels) const {
    std::printf("\nMP/s, %d x %d RGB, k1 = -0.05, k2 = 0.01\n", kWidth, kHeight);
    std::printf("%-11s %-7s %11s %11s %11s %11s\n", "method", "isa", "8-bit 1T", "8-bit pool",
                "16-bit 1T", "16-bit pool");
    for (const char *method : kMethodNames) {
      for (uint32_t isa : levels) {
        std::printf("%-11s %-7s", method, interp_isa_name(isa));
        for (const char *depth : {"/8bit/", "/16bit/"}) {
          for (const char *threads : {"/single", "/pool"}) {
            const double v = Find(std::string(method) + depth + interp_isa_name(isa) + threads);
            if (v < 0) {
              std::printf(" %11s", "-");
            } else {
              std::printf(" %11.2f", v);
            }
          }
        }
        std::printf("\n");
      }
    }
  }

 private:
  std::map<std::string, double> results_;
};

// Takes --ortavel_rows=N, --ortavel_isa=LEVEL|all, --ortavel_rounds=N, --quick
// and --threads=N out of the arguments before the library sees them.
void parse_own_flags(int *argc, char **argv, std::vector<uint32_t> *levels,
                     std::optional<int> *threads) {
  int kept = 1;
  const uint32_t widest = interp_isa_widest();
  for (uint32_t isa = 0; isa <= widest; ++isa) levels->push_back(isa);
  for (int i = 1; i < *argc; ++i) {
    const std::string arg = argv[i];
    const std::string rows = "--ortavel_rows=";
    const std::string isa_flag = "--ortavel_isa=";
    const std::string threads_flag = "--threads=";
    const std::string rounds = "--ortavel_rounds=";
    if (arg == "--quick") {
      g_quick = true;
      g_rounds = 3;
    } else if (arg.rfind(rounds, 0) == 0) {
      g_rounds = std::clamp(std::atoi(arg.c_str() + rounds.size()), 1, 100);
    } else if (arg.rfind(threads_flag, 0) == 0) {
      *threads = std::max(1, std::atoi(arg.c_str() + threads_flag.size()));
    } else if (arg.rfind(rows, 0) == 0) {
      g_rows = std::clamp(std::atoi(arg.c_str() + rows.size()), 1, kHeight);
    } else if (arg.rfind(isa_flag, 0) == 0) {
      const std::string wanted = arg.substr(isa_flag.size());
      if (wanted != "all") {
        levels->clear();
        for (uint32_t isa = 0; isa <= widest; ++isa) {
          if (wanted == interp_isa_name(isa)) levels->push_back(isa);
        }
        if (levels->empty()) {
          std::fprintf(stderr, "--ortavel_isa: '%s' does not run here (widest: %s)\n",
                       wanted.c_str(), interp_isa_name(widest));
          std::exit(2);
        }
      }
    } else {
      argv[kept++] = argv[i];
    }
  }
  *argc = kept;
}

// The processor as the kernel reports it ("AMD EPYC (AuthenticAMD, family 26
// model 2)"), so that figures from machines of different families are told
// apart; speed differs between them more than between runs.
std::string processor_description() {
  std::ifstream in("/proc/cpuinfo");
  std::map<std::string, std::string> field;
  for (std::string line; std::getline(in, line) && !line.empty();) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) continue;
    std::string key = line.substr(0, colon);
    key.erase(key.find_last_not_of(" \t") + 1);
    const auto start = line.find_first_not_of(' ', colon + 1);
    field[key] = start == std::string::npos ? "" : line.substr(start);
  }
  if (field.count("model name") == 0) return "unknown (no /proc/cpuinfo)";
  return field["model name"] + " (" + field["vendor_id"] + ", family " + field["cpu family"] +
         " model " + field["model"] + ")";
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<uint32_t> levels;
  std::optional<int> threads;
  parse_own_flags(&argc, argv, &levels, &threads);
  // The pool and OpenCV both size themselves by the processors the process may
  // use: narrowing the process narrows both alike.
  try {
    if (const auto n = ortavel::cli::requestedThreads(threads, std::getenv("ORTAVEL_THREADS")))
      ortavel::cli::limitProcessors(*n);
  } catch (const std::exception &e) {
    std::fprintf(stderr, "ortavel-bench: %s\n", e.what());
    return 2;
  }
  for (uint32_t size : {1u, 2u}) {
    for (uint32_t method = 0; method < 7 && !g_quick; ++method) {
      for (uint32_t isa : levels) {
        // TEST_ALIGN has one implementation; measure it once.
        if (method == TEST_ALIGN && isa != levels.back()) continue;
        for (bool pooled : {false, true}) {
          const std::string name = std::string(kMethodNames[method]) +
                                   (size == 1 ? "/8bit/" : "/16bit/") + interp_isa_name(isa) +
                                   (pooled ? "/pool" : "/single");
          benchmark::RegisterBenchmark(name.c_str(), correct, method, size, isa, pooled)
              ->UseRealTime()
              ->Unit(benchmark::kMillisecond)
              ->MinTime(0.5);
        }
      }
    }
  }
  std::printf("processor: %s; widest kernel path: %s\n", processor_description().c_str(),
              interp_isa_name(interp_isa_widest()));
  std::fflush(stdout);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  if (!g_quick) {
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintTable(levels);
  }
  run_interleaved_comparison(kWidth, kHeight, frame(1).source.data(), frame(2).source.data(),
                             g_rounds, whole_frame_seconds);
  benchmark::Shutdown();
  return 0;
}
