// Rows between files and the document go in two steps: the planes are
// interleaved (or split) as raw host samples, then, where the file's samples
// differ from the host's, each sample is converted in place, in one pass over
// contiguous memory.
#include <cstdint>
#include <cstring>
#include <vector>

#include "emulator/interleave.h"
#include "image_io/codec.h"
#include "image_io/sample_scale.h"

namespace ortavel::cli {
namespace {

std::uint16_t invertHost16(std::uint16_t h) {
  return static_cast<std::uint16_t>(32768 - (h > 32768 ? 32768 : h));
}

}  // namespace

void packRow(const Image &img, std::span<const std::uint8_t *const> starts, int y, int planes,
             int fileBits, bool invertColour, void *row) {
  const std::size_t w = static_cast<std::size_t>(img.doc.width);
  const std::size_t n = static_cast<std::size_t>(planes);
  const std::size_t colour = static_cast<std::size_t>(invertColour ? img.colourChannels() : 0);
  const std::int32_t bps = img.doc.bytesPerSample();
  std::vector<const std::uint8_t *> from(n);
  for (std::size_t p = 0; p < n; ++p) {
    from[p] = starts[p] + static_cast<std::size_t>(y) * w * bps;
  }
  if (img.doc.depth == 8 && fileBits == 8) {
    auto *out = static_cast<std::uint8_t *>(row);
    hostemu::interleaveRow(from, 1, w, out);
    for (std::size_t x = 0; x < w && colour > 0; ++x, out += n) {
      for (std::size_t p = 0; p < colour && p < n; ++p)
        out[p] = static_cast<std::uint8_t>(255 - out[p]);
    }
  } else if (img.doc.depth == 8) {
    // Bytes widened to words: interleave into the upper half of the row, then
    // widen from the front, where each word lands at or before its byte.
    auto *out = static_cast<std::uint16_t *>(row);
    auto *bytes = static_cast<std::uint8_t *>(row) + w * n;
    hostemu::interleaveRow(from, 1, w, bytes);
    for (std::size_t i = 0; i < w * n; ++i) {
      const bool inv = i % n < colour;
      out[i] = static_cast<std::uint16_t>((inv ? 255 - bytes[i] : bytes[i]) * 257);
    }
  } else if (fileBits == 16) {
    auto *out = static_cast<std::uint16_t *>(row);
    hostemu::interleaveRow(from, 2, w, static_cast<std::uint8_t *>(row));
    // Without inverted channels the loop has no per-sample channel test and
    // vectorises.
    if (colour == 0) {
      for (std::size_t i = 0; i < w * n; ++i) out[i] = hostToFile16(out[i]);
    } else {
      for (std::size_t i = 0; i < w * n; ++i)
        out[i] = hostToFile16(i % n < colour ? invertHost16(out[i]) : out[i]);
    }
  } else {
    // Words narrowed to bytes, one pixel at a time.
    auto *out = static_cast<std::uint8_t *>(row);
    for (std::size_t x = 0; x < w; ++x, out += n) {
      for (std::size_t p = 0; p < n; ++p) {
        std::uint16_t h;
        std::memcpy(&h, from[p] + x * 2, 2);
        out[p] = hostToFile8(p < colour ? invertHost16(h) : h);
      }
    }
  }
}

void unpackRow(Image &img, int y, int planes, int fileBits, bool invertColour, const void *row) {
  const std::size_t w = static_cast<std::size_t>(img.doc.width);
  const std::size_t n = static_cast<std::size_t>(planes);
  const std::size_t colour = static_cast<std::size_t>(invertColour ? img.colourChannels() : 0);
  const std::int32_t bps = fileBits / 8;
  std::vector<std::uint8_t *> to(n);
  for (std::size_t p = 0; p < n; ++p) {
    to[p] = img.doc.planes[p].samples.data() + static_cast<std::size_t>(y) * w * bps;
  }
  hostemu::deinterleaveRow(static_cast<const std::uint8_t *>(row), bps, w, to);
  for (std::size_t p = 0; p < n; ++p) {
    const bool inv = p < colour;
    if (fileBits == 8) {
      if (!inv) continue;
      for (std::size_t x = 0; x < w; ++x) to[p][x] = static_cast<std::uint8_t>(255 - to[p][x]);
    } else {
      auto *s = reinterpret_cast<std::uint16_t *>(to[p]);
      for (std::size_t x = 0; x < w; ++x) {
        s[x] = fileToHost16(inv ? static_cast<std::uint16_t>(65535 - s[x]) : s[x]);
      }
    }
  }
}

}  // namespace ortavel::cli
