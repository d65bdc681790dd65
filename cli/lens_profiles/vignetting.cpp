#include "vignetting.h"

#include <lcms2.h>
#include <lensfun/lensfun.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "exif/tiff_parse.h"
#include "exit_codes.h"

namespace ortavel::cli {
namespace {

constexpr std::uint16_t kTagFNumber = 0x829D;
constexpr std::uint16_t kTagApertureValue = 0x9202;
constexpr std::uint16_t kMainTags[] = {0};
constexpr std::uint16_t kExifTags[] = {kTagFNumber, kTagApertureValue, 0};
const std::uint16_t *const kTagFilter[2] = {kMainTags, kExifTags};

// lensfun's advice when the focus distance is not known.
constexpr float kUnknownDistance = 1000.0f;

struct CloseProfile {
  void operator()(void *h) const { cmsCloseProfile(h); }
};
struct FreeCurve {
  void operator()(cmsToneCurve *c) const { cmsFreeToneCurve(c); }
};
using Curve = std::unique_ptr<cmsToneCurve, FreeCurve>;

Curve srgbCurve() {
  // IEC 61966-2-1: ((v + 0.055) / 1.055)^2.4 above 0.04045, v / 12.92 below.
  const cmsFloat64Number p[5] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};
  return Curve(cmsBuildParametricToneCurve(nullptr, 4, p));
}

// A plane's codes in linear light, and back: code k decodes to linear[k];
// a linear value encodes to the code nearest to it along the curve, found
// among the values halfway (in code) between neighbours.
struct Coding {
  std::vector<float> linear;
  std::vector<float> halfway;

  Coding(const cmsToneCurve *curve, int maxCode) : linear(maxCode + 1), halfway(maxCode) {
    for (int k = 0; k <= maxCode; ++k)
      linear[k] = cmsEvalToneCurveFloat(curve, static_cast<float>(k) / maxCode);
    for (int k = 0; k < maxCode; ++k)
      halfway[k] = cmsEvalToneCurveFloat(curve, (static_cast<float>(k) + 0.5f) / maxCode);
  }
  std::uint32_t encode(float v) const {
    return static_cast<std::uint32_t>(std::lower_bound(halfway.begin(), halfway.end(), v) -
                                      halfway.begin());
  }
};

// The tone curves of the colour channels, from the file's ICC profile where it
// has usable ones; `source` says where they came from.
struct ToneCurves {
  std::vector<Curve> curves;
  std::string source;
};

ToneCurves toneCurves(const Image &img) {
  const int n = img.colourChannels();
  ToneCurves out;
  const auto fallback = [&](std::string why) {
    out.curves.clear();
    for (int c = 0; c < n; ++c) out.curves.push_back(srgbCurve());
    out.source = "the sRGB curve (" + std::move(why) + ")";
    return std::move(out);
  };
  if (img.doc.icc.empty()) return fallback("the file has no ICC profile");
  const std::unique_ptr<void, CloseProfile> icc(
      cmsOpenProfileFromMem(img.doc.icc.data(), static_cast<cmsUInt32Number>(img.doc.icc.size())));
  if (!icc) return fallback("the file's ICC profile cannot be read");
  const bool grey = img.colour == ColourModel::kGrey;
  if (cmsGetColorSpace(icc.get()) != (grey ? cmsSigGrayData : cmsSigRgbData))
    return fallback("the file's ICC profile is not for its colour model");
  const cmsTagSignature tags[3] = {grey ? cmsSigGrayTRCTag : cmsSigRedTRCTag, cmsSigGreenTRCTag,
                                   cmsSigBlueTRCTag};
  for (int c = 0; c < n; ++c) {
    const auto *curve = static_cast<const cmsToneCurve *>(cmsReadTag(icc.get(), tags[c]));
    if (curve == nullptr || !cmsIsToneCurveMonotonic(curve))
      return fallback("the file's ICC profile has no tone curves");
    out.curves.emplace_back(cmsDupToneCurve(curve));
  }
  out.source = "the tone curves of the file's ICC profile";
  return out;
}

std::string number(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%g", v);
  return b;
}

}  // namespace

std::optional<double> readExifAperture(std::span<const std::uint8_t> block) {
  if (block.empty() || block.size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max()))
    return std::nullopt;
  const std::unique_ptr<tiff_parser, decltype(&tiff_parse_discard)> parser(
      tiff_parse(block.data(), static_cast<int32_t>(block.size()), kTagFilter),
      &tiff_parse_discard);
  if (!parser || parser->error_count > 0) return std::nullopt;
  std::optional<double> fNumber, apex;
  for (const tiff_tag *t = parser->tags[1]; t != nullptr; t = t->next) {
    double v = 0.0;
    if (tiff_parse_get_double(t, 0, &v) == 0) continue;
    if (t->tag == kTagFNumber) fNumber = v;
    if (t->tag == kTagApertureValue) apex = std::pow(2.0, v / 2.0);
  }
  for (const auto &f : {fNumber, apex})
    if (f && std::isfinite(*f) && *f >= 0.5 && *f <= 256.0) return f;
  return std::nullopt;
}

std::string correctVignetting(Image &img, const LensProfile &profile, double aperture) {
  if (img.colour == ColourModel::kCmyk)
    throw inputError("--vignetting: a CMYK picture is not corrected for vignetting");
  if (profile.lensRecord == nullptr || profile.cameraRecord == nullptr)
    throw inputError("--vignetting: the lens profile names no lens of the database");
  const lfLens *lens = profile.lensRecord;
  const std::int32_t width = img.doc.width, height = img.doc.height;
  lfModifier mod(lens, profile.cameraCropFactor, width, height);
  const int done = mod.Initialize(lens, LF_PF_F32, static_cast<float>(profile.focalLengthMm),
                                  static_cast<float>(aperture), kUnknownDistance, 1.0f, lens->Type,
                                  LF_MODIFY_VIGNETTING, false);
  if ((done & LF_MODIFY_VIGNETTING) == 0) {
    throw inputError("--vignetting: the lens database has no vignetting calibration for \"" +
                     profile.lens + "\"");
  }

  if (img.doc.depth != 8 && img.doc.depth != 16)
    throw inputError("--vignetting: only 8- and 16-bit pictures are corrected for vignetting");
  const int channels = img.colourChannels();
  const int maxCode = img.doc.depth == 16 ? 32768 : 255;
  ToneCurves tones = toneCurves(img);
  std::vector<Coding> codings;
  for (const auto &c : tones.curves) codings.emplace_back(c.get(), maxCode);

  const int role = channels == 1 ? LF_CR_1(INTENSITY) : LF_CR_3(RED, GREEN, BLUE);
  const auto w = static_cast<std::size_t>(width);
  std::vector<float> row(w * channels);
  for (std::int32_t y = 0; y < height; ++y) {
    const std::size_t first = static_cast<std::size_t>(y) * w;
    for (int c = 0; c < channels; ++c) {
      const auto &s = img.doc.planes[c].samples;
      for (std::size_t x = 0; x < w; ++x) {
        std::uint32_t code = 0;
        if (maxCode == 255) {
          code = s[first + x];
        } else {
          std::uint16_t v = 0;
          std::memcpy(&v, &s[(first + x) * 2], 2);
          code = std::min<std::uint32_t>(v, 32768u);
        }
        row[x * channels + c] = codings[c].linear[code];
      }
    }
    mod.ApplyColorModification(row.data(), 0.0f, static_cast<float>(y), width, 1, role,
                               static_cast<int>(w * channels * sizeof(float)));
    for (int c = 0; c < channels; ++c) {
      auto &s = img.doc.planes[c].samples;
      for (std::size_t x = 0; x < w; ++x) {
        const std::uint32_t code = codings[c].encode(row[x * channels + c]);
        if (maxCode == 255) {
          s[first + x] = static_cast<std::uint8_t>(code);
        } else {
          const auto v = static_cast<std::uint16_t>(code);
          std::memcpy(&s[(first + x) * 2], &v, 2);
        }
      }
    }
  }
  return "vignetting: lensfun's profile of \"" + profile.lens + "\" at " +
         number(profile.focalLengthMm) + " mm, f/" + number(aperture) +
         " (focus distance unknown), in linear light through " + tones.source;
}

}  // namespace ortavel::cli
