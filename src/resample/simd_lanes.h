// Lane types: several doubles side by side, one pixel per lane, with the few
// operations the vector code needs, each an ordinary IEEE double operation per
// lane (no fused multiply-add; compares ordered unless named otherwise).
//
//   D     doubles, kLanes of them          I   32-bit integers, one per lane
//   M     a lane mask from a compare
//
// Which types exist depends on the unit's target flags: Lanes1 and LanesSse2
// for the baseline, LanesAvx2 with -mavx2, LanesAvx512 with AVX-512 F/VL/DQ/BW.
// Internal to the engines (C++ only).
#ifndef ORTAVEL_RESAMPLE_SIMD_LANES_H
#define ORTAVEL_RESAMPLE_SIMD_LANES_H

#include <cmath>
#include <cstdint>

#include "ortavel_isa.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace ortavel_simd {
inline namespace ORTAVEL_ISA_NAMESPACE {

// One lane: the plain scalar code, for processors without vector units here.
struct Lanes1 {
  static constexpr int kLanes = 1;
  using D = double;
  using M = bool;
  static D set1(double x) { return x; }
  static D load(const double *p) { return *p; }
  static void store(double *p, D x) { *p = x; }
  static D add(D a, D b) { return a + b; }
  static D sub(D a, D b) { return a - b; }
  static D mul(D a, D b) { return a * b; }
  static D div(D a, D b) { return a / b; }
  static D sqrt(D a) { return std::sqrt(a); }
  static M neq(D a, D b) { return a != b; }
  static D blend(M m, D a, D b) { return m ? a : b; }
};

#if defined(__SSE2__)
struct LanesSse2 {
  static constexpr int kLanes = 2;
  using D = __m128d;
  using M = __m128d;
  static D set1(double x) { return _mm_set1_pd(x); }
  static D load(const double *p) { return _mm_loadu_pd(p); }
  static void store(double *p, D x) { _mm_storeu_pd(p, x); }
  static D add(D a, D b) { return _mm_add_pd(a, b); }
  static D sub(D a, D b) { return _mm_sub_pd(a, b); }
  static D mul(D a, D b) { return _mm_mul_pd(a, b); }
  static D div(D a, D b) { return _mm_div_pd(a, b); }
  static D sqrt(D a) { return _mm_sqrt_pd(a); }
  static M neq(D a, D b) { return _mm_cmpneq_pd(a, b); }  // unordered: NaN is not equal
  static D blend(M m, D a, D b) { return _mm_or_pd(_mm_and_pd(m, a), _mm_andnot_pd(m, b)); }
};
#endif

#if defined(__SSSE3__)
// A byte shuffle that moves bytes [kByte, kByte + kSize) of each 32-bit lane to
// the lane's bottom and clears the rest (a control byte with the top bit set
// gives zero).
template <int kByte, int kSize>
inline __m128i byte_picker() {
  static_assert(kByte >= 0 && kSize >= 1 && kByte + kSize <= 4, "bytes outside the lane");
  auto pick = [](int lane, int i) -> char {
    return static_cast<char>(i < kSize ? 4 * lane + kByte + i : -128);
  };
  return _mm_setr_epi8(pick(0, 0), pick(0, 1), pick(0, 2), pick(0, 3), pick(1, 0), pick(1, 1),
                       pick(1, 2), pick(1, 3), pick(2, 0), pick(2, 1), pick(2, 2), pick(2, 3),
                       pick(3, 0), pick(3, 1), pick(3, 2), pick(3, 3));
}
#endif

#if defined(__AVX2__)
struct LanesAvx2 {
  static constexpr int kLanes = 4;
  using D = __m256d;
  using M = __m256d;
  using I = __m128i;
  static D set1(double x) { return _mm256_set1_pd(x); }
  static D load(const double *p) { return _mm256_loadu_pd(p); }
  static void store(double *p, D x) { _mm256_storeu_pd(p, x); }
  static D add(D a, D b) { return _mm256_add_pd(a, b); }
  static D sub(D a, D b) { return _mm256_sub_pd(a, b); }
  static D mul(D a, D b) { return _mm256_mul_pd(a, b); }
  static D div(D a, D b) { return _mm256_div_pd(a, b); }
  static D sqrt(D a) { return _mm256_sqrt_pd(a); }
  // max(a, b) = a > b ? a : b and min(a, b) = a < b ? a : b, NaN in a included.
  static D max(D a, D b) { return _mm256_max_pd(a, b); }
  static D min(D a, D b) { return _mm256_min_pd(a, b); }
  static D floor(D a) { return _mm256_round_pd(a, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC); }
  static M neq(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_NEQ_UQ); }
  static M ge(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_GE_OQ); }
  static M le(D a, D b) { return _mm256_cmp_pd(a, b, _CMP_LE_OQ); }
  static M both(M a, M b) { return _mm256_and_pd(a, b); }
  static unsigned bits(M m) { return static_cast<unsigned>(_mm256_movemask_pd(m)); }
  static D blend(M m, D a, D b) { return _mm256_blendv_pd(b, a, m); }

  // Truncation of values that are already whole and fit 32 bits.
  static I to_i32(D a) { return _mm256_cvttpd_epi32(a); }
  static D from_i32(I a) { return _mm256_cvtepi32_pd(a); }
  static D from_u32(I a) {
    // Flip the top bit: the signed value is a - 2^31, converted and shifted
    // back exactly (every 32-bit integer is a double).
    const I flipped = _mm_xor_si128(a, _mm_set1_epi32(INT32_MIN));
    return _mm256_add_pd(_mm256_cvtepi32_pd(flipped), _mm256_set1_pd(2147483648.0));
  }

  static I iset1(int32_t x) { return _mm_set1_epi32(x); }
  static I iadd(I a, I b) { return _mm_add_epi32(a, b); }
  static I isub(I a, I b) { return _mm_sub_epi32(a, b); }
  static I imul(I a, I b) { return _mm_mullo_epi32(a, b); }
  static I imin(I a, I b) { return _mm_min_epi32(a, b); }
  static I imax(I a, I b) { return _mm_max_epi32(a, b); }
  static I iabs(I a) { return _mm_abs_epi32(a); }
  static I iand(I a, I b) { return _mm_and_si128(a, b); }
  static I ishr(I a, I count) { return _mm_srlv_epi32(a, count); }
  static I ishl3(I a) { return _mm_slli_epi32(a, 3); }
  // Bytes [kByte, kByte + kSize) of every 32-bit lane, zero-extended.
  template <int kByte, int kSize>
  static I extract(I a) {
    return _mm_shuffle_epi8(a, byte_picker<kByte, kSize>());
  }
  static unsigned igt_bits(I a, I b) {
    return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpgt_epi32(a, b))));
  }
  static void istore(int32_t *p, I a) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), a); }

  // 32 bits at base + offset (bytes), per lane.
  static I gather32(const uint8_t *base, I offset) {
    return _mm_i32gather_epi32(reinterpret_cast<const int *>(base), offset, 1);
  }
  static D gather_table(const double *table, I index) {
    return _mm256_i32gather_pd(table, index, 8);
  }
};
#endif

#if defined(__AVX512F__) && defined(__AVX512VL__) && defined(__AVX512DQ__) && defined(__AVX512BW__)
struct LanesAvx512 {
  static constexpr int kLanes = 8;
  using D = __m512d;
  using M = __mmask8;
  using I = __m256i;
  static D set1(double x) { return _mm512_set1_pd(x); }
  static D load(const double *p) { return _mm512_loadu_pd(p); }
  static void store(double *p, D x) { _mm512_storeu_pd(p, x); }
  static D add(D a, D b) { return _mm512_add_pd(a, b); }
  static D sub(D a, D b) { return _mm512_sub_pd(a, b); }
  static D mul(D a, D b) { return _mm512_mul_pd(a, b); }
  static D div(D a, D b) { return _mm512_div_pd(a, b); }
  static D sqrt(D a) { return _mm512_sqrt_pd(a); }
  static D max(D a, D b) { return _mm512_max_pd(a, b); }
  static D min(D a, D b) { return _mm512_min_pd(a, b); }
  static D floor(D a) { return _mm512_roundscale_pd(a, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC); }
  static M neq(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_NEQ_UQ); }
  static M ge(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_GE_OQ); }
  static M le(D a, D b) { return _mm512_cmp_pd_mask(a, b, _CMP_LE_OQ); }
  static M both(M a, M b) { return static_cast<M>(a & b); }
  static unsigned bits(M m) { return m; }
  static D blend(M m, D a, D b) { return _mm512_mask_blend_pd(m, b, a); }

  static I to_i32(D a) { return _mm512_cvttpd_epi32(a); }
  static D from_i32(I a) { return _mm512_cvtepi32_pd(a); }
  static D from_u32(I a) { return _mm512_cvtepu32_pd(a); }

  static I iset1(int32_t x) { return _mm256_set1_epi32(x); }
  static I iadd(I a, I b) { return _mm256_add_epi32(a, b); }
  static I isub(I a, I b) { return _mm256_sub_epi32(a, b); }
  static I imul(I a, I b) { return _mm256_mullo_epi32(a, b); }
  static I imin(I a, I b) { return _mm256_min_epi32(a, b); }
  static I imax(I a, I b) { return _mm256_max_epi32(a, b); }
  static I iabs(I a) { return _mm256_abs_epi32(a); }
  static I iand(I a, I b) { return _mm256_and_si256(a, b); }
  static I ishr(I a, I count) { return _mm256_srlv_epi32(a, count); }
  static I ishl3(I a) { return _mm256_slli_epi32(a, 3); }
  template <int kByte, int kSize>
  static I extract(I a) {
    const __m128i picker = byte_picker<kByte, kSize>();
    return _mm256_shuffle_epi8(a, _mm256_broadcastsi128_si256(picker));
  }
  static unsigned igt_bits(I a, I b) { return _mm256_cmpgt_epi32_mask(a, b); }
  static void istore(int32_t *p, I a) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), a); }

  static I gather32(const uint8_t *base, I offset) {
    return _mm256_i32gather_epi32(reinterpret_cast<const int *>(base), offset, 1);
  }
  static D gather_table(const double *table, I index) {
    return _mm512_i32gather_pd(index, table, 8);
  }
};
#endif

}  // namespace ORTAVEL_ISA_NAMESPACE
}  // namespace ortavel_simd

#endif
