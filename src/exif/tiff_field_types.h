/* Widths of the TIFF field types, shared by the directory reader (which swaps
 * values unit by unit) and the value accessors (which step by value). */
#ifndef ORTAVEL_EXIF_TIFF_FIELD_TYPES_H
#define ORTAVEL_EXIF_TIFF_FIELD_TYPES_H

#include <stdint.h>

typedef struct tiff_field_type {
  int32_t unit_bytes;      /* bytes swapped as one piece */
  int32_t units_per_value; /* 2 for the rationals, else 1 */
} tiff_field_type;

/* The width of `type`, or null for a faulty type (0, or above 12). */
const tiff_field_type *tiff_field_type_get(uint32_t type);

#endif
