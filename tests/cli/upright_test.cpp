// Pictures turned upright by their EXIF orientation: each of the eight
// against the picture drawn by hand, and the orientation read from the EXIF
// block the command keeps.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "image_io/exif_block.h"
#include "upright.h"

namespace ortavel::cli {
namespace {

// A picture of letters, one pixel each (all three samples the letter).
RgbPicture letters(std::int32_t w, std::int32_t h, const std::string &rows) {
  RgbPicture p{w, h, {}};
  for (const char c : rows) p.pixels.insert(p.pixels.end(), 3, static_cast<std::uint8_t>(c));
  return p;
}

TEST(Upright, EachOrientationShowsThePictureAsDrawn) {
  // Stored:  a b c
  //          d e f
  const RgbPicture stored = letters(3, 2, "abcdef");
  struct Case {
    int orientation;
    std::int32_t w, h;
    std::string shown;
  };
  for (const Case &c : std::vector<Case>{{1, 3, 2, "abcdef"},
                                         {2, 3, 2, "cbafed"},     // mirrored left-right
                                         {3, 3, 2, "fedcba"},     // turned 180
                                         {4, 3, 2, "defabc"},     // mirrored top-bottom
                                         {5, 2, 3, "adbecf"},     // transposed
                                         {6, 2, 3, "daebfc"},     // 90 clockwise
                                         {7, 2, 3, "fcebda"},     // transversed
                                         {8, 2, 3, "cfbead"}}) {  // 90 anticlockwise
    const RgbPicture got = upright(stored, c.orientation);
    EXPECT_EQ(got.width, c.w) << c.orientation;
    EXPECT_EQ(got.height, c.h) << c.orientation;
    EXPECT_EQ(got.pixels, letters(c.w, c.h, c.shown).pixels) << c.orientation;
    EXPECT_EQ(swapsSides(c.orientation), c.w == 2) << c.orientation;
  }
}

TEST(Upright, TheOrientationIsReadFromTheExifBlock) {
  for (int o = 1; o <= 8; ++o) {
    CameraTags tags;
    tags.model = "X";
    tags.orientation = o;
    Image img;
    img.doc.exif = buildExifBlock(tags);
    EXPECT_EQ(displayOrientation(img), o);
  }
  Image none;
  EXPECT_EQ(displayOrientation(none), 1);
  // A value outside 1..8 is no orientation. Big-endian, IFD0 with one
  // entry: tag 274, SHORT, count 1, value 9.
  const std::vector<std::uint8_t> bad = {'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1, 0x12, 0, 3,
                                         0,   0,   0, 1,  0, 9, 0, 0, 0, 0, 0, 0,    0, 0};
  EXPECT_FALSE(readCameraTags(bad).orientation);
  std::vector<std::uint8_t> good = bad;
  good[19] = 8;
  EXPECT_EQ(readCameraTags(good).orientation, 8);
}

}  // namespace
}  // namespace ortavel::cli
