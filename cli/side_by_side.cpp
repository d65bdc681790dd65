#include "side_by_side.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace ortavel::cli {

namespace {

// The letters of the two captions, 5x7 cells each, a row per string.
struct Glyph {
  char letter;
  const char *rows[7];
};
constexpr Glyph kGlyphs[] = {
    {'A', {".###.", "#...#", "#...#", "#####", "#...#", "#...#", "#...#"}},
    {'B', {"####.", "#...#", "#...#", "####.", "#...#", "#...#", "####."}},
    {'E', {"#####", "#....", "#....", "####.", "#....", "#....", "#####"}},
    {'F', {"#####", "#....", "#....", "####.", "#....", "#....", "#...."}},
    {'O', {".###.", "#...#", "#...#", "#...#", "#...#", "#...#", ".###."}},
    {'R', {"####.", "#...#", "#...#", "####.", "#.#..", "#..#.", "#...#"}},
    {'T', {"#####", "..#..", "..#..", "..#..", "..#..", "..#..", "..#.."}},
};
constexpr int kGlyphW = 5, kGlyphH = 7;

const Glyph *glyphOf(char c) {
  for (const Glyph &g : kGlyphs)
    if (g.letter == c) return &g;
  return nullptr;
}

void place(RgbPicture &out, const RgbPicture &pic, std::int32_t left, std::int32_t top) {
  const std::size_t rowBytes = static_cast<std::size_t>(pic.width) * 3;
  for (std::int32_t y = 0; y < pic.height; ++y) {
    const std::size_t to = (static_cast<std::size_t>(top + y) * out.width + left) * 3;
    std::memcpy(out.pixels.data() + to, pic.pixels.data() + y * rowBytes, rowBytes);
  }
}

// `text` centred in the caption strip above the column [left, left + width):
// cells of `scale` pixels, one cell between letters; none when it does not fit.
void caption(RgbPicture &out, std::string_view text, std::int32_t left, std::int32_t width) {
  const auto n = static_cast<std::int32_t>(text.size());
  int scale = 2;
  while (scale > 0 && (n * (kGlyphW + 1) - 1) * scale > width - 4) --scale;
  if (scale == 0) return;
  const std::int32_t textW = (n * (kGlyphW + 1) - 1) * scale;
  const std::int32_t x0 = left + (width - textW) / 2;
  const std::int32_t y0 = (kSideBySideCaption - kGlyphH * scale) / 2;
  for (std::int32_t i = 0; i < n; ++i) {
    const Glyph *g = glyphOf(text[static_cast<std::size_t>(i)]);
    if (g == nullptr) continue;
    for (int gy = 0; gy < kGlyphH; ++gy) {
      for (int gx = 0; gx < kGlyphW; ++gx) {
        if (g->rows[gy][gx] != '#') continue;
        for (int dy = 0; dy < scale; ++dy) {
          for (int dx = 0; dx < scale; ++dx) {
            const std::int32_t x = x0 + (i * (kGlyphW + 1) + gx) * scale + dx;
            const std::int32_t y = y0 + gy * scale + dy;
            std::memset(out.pixels.data() + (static_cast<std::size_t>(y) * out.width + x) * 3,
                        kSideBySideText, 3);
          }
        }
      }
    }
  }
}

}  // namespace

RgbPicture sideBySide(const RgbPicture &left, const RgbPicture &right) {
  RgbPicture out;
  out.width = left.width + kSideBySideGap + right.width;
  const std::int32_t body = std::max(left.height, right.height);
  out.height = kSideBySideCaption + body;
  out.pixels.assign(static_cast<std::size_t>(out.width) * out.height * 3, kSideBySideBackground);
  place(out, left, 0, kSideBySideCaption + (body - left.height) / 2);
  place(out, right, left.width + kSideBySideGap, kSideBySideCaption + (body - right.height) / 2);
  caption(out, "BEFORE", 0, left.width);
  caption(out, "AFTER", left.width + kSideBySideGap, right.width);
  return out;
}

}  // namespace ortavel::cli
