// Every calibrated distortion entry of the installed lens database, converted
// for a 6000-pixel-wide picture of the calibration's own aspect ratio, against
// lensfun's own geometry (lfModifier) for the same picture:
// - poly3 and poly5 convert exactly;
// - the error the conversion reports is the largest displacement lfModifier's
//   positions show, along the half-diagonal (every radius of the picture);
// - a fitted ptlens entry comes within 5 % (and 0.02 px) of the least largest
//   displacement any k1, k2 and zoom can give. That least value is bounded
//   from below here without any fit: for the basis r, r^3, r^5 (at most two
//   positive roots in any combination) every polynomial errs, at one of any
//   four radii, by at least the levelled error of those four, which has a
//   closed form. The best four of 32 radii, then each moved along 1024 radii
//   while that helps, give a bound a few thousandths below the true least
//   value; a product fit that is worse by more than the slack fails.
#include <gtest/gtest.h>
#include <lensfun/lensfun.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "geometry/lensdistort.h"
#include "profiles/profile_conversion.h"

namespace ortavel::profiles {
namespace {

constexpr int kWidth = 6000;
// Radii along the half-diagonal, lfModifier's positions at each.
constexpr int kDiagonal = 1024;
// Radii of the coarse search for the best four (every 32nd of the above).
constexpr int kCoarse = 32;
// lensfun works in single precision: a few thousandths of a pixel.
constexpr double kFloatSlack = 0.005;

struct FreeDb {
  void operator()(lfDatabase *db) const { lf_db_destroy(db); }
};

// The levelled error of four increasing positive radii t (any unit) with
// target values g: the linear dependency of the four rows (t, t^3, t^5) has
// weights (-1)^i D_i, D_i the determinant of the other three rows, which for
// s = t^2 is t_a t_b t_c (s_b - s_a)(s_c - s_a)(s_c - s_b) > 0.
double levelled(const std::array<double, 4> &t, const std::array<double, 4> &g) {
  double num = 0.0, den = 0.0;
  for (int i = 0; i < 4; ++i) {
    std::array<double, 3> o{};
    for (int j = 0, k = 0; j < 4; ++j)
      if (j != i) o[k++] = t[j];
    const double a = o[0] * o[0], b = o[1] * o[1], c = o[2] * o[2];
    const double det = o[0] * o[1] * o[2] * (b - a) * (c - a) * (c - b);
    num += (i % 2 == 0 ? det : -det) * g[i];
    den += det;
  }
  return std::fabs(num / den);
}

// A lower bound of the least largest error of b1 r + b3 r^3 + b5 r^5 against
// `target` (index k at radius k + 1 of kDiagonal).
double leastAchievableBound(const std::vector<double> &target) {
  auto at = [&](const std::array<int, 4> &idx) {
    std::array<double, 4> t{}, g{};
    for (int i = 0; i < 4; ++i) {
      t[i] = static_cast<double>(idx[i] + 1) / kDiagonal;
      g[i] = target[idx[i]];
    }
    return levelled(t, g);
  };
  constexpr int kStep = kDiagonal / kCoarse;
  std::array<int, 4> best{};
  double bound = -1.0;
  for (int a = 0; a < kCoarse; ++a)
    for (int b = a + 1; b < kCoarse; ++b)
      for (int c = b + 1; c < kCoarse; ++c)
        for (int d = c + 1; d < kCoarse; ++d) {
          const std::array<int, 4> idx = {(a + 1) * kStep - 1, (b + 1) * kStep - 1,
                                          (c + 1) * kStep - 1, (d + 1) * kStep - 1};
          const double h = at(idx);
          if (h > bound) bound = h, best = idx;
        }
  for (bool moved = true; moved;) {
    moved = false;
    for (int i = 0; i < 4; ++i) {
      const int lo = i == 0 ? 0 : best[i - 1] + 1;
      const int hi = i == 3 ? kDiagonal - 1 : best[i + 1] - 1;
      for (int k = lo; k <= hi; ++k) {
        std::array<int, 4> idx = best;
        idx[i] = k;
        const double h = at(idx);
        if (h > bound) bound = h, best = idx, moved = true;
      }
    }
  }
  return bound;
}

DatabaseDistortion fromLensfun(const lfLensCalibDistortion &c) {
  DatabaseDistortion d;
  d.model = c.Model == LF_DIST_MODEL_POLY3   ? DistortionModel::kPoly3
            : c.Model == LF_DIST_MODEL_POLY5 ? DistortionModel::kPoly5
                                             : DistortionModel::kPtLens;
  for (int i = 0; i < 3; ++i) d.terms[i] = c.Terms[i];
  return d;
}

TEST(Sweep, EveryCalibratedEntryOfTheDatabase) {
  std::unique_ptr<lfDatabase, FreeDb> db(lf_db_new());
  ASSERT_TRUE(db);
  ASSERT_EQ(lf_db_load(db.get()), LF_NO_ERROR);

  int entries = 0, exact = 0, fitted = 0;
  std::vector<double> ratios;  // fitted error over the bound, for the summary
  std::vector<double> errors;  // fitted errors, pixels
  for (const lfLens *const *l = db->GetLenses(); l != nullptr && *l != nullptr; ++l) {
    for (auto **cal = (*l)->CalibDistortion; cal != nullptr && *cal != nullptr; ++cal) {
      const lfLensCalibDistortion &entry = **cal;
      if (entry.Model != LF_DIST_MODEL_POLY3 && entry.Model != LF_DIST_MODEL_POLY5 &&
          entry.Model != LF_DIST_MODEL_PTLENS)
        continue;
      ++entries;
      // The lens without its centre shift: the conversion is about the
      // picture's centre.
      lfLens lens(**l);
      lens.CenterX = 0.0f;
      lens.CenterY = 0.0f;
      const double ar = lens.AspectRatio >= 1.0f ? lens.AspectRatio : 1.5;
      const int height = static_cast<int>(std::lround(kWidth / ar));
      SCOPED_TRACE(std::string(lens.Model ? lens.Model : "?") + " at " +
                   std::to_string(entry.Focal) + " mm");

      // What lensfun interpolates at a calibrated focal length: the entry.
      lfLensCalibDistortion at{};
      ASSERT_TRUE(lens.InterpolateDistortion(entry.Focal, at));
      const DatabaseDistortion d = fromLensfun(at);
      const CalibrationFrame frame{lens.CropFactor, ar, lens.CropFactor};
      ConvertedDistortion c;
      try {
        c = convertDistortion(d, frame, kWidth, height);
      } catch (const std::invalid_argument &e) {
        ADD_FAILURE() << e.what();
        continue;
      }

      lfModifier mod(&lens, lens.CropFactor, kWidth, height);
      ASSERT_NE(mod.Initialize(&lens, LF_PF_U8, entry.Focal, 8.0f, 1000.0f, 1.0f, lens.Type,
                               LF_MODIFY_DISTORTION, false) &
                    LF_MODIFY_DISTORTION,
                0);
      lensdistort_model m{};
      m.k1 = c.k1;
      m.k2 = c.k2;
      m.scale = c.scale;
      m.imageWidth = kWidth;
      m.imageHeight = height;
      const double cx = (kWidth - 1) * 0.5, cy = (height - 1) * 0.5;
      std::vector<double> target(kDiagonal);  // lensfun's source radius, pixels
      double gap = 0.0;
      for (int k = 0; k < kDiagonal; ++k) {
        const double s = static_cast<double>(k + 1) / kDiagonal;
        const double x = cx + s * cx, y = cy + s * cy;
        float theirs[2];
        ASSERT_TRUE(mod.ApplyGeometryDistortion(static_cast<float>(x), static_cast<float>(y), 1, 1,
                                                theirs));
        double sx = 0.0, sy = 0.0;
        lensdistort_transform_point(x, y, &sx, &sy, &m);
        gap = std::max(gap, std::hypot(sx - theirs[0], sy - theirs[1]));
        target[k] = std::hypot(theirs[0] - cx, theirs[1] - cy);
      }
      // The reported error is the displacement lensfun's geometry shows.
      EXPECT_NEAR(c.maxErrorPx, gap, kFloatSlack);

      if (at.Model == LF_DIST_MODEL_PTLENS && !(at.Terms[0] == 0.0f && at.Terms[2] == 0.0f)) {
        ++fitted;
        EXPECT_FALSE(c.exact);
        const double bound = leastAchievableBound(target);
        EXPECT_LE(c.maxErrorPx, 1.05 * bound + 0.02) << "bound " << bound;
        if (bound > 0.1) ratios.push_back(c.maxErrorPx / bound);
        errors.push_back(c.maxErrorPx);
      } else {
        ++exact;
        EXPECT_TRUE(c.exact);
        EXPECT_LT(c.maxErrorPx, 1e-6);
      }
    }
  }
  // The installed database (lensfun 0.3.3's data) has thousands of entries,
  // most of them ptlens.
  EXPECT_GT(entries, 4000);
  EXPECT_GT(fitted, entries / 2);
  EXPECT_GT(exact, 100);
  std::sort(ratios.begin(), ratios.end());
  std::sort(errors.begin(), errors.end());
  if (!ratios.empty() && !errors.empty()) {
    std::printf(
        "%d entries: %d exact, %d fitted; fitted error median %.3g px, 95th percentile "
        "%.3g px, largest %.3g px; over the bound: median %.4f, largest %.4f\n",
        entries, exact, fitted, errors[errors.size() / 2], errors[errors.size() * 95 / 100],
        errors.back(), ratios[ratios.size() / 2], ratios.back());
  }
}

}  // namespace
}  // namespace ortavel::profiles
