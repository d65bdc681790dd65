/* The host's callback tables reached from the filter record: handles,
 * buffers, resources, image services, properties, channel ports, and the
 * colour-services request record.
 *
 * Each table starts with two 16-bit words (version, number of entries) and
 * then the function pointers; all are naturally aligned on every platform,
 * so no packing pragma belongs here. */
#ifndef ORTAVEL_HOST_PS_CALLBACKS_H
#define ORTAVEL_HOST_PS_CALLBACKS_H

#include "host/ps_document.h"
#include "host/ps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Handles. lockProc's flag asks the host to move the block high first; it
 * returns the locked address. */
typedef Handle (*NewPIHandleProc)(int32 size);
typedef void (*DisposePIHandleProc)(Handle h);
typedef int32 (*GetPIHandleSizeProc)(Handle h);
typedef OSErr (*SetPIHandleSizeProc)(Handle h, int32 newSize);
typedef Ptr (*LockPIHandleProc)(Handle h, Boolean moveHigh);
typedef void (*UnlockPIHandleProc)(Handle h);
typedef void (*RecoverSpaceProc)(int32 size);
typedef void (*DisposeRegularHandlePIHandleProc)(Handle h);

typedef struct HandleProcs {
  int16 handleProcsVersion;
  int16 numHandleProcs;
  NewPIHandleProc newProc;
  DisposePIHandleProc disposeProc;
  GetPIHandleSizeProc getSizeProc;
  SetPIHandleSizeProc setSizeProc;
  LockPIHandleProc lockProc;
  UnlockPIHandleProc unlockProc;
  RecoverSpaceProc recoverSpaceProc;
  DisposeRegularHandlePIHandleProc disposeRegularHandleProc;
} HandleProcs;

/* Buffers, in the host's order: allocate, lock, unlock, free, space,
 * reserve, then the two 64-bit entries. */
typedef OSErr (*AllocateBufferProc)(int32 size, BufferID *bufferID);
typedef Ptr (*LockBufferProc)(BufferID bufferID, Boolean moveHigh);
typedef void (*UnlockBufferProc)(BufferID bufferID);
typedef void (*FreeBufferProc)(BufferID bufferID);
typedef int32 (*BufferSpaceProc)(void);
typedef OSErr (*ReserveBufferSpaceProc)(int32 size);
typedef OSErr (*AllocateBuffer64Proc)(int64 size, BufferID *bufferID);
typedef int64 (*BufferSpace64Proc)(void);

typedef struct BufferProcs {
  int16 bufferProcsVersion;
  int16 numBufferProcs;
  AllocateBufferProc allocateProc;
  LockBufferProc lockProc;
  UnlockBufferProc unlockProc;
  FreeBufferProc freeProc;
  BufferSpaceProc spaceProc;
  ReserveBufferSpaceProc reserveProc;
  AllocateBuffer64Proc allocateProc64;
  BufferSpace64Proc spaceProc64;
} BufferProcs;

/* Resources kept with the document. */
typedef int16 (*CountPIResourcesProc)(ResType type);
typedef Handle (*GetPIResourceProc)(ResType type, int16 index);
typedef void (*DeletePIResourceProc)(ResType type, int16 index);
typedef OSErr (*AddPIResourceProc)(ResType type, Handle data);

typedef struct ResourceProcs {
  int16 resourceProcsVersion;
  int16 numResourceProcs;
  CountPIResourcesProc countProc;
  GetPIResourceProc getProc;
  DeletePIResourceProc deleteProc;
  AddPIResourceProc addProc;
} ResourceProcs;

/* Host resampling; the plane records stay opaque here. */
typedef OSErr (*PIResampleProc)(PSImagePlane *source, PSImagePlane *destination, Rect *area,
                                Fixed *coords, int16 method);
typedef OSErr (*PIResampleMultiProc)(PSImageMultiPlane *source, PSImageMultiPlane *destination,
                                     Rect *area, Fixed *coords, int16 method);
typedef OSErr (*PIResampleMulti32Proc)(PSImageMultiPlane32 *source,
                                       PSImageMultiPlane32 *destination, VRect *area, int64 *coords,
                                       int16 method);

typedef struct ImageServicesProcs {
  int16 imageServicesProcsVersion;
  int16 numImageServicesProcs;
  PIResampleProc interpolate1DProc;
  PIResampleProc interpolate2DProc;
  PIResampleMultiProc interpolate1DMultiProc;
  PIResampleMultiProc interpolate2DMultiProc;
  PIResampleMulti32Proc interpolate1DMulti32Proc;
  PIResampleMulti32Proc interpolate2DMulti32Proc;
} ImageServicesProcs;

/* Properties. A complex property (such as the EXIF block) comes back as a
 * handle the host allocates and the caller disposes of; a simple one in the
 * pointer-sized word. */
typedef OSErr (*GetPropertyProc)(PIType signature, PIType key, int32 index,
                                 intptr_t *simpleProperty, Handle *complexProperty);
typedef OSErr (*SetPropertyProc)(PIType signature, PIType key, int32 index, intptr_t simpleProperty,
                                 Handle complexProperty);

/* Also the table handed out for "Photoshop Property Suite for Plug-ins". */
typedef struct PropertyProcs {
  int16 propertyProcsVersion;
  int16 numPropertyProcs;
  GetPropertyProc getPropertyProc;
  SetPropertyProc setPropertyProc;
} PropertyProcs;

/* The older direct channel-port callbacks. */
typedef OSErr (*ReadPixelsProc)(ChannelReadPort port, const PSScaling *scaling,
                                const VRect *writeRect, const PixelMemoryDesc *destination,
                                VRect *wroteRect);
typedef OSErr (*WriteBasePixelsProc)(ChannelWritePort port, const VRect *writeRect,
                                     const PixelMemoryDesc *source);
typedef OSErr (*ReadPortForWritePortProc)(ChannelReadPort *readPort, ChannelWritePort writePort);

typedef struct ChannelPortProcs {
  int16 channelPortProcsVersion;
  int16 numChannelPortProcs;
  ReadPixelsProc readPixelsProc;
  WriteBasePixelsProc writeBasePixelsProc;
  ReadPortForWritePortProc readPortForWritePortProc;
} ChannelPortProcs;

/* Request record of the colour-services callback. infoSize must hold
 * sizeof(ColorServicesInfo). */
typedef struct ColorServicesInfo {
  int32 infoSize;
  int16 selector;
  int16 sourceSpace;
  int16 resultSpace;
  Boolean resultGamutInfoValid;
  Boolean resultInGamut;
  void *reservedSourceSpaceInfo;
  void *reservedResultSpaceInfo;
  int16 colorComponents[4];
  void *reserved;
  union {
    Str255 *pickerPrompt;
    Point *globalSamplePoint;
    int32 specialColorID;
  } selectorParameter;
} ColorServicesInfo;

#ifdef __cplusplus
}
#endif

#endif
