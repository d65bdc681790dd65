/* The scripted parameters, held in the host's parameters block.
 *
 * Fields centerX .. orientation are a lensdistort_model in place: the run hands
 * the model a pointer to centerX, so their order and widths are fixed. */
#ifndef ORTAVEL_FRAME_FILTER_PARAMETERS_H
#define ORTAVEL_FRAME_FILTER_PARAMETERS_H

#include <stddef.h>
#include <stdint.h>

#include "geometry/lensdistort.h"
#include "run/preview_buffer.h"

typedef struct FilterParameters {
  int32_t interpolation; /* method id 0..6, "intM" */
  double centerX;        /* "paXC" */
  double centerY;        /* "paYC" */
  double k1;             /* "paK1" */
  double k2;             /* "paK2" */
  double radiusLimit;    /* "paFR", never below 0 */
  double scale;          /* "scaF", never negative */
  int32_t imageWidth;    /* set by the run, never scripted */
  int32_t imageHeight;
  int32_t orientation; /* "orIM", 0..7 */
  int32_t cropTop;     /* "caTo" */
  int32_t cropBottom;  /* "caBo" */
  int32_t cropLeft;    /* "caLe" */
  int32_t cropRight;   /* "caRi" */
  /* Buffers of the automation caller, passed as address text; null = absent. */
  char *exifMake;                    /* "exMa" */
  char *exifModel;                   /* "exMo" */
  double *exifFocalLength;           /* "exFo" */
  PreviewBuffer *previewCorrected;   /* "prCo" */
  PreviewBuffer *previewUncorrected; /* "prUn" */
} FilterParameters;

#define ORTAVEL_MODEL_AT(field) \
  (offsetof(FilterParameters, field) - offsetof(FilterParameters, centerX))
#ifdef __cplusplus
#define ORTAVEL_STATIC_ASSERT static_assert
#else
#define ORTAVEL_STATIC_ASSERT _Static_assert
#endif
ORTAVEL_STATIC_ASSERT(ORTAVEL_MODEL_AT(k1) == offsetof(lensdistort_model, k1), "model layout");
ORTAVEL_STATIC_ASSERT(ORTAVEL_MODEL_AT(scale) == offsetof(lensdistort_model, scale),
                      "model layout");
ORTAVEL_STATIC_ASSERT(ORTAVEL_MODEL_AT(imageWidth) == offsetof(lensdistort_model, imageWidth),
                      "model layout");
ORTAVEL_STATIC_ASSERT(ORTAVEL_MODEL_AT(orientation) == offsetof(lensdistort_model, orientation),
                      "model layout");
#undef ORTAVEL_MODEL_AT
#undef ORTAVEL_STATIC_ASSERT

/* The lens model that lives inside the parameters. */
static inline lensdistort_model *FilterParametersModel(FilterParameters *p) {
  return (lensdistort_model *)(void *)&p->centerX;
}

#endif
