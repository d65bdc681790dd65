#include "fill_zoom.h"

#include <algorithm>
#include <cmath>
#include <limits>

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

double foldRadius(double k1, double k2) {
  // g(t) = 1 + 3 k1 t + 5 k2 t² with t = r²; g(0) = 1, so the first root
  // of g in t > 0 is where the growth stops.
  const double a = 5.0 * k2, b = 3.0 * k1;
  double t = std::numeric_limits<double>::infinity();
  if (a == 0.0) {
    if (b < 0.0) t = -1.0 / b;
  } else {
    const double disc = b * b - 4.0 * a;
    if (disc >= 0.0) {
      const double sq = std::sqrt(disc);
      // Both roots, formed without cancellation; keep the smallest positive.
      const double q = -0.5 * (b + std::copysign(sq, b));
      for (const double root : {q / a, q != 0.0 ? 1.0 / q : 0.0}) {
        if (root > 0.0 && root < t) t = root;
      }
    }
  }
  return std::sqrt(t);
}

double farthestCornerRadius(const lensdistort_model &lens, const FillCanvas &c, double zoom) {
  const lensdistort_model m = modelFor(lens, c, zoom);
  const bool turned = m.orientation % 2 == 1 || m.orientation > 7;
  const double d1 = (turned ? m.imageHeight : m.imageWidth) - 1.0;
  double ox = 0.0, oy = 0.0;
  lensdistort_image_center(&ox, &oy, &m);
  const double xs[2] = {-static_cast<double>(c.left), c.width - 1.0 + c.right};
  const double ys[2] = {-static_cast<double>(c.top), c.height - 1.0 + c.bottom};
  double far = 0.0;
  for (const double x : xs)
    for (const double y : ys) far = std::max(far, std::hypot(x - ox, y - oy));
  return far * 2.0 / (d1 * zoom);
}

bool foldsWithin(const lensdistort_model &lens, const FillCanvas &canvas, double zoom) {
  return foldRadius(lens.k1, lens.k2) <= farthestCornerRadius(lens, canvas, zoom);
}

std::optional<double> strongestUnfoldedK1(const lensdistort_model &lens, const FillCanvas &canvas,
                                          double step) {
  auto unfolded = [&](double k1) {
    lensdistort_model m = lens;
    m.k1 = k1;
    const auto zoom = fillZoom(m, canvas);
    return zoom && !foldsWithin(m, canvas, *zoom);
  };
  if (!(lens.k1 < 0.0) || !unfolded(0.0)) return std::nullopt;
  if (unfolded(lens.k1)) return lens.k1;
  // `good` never folds, `bad` does; a stronger k1 folds sooner, so the
  // border lies between them.
  double good = 0.0, bad = lens.k1;
  while (good - bad > step * 0.25) {
    const double mid = bad + (good - bad) * 0.5;
    (unfolded(mid) ? good : bad) = mid;
  }
  // Towards 0 on the step's grid: the value shown is one that holds.
  double shown = std::ceil(good / step) * step;
  if (shown > 0.0) shown = 0.0;
  return unfolded(shown) ? shown : good;
}

}  // namespace ortavel::profiles
