// Pixel blocks for kernel tests: an owned byte buffer with optional row and
// pixel padding, viewed as an interp_source or interp_target, and a few
// transforms.
#ifndef ORTAVEL_TESTS_RESAMPLE_TEST_BLOCK_H
#define ORTAVEL_TESTS_RESAMPLE_TEST_BLOCK_H

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "resample/interp.h"

struct TestBlock {
  int width, height, channels, size, max_value;
  int pixel_stride, row_stride;
  double origin_x = 0.0, origin_y = 0.0;
  std::vector<uint8_t> bytes;

  TestBlock(int w, int h, int ch, int sample_size, int max, int pixel_pad = 0, int row_pad = 0,
            uint8_t fill = 0)
      : width(w),
        height(h),
        channels(ch),
        size(sample_size),
        max_value(max),
        pixel_stride(ch * sample_size + pixel_pad),
        row_stride(w * pixel_stride + row_pad),
        bytes(static_cast<size_t>(row_stride) * (h > 0 ? h : 1), fill) {}

  uint8_t *at(int x, int y, int k) {
    return bytes.data() + static_cast<size_t>(y) * row_stride + x * pixel_stride + k * size;
  }
  uint32_t get(int x, int y, int k) {
    uint32_t v = 0;
    if (size == 1) v = *at(x, y, k);
    if (size == 2) {
      uint16_t s;
      std::memcpy(&s, at(x, y, k), 2);
      v = s;
    }
    if (size == 4) std::memcpy(&v, at(x, y, k), 4);
    return v;
  }
  void set(int x, int y, int k, uint32_t v) {
    if (size == 1) *at(x, y, k) = static_cast<uint8_t>(v);
    if (size == 2) {
      const uint16_t s = static_cast<uint16_t>(v);
      std::memcpy(at(x, y, k), &s, 2);
    }
    if (size == 4) std::memcpy(at(x, y, k), &v, 4);
  }
  interp_source source() const {
    return {bytes.data(), origin_x,     origin_y, width,    height,
            row_stride,   pixel_stride, channels, max_value};
  }
  interp_target target() {
    return {bytes.data(), origin_x,     origin_y, width,    height,
            row_stride,   pixel_stride, channels, max_value};
  }
};

// model: none.
inline void identity_transform(double x, double y, double *ox, double *oy, const void *) {
  *ox = x;
  *oy = y;
}

// model: const double[2], added to the point.
inline void shift_transform(double x, double y, double *ox, double *oy, const void *model) {
  const double *d = static_cast<const double *>(model);
  *ox = x + d[0];
  *oy = y + d[1];
}

// model: const double[2], returned for every point.
inline void fixed_transform(double, double, double *ox, double *oy, const void *model) {
  const double *p = static_cast<const double *>(model);
  *ox = p[0];
  *oy = p[1];
}

// model: std::vector<std::pair<double, double>>, records each call; identity.
inline void recording_transform(double x, double y, double *ox, double *oy, const void *model) {
  auto *calls = static_cast<std::vector<std::pair<double, double>> *>(const_cast<void *>(model));
  calls->emplace_back(x, y);
  *ox = x;
  *oy = y;
}

#endif
