#include "upright.h"

#include <cstring>

#include "image_io/exif_block.h"

namespace ortavel::cli {

int displayOrientation(const Image &img) {
  if (img.doc.exif.empty()) return 1;
  return readCameraTags(img.doc.exif).orientation.value_or(1);
}

void shownPosition(int orientation, std::int32_t width, std::int32_t height, std::int32_t x,
                   std::int32_t y, std::int32_t &u, std::int32_t &v) {
  const std::int32_t xr = width - 1 - x, yr = height - 1 - y;
  switch (orientation) {
    case 2:
      u = xr, v = y;
      break;
    case 3:
      u = xr, v = yr;
      break;
    case 4:
      u = x, v = yr;
      break;
    case 5:
      u = y, v = x;
      break;
    case 6:
      u = yr, v = x;
      break;
    case 7:
      u = yr, v = xr;
      break;
    case 8:
      u = y, v = xr;
      break;
    default:
      u = x, v = y;
      break;
  }
}

RgbPicture upright(const RgbPicture &p, int orientation) {
  if (orientation < 2 || orientation > 8) return p;
  RgbPicture out;
  out.width = swapsSides(orientation) ? p.height : p.width;
  out.height = swapsSides(orientation) ? p.width : p.height;
  out.pixels.resize(p.pixels.size());
  for (std::int32_t y = 0; y < p.height; ++y) {
    for (std::int32_t x = 0; x < p.width; ++x) {
      std::int32_t u = 0, v = 0;
      shownPosition(orientation, p.width, p.height, x, y, u, v);
      std::memcpy(&out.pixels[(static_cast<std::size_t>(v) * out.width + u) * 3],
                  &p.pixels[(static_cast<std::size_t>(y) * p.width + x) * 3], 3);
    }
  }
  return out;
}

}  // namespace ortavel::cli
