/* The reader's public header used from C11 (built with -Wpedantic): parses a
 * little-endian block with Make and returns what a C caller sees. */
#include <string.h>

#include "exif/tiff_parse.h"

int exif_c_api_check(char *make, int make_size) {
  static const uint8_t block[] = {'I', 'I', 42, 0, 8, 0, 0, 0, 1, 0, 0x0F, 0x01, 2,   0,   6,   0,
                                  0,   0,   26, 0, 0, 0, 0, 0, 0, 0, 'C',  'a',  'n', 'o', 'n', 0};
  const uint16_t make_only[] = {271, 0};
  const uint16_t *filter[2];
  filter[0] = make_only;
  filter[1] = NULL;
  tiff_parser *parser = tiff_parse(block, (int32_t)sizeof block, filter);
  if (!parser) return -1;
  int kept = 0;
  for (const tiff_tag *t = parser->tags[0]; t; t = t->next) {
    const char *text = tiff_parse_get_string(t);
    if (text && (int)strlen(text) < make_size) strcpy(make, text);
    ++kept;
  }
  if (parser->error_count != 0) kept = -2;
  tiff_parse_discard(parser);
  return kept;
}
