/* Byte order of the machine and of TIFF values. */
#ifndef ORTAVEL_EXIF_TIFF_BYTE_ORDER_H
#define ORTAVEL_EXIF_TIFF_BYTE_ORDER_H

#include <stdint.h>

/* TIFF_ORDER_LITTLE or TIFF_ORDER_BIG for the running machine, found by
 * looking at how four known bytes read as one 32-bit value; TIFF_ORDER_UNKNOWN
 * when they read as neither. */
int32_t tiff_machine_order(void);

/* 16- and 32-bit values at p in the block's order (reversed when the file's
 * order differs from the machine's). p must have 2 or 4 readable bytes. */
uint16_t tiff_read_u16(const uint8_t *p, int32_t file_order, int32_t machine_order);
uint32_t tiff_read_u32(const uint8_t *p, int32_t file_order, int32_t machine_order);

/* Copies size bytes from src to dst, reversing each unit_bytes-wide unit when
 * swap is set. size is a multiple of unit_bytes. */
void tiff_copy_units(uint8_t *dst, const uint8_t *src, int32_t size, int32_t unit_bytes, int swap);

#endif
