// Side-by-side with OpenCV: the same frame and lens through
// cv::initUndistortRectifyMap + cv::remap, the work a user of that library
// does for one correction, on as many threads as the pool has. Built only
// when CMake finds OpenCV; otherwise the comparison says it was skipped.
#ifndef ORTAVEL_BENCH_OPENCV_COMPARE_H
#define ORTAVEL_BENCH_OPENCV_COMPARE_H

#include <cstdint>
#include <functional>

// Ours and OpenCV's one whole frame each in turn (A, B, A, B...), `rounds`
// times for each method and depth, so that load from elsewhere falls on both
// alike; prints the median MP/s of each and the median, lowest and highest of
// the per-round ratios. ours(method, sample_size) corrects one whole frame on
// the pool and returns the seconds it took.
void run_interleaved_comparison(int width, int height, const uint8_t *rgb8, const uint8_t *rgb16,
                                int rounds, const std::function<double(uint32_t, uint32_t)> &ours);

#endif
