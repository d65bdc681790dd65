/* The host's description of the document for channel-port access: the
 * document, its channels and layers, and the memory and scaling records of a
 * channel-port read or write.
 *
 * Every record carries minVersion/maxVersion; a reader may use only the
 * fields of versions up to maxVersion (the [vN] notes). Coordinates are
 * document pixels; rowBits/colBits/bitOffset are in bits. All records are
 * naturally aligned on every platform. */
#ifndef ORTAVEL_HOST_PS_DOCUMENT_H
#define ORTAVEL_HOST_PS_DOCUMENT_H

#include "host/ps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Caller memory for a read or write: depth bits per sample, colBits between
 * pixels (24 for interleaved 8-bit RGB), bitOffset of the first sample. */
typedef struct PixelMemoryDesc {
  void *data;
  int32 rowBits;
  int32 colBits;
  int32 bitOffset;
  int32 depth;
} PixelMemoryDesc;

/* A scaled read maps sourceRect onto destinationRect. */
typedef struct PSScaling {
  VRect sourceRect;
  VRect destinationRect;
} PSScaling;

typedef struct ReadChannelDesc {
  int32 minVersion;
  int32 maxVersion;
  struct ReadChannelDesc *next; /* [v0] the list continues here */
  PIChannelPort port;           /* [v0] */
  VRect bounds;                 /* [v0] */
  int32 depth;                  /* [v0] bits per sample */
  VPoint tileSize;              /* [v0] */
  VPoint tileOrigin;            /* [v0] */
  Boolean target;               /* [v0] */
  Boolean shown;                /* [v0] */
  int16 channelType;            /* [v0] ct* constant */
  void *contextInfo;            /* [v0] */
  const char *name;             /* [v0] */
  PIChannelPort writePort;      /* [v1] */
  uint32 alphaID;               /* [v2] */
  const uint16 *unicodeName;    /* [v3] */
  Boolean isEnabled;            /* [v4] */
  VRect limitBounds;            /* [v5] */
} ReadChannelDesc;

typedef struct ReadLayerDesc {
  int32 minVersion;
  int32 maxVersion;
  struct ReadLayerDesc *next;
  ReadChannelDesc *compositeChannelsList;
  ReadChannelDesc *transparency;
  ReadChannelDesc *layerMask;
  uint32 sheetID;
  const char *name;
  Boolean isPixelBased;
  const uint16 *unicodeName;
  Boolean isVisible;
  Boolean isAdjustor;
  Boolean isContentGenerator;
  Boolean isRendered;
  uint8 opacity;
  uint8 fillOpacity;
  PIType blendMode;
  ReadChannelDesc *vectorMask;
  ReadChannelDesc *smartFilterMask;
} ReadLayerDesc;

typedef struct WriteChannelDesc {
  int32 minVersion;
  int32 maxVersion;
  struct WriteChannelDesc *next;
  PIChannelPort port;
  VRect bounds;
  int32 depth;
  VPoint tileSize;
  VPoint tileOrigin;
  int16 channelType;
  int16 padding;
  void *contextInfo;
  const char *name;
  const uint16 *unicodeName;
} WriteChannelDesc;

typedef struct ReadImageDocumentDesc {
  int32 minVersion;
  int32 maxVersion;
  int32 imageMode;   /* [v0] plugInMode* */
  int32 depth;       /* [v0] bits per sample */
  VRect bounds;      /* [v0] */
  Fixed hResolution; /* [v0] */
  Fixed vResolution; /* [v0] */
  LookUpTable redLUT;
  LookUpTable greenLUT;
  LookUpTable blueLUT;
  ReadChannelDesc *targetCompositeChannels; /* [v0] lists linked through next */
  ReadChannelDesc *targetTransparency;
  ReadChannelDesc *targetLayerMask;
  ReadChannelDesc *mergedCompositeChannels;
  ReadChannelDesc *mergedTransparency;
  ReadChannelDesc *alphaChannels;
  ReadChannelDesc *selection;
  SPPlatformFileSpecification *fileSpec;   /* [v1] */
  ReadLayerDesc *layersDescriptor;         /* [v2] */
  int32 documentType;                      /* [v2] 0 document, 1 image scrap */
  struct ReadImageDocumentDesc *next;      /* [v2] */
  void *iCCprofileData;                    /* [v3] */
  int32 iCCprofileSize;                    /* [v3] */
  int32 compositeChannelCount;             /* [v3] */
  int32 layerCount;                        /* [v3] */
  int32 alphaChannelCount;                 /* [v3] */
  ReadChannelDesc *targetSmartFilterMask;  /* [v4] */
  SPPlatformFileSpecificationW *fileSpecW; /* [v5] */
  XPlatFileSpec *fileSpecX;                /* [v6] */
} ReadImageDocumentDesc;

#ifdef __cplusplus
}
#endif

#endif
