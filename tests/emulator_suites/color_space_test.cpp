#include <array>
#include <cmath>
#include <vector>

#include "suite_fixture.h"

namespace hostemu::testing {
namespace {

using Pixel = std::array<std::uint8_t, 4>;

class ColorSpaceTest : public SuiteFixture {
 protected:
  void SetUp() override {
    activate();
    cs = acquire<PSColorSpaceSuite1>(kPSColorSpaceSuite, 1);
    ASSERT_NE(cs, nullptr);
  }
  Pixel toMonitor(int16 space, Pixel in, SPErr expect = kSPNoError, int16 count = 1) {
    Pixel out{7, 7, 7, 7};
    EXPECT_EQ(cs->ConvertToMonitorRGB(space, reinterpret_cast<Color8 *>(in.data()),
                                      reinterpret_cast<Color8 *>(out.data()), count),
              expect);
    return out;
  }
  const PSColorSpaceSuite1 *cs = nullptr;
};

void expectRgbNear(const Pixel &px, double r, double g, double b, double tolerance) {
  EXPECT_NEAR(px[1], r, tolerance);
  EXPECT_NEAR(px[2], g, tolerance);
  EXPECT_NEAR(px[3], b, tolerance);
}

TEST_F(ColorSpaceTest, EveryEntryOfBothVersionsIsFilled) {
  using Entry = void (*)();
  const auto *v2 =
      reinterpret_cast<const Entry *>(acquire<PSColorSpaceSuite2>(kPSColorSpaceSuite, 2));
  ASSERT_NE(v2, nullptr);
  for (std::size_t i = 0; i < sizeof(PSColorSpaceSuite2) / sizeof(Entry); ++i)
    EXPECT_NE(v2[i], nullptr) << i;
}

// RGB passes through (several pixels at once); grey is in the last byte;
// CMYK has 255 as no ink; Lab's extremes are white and black.
TEST_F(ColorSpaceTest, SimpleSpacesToMonitorRgb) {
  struct Case {
    int16 space;
    Pixel in;
    double r, g, b, tolerance;
  } cases[] = {
      {4, {0, 0, 0, 0}, 0, 0, 0, 0},
      {4, {99, 99, 99, 255}, 255, 255, 255, 0},
      {4, {0, 0, 0, 128}, 128, 128, 128, 1},  // the sRGB tone curve both ways
      {2, {255, 255, 255, 255}, 255, 255, 255, 1},
      {2, {255, 255, 255, 0}, 0, 0, 0, 1},       // full black
      {2, {0, 0, 0, 255}, 0, 0, 0, 8},           // all three inks
      {2, {0, 255, 255, 255}, 0, 255, 255, 10},  // cyan
      {3, {0, 255, 128, 128}, 255, 255, 255, 1},
      {3, {0, 0, 128, 128}, 0, 0, 0, 1},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << "space " << c.space << " in " << int(c.in[3]));
    expectRgbNear(toMonitor(c.space, c.in), c.r, c.g, c.b, c.tolerance);
  }
  std::array<Pixel, 3> in{{{1, 2, 3, 4}, {0, 255, 0, 128}, {9, 200, 100, 50}}}, out{};
  ASSERT_EQ(cs->ConvertToMonitorRGB(0, reinterpret_cast<Color8 *>(in.data()),
                                    reinterpret_cast<Color8 *>(out.data()), 3),
            kSPNoError);
  EXPECT_EQ(out, in);
}

// sRGB (0..1) to 8-bit encoded Lab (D50), and back, from the published sRGB
// primaries and the Bradford adaptation between D65 and D50.
double srgbToLinear(double v) {
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}
double linearToSrgb(double v) {
  v = std::clamp(v, 0.0, 1.0);
  return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
}
constexpr double kWhiteD50[3] = {0.96422, 1.0, 0.82521};
double labF(double t) {
  return t > std::pow(6.0 / 29, 3) ? std::cbrt(t) : t / (3 * std::pow(6.0 / 29, 2)) + 4.0 / 29;
}
double labFInv(double t) {
  return t > 6.0 / 29 ? t * t * t : 3 * std::pow(6.0 / 29, 2) * (t - 4.0 / 29);
}

Pixel encodeLab(double r, double g, double b) {
  const double lr = srgbToLinear(r), lg = srgbToLinear(g), lb = srgbToLinear(b);
  const double x65 = 0.4124564 * lr + 0.3575761 * lg + 0.1804375 * lb;
  const double y65 = 0.2126729 * lr + 0.7151522 * lg + 0.0721750 * lb;
  const double z65 = 0.0193339 * lr + 0.1191920 * lg + 0.9503041 * lb;
  const double x = 1.0478112 * x65 + 0.0228866 * y65 - 0.0501270 * z65;
  const double y = 0.0295424 * x65 + 0.9904844 * y65 - 0.0170491 * z65;
  const double z = -0.0092345 * x65 + 0.0150436 * y65 + 0.7521316 * z65;
  const double fx = labF(x / kWhiteD50[0]), fy = labF(y / kWhiteD50[1]),
               fz = labF(z / kWhiteD50[2]);
  const double L = 116 * fy - 16, A = 500 * (fx - fy), B = 200 * (fy - fz);
  auto byte = [](double v) {
    return static_cast<std::uint8_t>(std::clamp(std::lround(v), 0L, 255L));
  };
  return {0, byte(L * 255 / 100), byte(A + 128), byte(B + 128)};
}

std::array<double, 3> decodeLab(const Pixel &lab) {
  const double L = lab[1] * 100.0 / 255, A = lab[2] - 128.0, B = lab[3] - 128.0;
  const double fy = (L + 16) / 116, fx = fy + A / 500, fz = fy - B / 200;
  const double x = labFInv(fx) * kWhiteD50[0], y = labFInv(fy) * kWhiteD50[1],
               z = labFInv(fz) * kWhiteD50[2];
  const double x65 = 0.9555766 * x - 0.0230393 * y + 0.0631636 * z;
  const double y65 = -0.0282895 * x + 1.0099416 * y + 0.0210077 * z;
  const double z65 = 0.0122982 * x - 0.0204830 * y + 1.3299098 * z;
  const double r = 3.2404542 * x65 - 1.5371385 * y65 - 0.4985314 * z65;
  const double g = -0.9692660 * x65 + 1.8760108 * y65 + 0.0415560 * z65;
  const double b = 0.0556434 * x65 - 0.2040259 * y65 + 1.0572252 * z65;
  return {255 * linearToSrgb(r), 255 * linearToSrgb(g), 255 * linearToSrgb(b)};
}

TEST_F(ColorSpaceTest, LabGoesToSrgb) {
  // sRGB red is L 54.29, a 80.81, b 69.89 (D50), published.
  const Pixel red = toMonitor(3, {0, 138, 209, 198});
  EXPECT_GT(red[1], 245);
  EXPECT_LT(red[2], 12);
  EXPECT_LT(red[3], 12);
  const double primaries[][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 0}, {0.2, 0.5, 0.8}};
  for (const auto &p : primaries) {
    const Pixel lab = encodeLab(p[0], p[1], p[2]);
    const auto ref = decodeLab(lab);
    // Before quantisation the Lab value was exactly this colour; one level of
    // a or b moves a channel near 0 by up to a dozen sRGB levels.
    EXPECT_NEAR(ref[0], 255 * p[0], 12);
    EXPECT_NEAR(ref[2], 255 * p[2], 12);
    expectRgbNear(toMonitor(3, lab), ref[0], ref[1], ref[2], 2.5);
  }
}

// In place, count 0 does nothing, HSB is not served.
TEST_F(ColorSpaceTest, InPlaceConversionAndUnsupportedSpaces) {
  std::array<Pixel, 2> px{{{0, 255, 128, 128}, {0, 0, 0, 255}}};
  ASSERT_EQ(cs->Convert8(3, 0, reinterpret_cast<Color8 *>(px.data()), 1), kSPNoError);
  expectRgbNear(px[0], 255, 255, 255, 1);
  EXPECT_EQ(px[1], (Pixel{0, 0, 0, 255}));
  EXPECT_EQ(toMonitor(3, {1, 2, 3, 4}, kSPNoError, 0), (Pixel{7, 7, 7, 7}));
  EXPECT_EQ(toMonitor(1, {1, 2, 3, 4}, 0x21494D50), (Pixel{1, 2, 3, 4}));
}

// 8-bit 255 is 16-bit 32768; halves round up; floats clamp to 0..1.
TEST_F(ColorSpaceTest, SampleDepthConversionsUseTheHostScale) {
  std::uint16_t wide[] = {32768, 16384, 0, 65535};
  std::uint8_t narrow[4] = {};
  ASSERT_EQ(cs->Convert16to8(wide, narrow, 4), kSPNoError);
  EXPECT_EQ(std::vector<int>(narrow, narrow + 4), (std::vector<int>{255, 128, 0, 255}));
  std::uint8_t bytes[] = {255, 128, 0};
  ASSERT_EQ(cs->Convert8to16(bytes, wide, 3), kSPNoError);
  // 128 * 32768 / 255 = 16448.25
  EXPECT_EQ(std::vector<int>(wide, wide + 3), (std::vector<int>{32768, 16448, 0}));
  float floats[] = {0.5f, 1.5f, -1.0f};
  ASSERT_EQ(cs->Convert32to8(floats, narrow, 3), kSPNoError);
  EXPECT_EQ(std::vector<int>(narrow, narrow + 3), (std::vector<int>{128, 255, 0}));
}

}  // namespace
}  // namespace hostemu::testing
