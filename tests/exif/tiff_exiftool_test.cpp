// Blocks that exiftool itself writes into a fresh JPEG at test time, in both
// byte orders, read back by the reader.
#include <gtest/gtest.h>
#include <jpeglib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "exif_test_util.h"

namespace ortavel::test {
namespace {

namespace fs = std::filesystem;

// An 8x8 grey JPEG with no metadata, for exiftool to write into.
void WriteTinyJpeg(const fs::path &path) {
  FILE *out = std::fopen(path.c_str(), "wb");
  ASSERT_NE(out, nullptr);
  jpeg_compress_struct cinfo;
  jpeg_error_mgr jerr;
  cinfo.err = jpeg_std_error(&jerr);
  jpeg_create_compress(&cinfo);
  jpeg_stdio_dest(&cinfo, out);
  cinfo.image_width = 8;
  cinfo.image_height = 8;
  cinfo.input_components = 1;
  cinfo.in_color_space = JCS_GRAYSCALE;
  jpeg_set_defaults(&cinfo);
  cinfo.write_JFIF_header = TRUE;
  jpeg_start_compress(&cinfo, TRUE);
  JSAMPLE row[8] = {0, 32, 64, 96, 128, 160, 192, 224};
  while (cinfo.next_scanline < cinfo.image_height) {
    JSAMPROW rows[1] = {row};
    jpeg_write_scanlines(&cinfo, rows, 1);
  }
  jpeg_finish_compress(&cinfo);
  jpeg_destroy_compress(&cinfo);
  std::fclose(out);
}

class ExiftoolWritten : public ::testing::TestWithParam<const char *> {
 protected:
  void SetUp() override {
    if (std::system("exiftool -ver > /dev/null 2>&1") != 0) {
      GTEST_SKIP() << "exiftool is not installed (Debian package libimage-exiftool-perl)";
    }
    dir_ = fs::temp_directory_path() /
           ("ortavel-exif-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
            "-" + GetParam() + "-" + std::to_string(reinterpret_cast<uintptr_t>(this)));
    fs::create_directories(dir_);
  }
  void TearDown() override {
    if (!dir_.empty()) fs::remove_all(dir_);
  }
  fs::path dir_;
};

TEST_P(ExiftoolWritten, MakeModelAndFocalLength) {
  const fs::path plain = dir_ / "plain.jpg";
  const fs::path tagged = dir_ / "tagged.jpg";
  WriteTinyJpeg(plain);
  const std::string order = GetParam();
  const std::string command = "exiftool -q -o '" + tagged.string() +
                              "' -Make='Ortavel Test Works' -Model='TX-9 Mark II'"
                              " -FocalLength=35.5 -ExifByteOrder=" +
                              order + " '" + plain.string() + "'";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;

  Parser p = Parse(ReadBytes(tagged));
  ASSERT_TRUE(p);
  EXPECT_EQ(p->error_count, 0);
  EXPECT_EQ(p->file_order, order == "Big-endian" ? 2 : 1);
  EXPECT_GT(p->offset, 2);  // inside the APP1 segment, not the scan
  const tiff_tag *make = Find(p.get(), 0, 271);
  const tiff_tag *model = Find(p.get(), 0, 272);
  const tiff_tag *focal = Find(p.get(), 1, 37386);
  ASSERT_TRUE(make && model && focal);
  EXPECT_STREQ(tiff_parse_get_string(make), "Ortavel Test Works");
  EXPECT_STREQ(tiff_parse_get_string(model), "TX-9 Mark II");
  double mm = 0;
  EXPECT_TRUE(tiff_parse_get_double(focal, 0, &mm));
  EXPECT_EQ(mm, 35.5);
}

INSTANTIATE_TEST_SUITE_P(ByteOrders, ExiftoolWritten,
                         ::testing::Values("Big-endian", "Little-endian"), [](const auto &order) {
                           return std::string(order.param).substr(0, order.param[0] == 'B' ? 3 : 6);
                         });

}  // namespace
}  // namespace ortavel::test
