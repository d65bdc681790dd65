#include "opencv_compare.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "resample/interp.h"
#include "workers/interp_workers.h"

#if defined(ORTAVEL_BENCH_OPENCV)
#include <opencv2/calib3d.hpp>
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

namespace {

constexpr const char *kCompared[3] = {"BILINEAR", "BICUBIC", "LANCZOS8"};
constexpr uint32_t kComparedMethods[3] = {BILINEAR, BICUBIC, LANCZOS8};

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  return n % 2 == 1 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

// The maps and the corrected frame, kept from round to round as a program
// correcting one picture after another keeps them (ours writes into a frame
// it keeps, too).
struct OpencvFrames {
  cv::Mat map1;
  cv::Mat map2;
  cv::Mat target;
};

// One whole frame, maps included, in seconds. Our lens model in OpenCV's
// terms: normalised by (width - 1) / 2 about the picture's centre, with the
// same k1 and k2 of r^2 and r^4.
double opencv_seconds(int width, int height, const uint8_t *pixels, int depth, int interpolation,
                      OpencvFrames &frames) {
  const cv::Mat source(height, width, CV_MAKETYPE(depth, 3), const_cast<uint8_t *>(pixels));
  const double f = (width - 1) * 0.5;
  const cv::Matx33d camera(f, 0, (width - 1) * 0.5, 0, f, (height - 1) * 0.5, 0, 0, 1);
  cv::Mat &map1 = frames.map1;
  cv::Mat &map2 = frames.map2;
  cv::Mat &target = frames.target;
  const auto start = std::chrono::steady_clock::now();
  cv::initUndistortRectifyMap(camera, cv::Vec4d(-0.05, 0.01, 0, 0), cv::Mat(), camera,
                              source.size(), CV_16SC2, map1, map2);
  cv::remap(source, target, map1, map2, interpolation, cv::BORDER_CONSTANT);
  benchmark::DoNotOptimize(target.data);
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

void run_interleaved_comparison(int width, int height, const uint8_t *rgb8, const uint8_t *rgb16,
                                int rounds, const std::function<double(uint32_t, uint32_t)> &ours) {
  const int threads = std::max<int32_t>(1, GetNumProcessors());
  cv::setNumThreads(threads);
  const int interpolations[3] = {cv::INTER_LINEAR, cv::INTER_CUBIC, cv::INTER_LANCZOS4};
  const double megapixels = static_cast<double>(width) * height * 1e-6;
  std::printf(
      "\nInterleaved, whole %d x %d RGB frames, %d rounds of Ortavel's pool then OpenCV %s "
      "(initUndistortRectifyMap + remap), both on %d threads; MP/s are medians, the ratio "
      "(Ortavel / OpenCV, above 1: ours is faster) the median of the rounds' ratios\n",
      width, height, rounds, CV_VERSION, threads);
  std::printf("%-9s %-6s %9s %9s %7s %13s\n", "method", "depth", "Ortavel", "OpenCV", "ratio",
              "ratio min-max");
  for (uint32_t size : {1u, 2u}) {
    for (int i = 0; i < 3; ++i) {
      std::vector<double> a;
      std::vector<double> b;
      std::vector<double> ratio;
      OpencvFrames frames;
      ours(kComparedMethods[i], size);  // warm: the frame and the pages of the output
      opencv_seconds(width, height, size == 1 ? rgb8 : rgb16, size == 1 ? CV_8U : CV_16U,
                     interpolations[i], frames);
      for (int r = 0; r < rounds; ++r) {
        const double ta = ours(kComparedMethods[i], size);
        const double tb = opencv_seconds(width, height, size == 1 ? rgb8 : rgb16,
                                         size == 1 ? CV_8U : CV_16U, interpolations[i], frames);
        a.push_back(megapixels / ta);
        b.push_back(megapixels / tb);
        ratio.push_back(tb / ta);
      }
      std::printf("%-9s %-6s %9.1f %9.1f %7.2f %6.2f-%-6.2f\n", kCompared[i],
                  size == 1 ? "8-bit" : "16-bit", median(a), median(b), median(ratio),
                  *std::min_element(ratio.begin(), ratio.end()),
                  *std::max_element(ratio.begin(), ratio.end()));
      std::fflush(stdout);
    }
  }
}

#else

void run_interleaved_comparison(int, int, const uint8_t *, const uint8_t *, int,
                                const std::function<double(uint32_t, uint32_t)> &) {
  std::printf(
      "\nInterleaved OpenCV comparison skipped: the benchmark was built without OpenCV "
      "(scripts/ensure-deps opencv installs it).\n");
}

#endif
