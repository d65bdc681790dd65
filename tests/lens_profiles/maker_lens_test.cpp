// The lens as real camera files record it, many only in their maker note.
// Expected names and ranges are exiftool 12.57's reading of the same files
// (LensID, LensModel, MinFocalLength/MaxFocalLength), not ours.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "image_io/exif_block.h"
#include "image_io/image_io.h"
#include "lens_profiles/maker_lens.h"

namespace fs = std::filesystem;

namespace ortavel::cli {
namespace {

const fs::path kLens = fs::path(ORTAVEL_TESTDATA_DIR) / "lens";

RecordedLens lensOf(const std::string &file) {
  return readRecordedLens(readImage(kLens / file).doc.exif);
}

TEST(RecordedLens, NamesTheLensFromEachMakersNote) {
  struct Case {
    const char *file;
    const char *name;  // exiftool's LensID (or LensModel), contained in ours
  };
  const Case cases[] = {
      {"deb-exiftool_Canon1DmkIII.jpg", "EF16-35mm f/2.8L II USM"},
      {"deb-exiftool_NikonD2Hs.jpg", "AF Nikkor 50mm f/1.8D"},
      {"deb-exiftool_NikonD70.jpg", "AF-S DX Zoom-Nikkor 18-70mm f/3.5-4.5G IF-ED"},
      {"deb-exiftool_Pentax.jpg", "Sigma AF 10-20mm F4-5.6 EX DC"},
      {"deb-libexif_olympus_makernote_variant_4-E-PL2.jpg",
       "Olympus M.Zuiko Digital 14-42mm F3.5-5.6 II"},
      // The E-1's equipment directory is an opaque block in its maker note.
      {"deb-exiftool_OlympusE1.jpg", "Olympus Zuiko Digital 14-54mm F2.8-3.5"},
  };
  for (const Case &c : cases) {
    const RecordedLens lens = lensOf(c.file);
    ASSERT_TRUE(lens.name) << c.file;
    EXPECT_NE(lens.name->find(c.name), std::string::npos) << c.file << ": " << *lens.name;
    ASSERT_TRUE(lens.tag) << c.file;
    EXPECT_EQ(lens.tag->rfind("Exif.", 0), 0u) << *lens.tag;
  }
}

TEST(RecordedLens, AnUnknownLensNumberGivesNoNameButTheRecordedRange) {
  // The 300D records lens type 65535 ("n/a") and the range 18-55 mm.
  const RecordedLens canon = lensOf("deb-exiftool_Canon.jpg");
  EXPECT_FALSE(canon.name) << *canon.name;
  ASSERT_TRUE(canon.minFocalMm && canon.maxFocalMm);
  EXPECT_DOUBLE_EQ(*canon.minFocalMm, 18.0);
  EXPECT_DOUBLE_EQ(*canon.maxFocalMm, 55.0);
  // Nikon's own range (the lens's nominal one, 18-70 mm).
  const RecordedLens nikon = lensOf("deb-exiftool_NikonD70.jpg");
  ASSERT_TRUE(nikon.minFocalMm && nikon.maxFocalMm);
  EXPECT_DOUBLE_EQ(*nikon.minFocalMm, 18.0);
  EXPECT_DOUBLE_EQ(*nikon.maxFocalMm, 70.0);
}

TEST(RecordedLens, FilesWithoutALensAndBrokenBlocksGiveNothing) {
  EXPECT_FALSE(readRecordedLens({}).name);
  // A compact's file: no lens tag anywhere.
  EXPECT_FALSE(readRecordedLens(readImage(fs::path(ORTAVEL_TESTDATA_DIR) /
                                          "exif/exif-jpeg/deb-goexif_sample1.jpg")
                                    .doc.exif)
                   .name);
  // A block cut short inside its directories must not throw.
  auto exif = readImage(kLens / "deb-exiftool_NikonD70.jpg").doc.exif;
  for (std::size_t n : {std::size_t{8}, std::size_t{40}, exif.size() / 2}) {
    const std::span<const std::uint8_t> cut(exif.data(), n);
    EXPECT_NO_THROW(readRecordedLens(cut)) << n;
  }
  exif.assign(200, 0xAB);
  EXPECT_FALSE(readRecordedLens(exif).name);
}

// The E-1's lens number sits at an offset its equipment block gives: an
// offset or a type forged in that block leaves the lens unnamed, and no read
// leaves the block.
TEST(RecordedLens, AForgedOlympusEquipmentBlockNamesNoLens) {
  const auto exif = readImage(kLens / "deb-exiftool_OlympusE1.jpg").doc.exif;
  // LensType's entry: tag 0x0201, BYTE, count 6 (the maker note is little-endian).
  const std::uint8_t entry[] = {0x01, 0x02, 0x01, 0x00, 0x06, 0x00, 0x00, 0x00};
  const auto at = std::search(exif.begin(), exif.end(), std::begin(entry), std::end(entry));
  ASSERT_NE(at, exif.end());
  const std::size_t pos = static_cast<std::size_t>(at - exif.begin());
  const std::size_t tiffSize = stripExifPrefix(exif).size();
  const auto patched = [&](std::size_t field, std::uint32_t value) {
    auto bytes = exif;
    for (int k = 0; k < 4; ++k)
      bytes[pos + field + k] = static_cast<std::uint8_t>(value >> (8 * k));
    return bytes;
  };
  for (const std::uint32_t offset :
       {static_cast<std::uint32_t>(tiffSize - 5), static_cast<std::uint32_t>(tiffSize),
        std::uint32_t{0xFFFFFFFF}}) {
    EXPECT_FALSE(readRecordedLens(patched(8, offset)).name) << offset;
  }
  EXPECT_FALSE(readRecordedLens(patched(4, 7)).name);  // count 7
  auto asShort = exif;
  asShort[pos + 2] = 3;
  EXPECT_FALSE(readRecordedLens(asShort).name);
}

TEST(RecordedLens, PrintedValuesThatNameNoLens) {
  for (const char *t : {"", "(118)", "n/a", "None", "Unknown 18-55mm", "65535", "0 0 9 16"})
    EXPECT_FALSE(namesALens(t)) << t;
  for (const char *t : {"Sigma AF 10-20mm F4-5.6 EX DC", "EF16-35mm f/2.8L II USM"})
    EXPECT_TRUE(namesALens(t)) << t;
}

}  // namespace
}  // namespace ortavel::cli
