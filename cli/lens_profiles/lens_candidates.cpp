#include "lens_candidates.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>
#include <tuple>

namespace ortavel::cli {
namespace {

// Lenses are named by their nominal range; recorded ends may stray from it.
constexpr double kFocalSlack = 0.03;
constexpr double kRangeTolerance = 0.5;  // mm

bool hasDistortion(const lfLens *l) {
  return l->CalibDistortion != nullptr && l->CalibDistortion[0] != nullptr;
}

std::string mm(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%g", v);
  return b;
}

}  // namespace

LensCandidates candidateLenses(const LensDatabase &db, const lfCamera *camera, double focalMm,
                               std::optional<double> recordedMinMm,
                               std::optional<double> recordedMaxMm) {
  LensCandidates out;
  out.mount = camera->Mount != nullptr ? camera->Mount : "";
  struct Ranked {
    const lfLens *lens;
    bool sameRange;
    bool calibrated;
    double cropGap;
  };
  std::vector<Ranked> ranked;
  for (const lfLens *l : db.lensesFitting(camera)) {
    if (!(l->MinFocal > 0.0f)) continue;
    const double lo = l->MinFocal, hi = l->MaxFocal > 0.0f ? l->MaxFocal : lo;
    if (focalMm < lo * (1.0 - kFocalSlack) || focalMm > hi * (1.0 + kFocalSlack)) continue;
    const bool same = recordedMinMm && recordedMaxMm &&
                      std::abs(lo - *recordedMinMm) <= kRangeTolerance &&
                      std::abs(hi - *recordedMaxMm) <= kRangeTolerance;
    ranked.push_back({l, same, hasDistortion(l),
                      std::abs(static_cast<double>(l->CropFactor) - camera->CropFactor)});
  }
  std::stable_sort(ranked.begin(), ranked.end(), [](const Ranked &a, const Ranked &b) {
    return std::make_tuple(!a.sameRange, !a.calibrated, a.cropGap) <
           std::make_tuple(!b.sameRange, !b.calibrated, b.cropGap);
  });
  std::set<std::string> seen;
  for (const Ranked &r : ranked) {
    const std::string name = lensName(r.lens);
    if (!name.empty() && seen.insert(name).second) out.names.push_back(name);
  }
  return out;
}

std::string candidatesLine(const LensCandidates &c, double focalMm, std::size_t shown) {
  if (c.names.empty()) return {};
  std::string s = "\n  lenses that fit the " + (c.mount.empty() ? "camera" : c.mount + " mount") +
                  " at " + mm(focalMm) + " mm, best first: ";
  for (std::size_t i = 0; i < c.names.size() && i < shown; ++i)
    s += (i == 0 ? "" : "; ") + c.names[i];
  if (c.names.size() > shown) s += " (and " + std::to_string(c.names.size() - shown) + " more)";
  return s;
}

}  // namespace ortavel::cli
