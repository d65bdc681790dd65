#include <cstdint>
#include <cstring>

#include "image_io/codec.h"
#include "image_io/sample_scale.h"

namespace ortavel::cli {

void packRow(const Image &img, int y, int planes, int fileBits, bool invertColour, void *row) {
  const std::size_t w = static_cast<std::size_t>(img.doc.width);
  const std::size_t base = static_cast<std::size_t>(y) * w;
  const int colour = img.colourChannels();
  for (int p = 0; p < planes; ++p) {
    const bool inv = invertColour && p < colour;
    const auto &s = img.doc.planes[static_cast<std::size_t>(p)].samples;
    if (img.doc.depth == 8) {
      auto *out = static_cast<std::uint8_t *>(row);
      for (std::size_t x = 0; x < w; ++x) {
        std::uint8_t v = s[base + x];
        if (inv) v = static_cast<std::uint8_t>(255 - v);
        if (fileBits == 8) {
          out[x * planes + p] = v;
        } else {
          reinterpret_cast<std::uint16_t *>(row)[x * planes + p] =
              static_cast<std::uint16_t>(v * 257);
        }
      }
    } else {
      const auto *in = reinterpret_cast<const std::uint16_t *>(s.data()) + base;
      for (std::size_t x = 0; x < w; ++x) {
        std::uint16_t h = in[x];
        if (inv) h = static_cast<std::uint16_t>(32768 - (h > 32768 ? 32768 : h));
        if (fileBits == 8) {
          static_cast<std::uint8_t *>(row)[x * planes + p] = hostToFile8(h);
        } else {
          static_cast<std::uint16_t *>(row)[x * planes + p] = hostToFile16(h);
        }
      }
    }
  }
}

void unpackRow(Image &img, int y, int planes, int fileBits, bool invertColour, const void *row) {
  const std::size_t w = static_cast<std::size_t>(img.doc.width);
  const std::size_t base = static_cast<std::size_t>(y) * w;
  const int colour = img.colourChannels();
  for (int p = 0; p < planes; ++p) {
    const bool inv = invertColour && p < colour;
    auto &s = img.doc.planes[static_cast<std::size_t>(p)].samples;
    if (fileBits == 8) {
      const auto *in = static_cast<const std::uint8_t *>(row);
      for (std::size_t x = 0; x < w; ++x) {
        const std::uint8_t v = in[x * planes + p];
        s[base + x] = inv ? static_cast<std::uint8_t>(255 - v) : v;
      }
    } else {
      const auto *in = static_cast<const std::uint16_t *>(row);
      auto *out = reinterpret_cast<std::uint16_t *>(s.data()) + base;
      for (std::size_t x = 0; x < w; ++x) {
        const std::uint16_t v = in[x * planes + p];
        out[x] = fileToHost16(inv ? static_cast<std::uint16_t>(65535 - v) : v);
      }
    }
  }
}

}  // namespace ortavel::cli
