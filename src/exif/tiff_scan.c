/* A scanning utility: the first TIFF signature in a range of bytes. tiff_parse
 * scans on its own; this is for callers that look through larger buffers.
 *
 * The states: 1 "I", 2 "II", 3 "II*", 4 "M", 5 "MM", 6 "MM\0". A byte that does
 * not continue the current signature drops the machine to 0 (not to the state
 * that byte would begin), so "MII*\0" gives no hit at its second byte, while a
 * run of extra "I" or "M" bytes before a signature is accepted. */
#include "exif/tiff_parse.h"

const uint8_t *tiff_parse_get_next_possible_tiff_start(const uint8_t *from, const uint8_t *end) {
  if (!from || !end || end - from <= 3) return 0;
  const uint8_t *stop = end - 3;
  int state = 0;
  for (const uint8_t *p = from; p < stop; ++p) {
    switch (*p) {
      case 'I':
        state = state == 0 ? 1 : (state == 1 || state == 2) ? 2 : 0;
        break;
      case 'M':
        state = state == 0 ? 4 : (state == 4 || state == 5) ? 5 : 0;
        break;
      case '*':
        if (state == 6) return p - 3;
        state = state == 2 ? 3 : 0;
        break;
      case 0:
        if (state == 3) return p - 3;
        state = state == 5 ? 6 : 0;
        break;
      default:
        state = 0;
        break;
    }
  }
  return 0;
}
