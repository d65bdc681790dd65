/* The run's state kept with the host between calls (the data block). Its first
 * byte is dialogRequested, set by the frame on the parameters selector. */
#ifndef ORTAVEL_RUN_FILTER_DATA_H
#define ORTAVEL_RUN_FILTER_DATA_H

#include <stdint.h>

#include "resample/interp.h"

struct tiff_parser;

typedef struct FilterData {
  uint8_t dialogRequested;          /* 1: the host asked for the dialog */
  struct tiff_parser *exifParser;   /* held only during the EXIF step */
  const interp_method *methodEntry; /* kernel chosen for this run */
} FilterData;

#endif
