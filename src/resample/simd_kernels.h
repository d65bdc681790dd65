// The filtering kernels of the wide instruction sets.
//
// Pixels are taken a group at a time, one pixel per vector lane: the inside
// test, the weights and the tap offsets are computed for the whole group, each
// lane by exactly the scalar sequence of the baseline kernels. The sums are
// then formed in one of three ways, all keeping the baseline's order for every
// channel (each tap row summed left to right, weighted by its row weight and
// added to the pixel's sum; clamp, add one half, truncate):
//  - pixels of 3 or 4 channels: pixel by pixel, its channels side by side in
//    one register of four doubles. With the lens model, the output is walked
//    in small tiles and the source samples under each tile's footprint are
//    converted to doubles once (source_box.h), so the taps are plain loads;
//    otherwise (another transform, or a footprint too large) the taps are
//    read from the block and converted where they are read;
//  - pixels of 1 or 2 channels with the lens model: the same tiles, each
//    channel converted into a plane of its own, column by column, so that a
//    pixel's tap rows at one tap column are consecutive and its row sums
//    advance side by side in one register;
//  - other pixels of 1 or 2 channels: still one pixel per lane, samples
//    fetched as 32-bit words by gather and split into channels.
// So every pixel gets the baseline's bits.
//
// Taps are always read as through clamped indices: inside the block that is
// the direct read, at the border it repeats the edge pixels, as the baseline
// does. The tiles' converted samples repeat the edge pixels beyond the block
// themselves, so there a pixel's taps are fixed steps from its first one.
// Reads that could reach past the last byte of the source block (a word or
// four samples from a pixel near its end) take a careful path for that group.
//
// Included by one unit per instruction set, with V the lane type of that unit.
// Internal to the engines (C++ only).
#ifndef ORTAVEL_RESAMPLE_SIMD_KERNELS_H
#define ORTAVEL_RESAMPLE_SIMD_KERNELS_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include <immintrin.h>

#include "ortavel_isa.h"
#include "resample/interp.h"
#include "resample/isa.h"
#include "resample/lanczos_tables.h"
#include "resample/simd_lanes.h"
#include "resample/source_box.h"
#include "resample/source_points.h"

namespace ortavel_resample {
inline namespace ORTAVEL_ISA_NAMESPACE {

// ---- weight functions, lane by lane; w[0] belongs to the first tap --------

// Taps of one pixel's weights as stored for the whole-pixel path: rounded up
// to a multiple of four, so that they can be formed four at a time.
constexpr int padded_taps(int taps) {
  return (taps + 3) / 4 * 4;
}

// The 64-bit Windows convention passes a vector argument through memory, and
// there g++ also stored the bicubic weights twice: called out of line, the
// weights functions cost the Windows build 2-8 % of bicubic's speed and 4-9 %
// of Lanczos 8's (under Wine, sets of 8 runs in turn). Where vectors travel
// in registers g++'s own choice, a call, measured 4-5 % faster than forced
// inlining for bicubic and the same for Lanczos, so it is left to the compiler.
#if defined(_WIN32)
#define ORTAVEL_INLINE_FOR_VECTOR_ARGS [[gnu::always_inline]]
#else
#define ORTAVEL_INLINE_FOR_VECTOR_ARGS
#endif

// Weight functions without a table, for the whole-pixel path: the lane
// weights stored tap by tap, out[n][j] for tap n of lane j.
template <class Method>
struct LaneWeights {
  static constexpr bool kPixelMajor = false;
  struct Table {
    void build() {}
  };
  template <class V, int K>
  ORTAVEL_INLINE_FOR_VECTOR_ARGS static void pixel_weights(const Table & /*unused*/,
                                                           typename V::D f, double (*out)[K]) {
    static_assert(K == V::kLanes, "one row of lanes per tap");
    typename V::D w[Method::kTaps];
    Method::template weights<V>(f, w);
    for (int n = 0; n < Method::kTaps; ++n) V::store(out[n], w[n]);
  }
};

struct VBilinear : LaneWeights<VBilinear> {
  static constexpr int kTaps = 2;
  template <class V>
  static void weights(typename V::D f, typename V::D *w) {
    w[0] = V::sub(V::set1(1.0), f);
    w[1] = f;
  }
};

// Cubic convolution with a = -0.75.
struct VBicubic : LaneWeights<VBicubic> {
  static constexpr int kTaps = 4;
  template <class V>
  static typename V::D inner(typename V::D t) {  // (1.25 t - 2.25) t t + 1
    return V::add(V::mul(V::mul(V::sub(V::mul(V::set1(1.25), t), V::set1(2.25)), t), t),
                  V::set1(1.0));
  }
  template <class V>
  static typename V::D outer(typename V::D t) {  // ((-0.75 t + 3.75) t - 6) t + 3
    return V::add(
        V::mul(V::sub(V::mul(V::add(V::mul(V::set1(-0.75), t), V::set1(3.75)), t), V::set1(6.0)),
               t),
        V::set1(3.0));
  }
  // Kept inline: called out of line (as g++ chose) the weights went through
  // memory twice and bicubic ran 4-7 % slower.
  template <class V>
  [[gnu::always_inline]] static void weights(typename V::D f, typename V::D *w) {
    w[0] = outer<V>(V::add(V::set1(1.0), f));
    w[1] = inner<V>(f);
    w[2] = inner<V>(V::sub(V::set1(1.0), f));
    w[3] = outer<V>(V::sub(V::set1(2.0), f));
  }
};

// Lanczos of half-width A from its table, interpolated between entries.
template <int A>
struct VLanczos {
  static constexpr int kTaps = 2 * A;
  static const double *table() { return lanczos_table_for<A>(); }
  template <class V>
  static void weights(typename V::D f, typename V::D *w) {
    const double *tab = table();
    const typename V::D t =
        V::mul(V::sub(V::set1(static_cast<double>(-(A - 1))), f), V::set1(128.0));
    const typename V::D ft = V::floor(t);
    typename V::I p = V::to_i32(ft);
    const typename V::D r = V::sub(t, ft);
    const typename V::D one_r = V::sub(V::set1(1.0), r);
    const typename V::I one = V::iset1(1);
    const typename V::I step = V::iset1(128);
    for (int n = 0; n < kTaps; ++n) {
      const typename V::D near = V::gather_table(tab, V::iabs(p));
      const typename V::D far = V::gather_table(tab, V::iabs(V::iadd(p, one)));
      w[n] = V::add(V::mul(one_r, near), V::mul(r, far));
      p = V::iadd(p, step);
    }
  }

  // The table laid out by fractional step: row q (0 .. 129) holds
  // tab[|q - 128 A + 128 n|] for tap n, so that the entries a pixel's taps
  // read (rows q and q + 1, with q = p + 128 A) sit side by side. Built once
  // per kernel call.
  static constexpr int kPadded = padded_taps(kTaps);
  struct Table {
    alignas(32) double row[130][kPadded];
    void build() {
      const double *tab = table();
      for (int q = 0; q < 130; ++q) {
        for (int n = 0; n < kPadded; ++n) {
          const int i = q - 128 * A + 128 * n;
          row[q][n] = n < kTaps ? tab[i < 0 ? -i : i] : 0.0;
        }
      }
    }
  };

  // The same weights as weights() above, stored pixel by pixel (w[j][n] for
  // tap n of lane j): each pixel's taps are formed four at a time from two
  // rows of the table, one multiply, one multiply and one add per tap as
  // there, with no gathers.
  static constexpr bool kPixelMajor = true;
  template <class V, int NP>
  ORTAVEL_INLINE_FOR_VECTOR_ARGS static void pixel_weights(const Table &tb, typename V::D f,
                                                           double (*w)[NP]) {
    static_assert(NP == kPadded, "weights are stored with the table's padding");
    const typename V::D t =
        V::mul(V::sub(V::set1(static_cast<double>(-(A - 1))), f), V::set1(128.0));
    const typename V::D ft = V::floor(t);
    alignas(64) int32_t p[V::kLanes];
    alignas(64) double r[V::kLanes];
    alignas(64) double one_r[V::kLanes];
    V::istore(p, V::to_i32(ft));
    const typename V::D rr = V::sub(t, ft);
    V::store(r, rr);
    V::store(one_r, V::sub(V::set1(1.0), rr));
    for (int j = 0; j < V::kLanes; ++j) {
      // For 0 <= f < 1, q is within 0 .. 128; the bounds only keep the reads
      // inside the table should a lane hold anything else.
      int q = p[j] + 128 * A;
      q = q < 0 ? 0 : (q > 128 ? 128 : q);
      const __m256d a = _mm256_set1_pd(one_r[j]);
      const __m256d b = _mm256_set1_pd(r[j]);
      for (int n = 0; n < kPadded; n += 4) {
        const __m256d near = _mm256_load_pd(&tb.row[q][n]);
        const __m256d far = _mm256_load_pd(&tb.row[q + 1][n]);
        _mm256_storeu_pd(&w[j][n], _mm256_add_pd(_mm256_mul_pd(a, near), _mm256_mul_pd(b, far)));
      }
    }
  }
};

// ---- the filter ------------------------------------------------------------

// What a block's pixels are read from, fixed for one kernel call.
struct SourceView {
  const uint8_t *data;
  int32_t width;
  int32_t height;
  int32_t row_stride;
  int32_t pixel_stride;
  int32_t span;  // bytes from data to the end of the block's last sample
  double x_limit;
  double y_limit;
  double max_value;
};

constexpr int box_doubles_per_pixel(bool whole_pixels, int channels) {
  return whole_pixels ? 4 : channels;
}

template <typename T>
inline void put_sample(uint8_t *p, int32_t v) {
  const T s = static_cast<T>(static_cast<uint32_t>(v));
  std::memcpy(p, &s, sizeof s);
}

template <class V, class Method, typename T, int C>
struct VectorFilter {
  using D = typename V::D;
  using I = typename V::I;
  static constexpr int N = Method::kTaps;
  static constexpr int L = V::kLanes;
  static constexpr int kPixelBytes = C * static_cast<int>(sizeof(T));
  static constexpr int kWords = (kPixelBytes + 3) / 4;
  // Pixels of 3 or 4 channels are filtered one register per pixel, and read
  // four samples at a time; others one lane per pixel, a word at a time.
  static constexpr bool kWholePixels = C >= 3;
  static constexpr int kReach = kWholePixels ? 4 * static_cast<int>(sizeof(T)) : 4 * kWords;
  // With the lens model, the output is walked in tiles over converted
  // samples, except for bilinear pixels of 2 channels: gathering their taps a
  // word at a time measured 1.07-1.18 times as fast as planes, where for one
  // channel planes were 1.17-1.35 times as fast as gathering.
  static constexpr bool kTiles = kWholePixels || N >= 4 || C == 1;

  // Zeros for `count` output pixels from out on (pixels outside the block).
  static void clear_pixels(uint8_t *out, int count, int32_t out_stride) {
    for (int j = 0; j < count; ++j) std::memset(out + j * out_stride, 0, kPixelBytes);
  }

  // The lanes whose position lies in the block: -0.5 .. width - 0.5 across,
  // -0.5 .. height - 0.5 down (ordered compares: NaN is outside).
  static auto inside_block(const SourceView &s, D x, D y) {
    return V::both(V::both(V::ge(x, V::set1(-0.5)), V::ge(y, V::set1(-0.5))),
                   V::both(V::le(x, V::set1(s.x_limit)), V::le(y, V::set1(s.y_limit))));
  }

  // Lanes [0, valid) of one group: sx, sy source positions, out the first
  // lane's output pixel. (Pixels of 1 or 2 channels.)
  static void group(const SourceView &s, const double *sx, const double *sy, int valid,
                    uint8_t *out, int32_t out_stride) {
    D x = V::load(sx);
    D y = V::load(sy);
    const auto inside = inside_block(s, x, y);
    const unsigned in_bits = V::bits(inside) & ((1u << valid) - 1u);
    if (in_bits == 0) {
      clear_pixels(out, valid, out_stride);
      return;
    }
    // Lanes outside read pixel (0, 0) harmlessly and are not stored.
    x = V::blend(inside, x, V::set1(0.0));
    y = V::blend(inside, y, V::set1(0.0));
    const D flx = V::floor(x);
    const D fly = V::floor(y);
    D wx[N];
    D wy[N];
    Method::template weights<V>(V::sub(x, flx), wx);
    Method::template weights<V>(V::sub(y, fly), wy);

    const I x0 = V::isub(V::to_i32(flx), V::iset1(N / 2 - 1));
    const I y0 = V::isub(V::to_i32(fly), V::iset1(N / 2 - 1));
    const I zero = V::iset1(0);
    const I last_col = V::iset1(s.width - 1);
    const I last_row = V::iset1(s.height - 1);
    I col[N];
    I row[N];
    for (int n = 0; n < N; ++n) {
      const I n_i = V::iset1(n);
      col[n] =
          V::imul(V::imin(V::imax(V::iadd(x0, n_i), zero), last_col), V::iset1(s.pixel_stride));
      row[n] = V::imul(V::imin(V::imax(V::iadd(y0, n_i), zero), last_row), V::iset1(s.row_stride));
    }
    // Taps whose reads could reach past the block's end take the slow read.
    const I read_limit = V::iset1(s.span - kReach);
    if (V::igt_bits(V::iadd(row[N - 1], col[N - 1]), read_limit) != 0) {
      accumulate<true>(s, row, col, wx, wy, in_bits, valid, out, out_stride);
    } else {
      accumulate<false>(s, row, col, wx, wy, in_bits, valid, out, out_stride);
    }
  }

  // ---- pixels of 3 or 4 channels -------------------------------------------
  //
  // The inside test, the weights and the tap offsets are formed for a group of
  // lanes; then each pixel is filtered on its own with its channels side by
  // side in one register of four doubles (a fourth channel of a 3-channel
  // pixel is computed and dropped).

  static constexpr int NP = padded_taps(N);
  using Table = typename Method::Table;

  // One group's taps: the weights of pixel j's tap n, stored pixel by pixel
  // or tap by tap as the method forms them, and the offsets of its tap
  // columns and rows in whatever it reads from.
  static constexpr bool kPixelMajor = Method::kPixelMajor;
  static constexpr int kWeightRows = kPixelMajor ? L : N;
  static constexpr int kWeightColumns = kPixelMajor ? NP : L;
  struct Taps {
    alignas(64) double wx[kWeightRows][kWeightColumns];
    alignas(64) double wy[kWeightRows][kWeightColumns];
    alignas(64) int32_t row[N][L];
    alignas(64) int32_t col[N][L];
    alignas(64) int32_t origin[L];  // each lane's first tap, not clamped (edged reads only)
    unsigned in_bits;
    bool near_end;  // some read may reach past `limit` (see prepare)

    static double weight(const double (*w)[kWeightColumns], int j, int n) {
      if constexpr (kPixelMajor) {
        return w[j][n];
      } else {
        return w[n][j];
      }
    }
  };

  // Where the offsets point: the tap at column c, row r (clamped to the block,
  // or as it is where what is read repeats the edge pixels beyond the block)
  // is at (c - first_column) * column_step + (r - first_row) * row_step.
  struct Offsets {
    int32_t first_column;
    int32_t column_step;
    int32_t first_row;
    int32_t row_step;
    int32_t limit;  // the greatest offset whose read stays inside
  };

  // Lanes [0, valid) at sx, sy. Returns false when no lane is inside.
  // kEdged: what is read repeats the block's edge pixels beyond it (an edged
  // box or planes, see fill_box and fill_planes), so only each lane's first
  // tap is stored (t.origin).
  template <bool kEdged>
  static bool prepare(const SourceView &s, const Table &table, const Offsets &at, const double *sx,
                      const double *sy, int valid, Taps &t) {
    D x = V::load(sx);
    D y = V::load(sy);
    const auto inside = inside_block(s, x, y);
    t.in_bits = V::bits(inside) & ((1u << valid) - 1u);
    if (t.in_bits == 0) return false;
    // Lanes outside get position (0, 0): their taps are never read (their
    // offsets may point outside a tile's box) and they are stored as zeros.
    x = V::blend(inside, x, V::set1(0.0));
    y = V::blend(inside, y, V::set1(0.0));
    const D flx = V::floor(x);
    const D fly = V::floor(y);
    Method::template pixel_weights<V, kWeightColumns>(table, V::sub(x, flx), t.wx);
    Method::template pixel_weights<V, kWeightColumns>(table, V::sub(y, fly), t.wy);

    const I x0 = V::isub(V::to_i32(flx), V::iset1(N / 2 - 1));
    const I y0 = V::isub(V::to_i32(fly), V::iset1(N / 2 - 1));
    if constexpr (kEdged) {
      V::istore(t.origin,
                V::iadd(V::imul(V::isub(x0, V::iset1(at.first_column)), V::iset1(at.column_step)),
                        V::imul(V::isub(y0, V::iset1(at.first_row)), V::iset1(at.row_step))));
      t.near_end = false;
      return true;
    }
    const I zero = V::iset1(0);
    const I last_col = V::iset1(s.width - 1);
    const I last_row = V::iset1(s.height - 1);
    const I first_col = V::iset1(at.first_column);
    const I first_row = V::iset1(at.first_row);
    I far_col = zero;
    I far_row = zero;
    for (int n = 0; n < N; ++n) {
      const I n_i = V::iset1(n);
      far_col = V::imul(V::isub(V::imin(V::imax(V::iadd(x0, n_i), zero), last_col), first_col),
                        V::iset1(at.column_step));
      V::istore(t.col[n], far_col);
      far_row = V::imul(V::isub(V::imin(V::imax(V::iadd(y0, n_i), zero), last_row), first_row),
                        V::iset1(at.row_step));
      V::istore(t.row[n], far_row);
    }
    t.near_end = V::igt_bits(V::iadd(far_row, far_col), V::iset1(at.limit)) != 0;
    return true;
  }

  // Reads straight from the source block, four samples at a time.
  template <bool kEdge>
  struct BlockReader {
    static constexpr bool kEdged = false;
    const uint8_t *data;
    const uint8_t *row(int32_t offset) const { return data + offset; }
    static __m256d four(const uint8_t *p, int32_t offset) { return load_four<kEdge>(p + offset); }
  };

  // Reads from an edged box of converted samples (fill_box): a pixel's taps
  // are 4 doubles apart along a row and row_step doubles apart down.
  struct BoxReader {
    static constexpr bool kEdged = true;
    const double *data;
    int32_t row_step;
    const double *row(int32_t offset) const { return data + offset; }
    static __m256d four(const double *p, int32_t offset) { return _mm256_loadu_pd(p + offset); }
  };

  // Where pixel j's tap column n starts within a tap row.
  template <class Reader>
  static int32_t column(const Taps &t, int j, int n) {
    if constexpr (Reader::kEdged) {
      return 4 * n;
    } else {
      return t.col[n][j];
    }
  }

  // Tap rows summed side by side at once: all of them up to 8; of 12, three
  // groups of 4, whose sums are weighted and added in row order after each
  // group. With all 12 at once g++ kept one pointer per row in registers and
  // each tap's weight on the stack, reloaded for every row: Lanczos 12 ran
  // slower with AVX-512 than with AVX2. (Lanczos 8 in two groups measured
  // the same as now.)
  static constexpr int kRowsAtOnce = N > 8 ? 4 : N;

  // The sum of pixel j (inside): each tap row summed left to right, weighted
  // by its row weight and added to the pixel's sum. The tap rows advance side
  // by side, so that their additions do not wait on one another; each is
  // still summed in its own order. (Two pixels interleaved measured no
  // faster: the pixels' chains already overlap.)
  template <class Reader>
  static __m256d sum_pixel(const Reader &read, const Taps &t, int j) {
    static_assert(N % kRowsAtOnce == 0, "whole groups of tap rows");
    __m256d sum = _mm256_setzero_pd();
    for (int m0 = 0; m0 < N; m0 += kRowsAtOnce) {
      decltype(read.row(0)) tap_row[kRowsAtOnce];
      for (int i = 0; i < kRowsAtOnce; ++i) {
        if constexpr (Reader::kEdged) {
          tap_row[i] = read.row(t.origin[j] + (m0 + i) * read.row_step);
        } else {
          tap_row[i] = read.row(t.row[m0 + i][j]);
        }
      }
      // Each sum starts from its first product rather than from zero plus
      // it: the two differ at most in the sign of a zero, which no later sum
      // or product turns into a magnitude and which the clamp turns into 0
      // alike. (Bilinear spends a quarter of its arithmetic on those
      // additions.)
      __m256d rowsum[kRowsAtOnce];
      {
        const __m256d w = _mm256_set1_pd(Taps::weight(t.wx, j, 0));
        const int32_t at = column<Reader>(t, j, 0);
        for (int i = 0; i < kRowsAtOnce; ++i) {
          rowsum[i] = _mm256_mul_pd(Reader::four(tap_row[i], at), w);
        }
      }
      for (int n = 1; n < N; ++n) {
        const __m256d w = _mm256_set1_pd(Taps::weight(t.wx, j, n));
        const int32_t at = column<Reader>(t, j, n);
        for (int i = 0; i < kRowsAtOnce; ++i) {
          rowsum[i] = _mm256_add_pd(rowsum[i], _mm256_mul_pd(Reader::four(tap_row[i], at), w));
        }
      }
      for (int i = 0; i < kRowsAtOnce; ++i) {
        const __m256d product =
            _mm256_mul_pd(rowsum[i], _mm256_set1_pd(Taps::weight(t.wy, j, m0 + i)));
        sum = m0 + i == 0 ? product : _mm256_add_pd(sum, product);
      }
    }
    return sum;
  }

  // Reads from edged planes of converted samples (pixels of 1 or 2 channels,
  // see fill_planes): a pixel's tap rows are consecutive doubles, its tap
  // columns column_step doubles apart.
  struct PlaneReader {
    static constexpr bool kEdged = true;
    const double *data;
    ptrdiff_t plane;  // doubles from one channel's plane to the next
    int32_t column_step;
  };

  // Registers of four tap rows that hold all N of a pixel's row sums
  // (bilinear's two rows take one register of two doubles instead).
  static constexpr int kRowGroups = (N + 3) / 4;
  // Tap rows a plane is read beyond the N (their sums are formed and
  // dropped).
  static constexpr int kExtraRows = kWholePixels || N == 2 ? 0 : 4 * kRowGroups - N;

  // Pixel j's tap rows start at `first` in one plane, `step` doubles from one
  // tap column to the next.
  static __m128d row_sums2(const double *first, int32_t step, const Taps &t, int j) {
    const __m128d left = _mm_mul_pd(_mm_loadu_pd(first), _mm_set1_pd(Taps::weight(t.wx, j, 0)));
    return _mm_add_pd(
        left, _mm_mul_pd(_mm_loadu_pd(first + step), _mm_set1_pd(Taps::weight(t.wx, j, 1))));
  }

  // The sum of one channel of pixel j (inside), from its plane: at every tap
  // column the pixel's tap rows are consecutive, so the N row sums advance
  // side by side, one per lane, each summed left to right from its first
  // product; then weighted by their row weights and added in row order.
  static void row_sums(const double *first, int32_t step, const Taps &t, int j, __m256d *rowsum) {
    {
      const __m256d w = _mm256_set1_pd(Taps::weight(t.wx, j, 0));
      for (int g = 0; g < kRowGroups; ++g) {
        rowsum[g] = _mm256_mul_pd(_mm256_loadu_pd(first + 4 * g), w);
      }
    }
    for (int n = 1; n < N; ++n) {
      const __m256d w = _mm256_set1_pd(Taps::weight(t.wx, j, n));
      const double *p = first + static_cast<ptrdiff_t>(n) * step;
      for (int g = 0; g < kRowGroups; ++g) {
        rowsum[g] = _mm256_add_pd(rowsum[g], _mm256_mul_pd(_mm256_loadu_pd(p + 4 * g), w));
      }
    }
  }
  static double plane_sum(const double *first, int32_t step, const Taps &t, int j) {
    if constexpr (N == 2) {
      const __m128d rowsum = row_sums2(first, step, t, j);
      const double top = _mm_cvtsd_f64(rowsum) * Taps::weight(t.wy, j, 0);
      return top + _mm_cvtsd_f64(_mm_unpackhi_pd(rowsum, rowsum)) * Taps::weight(t.wy, j, 1);
    }
    __m256d rowsum[kRowGroups];
    row_sums(first, step, t, j, rowsum);
    alignas(32) double row_sum[4 * kRowGroups];
    for (int g = 0; g < kRowGroups; ++g) _mm256_store_pd(row_sum + 4 * g, rowsum[g]);
    double sum = row_sum[0] * Taps::weight(t.wy, j, 0);
    for (int m = 1; m < N; ++m) sum = sum + row_sum[m] * Taps::weight(t.wy, j, m);
    return sum;
  }

  // The same for the four pixels j .. j + 3 (all inside), pixel j + q in lane
  // q: their row sums are turned so that each register holds one tap row of
  // the four pixels, which are then weighted and added in row order.
  static __m256d plane_sums4(const double *plane, int32_t step, const Taps &t, int j) {
    if constexpr (N == 2) {
      __m128d r[4];
      for (int q = 0; q < 4; ++q) r[q] = row_sums2(plane + t.origin[j + q], step, t, j + q);
      const __m256d top =
          _mm256_set_m128d(_mm_unpacklo_pd(r[2], r[3]), _mm_unpacklo_pd(r[0], r[1]));
      const __m256d bottom =
          _mm256_set_m128d(_mm_unpackhi_pd(r[2], r[3]), _mm_unpackhi_pd(r[0], r[1]));
      const __m256d first = _mm256_mul_pd(top, _mm256_loadu_pd(&t.wy[0][j]));
      return _mm256_add_pd(first, _mm256_mul_pd(bottom, _mm256_loadu_pd(&t.wy[1][j])));
    }
    __m256d rowsum[4][kRowGroups];
    for (int q = 0; q < 4; ++q) row_sums(plane + t.origin[j + q], step, t, j + q, rowsum[q]);
    static_assert(!kPixelMajor, "the row weights of four pixels are read side by side");
    __m256d sum = _mm256_setzero_pd();
    for (int g = 0; g < kRowGroups; ++g) {
      const __m256d lo01 = _mm256_unpacklo_pd(rowsum[0][g], rowsum[1][g]);
      const __m256d hi01 = _mm256_unpackhi_pd(rowsum[0][g], rowsum[1][g]);
      const __m256d lo23 = _mm256_unpacklo_pd(rowsum[2][g], rowsum[3][g]);
      const __m256d hi23 = _mm256_unpackhi_pd(rowsum[2][g], rowsum[3][g]);
      const __m256d row[4] = {
          _mm256_permute2f128_pd(lo01, lo23, 0x20), _mm256_permute2f128_pd(hi01, hi23, 0x20),
          _mm256_permute2f128_pd(lo01, lo23, 0x31), _mm256_permute2f128_pd(hi01, hi23, 0x31)};
      for (int i = 0; i < 4 && 4 * g + i < N; ++i) {
        const int m = 4 * g + i;
        const __m256d product = _mm256_mul_pd(row[i], _mm256_loadu_pd(&t.wy[m][j]));
        sum = m == 0 ? product : _mm256_add_pd(sum, product);
      }
    }
    return sum;
  }

  // As put_pixel, for one sample of four pixels, `step` bytes apart.
  static void put_values4(__m256d sum, double max, uint8_t *p, int32_t step) {
    alignas(16) int32_t result[4];
    round_four(sum, _mm256_set1_pd(max), result);
    for (int q = 0; q < 4; ++q) put_sample<T>(p + q * step, result[q]);
  }

  // Pixels [0, valid) of a group from planes. With weights stored tap by tap,
  // four at a time where all four are inside: bicubic ran 1.07-1.2 times as
  // fast (three sets of runs). Lanczos, whose weights are stored pixel by
  // pixel, measured 1-5 % slower so, whether its row weights were picked
  // singly or turned into place like the sums.
  static void filter_pixels(const PlaneReader &read, const Taps &t, double max, int valid,
                            uint8_t *out, int32_t out_stride) {
    int j = 0;
    if constexpr (!kPixelMajor) {
      for (; j + 4 <= valid; j += 4) {
        if ((t.in_bits >> j & 0xFu) != 0xFu) {
          for (int q = j; q < j + 4; ++q) plane_pixel(read, t, q, max, out + q * out_stride);
          continue;
        }
        for (int k = 0; k < C; ++k) {
          put_values4(plane_sums4(read.data + k * read.plane, read.column_step, t, j), max,
                      out + j * out_stride + k * sizeof(T), out_stride);
        }
      }
    }
    for (; j < valid; ++j) plane_pixel(read, t, j, max, out + j * out_stride);
  }

  static void plane_pixel(const PlaneReader &read, const Taps &t, int j, double max, uint8_t *px) {
    if ((t.in_bits >> j & 1u) == 0) {
      std::memset(px, 0, kPixelBytes);
      return;
    }
    const double *first = read.data + t.origin[j];
    for (int k = 0; k < C; ++k) {
      put_value(plane_sum(first + k * read.plane, read.column_step, t, j), max, px + k * sizeof(T));
    }
  }

  // As put_pixel, for one sample.
  static void put_value(double sum, double max, uint8_t *p) {
    double v = sum > 0.0 ? sum : 0.0;
    v = v < max ? v : max;
    put_sample<T>(p, _mm_cvttsd_si32(_mm_set_sd(v + 0.5)));
  }

  // Four sums as stored samples: (sum > 0 ? sum : 0), then (< max ? that :
  // max) (NaN becomes 0), plus one half, truncated.
  ORTAVEL_INLINE_FOR_VECTOR_ARGS static void round_four(__m256d sum, __m256d max_value,
                                                        int32_t *result) {
    const __m256d v = _mm256_min_pd(_mm256_max_pd(sum, _mm256_setzero_pd()), max_value);
    _mm_store_si128(reinterpret_cast<__m128i *>(result),
                    _mm256_cvttpd_epi32(_mm256_add_pd(v, _mm256_set1_pd(0.5))));
  }

  // The pixel's C samples from its sums (round_four), stored at px.
  static void put_pixel(__m256d sum, __m256d max_value, uint8_t *px) {
    alignas(16) int32_t result[4];
    round_four(sum, max_value, result);
    for (int k = 0; k < C; ++k) put_sample<T>(px + k * sizeof(T), result[k]);
  }

  // The group's pixels: zeros outside, the filtered value inside.
  template <class Reader>
  static void filter_pixels(const Reader &read, const Taps &t, double max, int valid, uint8_t *out,
                            int32_t out_stride) {
    const __m256d max_value = _mm256_set1_pd(max);
    for (int j = 0; j < valid; ++j) {
      uint8_t *px = out + j * out_stride;
      if ((t.in_bits >> j & 1u) == 0) {
        std::memset(px, 0, kPixelBytes);
        continue;
      }
      put_pixel(sum_pixel(read, t, j), max_value, px);
    }
  }

  // One group read straight from the block.
  static void pixel_group(const SourceView &s, const Table &table, const double *sx,
                          const double *sy, int valid, uint8_t *out, int32_t out_stride) {
    const Offsets at{0, s.pixel_stride, 0, s.row_stride, s.span - kReach};
    Taps t;
    if (!prepare<false>(s, table, at, sx, sy, valid, t)) {
      clear_pixels(out, valid, out_stride);
      return;
    }
    if (t.near_end) {
      filter_pixels(BlockReader<true>{s.data}, t, s.max_value, valid, out, out_stride);
    } else {
      filter_pixels(BlockReader<false>{s.data}, t, s.max_value, valid, out, out_stride);
    }
  }

  // Output tiles for the lens model: kTileRows rows of kTileColumns pixels,
  // whose footprint in the source is at most kBoxPixels pixels at ordinary
  // zoom. The box takes 64 KiB at most.
  static constexpr int kTileRows = 8;
  static constexpr int kTileColumns = N <= 4 ? 64 : 32;
  static constexpr int kBoxPixels = 2048;
  // Four for whole pixels (fill_box), one a channel for planes (fill_planes).
  static constexpr int kBoxDoublesPerPixel = box_doubles_per_pixel(kWholePixels, C);

  // One tile: positions sx[r][i], sy[r][i] for rows r < rows and columns
  // i < count (NaN-padded to whole groups); out the tile's first pixel.
  static void tile(const SourceView &s, const Table &table, const double (*sx)[kTileColumns],
                   const double (*sy)[kTileColumns], int rows, int count, uint8_t *out,
                   int32_t out_row_stride, int32_t out_stride, double *box) {
    // The footprint: the smallest and greatest positions of pixels inside.
    D low_x = V::set1(HUGE_VAL);
    D low_y = V::set1(HUGE_VAL);
    D high_x = V::set1(-HUGE_VAL);
    D high_y = V::set1(-HUGE_VAL);
    for (int r = 0; r < rows; ++r) {
      for (int i = 0; i < count; i += L) {
        const D x = V::load(sx[r] + i);
        const D y = V::load(sy[r] + i);
        const auto inside = inside_block(s, x, y);
        low_x = V::min(V::blend(inside, x, V::set1(HUGE_VAL)), low_x);
        low_y = V::min(V::blend(inside, y, V::set1(HUGE_VAL)), low_y);
        high_x = V::max(V::blend(inside, x, V::set1(-HUGE_VAL)), high_x);
        high_y = V::max(V::blend(inside, y, V::set1(-HUGE_VAL)), high_y);
      }
    }
    alignas(64) double lanes[4][L];
    V::store(lanes[0], low_x);
    V::store(lanes[1], low_y);
    V::store(lanes[2], high_x);
    V::store(lanes[3], high_y);
    double lx = HUGE_VAL;
    double ly = HUGE_VAL;
    double hx = -HUGE_VAL;
    double hy = -HUGE_VAL;
    for (int j = 0; j < L; ++j) {
      lx = lanes[0][j] < lx ? lanes[0][j] : lx;
      ly = lanes[1][j] < ly ? lanes[1][j] : ly;
      hx = lanes[2][j] > hx ? lanes[2][j] : hx;
      hy = lanes[3][j] > hy ? lanes[3][j] : hy;
    }
    if (!(lx <= hx)) {  // no pixel of the tile is inside
      for (int r = 0; r < rows; ++r) {
        clear_pixels(out + static_cast<ptrdiff_t>(r) * out_row_stride, count, out_stride);
      }
      return;
    }
    // Inside pixels lie within -0.5 .. width - 0.5 (and so for rows): their
    // taps span this box, which repeats the block's edge pixels where it
    // reaches beyond the block. Planes reach kExtraRows further down for the
    // last group of tap rows.
    const int32_t c0 = static_cast<int32_t>(std::floor(lx)) - (N / 2 - 1);
    const int32_t c1 = static_cast<int32_t>(std::floor(hx)) + N / 2;
    const int32_t r0 = static_cast<int32_t>(std::floor(ly)) - (N / 2 - 1);
    const int32_t r1 = static_cast<int32_t>(std::floor(hy)) + N / 2 + kExtraRows;
    const BoxExtent e{c0, r0, c1 - c0 + 1, r1 - r0 + 1};
    if (int64_t{e.width} * e.height * kBoxDoublesPerPixel > kBoxPixels * 4) {
      // A footprint too large for the box (a strong zoom out): read directly.
      for (int r = 0; r < rows; ++r) {
        uint8_t *o = out + static_cast<ptrdiff_t>(r) * out_row_stride;
        for (int i = 0; i < count; i += L) {
          const int valid = count - i < L ? count - i : L;
          uint8_t *g = o + static_cast<ptrdiff_t>(i) * out_stride;
          if constexpr (kWholePixels) {
            pixel_group(s, table, sx[r] + i, sy[r] + i, valid, g, out_stride);
          } else {
            group(s, sx[r] + i, sy[r] + i, valid, g, out_stride);
          }
        }
      }
      return;
    }
    if constexpr (kWholePixels) {
      fill_box<T, C>(s.data, s.row_stride, s.pixel_stride, s.width, s.height, e, box);
      filter_tile(s, table, Offsets{c0, 4, r0, e.width * 4, INT32_MAX}, BoxReader{box, e.width * 4},
                  sx, sy, rows, count, out, out_row_stride, out_stride);
    } else {
      fill_planes<T, C>(s.data, s.row_stride, s.pixel_stride, s.width, s.height, e, box);
      const PlaneReader reader{box, static_cast<ptrdiff_t>(e.width) * e.height, e.height};
      filter_tile(s, table, Offsets{c0, e.height, r0, 1, INT32_MAX}, reader, sx, sy, rows, count,
                  out, out_row_stride, out_stride);
    }
  }

  // The tile's groups, read through `reader` at the offsets `at` describes.
  // Forced inline: out of line, whole pixels ran 2-5 % slower. (Grey
  // bicubic would rather have the compiler's own choice, 1.15 times as fast
  // as this, but grey bilinear and Lanczos 8 lose 2-10 % with it.)
  template <class Reader>
  [[gnu::always_inline]] static void filter_tile(const SourceView &s, const Table &table,
                                                 const Offsets &at, const Reader &reader,
                                                 const double (*sx)[kTileColumns],
                                                 const double (*sy)[kTileColumns], int rows,
                                                 int count, uint8_t *out, int32_t out_row_stride,
                                                 int32_t out_stride) {
    // Each group's taps are prepared one group ahead of its filtering. The
    // filter reads a pixel's weights and offsets singly from what prepare
    // stored a whole vector at a time; read right after those stores, each
    // read waited for them (bilinear ran 1.2 times as fast, bicubic 1.06
    // times, once the reads came a group later). Lanczos, whose many taps a
    // pixel hide the wait, prepares each group just before it: ahead, it
    // measured 2 % slower.
    constexpr bool kAhead = !kPixelMajor;
    Taps t[2];
    bool inside[2];
    int next_r = 0;
    int next_i = 0;
    const auto prepare_next = [&](Taps &into) {
      const int valid = count - next_i < L ? count - next_i : L;
      const bool any = prepare<Reader::kEdged>(s, table, at, sx[next_r] + next_i,
                                               sy[next_r] + next_i, valid, into);
      next_i += L;
      if (next_i >= count) {
        next_i = 0;
        ++next_r;
      }
      return any;
    };
    if (kAhead) inside[0] = prepare_next(t[0]);
    int k = 0;  // the buffer of the group being filtered
    for (int r = 0; r < rows; ++r) {
      uint8_t *o = out + static_cast<ptrdiff_t>(r) * out_row_stride;
      for (int i = 0; i < count; i += L) {
        if (!kAhead) {
          inside[k] = prepare_next(t[k]);
        } else if (next_r < rows) {
          inside[k ^ 1] = prepare_next(t[k ^ 1]);
        }
        const int valid = count - i < L ? count - i : L;
        uint8_t *g = o + static_cast<ptrdiff_t>(i) * out_stride;
        if (inside[k]) {
          filter_pixels(reader, t[k], s.max_value, valid, g, out_stride);
        } else {
          clear_pixels(g, valid, out_stride);
        }
        if (kAhead) k ^= 1;
      }
    }
  }

  // The block tile by tile, with the lens model's row evaluator.
  static void run_tiles(const SourceView &s, const Table &table, const interp_source *src,
                        const interp_target *dst, const lensdistort_model &model) {
    const ortavel_lens::LensRows<V> lens(model);
    alignas(64) double u[kTileColumns];
    alignas(64) double sx[kTileRows][kTileColumns];
    alignas(64) double sy[kTileRows][kTileColumns];
    alignas(64) double box[kBoxPixels * 4];
    // Column strips outermost, so that each strip's column terms are formed
    // once for all rows of the block.
    for (int c0 = 0; c0 < dst->width; c0 += kTileColumns) {
      const int count = dst->width - c0 < kTileColumns ? dst->width - c0 : kTileColumns;
      const int padded = (count + L - 1) / L * L;
      lens.columns(c0, dst->origin_x, padded, u);
      for (int r0 = 0; r0 < dst->height; r0 += kTileRows) {
        const int rows = dst->height - r0 < kTileRows ? dst->height - r0 : kTileRows;
        for (int r = 0; r < rows; ++r) {
          lens.map(u, lens.row(static_cast<double>(r0 + r) + dst->origin_y), padded, sx[r], sy[r]);
          relative_to_block(src, count, L, sx[r], sy[r]);
        }
        uint8_t *out = dst->data + static_cast<ptrdiff_t>(r0) * dst->row_stride +
                       static_cast<ptrdiff_t>(c0) * dst->pixel_stride;
        tile(s, table, sx, sy, rows, count, out, dst->row_stride, dst->pixel_stride, box);
      }
    }
  }

  // Four samples from p on, as doubles. kEdge: only the pixel's own C samples
  // are read (the block may end right after them).
  template <bool kEdge>
  static __m256d load_four(const uint8_t *p) {
    if constexpr (kEdge) {
      alignas(16) uint8_t copy[16] = {};
      std::memcpy(copy, p, kPixelBytes);
      return load_four<false>(copy);
    }
    // Small integers become doubles without a conversion instruction: placed
    // in the low mantissa bits of 2^52, they give 2^52 + v exactly, and
    // subtracting 2^52 leaves v exactly.
    const __m256i two52 = _mm256_set1_epi64x(0x4330000000000000LL);
    if constexpr (sizeof(T) == 1) {
      int32_t bits;
      std::memcpy(&bits, p, 4);
      const __m256i wide = _mm256_or_si256(_mm256_cvtepu8_epi64(_mm_cvtsi32_si128(bits)), two52);
      return _mm256_sub_pd(_mm256_castsi256_pd(wide), _mm256_castsi256_pd(two52));
    } else if constexpr (sizeof(T) == 2) {
      const __m128i bits = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
      const __m256i wide = _mm256_or_si256(_mm256_cvtepu16_epi64(bits), two52);
      return _mm256_sub_pd(_mm256_castsi256_pd(wide), _mm256_castsi256_pd(two52));
    } else {
      // Unsigned: flip the top bit, convert, and shift back exactly.
      const __m128i bits = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
      const __m128i flipped = _mm_xor_si128(bits, _mm_set1_epi32(INT32_MIN));
      return _mm256_add_pd(_mm256_cvtepi32_pd(flipped), _mm256_set1_pd(2147483648.0));
    }
  }

  template <bool kEdge>
  static void accumulate(const SourceView &s, const I *row, const I *col, const D *wx, const D *wy,
                         unsigned in_bits, int valid, uint8_t *out, int32_t out_stride) {
    // The tap rows advance side by side (each still summed left to right),
    // so that their additions do not wait on one another.
    // Sums start from their first product, as in sum_pixel.
    D rowsum[N][C];
    for (int n = 0; n < N; ++n) {
      for (int m = 0; m < N; ++m) {
        D value[C];
        load_pixel<kEdge>(s, V::iadd(row[m], col[n]), value);
        for (int k = 0; k < C; ++k) {
          const D product = V::mul(value[k], wx[n]);
          rowsum[m][k] = n == 0 ? product : V::add(rowsum[m][k], product);
        }
      }
    }
    D sum[C];
    for (int m = 0; m < N; ++m) {
      for (int k = 0; k < C; ++k) {
        const D product = V::mul(rowsum[m][k], wy[m]);
        sum[k] = m == 0 ? product : V::add(sum[k], product);
      }
    }

    alignas(64) int32_t result[C][L];
    const D max_value = V::set1(s.max_value);
    for (int k = 0; k < C; ++k) {
      // (sum > 0 ? sum : 0), then (< max ? that : max): NaN becomes 0.
      const D v = V::min(V::max(sum[k], V::set1(0.0)), max_value);
      V::istore(result[k], V::to_i32(V::add(v, V::set1(0.5))));
    }
    for (int j = 0; j < valid; ++j) {
      uint8_t *px = out + j * out_stride;
      if ((in_bits >> j & 1u) == 0) {
        std::memset(px, 0, kPixelBytes);
        continue;
      }
      for (int k = 0; k < C; ++k) put_sample<T>(px + k * sizeof(T), result[k][j]);
    }
  }

  // The C samples of the pixels at byte offsets `at`, as doubles. kEdge: some
  // words may reach past the block's end and are read from further back.
  template <bool kEdge>
  static void load_pixel(const SourceView &s, I at, D *value) {
    for (int word = 0; word < kWords; ++word) {
      I offset = V::iadd(at, V::iset1(4 * word));
      I extra_bits = V::iset1(0);
      if constexpr (kEdge) {
        const I back = V::imin(offset, V::iset1(s.span - 4));
        extra_bits = V::ishl3(V::isub(offset, back));
        offset = back;
      }
      const I bits = V::gather32(s.data, offset);
      split_word<kEdge>(bits, extra_bits, word, value, std::make_integer_sequence<int, C>());
    }
  }

  template <bool kEdge, int... kChannel>
  static void split_word(I bits, I extra_bits, int word, D *value,
                         std::integer_sequence<int, kChannel...>) {
    (split_channel<kEdge, kChannel>(bits, extra_bits, word, value), ...);
  }

  template <bool kEdge, int kChannel>
  static void split_channel(I bits, I extra_bits, int word, D *value) {
    constexpr int kByte = kChannel * static_cast<int>(sizeof(T));
    if (kByte / 4 != word) return;
    if constexpr (sizeof(T) == 4) {
      value[kChannel] = V::from_u32(bits);
    } else if constexpr (kEdge) {
      const I shift = V::iadd(extra_bits, V::iset1(8 * (kByte % 4)));
      const I mask = V::iset1(sizeof(T) == 1 ? 0xFF : 0xFFFF);
      value[kChannel] = V::from_i32(V::iand(V::ishr(bits, shift), mask));
    } else {
      value[kChannel] = V::from_i32(V::template extract<kByte % 4, sizeof(T)>(bits));
    }
  }

  static void run(const interp_source *src, const interp_target *dst, interp_transform_fn transform,
                  const void *model, int32_t span) {
    const SourceView s{src->data,
                       src->width,
                       src->height,
                       src->row_stride,
                       src->pixel_stride,
                       span,
                       static_cast<double>(src->width) - 0.5,
                       static_cast<double>(src->height) - 0.5,
                       static_cast<double>(dst->max_value)};
    const int32_t out_stride = dst->pixel_stride;
    if constexpr (kTiles) {
      if (transform == lensdistort_transform_point) {
        Table table;
        table.build();
        run_tiles(s, table, src, dst, *static_cast<const lensdistort_model *>(model));
        return;
      }
    }
    if constexpr (kWholePixels) {
      Table table;
      table.build();
      for_each_run<V>(src, dst, transform, model,
                      [&](int r, int c0, int count, const double *sx, const double *sy) {
                        uint8_t *out = dst->data + static_cast<ptrdiff_t>(r) * dst->row_stride +
                                       static_cast<ptrdiff_t>(c0) * out_stride;
                        for (int i = 0; i < count; i += L) {
                          pixel_group(s, table, sx + i, sy + i, count - i < L ? count - i : L,
                                      out + static_cast<ptrdiff_t>(i) * out_stride, out_stride);
                        }
                      });
    } else {
      for_each_run<V>(src, dst, transform, model,
                      [&](int r, int c0, int count, const double *sx, const double *sy) {
                        uint8_t *out = dst->data + static_cast<ptrdiff_t>(r) * dst->row_stride +
                                       static_cast<ptrdiff_t>(c0) * out_stride;
                        for (int i = 0; i < count; i += L) {
                          group(s, sx + i, sy + i, count - i < L ? count - i : L,
                                out + static_cast<ptrdiff_t>(i) * out_stride, out_stride);
                        }
                      });
    }
  }
};

// Bytes from the first sample of the block to the end of its last sample, or
// -1 when the block's layout is one the word reads cannot serve (they need at
// least one word and offsets that fit in 32 bits).
inline int64_t source_span(const interp_source *src, int sample_size) {
  if (src->width < 1 || src->height < 1 || src->row_stride <= 0 || src->pixel_stride <= 0) {
    return -1;
  }
  const int64_t span = int64_t{src->height - 1} * src->row_stride +
                       int64_t{src->width - 1} * src->pixel_stride +
                       int64_t{src->channels} * sample_size;
  return span >= 4 && span <= INT32_MAX - 64 ? span : -1;
}

// A kernel of the interp_kernel_fn contract for one method and sample type.
// Layouts the vector code does not take (other channel counts, tiny or huge
// blocks, negative strides) go to the baseline kernel, which gives the same
// bits.
template <class V, class Method, typename T, uint32_t kMethodId>
int32_t vector_kernel(const interp_source *src, const interp_target *dst,
                      interp_transform_fn transform, const void *model) {
  if (dst->channels != src->channels || dst->max_value != src->max_value) return 1;
  const int64_t span = source_span(src, sizeof(T));
  if (span > 0 && dst->width > 0 && dst->height > 0) {
    const auto s = static_cast<int32_t>(span);
    switch (dst->channels) {
      case 1:
        VectorFilter<V, Method, T, 1>::run(src, dst, transform, model, s);
        return 0;
      case 2:
        VectorFilter<V, Method, T, 2>::run(src, dst, transform, model, s);
        return 0;
      case 3:
        VectorFilter<V, Method, T, 3>::run(src, dst, transform, model, s);
        return 0;
      case 4:
        VectorFilter<V, Method, T, 4>::run(src, dst, transform, model, s);
        return 0;
      default:
        break;
    }
  }
  return interp_get_kernel_isa(kMethodId, sizeof(T), INTERP_ISA_BASELINE)(src, dst, transform,
                                                                          model);
}

// The 18 filtering kernels of one lane type, indexed by method * 3 + (0, 1, 2
// for 1-, 2- and 4-byte samples).
template <class V>
struct VectorKernels {
  static constexpr interp_kernel_fn kTable[18] = {
      vector_kernel<V, VBilinear, uint8_t, BILINEAR>,
      vector_kernel<V, VBilinear, uint16_t, BILINEAR>,
      vector_kernel<V, VBilinear, uint32_t, BILINEAR>,
      vector_kernel<V, VBicubic, uint8_t, BICUBIC>,
      vector_kernel<V, VBicubic, uint16_t, BICUBIC>,
      vector_kernel<V, VBicubic, uint32_t, BICUBIC>,
      vector_kernel<V, VLanczos<2>, uint8_t, LANCZOS4>,
      vector_kernel<V, VLanczos<2>, uint16_t, LANCZOS4>,
      vector_kernel<V, VLanczos<2>, uint32_t, LANCZOS4>,
      vector_kernel<V, VLanczos<3>, uint8_t, LANCZOS6>,
      vector_kernel<V, VLanczos<3>, uint16_t, LANCZOS6>,
      vector_kernel<V, VLanczos<3>, uint32_t, LANCZOS6>,
      vector_kernel<V, VLanczos<4>, uint8_t, LANCZOS8>,
      vector_kernel<V, VLanczos<4>, uint16_t, LANCZOS8>,
      vector_kernel<V, VLanczos<4>, uint32_t, LANCZOS8>,
      vector_kernel<V, VLanczos<6>, uint8_t, LANCZOS12>,
      vector_kernel<V, VLanczos<6>, uint16_t, LANCZOS12>,
      vector_kernel<V, VLanczos<6>, uint32_t, LANCZOS12>,
  };
};

}  // namespace ORTAVEL_ISA_NAMESPACE
}  // namespace ortavel_resample

#undef ORTAVEL_INLINE_FOR_VECTOR_ARGS

#endif
