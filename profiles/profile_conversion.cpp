#include "profile_conversion.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace ortavel::profiles {
namespace {

// Coefficients of an odd polynomial a1 rho + a3 rho^3 + a5 rho^5 in pixels.
struct OddPolynomial {
  double a1 = 1.0;
  double a3 = 0.0;
  double a5 = 0.0;
};

// Samples per side of the grid the least-squares fit runs over, and radii at
// which the largest error is looked for.
constexpr int kFitGrid = 257;
constexpr int kErrorRadii = 4097;

// Solves the 3x3 system m x = v by elimination with partial pivoting.
std::array<double, 3> solve3(std::array<std::array<double, 3>, 3> m, std::array<double, 3> v) {
  for (int col = 0; col < 3; ++col) {
    int pivot = col;
    for (int r = col + 1; r < 3; ++r)
      if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
    if (m[pivot][col] == 0.0) throw std::invalid_argument("the fit is singular");
    std::swap(m[col], m[pivot]);
    std::swap(v[col], v[pivot]);
    for (int r = col + 1; r < 3; ++r) {
      const double f = m[r][col] / m[col][col];
      for (int c = col; c < 3; ++c) m[r][c] -= f * m[col][c];
      v[r] -= f * v[col];
    }
  }
  std::array<double, 3> x{};
  for (int r = 2; r >= 0; --r) {
    double s = v[r];
    for (int c = r + 1; c < 3; ++c) s -= m[r][c] * x[c];
    x[r] = s / m[r][r];
  }
  return x;
}

// Least-squares fit of b1 t + b3 t^3 + b5 t^5 to the database model, t in
// database units, over a grid of points spread evenly across the frame (so
// that every part of the picture weighs by its area).
OddPolynomial fitOdd(const DatabaseDistortion &d, double unit, std::int32_t width,
                     std::int32_t height) {
  const int nx = std::min(width, kFitGrid), ny = std::min(height, kFitGrid);
  const double cx = (width - 1) * 0.5, cy = (height - 1) * 0.5;
  std::array<std::array<double, 3>, 3> m{};
  std::array<double, 3> v{};
  for (int j = 0; j < ny; ++j) {
    const double y = ny > 1 ? (height - 1) * static_cast<double>(j) / (ny - 1) : 0.0;
    for (int i = 0; i < nx; ++i) {
      const double x = nx > 1 ? (width - 1) * static_cast<double>(i) / (nx - 1) : 0.0;
      const double t = std::hypot(x - cx, y - cy) / unit;
      const double t2 = t * t;
      const std::array<double, 3> phi = {t, t * t2, t * t2 * t2};
      const double g = databaseDistortedRadius(d, t);
      for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) m[r][c] += phi[r] * phi[c];
        v[r] += phi[r] * g;
      }
    }
  }
  const auto b = solve3(m, v);
  return {b[0], b[1] / (unit * unit), b[2] / (unit * unit * unit * unit)};
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
  const double diagonal =
      std::hypot(static_cast<double>(width - 1), static_cast<double>(height - 1));
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
  const OddPolynomial p = c.exact ? exactOdd(d, unit) : fitOdd(d, unit, width, height);
  if (!(p.a1 > 0.0)) throw std::invalid_argument("the model does not keep the centre's scale");

  const double halfSide = (width - 1) * 0.5;  // R: half the reference side
  c.scale = 1.0 / p.a1;
  c.k1 = p.a3 * c.scale * c.scale * c.scale * halfSide * halfSide;
  c.k2 = p.a5 * std::pow(c.scale, 5) * std::pow(halfSide, 4);

  const double corner = std::hypot((width - 1) * 0.5, (height - 1) * 0.5);
  for (int i = 0; i < kErrorRadii; ++i) {
    const double rho = corner * i / (kErrorRadii - 1);
    const double theirs = databaseDistortedRadius(d, rho / unit) * unit;
    c.maxErrorPx = std::max(c.maxErrorPx, std::fabs(theirs - ourSourceRadius(c, halfSide, rho)));
  }
  return c;
}

}  // namespace ortavel::profiles
