/* Range checks of the TIFF reader. Spans are given as byte offsets from the
 * start of the TIFF block, in 64 bits, so that no offset taken from the file
 * can wrap or form a pointer outside the caller's buffer before it is checked. */
#ifndef ORTAVEL_EXIF_TIFF_RANGE_H
#define ORTAVEL_EXIF_TIFF_RANGE_H

#include <stdint.h>

#include "exif/tiff_parse.h"

/* 1 when [start, end) lies within the block's size bytes, else 0. */
int tiff_range_ok(const tiff_parser *parser, uint64_t start, uint64_t end);

/* Files "Accessing non valid memory" for [start, end). The four positions are
 * printed as offsets in the buffer given to tiff_parse (the block itself is at
 * parser->offset), which fit in a message slot whatever the address width. */
void tiff_range_warn(tiff_parser *parser, uint64_t start, uint64_t end);

/* Checks [start, end) and, when it is out of range, files the warning. */
int tiff_range_check(tiff_parser *parser, uint64_t start, uint64_t end);

#endif
