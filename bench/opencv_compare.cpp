#include "opencv_compare.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>

#include "workers/interp_workers.h"

namespace {

constexpr const char *kCompared[3] = {"BILINEAR", "BICUBIC", "LANCZOS8"};

}  // namespace

#if defined(ORTAVEL_BENCH_OPENCV)
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

namespace {

// Our lens model in OpenCV's terms: normalised by (width - 1) / 2 about the
// picture's centre, with the same k1 and k2 of r^2 and r^4.
void correct_with_opencv(benchmark::State &state, int width, int height, const uint8_t *pixels,
                         int depth, int interpolation) {
  const int threads = std::max<int32_t>(1, GetNumProcessors());
  cv::setNumThreads(threads);
  const cv::Mat source(height, width, CV_MAKETYPE(depth, 3), const_cast<uint8_t *>(pixels));
  const double f = (width - 1) * 0.5;
  const cv::Matx33d camera(f, 0, (width - 1) * 0.5, 0, f, (height - 1) * 0.5, 0, 0, 1);
  const cv::Vec4d distortion(-0.05, 0.01, 0, 0);
  cv::Mat map1;
  cv::Mat map2;
  cv::Mat target;
  for (auto _ : state) {
    cv::initUndistortRectifyMap(camera, distortion, cv::Mat(), camera, source.size(), CV_16SC2,
                                map1, map2);
    cv::remap(source, target, map1, map2, interpolation, cv::BORDER_CONSTANT);
    benchmark::DoNotOptimize(target.data);
  }
  state.counters["MP/s"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * width * height * 1e-6, benchmark::Counter::kIsRate);
  state.counters["threads"] = threads;
}

}  // namespace

void register_opencv_benchmarks(int width, int height, const uint8_t *rgb8, const uint8_t *rgb16) {
  const int methods[3] = {cv::INTER_LINEAR, cv::INTER_CUBIC, cv::INTER_LANCZOS4};
  for (int depth : {CV_8U, CV_16U}) {
    for (int i = 0; i < 3; ++i) {
      const std::string name =
          std::string("OPENCV/") + kCompared[i] + (depth == CV_8U ? "/8bit" : "/16bit") + "/pool";
      benchmark::RegisterBenchmark(name.c_str(), correct_with_opencv, width, height,
                                   depth == CV_8U ? rgb8 : rgb16, depth, methods[i])
          ->UseRealTime()
          ->Unit(benchmark::kMillisecond)
          ->MinTime(0.5);
    }
  }
}

void print_opencv_comparison(const std::function<double(const std::string &)> &lookup,
                             const char *isa) {
  std::printf("\nAgainst OpenCV %s (initUndistortRectifyMap + remap), both on %d threads\n",
              CV_VERSION, std::max<int32_t>(1, GetNumProcessors()));
  std::printf("%-11s %-7s %12s %12s %8s\n", "method", "depth", "Ortavel", "OpenCV", "ratio");
  for (const char *depth : {"8bit", "16bit"}) {
    for (const char *method : kCompared) {
      const double ours = lookup(std::string(method) + "/" + depth + "/" + isa + "/pool");
      const double theirs = lookup(std::string("OPENCV/") + method + "/" + depth + "/pool");
      if (ours < 0 || theirs <= 0) continue;
      std::printf("%-11s %-7s %12.2f %12.2f %8.2f\n", method, depth, ours, theirs, ours / theirs);
    }
  }
}

#else

void register_opencv_benchmarks(int, int, const uint8_t *, const uint8_t *) {}

void print_opencv_comparison(const std::function<double(const std::string &)> &, const char *) {
  std::printf(
      "\nOpenCV comparison skipped: the benchmark was built without OpenCV "
      "(scripts/ensure-deps opencv installs it).\n");
}

#endif
