/* The host services the filter calls: named suites through holders that
 * acquire on first use and are all released at the end of each call, the
 * EXIF property, the image-mode to colour-space table, and the coordinate
 * accessors that pick the host's 32-bit or 16-bit fields.
 *
 * Everything here acts on gFilterRecord and sSPBasic, so it is valid only
 * inside a host call, on the host's thread. */
#ifndef ORTAVEL_FRAME_HOST_SERVICES_H
#define ORTAVEL_FRAME_HOST_SERVICES_H

#include <stdint.h>

#include "host/photoshop_api.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct SuiteHolder {
  const void *suite; /* null until acquired, null again after release */
  int32_t version;   /* version asked for */
  const char *name;  /* suite name asked for */
  int32_t error;     /* status of the last acquisition */
} SuiteHolder;

/* The holders, in release order. */
extern SuiteHolder sPSActionDescriptor;
extern SuiteHolder sPSActionControl;
extern SuiteHolder sPSActionReference;
extern SuiteHolder sPSActionList;
extern SuiteHolder sPSRegistry;
extern SuiteHolder sPSUIHooks;
extern SuiteHolder sPSHandle;
extern SuiteHolder sASZString;
extern SuiteHolder sSPAccess;
extern SuiteHolder sPSFileList;
extern SuiteHolder sPSBuffer;
extern SuiteHolder sPSChannelProcs;
extern SuiteHolder sSPRuntime;
extern SuiteHolder sPSProperty;
extern SuiteHolder sPSAlias;
extern SuiteHolder sPSResource;

/* Returns the holder's suite, acquiring it through sSPBasic if it is not held
 * yet. Throws (C++) the status as uint32_t when the acquisition fails, and
 * 'Parm' (0x5061726D) when there is no basic suite. */
const void *SuiteHolderAcquire(SuiteHolder *holder);

/* Releases the holder's suite if it holds one and sSPBasic is set. */
void SuiteHolderRelease(SuiteHolder *holder);

/* Releases every holder above, in order. Called at the end of each call
 * except about, and once more when the module is unloaded. */
void PIUSuitesRelease(void);

/* Asks the property suite for the document's EXIF block (complex property
 * '8BIM'/'EXIF', index 0). The host allocates *handle; the caller disposes of
 * it with the handle callbacks. 0 with a null handle: no EXIF block. Throws
 * like SuiteHolderAcquire when the property suite is out of reach. */
int16_t PIGetEXIFData(Handle *handle);

/* Host image mode to colour-services space; -1 when the mode has none. */
int32_t CSModeToSpace(int16_t mode);

/* Coordinates, in document pixels. With bigDocumentData present and its
 * PluginUsing32BitCoordinates non-zero they use the 32-bit fields; otherwise
 * the record's 16-bit fields, sign-extended when read, cut to their low 16
 * bits when written. */
VPoint GetImageSize(void);
VRect GetFilterRect(void);
VRect GetInRect(void);
VRect GetOutRect(void);
VRect GetMaskRect(void);
VPoint GetFloatCoord(void);
VPoint GetWholeSize(void);
void SetInRect(VRect r);
void SetOutRect(VRect r);
void SetMaskRect(VRect r);

#ifdef __cplusplus
}
#endif

#endif
