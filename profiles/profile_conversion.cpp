#include "profile_conversion.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace ortavel::profiles {
namespace {

// Coefficients of an odd polynomial a1 rho + a3 rho^3 + a5 rho^5 in pixels.
struct OddPolynomial {
  double a1 = 1.0;
  double a3 = 0.0;
  double a5 = 0.0;
};

// Radii, evenly spaced up to the frame's corner, over which the fit levels
// the error, and the most exchanges it makes (it needs about ten).
constexpr int kFitRadii = 2048;
constexpr int kMaxExchanges = 100;
// The reported error is looked for at least every half pixel of radius.
constexpr int kMinErrorRadii = 4097;

// Solves the 4x4 system m x = v by elimination with partial pivoting.
std::array<double, 4> solve4(std::array<std::array<double, 4>, 4> m, std::array<double, 4> v) {
  for (int col = 0; col < 4; ++col) {
    int pivot = col;
    for (int r = col + 1; r < 4; ++r)
      if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
    if (m[pivot][col] == 0.0) throw std::invalid_argument("the fit is singular");
    std::swap(m[col], m[pivot]);
    std::swap(v[col], v[pivot]);
    for (int r = col + 1; r < 4; ++r) {
      const double f = m[r][col] / m[col][col];
      for (int c = col; c < 4; ++c) m[r][c] -= f * m[col][c];
      v[r] -= f * v[col];
    }
  }
  std::array<double, 4> x{};
  for (int r = 3; r >= 0; --r) {
    double s = v[r];
    for (int c = r + 1; c < 4; ++c) s -= m[r][c] * x[c];
    x[r] = s / m[r][r];
  }
  return x;
}

// The odd polynomial whose largest distance from the database model over the
// radii 0 to `corner` (pixels) is least: every radius up to the corner occurs
// in the picture, and both models move a pixel along its radius, so that
// distance is the largest displacement over the picture. The basis t, t^3,
// t^5 has at most two positive roots in any combination, so the best fit on
// the sampled radii is the one whose error takes its largest size with
// alternating signs at four of them; the single-point exchange below finds
// that set, raising the levelled error at each step.
OddPolynomial fitMinimax(const DatabaseDistortion &d, double unit, double corner) {
  // In units of the corner radius: t in (0, 1], values near t.
  std::vector<double> t(kFitRadii), g(kFitRadii), e(kFitRadii);
  for (int j = 0; j < kFitRadii; ++j) {
    t[j] = static_cast<double>(j + 1) / kFitRadii;
    g[j] = databaseDistortedRadius(d, t[j] * corner / unit) * unit / corner;
  }
  auto value = [&](const std::array<double, 4> &b, int j) {
    const double t2 = t[j] * t[j];
    return ((b[2] * t2 + b[1]) * t2 + b[0]) * t[j];
  };
  std::array<int, 4> ref = {kFitRadii / 4 - 1, kFitRadii / 2 - 1, 3 * kFitRadii / 4 - 1,
                            kFitRadii - 1};
  std::array<double, 4> best{};
  double bestError = INFINITY;
  double level = -1.0;
  for (int step = 0; step < kMaxExchanges; ++step) {
    // b1 t + b3 t^3 + b5 t^5 - g = -(-1)^i h at the four reference radii.
    std::array<std::array<double, 4>, 4> m{};
    std::array<double, 4> v{};
    for (int i = 0; i < 4; ++i) {
      const double ti = t[ref[i]], t2 = ti * ti;
      m[i] = {ti, ti * t2, ti * t2 * t2, i % 2 == 0 ? 1.0 : -1.0};
      v[i] = g[ref[i]];
    }
    const std::array<double, 4> b = solve4(m, v);
    const double h = std::fabs(b[3]);
    int worst = 0;
    for (int j = 0; j < kFitRadii; ++j) {
      e[j] = value(b, j) - g[j];
      if (std::fabs(e[j]) > std::fabs(e[worst])) worst = j;
    }
    if (std::fabs(e[worst]) < bestError) {
      bestError = std::fabs(e[worst]);
      best = b;
    }
    // Done when no radius errs by more than the level (rounding aside), or
    // when rounding stops the level from growing.
    if (std::fabs(e[worst]) <= h * (1.0 + 1e-9) || !(h > level)) break;
    level = h;
    // Put the worst radius into the reference, keeping the signs alternating.
    const bool up = e[worst] > 0.0;
    auto sameSign = [&](int i) { return (e[ref[i]] > 0.0) == up; };
    if (worst < ref[0]) {
      if (sameSign(0)) {
        ref[0] = worst;
      } else {
        ref = {worst, ref[0], ref[1], ref[2]};
      }
    } else if (worst > ref[3]) {
      if (sameSign(3)) {
        ref[3] = worst;
      } else {
        ref = {ref[1], ref[2], ref[3], worst};
      }
    } else {
      int i = 0;
      while (i < 3 && !(ref[i] < worst && worst < ref[i + 1])) ++i;
      // The worst radius is one of the reference already (rounding has
      // made the level its own largest error): nothing left to exchange.
      if (i == 3) break;
      ref[sameSign(i) ? i : i + 1] = worst;
    }
  }
  return {best[0], best[1] / (corner * corner), best[2] / (corner * corner * corner * corner)};
}

// The odd polynomial the database model is, where it is one.
OddPolynomial exactOdd(const DatabaseDistortion &d, double unit) {
  const double u2 = unit * unit;
  if (d.model == DistortionModel::kPoly3) return {1.0 - d.terms[0], d.terms[0] / u2, 0.0};
  return {1.0, d.terms[0] / u2, d.terms[1] / (u2 * u2)};
}

// Our model's source radius in pixels for the output radius rho, with the
// arithmetic of the lens model itself.
double ourSourceRadius(const ConvertedDistortion &c, double halfSide, double rho) {
  const double r = rho / halfSide / c.scale;
  const double f = (r * c.k1 * r + 1.0) + r * c.k2 * r * r * r;
  return f * r * halfSide;
}

}  // namespace

std::string_view distortionModelName(DistortionModel m) {
  switch (m) {
    case DistortionModel::kPoly3:
      return "poly3";
    case DistortionModel::kPoly5:
      return "poly5";
    case DistortionModel::kPtLens:
      return "ptlens";
  }
  return "";
}

double databaseUnitPixels(const CalibrationFrame &frame, std::int32_t width, std::int32_t height) {
  // sqrt and products, not hypot and pow: they round the same in every C
  // library, so the Windows module converts to the same bits as Linux.
  const double w = width - 1, h = height - 1;
  const double diagonal = std::sqrt(w * w + h * h);
  const double ar = frame.lensAspectRatio;
  return diagonal * frame.cameraCropFactor / frame.lensCropFactor /
         (2.0 * std::sqrt(ar * ar + 1.0));
}

double databaseDistortedRadius(const DatabaseDistortion &d, double r) {
  const auto &k = d.terms;
  switch (d.model) {
    case DistortionModel::kPoly3:
      return r * (1.0 - k[0] + k[0] * r * r);
    case DistortionModel::kPoly5:
      return r * (1.0 + k[0] * r * r + k[1] * r * r * r * r);
    case DistortionModel::kPtLens:
      return r * (k[0] * r * r * r + k[1] * r * r + k[2] * r + 1.0 - k[0] - k[1] - k[2]);
  }
  return r;
}

ConvertedDistortion convertDistortion(const DatabaseDistortion &given,
                                      const CalibrationFrame &frame, std::int32_t width,
                                      std::int32_t height) {
  // A ptlens model with b alone is r (1 - b + b r^2): poly3 with k1 = b.
  DatabaseDistortion d = given;
  if (d.model == DistortionModel::kPtLens && d.terms[0] == 0.0 && d.terms[2] == 0.0)
    d = {DistortionModel::kPoly3, {given.terms[1], 0.0, 0.0}};
  if (width < 2 || height < 1) throw std::invalid_argument("the picture is too small");
  const double unit = databaseUnitPixels(frame, width, height);
  if (!(unit > 0.0) || !std::isfinite(unit))
    throw std::invalid_argument("the calibration frame does not fit the picture");
  ConvertedDistortion c;
  c.exact = d.model != DistortionModel::kPtLens;
  const double halfW = (width - 1) * 0.5, halfH = (height - 1) * 0.5;
  const double corner = std::sqrt(halfW * halfW + halfH * halfH);
  const OddPolynomial p = c.exact ? exactOdd(d, unit) : fitMinimax(d, unit, corner);
  if (!(p.a1 > 0.0)) throw std::invalid_argument("the model does not keep the centre's scale");

  const double halfSide = (width - 1) * 0.5;  // R: half the reference side
  c.scale = 1.0 / p.a1;
  c.k1 = p.a3 * c.scale * c.scale * c.scale * halfSide * halfSide;
  const double scale2 = c.scale * c.scale, halfSide2 = halfSide * halfSide;
  c.k2 = p.a5 * (scale2 * scale2 * c.scale) * (halfSide2 * halfSide2);

  const int radii = std::max(kMinErrorRadii, 2 * static_cast<int>(std::ceil(corner)) + 1);
  for (int i = 0; i < radii; ++i) {
    const double rho = corner * i / (radii - 1);
    const double theirs = databaseDistortedRadius(d, rho / unit) * unit;
    c.maxErrorPx = std::max(c.maxErrorPx, std::fabs(theirs - ourSourceRadius(c, halfSide, rho)));
  }
  return c;
}

}  // namespace ortavel::profiles
