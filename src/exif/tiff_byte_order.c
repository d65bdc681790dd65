#include "exif/tiff_byte_order.h"

#include <string.h>

#include "exif/tiff_parse.h"

int32_t tiff_machine_order(void) {
  static const uint8_t kLittle[4] = {0x21, 0x43, 0x65, 0x87};
  static const uint8_t kBig[4] = {0x87, 0x65, 0x43, 0x21};
  uint32_t v;
  memcpy(&v, kLittle, 4);
  if (v == 0x87654321u) return TIFF_ORDER_LITTLE;
  memcpy(&v, kBig, 4);
  if (v == 0x87654321u) return TIFF_ORDER_BIG;
  return TIFF_ORDER_UNKNOWN;
}

uint16_t tiff_read_u16(const uint8_t *p, int32_t file_order, int32_t machine_order) {
  uint8_t b[2] = {p[0], p[1]};
  if (file_order != machine_order) {
    b[0] = p[1];
    b[1] = p[0];
  }
  uint16_t v;
  memcpy(&v, b, 2);
  return v;
}

uint32_t tiff_read_u32(const uint8_t *p, int32_t file_order, int32_t machine_order) {
  uint8_t b[4];
  tiff_copy_units(b, p, 4, 4, file_order != machine_order);
  uint32_t v;
  memcpy(&v, b, 4);
  return v;
}

void tiff_copy_units(uint8_t *dst, const uint8_t *src, int32_t size, int32_t unit_bytes, int swap) {
  if (size <= 0) return;
  if (!swap || unit_bytes <= 1) {
    memcpy(dst, src, (size_t)size);
    return;
  }
  for (int32_t u = 0; u + unit_bytes <= size; u += unit_bytes) {
    for (int32_t k = 0; k < unit_bytes; ++k) dst[u + k] = src[u + unit_bytes - 1 - k];
  }
}
