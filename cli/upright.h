// Photographs as they are meant to be seen: the EXIF orientation (IFD0 tag
// 274) says how the stored pixels are turned or mirrored for display. The
// filter works on the stored pixels; only what is shown (the editor's
// previews, `ortavel preview`'s pictures) is turned upright.
//
//   1 as stored          2 mirrored left-right   3 turned 180°      4 mirrored top-bottom
//   5 transposed         6 turned 90° clockwise  7 transversed      8 turned 90° anticlockwise
#pragma once

#include "filter_session.h"
#include "image_io/image.h"

namespace ortavel::cli {

// The image's EXIF orientation, 1..8; 1 when it records none.
int displayOrientation(const Image &img);

// Whether the orientation turns the picture a quarter, so that the shown
// width is the stored height (5..8).
constexpr bool swapsSides(int orientation) {
  return orientation >= 5 && orientation <= 8;
}

// Where the stored pixel (x, y) of a width x height picture is shown.
void shownPosition(int orientation, std::int32_t width, std::int32_t height, std::int32_t x,
                   std::int32_t y, std::int32_t &u, std::int32_t &v);

// The picture as shown.
RgbPicture upright(const RgbPicture &p, int orientation);

}  // namespace ortavel::cli
