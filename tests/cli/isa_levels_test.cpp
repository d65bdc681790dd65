// The whole correction, through the host and the plug-in module, gives the
// same file at every instruction-set level the processor runs (ORTAVEL_ISA
// narrows the level): a real photograph at 8 bits, and a 16-bit picture with
// alpha, for every method, with the zoom, centre and radius limit a user sets.
#include <gtest/gtest.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "resample/isa.h"
#include "run_cli.h"

namespace fs = std::filesystem;

namespace {

const fs::path kPhoto =
    fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg/deb-opencv-doc_scenetext02.jpg";

// An RGBA picture at 16 bits: smooth ramps with noise, so that every tap counts.
void writeRgba16(const fs::path &path, int w, int h) {
  TIFF *tif = TIFFOpen(path.c_str(), "w");
  ASSERT_NE(tif, nullptr);
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 4);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  const uint16_t extra = EXTRASAMPLE_UNASSALPHA;
  TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &extra);
  std::mt19937 rng(5);
  std::vector<uint16_t> row(static_cast<size_t>(w) * 4);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      for (int k = 0; k < 4; ++k) {
        row[static_cast<size_t>(x) * 4 + k] =
            static_cast<uint16_t>((x * 97 + y * 61 + k * 9000) % 60000 + rng() % 4000);
      }
    }
    ASSERT_EQ(TIFFWriteScanline(tif, row.data(), static_cast<uint32_t>(y), 0), 1);
  }
  TIFFClose(tif);
}

class IsaLevels : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string t = (fs::temp_directory_path() / "ortavel-isa-XXXXXX").string();
    dir_ = ::mkdtemp(t.data());
  }
  void TearDown() override {
    ::unsetenv("ORTAVEL_ISA");
    fs::remove_all(dir_);
  }

  // The output file's bytes for one level.
  std::string correct(const std::string &level, const fs::path &in, const std::string &name,
                      const std::vector<std::string> &options) {
    ::setenv("ORTAVEL_ISA", level.c_str(), 1);
    std::vector<std::string> args = {"correct", in.string(), (dir_ / name).string(), "-f", "-q"};
    args.insert(args.end(), options.begin(), options.end());
    const clitest::CliResult r = clitest::runCli(args, dir_);
    EXPECT_EQ(r.exitCode, 0) << level << ": " << r.err;
    return clitest::slurp(dir_ / name);
  }

  fs::path dir_;
};

TEST_F(IsaLevels, EveryLevelWritesTheSameFile) {
  const uint32_t widest = interp_isa_widest();
  if (widest == INTERP_ISA_BASELINE) GTEST_SKIP() << "this processor runs the baseline only";
  writeRgba16(dir_ / "rgba16.tif", 517, 389);
  const struct {
    fs::path input;
    const char *output;
  } pictures[] = {{kPhoto, "photo.png"}, {dir_ / "rgba16.tif", "rgba16-out.tif"}};
  const std::vector<std::string> models[] = {
      {"--k1", "-0.12", "--k2", "0.03"},
      {"--k1", "0.2", "--scale", "0.6", "--center", "0.2,-0.1", "--radius-limit", "0.9"},
      {"--k1", "-0.3", "--scale", "1.7", "--orientation", "right-mirrored"}};
  const char *methods[] = {"bilinear", "bicubic", "lanczos8", "lanczos12"};
  for (const auto &picture : pictures) {
    for (const auto &model : models) {
      for (const char *method : methods) {
        std::vector<std::string> options = model;
        options.insert(options.end(), {"--method", method});
        const std::string baseline =
            correct(interp_isa_name(INTERP_ISA_BASELINE), picture.input, picture.output, options);
        ASSERT_FALSE(baseline.empty());
        for (uint32_t isa = INTERP_ISA_BASELINE + 1; isa <= widest; ++isa) {
          SCOPED_TRACE(testing::Message() << picture.output << " " << method << " "
                                          << interp_isa_name(isa) << " " << model[1]);
          EXPECT_TRUE(correct(interp_isa_name(isa), picture.input, picture.output, options) ==
                      baseline);
        }
      }
    }
  }
}

}  // namespace
