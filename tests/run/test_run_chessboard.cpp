// Photographs of a chessboard corrected through the plug-in, with the lens
// settings converted from each camera's calibration: the rows and columns of
// the board's corners come out straighter.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "../../cli/calibration.h"
#include "emulator/host.h"
#include "emulator/plugin.h"
#include "host/photoshop_api.h"
#include "jpeg_grey.h"
#include "run_support.h"
#include "support/chessboard.h"

namespace {

using ortavel::PinholeCalibration;
namespace chess = ortavel::test;

chess::Straightness Measure(const hostemu::Document &doc) {
  const auto grid = chess::FindChessboardCorners(
      chess::GreyView{doc.planes[0].samples.data(), doc.width, doc.height, doc.width, 1});
  EXPECT_TRUE(grid.has_value());
  return grid ? chess::MeasureStraightness(*grid) : chess::Straightness{};
}

TEST(ChessboardThroughThePlugin, CornerRowsComeOutStraighter) {
  const std::pair<const char *, PinholeCalibration> photos[] = {
      {"left01.jpg", {640, 480, 536.46, 536.41, 342.37, 235.55, -0.278647, 0.067173}},
      {"0_left.jpg", ortavel::kStereoRigLeftCalibration}};
  hostemu::Plugin plugin(ORTAVEL_PLUGIN_PATH);
  for (const auto &[file, calibration] : photos) {
    SCOPED_TRACE(file);
    const chess::GreyImage photo =
        chess::ReadJpegGrey(std::string(ORTAVEL_TESTDATA_DIR) + "/run/" + file);
    ASSERT_EQ(photo.width, calibration.width);
    hostemu::Document doc = runtest::MakeDocument(
        photo.width, photo.height, 8, 1,
        [&](int, int x, int y) { return photo.pixels[y * photo.width + x]; }, plugInModeGrayScale);
    const lensdistort_model lens = ortavel::LensFromPinholeCalibration(calibration);
    const runtest::Settings s{lens.k1,      lens.k2,          lens.centerX,
                              lens.centerY, lens.radiusLimit, lens.scale};
    hostemu::HostOptions options;
    std::tie(options.outTileWidth, options.outTileHeight, options.inTileWidth,
             options.inTileHeight) = std::tuple(128, 128, 64, 64);
    const chess::Straightness before = Measure(doc);
    hostemu::Host host(plugin, doc, options);
    ASSERT_EQ(host.runFilter(runtest::MakeDescriptor(s)).result, 0);
    const chess::Straightness after = Measure(host.workingDocument());
    ASSERT_GT(after.rms, 0.0);
    EXPECT_LE(3.0 * after.rms, before.rms) << "before " << before.rms << " after " << after.rms;
  }
}

}  // namespace
