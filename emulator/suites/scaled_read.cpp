#include "emulator/suites/scaled_read.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace hostemu {
namespace {

// Source pixels under the destination pixels of one axis, with integer
// weights: in units where a source pixel is D long, destination pixel d spans
// [d*S, (d+1)*S), so every destination pixel's weights sum to S.
struct AxisMap {
  std::vector<std::int32_t> first;  // per destination pixel: first source index
  std::vector<std::int32_t> count;  // per destination pixel: how many sources
  std::vector<std::size_t> offset;  // per destination pixel: start in weights
  std::vector<std::int64_t> weights;
};

AxisMap mapAxis(std::int32_t sourceStart, std::int64_t S, std::int64_t D, std::int32_t from,
                std::int32_t to) {
  AxisMap map;
  const auto n = static_cast<std::size_t>(to - from);
  map.first.reserve(n);
  map.count.reserve(n);
  map.offset.reserve(n);
  for (std::int64_t d = from; d < to; ++d) {
    map.offset.push_back(map.weights.size());
    if (D > S) {
      // Enlarging: the source pixel under the centre, with the whole weight.
      const std::int64_t i = ((2 * d + 1) * S) / (2 * D);
      map.first.push_back(static_cast<std::int32_t>(sourceStart + i));
      map.count.push_back(1);
      map.weights.push_back(S);
      continue;
    }
    const std::int64_t lo = d * S;
    const std::int64_t hi = (d + 1) * S;
    const std::int64_t firstIndex = lo / D;
    const std::int64_t lastIndex = (hi + D - 1) / D - 1;
    for (std::int64_t i = firstIndex; i <= lastIndex; ++i) {
      const std::int64_t w = std::min((i + 1) * D, hi) - std::max(i * D, lo);
      map.weights.push_back(w);
    }
    map.first.push_back(static_cast<std::int32_t>(sourceStart + firstIndex));
    map.count.push_back(static_cast<std::int32_t>(lastIndex - firstIndex + 1));
  }
  return map;
}

template <typename Sample>
Sample loadSample(const std::uint8_t *row, std::int32_t x) {
  Sample value;
  std::memcpy(&value, row + static_cast<std::size_t>(x) * sizeof(Sample), sizeof(Sample));
  return value;
}

template <typename Sample>
void storeSample(std::uint8_t *at, Sample value) {
  std::memcpy(at, &value, sizeof(Sample));
}

// Writes the rounded mean sum/total as a destination sample.
template <typename Source>
void storeMean(unsigned __int128 sum, unsigned __int128 total, std::int32_t dstDepth,
               std::uint8_t *at) {
  if (dstDepth == 8) {
    if constexpr (sizeof(Source) == 2) {
      // 0..32768 onto 0..255: round(mean * 255 / 32768), from the exact sum.
      const unsigned __int128 den = total * 32768u;
      const auto v = static_cast<std::uint32_t>((sum * 255u + den / 2) / den);
      *at = static_cast<std::uint8_t>(std::min<std::uint32_t>(v, 255u));
    } else {
      const unsigned __int128 mean = (sum + total / 2) / total;
      *at = static_cast<std::uint8_t>(mean > 255u ? 255u : static_cast<unsigned>(mean));
    }
    return;
  }
  const unsigned __int128 mean = (sum + total / 2) / total;
  storeSample<Source>(at, static_cast<Source>(mean));
}

template <typename Source>
void readPlane(const PlaneView &plane, const AxisMap &xs, const AxisMap &ys, std::int64_t total,
               std::int32_t rows, std::int32_t cols, std::uint8_t *base, std::int64_t rowBytes,
               std::int64_t colBytes, std::int32_t dstDepth) {
  const std::size_t planeRowBytes = static_cast<std::size_t>(plane.width) * sizeof(Source);
  for (std::int32_t r = 0; r < rows; ++r) {
    const auto rr = static_cast<std::size_t>(r);
    std::uint8_t *outRow = base + r * rowBytes;
    for (std::int32_t c = 0; c < cols; ++c) {
      const auto cc = static_cast<std::size_t>(c);
      unsigned __int128 sum = 0;
      for (std::int32_t j = 0; j < ys.count[rr]; ++j) {
        const std::uint8_t *row =
            plane.samples + static_cast<std::size_t>(ys.first[rr] + j) * planeRowBytes;
        std::uint64_t rowSum = 0;  // at most S * 2^32 per row: fits
        for (std::int32_t i = 0; i < xs.count[cc]; ++i) {
          rowSum +=
              static_cast<std::uint64_t>(xs.weights[xs.offset[cc] + static_cast<std::size_t>(i)]) *
              loadSample<Source>(row, xs.first[cc] + i);
        }
        sum += static_cast<unsigned __int128>(rowSum) *
               static_cast<std::uint64_t>(ys.weights[ys.offset[rr] + static_cast<std::size_t>(j)]);
      }
      storeMean<Source>(sum, static_cast<unsigned __int128>(total), dstDepth,
                        outRow + c * colBytes);
    }
  }
}

bool emptyRect(const VRect &r) {
  return r.bottom <= r.top || r.right <= r.left;
}

}  // namespace

SPErr readScaledPlane(const PlaneView &plane, VRect *readRect, const PSScaling &scaling,
                      const PixelMemoryDesc &destination) {
  if (readRect == nullptr || destination.data == nullptr || plane.samples == nullptr) {
    return kSPBadParameterError;
  }
  const std::int32_t dstDepth = destination.depth;
  if (dstDepth != 8 && dstDepth != 16 && dstDepth != 32) return errUnsupportedDepth;
  if (dstDepth != 8 && dstDepth != plane.depth) return errUnsupportedDepthConversion;
  if (plane.depth != 8 && plane.depth != 16 && plane.depth != 32) return errUnsupportedDepth;
  if (destination.bitOffset < 0 || destination.bitOffset % 8 != 0) return errUnsupportedBitOffset;
  if (destination.colBits < dstDepth || destination.colBits % 8 != 0) return errUnsupportedColBits;
  if (destination.rowBits <= 0 || destination.rowBits % 8 != 0) return errUnsupportedRowBits;

  const VRect &src = scaling.sourceRect;
  const VRect &dst = scaling.destinationRect;
  if (emptyRect(src) || emptyRect(dst) || src.top < 0 || src.left < 0 ||
      src.bottom > plane.height || src.right > plane.width) {
    return kSPBadParameterError;
  }

  const VRect asked = *readRect;
  VRect clipped{std::max(asked.top, dst.top), std::max(asked.left, dst.left),
                std::min(asked.bottom, dst.bottom), std::min(asked.right, dst.right)};
  if (emptyRect(clipped)) {
    *readRect = VRect{clipped.top, clipped.left, clipped.top, clipped.left};
    return kSPNoError;
  }

  const std::int64_t Sx = static_cast<std::int64_t>(src.right) - src.left;
  const std::int64_t Sy = static_cast<std::int64_t>(src.bottom) - src.top;
  const std::int64_t Dx = static_cast<std::int64_t>(dst.right) - dst.left;
  const std::int64_t Dy = static_cast<std::int64_t>(dst.bottom) - dst.top;
  const AxisMap xs = mapAxis(src.left, Sx, Dx, clipped.left - dst.left, clipped.right - dst.left);
  const AxisMap ys = mapAxis(src.top, Sy, Dy, clipped.top - dst.top, clipped.bottom - dst.top);

  const std::int64_t rowBytes = destination.rowBits / 8;
  const std::int64_t colBytes = destination.colBits / 8;
  auto *base = static_cast<std::uint8_t *>(destination.data) + destination.bitOffset / 8 +
               (static_cast<std::int64_t>(clipped.top) - asked.top) * rowBytes +
               (static_cast<std::int64_t>(clipped.left) - asked.left) * colBytes;
  const std::int32_t rows = clipped.bottom - clipped.top;
  const std::int32_t cols = clipped.right - clipped.left;
  const std::int64_t total = Sx * Sy;

  switch (plane.depth) {
    case 8:
      readPlane<std::uint8_t>(plane, xs, ys, total, rows, cols, base, rowBytes, colBytes, dstDepth);
      break;
    case 16:
      readPlane<std::uint16_t>(plane, xs, ys, total, rows, cols, base, rowBytes, colBytes,
                               dstDepth);
      break;
    default:
      readPlane<std::uint32_t>(plane, xs, ys, total, rows, cols, base, rowBytes, colBytes,
                               dstDepth);
      break;
  }
  *readRect = clipped;
  return kSPNoError;
}

}  // namespace hostemu
