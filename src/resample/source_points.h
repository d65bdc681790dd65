// Where the pixels of a target block come from, a run of one row at a time.
//
// With the lens model as the transform, positions come from the row evaluator
// (geometry/lens_rows.h): the column terms are formed once per strip of
// columns and reused for every row of the block, and the rest runs several
// pixels at once; the results equal the point transform's bit for bit, so
// the order in which pixels are visited does not show. Any other transform is
// called once per pixel in row-major order, as the kernel contract promises.
// Internal to the engines (C++ only).
#ifndef ORTAVEL_RESAMPLE_SOURCE_POINTS_H
#define ORTAVEL_RESAMPLE_SOURCE_POINTS_H

#include <cmath>
#include <cstdint>

#include "geometry/lens_rows.h"
#include "geometry/lensdistort.h"
#include "ortavel_isa.h"
#include "resample/interp.h"

namespace ortavel_resample {
inline namespace ORTAVEL_ISA_NAMESPACE {

// Columns per run: a multiple of every lane count; three such arrays of
// doubles live on the stack.
inline constexpr int kRunLength = 256;

// Source positions sx[i], sy[i], i < count, made relative to the source block
// (its origin subtracted), and NaN from there up to the next multiple of
// `lanes`, so that whole groups of lanes can be read.
inline void relative_to_block(const interp_source *src, int count, int lanes, double *sx,
                              double *sy) {
  int i = 0;
  for (; i < count; ++i) {
    sx[i] = sx[i] - src->origin_x;
    sy[i] = sy[i] - src->origin_y;
  }
  for (; i % lanes != 0; ++i) sx[i] = sy[i] = NAN;
}

// Calls body(row, first_column, count, sx, sy) for runs of at most kRunLength
// pixels of one target row, every pixel of the block exactly once. sx and sy
// hold positions in the source block (its origin subtracted), followed by NaN
// up to the next multiple of V::kLanes.
template <class V, class Body>
void for_each_run(const interp_source *src, const interp_target *dst, interp_transform_fn transform,
                  const void *model, Body &&body) {
  // Cleared once per call, so that no path can read an unset entry.
  alignas(64) double sx[kRunLength] = {};
  alignas(64) double sy[kRunLength] = {};
  const auto finish = [&](int count) { relative_to_block(src, count, V::kLanes, sx, sy); };
  if (transform == lensdistort_transform_point) {
    const ortavel_lens::LensRows<V> lens(*static_cast<const lensdistort_model *>(model));
    alignas(64) double u[kRunLength] = {};
    for (int c0 = 0; c0 < dst->width; c0 += kRunLength) {
      const int count = dst->width - c0 < kRunLength ? dst->width - c0 : kRunLength;
      const int padded = (count + V::kLanes - 1) / V::kLanes * V::kLanes;
      lens.columns(c0, dst->origin_x, padded, u);
      for (int r = 0; r < dst->height; ++r) {
        lens.map(u, lens.row(static_cast<double>(r) + dst->origin_y), padded, sx, sy);
        finish(count);
        body(r, c0, count, sx, sy);
      }
    }
    return;
  }
  for (int r = 0; r < dst->height; ++r) {
    const double y = static_cast<double>(r) + dst->origin_y;
    for (int c0 = 0; c0 < dst->width; c0 += kRunLength) {
      const int count = dst->width - c0 < kRunLength ? dst->width - c0 : kRunLength;
      for (int i = 0; i < count; ++i) {
        transform(static_cast<double>(c0 + i) + dst->origin_x, y, &sx[i], &sy[i], model);
      }
      finish(count);
      body(r, c0, count, sx, sy);
    }
  }
}

}  // namespace ORTAVEL_ISA_NAMESPACE
}  // namespace ortavel_resample

#endif
