// Before/after pictures: two previews laid side by side in one picture, so the
// effect of a correction shows in any image viewer.
#pragma once

#include "filter_session.h"

namespace ortavel::cli {

// Grey between and around the two pictures, the gap in pixels between them,
// the height of the caption strip above them and the grey of its letters.
inline constexpr std::uint8_t kSideBySideBackground = 48;
inline constexpr int kSideBySideGap = 8;
inline constexpr int kSideBySideCaption = 24;
inline constexpr std::uint8_t kSideBySideText = 230;

// `left` and `right` side by side, `kSideBySideGap` pixels apart, below a
// caption strip that says BEFORE over the left one and AFTER over the right
// one (left out over a picture too narrow for it); each picture is centred
// vertically on the taller one's height; the rest is background. Both are
// 3-byte RGB pictures with rows of width * 3 bytes, as the previews are.
RgbPicture sideBySide(const RgbPicture &left, const RgbPicture &right);

}  // namespace ortavel::cli
