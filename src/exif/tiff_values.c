/* Typed access to the values of a kept tag record, and their text form. The
 * values are already in machine byte order; nothing here swaps bytes. Every
 * read is bounded by the record's own size, whatever its count says. */
#include <stdio.h>
#include <string.h>

#include "exif/tiff_field_types.h"
#include "exif/tiff_parse.h"

static const uint8_t *value_bytes(const tiff_tag *tag) {
  return (const uint8_t *)tag + offsetof(tiff_tag, data);
}

/* Start of value `index`, or null when the index is outside both the count
 * and the stored bytes. */
static const uint8_t *value_at(const tiff_tag *tag, int32_t index) {
  if (index < 0 || tag->count <= index) return 0;
  const tiff_field_type *width = tiff_field_type_get(tag->type);
  if (!width) return 0;
  const int64_t value_size = (int64_t)width->unit_bytes * width->units_per_value;
  if (((int64_t)index + 1) * value_size > (int64_t)tag->size) return 0;
  return value_bytes(tag) + index * value_size;
}

/* An SBYTE's two's-complement value. */
static int32_t load_i8(const uint8_t *p) {
  return p[0] < 0x80 ? p[0] : (int32_t)p[0] - 256;
}
static uint16_t load_u16(const uint8_t *p) {
  uint16_t v;
  memcpy(&v, p, sizeof v);
  return v;
}
static int16_t load_i16(const uint8_t *p) {
  int16_t v;
  memcpy(&v, p, sizeof v);
  return v;
}
static uint32_t load_u32(const uint8_t *p) {
  uint32_t v;
  memcpy(&v, p, sizeof v);
  return v;
}
static int32_t load_i32(const uint8_t *p) {
  int32_t v;
  memcpy(&v, p, sizeof v);
  return v;
}

int32_t tiff_parse_get_int(const tiff_tag *tag, int32_t index, int32_t *out) {
  if (!tag || !out) return 0;
  const uint8_t *p = value_at(tag, index);
  if (!p) return 0;
  switch (tag->type) {
    case TIFF_TYPE_BYTE:
      *out = p[0];
      return 1;
    case TIFF_TYPE_SHORT:
      *out = load_u16(p);
      return 1;
    case TIFF_TYPE_LONG:
      *out = load_i32(p);
      return 1; /* the 32 bits as they are */
    case TIFF_TYPE_SBYTE:
      *out = load_i8(p);
      return 1;
    case TIFF_TYPE_SSHORT:
      *out = load_i16(p);
      return 1;
    case TIFF_TYPE_SLONG:
      *out = load_i32(p);
      return 1;
    default:
      return 0;
  }
}

int32_t tiff_parse_get_double(const tiff_tag *tag, int32_t index, double *out) {
  if (!tag || !out) return 0;
  const uint8_t *p = value_at(tag, index);
  if (!p) return 0;
  switch (tag->type) {
    case TIFF_TYPE_BYTE:
      *out = p[0];
      return 1;
    case TIFF_TYPE_SHORT:
      *out = load_u16(p);
      return 1;
    case TIFF_TYPE_LONG:
      *out = load_u32(p);
      return 1;
    case TIFF_TYPE_RATIONAL:
      *out = (double)load_u32(p) / (double)load_u32(p + 4);
      return 1;
    case TIFF_TYPE_SBYTE:
      *out = load_i8(p);
      return 1;
    case TIFF_TYPE_SSHORT:
      *out = load_i16(p);
      return 1;
    case TIFF_TYPE_SLONG:
      *out = load_i32(p);
      return 1;
    case TIFF_TYPE_SRATIONAL:
      *out = (double)load_i32(p) / (double)load_i32(p + 4);
      return 1;
    case TIFF_TYPE_FLOAT: {
      float f;
      memcpy(&f, p, sizeof f);
      *out = f;
      return 1;
    }
    case TIFF_TYPE_DOUBLE:
      memcpy(out, p, sizeof *out);
      return 1;
    default:
      return 0;
  }
}

const char *tiff_parse_get_string(const tiff_tag *tag) {
  if (!tag || tag->type != TIFF_TYPE_ASCII || tag->size <= 0) return 0;
  const uint8_t *text = value_bytes(tag);
  if (text[tag->size - 1] != 0) return 0;
  return (const char *)text;
}

/* Appends one value's text at out + *written within out_size bytes. Returns 0
 * when the text did not fit (the output then ends where the space ran out). */
static int append_value(const tiff_tag *tag, const uint8_t *p, char *out, int64_t out_size,
                        int64_t *written) {
  char *at = out + *written;
  const size_t room = (size_t)(out_size - *written);
  int n = 0;
  switch (tag->type) {
    case TIFF_TYPE_BYTE:
    case TIFF_TYPE_UNDEFINED:
      n = snprintf(at, room, " %u", (unsigned)p[0]);
      break;
    case TIFF_TYPE_ASCII:
      n = snprintf(at, room, "%c", (char)p[0]);
      break;
    case TIFF_TYPE_SHORT:
      n = snprintf(at, room, " %u", (unsigned)load_u16(p));
      break;
    case TIFF_TYPE_LONG:
      n = snprintf(at, room, " %u", (unsigned)load_u32(p));
      break;
    case TIFF_TYPE_RATIONAL:
      n = snprintf(at, room, " %u/%u", (unsigned)load_u32(p), (unsigned)load_u32(p + 4));
      break;
    case TIFF_TYPE_SBYTE:
      n = snprintf(at, room, " %d", (int)load_i8(p));
      break;
    case TIFF_TYPE_SSHORT:
      n = snprintf(at, room, " %d", (int)load_i16(p));
      break;
    case TIFF_TYPE_SLONG:
      n = snprintf(at, room, " %d", (int)load_i32(p));
      break;
    case TIFF_TYPE_SRATIONAL:
      n = snprintf(at, room, " %d/%d", (int)load_i32(p), (int)load_i32(p + 4));
      break;
    case TIFF_TYPE_FLOAT: {
      float f;
      memcpy(&f, p, sizeof f);
      n = snprintf(at, room, " %f", (double)f);
      break;
    }
    case TIFF_TYPE_DOUBLE: {
      double d;
      memcpy(&d, p, sizeof d);
      n = snprintf(at, room, " %f", d);
      break;
    }
    default:
      return 0;
  }
  if (n < 0 || (size_t)n >= room) {
    *written = out_size - 1;
    return 0;
  }
  *written += n;
  return 1;
}

void tiff_parse_format(const tiff_tag *tag, char *out, int32_t out_size) {
  if (!tag || !out || out_size <= 0) return;
  /* 16 characters stay in reserve for the last value and the " ..." mark. */
  const int64_t limit = (int64_t)out_size - 16;
  int64_t written = 0;
  if (limit <= 0) {
    if (tag->count > 0) snprintf(out, (size_t)out_size, " ...");
    return;
  }
  if (tag->count <= 0) return;
  if (!tiff_field_type_get(tag->type)) {
    snprintf(out, (size_t)out_size, " unknown");
    return;
  }
  for (int32_t i = 0; i < tag->count; ++i) {
    const uint8_t *p = value_at(tag, i);
    if (!p || !append_value(tag, p, out, out_size, &written)) return;
    if (written >= limit) {
      if (i + 1 < tag->count) snprintf(out + written, (size_t)(out_size - written), " ...");
      return;
    }
  }
}
