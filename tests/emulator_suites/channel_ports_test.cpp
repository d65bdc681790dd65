#include <cmath>

#include "suite_fixture.h"

namespace hostemu::testing {
namespace {

std::vector<const ReadChannelDesc *> listOf(const ReadChannelDesc *first) {
  std::vector<const ReadChannelDesc *> out;
  for (; first != nullptr; first = first->next) out.push_back(first);
  return out;
}

class ChannelPortsTest : public SuiteFixture {
 protected:
  void open() {
    activate();
    ports = acquire<PSChannelPortsSuite1>(kPSChannelPortsSuite, 3);
    ASSERT_NE(ports, nullptr);
  }
  PIChannelPort port(int index) {
    return listOf(host->documentInfo()->targetCompositeChannels)[static_cast<std::size_t>(index)]
        ->port;
  }
  // Reads port 0 scaled from `source` onto `dest` into 4-byte pixels at byte
  // `byte`, the other bytes pre-set to 0xEE; returns the buffer.
  std::vector<std::uint8_t> read4(const VRect &source, const VRect &dest, int byte) {
    const int w = dest.right - dest.left, h = dest.bottom - dest.top;
    std::vector<std::uint8_t> buf(static_cast<std::size_t>(w * h * 4), 0xEE);
    PixelMemoryDesc mem{buf.data(), w * 32, 32, byte * 8, 8};
    PSScaling scaling{source, dest};
    VRect readRect = dest;
    EXPECT_EQ(ports->ReadScaledPixels(port(0), &readRect, &scaling, &mem), kSPNoError);
    return buf;
  }
  const PSChannelPortsSuite1 *ports = nullptr;
};

TEST_F(ChannelPortsTest, DocumentInfoAndPortQueries) {
  doc.width = 5;
  doc.height = 4;
  doc.imageMode = plugInModeRGBColor;
  doc.resolutionDpi = 300;
  for (int i = 0; i < 4; ++i) doc.planes.push_back(plane8(std::vector<std::uint8_t>(20), i != 1));
  open();
  const ReadImageDocumentDesc *info = host->documentInfo();
  EXPECT_EQ((std::vector<int32>{info->depth, info->bounds.bottom, info->bounds.right,
                                info->alphaChannelCount}),
            (std::vector<int32>{8, 4, 5, 1}));
  EXPECT_EQ(info->hResolution, 300 * 65536);
  const auto composite = listOf(info->targetCompositeChannels);
  ASSERT_EQ(composite.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(composite[i]->target, i != 1 ? 1 : 0);
  const auto alpha = listOf(info->alphaChannels);
  ASSERT_EQ(alpha.size(), 1u);
  EXPECT_NE(alpha[0]->port, composite[2]->port);
  int32 levels = 0, depth = 0;
  VRect bounds{};
  EXPECT_EQ(ports->CountLevels(port(0), &levels), kSPNoError);
  EXPECT_EQ(ports->GetDepth(port(0), 0, &depth), kSPNoError);
  EXPECT_EQ(ports->GetDataBounds(port(0), 0, &bounds), kSPNoError);
  EXPECT_EQ((std::vector<int32>{levels, depth, bounds.bottom, bounds.right}),
            (std::vector<int32>{1, 8, 4, 5}));
}

TEST_F(ChannelPortsTest, ChannelTypesFollowTheMode) {
  const std::tuple<int16, int, std::vector<int16>> cases[] = {
      {plugInModeRGBColor, 3, {1, 2, 3}},
      {plugInModeCMYKColor, 4, {4, 5, 6, 7}},
      {plugInModeLab48, 3, {8, 9, 10}},
      {plugInModeMultichannel, 2, {0, 0}}};
  for (const auto &[mode, planes, expected] : cases) {
    grey(1, 1, {});
    doc.imageMode = mode;
    doc.depth = mode == plugInModeLab48 ? 16 : 8;
    doc.planes.assign(static_cast<std::size_t>(planes), plane8({0, 0}));
    makeHost();
    std::vector<int16> types;
    for (const auto *ch : listOf(host->documentInfo()->targetCompositeChannels))
      types.push_back(ch->channelType);
    EXPECT_EQ(types, expected) << "mode " << mode;
  }
}

// Each 2 x 2 block's mean, rounded, lands in byte 1 of its 4-byte pixel.
TEST_F(ChannelPortsTest, HalvingAveragesEachBlockAtTheBitOffset) {
  grey(4, 4, {10, 20, 100, 100, 30, 40, 100, 104, 0, 0, 255, 255, 0, 2, 255, 254});
  open();
  const std::uint8_t expected[] = {0xEE, 25, 0xEE, 0xEE, 0xEE, 101, 0xEE, 0xEE,
                                   0xEE, 1,  0xEE, 0xEE, 0xEE, 255, 0xEE, 0xEE};
  EXPECT_EQ(read4({0, 0, 4, 4}, {0, 0, 2, 2}, 1),
            std::vector<std::uint8_t>(std::begin(expected), std::end(expected)));
}

// Area average by direct integration over the source, in doubles.
double referenceMean(const std::vector<std::uint8_t> &src, int width, const VRect &s,
                     const VRect &d, int x, int y) {
  const double sx = double(s.right - s.left) / (d.right - d.left);
  const double sy = double(s.bottom - s.top) / (d.bottom - d.top);
  const double x0 = s.left + x * sx, x1 = x0 + sx, y0 = s.top + y * sy, y1 = y0 + sy;
  double sum = 0;
  for (int j = int(std::floor(y0)); j < y1; ++j) {
    for (int i = int(std::floor(x0)); i < x1; ++i) {
      const double wx = std::min(x1, i + 1.0) - std::max(x0, double(i));
      const double wy = std::min(y1, j + 1.0) - std::max(y0, double(j));
      if (wx > 0 && wy > 0) sum += wx * wy * src[static_cast<std::size_t>(j * width + i)];
    }
  }
  return sum / (sx * sy);
}

TEST_F(ChannelPortsTest, NonIntegerRatiosMatchADirectAreaIntegral) {
  std::vector<std::uint8_t> src;
  for (int i = 0; i < 35; ++i)
    src.push_back(static_cast<std::uint8_t>((i * 97 + (i % 3) * 50) % 251));
  grey(7, 5, src);
  open();
  const std::pair<VRect, VRect> cases[] = {
      {{0, 0, 5, 7}, {0, 0, 2, 3}}, {{2, 1, 5, 7}, {0, 0, 2, 4}}, {{0, 0, 5, 7}, {0, 0, 3, 5}}};
  for (const auto &[source, dest] : cases) {
    const auto buf = read4(source, dest, 3);
    for (int y = 0; y < dest.bottom; ++y) {
      for (int x = 0; x < dest.right; ++x) {
        EXPECT_NEAR(buf[static_cast<std::size_t>((y * dest.right + x) * 4 + 3)],
                    referenceMean(src, 7, source, dest, x, y), 0.5 + 1e-9)
            << "to " << dest.right << "x" << dest.bottom << " at " << x << "," << y;
      }
    }
  }
}

TEST_F(ChannelPortsTest, EnlargingReplicatesTheSourcePixelUnderEachCentre) {
  grey(3, 1, {10, 20, 30});
  open();
  // Centres at 0.375, 1.125, 1.875, 2.625 source pixels; both rows alike.
  const auto buf = read4({0, 0, 1, 3}, {0, 0, 2, 4}, 0);
  const std::uint8_t row[] = {10, 20, 20, 30};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(buf[static_cast<std::size_t>(i * 4)], row[i % 4]) << i;
}

TEST_F(ChannelPortsTest, DeepSamplesAreScaledOrClampedToEightBits) {
  grey(4, 1, {});
  doc.imageMode = plugInModeGray16;
  doc.depth = 16;
  doc.planes = {planeOf<std::uint16_t>({32768, 0, 16448, 100})};
  open();
  // 32768 -> 255; 16448 * 255 / 32768 = 127.998; 100 -> 0.78; (32768 + 0) / 2 -> 127.5 -> 128.
  auto buf = read4({0, 0, 1, 4}, {0, 0, 1, 4}, 2);
  EXPECT_EQ((std::vector<int>{buf[2], buf[6], buf[10], buf[14]}),
            (std::vector<int>{255, 0, 128, 1}));
  EXPECT_EQ(read4({0, 0, 1, 2}, {0, 0, 1, 1}, 2)[2], 128);

  doc.imageMode = plugInModeGray32;
  doc.depth = 32;
  doc.planes = {planeOf<std::uint32_t>({7, 300, 100, 200})};
  open();
  buf = read4({0, 0, 1, 4}, {0, 0, 1, 2}, 0);
  EXPECT_EQ(buf[0], 154);  // (7 + 300) / 2 = 153.5, clamped only after averaging
  EXPECT_EQ(buf[4], 150);
}

TEST_F(ChannelPortsTest, ClipsTheReadRectAndRefusesWhatItCannotRead) {
  grey(2, 2, {1, 2, 3, 4});
  open();
  std::uint8_t buf[64] = {};
  PSScaling scaling{{0, 0, 2, 2}, {0, 0, 2, 2}};
  VRect readRect{1, 1, 9, 9};
  PixelMemoryDesc one{buf, 8, 8, 0, 8};
  ASSERT_EQ(ports->ReadScaledPixels(port(0), &readRect, &scaling, &one), kSPNoError);
  EXPECT_EQ(buf[0], 4);  // placed at the memory's origin
  EXPECT_EQ((std::vector<int32>{readRect.top, readRect.left, readRect.bottom, readRect.right}),
            (std::vector<int32>{1, 1, 2, 2}));

  int notAPort = 0;
  const auto bogus = reinterpret_cast<PIChannelPort>(&notAPort);
  const std::tuple<PIChannelPort, PixelMemoryDesc, SPErr> refused[] = {
      {bogus, {buf, 64, 32, 0, 8}, -30910},    {port(0), {buf, 64, 32, 0, 1}, -30914},
      {port(0), {buf, 64, 32, 0, 16}, -30915}, {port(0), {buf, 64, 12, 0, 8}, -30912},
      {port(0), {buf, 64, 32, 4, 8}, -30913},  {port(0), {buf, 60, 32, 0, 8}, -30911}};
  for (auto [p, mem, status] : refused) {
    VRect r{0, 0, 2, 2};
    EXPECT_EQ(ports->ReadScaledPixels(p, &r, &scaling, &mem), status);
  }
  Boolean can = 0;
  EXPECT_EQ(ports->CanRead(bogus, &can), -30910);
  EXPECT_EQ(ports->CanRead(port(0), &can), kSPNoError);
  EXPECT_EQ(can, 1);
  host->failEntry("CanRead", errPlugInHostInsufficient);
  EXPECT_EQ(ports->CanRead(port(0), &can), -30900);
  EXPECT_EQ(ports->New(nullptr, nullptr, 8, 0), static_cast<SPErr>(0x21494D50));
}

TEST_F(ChannelPortsTest, OlderDirectCallbacksReadThroughTheSamePorts) {
  doc.width = 3;
  doc.height = 2;
  doc.imageMode = plugInModeRGBColor;
  doc.planes = {plane8({1, 2, 3, 4, 5, 6}), plane8({10, 20, 30, 40, 50, 60}),
                plane8({0, 0, 0, 0, 0, 0})};
  open();
  const auto *procs = acquire<ChannelPortProcs>("Photoshop Channel Ports Suite for Plug-ins", 1);
  ASSERT_EQ(procs, host->channelPortProcs());
  // The green plane's right column, 1:1, as 16-bit-apart 8-bit samples.
  std::uint8_t buf[4] = {0xEE, 0xEE, 0xEE, 0xEE};
  const PixelMemoryDesc mem{buf, 16, 8, 8, 8};
  const VRect want{0, 2, 2, 3};
  VRect wrote{};
  ASSERT_EQ(procs->readPixelsProc(port(1), nullptr, &want, &mem, &wrote), noErr);
  EXPECT_EQ((std::vector<int>(buf, buf + 4)), (std::vector<int>{0xEE, 30, 0xEE, 60}));
  EXPECT_EQ(wrote.left, 2);
  EXPECT_EQ(wrote.bottom, 2);
}

}  // namespace
}  // namespace hostemu::testing
