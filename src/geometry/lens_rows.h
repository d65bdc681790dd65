// The lens transform for whole rows of output pixels, several pixels at once.
//
// lensdistort_transform_point does, per point, work that depends only on the
// column (the normalised, zoomed, centred u) or only on the row (v). Here u is
// formed once per column of a block and v once per row, by the very same
// operations; what is left per pixel (the radius, one square root, the radial
// factor, one division, the way back to pixels) runs V::kLanes pixels at a
// time. Every lane performs the scalar sequence of operations, and IEEE square
// root and division are correctly rounded at every width, so each result is
// the bit pattern that lensdistort_transform_point gives for the same point.
//
// V is a lane type (resample/simd_lanes.h): doubles, several per register.
// Internal to the engines (C++ only).
#ifndef ORTAVEL_GEOMETRY_LENS_ROWS_H
#define ORTAVEL_GEOMETRY_LENS_ROWS_H

#include <cmath>
#include <cstdint>

#include "geometry/lens_frame.h"
#include "geometry/lensdistort.h"
#include "ortavel_isa.h"

namespace ortavel_lens {
inline namespace ORTAVEL_ISA_NAMESPACE {

template <class V>
class LensRows {
 public:
  explicit LensRows(const lensdistort_model &m)
      : m_(m),
        f_(frame_of(m)),
        w1_(static_cast<double>(m.imageWidth - 1)),
        h1_(static_cast<double>(m.imageHeight - 1)),
        limit_c_((m.radiusLimit + m.radiusLimit) / kPi) {}

  // u of the output columns x = (first + i) + origin_x, for i < count.
  void columns(int32_t first, double origin_x, int count, double *u) const {
    for (int i = 0; i < count; ++i) {
      const double x = static_cast<double>(first + i) + origin_x;
      const double xn = (2.0 * x - w1_) / f_.d_minus_1;
      u[i] = xn / m_.scale - f_.cx;
    }
  }

  // v of the output row y.
  double row(double y) const {
    const double yn = (2.0 * y - h1_) / f_.d_minus_1;
    return yn / m_.scale - f_.cy;
  }

  // Source positions of the points (u[i], v), i < count; count is a multiple
  // of V::kLanes.
  void map(const double *u, double v, int count, double *out_x, double *out_y) const {
    using D = typename V::D;
    const D vv = V::set1(v);
    const D vv2 = V::mul(vv, vv);
    const D k1 = V::set1(m_.k1);
    const D k2 = V::set1(m_.k2);
    const D one = V::set1(1.0);
    const D zero = V::set1(0.0);
    const D cx = V::set1(f_.cx);
    const D cy = V::set1(f_.cy);
    const D d1 = V::set1(f_.d_minus_1);
    const D w1 = V::set1(w1_);
    const D h1 = V::set1(h1_);
    const D half = V::set1(0.5);
    const D c = V::set1(limit_c_);
    const bool limited = m_.radiusLimit > 0.0;
    for (int i = 0; i < count; i += V::kLanes) {
      const D uu = V::load(u + i);
      const D r = V::sqrt(V::add(V::mul(uu, uu), vv2));
      // (r k1 r + 1) + r k2 r r r, in that order.
      const D factor = V::add(V::add(V::mul(V::mul(r, k1), r), one),
                              V::mul(V::mul(V::mul(V::mul(r, k2), r), r), r));
      D rd = V::mul(factor, r);
      if (limited) rd = V::mul(atan_lanes(V::div(rd, c)), c);
      const D s = V::div(rd, r);
      // The centre (r exactly 0) keeps u and v; NaN counts as non-zero.
      const auto moved = V::neq(r, zero);
      const D uo = V::blend(moved, V::mul(uu, s), uu);
      const D vo = V::blend(moved, V::mul(vv, s), vv);
      V::store(out_x + i, V::mul(V::add(V::mul(V::add(uo, cx), d1), w1), half));
      V::store(out_y + i, V::mul(V::add(V::mul(V::add(vo, cy), d1), h1), half));
    }
  }

 private:
  // The arctangent lane by lane, through the same library function.
  static typename V::D atan_lanes(typename V::D q) {
    alignas(64) double lanes[V::kLanes];
    V::store(lanes, q);
    for (double &x : lanes) x = std::atan(x);
    return V::load(lanes);
  }

  lensdistort_model m_;
  Frame f_;
  double w1_;
  double h1_;
  double limit_c_;
};

}  // namespace ORTAVEL_ISA_NAMESPACE
}  // namespace ortavel_lens

#endif
