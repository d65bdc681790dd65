// The vignetting correction against lfModifier itself on flat pictures: the
// reference takes the known flat value to linear light by the transfer
// function's formula, lets lensfun brighten a float picture of it, and
// encodes the result by the formula again; ours must agree to the rounding.
#include <gtest/gtest.h>
#include <lcms2.h>
#include <lensfun/lensfun.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "exit_codes.h"
#include "lens_profiles/lens_profile.h"
#include "lens_profiles/vignetting.h"

namespace ortavel::cli {
namespace {

double srgbToLinear(double v) {
  return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}
double linearToSrgb(double v) {
  return v <= 0.0031308 ? v * 12.92 : 1.055 * std::pow(v, 1.0 / 2.4) - 0.055;
}

// Canon's EF-S 10-22 mm on an APS-C body: the database has its vignetting.
LensProfile wideProfile(int width, int height) {
  const PhotoIdentity photo{"Canon", "Canon EOS 80D", 10.0, std::nullopt,
                            "Canon EF-S 10-22mm f/3.5-4.5 USM"};
  const ProfileLookup r = findLensProfile(photo, {}, width, height);
  EXPECT_TRUE(r.profile) << r.error;
  return *r.profile;
}

// lensfun's gain at every pixel of a width x height picture: a float picture
// of ones (one channel) brightened by lfModifier.
std::vector<float> lensfunGain(const LensProfile &p, int width, int height, float aperture) {
  lfModifier mod(p.lensRecord, static_cast<float>(p.cameraCropFactor), width, height);
  EXPECT_NE(mod.Initialize(p.lensRecord, LF_PF_F32, static_cast<float>(p.focalLengthMm), aperture,
                           1000.0f, 1.0f, p.lensRecord->Type, LF_MODIFY_VIGNETTING, false) &
                LF_MODIFY_VIGNETTING,
            0);
  std::vector<float> gain(static_cast<std::size_t>(width) * height, 1.0f);
  EXPECT_TRUE(mod.ApplyColorModification(gain.data(), 0.0f, 0.0f, width, height, LF_CR_1(INTENSITY),
                                         width * 4));
  return gain;
}

Image flat(ColourModel colour, int depth, int width, int height, int alphaPlanes,
           std::uint16_t value) {
  Image img;
  img.colour = colour;
  const int channels = colour == ColourModel::kGrey ? 1 : 3;
  allocatePlanes(img, width, height, depth, channels + alphaPlanes);
  for (auto &plane : img.doc.planes) {
    for (std::size_t i = 0; i < plane.samples.size(); i += depth / 8) {
      if (depth == 8) {
        plane.samples[i] = static_cast<std::uint8_t>(value);
      } else {
        std::memcpy(&plane.samples[i], &value, 2);
      }
    }
  }
  return img;
}

std::uint16_t sampleAt(const Image &img, int plane, std::size_t i) {
  if (img.doc.depth == 8) return img.doc.planes[plane].samples[i];
  std::uint16_t v = 0;
  std::memcpy(&v, &img.doc.planes[plane].samples[i * 2], 2);
  return v;
}

TEST(Vignetting, EightBitSrgbAgreesWithLensfunInLinearLight) {
  constexpr int kW = 600, kH = 400;
  constexpr std::uint16_t kGrey = 118;
  const LensProfile p = wideProfile(kW, kH);
  const std::vector<float> gain = lensfunGain(p, kW, kH, 4.0f);
  for (ColourModel colour : {ColourModel::kRgb, ColourModel::kGrey}) {
    SCOPED_TRACE(colourName(colour));
    Image img = flat(colour, 8, kW, kH, 1, kGrey);  // no ICC profile: sRGB
    const std::string said = correctVignetting(img, p, 4.0);
    EXPECT_NE(said.find("sRGB"), std::string::npos) << said;
    const double linear = srgbToLinear(kGrey / 255.0);
    std::size_t exact = 0, n = 0;
    for (std::size_t i = 0; i < gain.size(); ++i) {
      const double v = std::min(1.0, linear * gain[i]);
      const auto expected = static_cast<int>(std::lround(linearToSrgb(v) * 255.0));
      for (int c = 0; c < img.colourChannels(); ++c, ++n) {
        const int got = sampleAt(img, c, i);
        ASSERT_LE(std::abs(got - expected), 1) << "pixel " << i;
        exact += got == expected;
      }
      ASSERT_EQ(sampleAt(img, img.colourChannels(), i), kGrey);  // alpha untouched
    }
    EXPECT_GT(exact, n * 99 / 100);
    // The corners were brightened by several codes; the centre hardly.
    EXPECT_GT(sampleAt(img, 0, 0), kGrey + 10);
    EXPECT_LE(std::abs(sampleAt(img, 0, (kH / 2) * kW + kW / 2) - kGrey), 1);
  }
}

TEST(Vignetting, SixteenBitWithALinearIccProfileIsCorrectedAsItStands) {
  constexpr int kW = 300, kH = 200;
  constexpr std::uint16_t kValue = 12000;  // on the host's 0..32768 scale
  const LensProfile p = wideProfile(kW, kH);
  const std::vector<float> gain = lensfunGain(p, kW, kH, 5.6f);

  // An RGB profile with sRGB's primaries and straight tone curves.
  cmsToneCurve *straight = cmsBuildGamma(nullptr, 1.0);
  cmsToneCurve *curves[3] = {straight, straight, straight};
  cmsCIExyY white;
  cmsWhitePointFromTemp(&white, 6504);
  const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
  cmsHPROFILE linear = cmsCreateRGBProfile(&white, &primaries, curves);
  cmsUInt32Number size = 0;
  ASSERT_TRUE(cmsSaveProfileToMem(linear, nullptr, &size));
  Image img = flat(ColourModel::kRgb, 16, kW, kH, 0, kValue);
  img.doc.icc.resize(size);
  ASSERT_TRUE(cmsSaveProfileToMem(linear, img.doc.icc.data(), &size));
  cmsCloseProfile(linear);
  cmsFreeToneCurve(straight);

  const std::string said = correctVignetting(img, p, 5.6);
  EXPECT_NE(said.find("ICC profile"), std::string::npos) << said;
  for (std::size_t i = 0; i < gain.size(); ++i) {
    const double v = std::min(32768.0, kValue * static_cast<double>(gain[i]));
    for (int c = 0; c < 3; ++c)
      ASSERT_LE(std::abs(sampleAt(img, c, i) - std::lround(v)), 1) << "pixel " << i;
  }
  EXPECT_GT(sampleAt(img, 0, 0), kValue + 1000);
}

TEST(Vignetting, ALensWithoutVignettingOrACmykPictureIsRefusedWithTheReason) {
  const PhotoIdentity s40{"Canon", "Canon PowerShot S40", 14.719, std::nullopt, std::nullopt};
  const ProfileLookup r = findLensProfile(s40, {}, 64, 48);
  ASSERT_TRUE(r.profile) << r.error;
  Image img = flat(ColourModel::kRgb, 8, 64, 48, 0, 100);
  const Image before = img;
  try {
    correctVignetting(img, *r.profile, 4.0);
    ADD_FAILURE() << "no error";
  } catch (const CliError &e) {
    EXPECT_NE(std::string(e.what()).find("no vignetting calibration"), std::string::npos)
        << e.what();
  }
  EXPECT_EQ(img.doc.planes[0].samples, before.doc.planes[0].samples);

  Image cmyk = flat(ColourModel::kCmyk, 8, 64, 48, 0, 100);
  cmyk.doc.planes.resize(4, cmyk.doc.planes[0]);
  EXPECT_THROW(correctVignetting(cmyk, wideProfile(64, 48), 4.0), CliError);
}

// A little-endian EXIF block whose EXIF directory holds FNumber (RATIONAL)
// and ApertureValue (APEX, RATIONAL), either or both.
std::vector<std::uint8_t> apertureBlock(int fNumberTenths, int apexHundredths) {
  std::vector<std::uint8_t> b = {'I', 'I', 42, 0, 8, 0, 0, 0};
  auto u16 = [&](unsigned v) {
    b.push_back(v & 0xff);
    b.push_back((v >> 8) & 0xff);
  };
  auto u32 = [&](unsigned v) {
    u16(v & 0xffff);
    u16(v >> 16);
  };
  u16(1);  // IFD0 at 8: the EXIF pointer
  u16(34665), u16(4), u32(1), u32(26);
  u32(0);
  const unsigned n = (fNumberTenths > 0) + (apexHundredths > 0);
  u16(n);  // EXIF directory at 26
  const unsigned values = 26 + 2 + n * 12 + 4;
  unsigned at = values;
  if (fNumberTenths > 0) u16(0x829D), u16(5), u32(1), u32(at), at += 8;
  if (apexHundredths > 0) u16(0x9202), u16(5), u32(1), u32(at);
  u32(0);
  if (fNumberTenths > 0) u32(fNumberTenths), u32(10);
  if (apexHundredths > 0) u32(apexHundredths), u32(100);
  return b;
}

TEST(Vignetting, TheApertureComesFromTheExifDirectory) {
  EXPECT_EQ(readExifAperture(apertureBlock(28, 0)), 2.8);
  // APEX 4 is f/4 (2^(4/2)); FNumber wins when both are there.
  EXPECT_DOUBLE_EQ(*readExifAperture(apertureBlock(0, 400)), 4.0);
  EXPECT_EQ(readExifAperture(apertureBlock(56, 400)), 5.6);
  EXPECT_FALSE(readExifAperture(apertureBlock(0, 0)));
  EXPECT_FALSE(readExifAperture({}));
}

}  // namespace
}  // namespace ortavel::cli
