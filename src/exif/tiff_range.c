#include "exif/tiff_range.h"

#include <inttypes.h>

static uint64_t block_size(const tiff_parser *parser) {
  return parser->size > 0 ? (uint64_t)parser->size : 0u;
}

int tiff_range_ok(const tiff_parser *parser, uint64_t start, uint64_t end) {
  return start <= end && end <= block_size(parser);
}

void tiff_range_warn(tiff_parser *parser, uint64_t start, uint64_t end) {
  uint64_t base = parser->offset > 0 ? (uint64_t)parser->offset : 0u;
  const uint64_t from = base + start, to = base + end, block_end = base + block_size(parser);
  tiff_parse_set_warning(
      parser, "Accessing non valid memory %" PRIx64 " - %" PRIx64 " (%" PRIx64 " - %" PRIx64 ")",
      from, to, base, block_end);
}

int tiff_range_check(tiff_parser *parser, uint64_t start, uint64_t end) {
  if (tiff_range_ok(parser, start, end)) return 1;
  tiff_range_warn(parser, start, end);
  return 0;
}
