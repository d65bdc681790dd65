/* Lens distortion model: maps an output point to the source point whose colour
 * it takes (inverse mapping), and places the optical centre.
 *
 * Units: x and y in pixels, pixel (i, j) centred at (i, j), x right, y down.
 * centerX/centerY are in normalised units, where the first and last pixel
 * centres along the reference dimension lie at -1 and +1.
 *
 * The record is read-only for both functions and is the tail of the plug-in's
 * FilterParameters that begins at centerX: its layout must not change. */
#ifndef ORTAVEL_GEOMETRY_LENSDISTORT_H
#define ORTAVEL_GEOMETRY_LENSDISTORT_H

#include <stdint.h>

#include "ortavel_export.h"

ORTAVEL_BEGIN_C

typedef struct lensdistort_model {
  double centerX; /* optical centre offset, normalised, unrotated frame */
  double centerY;
  double k1;          /* coefficient of r^2 */
  double k2;          /* coefficient of r^4 */
  double radiusLimit; /* > 0: distorted radius compressed below this value */
  double scale;       /* zoom divisor applied before the distortion; not 0 */
  int32_t imageWidth; /* source image size in pixels */
  int32_t imageHeight;
  uint32_t orientation; /* 0..7; larger values give a centred model */
} lensdistort_model;

/* Source position (out_x, out_y) in source pixels of the output point (x, y).
 * model points to a lensdistort_model; the untyped pointer lets this function
 * serve as the kernels' transform callback. */
ORTAVEL_API void lensdistort_transform_point(double x, double y, double *out_x, double *out_y,
                                             const void *model);

/* Output-pixel position of the optical centre; returns *out_y. */
ORTAVEL_API double lensdistort_image_center(double *out_x, double *out_y, const void *model);

ORTAVEL_END_C

#endif
