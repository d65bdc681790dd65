// The lens row evaluator at each lane type, as plain functions: the wide ones
// live in units built with their instruction set (and run only where the
// processor has it).
#ifndef ORTAVEL_TESTS_GEOMETRY_LENS_ROWS_LEVELS_H
#define ORTAVEL_TESTS_GEOMETRY_LENS_ROWS_LEVELS_H

#include <cstdint>

#include "geometry/lensdistort.h"

// Source positions of output pixels (first + i + origin_x, y), i < count
// (at most 256).
using LensRowFn = void (*)(const lensdistort_model &model, int32_t first, double origin_x,
                           int count, double y, double *out_x, double *out_y);

void lens_row_scalar(const lensdistort_model &, int32_t, double, int, double, double *, double *);
void lens_row_sse2(const lensdistort_model &, int32_t, double, int, double, double *, double *);
void lens_row_avx2(const lensdistort_model &, int32_t, double, int, double, double *, double *);
void lens_row_avx512(const lensdistort_model &, int32_t, double, int, double, double *, double *);

#define ORTAVEL_LENS_ROW_AT(name, lanes)                                                         \
  void name(const lensdistort_model &model, int32_t first, double origin_x, int count, double y, \
            double *out_x, double *out_y) {                                                      \
    const ortavel_lens::LensRows<lanes> lens(model);                                             \
    const int padded = (count + lanes::kLanes - 1) / lanes::kLanes * lanes::kLanes;              \
    alignas(64) double u[256];                                                                   \
    alignas(64) double x[256];                                                                   \
    alignas(64) double yy[256];                                                                  \
    lens.columns(first, origin_x, padded, u);                                                    \
    lens.map(u, lens.row(y), padded, x, yy);                                                     \
    for (int i = 0; i < count; ++i) {                                                            \
      out_x[i] = x[i];                                                                           \
      out_y[i] = yy[i];                                                                          \
    }                                                                                            \
  }

#endif
