/* EXIF/TIFF reader: finds the TIFF structure in an EXIF block (bare, inside a
 * JPEG APP1 "Exif" segment, or somewhere in the bytes), reads IFD0 and the EXIF
 * directory, and keeps the entries a tag filter asks for, with their values
 * copied out in machine byte order.
 *
 * It never stops on bad data: every fault is filed as a warning or an error in
 * the parser record. The result is usable when error_count is below 1.
 *
 * Units: offsets, sizes and lengths in bytes; offsets in tiff_tag and in the
 * directory functions count from the start of the TIFF block ("II*" / "MM"). */
#ifndef ORTAVEL_EXIF_TIFF_PARSE_H
#define ORTAVEL_EXIF_TIFF_PARSE_H

#include <stddef.h>
#include <stdint.h>

#include "ortavel_export.h"

ORTAVEL_BEGIN_C

#if defined(__GNUC__)
#define TIFF_PARSE_PRINTF(f, a) __attribute__((format(printf, f, a)))
#else
#define TIFF_PARSE_PRINTF(f, a)
#endif

/* Byte-order codes of file_order and machine_order. */
enum { TIFF_ORDER_UNKNOWN = 0, TIFF_ORDER_LITTLE = 1, TIFF_ORDER_BIG = 2 };

/* TIFF field types 1 to 12; anything else is faulty. */
enum {
  TIFF_TYPE_BYTE = 1,
  TIFF_TYPE_ASCII = 2,
  TIFF_TYPE_SHORT = 3,
  TIFF_TYPE_LONG = 4,
  TIFF_TYPE_RATIONAL = 5,
  TIFF_TYPE_SBYTE = 6,
  TIFF_TYPE_UNDEFINED = 7,
  TIFF_TYPE_SSHORT = 8,
  TIFF_TYPE_SLONG = 9,
  TIFF_TYPE_SRATIONAL = 10,
  TIFF_TYPE_FLOAT = 11,
  TIFF_TYPE_DOUBLE = 12
};

/* Tag ids the reader itself cares about. */
enum { TIFF_TAG_EXIF_IFD_POINTER = 34665 };

/* Ring sizes of the message slots. */
enum { TIFF_PARSE_MESSAGE_SLOTS = 10, TIFF_PARSE_MESSAGE_LENGTH = 100 };

/* One kept directory entry. The value follows the header inline: the record is
 * allocated as TIFF_TAG_ALLOC_SIZE(size) bytes, that is `size` value bytes
 * from `data` on plus 3 spare bytes (and never less than the record itself).
 * `data` is declared with one element only because C++ has no flexible array
 * members; read the value through the accessors or as (const uint8_t *)data. */
typedef struct tiff_tag {
  struct tiff_tag *next; /* next record of the same directory, or null */
  uint16_t tag;          /* tag id */
  uint16_t type;         /* TIFF field type, 1..12 */
  uint32_t offset;       /* value offset in the block when outside the entry, else 0 */
  int32_t count;         /* number of values, as in the entry */
  int32_t size;          /* value bytes: unit x units per value x count */
  uint8_t data[1];       /* the value in machine byte order; see above */
} tiff_tag;

/* Bytes to allocate for a record whose value has `value_size` bytes. */
#define TIFF_TAG_ALLOC_SIZE(value_size)                                            \
  ((size_t)offsetof(tiff_tag, data) + (size_t)(value_size) + 3u < sizeof(tiff_tag) \
       ? sizeof(tiff_tag)                                                          \
       : (size_t)offsetof(tiff_tag, data) + (size_t)(value_size) + 3u)

/* The parsed EXIF block; made by tiff_parse, freed by tiff_parse_discard. */
typedef struct tiff_parser {
  int32_t file_order;    /* byte order of the TIFF block (TIFF_ORDER_*) */
  int32_t machine_order; /* byte order of this machine, found at run time */
  const uint8_t *data;   /* start of the TIFF block; valid only during tiff_parse */
  int32_t size;          /* bytes from data to the end of the buffer or APP1 segment */
  int32_t offset;        /* position of data within the buffer given to tiff_parse */
  tiff_tag *tags[2];     /* kept records: [0] IFD0, [1] EXIF directory; newest first */
  int32_t warning_count; /* warnings raised so far, not capped */
  int32_t error_count;   /* errors raised so far, not capped */
  char warnings[TIFF_PARSE_MESSAGE_SLOTS][TIFF_PARSE_MESSAGE_LENGTH]; /* ring, slot n % 10 */
  char errors[TIFF_PARSE_MESSAGE_SLOTS][TIFF_PARSE_MESSAGE_LENGTH];   /* ring, slot n % 10 */
} tiff_parser;

/* Parses `length` bytes at `buffer`. tag_filter is an array of two lists, one
 * per directory (0 IFD0, 1 EXIF directory): null keeps every tag of that
 * directory, else a list of tag ids ended by 0. Returns null only when the
 * record cannot be allocated. The buffer need only live during the call. */
ORTAVEL_API tiff_parser *tiff_parse(const void *buffer, int32_t length,
                                    const uint16_t *const *tag_filter);

/* Reads the directory at ifd_offset into tags[index] (index 0 or 1); from
 * directory 0 it follows the EXIF pointer into directory 1. Returns 1 when the
 * directory was read (even with skipped entries), 0 on a fatal fault. */
ORTAVEL_API int32_t tiff_parse_directory(tiff_parser *parser, uint32_t ifd_offset, int32_t index,
                                         const uint16_t *const *tag_filter);

/* Frees every record of both lists, then the parser. Null is ignored. */
ORTAVEL_API void tiff_parse_discard(tiff_parser *parser);

/* File a printf-style message in the next slot of the warning or error ring;
 * a text longer than a slot is cut. The reader's "Accessing non valid memory"
 * warnings give the asked-for span and the TIFF block as byte positions in
 * the buffer passed to tiff_parse (hex), which fit a slot on any machine. */
ORTAVEL_API void tiff_parse_set_warning(tiff_parser *parser, const char *format, ...)
    TIFF_PARSE_PRINTF(2, 3);
ORTAVEL_API void tiff_parse_set_error(tiff_parser *parser, const char *format, ...)
    TIFF_PARSE_PRINTF(2, 3);

/* First TIFF signature ("II*\0" or "MM\0*", extra leading I or M accepted) that
 * ends before end - 3, scanning [from, end); null when none. */
ORTAVEL_API const uint8_t *tiff_parse_get_next_possible_tiff_start(const uint8_t *from,
                                                                   const uint8_t *end);

/* Name of a tag in directory 0 (IFD0) or 1 (EXIF directory); "" when unknown. */
ORTAVEL_API const char *tiff_parse_get_tag_name(int32_t directory, uint16_t tag);

/* Value `index` (counting values, a rational pair is one) as a 32-bit integer:
 * BYTE, SHORT, LONG, SBYTE, SSHORT, SLONG only. Returns 1, or 0 with *out untouched. */
ORTAVEL_API int32_t tiff_parse_get_int(const tiff_tag *tag, int32_t index, int32_t *out);

/* Value `index` as a double: every numeric type; a zero denominator gives an
 * infinity or NaN and still succeeds. Returns 1, or 0 with *out untouched. */
ORTAVEL_API int32_t tiff_parse_get_double(const tiff_tag *tag, int32_t index, double *out);

/* An ASCII value as zero-terminated text pointing into the record, or null
 * unless the type is ASCII and the value's last byte is zero. */
ORTAVEL_API const char *tiff_parse_get_string(const tiff_tag *tag);

/* Writes all values as text (" 1 2 3", " 28/10", letters for ASCII) into out,
 * ending with " ..." when they do not fit in out_size - 16 characters. Never
 * writes more than out_size bytes. */
ORTAVEL_API void tiff_parse_format(const tiff_tag *tag, char *out, int32_t out_size);

ORTAVEL_END_C

#endif
