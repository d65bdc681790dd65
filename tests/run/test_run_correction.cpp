// The full-size correction through the emulated host: identity, agreement
// with one direct kernel call over the whole image, blank tiles, margins,
// and the ways a run ends early.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "emulator/fourcc.h"
#include "emulator/host.h"
#include "emulator/plugin.h"
#include "geometry/lensdistort.h"
#include "host/photoshop_api.h"
#include "resample/interp.h"
#include "run_support.h"

namespace {

using hostemu::fourCC;
using runtest::Settings;

constexpr const char *kAutomation = "This plugin shall be executed from the FILE/Automation menu.";

hostemu::HostOptions Tiles(int outW, int outH, int inW, int inH) {
  hostemu::HostOptions o;
  std::tie(o.outTileWidth, o.outTileHeight, o.inTileWidth, o.inTileHeight) =
      std::tuple<std::int16_t, std::int16_t, std::int16_t, std::int16_t>(outW, outH, inW, inH);
  return o;
}

class FullRun : public testing::Test {
 protected:
  hostemu::Plugin plugin{ORTAVEL_PLUGIN_PATH};
};
using FullRunEnds = FullRun;

// A busy 8-bit picture: no two neighbours alike, every plane different.
std::uint32_t Busy8(int p, int x, int y) {
  return (x * 37 + y * 11 + p * 85 + x * y) % 251 + 3;
}

// Number of samples (over all planes) where two documents differ in columns
// x0..x1 - 1 of every row.
int Differences(const hostemu::Document &a, const hostemu::Document &b, int x0 = 0, int x1 = -1) {
  int n = 0;
  for (size_t p = 0; p < a.planes.size(); p++) {
    for (int y = 0; y < a.height; y++) {
      for (int x = x0; x < (x1 < 0 ? a.width : x1); x++) {
        n += runtest::Sample(a, p, x, y) != runtest::Sample(b, p, x, y);
      }
    }
  }
  return n;
}

TEST_F(FullRun, DefaultsLeaveThePictureUnchangedAtEveryDepth) {
  // 16-bit samples run up to the host's 32768; 32-bit ones stay within the
  // 0..255 that their kernels clamp to.
  const std::pair<int, runtest::PixelFn> cases[] = {
      {8, Busy8},
      {16, [](int p, int x, int y) { return (x * 911 + y * 347 + p * 9001) % 32769u; }},
      {32, Busy8}};
  for (const auto &[depth, fn] : cases) {
    SCOPED_TRACE(depth);
    hostemu::Document doc = runtest::MakeDocument(45, 38, depth, 3, fn);
    const hostemu::Document input = doc;
    hostemu::Host host(plugin, doc, Tiles(16, 16, 8, 8));
    const hostemu::RunResult r = host.runFilter();  // bare, from the filter menu
    EXPECT_EQ(std::tuple(r.result, Differences(host.workingDocument(), input)), std::tuple(0, 0));
    EXPECT_EQ(runtest::AlertTexts(host), std::vector<std::string>{kAutomation});
    // 3 x 3 output tiles of 16, each reported once.
    EXPECT_EQ(host.log().ofKind(hostemu::LogKind::Progress).back().field("done"), "9");
  }
}

TEST_F(FullRun, EqualsOneKernelCallOverTheWholeImage) {
  Settings s{.k1 = 0.09, .k2 = 0.02, .scale = 1.05};
  const hostemu::Document doc0 = runtest::MakeDocument(97, 73, 8, 3, Busy8);
  const std::pair<std::uint32_t, std::uint32_t> methods[] = {{fourCC("biCu"), BICUBIC},
                                                             {fourCC("la06"), LANCZOS6}};
  const hostemu::HostOptions tiles[] = {Tiles(16, 16, 16, 16), Tiles(23, 17, 7, 11),
                                        Tiles(97, 73, 512, 512), Tiles(5, 64, 1, 1)};
  for (const auto &[code, id] : methods) {
    s.method = code;
    const hostemu::Document expected =
        runtest::ReferenceCorrection(doc0, id, runtest::ModelFor(s, 97, 73));
    ASSERT_GT(Differences(expected, doc0), 1000);  // the settings do move pixels
    for (const hostemu::HostOptions &t : tiles) {
      for (const bool pool : {true, false}) {
        SCOPED_TRACE(testing::Message() << hostemu::fourCCText(code) << " " << t.outTileWidth << "x"
                                        << t.outTileHeight << "/" << t.inTileWidth << " " << pool);
        hostemu::Document doc = doc0;
        hostemu::Host host(plugin, doc, t);
        runtest::RefuseThreads(!pool);
        const hostemu::RunResult r = host.runFilter(runtest::MakeDescriptor(s));
        const int refused = runtest::RefuseThreads(false);
        // Without threads the pool is refused at its first thread and the
        // run goes on by itself.
        EXPECT_EQ(std::tuple(r.result, Differences(host.workingDocument(), expected), refused),
                  std::tuple(0, 0, pool ? 0 : 1));
      }
    }
  }
}

// The perimeter only bounds a tile's map when the map does not fold. With
// k1 = -1 the radius r - r^3 peaks at r = 0.577 inside tile (1, 2) of 65, so
// its interior reaches more than three columns past the mapped perimeter,
// beyond the source block the host delivers (bilinear widens by 1, and a
// right edge at max + 2 takes columns to max + 1): those pixels come out
// black, unlike one whole-image call.
TEST_F(FullRun, DiffersWhereTheMappedPerimeterDoesNotBoundTheTile) {
  const Settings s{.k1 = -1.0, .method = fourCC("biLi")};
  hostemu::Document doc = runtest::MakeDocument(201, 201, 8, 1, Busy8);
  const hostemu::Document expected =
      runtest::ReferenceCorrection(doc, BILINEAR, runtest::ModelFor(s, 201, 201));
  hostemu::Host host(plugin, doc, Tiles(65, 65, 1, 1));
  ASSERT_EQ(host.runFilter(runtest::MakeDescriptor(s)).result, 0);
  int blackHere = 0;
  for (int y = 65; y < 130; y++) {
    for (int x = 130; x < 195; x++) {
      blackHere += runtest::Sample(host.workingDocument(), 0, x, y) == 0 &&
                   runtest::Sample(expected, 0, x, y) != 0;
    }
  }
  EXPECT_GT(blackHere, 100);
}

TEST_F(FullRun, TilesMappedWhollyOutsideAreZeroInEveryPlane) {
  // The optical centre far to the left: everything maps off the image.
  const Settings s{.k1 = 1.0, .centerX = 5.0};
  hostemu::Document doc = runtest::MakeDocument(30, 20, 16, 4, [](int, int, int) { return 999u; });
  hostemu::Host host(plugin, doc, Tiles(16, 16, 16, 16));
  ASSERT_EQ(host.runFilter(runtest::MakeDescriptor(s)).result, 0);
  for (const hostemu::Plane &plane : host.workingDocument().planes) {
    EXPECT_EQ(plane.samples, hostemu::Samples(plane.samples.size(), 0));
  }
}

TEST_F(FullRun, MarginsMoveThePictureByLeftAndTop) {
  const Settings s{.top = 2, .bottom = 5, .left = 3, .right = 4};
  hostemu::Document doc = runtest::MakeDocument(40, 30, 8, 3, Busy8);
  hostemu::Host host(plugin, doc, Tiles(8, 8, 8, 8));
  ASSERT_EQ(host.runFilter(runtest::MakeDescriptor(s)).result, 0);
  // The picture is the top-left 33 x 23 pixels; it lands at (3, 2) and the
  // rest of the output lies outside it.
  const hostemu::Document expected = runtest::MakeDocument(40, 30, 8, 3, [](int p, int x, int y) {
    return x >= 3 && x < 36 && y >= 2 && y < 25 ? Busy8(p, x - 3, y - 2) : 0u;
  });
  EXPECT_EQ(Differences(host.workingDocument(), expected), 0);
}

TEST_F(FullRunEnds, BadParameters) {
  hostemu::Document doc = runtest::MakeDocument(20, 20, 8, 3, Busy8);
  for (const auto &t : {Tiles(0, 16, 16, 16), Tiles(16, 0, 16, 16)}) {  // no output tile size
    hostemu::Host host(plugin, doc, t);
    const hostemu::RunResult r = host.runFilter(runtest::MakeDescriptor(Settings{}));
    EXPECT_EQ(std::tuple(r.result, r.failedSelector, r.tiles), std::tuple(-30100, 3, 0));
  }
  hostemu::Host host(plugin, doc);
  for (const std::int32_t depth : {1, 24, 64}) {  // 1, 3 and 8 bytes: no kernel for any
    host.filterRecord()->depth = depth;
    EXPECT_EQ(host.callSelector(hostemu::kSelectorStart), -30100) << depth;
  }
  EXPECT_EQ(host.log().count(hostemu::LogKind::Tile), 0u);  // no tile asked for
}

// Replaces the host's advanceState for the rest of a run: the host does its
// part, then reports a failure.
std::int16_t (*gRealAdvance)() = nullptr;
std::int16_t FailingAdvance() {
  gRealAdvance();
  return ioErr;
}

TEST_F(FullRunEnds, AdvanceStateFailingPartWayKeepsTheTilesWritten) {
  const Settings s{.k1 = 0.05};
  hostemu::Document doc = runtest::MakeDocument(48, 16, 8, 3, Busy8);
  const hostemu::Document input = doc;
  const hostemu::Document expected =
      runtest::ReferenceCorrection(doc, BICUBIC, runtest::ModelFor(s, 48, 16));
  hostemu::HostOptions options = Tiles(16, 16, 16, 16);
  hostemu::Host *hostp = nullptr;
  options.progressCallback = [&hostp](std::int32_t done, std::int32_t) {
    if (done == 2) {
      FilterRecord *fr = hostp->filterRecord();
      gRealAdvance = fr->advanceState;
      fr->advanceState = FailingAdvance;
    }
  };
  hostemu::Host host(plugin, doc, options);
  hostp = &host;
  const hostemu::RunResult r = host.runFilter(runtest::MakeDescriptor(s));
  EXPECT_EQ(std::tuple(r.result, r.failedSelector), std::tuple(ioErr, 3));
  EXPECT_EQ(host.log().count(hostemu::LogKind::Progress), 2u);
  // Tiles 0 and 1 are corrected, tile 2 is as it was.
  EXPECT_EQ(std::tuple(Differences(host.workingDocument(), expected, 0, 32),
                       Differences(host.workingDocument(), input, 32)),
            std::tuple(0, 0));
  EXPECT_GT(Differences(expected, input, 32), 0);
}

TEST_F(FullRunEnds, AbortAfterTheFirstTileRequestsNothingMore) {
  // The threads of this process, the pool's among them while it lives.
  auto threads = [] {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  const auto threadsBefore = threads();
  hostemu::Document doc = runtest::MakeDocument(40, 40, 8, 3, Busy8);
  hostemu::HostOptions options = Tiles(16, 16, 16, 16);
  options.abortAfterTiles = 1;
  hostemu::Host host(plugin, doc, options);
  const hostemu::RunResult r = host.runFilter(runtest::MakeDescriptor(Settings{}));
  EXPECT_EQ(std::tuple(r.result, r.tiles), std::tuple(-128, 1));
  const auto progress = host.log().ofKind(hostemu::LogKind::Progress);
  ASSERT_EQ(progress.size(), 1u);
  EXPECT_EQ(progress[0].field("total"), "9");
  // The cancelled run takes its pool with it: a host may unload the module
  // now, and threads left inside it would wake in unmapped code.
  EXPECT_EQ(threads(), threadsBefore);
}

}  // namespace
