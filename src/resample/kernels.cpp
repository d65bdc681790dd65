// The baseline resampling kernels: one template over sample type and weight
// function, with SSE2 where the processor family guarantees it. This is the
// definition that the wider instruction-set paths (simd_kernels.h) match.
//
// Arithmetic order is fixed: per channel, each tap row is summed left to right,
// then weighted by its row weight and added to the pixel's sum; the result is
// clamped to 0..max_value, 0.5 is added and the value truncated. Everything the
// optimisations below do keeps that order per channel, so every path gives the
// same bits.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// The vector path needs SSE2 and 64-bit general registers; elsewhere the
// scalar path (same results) is used.
#if defined(__SSE2__) && defined(__x86_64__)
#define ORTAVEL_KERNELS_SSE2 1
#include <emmintrin.h>
#endif

#include "resample/interp.h"
#include "resample/kernel_sets.h"
#include "resample/kernels.h"
#include "resample/lanczos_tables.h"
#include "resample/simd_lanes.h"
#include "resample/source_points.h"

namespace {

using ortavel_resample::for_each_run;

// Lane type of the lens row evaluator.
#if defined(__SSE2__)
using BaselineLanes = ortavel_simd::LanesSse2;
#else
using BaselineLanes = ortavel_simd::Lanes1;
#endif

template <typename T>
inline double load(const uint8_t *p) {
  T v;
  std::memcpy(&v, p, sizeof v);  // strides need not keep samples aligned
  return static_cast<double>(v);
}

// Stores the low bits of an already rounded value, as the sample type holds them.
template <typename T>
inline void store(uint8_t *p, int64_t v) {
  const T s = static_cast<T>(static_cast<uint64_t>(v));
  std::memcpy(p, &s, sizeof s);
}

// ---- weight functions; w[0] belongs to the first tap --------------------

struct Bilinear {
  static constexpr int kTaps = 2;
  static void weights(double f, double *w) {
    w[0] = 1.0 - f;
    w[1] = f;
  }
};

// Cubic convolution with a = -0.75.
struct Bicubic {
  static constexpr int kTaps = 4;
  static double inner(double t) { return (1.25 * t - 2.25) * t * t + 1.0; }
  static double outer(double t) { return ((-0.75 * t + 3.75) * t - 6.0) * t + 3.0; }
  static void weights(double f, double *w) {
    w[0] = outer(1.0 + f);
    w[1] = inner(f);
    w[2] = inner(1.0 - f);
    w[3] = outer(2.0 - f);
  }
};

// Lanczos of half-width A, read from its table at the absolute tap distance and
// interpolated linearly between neighbouring entries (128 per pixel).
template <int A>
struct Lanczos {
  static constexpr int kTaps = 2 * A;
  static const double *table() { return lanczos_table_for<A>(); }
  static void weights(double f, double *w) {
    const double *tab = table();
    const double t = (static_cast<double>(-(A - 1)) - f) * 128.0;
    const double ft = std::floor(t);
    int p = static_cast<int>(ft);
    const double r = t - ft;
    for (int n = 0; n < kTaps; ++n) {
      w[n] = (1.0 - r) * tab[std::abs(p)] + r * tab[std::abs(p + 1)];
      p += 128;
    }
  }
};

// ---- the filtering kernel -------------------------------------------------

// Add one half, then truncate: deliberately not lround, which differs where
// v + 0.5 rounds up in double (v = 0.49999999999999994 gives 1 here).
inline int64_t round_half_up(double v) {
  return static_cast<int64_t>(v + 0.5);  // NOLINT(bugprone-incorrect-roundings)
}

inline int64_t round_clamped(double sum, double max_value) {
  double v = sum > 0.0 ? sum : 0.0;
  v = v < max_value ? v : max_value;
  return round_half_up(v);
}

#if defined(ORTAVEL_KERNELS_SSE2)
// 8- and 16-bit pixels of 3 or 4 channels: the pixel's samples are widened in
// one register and handled two channels per vector. Each lane is an ordinary
// double multiply or add, so every channel sees exactly the scalar sequence.
// (The fourth lane of a 3-channel pixel carries a zero and is not stored.)
template <typename T, int C>
inline void load_pixel(const uint8_t *px, __m128d *lo, __m128d *hi) {
  const __m128i zero = _mm_setzero_si128();
  __m128i v;
  // Whole-width loads only: a partial copy into a local would go through
  // memory and stall the load that follows.
  if constexpr (sizeof(T) == 1) {
    uint32_t bits;
    if constexpr (C == 4) {
      std::memcpy(&bits, px, 4);
    } else {
      uint16_t first;
      std::memcpy(&first, px, 2);
      bits = first | static_cast<uint32_t>(px[2]) << 16;
    }
    v = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(bits)), zero),
                           zero);
  } else {
    uint64_t bits;
    if constexpr (C == 4) {
      std::memcpy(&bits, px, 8);
    } else {
      uint32_t first;
      uint16_t third;
      std::memcpy(&first, px, 4);
      std::memcpy(&third, px + 4, 2);
      bits = first | static_cast<uint64_t>(third) << 32;
    }
    v = _mm_unpacklo_epi16(_mm_cvtsi64_si128(static_cast<long long>(bits)), zero);
  }
  *lo = _mm_cvtepi32_pd(v);
  *hi = _mm_cvtepi32_pd(_mm_shuffle_epi32(v, 0xEE));
}

template <typename T, int N, int C>
inline void filter_pixel_sse2(const uint8_t *const *rows, const ptrdiff_t *cols, const double *wx,
                              const double *wy, double max_value, uint8_t *out) {
  __m128d sum_lo = _mm_setzero_pd();
  __m128d sum_hi = _mm_setzero_pd();
  for (int m = 0; m < N; ++m) {
    __m128d row_lo = _mm_setzero_pd();
    __m128d row_hi = _mm_setzero_pd();
    for (int n = 0; n < N; ++n) {
      __m128d lo;
      __m128d hi;
      load_pixel<T, C>(rows[m] + cols[n], &lo, &hi);
      const __m128d w = _mm_set1_pd(wx[n]);
      row_lo = _mm_add_pd(row_lo, _mm_mul_pd(lo, w));
      row_hi = _mm_add_pd(row_hi, _mm_mul_pd(hi, w));
    }
    const __m128d w = _mm_set1_pd(wy[m]);
    sum_lo = _mm_add_pd(sum_lo, _mm_mul_pd(row_lo, w));
    sum_hi = _mm_add_pd(sum_hi, _mm_mul_pd(row_hi, w));
  }
  double sums[4];
  _mm_storeu_pd(sums, sum_lo);
  _mm_storeu_pd(sums + 2, sum_hi);
  for (int k = 0; k < C; ++k) store<T>(out + k * sizeof(T), round_clamped(sums[k], max_value));
}
#endif

// One pixel's filter over all channels. C is the channel count when known at
// compile time (0: take `channels`). The channels are accumulated side by side,
// each in its own running sums, which keeps each channel's order of operations.
template <typename T, int N, int C>
inline void filter_pixel(const uint8_t *const *rows, const ptrdiff_t *cols, const double *wx,
                         const double *wy, int channels, double max_value, uint8_t *out) {
#if defined(ORTAVEL_KERNELS_SSE2)
  if constexpr (C >= 3 && sizeof(T) <= 2) {
    filter_pixel_sse2<T, N, C>(rows, cols, wx, wy, max_value, out);
    return;
  }
#endif
  if constexpr (C > 0) {
    double sum[C];
    for (int k = 0; k < C; ++k) sum[k] = 0.0;
    for (int m = 0; m < N; ++m) {
      double rowsum[C];
      for (int k = 0; k < C; ++k) rowsum[k] = 0.0;
      for (int n = 0; n < N; ++n) {
        const uint8_t *px = rows[m] + cols[n];
        for (int k = 0; k < C; ++k) rowsum[k] += load<T>(px + k * sizeof(T)) * wx[n];
      }
      for (int k = 0; k < C; ++k) sum[k] += rowsum[k] * wy[m];
    }
    for (int k = 0; k < C; ++k) store<T>(out + k * sizeof(T), round_clamped(sum[k], max_value));
  } else {
    for (int k = 0; k < channels; ++k) {
      const ptrdiff_t ko = static_cast<ptrdiff_t>(k) * static_cast<ptrdiff_t>(sizeof(T));
      double sum = 0.0;
      for (int m = 0; m < N; ++m) {
        const uint8_t *row = rows[m] + ko;
        double rowsum = 0.0;
        for (int n = 0; n < N; ++n) rowsum += load<T>(row + cols[n]) * wx[n];
        sum += rowsum * wy[m];
      }
      store<T>(out + ko, round_clamped(sum, max_value));
    }
  }
}

template <typename T>
inline void zero_pixel(uint8_t *out, int channels) {
  for (int k = 0; k < channels; ++k) store<T>(out + k * sizeof(T), 0);
}

inline int clamp_index(int i, int last) {
  return i < 0 ? 0 : (i > last ? last : i);
}

// Whether source-block position (sx, sy) lies inside the block's pixel area
// (borders inclusive; NaN is outside).
inline bool inside(double sx, double sy, double x_limit, double y_limit) {
  return sx >= -0.5 && sy >= -0.5 && sx <= x_limit && sy <= y_limit;
}

template <typename Method, typename T, int C>
void filter_block(const interp_source *src, const interp_target *dst, interp_transform_fn transform,
                  const void *model) {
  constexpr int N = Method::kTaps;
  const double max_value = static_cast<double>(dst->max_value);
  const int channels = dst->channels;
  const double x_limit = static_cast<double>(src->width) - 0.5;
  const double y_limit = static_cast<double>(src->height) - 0.5;
  const ptrdiff_t src_row = src->row_stride;
  const ptrdiff_t src_px = src->pixel_stride;

  const auto pixels = [&](int r, int c0, int count, const double *xs, const double *ys) {
    uint8_t *out = dst->data + static_cast<ptrdiff_t>(r) * dst->row_stride +
                   static_cast<ptrdiff_t>(c0) * dst->pixel_stride;
    for (int i = 0; i < count; ++i, out += dst->pixel_stride) {
      const double sx = xs[i];
      const double sy = ys[i];
      if (!inside(sx, sy, x_limit, y_limit)) {
        zero_pixel<T>(out, channels);
        continue;
      }
      const double flx = std::floor(sx);
      const double fly = std::floor(sy);
      double wx[N];
      double wy[N];
      Method::weights(sx - flx, wx);
      Method::weights(sy - fly, wy);
      const int x0 = static_cast<int>(flx) - (N / 2 - 1);
      const int y0 = static_cast<int>(fly) - (N / 2 - 1);

      const uint8_t *rows[N];
      ptrdiff_t cols[N];
      if (x0 >= 0 && y0 >= 0 && x0 + N <= src->width && y0 + N <= src->height) {
        const uint8_t *first = src->data + y0 * src_row;
        for (int m = 0; m < N; ++m) rows[m] = first + m * src_row;
        for (int n = 0; n < N; ++n) cols[n] = (x0 + n) * src_px;
      } else {
        // Near the border: repeat the edge pixels outward.
        const int last_col = src->width - 1;
        const int last_row = src->height - 1;
        for (int m = 0; m < N; ++m) rows[m] = src->data + clamp_index(y0 + m, last_row) * src_row;
        for (int n = 0; n < N; ++n) cols[n] = clamp_index(x0 + n, last_col) * src_px;
      }
      filter_pixel<T, N, C>(rows, cols, wx, wy, channels, max_value, out);
    }
  };
  for_each_run<BaselineLanes>(src, dst, transform, model, pixels);
}

template <typename Method, typename T>
int32_t filter_kernel(const interp_source *src, const interp_target *dst,
                      interp_transform_fn transform, const void *model) {
  if (dst->channels != src->channels || dst->max_value != src->max_value) return 1;
  // The common pixel layouts get their channel loop unrolled.
  switch (dst->channels) {
    case 3:
      filter_block<Method, T, 3>(src, dst, transform, model);
      break;
    case 4:
      filter_block<Method, T, 4>(src, dst, transform, model);
      break;
    default:
      filter_block<Method, T, 0>(src, dst, transform, model);
      break;
  }
  return 0;
}

// Sub-pixel phase display: channel 0 shows the horizontal phase, channel 1 the
// vertical one, 0 on a pixel centre and max_value half-way between centres.
template <typename T>
int32_t align_kernel(const interp_source *src, const interp_target *dst,
                     interp_transform_fn transform, const void *model) {
  if (dst->channels != src->channels || dst->max_value != src->max_value) return 1;
  if (dst->channels < 2) return 1;
  const double max_value = static_cast<double>(dst->max_value);
  const int channels = dst->channels;
  const double x_limit = static_cast<double>(src->width) - 0.5;
  const double y_limit = static_cast<double>(src->height) - 0.5;

  const auto pixels = [&](int r, int c0, int count, const double *xs, const double *ys) {
    uint8_t *out = dst->data + static_cast<ptrdiff_t>(r) * dst->row_stride +
                   static_cast<ptrdiff_t>(c0) * dst->pixel_stride;
    for (int i = 0; i < count; ++i, out += dst->pixel_stride) {
      zero_pixel<T>(out, channels);
      if (inside(xs[i], ys[i], x_limit, y_limit)) {
        const double fx = xs[i] - std::floor(xs[i]);
        const double fy = ys[i] - std::floor(ys[i]);
        // No clamp: the phase lies in 0..1 by construction.
        store<T>(out, round_half_up((1.0 - std::fabs(2.0 * fx - 1.0)) * max_value));
        store<T>(out + sizeof(T), round_half_up((1.0 - std::fabs(2.0 * fy - 1.0)) * max_value));
      }
    }
  };
  for_each_run<BaselineLanes>(src, dst, transform, model, pixels);
  return 0;
}

}  // namespace

const interp_kernel_fn *ortavel_kernels_baseline() {
  static constexpr interp_kernel_fn kTable[18] = {
      filter_kernel<Bilinear, uint8_t>,    filter_kernel<Bilinear, uint16_t>,
      filter_kernel<Bilinear, uint32_t>,   filter_kernel<Bicubic, uint8_t>,
      filter_kernel<Bicubic, uint16_t>,    filter_kernel<Bicubic, uint32_t>,
      filter_kernel<Lanczos<2>, uint8_t>,  filter_kernel<Lanczos<2>, uint16_t>,
      filter_kernel<Lanczos<2>, uint32_t>, filter_kernel<Lanczos<3>, uint8_t>,
      filter_kernel<Lanczos<3>, uint16_t>, filter_kernel<Lanczos<3>, uint32_t>,
      filter_kernel<Lanczos<4>, uint8_t>,  filter_kernel<Lanczos<4>, uint16_t>,
      filter_kernel<Lanczos<4>, uint32_t>, filter_kernel<Lanczos<6>, uint8_t>,
      filter_kernel<Lanczos<6>, uint16_t>, filter_kernel<Lanczos<6>, uint32_t>,
  };
  return kTable;
}

int32_t func_TEST_ALIGN_1(const interp_source *source, const interp_target *target,
                          interp_transform_fn transform, const void *model) {
  return align_kernel<uint8_t>(source, target, transform, model);
}
int32_t func_TEST_ALIGN_2(const interp_source *source, const interp_target *target,
                          interp_transform_fn transform, const void *model) {
  return align_kernel<uint16_t>(source, target, transform, model);
}
int32_t func_TEST_ALIGN_4(const interp_source *source, const interp_target *target,
                          interp_transform_fn transform, const void *model) {
  return align_kernel<uint32_t>(source, target, transform, model);
}
