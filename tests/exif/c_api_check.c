/* The reader's public header used from C11 (built with -Wpedantic): copies
 * the Make of a block, kept by a filter, into out; null when none. */
#include <string.h>

#include "exif/tiff_parse.h"

const char *exif_c_api_make(const uint8_t *block, int32_t size, char *out, int out_size) {
  static const uint16_t make_only[] = {271, 0};
  const uint16_t *filter[2] = {make_only, NULL};
  tiff_parser *parser = tiff_parse(block, size, filter);
  const char *text = parser && !parser->error_count && parser->tags[0] && !parser->tags[0]->next
                         ? tiff_parse_get_string(parser->tags[0])
                         : NULL;
  if (text && (int)strlen(text) < out_size) strcpy(out, text);
  tiff_parse_discard(parser);
  return text ? out : NULL;
}
