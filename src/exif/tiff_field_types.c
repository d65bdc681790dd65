#include "exif/tiff_field_types.h"

/* Indexed by type; row 0 stands for the faulty type 0 and is never returned. */
static const tiff_field_type kFieldTypes[13] = {
    {0, 0}, /* faulty */
    {1, 1}, /* BYTE */
    {1, 1}, /* ASCII */
    {2, 1}, /* SHORT */
    {4, 1}, /* LONG */
    {4, 2}, /* RATIONAL */
    {1, 1}, /* SBYTE */
    {1, 1}, /* UNDEFINED */
    {2, 1}, /* SSHORT */
    {4, 1}, /* SLONG */
    {4, 2}, /* SRATIONAL */
    {4, 1}, /* FLOAT */
    {8, 1}, /* DOUBLE */
};

const tiff_field_type *tiff_field_type_get(uint32_t type) {
  if (type == 0 || type > 12) return 0;
  return &kFieldTypes[type];
}
