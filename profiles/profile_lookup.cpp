#include "profiles/profile_lookup.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "geometry/lensdistort.h"

namespace ortavel::profiles {
namespace {

std::string lowerWords(const std::string &s) {
  std::string out;
  bool space = false;
  for (const char ch : s) {
    const auto c = static_cast<unsigned char>(ch);
    if (std::isspace(c) != 0) {
      space = !out.empty();
      continue;
    }
    if (space) out += ' ';
    space = false;
    out += static_cast<char>(std::tolower(c));
  }
  return out;
}

}  // namespace

bool sameName(const std::string &a, const std::string &b) {
  return lowerWords(a) == lowerWords(b);
}

std::string cameraListName(const CameraFacts &c) {
  return c.variant.empty() ? c.name : c.name + " (" + c.variant + ")";
}

std::optional<double> variantAspectRatio(const std::string &variant) {
  const std::string v = lowerWords(variant);
  if (v.find("widescreen") != std::string::npos) return 16.0 / 9.0;
  const auto colon = v.find(':');
  if (colon == std::string::npos || colon == 0) return std::nullopt;
  std::size_t from = colon;
  while (from > 0 && std::isdigit(static_cast<unsigned char>(v[from - 1])) != 0) --from;
  std::size_t to = colon + 1;
  while (to < v.size() && std::isdigit(static_cast<unsigned char>(v[to])) != 0) ++to;
  if (from == colon || to == colon + 1) return std::nullopt;
  const double a = std::atof(v.substr(from, colon - from).c_str());
  const double b = std::atof(v.substr(colon + 1, to - colon - 1).c_str());
  if (!(a > 0.0) || !(b > 0.0)) return std::nullopt;
  return std::max(a, b) / std::min(a, b);
}

std::size_t chooseVariant(const std::vector<CameraFacts> &entries, std::int32_t width,
                          std::int32_t height) {
  if (entries.size() < 2) return 0;
  if (width > 0 && height > 0) {
    const double picture =
        static_cast<double>(std::max(width, height)) / static_cast<double>(std::min(width, height));
    // Pictures are a few pixels off their nominal shape at most.
    constexpr double kShapeSlack = 0.03;
    std::optional<std::size_t> best;
    double bestGap = kShapeSlack;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const auto ratio = variantAspectRatio(entries[i].variant);
      if (!ratio) continue;
      const double gap = std::abs(std::log(*ratio / picture));
      if (gap < bestGap) {
        bestGap = gap;
        best = i;
      }
    }
    if (best) return *best;
  }
  for (std::size_t i = 0; i < entries.size(); ++i)
    if (!variantAspectRatio(entries[i].variant)) return i;
  return 0;
}

std::size_t chooseCalibrationFrame(const std::vector<LensFacts> &entries, double crop,
                                   std::size_t preferred) {
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (entries[i].cropFactor > crop * 1.001) continue;  // a frame smaller than the camera's
    if (!best || entries[i].cropFactor > entries[*best].cropFactor) best = i;
  }
  return best.value_or(preferred);
}

void databaseCenterToModel(const CalibrationFrame &frame, double dbX, double dbY,
                           std::int32_t width, std::int32_t height, double &centerX,
                           double &centerY) {
  const double unit = databaseUnitPixels(frame, width, height);
  const double halfSide = (width - 1) * 0.5;
  centerX = dbX * unit / halfSide;
  centerY = dbY * unit / halfSide;
}

double centredFitErrorPx(const DatabaseDistortion &d, const CalibrationFrame &frame,
                         const ConvertedDistortion &c, double centerX, double centerY,
                         std::int32_t width, std::int32_t height) {
  lensdistort_model m{};
  m.centerX = centerX;
  m.centerY = centerY;
  m.k1 = c.k1;
  m.k2 = c.k2;
  m.scale = c.scale;
  m.imageWidth = width;
  m.imageHeight = height;
  const double unit = databaseUnitPixels(frame, width, height);
  const double halfSide = (width - 1) * 0.5;
  const double ox = (width - 1) * 0.5 + centerX * halfSide;
  const double oy = (height - 1) * 0.5 + centerY * halfSide;
  constexpr int kSteps = 48;
  double worst = 0.0;
  for (int i = 0; i <= kSteps; ++i) {
    for (int j = 0; j <= kSteps; ++j) {
      const double x = (width - 1) * static_cast<double>(i) / kSteps;
      const double y = (height - 1) * static_cast<double>(j) / kSteps;
      double sx = 0.0, sy = 0.0;
      lensdistort_transform_point(x, y, &sx, &sy, &m);
      const double dx = x - ox, dy = y - oy;
      // sqrt of a sum of squares rounds alike in every C library; hypot not.
      const double r = std::sqrt(dx * dx + dy * dy) / unit;
      const double f = r > 0.0 ? databaseDistortedRadius(d, r) / r : 1.0;
      const double ex = sx - (ox + dx * f), ey = sy - (oy + dy * f);
      worst = std::max(worst, std::sqrt(ex * ex + ey * ey));
    }
  }
  return std::max(worst, c.maxErrorPx);
}

}  // namespace ortavel::profiles
