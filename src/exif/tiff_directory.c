/* Reading one image file directory into a list of kept tag records.
 *
 * Every offset from the file is untrusted: spans are computed as 64-bit
 * offsets from the block start and checked before any pointer is formed. */
#include <stdlib.h>
#include <string.h>

#include "exif/tiff_byte_order.h"
#include "exif/tiff_field_types.h"
#include "exif/tiff_parse.h"
#include "exif/tiff_range.h"

enum { kEntryBytes = 12 };

/* Many entries may point at the same bytes, so what a directory keeps is
 * bounded apart from the block's size: past this many value bytes an entry is
 * refused as if its record could not be allocated. Real blocks never share
 * value bytes between entries, so they stay far below it. */
static int64_t keep_budget(const tiff_parser *parser) {
  return 8 * (int64_t)(parser->size > 0 ? parser->size : 0) + (1 << 20);
}

static int filter_keeps(const uint16_t *list, uint16_t tag) {
  if (!list) return 1;
  for (; *list != 0; ++list) {
    if (*list == tag) return 1;
  }
  return 0;
}

/* Keeps one entry as a record at the head of tags[index]. Returns 1 when the
 * entry was kept, 0 when it was skipped as faulty (after filing a warning). */
static int keep_entry(tiff_parser *parser, const uint8_t *entry, uint64_t entry_offset,
                      int32_t index, int64_t *kept_bytes) {
  const int32_t fo = parser->file_order, mo = parser->machine_order;
  const uint16_t tag = tiff_read_u16(entry, fo, mo);
  const uint16_t type = tiff_read_u16(entry + 2, fo, mo);
  const uint32_t count = tiff_read_u32(entry + 4, fo, mo);

  const tiff_field_type *width = tiff_field_type_get(type);
  if (!width) {
    tiff_parse_set_warning(parser, "Skipping faulty tag <%x>", tag);
    return 0;
  }

  /* The size is a signed 32-bit quantity; a product that does not fit is
   * treated like a negative one, so a kept record always holds count values. */
  const int64_t wide_size = (int64_t)width->unit_bytes * width->units_per_value * count;
  if (wide_size > INT32_MAX) {
    tiff_parse_set_warning(parser, "Faulty data address - Skipping tag %x", tag);
    return 0;
  }
  const int32_t size = (int32_t)wide_size;

  uint32_t value_offset = 0;
  uint64_t value_start = entry_offset + 8;
  if (size > 4) {
    value_offset = tiff_read_u32(entry + 8, fo, mo);
    value_start = value_offset;
  }
  if (!parser->data) {
    tiff_parse_set_warning(parser, "Faulty data address - Skipping tag %x", tag);
    return 0;
  }
  if (!tiff_range_check(parser, value_start, value_start + (uint64_t)size)) {
    tiff_parse_set_warning(parser, "Faulty data address - Skipping tag %x", tag);
    return 0;
  }

  tiff_tag *record = 0;
  if (*kept_bytes + size <= keep_budget(parser))
    record = (tiff_tag *)malloc(TIFF_TAG_ALLOC_SIZE(size));
  if (!record) {
    tiff_parse_set_warning(parser, "Could not allocate tag record");
    return 0;
  }
  record->next = 0;
  record->tag = tag;
  record->type = type;
  record->offset = value_offset;
  record->count = (int32_t)count; /* fits: size >= count and size fits */
  record->size = size;
  uint8_t *value = (uint8_t *)record + offsetof(tiff_tag, data);
  tiff_copy_units(value, parser->data + value_start, size, width->unit_bytes, fo != mo);
  memset(value + size, 0, 3); /* the spare bytes */

  *kept_bytes += size;
  record->next = parser->tags[index];
  parser->tags[index] = record;
  return 1;
}

int32_t tiff_parse_directory(tiff_parser *parser, uint32_t ifd_offset, int32_t index,
                             const uint16_t *const *tag_filter) {
  if (!parser) return 0;
  if (index != 0 && index != 1) return 0;
  if (!parser->data) {
    tiff_parse_set_error(parser, "Faulty address to beginning of IFD");
    return 0;
  }
  const uint64_t start = ifd_offset;
  if (!tiff_range_check(parser, start, start + 2)) {
    tiff_parse_set_error(parser, "Faulty address to beginning of IFD");
    return 0;
  }
  const int32_t fo = parser->file_order, mo = parser->machine_order;
  const uint16_t n = tiff_read_u16(parser->data + start, fo, mo);
  const uint64_t entries = start + 2;
  if (!tiff_range_check(parser, entries, entries + (uint64_t)kEntryBytes * n)) {
    tiff_parse_set_error(parser, "Faulty address at end of IFD");
    return 0;
  }
  if (n == 0) return 1;

  const uint16_t *list = tag_filter ? tag_filter[index] : 0;
  int64_t kept_bytes = 0;
  int have_exif = 0;
  uint32_t exif_offset = 0;
  for (uint32_t i = 0; i < n; ++i) {
    const uint64_t entry_offset = entries + (uint64_t)kEntryBytes * i;
    const uint8_t *entry = parser->data + entry_offset;
    const uint16_t tag = tiff_read_u16(entry, fo, mo);
    /* An entry left out by the filter still gives the EXIF pointer; one
     * skipped as faulty does not. */
    if (filter_keeps(list, tag) && !keep_entry(parser, entry, entry_offset, index, &kept_bytes)) {
      continue;
    }
    if (index == 0 && tag == TIFF_TAG_EXIF_IFD_POINTER) {
      have_exif = 1;
      exif_offset = tiff_read_u32(entry + 8, fo, mo);
    }
  }

  if (have_exif && exif_offset != 0 && !tiff_parse_directory(parser, exif_offset, 1, tag_filter)) {
    tiff_parse_set_warning(parser, "Problems parsing EXIF directory");
  }
  return 1;
}
