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
    makeHost();
    guard_.reset();  // restores "none" before the new host takes over
    guard_.reset(new SuiteHost::Activation(host->activate()));
    ports = acquire<PSChannelPortsSuite1>("Photoshop ChannelPorts Suite for Plug-ins", 3);
    ASSERT_NE(ports, nullptr);
  }
  PIChannelPort port(int index) {
    return listOf(host->documentInfo()->targetCompositeChannels)[static_cast<std::size_t>(index)]
        ->port;
  }
  // Reads port 0 scaled from `source` onto `dest` into 4-byte pixels at byte
  // `byte`, the other bytes pre-set to 0xEE; returns the buffer.
  std::vector<std::uint8_t> read4(const VRect &source, const VRect &dest, int byte,
                                  SPErr expect = kSPNoError) {
    const int w = dest.right - dest.left, h = dest.bottom - dest.top;
    std::vector<std::uint8_t> buf(static_cast<std::size_t>(w * h * 4), 0xEE);
    PixelMemoryDesc mem{buf.data(), w * 32, 32, byte * 8, 8};
    PSScaling scaling{source, dest};
    VRect readRect = dest;
    EXPECT_EQ(ports->ReadScaledPixels(port(0), &readRect, &scaling, &mem), expect);
    return buf;
  }

  std::unique_ptr<SuiteHost::Activation> guard_;
  const PSChannelPortsSuite1 *ports = nullptr;
};

TEST_F(ChannelPortsTest, DocumentInfoListsCompositeAndAlphaChannels) {
  doc.width = 5;
  doc.height = 4;
  doc.imageMode = plugInModeRGBColor;
  doc.resolutionDpi = 300;
  for (int i = 0; i < 4; ++i) doc.planes.push_back(plane8(std::vector<std::uint8_t>(20), i != 1));
  open();
  const ReadImageDocumentDesc *info = host->documentInfo();
  EXPECT_EQ(info->imageMode, plugInModeRGBColor);
  EXPECT_EQ(info->depth, 8);
  EXPECT_EQ(info->bounds.bottom, 4);
  EXPECT_EQ(info->bounds.right, 5);
  EXPECT_EQ(info->hResolution, 300 * 65536);
  EXPECT_EQ(info->compositeChannelCount, 3);
  EXPECT_EQ(info->alphaChannelCount, 1);

  const auto composite = listOf(info->targetCompositeChannels);
  ASSERT_EQ(composite.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(composite[i]->target, i != 1 ? 1 : 0);
    EXPECT_EQ(composite[i]->depth, 8);
    EXPECT_EQ(composite[i]->bounds.right, 5);
    EXPECT_GT(composite[i]->tileSize.h, 0);
    EXPECT_NE(composite[i]->name, nullptr);
  }
  const auto alpha = listOf(info->alphaChannels);
  ASSERT_EQ(alpha.size(), 1u);
  EXPECT_NE(alpha[0]->port, composite[2]->port);
}

TEST_F(ChannelPortsTest, ChannelTypesFollowTheMode) {
  struct Case {
    int16 mode;
    int planes;
    std::vector<int16> types;
  };
  const Case cases[] = {{plugInModeRGBColor, 3, {1, 2, 3}},
                        {plugInModeCMYKColor, 4, {4, 5, 6, 7}},
                        {plugInModeLab48, 3, {8, 9, 10}},
                        {plugInModeMultichannel, 2, {0, 0}}};
  for (const Case &c : cases) {
    doc = Document{};
    doc.width = doc.height = 1;
    doc.imageMode = c.mode;
    doc.depth = c.mode == plugInModeLab48 ? 16 : 8;
    for (int i = 0; i < c.planes; ++i) doc.planes.push_back(plane8(std::vector<std::uint8_t>(2)));
    makeHost();
    std::vector<int16> types;
    for (const auto *ch : listOf(host->documentInfo()->targetCompositeChannels)) {
      types.push_back(ch->channelType);
    }
    EXPECT_EQ(types, c.types) << "mode " << c.mode;
  }
}

TEST_F(ChannelPortsTest, HalvingAveragesEachTwoByTwoBlock) {
  doc.width = doc.height = 4;
  doc.imageMode = plugInModeGrayScale;
  doc.planes = {plane8({10, 20, 100, 100,  //
                        30, 40, 100, 104,  //
                        0, 0, 255, 255,    //
                        0, 2, 255, 254})};
  open();
  const auto buf = read4({0, 0, 4, 4}, {0, 0, 2, 2}, 1);
  // (10+20+30+40)/4, (100+100+100+104)/4, 2/4 rounded up, 1019/4 rounded.
  const std::uint8_t expected[] = {0xEE, 25, 0xEE, 0xEE, 0xEE, 101, 0xEE, 0xEE,
                                   0xEE, 1,  0xEE, 0xEE, 0xEE, 255, 0xEE, 0xEE};
  EXPECT_EQ(buf, std::vector<std::uint8_t>(std::begin(expected), std::end(expected)));
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
  doc.width = 7;
  doc.height = 5;
  doc.imageMode = plugInModeGrayScale;
  std::vector<std::uint8_t> src;
  for (int i = 0; i < 35; ++i)
    src.push_back(static_cast<std::uint8_t>((i * 97 + (i % 3) * 50) % 251));
  doc.planes = {plane8(src)};
  open();
  const VRect sources[] = {{0, 0, 5, 7}, {2, 1, 5, 7}, {0, 0, 5, 7}};
  const VRect dests[] = {{0, 0, 2, 3}, {0, 0, 2, 4}, {0, 0, 3, 5}};
  for (int k = 0; k < 3; ++k) {
    const auto buf = read4(sources[k], dests[k], 3);
    const int w = dests[k].right, h = dests[k].bottom;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const double ref = referenceMean(src, 7, sources[k], dests[k], x, y);
        EXPECT_NEAR(buf[static_cast<std::size_t>((y * w + x) * 4 + 3)], ref, 0.5 + 1e-9)
            << "case " << k << " at " << x << "," << y;
      }
    }
  }
}

TEST_F(ChannelPortsTest, EnlargingReplicatesTheSourcePixelUnderEachCentre) {
  doc.width = 3;
  doc.height = 1;
  doc.imageMode = plugInModeGrayScale;
  doc.planes = {plane8({10, 20, 30})};
  open();
  // Centres at 0.375, 1.125, 1.875, 2.625 source pixels; both rows alike.
  const auto buf = read4({0, 0, 1, 3}, {0, 0, 2, 4}, 0);
  const std::uint8_t row[] = {10, 20, 20, 30};
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 4; ++x) EXPECT_EQ(buf[static_cast<std::size_t>((y * 4 + x) * 4)], row[x]);
  }
}

TEST_F(ChannelPortsTest, DeepSamplesAreScaledOrClampedToEightBits) {
  doc.width = 4;
  doc.height = 1;
  doc.imageMode = plugInModeGray16;
  doc.depth = 16;
  doc.planes = {planeOf<std::uint16_t>({32768, 0, 16448, 100})};
  open();
  // 32768 -> 255; 16448 * 255 / 32768 = 127.998; 100 -> 0.78; (32768 + 0) / 2 -> 127.5 -> 128.
  auto buf = read4({0, 0, 1, 4}, {0, 0, 1, 4}, 2);
  EXPECT_EQ((std::vector<int>{buf[2], buf[6], buf[10], buf[14]}),
            (std::vector<int>{255, 0, 128, 1}));
  buf = read4({0, 0, 1, 2}, {0, 0, 1, 1}, 2);
  EXPECT_EQ(buf[2], 128);

  doc = Document{};
  doc.width = 4;
  doc.height = 1;
  doc.imageMode = plugInModeGray32;
  doc.depth = 32;
  doc.planes = {planeOf<std::uint32_t>({7, 300, 100, 200})};
  open();
  buf = read4({0, 0, 1, 4}, {0, 0, 1, 4}, 0);
  EXPECT_EQ(buf[0], 7);
  EXPECT_EQ(buf[4], 255);
  buf = read4({0, 0, 1, 4}, {0, 0, 1, 2}, 0);
  EXPECT_EQ(buf[0], 154);  // (7 + 300) / 2 = 153.5, clamped only after averaging
  EXPECT_EQ(buf[4], 150);
}

TEST_F(ChannelPortsTest, ReadRectIsClippedAndPlacedAtTheMemorysOrigin) {
  doc.width = doc.height = 2;
  doc.imageMode = plugInModeGrayScale;
  doc.planes = {plane8({1, 2, 3, 4})};
  open();
  std::uint8_t one = 0;
  PixelMemoryDesc mem{&one, 8, 8, 0, 8};
  PSScaling scaling{{0, 0, 2, 2}, {0, 0, 2, 2}};
  VRect readRect{1, 1, 9, 9};
  ASSERT_EQ(ports->ReadScaledPixels(port(0), &readRect, &scaling, &mem), kSPNoError);
  EXPECT_EQ(one, 4);
  EXPECT_EQ((std::vector<int32>{readRect.top, readRect.left, readRect.bottom, readRect.right}),
            (std::vector<int32>{1, 1, 2, 2}));
}

TEST_F(ChannelPortsTest, RefusesWhatItCannotRead) {
  doc.width = doc.height = 2;
  doc.imageMode = plugInModeGrayScale;
  doc.planes = {plane8({1, 2, 3, 4})};
  open();
  std::uint8_t buf[64] = {};
  PSScaling scaling{{0, 0, 2, 2}, {0, 0, 2, 2}};
  auto tryRead = [&](PIChannelPort p, PixelMemoryDesc mem) {
    VRect readRect{0, 0, 2, 2};
    return ports->ReadScaledPixels(p, &readRect, &scaling, &mem);
  };
  int notAPort = 0;
  EXPECT_EQ(tryRead(reinterpret_cast<PIChannelPort>(&notAPort), {buf, 64, 32, 0, 8}), -30910);
  EXPECT_EQ(tryRead(port(0), {buf, 64, 32, 0, 1}), -30914);
  EXPECT_EQ(tryRead(port(0), {buf, 64, 32, 0, 16}), -30915);
  EXPECT_EQ(tryRead(port(0), {buf, 64, 12, 0, 8}), -30912);
  EXPECT_EQ(tryRead(port(0), {buf, 64, 32, 4, 8}), -30913);
  EXPECT_EQ(tryRead(port(0), {buf, 60, 32, 0, 8}), -30911);
  Boolean can = 0;
  EXPECT_EQ(ports->CanRead(reinterpret_cast<PIChannelPort>(&notAPort), &can), -30910);
}

TEST_F(ChannelPortsTest, PortQueriesAndInjectedFaults) {
  doc.width = 6;
  doc.height = 3;
  doc.imageMode = plugInModeGray16;
  doc.depth = 16;
  doc.planes = {planeOf<std::uint16_t>(std::vector<std::uint16_t>(18))};
  open();
  int32 levels = 0, depth = 0;
  EXPECT_EQ(ports->CountLevels(port(0), &levels), kSPNoError);
  EXPECT_EQ(ports->GetDepth(port(0), 0, &depth), kSPNoError);
  EXPECT_EQ(std::make_pair(levels, depth), std::make_pair(1, 16));
  VRect bounds{};
  EXPECT_EQ(ports->GetDataBounds(port(0), 0, &bounds), kSPNoError);
  EXPECT_EQ(bounds.bottom, 3);
  EXPECT_EQ(bounds.right, 6);
  Boolean can = 0;
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
  int notAPort = 0;
  EXPECT_EQ(procs->readPixelsProc(reinterpret_cast<PIChannelPort>(&notAPort), nullptr, &want, &mem,
                                  &wrote),
            -30910);
}

}  // namespace
}  // namespace hostemu::testing
