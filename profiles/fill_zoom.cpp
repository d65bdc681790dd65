#include "fill_zoom.h"

#include <algorithm>

#include "geometry/lensdistort.h"

namespace ortavel::profiles {
namespace {

constexpr int kInnerGrid = 64;        // inner pixels checked per side
constexpr double kLargestZoom = 1e6;  // beyond this the centre is outside
constexpr double kSmallestZoom = 1e-6;

lensdistort_model modelFor(const lensdistort_model &lens, const FillCanvas &c, double zoom) {
  lensdistort_model m = lens;
  m.scale = zoom;
  m.imageWidth = c.width;
  m.imageHeight = c.height;
  return m;
}

// Whether the canvas fills at this zoom.
bool fillsCanvasAt(const lensdistort_model &lens, const FillCanvas &c, double zoom) {
  const lensdistort_model m = modelFor(lens, c, zoom);
  const std::int32_t width = c.width, height = c.height;
  const double maxX = width - 1, maxY = height - 1;
  // Output positions relative to the picture's top-left, as the run passes
  // them: the margins lie at negative positions and beyond the picture.
  const std::int32_t x0 = -c.left, x1 = width - 1 + c.right;
  const std::int32_t y0 = -c.top, y1 = height - 1 + c.bottom;
  auto inside = [&](std::int32_t x, std::int32_t y) {
    double sx = 0.0, sy = 0.0;
    lensdistort_transform_point(x, y, &sx, &sy, &m);
    return sx >= 0.0 && sx <= maxX && sy >= 0.0 && sy <= maxY;
  };
  for (std::int32_t x = x0; x <= x1; ++x)
    if (!inside(x, y0) || !inside(x, y1)) return false;
  for (std::int32_t y = y0; y <= y1; ++y)
    if (!inside(x0, y) || !inside(x1, y)) return false;
  for (int j = 1; j < kInnerGrid; ++j) {
    const auto y =
        static_cast<std::int32_t>(y0 + static_cast<std::int64_t>(y1 - y0) * j / kInnerGrid);
    for (int i = 1; i < kInnerGrid; ++i) {
      const auto x =
          static_cast<std::int32_t>(x0 + static_cast<std::int64_t>(x1 - x0) * i / kInnerGrid);
      if (!inside(x, y)) return false;
    }
  }
  return true;
}

}  // namespace

bool fillsCanvas(const lensdistort_model &lens, const FillCanvas &c) {
  return fillsCanvasAt(lens, c, lens.scale);
}

std::optional<double> fillZoom(const lensdistort_model &lens, const FillCanvas &canvas) {
  if (canvas.width < 2 || canvas.height < 1) return std::nullopt;
  auto fills = [&](double zoom) { return fillsCanvasAt(lens, canvas, zoom); };
  // A zoom that fills, then one that does not, then halve the gap between
  // them until they meet: `hi` only ever holds a zoom that fills.
  double hi = 1.0;
  while (!fills(hi)) {
    hi *= 2.0;
    if (hi > kLargestZoom) return std::nullopt;
  }
  double lo = hi;
  while (fills(lo)) {
    lo *= 0.5;
    if (lo < kSmallestZoom) return std::nullopt;
  }
  for (int i = 0; i < 200; ++i) {
    const double mid = lo + (hi - lo) * 0.5;
    if (mid <= lo || mid >= hi) break;
    (fills(mid) ? hi : lo) = mid;
  }
  return hi;
}

}  // namespace ortavel::profiles
