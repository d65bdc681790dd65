#include "exif/tiff_range.h"

static uint64_t block_size(const tiff_parser *parser) {
  return parser->size > 0 ? (uint64_t)parser->size : 0u;
}

int tiff_range_ok(const tiff_parser *parser, uint64_t start, uint64_t end) {
  return start <= end && end <= block_size(parser);
}

void tiff_range_warn(tiff_parser *parser, uint64_t start, uint64_t end) {
  uint64_t base = parser->offset > 0 ? (uint64_t)parser->offset : 0u;
  tiff_parse_set_warning(parser, "Accessing non valid memory %llx - %llx (%llx - %llx)",
                         (unsigned long long)(base + start), (unsigned long long)(base + end),
                         (unsigned long long)base, (unsigned long long)(base + block_size(parser)));
}

int tiff_range_check(tiff_parser *parser, uint64_t start, uint64_t end) {
  if (tiff_range_ok(parser, start, end)) return 1;
  tiff_range_warn(parser, start, end);
  return 0;
}
