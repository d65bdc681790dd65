/* Finding the TIFF block in an EXIF buffer and reading it: the parser record's
 * life from tiff_parse to tiff_parse_discard. */
#include <stdlib.h>
#include <string.h>

#include "exif/tiff_byte_order.h"
#include "exif/tiff_parse.h"
#include "exif/tiff_range.h"

static const uint8_t kLittleSignature[4] = {0x49, 0x49, 0x2A, 0x00}; /* "II*\0" */
static const uint8_t kBigSignature[4] = {0x4D, 0x4D, 0x00, 0x2A};    /* "MM\0*" */
static const uint8_t kExifHeader[6] = {'E', 'x', 'i', 'f', 0, 0};

static int has_signature(const uint8_t *p) {
  return memcmp(p, kLittleSignature, 4) == 0 || memcmp(p, kBigSignature, 4) == 0;
}

/* Walks the JPEG segments after SOI up to the APP1 "Exif" segment. Only APPn
 * and COM segments are stepped over; anything else ends the walk. */
static int find_in_jpeg(tiff_parser *parser, const uint8_t *buffer, int64_t length) {
  if (length < 2 || buffer[0] != 0xFF || buffer[1] != 0xD8) return 0;
  int64_t p = 2;
  int64_t r = length - 2;
  while (r >= 2 && buffer[p] == 0xFF) {
    const uint8_t m = buffer[p + 1];
    if (m != 0xFE && (m < 0xE0 || m > 0xEF)) return 0;
    if (r < 4) return 0;
    const int64_t seg_length = ((int64_t)buffer[p + 2] << 8) | buffer[p + 3];
    r -= 4;
    if (r < seg_length - 2) return 0;
    if (m == 0xE1) {
      if (seg_length < 8) return 0;
      if (memcmp(buffer + p + 4, kExifHeader, 6) == 0) {
        parser->data = buffer + p + 10;
        parser->size = (int32_t)(seg_length - 8);
        parser->offset = (int32_t)(p + 10);
        return 1;
      }
    }
    p = p + 2 + seg_length;
    r = r - (seg_length - 2);
  }
  return 0;
}

/* Finds the TIFF block: in a JPEG APP1 segment, else by scanning every
 * position that has more than 3 bytes left. */
static int find_tiff_start(tiff_parser *parser, const uint8_t *buffer, int32_t length) {
  if (length < 2) return 0;
  if (find_in_jpeg(parser, buffer, length)) return 1;
  for (int32_t i = 0; length - i > 3; ++i) {
    if (has_signature(buffer + i)) {
      parser->data = buffer + i;
      parser->size = length - i;
      parser->offset = i;
      return 1;
    }
  }
  return 0;
}

tiff_parser *tiff_parse(const void *buffer, int32_t length, const uint16_t *const *tag_filter) {
  /* With no record there is nowhere to file "Could not allocate parser"; the
   * null result says it. */
  tiff_parser *parser = (tiff_parser *)calloc(1, sizeof(tiff_parser));
  if (!parser) return 0;
  const uint8_t *bytes = (const uint8_t *)buffer;
  parser->size = length;
  parser->data = bytes;
  parser->offset = 0;
  parser->file_order = parser->machine_order = TIFF_ORDER_UNKNOWN;

  parser->machine_order = tiff_machine_order();
  if (parser->machine_order == TIFF_ORDER_UNKNOWN) {
    tiff_parse_set_error(parser, "Unknown machine endian");
    return parser;
  }
  if (length < 4 || !bytes) {
    tiff_parse_set_error(parser, "Not enough space for TIFF endian header");
    return parser;
  }
  if (!has_signature(bytes) && !find_tiff_start(parser, bytes, length)) {
    tiff_parse_set_error(parser, "Could not find start of TIFF file");
    return parser;
  }

  if (!parser->data) {
    tiff_parse_set_error(parser, "Not enough space for TIFF endian header");
    return parser;
  }
  if (!tiff_range_check(parser, 0, 4)) {
    tiff_parse_set_error(parser, "Not enough space for TIFF endian header");
    return parser;
  }
  if (memcmp(parser->data, kLittleSignature, 4) == 0) {
    parser->file_order = TIFF_ORDER_LITTLE;
  } else if (memcmp(parser->data, kBigSignature, 4) == 0) {
    parser->file_order = TIFF_ORDER_BIG;
  } else {
    tiff_parse_set_error(parser, "Unknown tiff endian");
    return parser;
  }
  if (!tiff_range_check(parser, 4, 8)) {
    tiff_parse_set_error(parser, "Not enough space for TIFF IFD0 offset");
    return parser;
  }

  const uint32_t ifd0 = tiff_read_u32(parser->data + 4, parser->file_order, parser->machine_order);
  if (!tiff_parse_directory(parser, ifd0, 0, tag_filter)) {
    tiff_parse_set_error(parser, "Problems parse TIFF main directory");
  }
  return parser;
}

void tiff_parse_discard(tiff_parser *parser) {
  if (!parser) return;
  for (int d = 0; d < 2; ++d) {
    tiff_tag *t = parser->tags[d];
    while (t) {
      tiff_tag *next = t->next;
      free(t);
      t = next;
    }
    parser->tags[d] = 0;
  }
  free(parser);
}
