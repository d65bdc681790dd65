// The whole correction, through the host and the plug-in module, gives the
// same file at every instruction-set level the processor runs (ORTAVEL_ISA
// narrows the level): a real photograph at 8 bits, a 16-bit picture with
// alpha, and one wider than 16-bit coordinates reach, for the methods users
// pick, with the zoom, centre, radius limit and orientation a user sets.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "image_io/image.h"
#include "image_io/image_io.h"
#include "resample/isa.h"
#include "run_cli.h"

namespace fs = std::filesystem;

namespace {

const fs::path kPhoto =
    fs::path(ORTAVEL_TESTDATA_DIR) / "exif/exif-jpeg/deb-opencv-doc_scenetext02.jpg";

// A TIFF of 8- or 16-bit samples, RGB or RGBA, written by the command's own
// image code: smooth ramps with noise, so that every tap counts.
void writeTiff(const fs::path &path, int w, int h, int bits, int channels) {
  using namespace ortavel::cli;
  Image img;
  img.colour = ColourModel::kRgb;
  img.fileBits = bits;
  allocatePlanes(img, w, h, bits, channels);
  std::mt19937 rng(5);
  for (int k = 0; k < channels; ++k) {
    std::uint8_t *plane = img.doc.planes[static_cast<size_t>(k)].samples.data();
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const size_t i = static_cast<size_t>(y) * w + x;
        // 16-bit planes hold the host's scale, 0 .. 32768.
        const uint32_t v = (x * 97 + y * 61 + k * 9000) % 30000 + rng() % 2000;
        if (bits == 8) {
          plane[i] = static_cast<std::uint8_t>(v >> 7);
        } else {
          const auto s = static_cast<uint16_t>(v);
          std::memcpy(plane + 2 * i, &s, 2);
        }
      }
    }
  }
  writeImage(img, FileFormat::kTiff, path, {});
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
  writeTiff(dir_ / "rgba16.tif", 517, 389, 16, 4);
  // Wider than 16-bit coordinates reach.
  writeTiff(dir_ / "wide.tif", 40003, 9, 8, 3);
  const struct {
    fs::path input;
    const char *output;
  } pictures[] = {{kPhoto, "photo.png"},
                  {dir_ / "rgba16.tif", "rgba16-out.tif"},
                  {dir_ / "wide.tif", "wide-out.tif"}};
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
