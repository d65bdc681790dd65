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
// Layout: sample k of pixel (column c, row r) of the box at doubles[(r *
// width + c) * 4 + k] for pixels of 3 or 4 channels; pixels of 1 or 2
// channels are kept as planes, column by column (fill_planes).
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

// Four samples of pixel p, its 3 channels and a zero, as doubles. Reads one
// sample past the pixel (a pixel's sample that follows it in the block).
// Samples of 1 or 2 bytes.
template <typename T>
inline __m256d pixel_of_three(const uint8_t *p) {
  static_assert(sizeof(T) <= 2, "32-bit samples are converted one by one");
  if constexpr (sizeof(T) == 1) {
    int32_t bits;
    std::memcpy(&bits, p, 4);
    return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bits & 0xFFFFFF)));
  } else {
    const __m128i bits = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
    return _mm256_cvtepi32_pd(_mm_cvtepu16_epi32(_mm_insert_epi16(bits, 0, 3)));
  }
}

// Pixels [0, count) of one row of 3-channel pixels side by side at p, as
// four doubles each (the fourth zero) from out on.
template <typename T>
inline void convert_threes(const uint8_t *p, int count, double *out) {
  int c = 0;
#ifdef __AVX512F__
  if constexpr (sizeof(T) == 1) {
    // Four pixels a step from a 16-byte read, which stays inside the row
    // while two more pixels follow the four.
    const __m128i spread = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    for (; c + 6 <= count; c += 4) {
      const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 3 * c));
      const __m512i whole = _mm512_cvtepu8_epi32(_mm_shuffle_epi8(bytes, spread));
      _mm512_storeu_pd(out + 4 * c, _mm512_cvtepi32_pd(_mm512_castsi512_si256(whole)));
      _mm512_storeu_pd(out + 4 * c + 8, _mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(whole, 1)));
    }
  } else if constexpr (sizeof(T) == 2) {
    // The same from a 32-byte read, the samples moved into place and the
    // fourth of each pixel zeroed in one step.
    const __m256i spread = _mm256_setr_epi16(0, 1, 2, 0, 3, 4, 5, 0, 6, 7, 8, 0, 9, 10, 11, 0);
    for (; c + 6 <= count; c += 4) {
      const __m256i samples = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p + 6 * c));
      const __m512i whole =
          _mm512_cvtepu16_epi32(_mm256_maskz_permutexvar_epi16(0x7777, spread, samples));
      _mm512_storeu_pd(out + 4 * c, _mm512_cvtepi32_pd(_mm512_castsi512_si256(whole)));
      _mm512_storeu_pd(out + 4 * c + 8, _mm512_cvtepi32_pd(_mm512_extracti64x4_epi64(whole, 1)));
    }
  }
#endif
  // The last pixel would read past the row: it is converted sample by sample.
  if constexpr (sizeof(T) <= 2) {
    for (; c + 1 < count; ++c) {
      _mm256_storeu_pd(out + 4 * c, pixel_of_three<T>(p + 3 * sizeof(T) * c));
    }
  }
  for (; c < count; ++c) {
    for (int k = 0; k < 3; ++k) {
      T v;
      std::memcpy(&v, p + (3 * c + k) * sizeof(T), sizeof v);
      out[4 * c + k] = static_cast<double>(v);
    }
    out[4 * c + 3] = 0.0;
  }
}

// Which of an extent's columns lie in the block: `left` box columns before
// it, then `inside` columns from block column `first` on; the rest are after
// it.
struct InsideColumns {
  int32_t first;
  int left;
  int inside;
};
inline InsideColumns inside_columns(const BoxExtent &e, int32_t block_width) {
  const int32_t end = e.first_column + e.width;
  const int32_t first = e.first_column < 0 ? 0 : e.first_column;
  return {first, first - e.first_column, (end < block_width ? end : block_width) - first};
}

// Fills `box` with the extent's samples of the block at `data`, four doubles
// a pixel: a pixel's taps are then one aligned four-double read, never split
// between two cache lines (with three doubles a pixel, three reads in eight
// were). The fourth double of a 3-channel pixel is zero. Pixels that sit
// directly side by side are converted a row at a time; other layouts
// (padding between pixels) pixel by pixel.
//
// The extent may reach past the block on any side (by less than a filter's
// reach): box pixels outside it repeat the block's edge pixels, as clamped
// taps read them. A pixel's taps are then always the same steps apart in the
// box, from its first tap on, with no clamp per tap. The extent holds at
// least one column and one row of the block.
template <typename T, int C>
inline void fill_box(const uint8_t *data, int32_t row_stride, int32_t pixel_stride,
                     int32_t block_width, int32_t block_height, const BoxExtent &e, double *box) {
  static_assert(C == 3 || C == 4, "the box holds whole pixels of 3 or 4 channels");
  const int row_doubles = e.width * 4;
  const bool packed = pixel_stride == C * static_cast<int32_t>(sizeof(T));
  const auto [first, left, inside] = inside_columns(e, block_width);
  int32_t previous = -1;
  for (int r = 0; r < e.height; ++r) {
    int32_t row = e.first_row + r;
    row = row < 0 ? 0 : (row > block_height - 1 ? block_height - 1 : row);
    double *out = box + static_cast<ptrdiff_t>(r) * row_doubles;
    if (row == previous) {  // above or below the block: the edge row again
      std::memcpy(out, out - row_doubles, sizeof(double) * row_doubles);
      continue;
    }
    previous = row;
    const uint8_t *src = data + static_cast<ptrdiff_t>(row) * row_stride +
                         static_cast<ptrdiff_t>(first) * pixel_stride;
    double *at = out + 4 * left;
    if (C == 4 && packed) {
      convert_samples<T>(src, inside * 4, at);
    } else if (C == 3 && packed) {
      convert_threes<T>(src, inside, at);
    } else {
      for (int c = 0; c < inside; ++c) {
        convert_samples<T>(src + c * pixel_stride, C, at + 4 * c);
        if (C == 3) at[4 * c + 3] = 0.0;
      }
    }
    for (int c = 0; c < left; ++c) std::memcpy(out + 4 * c, at, sizeof(double) * 4);
    const double *last = at + 4 * (inside - 1);
    for (int c = left + inside; c < e.width; ++c) {
      std::memcpy(out + 4 * c, last, sizeof(double) * 4);
    }
  }
}

// Fills `planes` with the extent's pixels of 1 or 2 channels, each channel a
// plane of its own laid out column by column: sample k of box pixel (column
// c, row i) at planes[(k * width + c) * height + i]. As in fill_box, box
// pixels beyond the block repeat its edge pixels: a pixel's tap rows at one
// tap column are then always consecutive doubles, and its tap columns always
// `height` doubles apart.
template <typename T, int C>
inline void fill_planes(const uint8_t *data, int32_t row_stride, int32_t pixel_stride,
                        int32_t block_width, int32_t block_height, const BoxExtent &e,
                        double *planes) {
  static_assert(C == 1 || C == 2, "planes hold pixels of 1 or 2 channels");
  const ptrdiff_t plane = static_cast<ptrdiff_t>(e.width) * e.height;
  const auto [first, left, inside] = inside_columns(e, block_width);
  for (int i = 0; i < e.height; ++i) {
    int32_t r = e.first_row + i;
    r = r < 0 ? 0 : (r > block_height - 1 ? block_height - 1 : r);
    const uint8_t *src = data + static_cast<ptrdiff_t>(r) * row_stride +
                         static_cast<ptrdiff_t>(first) * pixel_stride;
    double *out = planes + static_cast<ptrdiff_t>(left) * e.height + i;
    for (int c = 0; c < inside; ++c) {
      for (int k = 0; k < C; ++k) {
        T v;
        std::memcpy(&v, src + c * pixel_stride + k * static_cast<int>(sizeof(T)), sizeof v);
        out[k * plane + static_cast<ptrdiff_t>(c) * e.height] = static_cast<double>(v);
      }
    }
  }
  const size_t column_bytes = sizeof(double) * static_cast<size_t>(e.height);
  for (int k = 0; k < C; ++k) {
    double *p = planes + k * plane;
    for (int c = 0; c < left; ++c) {
      std::memcpy(p + static_cast<ptrdiff_t>(c) * e.height,
                  p + static_cast<ptrdiff_t>(left) * e.height, column_bytes);
    }
    for (int c = left + inside; c < e.width; ++c) {
      std::memcpy(p + static_cast<ptrdiff_t>(c) * e.height,
                  p + static_cast<ptrdiff_t>(left + inside - 1) * e.height, column_bytes);
    }
  }
}

}  // namespace ORTAVEL_ISA_NAMESPACE
}  // namespace ortavel_resample

#endif
