/* The parser's warning and error rings: message n goes to slot n mod 10, so the
 * eleventh overwrites the first while the count goes on growing. */
#include <stdarg.h>
#include <stdio.h>

#include "exif/tiff_parse.h"

static void file_message(int32_t *count, char (*ring)[TIFF_PARSE_MESSAGE_LENGTH],
                         const char *format, va_list args) {
  int32_t n = *count;
  /* Counting stops short of wrapping; no input can raise that many. */
  if (n < INT32_MAX) *count = n + 1;
  int32_t slot = n % TIFF_PARSE_MESSAGE_SLOTS;
  if (slot < 0) slot += TIFF_PARSE_MESSAGE_SLOTS; /* a count set by hand below 0 */
  vsnprintf(ring[slot], TIFF_PARSE_MESSAGE_LENGTH, format, args);
}

void tiff_parse_set_warning(tiff_parser *parser, const char *format, ...) {
  if (!parser || !format) return;
  va_list args;
  va_start(args, format);
  file_message(&parser->warning_count, parser->warnings, format, args);
  va_end(args);
}

void tiff_parse_set_error(tiff_parser *parser, const char *format, ...) {
  if (!parser || !format) return;
  va_list args;
  va_start(args, format);
  file_message(&parser->error_count, parser->errors, format, args);
  va_end(args);
}
