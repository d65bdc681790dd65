// A rectangle of the source block converted to doubles, for the pixels of one
// output tile.
//
// Neighbouring output pixels share most of their taps, so converting each tap
// where it is read would convert every source sample many times over (64 taps
// of Lanczos 8 for every pixel). Instead the samples under a tile's footprint
// are converted once, into a small buffer that stays in the first-level
// cache, and the filter reads doubles from there. Conversion of an integer
// sample to double is exact, so the sums see the very values they would have
// seen reading the block directly.
//
// Layout: pixel (column c, row r) of the box at doubles[(r * width + c) *
// channels + k], k < channels; one zero double follows the last sample, so a
// four-double read of a 3-channel pixel stays inside the buffer.
// Internal to the engines (C++ only); needs AVX2 (included by the wide units).
#ifndef ORTAVEL_RESAMPLE_SOURCE_BOX_H
#define ORTAVEL_RESAMPLE_SOURCE_BOX_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <immintrin.h>

#include "ortavel_isa.h"

namespace ortavel_resample {
inline namespace ORTAVEL_ISA_NAMESPACE {

// Columns [first_column, first_column + width) and rows [first_row,
// first_row + height) of the source block, in source pixels.
struct BoxExtent {
  int32_t first_column;
  int32_t first_row;
  int32_t width;
  int32_t height;
};

// `count` contiguous samples of type T from p, as doubles into out.
template <typename T>
inline void convert_samples(const uint8_t *p, int count, double *out) {
  int i = 0;
  // With 512-bit registers, eight samples a step: at four, filling the box
  // took a fifth of a bilinear correction's time.
  if constexpr (sizeof(T) == 1) {
#ifdef __AVX512F__
    for (; i + 8 <= count; i += 8) {
      const __m128i bits = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p + i));
      _mm512_storeu_pd(out + i, _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(bits)));
    }
#endif
    for (; i + 4 <= count; i += 4) {
      int32_t bits;
      std::memcpy(&bits, p + i, 4);
      _mm256_storeu_pd(out + i, _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bits))));
    }
  } else if constexpr (sizeof(T) == 2) {
#ifdef __AVX512F__
    for (; i + 8 <= count; i += 8) {
      const __m128i bits = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 2 * i));
      _mm512_storeu_pd(out + i, _mm512_cvtepi32_pd(_mm256_cvtepu16_epi32(bits)));
    }
#endif
    for (; i + 4 <= count; i += 4) {
      const __m128i bits = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p + 2 * i));
      _mm256_storeu_pd(out + i, _mm256_cvtepi32_pd(_mm_cvtepu16_epi32(bits)));
    }
  }
  for (; i < count; ++i) {
    T v;
    std::memcpy(&v, p + i * sizeof(T), sizeof v);
    out[i] = static_cast<double>(v);
  }
}

// Fills `box` with the extent's samples of the block at `data`. Pixels that
// sit directly side by side are converted a row at a time; other layouts
// (padding between pixels) pixel by pixel.
template <typename T, int C>
inline void fill_box(const uint8_t *data, int32_t row_stride, int32_t pixel_stride,
                     const BoxExtent &e, double *box) {
  const int row_doubles = e.width * C;
  for (int r = 0; r < e.height; ++r) {
    const uint8_t *src = data + static_cast<ptrdiff_t>(e.first_row + r) * row_stride +
                         static_cast<ptrdiff_t>(e.first_column) * pixel_stride;
    double *out = box + static_cast<ptrdiff_t>(r) * row_doubles;
    if (pixel_stride == C * static_cast<int32_t>(sizeof(T))) {
      convert_samples<T>(src, row_doubles, out);
    } else {
      for (int c = 0; c < e.width; ++c) convert_samples<T>(src + c * pixel_stride, C, out + c * C);
    }
  }
  box[static_cast<ptrdiff_t>(e.height) * row_doubles] = 0.0;
}

}  // namespace ORTAVEL_ISA_NAMESPACE
}  // namespace ortavel_resample

#endif
