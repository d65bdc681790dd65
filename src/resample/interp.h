/* Sampler records, kernel contract and method table.
 *
 * A kernel fills every pixel of a target block by asking the transform where
 * the pixel comes from and resampling the source block there. Both blocks hold
 * interleaved pixels; strides are in bytes; samples are 1, 2 or 4 bytes wide
 * (fixed by the kernel). The records are only read by kernels and are shared
 * by layout with other modules: fields, order and widths are fixed. */
#ifndef ORTAVEL_RESAMPLE_INTERP_H
#define ORTAVEL_RESAMPLE_INTERP_H

#include <stdint.h>

#include "ortavel_export.h"

ORTAVEL_BEGIN_C

/* Block of source pixels a kernel may read. */
typedef struct interp_source {
  const uint8_t *data; /* channel 0 of the block's top-left pixel */
  double origin_x;     /* position of column 0 in transform coordinates */
  double origin_y;     /* position of row 0 */
  int32_t width;
  int32_t height;
  int32_t row_stride;   /* bytes */
  int32_t pixel_stride; /* bytes */
  int32_t channels;
  int32_t max_value; /* results are clamped to 0..max_value */
} interp_source;

/* Block of destination pixels a kernel must fill; same layout as the source. */
typedef struct interp_target {
  uint8_t *data;
  double origin_x;
  double origin_y;
  int32_t width;
  int32_t height;
  int32_t row_stride;
  int32_t pixel_stride;
  int32_t channels;
  int32_t max_value;
} interp_target;

/* Output point (x, y) -> source point; model is passed through untouched. */
typedef void (*interp_transform_fn)(double x, double y, double *out_x, double *out_y,
                                    const void *model);

/* 0 when the target was filled, 1 when the records do not fit together. */
typedef int32_t (*interp_kernel_fn)(const interp_source *source, const interp_target *target,
                                    interp_transform_fn transform, const void *model);

/* Method identifiers, as stored in the scripted parameters. */
enum interp_method_id {
  BILINEAR = 0,
  BICUBIC = 1,
  LANCZOS4 = 2,
  LANCZOS6 = 3,
  LANCZOS8 = 4,
  LANCZOS12 = 5,
  TEST_ALIGN = 6
};

/* One row of the constant method table. */
typedef struct interp_method {
  uint32_t method;
  interp_kernel_fn kernel;
  int32_t support;      /* source pixels read per axis around a point */
  uint32_t sample_size; /* bytes per sample: 1, 2 or 4 */
} interp_method;

/* The table row for (method, sample size in bytes), or null. */
ORTAVEL_API const interp_method *interp_get_method(uint32_t method, uint32_t sample_size);

ORTAVEL_END_C

#endif
