#include "emulator/suites/monitor_rgb.h"

#include <lcms2.h>

#include <array>
#include <cstring>
#include <stdexcept>

namespace hostemu {
namespace {

constexpr std::int16_t kRgbSpace = 0;
constexpr std::int16_t kCmykSpace = 2;
constexpr std::int16_t kLabSpace = 3;
constexpr std::int16_t kGreySpace = 4;

// Profiles are closed as soon as the transform holds what it needs.
struct Profile {
  cmsHPROFILE handle;
  explicit Profile(cmsHPROFILE h) : handle(h) {
    if (handle == nullptr) throw std::runtime_error("colour conversion: cannot build a profile");
  }
  ~Profile() { cmsCloseProfile(handle); }
  Profile(const Profile &) = delete;
  Profile &operator=(const Profile &) = delete;
};

cmsToneCurve *srgbCurve() {
  // IEC 61966-2-1: Y = ((X + 0.055) / 1.055)^2.4 above 0.04045, X / 12.92 below.
  const cmsFloat64Number params[5] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};
  return cmsBuildParametricToneCurve(nullptr, 4, params);
}

cmsHPROFILE makeGreyProfile() {
  cmsToneCurve *curve = srgbCurve();
  if (curve == nullptr) return nullptr;
  cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
  cmsFreeToneCurve(curve);
  return profile;
}

// Samples the ink model into the CMYK profile's table: ink amounts 0..1 give
// an sRGB colour, which the cargo transform turns into encoded Lab.
int sampleInks(const cmsUInt16Number in[], cmsUInt16Number out[], void *cargo) {
  const double c = in[0] / 65535.0, m = in[1] / 65535.0, y = in[2] / 65535.0, k = in[3] / 65535.0;
  const double rgb[3] = {(1.0 - c) * (1.0 - k), (1.0 - m) * (1.0 - k), (1.0 - y) * (1.0 - k)};
  cmsCIELab lab;
  cmsDoTransform(static_cast<cmsHTRANSFORM>(cargo), rgb, &lab, 1);
  cmsFloat2LabEncoded(out, &lab);
  return 1;
}

cmsHPROFILE makeCmykProfile() {
  Profile srgb(cmsCreate_sRGBProfile());
  Profile lab(cmsCreateLab4Profile(nullptr));
  cmsHTRANSFORM toLab = cmsCreateTransform(srgb.handle, TYPE_RGB_DBL, lab.handle, TYPE_Lab_DBL,
                                           INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE);
  if (toLab == nullptr) return nullptr;

  cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
  cmsPipeline *pipeline = cmsPipelineAlloc(nullptr, 4, 3);
  cmsStage *table = cmsStageAllocCLut16bit(nullptr, 17, 4, 3, nullptr);
  bool ok = profile && pipeline && table && cmsStageSampleCLut16bit(table, sampleInks, toLab, 0) &&
            cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, table);
  if (!ok && table) cmsStageFree(table);
  if (ok) {
    cmsSetProfileVersion(profile, 4.3);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    ok = cmsWriteTag(profile, cmsSigMediaWhitePointTag, cmsD50_XYZ()) &&
         cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
  }
  if (pipeline) cmsPipelineFree(pipeline);
  cmsDeleteTransform(toLab);
  if (!ok && profile) {
    cmsCloseProfile(profile);
    return nullptr;
  }
  return profile;
}

cmsHTRANSFORM toSrgb(cmsHPROFILE input, cmsUInt32Number format) {
  Profile srgb(cmsCreate_sRGBProfile());
  // Unoptimised: the 8-bit device link lcms would precompute is off by up to
  // ten levels in saturated blues; the exact pipeline is fast enough here.
  cmsHTRANSFORM t =
      cmsCreateTransform(input, format, srgb.handle, TYPE_RGB_8, INTENT_RELATIVE_COLORIMETRIC,
                         cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE);
  if (t == nullptr) throw std::runtime_error("colour conversion: cannot build a transform");
  return t;
}

// Values are packed into a dense buffer for lcms and spread back, a block at
// a time, which also makes converting in place safe.
constexpr std::size_t kBlock = 1024;

}  // namespace

void MonitorRgb::TransformDeleter::operator()(void *transform) const {
  cmsDeleteTransform(static_cast<cmsHTRANSFORM>(transform));
}

MonitorRgb::MonitorRgb() {
  Profile grey(makeGreyProfile());
  grey_.reset(toSrgb(grey.handle, TYPE_GRAY_8));
  Profile lab(cmsCreateLab4Profile(nullptr));
  lab_.reset(toSrgb(lab.handle, TYPE_Lab_8));
  Profile cmyk(makeCmykProfile());
  cmyk_.reset(toSrgb(cmyk.handle, TYPE_CMYK_8_REV));
}

bool MonitorRgb::convert(std::int16_t space, const std::uint8_t *in, std::uint8_t *out,
                         std::size_t count) const {
  const Transform *transform = nullptr;
  std::size_t first = 0, channels = 0;  // packed bytes: in[first .. first + channels)
  switch (space) {
    case kRgbSpace:
      std::memmove(out, in, count * 4);
      return true;
    case kGreySpace:
      transform = &grey_, first = 3, channels = 1;
      break;
    case kLabSpace:
      transform = &lab_, first = 1, channels = 3;
      break;
    case kCmykSpace:
      transform = &cmyk_, first = 0, channels = 4;
      break;
    default:
      return false;
  }
  std::array<std::uint8_t, kBlock * 4> packed;
  std::array<std::uint8_t, kBlock * 3> rgb;
  for (std::size_t done = 0; done < count;) {
    const std::size_t n = std::min(kBlock, count - done);
    for (std::size_t p = 0; p < n; ++p) {
      std::memcpy(&packed[p * channels], in + (done + p) * 4 + first, channels);
    }
    cmsDoTransform(static_cast<cmsHTRANSFORM>(transform->get()), packed.data(), rgb.data(),
                   static_cast<cmsUInt32Number>(n));
    for (std::size_t p = 0; p < n; ++p) {
      std::uint8_t *px = out + (done + p) * 4;
      px[0] = 0;
      std::memcpy(px + 1, &rgb[p * 3], 3);
    }
    done += n;
  }
  return true;
}

}  // namespace hostemu
