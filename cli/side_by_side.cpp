#include "side_by_side.h"

#include <algorithm>
#include <cstring>

namespace ortavel::cli {

namespace {

void place(RgbPicture &out, const RgbPicture &pic, std::int32_t left) {
  const std::int32_t top = (out.height - pic.height) / 2;
  const std::size_t rowBytes = static_cast<std::size_t>(pic.width) * 3;
  for (std::int32_t y = 0; y < pic.height; ++y) {
    const std::size_t to = (static_cast<std::size_t>(top + y) * out.width + left) * 3;
    std::memcpy(out.pixels.data() + to, pic.pixels.data() + y * rowBytes, rowBytes);
  }
}

}  // namespace

RgbPicture sideBySide(const RgbPicture &left, const RgbPicture &right) {
  RgbPicture out;
  out.width = left.width + kSideBySideGap + right.width;
  out.height = std::max(left.height, right.height);
  out.pixels.assign(static_cast<std::size_t>(out.width) * out.height * 3, kSideBySideBackground);
  place(out, left, 0);
  place(out, right, left.width + kSideBySideGap);
  return out;
}

}  // namespace ortavel::cli
