/* A preview request in the automation caller's memory. The filter reads the
 * geometry, writes the pixels (3 bytes per pixel: red, green, blue) and clears
 * pending once the request is served. */
#ifndef ORTAVEL_RUN_PREVIEW_BUFFER_H
#define ORTAVEL_RUN_PREVIEW_BUFFER_H

#include <stdint.h>

typedef struct PreviewBuffer {
  uint8_t pending; /* non-zero: serve this request */
  int32_t width;   /* pixels */
  int32_t height;
  int32_t rowBytes; /* bytes from one row to the next */
  uint8_t *pixels;  /* height rows of the caller's memory */
} PreviewBuffer;

#endif
