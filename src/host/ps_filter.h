/* The filter's records: FilterRecord (selectors 1-5), the big-document
 * block, the about record (selector 0), pixel maps for display, and the
 * filter-case entry of the module's property list.
 *
 * Packing: FilterRecord and BigDocumentStruct are pack(4) on Windows builds
 * that define WIN32 non-zero, and natural everywhere else (LP64 hosts: 648
 * and 92 bytes; Windows x64: 608 and 92). FilterCaseInfo is pack(1) on
 * Windows. Everything else is natural. */
#ifndef ORTAVEL_HOST_PS_FILTER_H
#define ORTAVEL_HOST_PS_FILTER_H

#include "host/ps_callbacks.h"
#include "host/ps_descriptor.h"
#include "host/ps_document.h"
#include "host/ps_suites.h"
#include "host/ps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct PSPixelMask {
  struct PSPixelMask *next;
  void *maskData;
  int32 rowBytes;
  int32 colBytes;
  int32 maskDescription;
} PSPixelMask;

/* Argument of displayPixels and of the colour-space display conversion. */
typedef struct PSPixelMap {
  int32 version;
  VRect bounds;
  int32 imageMode;
  int32 rowBytes;
  int32 colBytes;
  int32 planeBytes;
  void *baseAddr;
  PSPixelMask *mat;
  PSPixelMask *masks;
  int32 maskPhaseRow;
  int32 maskPhaseCol;
  PSPixelOverlay *pixelOverlays;
  uint32 colorManagementOptions;
  int16 depth;
} PSPixelMap;

/* Callbacks carried directly in the filter record. */
typedef Boolean (*TestAbortProc)(void);
typedef void (*ProgressProc)(int32 done, int32 total);
typedef void (*HostProc)(int16 selector, intptr_t *data);
typedef void (*ProcessEventProc)(void *event);
typedef OSErr (*DisplayPixelsProc)(const PSPixelMap *source, const VRect *srcRect, int32 dstRow,
                                   int32 dstCol, void *platformContext);
typedef OSErr (*AdvanceStateProc)(void);
typedef OSErr (*ColorServicesProc)(ColorServicesInfo *info);

#if PS_PACK_FILTER_RECORD
#pragma pack(push, 4)
#endif

/* 32-bit coordinates for documents beyond 30000 pixels. A plug-in that sets
 * PluginUsing32BitCoordinates non-zero reads and writes these instead of the
 * 16-bit fields of FilterRecord. */
typedef struct BigDocumentStruct {
  int32 PluginUsing32BitCoordinates;
  VPoint imageSize32;
  VRect filterRect32;
  VRect inRect32;
  VRect outRect32;
  VRect maskRect32;
  VPoint floatCoord32;
  VPoint wholeSize32;
} BigDocumentStruct;

typedef struct FilterRecord {
  int32 serialNumber;
  TestAbortProc abortProc;
  ProgressProc progressProc;
  Handle parameters;
  Point imageSize;
  int16 planes;
  Rect filterRect;
  PSRGBColor background;
  PSRGBColor foreground;
  int32 maxSpace;
  int32 bufferSpace;
  Rect inRect;
  int16 inLoPlane;
  int16 inHiPlane;
  Rect outRect;
  int16 outLoPlane;
  int16 outHiPlane;
  void *inData;
  int32 inRowBytes;
  void *outData;
  int32 outRowBytes;
  Boolean isFloating;
  Boolean haveMask;
  Boolean autoMask;
  Rect maskRect;
  void *maskData;
  int32 maskRowBytes;
  FilterColor backColor;
  FilterColor foreColor;
  OSType hostSig;
  HostProc hostProc;
  int16 imageMode;
  Fixed imageHRes;
  Fixed imageVRes;
  Point floatCoord;
  Point wholeSize;
  PlugInMonitor monitor;
  PlatformData *platformData;
  BufferProcs *bufferProcs;
  ResourceProcs *resourceProcs;
  ProcessEventProc processEvent;
  DisplayPixelsProc displayPixels;
  HandleProcs *handleProcs;
  /* 3.0 */
  Boolean supportsDummyChannels;
  Boolean supportsAlternateLayouts;
  int16 wantLayout;
  int16 filterCase;
  int16 dummyPlaneValue;
  void *premiereHook;
  AdvanceStateProc advanceState;
  Boolean supportsAbsolute;
  Boolean wantsAbsolute;
  GetPropertyProc getPropertyObsolete;
  Boolean cannotUndo;
  Boolean supportsPadding;
  int16 inputPadding;
  int16 outputPadding;
  int16 maskPadding;
  char samplingSupport;
  char reservedByte;
  Fixed inputRate;
  Fixed maskRate;
  ColorServicesProc colorServices;
  /* 3.0.4: plane counts for each kind of input and output */
  int16 inLayerPlanes;
  int16 inTransparencyMask;
  int16 inLayerMasks;
  int16 inInvertedLayerMasks;
  int16 inNonLayerPlanes;
  int16 outLayerPlanes;
  int16 outTransparencyMask;
  int16 outLayerMasks;
  int16 outInvertedLayerMasks;
  int16 outNonLayerPlanes;
  int16 absLayerPlanes;
  int16 absTransparencyMask;
  int16 absLayerMasks;
  int16 absInvertedLayerMasks;
  int16 absNonLayerPlanes;
  int16 inPreDummyPlanes;
  int16 inPostDummyPlanes;
  int16 outPreDummyPlanes;
  int16 outPostDummyPlanes;
  int32 inColumnBytes;
  int32 inPlaneBytes;
  int32 outColumnBytes;
  int32 outPlaneBytes;
  /* 3.0.4 */
  ImageServicesProcs *imageServicesProcs;
  PropertyProcs *propertyProcs;
  int16 inTileHeight;
  int16 inTileWidth;
  Point inTileOrigin;
  int16 absTileHeight;
  int16 absTileWidth;
  Point absTileOrigin;
  int16 outTileHeight;
  int16 outTileWidth;
  Point outTileOrigin;
  int16 maskTileHeight;
  int16 maskTileWidth;
  Point maskTileOrigin;
  /* 4.0 */
  PIDescriptorParameters *descriptorParameters;
  Str255 *errorString;
  ChannelPortProcs *channelPortProcs;
  ReadImageDocumentDesc *documentInfo;
  /* 5.0 */
  SPBasicSuite *sSPBasic;
  void *plugInRef;
  int32 depth; /* bits per sample: 1, 8, 16 or 32 */
  /* 6.0 */
  Handle iCCprofileData;
  int32 iCCprofileSize;
  int32 canUseICCProfiles;
  /* 7.0 */
  int32 hasImageScrap;
  /* 8.0 */
  BigDocumentStruct *bigDocumentData; /* null when the host has no 32-bit coordinates */
  /* 10.0 */
  PIDescriptorParameters *input3DScene;
  PIDescriptorParameters *output3DScene;
  Boolean createNewLayer;
  /* 13.0 */
  Handle iCCWorkingProfileData;
  int32 iCCWorkingProfileSize;
  /* 18.0 */
  int64 bufferSpace64;
  int64 maxSpace64;
  /* newest; older hosts leave it zero as part of the reserved tail */
  Boolean allowOverrangeColors;
  char reserved[45];
} FilterRecord;

#if PS_PACK_FILTER_RECORD
#pragma pack(pop)
#endif

typedef FilterRecord *FilterRecordPtr;

/* Passed instead of the FilterRecord on the about selector. */
typedef struct AboutRecord {
  PlatformData *platformData;
  SPBasicSuite *sSPBasic;
  void *plugInRef;
  char reserved[244];
} AboutRecord;

#if defined(_WIN32)
#pragma pack(push, 1)
#endif
/* One entry of the module's filter-case property (one per filter case). */
typedef struct FilterCaseInfo {
  char inputHandling;
  char outputHandling;
  char flags1;
  char flags2;
} FilterCaseInfo;
#if defined(_WIN32)
#pragma pack(pop)
#endif

#ifdef __cplusplus
}
#endif

#endif
