// The preview requests through the emulated host: the source preview read
// scaled from the document's target channels, the corrected preview made
// from it, the grey fallback, and requests with nothing to do.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "emulator/host.h"
#include "emulator/plugin.h"
#include "emulator/suites/suite_host.h"
#include "geometry/lensdistort.h"
#include "host/photoshop_api.h"
#include "resample/interp.h"
#include "run/preview_buffer.h"
#include "run_support.h"

namespace {

constexpr std::uint8_t kPad = 0xAB;  // bytes past each row that must stay

// A caller's preview record with its own pixels, rows padded by 5 bytes.
struct Preview {
  PreviewBuffer record{};
  std::vector<std::uint8_t> pixels;
  Preview(int w, int h, bool pending) : pixels(static_cast<size_t>(h) * (w * 3 + 5), kPad) {
    record = {pending, w, h, w * 3 + 5, pixels.data()};
  }
  const std::uint8_t *At(int x, int y) const { return &pixels[y * record.rowBytes + x * 3]; }
  bool PaddingKept() const {
    for (int y = 0; y < record.height; y++) {
      if (std::count(At(record.width, y), At(0, y) + record.rowBytes, kPad) != 5) return false;
    }
    return true;
  }
};

// Monitor RGB of 4-byte colours as the host converts them, asked of the
// host's own colour-space suite.
std::vector<std::uint8_t> HostMonitorRgb(hostemu::Host &host, std::int16_t space,
                                         std::vector<std::uint8_t> colours) {
  auto active = host.suites().activate();
  SPBasicSuite *basic = host.suites().basicSuite();
  const void *table = nullptr;
  EXPECT_EQ(basic->AcquireSuite(kPSColorSpaceSuite, 1, &table), 0);
  const auto *suite = static_cast<const PSColorSpaceSuite1 *>(table);
  std::vector<std::uint8_t> out(colours.size());
  suite->ConvertToMonitorRGB(space, reinterpret_cast<Color8 *>(colours.data()),
                             reinterpret_cast<Color8 *>(out.data()),
                             static_cast<std::int16_t>(colours.size() / 4));
  basic->ReleaseSuite(kPSColorSpaceSuite, 1);
  return out;
}

std::uint32_t Pattern(int p, int x, int y) {
  return (x * 29 + y * 53 + p * 71) % 256;
}

// Serves the requests for `source` and `corrected` (either may be null) and
// returns the alerts shown. A preview request always ends the run as
// cancelled, the document untouched.
std::vector<std::string> Serve(hostemu::Document &doc, Preview *source, Preview *corrected,
                               runtest::Settings s = {},
                               const std::function<void(hostemu::Host &)> &check = nullptr) {
  s.previewUncorrected = source != nullptr ? &source->record : nullptr;
  s.previewCorrected = corrected != nullptr ? &corrected->record : nullptr;
  hostemu::Plugin plugin(ORTAVEL_PLUGIN_PATH);
  hostemu::Host host(plugin, doc);
  EXPECT_EQ(host.runFilter(runtest::MakeDescriptor(s)).result, -128);
  for (size_t p = 0; p < doc.planes.size(); p++) {
    EXPECT_EQ(host.workingDocument().planes[p].samples, doc.planes[p].samples) << "plane " << p;
  }
  if (check) check(host);
  return runtest::AlertTexts(host);
}

// At full size an RGB preview is the picture itself. Greyscale reads its one
// channel into byte 3 of each pixel, CMYK with black not targeted keeps black
// at its neutral 255 (no ink), and both go through the host's conversion.
TEST(SourcePreview, RgbGreyAndCmyk) {
  struct Case {
    std::int16_t mode, space;
    int planes;
  };
  for (const Case &c : {Case{plugInModeRGBColor, plugIncolorServicesRGBSpace, 3},
                        Case{plugInModeGrayScale, plugIncolorServicesGraySpace, 1},
                        Case{plugInModeCMYKColor, plugIncolorServicesCMYKSpace, 4}}) {
    SCOPED_TRACE(c.planes);
    hostemu::Document doc = runtest::MakeDocument(12, 9, 8, c.planes, Pattern, c.mode);
    doc.planes.back().targeted = c.planes != 4;
    Preview preview(12, 9, true);
    std::vector<std::uint8_t> expected;
    const auto alerts = Serve(doc, &preview, nullptr, {}, [&](hostemu::Host &host) {
      std::vector<std::uint8_t> colours;  // 4 bytes a pixel, row by row
      for (int i = 0; i < 12 * 9 * 4; i++) {
        const int b = i % 4, p = c.planes == 1 ? b - 3 : c.planes == 3 ? b - 1 : b;  // plane in b
        colours.push_back(p == 3 ? 255 : p < 0 ? 0 : Pattern(p, i / 4 % 12, i / 48));
      }
      expected = c.planes == 3 ? colours : HostMonitorRgb(host, c.space, colours);
    });
    EXPECT_EQ(std::tuple(alerts.size(), preview.record.pending, preview.PaddingKept()),
              std::tuple(0u, 0, true));
    for (int i = 0; i < 12 * 9 * 3; i++) {  // 3 bytes a pixel, each byte 1..3 of the colour
      ASSERT_EQ(preview.At(i / 3 % 12, i / 36)[i % 3], expected[i / 3 * 4 + 1 + i % 3]) << i;
    }
  }
}

TEST(SourcePreview, NoTargetedChannelGivesFlatGreyAndSaysSo) {
  hostemu::Document doc = runtest::MakeDocument(10, 8, 8, 3, Pattern);
  for (auto &plane : doc.planes) plane.targeted = false;
  Preview source(6, 4, true);
  EXPECT_EQ(
      Serve(doc, &source, nullptr),
      std::vector<std::string>{"Could not find any target composite channels.\nYou e.g. marked an "
                               "alpha channel or are using multichannel.\n\nCannot show any "
                               "preview.\nThe transformation, of the marked channel(s), will work "
                               "though."});
  // Every byte of every row, its padding too.
  EXPECT_EQ(source.pixels, std::vector<std::uint8_t>(source.pixels.size(), 200));
  EXPECT_EQ(source.record.pending, 0);
}

TEST(CorrectedPreview, SameSizeWithoutMarginsIsTheKernelOverTheSourcePreview) {
  hostemu::Document doc = runtest::MakeDocument(60, 40, 8, 3, Pattern);
  Preview source(30, 20, true), corrected(30, 20, true);
  const runtest::Settings s{.k1 = 0.2, .scale = 1.1};
  EXPECT_TRUE(Serve(doc, &source, &corrected, s).empty());
  EXPECT_EQ(source.record.pending + corrected.record.pending, 0);
  EXPECT_TRUE(corrected.PaddingKept());

  // Both previews at one scale: the model works on the source preview with
  // the scale as given, and the two pictures share their origin.
  const lensdistort_model model = runtest::ModelFor(s, 30, 20);
  std::vector<std::uint8_t> expected(corrected.pixels.size(), kPad);
  const interp_source src{source.pixels.data(),   0.0, 0.0, 30, 20,
                          source.record.rowBytes, 3,   3,   255};
  const interp_target dst{expected.data(), 0.0, 0.0, 30, 20, corrected.record.rowBytes, 3, 3, 255};
  interp_get_method(BICUBIC, 1)->kernel(&src, &dst, lensdistort_transform_point, &model);
  EXPECT_EQ(corrected.pixels, expected);
  EXPECT_NE(corrected.pixels, source.pixels);
}

TEST(CorrectedPreview, NothingPendingDrawsNothing) {
  hostemu::Document doc = runtest::MakeDocument(10, 8, 8, 3, Pattern);
  Preview source(10, 8, false), corrected(10, 8, false);
  EXPECT_TRUE(Serve(doc, &source, &corrected).empty());
  EXPECT_EQ(source.pixels, std::vector<std::uint8_t>(source.pixels.size(), kPad));
  EXPECT_EQ(corrected.pixels, source.pixels);
}

}  // namespace
