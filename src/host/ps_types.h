/* The host's primitive plug-in types: integer widths, Boolean, error words,
 * four-character codes, Pascal strings, points, rectangles and colours.
 *
 * Everything is a fixed-width type so that the records built on these have
 * one layout per platform, whatever the data model (no field is a C long).
 * Compiles as C11 and as C++20. */
#ifndef ORTAVEL_HOST_PS_TYPES_H
#define ORTAVEL_HOST_PS_TYPES_H

#include <stddef.h>
#include <stdint.h>

/* Packing of the filter record and the big-document block on Windows is
 * pack(4), but only for builds that define WIN32 as a non-zero value; MSVC
 * itself predefines only _WIN32. "WIN32 + 0" also copes with an empty define. */
#if defined(WIN32) && (WIN32 + 0) != 0
#define PS_PACK_FILTER_RECORD 1
#else
#define PS_PACK_FILTER_RECORD 0
#endif

#ifdef __cplusplus
#define PS_STATIC_ASSERT(cond, text) static_assert(cond, text)
#else
#define PS_STATIC_ASSERT(cond, text) _Static_assert(cond, text)
#endif

/* Four-character code: the first character lands in the most significant
 * byte, so PS_FOURCC('8','B','I','M') == 0x3842494D. */
#define PS_FOURCC(a, b, c, d)                                                   \
  ((uint32_t)(((uint32_t)(uint8_t)(a) << 24) | ((uint32_t)(uint8_t)(b) << 16) | \
              ((uint32_t)(uint8_t)(c) << 8) | (uint32_t)(uint8_t)(d)))

typedef int8_t int8;
typedef int16_t int16;
typedef int32_t int32;
typedef int64_t int64;
typedef uint8_t uint8;
typedef uint16_t uint16;
typedef uint32_t uint32;
typedef uint64_t uint64;
typedef float real32;
typedef double real64;

typedef uint8_t Boolean; /* 0 or 1 */
typedef int16_t OSErr;   /* host result code */
typedef int32_t SPErr;   /* suite result: small negative or a four-character code */
#if defined(_WIN32)
typedef int32_t SPBoolean; /* a BOOL on Windows; only ever a return value */
#else
typedef uint8_t SPBoolean;
#endif

typedef int32_t Fixed; /* 16.16 fixed point */

/* Four-character codes of every flavour. */
typedef uint32_t OSType;
typedef uint32_t ResType;
typedef uint32_t DescType;
typedef uint32_t PIType;
typedef uint32_t DescriptorKeyID;
typedef uint32_t DescriptorTypeID;
typedef uint32_t DescriptorEnumID;
typedef uint32_t DescriptorUnitID;
typedef uint32_t DescriptorClassID;
typedef uint32_t DescriptorEventID;
typedef uint32_t DescriptorFormID;
/* A list of expected keys, ended by a 0 entry; passed as a pointer. */
typedef DescriptorKeyID DescriptorKeyIDArray[];

typedef char *Ptr;
typedef char **Handle; /* a master pointer's address; touched only through the handle callbacks */

/* Pascal string: length byte, then up to 255 characters. */
typedef uint8_t Str255[256];
typedef const uint8_t *ConstStr255Param;

typedef struct Point {
  int16 v;
  int16 h;
} Point;

typedef struct Rect {
  int16 top;
  int16 left;
  int16 bottom;
  int16 right;
} Rect;

typedef struct VPoint {
  int32 v;
  int32 h;
} VPoint;

typedef struct VRect {
  int32 top;
  int32 left;
  int32 bottom;
  int32 right;
} VRect;

typedef struct PSRGBColor {
  uint16 red;
  uint16 green;
  uint16 blue;
} PSRGBColor;
typedef PSRGBColor RGBColor;

typedef uint8 FilterColor[4]; /* a colour in the document's own space */
typedef uint8 LookUpTable[256];
typedef int16 PlaneMap[16];

typedef struct PlugInMonitor {
  Fixed gamma;
  Fixed redX;
  Fixed redY;
  Fixed greenX;
  Fixed greenY;
  Fixed blueX;
  Fixed blueY;
  Fixed whiteX;
  Fixed whiteY;
  Fixed ambient;
} PlugInMonitor;

/* Windows hands over the main window; elsewhere the record is a placeholder. */
typedef struct PlatformData_win {
  intptr_t hwnd;
} PlatformData_win;

typedef struct PlatformData_mac {
  int16 dummy;
} PlatformData_mac;

#if defined(_WIN32)
typedef PlatformData_win PlatformData;
#else
typedef PlatformData_mac PlatformData;
#endif

typedef uint8 Color8[4];
typedef uint16 Color16[4];
typedef real32 Color32[4];

typedef struct CS_XYZColor {
  uint16 x;
  uint16 y;
  uint16 z;
} CS_XYZColor;

/* Opaque host objects, only ever passed back to the host. */
typedef struct PSBuffer *BufferID;
typedef struct PSOpaqueChannelPort *PIChannelPort;
typedef PIChannelPort ChannelReadPort;
typedef PIChannelPort ChannelWritePort;
typedef struct PSOpaqueColor *ColorID;
typedef struct ASOpaqueZString *ASZString;
typedef struct PSImagePlane PSImagePlane;
typedef struct PSImageMultiPlane PSImageMultiPlane;
typedef struct PSImageMultiPlane32 PSImageMultiPlane32;
typedef struct PSPixelOverlay PSPixelOverlay;
typedef struct SPPlatformFileSpecification SPPlatformFileSpecification;
typedef struct SPPlatformFileSpecificationW SPPlatformFileSpecificationW;
typedef struct XPlatFileSpec XPlatFileSpec;

PS_STATIC_ASSERT(sizeof(Point) == 4 && sizeof(Rect) == 8, "16-bit geometry");
PS_STATIC_ASSERT(sizeof(VPoint) == 8 && sizeof(VRect) == 16, "32-bit geometry");
PS_STATIC_ASSERT(sizeof(PSRGBColor) == 6 && sizeof(PlugInMonitor) == 40, "colour records");

#endif
