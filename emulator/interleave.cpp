// The plain loops move one sample at a time, each side at its own stride.
// The vector paths handle a block of 16 bytes from each plane at once (every
// 16-byte chunk of the interleaved block is the OR of one byte shuffle per
// plane, SSSE3) or of 64 bytes (one masked byte permute per plane and chunk,
// AVX-512 VBMI, a quarter of the instructions a pixel), the masks worked out
// at compile time from the layout. A run takes 64-byte blocks, then 16-byte
// ones, then the plain loop for what is left.
#include "emulator/interleave.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <type_traits>

#if defined(__x86_64__) || defined(__i386__)
#define HOSTEMU_X86_VECTORS 1
#include <immintrin.h>
#endif

namespace hostemu {
namespace {

// Pixels [first, pixels) of a run.
template <std::size_t kBytes>
void interleaveFrom(std::span<const std::uint8_t *const> planes, std::size_t first,
                    std::size_t pixels, std::uint8_t *out) {
  const std::size_t step = planes.size() * kBytes;
  for (std::size_t p = 0; p < planes.size(); ++p) {
    const std::uint8_t *s = planes[p] + first * kBytes;
    std::uint8_t *d = out + first * step + p * kBytes;
    for (std::size_t i = first; i < pixels; ++i, s += kBytes, d += step) std::memcpy(d, s, kBytes);
  }
}

template <std::size_t kBytes>
void deinterleaveFrom(const std::uint8_t *in, std::size_t first, std::size_t pixels,
                      std::span<std::uint8_t *const> planes) {
  const std::size_t step = planes.size() * kBytes;
  for (std::size_t p = 0; p < planes.size(); ++p) {
    const std::uint8_t *s = in + first * step + p * kBytes;
    std::uint8_t *d = planes[p] + first * kBytes;
    for (std::size_t i = first; i < pixels; ++i, s += step, d += kBytes) std::memcpy(d, s, kBytes);
  }
}

template <int kValue>
using Int = std::integral_constant<int, kValue>;

// fn(Int<kBytes>{}) for the sample size.
template <typename Fn>
void forSampleSize(std::int32_t bytesPerSample, Fn &&fn) {
  switch (bytesPerSample) {
    case 1:
      fn(Int<1>{});
      break;
    case 2:
      fn(Int<2>{});
      break;
    default:
      fn(Int<4>{});
      break;
  }
}

void interleaveFrom(std::span<const std::uint8_t *const> planes, std::int32_t bytesPerSample,
                    std::size_t first, std::size_t pixels, std::uint8_t *out) {
  const std::size_t at = first * bytesPerSample;
  if (planes.size() == 1) {
    std::memcpy(out + at, planes[0] + at, pixels * bytesPerSample - at);
    return;
  }
  forSampleSize(bytesPerSample, [&](auto bytes) {
    interleaveFrom<decltype(bytes)::value>(planes, first, pixels, out);
  });
}

void deinterleaveFrom(const std::uint8_t *in, std::int32_t bytesPerSample, std::size_t first,
                      std::size_t pixels, std::span<std::uint8_t *const> planes) {
  const std::size_t at = first * bytesPerSample;
  if (planes.size() == 1) {
    std::memcpy(planes[0] + at, in + at, pixels * bytesPerSample - at);
    return;
  }
  forSampleSize(bytesPerSample, [&](auto bytes) {
    deinterleaveFrom<decltype(bytes)::value>(in, first, pixels, planes);
  });
}

#ifdef HOSTEMU_X86_VECTORS

// A block is kW bytes of each of kN planes of kB-byte samples (kW / kB
// pixels), and kN chunks of kW bytes interleaved. Entry [to * kN + from] of a
// table says, for each byte k of output vector `to`, which byte of input
// vector `from` lands there (index) and whether one does (bit k of take).
// Interleaving reads planes and writes chunks; deinterleaving the reverse.
template <int kW>
struct ByteMask {
  std::array<std::uint8_t, kW> index{};
  std::uint64_t take = 0;
};

template <int kN, int kB, int kW>
constexpr std::array<ByteMask<kW>, kN * kN> interleaveMasks() {
  std::array<ByteMask<kW>, kN * kN> masks{};
  for (int chunk = 0; chunk < kN; ++chunk) {
    for (int plane = 0; plane < kN; ++plane) {
      ByteMask<kW> &m = masks[chunk * kN + plane];
      for (int k = 0; k < kW; ++k) {
        const int at = kW * chunk + k;  // byte in the interleaved block
        const int pixel = at / (kN * kB);
        const int channel = at % (kN * kB) / kB;
        if (channel != plane) continue;
        m.index[k] = static_cast<std::uint8_t>(pixel * kB + at % kB);
        m.take |= std::uint64_t{1} << k;
      }
    }
  }
  return masks;
}

template <int kN, int kB, int kW>
constexpr std::array<ByteMask<kW>, kN * kN> deinterleaveMasks() {
  std::array<ByteMask<kW>, kN * kN> masks{};
  for (int plane = 0; plane < kN; ++plane) {
    for (int chunk = 0; chunk < kN; ++chunk) {
      ByteMask<kW> &m = masks[plane * kN + chunk];
      for (int k = 0; k < kW; ++k) {
        const int at = (k / kB) * kN * kB + plane * kB + k % kB;  // byte in the interleaved block
        if (at / kW != chunk) continue;
        m.index[k] = static_cast<std::uint8_t>(at % kW);
        m.take |= std::uint64_t{1} << k;
      }
    }
  }
  return masks;
}

// A 16-byte table as byte shuffle masks: -128 where the vector takes nothing
// from that input (the shuffle writes 0 there, and the inputs are ORed).
using Mask = std::array<std::int8_t, 16>;

template <std::size_t kCount>
constexpr std::array<Mask, kCount> shuffleMasks(const std::array<ByteMask<16>, kCount> &table) {
  std::array<Mask, kCount> masks{};
  for (std::size_t i = 0; i < kCount; ++i)
    for (int k = 0; k < 16; ++k)
      masks[i][k] =
          static_cast<std::int8_t>((table[i].take >> k & 1) != 0 ? table[i].index[k] : -128);
  return masks;
}

template <int kN, int kB>
__attribute__((target("ssse3"))) std::size_t interleaveBlocks(const std::uint8_t *const *planes,
                                                              std::size_t pixels,
                                                              std::uint8_t *out) {
  static constexpr std::array<Mask, kN *kN> kMasks = shuffleMasks(interleaveMasks<kN, kB, 16>());
  constexpr std::size_t kPixels = 16 / kB;
  __m128i mask[kN * kN];
  for (int i = 0; i < kN * kN; ++i) {
    mask[i] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kMasks[i].data()));
  }
  std::size_t done = 0;
  for (; done + kPixels <= pixels; done += kPixels) {
    __m128i v[kN];
    for (int p = 0; p < kN; ++p) {
      v[p] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(planes[p] + done * kB));
    }
    std::uint8_t *d = out + done * kN * kB;
    for (int c = 0; c < kN; ++c) {
      __m128i o = _mm_shuffle_epi8(v[0], mask[c * kN]);
      for (int p = 1; p < kN; ++p) o = _mm_or_si128(o, _mm_shuffle_epi8(v[p], mask[c * kN + p]));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(d + 16 * c), o);
    }
  }
  return done;
}

template <int kN, int kB>
__attribute__((target("ssse3"))) std::size_t deinterleaveBlocks(const std::uint8_t *in,
                                                                std::size_t pixels,
                                                                std::uint8_t *const *planes) {
  static constexpr std::array<Mask, kN *kN> kMasks = shuffleMasks(deinterleaveMasks<kN, kB, 16>());
  constexpr std::size_t kPixels = 16 / kB;
  __m128i mask[kN * kN];
  for (int i = 0; i < kN * kN; ++i) {
    mask[i] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(kMasks[i].data()));
  }
  std::size_t done = 0;
  for (; done + kPixels <= pixels; done += kPixels) {
    const std::uint8_t *s = in + done * kN * kB;
    __m128i v[kN];
    for (int c = 0; c < kN; ++c)
      v[c] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + 16 * c));
    for (int p = 0; p < kN; ++p) {
      __m128i o = _mm_shuffle_epi8(v[0], mask[p * kN]);
      for (int c = 1; c < kN; ++c) o = _mm_or_si128(o, _mm_shuffle_epi8(v[c], mask[p * kN + c]));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(planes[p] + done * kB), o);
    }
  }
  return done;
}

// The same with 64 bytes of each plane and one byte permute per plane and
// chunk (AVX-512 VBMI): a chunk starts as plane 0's bytes and takes each
// other plane's under its byte mask.
#define HOSTEMU_VBMI __attribute__((target("avx512f,avx512bw,avx512vbmi")))

// The index and mask registers of a table: out[j] takes from every in[i]
// the bytes mask j * kN + i names.
template <int kN>
struct WidePermutes {
  __m512i index[kN * kN];
  __mmask64 take[kN * kN];

  HOSTEMU_VBMI explicit WidePermutes(const std::array<ByteMask<64>, kN * kN> &masks) {
    for (int i = 0; i < kN * kN; ++i) {
      index[i] = _mm512_loadu_si512(masks[i].index.data());
      take[i] = masks[i].take;
    }
  }
  HOSTEMU_VBMI void apply(const __m512i *in, __m512i *out) const {
    for (int j = 0; j < kN; ++j) {
      __m512i o = _mm512_maskz_permutexvar_epi8(take[j * kN], index[j * kN], in[0]);
      for (int i = 1; i < kN; ++i)
        o = _mm512_mask_permutexvar_epi8(o, take[j * kN + i], index[j * kN + i], in[i]);
      out[j] = o;
    }
  }
};

template <int kN, int kB>
HOSTEMU_VBMI std::size_t interleaveWide(const std::uint8_t *const *planes, std::size_t pixels,
                                        std::uint8_t *out) {
  static constexpr std::array<ByteMask<64>, kN *kN> kMasks = interleaveMasks<kN, kB, 64>();
  const WidePermutes<kN> permutes(kMasks);
  constexpr std::size_t kPixels = 64 / kB;
  std::size_t done = 0;
  for (; done + kPixels <= pixels; done += kPixels) {
    __m512i v[kN], o[kN];
    for (int p = 0; p < kN; ++p) v[p] = _mm512_loadu_si512(planes[p] + done * kB);
    permutes.apply(v, o);
    for (int c = 0; c < kN; ++c) _mm512_storeu_si512(out + done * kN * kB + 64 * c, o[c]);
  }
  return done;
}

template <int kN, int kB>
HOSTEMU_VBMI std::size_t deinterleaveWide(const std::uint8_t *in, std::size_t pixels,
                                          std::uint8_t *const *planes) {
  static constexpr std::array<ByteMask<64>, kN *kN> kMasks = deinterleaveMasks<kN, kB, 64>();
  const WidePermutes<kN> permutes(kMasks);
  constexpr std::size_t kPixels = 64 / kB;
  std::size_t done = 0;
  for (; done + kPixels <= pixels; done += kPixels) {
    __m512i v[kN], o[kN];
    for (int c = 0; c < kN; ++c) v[c] = _mm512_loadu_si512(in + done * kN * kB + 64 * c);
    permutes.apply(v, o);
    for (int p = 0; p < kN; ++p) _mm512_storeu_si512(planes[p] + done * kB, o[p]);
  }
  return done;
}

enum class Path { kPlain, kShuffle16, kPermute64 };

// The widest path this processor runs, or a narrower one named by
// ORTAVEL_ISA as for the filter's kernels, so that each can be run and
// compared on one machine: "sse2" the plain loops, "avx2" the 16-byte
// shuffles. Read once.
Path widestPath() {
  static const Path path = [] {
    __builtin_cpu_init();
    Path widest = Path::kPlain;
    if (__builtin_cpu_supports("ssse3") != 0) widest = Path::kShuffle16;
    if (widest == Path::kShuffle16 && __builtin_cpu_supports("avx512bw") != 0 &&
        __builtin_cpu_supports("avx512vbmi") != 0)
      widest = Path::kPermute64;
    const char *wanted = std::getenv("ORTAVEL_ISA");
    const std::string_view name = wanted != nullptr ? wanted : "";
    if (name == "sse2" || name == "scalar") return Path::kPlain;
    if (name == "avx2") return std::min(widest, Path::kShuffle16);
    return widest;
  }();
  return path;
}

// fn(Int<kN>{}, Int<kB>{}) for the layouts the vector path takes: its
// answer, how many pixels from the start of the run it did; 0 for the others.
template <typename Fn>
std::size_t forVectorLayout(std::size_t planes, std::int32_t bytesPerSample, Fn &&fn) {
  if (widestPath() == Path::kPlain) return 0;
  switch (planes * 10 + static_cast<std::size_t>(bytesPerSample)) {
    case 21:
      return fn(Int<2>{}, Int<1>{});
    case 22:
      return fn(Int<2>{}, Int<2>{});
    case 31:
      return fn(Int<3>{}, Int<1>{});
    case 32:
      return fn(Int<3>{}, Int<2>{});
    case 41:
      return fn(Int<4>{}, Int<1>{});
    case 42:
      return fn(Int<4>{}, Int<2>{});
    default:
      return 0;
  }
}

std::size_t interleaveVector(std::span<const std::uint8_t *const> planes,
                             std::int32_t bytesPerSample, std::size_t pixels, std::uint8_t *out) {
  return forVectorLayout(planes.size(), bytesPerSample, [&](auto n, auto bytes) {
    constexpr int kN = decltype(n)::value, kB = decltype(bytes)::value;
    std::size_t done = 0;
    if (widestPath() == Path::kPermute64) done = interleaveWide<kN, kB>(planes.data(), pixels, out);
    std::array<const std::uint8_t *, kN> rest{};
    for (int p = 0; p < kN; ++p) rest[p] = planes[p] + done * kB;
    return done + interleaveBlocks<kN, kB>(rest.data(), pixels - done, out + done * kN * kB);
  });
}

std::size_t deinterleaveVector(const std::uint8_t *in, std::int32_t bytesPerSample,
                               std::size_t pixels, std::span<std::uint8_t *const> planes) {
  return forVectorLayout(planes.size(), bytesPerSample, [&](auto n, auto bytes) {
    constexpr int kN = decltype(n)::value, kB = decltype(bytes)::value;
    std::size_t done = 0;
    if (widestPath() == Path::kPermute64)
      done = deinterleaveWide<kN, kB>(in, pixels, planes.data());
    std::array<std::uint8_t *, kN> rest{};
    for (int p = 0; p < kN; ++p) rest[p] = planes[p] + done * kB;
    return done + deinterleaveBlocks<kN, kB>(in + done * kN * kB, pixels - done, rest.data());
  });
}

#else

std::size_t interleaveVector(std::span<const std::uint8_t *const>, std::int32_t, std::size_t,
                             std::uint8_t *) {
  return 0;
}
std::size_t deinterleaveVector(const std::uint8_t *, std::int32_t, std::size_t,
                               std::span<std::uint8_t *const>) {
  return 0;
}

#endif

}  // namespace

void interleaveRow(std::span<const std::uint8_t *const> planes, std::int32_t bytesPerSample,
                   std::size_t pixels, std::uint8_t *out) {
  if (planes.empty() || pixels == 0) return;
  const std::size_t done = interleaveVector(planes, bytesPerSample, pixels, out);
  if (done < pixels) interleaveFrom(planes, bytesPerSample, done, pixels, out);
}

void deinterleaveRow(const std::uint8_t *in, std::int32_t bytesPerSample, std::size_t pixels,
                     std::span<std::uint8_t *const> planes) {
  if (planes.empty() || pixels == 0) return;
  const std::size_t done = deinterleaveVector(in, bytesPerSample, pixels, planes);
  if (done < pixels) deinterleaveFrom(in, bytesPerSample, done, pixels, planes);
}

}  // namespace hostemu
