/* Suites handed out by name through the host's basic suite: the basic suite
 * itself, channel ports, colour space, and the handle suite. Suites are
 * plain tables of function pointers without header words, naturally
 * aligned on every platform; their functions answer SPErr (32-bit). */
#ifndef ORTAVEL_HOST_PS_SUITES_H
#define ORTAVEL_HOST_PS_SUITES_H

#include "host/ps_document.h"
#include "host/ps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

struct PSPixelMap;

/* "SP Basic Suite", version 4. */
typedef struct SPBasicSuite {
  SPErr (*AcquireSuite)(const char *name, int32 version, const void **suite);
  SPErr (*ReleaseSuite)(const char *name, int32 version);
  SPBoolean (*IsEqual)(const char *token1, const char *token2);
  SPErr (*AllocateBlock)(size_t size, void **block);
  SPErr (*FreeBlock)(void *block);
  SPErr (*ReallocateBlock)(void *block, size_t newSize, void **newblock);
  SPErr (*Undefined)(void);
} SPBasicSuite;

/* A host-side channel operation registered with AddOperation. */
typedef SPErr (*PSChannelPortOperationProc)(PIChannelPort source, PIChannelPort destination,
                                            PIChannelPort mask, void *parameters, VRect *rect,
                                            void *refCon);

/* "Photoshop ChannelPorts Suite for Plug-ins": version 2 fills the entries
 * up to Dispose, version 3 all of them. */
typedef struct PSChannelPortsSuite1 {
  SPErr (*CountLevels)(PIChannelPort port, int32 *count);
  SPErr (*GetDepth)(PIChannelPort port, int32 level, int32 *depth);
  SPErr (*GetDataBounds)(PIChannelPort port, int32 level, VRect *bounds);
  SPErr (*GetWriteLimit)(PIChannelPort port, int32 level, VRect *writeBounds);
  SPErr (*GetTilingGrid)(PIChannelPort port, int32 level, VPoint *tileOrigin, VPoint *tileSize);
  SPErr (*GetSupportRect)(PIChannelPort port, int32 level, const VRect *bounds, int32 *supportLevel,
                          VRect *supportBounds);
  SPErr (*GetDependentRect)(PIChannelPort port, int32 sourceLevel, const VRect *sourceBounds,
                            int32 dependentLevel, VRect *dependentBounds);
  SPErr (*CanRead)(PIChannelPort port, Boolean *canRead);
  SPErr (*CanWrite)(PIChannelPort port, Boolean *canWrite);
  SPErr (*ReadPixelsFromLevel)(PIChannelPort port, int32 level, VRect *bounds,
                               const PixelMemoryDesc *destination);
  SPErr (*WritePixelsToBaseLevel)(PIChannelPort port, VRect *bounds, const PixelMemoryDesc *source);
  /* readRect is in and out: on return, the area actually read, after scaling. */
  SPErr (*ReadScaledPixels)(PIChannelPort port, VRect *readRect, const PSScaling *scaling,
                            const PixelMemoryDesc *destination);
  SPErr (*FindSourceForScaledRead)(PIChannelPort port, const VRect *readRect,
                                   const PSScaling *scaling, int32 dstDepth, int32 *sourceLevel,
                                   VRect *sourceRect, VRect *sourceScalingBounds);
  SPErr (*New)(PIChannelPort *port, const VRect *rect, int32 depth, Boolean globalScope);
  SPErr (*Dispose)(PIChannelPort *port);
  /* version 3 */
  SPErr (*SupportsOperation)(const char *operation, Boolean *supported);
  SPErr (*ApplyOperation)(const char *operation, PIChannelPort source, PIChannelPort destination,
                          PIChannelPort mask, void *parameters, VRect *rect);
  SPErr (*AddOperation)(const char *operation, PSChannelPortOperationProc proc, void *refCon);
  SPErr (*RemoveOperation)(const char *operation, void **refCon);
  SPErr (*NewCopyOnWrite)(PIChannelPort *result, PIChannelPort basePort, VRect *writeLimit,
                          Boolean globalScope);
  SPErr (*Freeze)(PIChannelPort port);
  SPErr (*Restore)(PIChannelPort port, VRect *area);
} PSChannelPortsSuite1;

/* The sixteen entries shared by both versions of the colour-space suite;
 * a macro so that the two tables stay distinct types of one prefix. */
#define PS_COLOR_SPACE_SUITE_ENTRIES                                                              \
  SPErr (*Make)(ColorID * id);                                                                    \
  SPErr (*Delete)(ColorID * id);                                                                  \
  SPErr (*StuffComponents)(ColorID id, int16 colorSpace, uint8 c0, uint8 c1, uint8 c2, uint8 c3); \
  SPErr (*ExtractComponents)(ColorID id, int16 colorSpace, uint8 * c0, uint8 * c1, uint8 * c2,    \
                             uint8 * c3, Boolean * gamutFlag);                                    \
  SPErr (*StuffXYZ)(ColorID id, CS_XYZColor xyz);                                                 \
  SPErr (*ExtractXYZ)(ColorID id, CS_XYZColor * xyz);                                             \
  SPErr (*Convert8)(int16 inputCSpace, int16 outputCSpace, Color8 * colorArray, int16 count);     \
  SPErr (*Convert16)(int16 inputCSpace, int16 outputCSpace, Color16 * colorArray, int16 count);   \
  SPErr (*GetNativeSpace)(ColorID id, int16 * colorSpace);                                        \
  SPErr (*IsBookColor)(ColorID id, Boolean * isBookColor);                                        \
  SPErr (*ExtractColorName)(ColorID id, ASZString * colorName);                                   \
  SPErr (*PickColor)(ColorID * id, ASZString promptString);                                       \
  SPErr (*Convert8to16)(uint8 * input_data, uint16 * output_data, int16 count);                   \
  SPErr (*Convert16to8)(uint16 * input_data, uint8 * output_data, int16 count);                   \
  /* count Color8 values of inputCSpace to monitor RGB, one out per in */                         \
  SPErr (*ConvertToMonitorRGB)(int16 inputCSpace, Color8 * input_data, Color8 * output_data,      \
                               int16 count);                                                      \
  SPErr (*Convert32to8)(real32 * input_data, uint8 * output_data, int16 count);

/* "Photoshop ColorSpace Suite for Plug-ins", version 1. */
typedef struct PSColorSpaceSuite1 {
  PS_COLOR_SPACE_SUITE_ENTRIES
} PSColorSpaceSuite1;

/* Version 2 appends the display conversions. */
typedef struct PSColorSpaceSuite2 {
  PS_COLOR_SPACE_SUITE_ENTRIES
  SPErr (*ConvertForDisplay)(struct PSPixelMap *source_data, Color8 *output_data,
                             int32 output_rowBytes, const VRect *display_area);
  SPErr (*GetDisplayProfile)(const VRect *display_area, Handle *profile_data);
} PSColorSpaceSuite2;

/* "Photoshop Handle Suite for Plug-ins". SetLock locks or unlocks and
 * reports the address and the previous lock state. */
typedef struct PSHandleSuite1 {
  Handle (*New)(int32 size);
  void (*Dispose)(Handle h);
  void (*SetLock)(Handle h, Boolean lock, Ptr *address, Boolean *oldLock);
  int32 (*GetSize)(Handle h);
  OSErr (*SetSize)(Handle h, int32 newSize);
  void (*RecoverSpace)(int32 size);
} PSHandleSuite1;

typedef struct PSHandleSuite2 {
  Handle (*New)(int32 size);
  void (*Dispose)(Handle h);
  void (*DisposeRegularHandle)(Handle h);
  void (*SetLock)(Handle h, Boolean lock, Ptr *address, Boolean *oldLock);
  int32 (*GetSize)(Handle h);
  OSErr (*SetSize)(Handle h, int32 newSize);
  void (*RecoverSpace)(int32 size);
} PSHandleSuite2;

#ifdef __cplusplus
}
#endif

#endif
