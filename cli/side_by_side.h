// Before/after pictures: two previews laid side by side in one picture, so the
// effect of a correction shows in any image viewer.
#pragma once

#include "filter_session.h"

namespace ortavel::cli {

// Grey between and around the two pictures, and the gap in pixels between them.
inline constexpr std::uint8_t kSideBySideBackground = 48;
inline constexpr int kSideBySideGap = 8;

// `left` and `right` side by side, `kSideBySideGap` pixels apart, each centred
// vertically on the taller one's height; the rest is background. Both are
// 3-byte RGB pictures with rows of width * 3 bytes, as the previews are.
RgbPicture sideBySide(const RgbPicture &left, const RgbPicture &right);

}  // namespace ortavel::cli
