/* The host's scripting descriptor: the parameters record reached from the
 * filter record and the reading and writing callback tables.
 *
 * Reading: open with the descriptor handle and a 0-ended list of expected
 * keys, walk the keys with getKeyProc (which clears each key it hands out in
 * that list), read each value, close (returns the worst read status met).
 * Writing: open, put values, close; close hands back a new descriptor handle.
 * Naturally aligned on every 64-bit platform. */
#ifndef ORTAVEL_HOST_PS_DESCRIPTOR_H
#define ORTAVEL_HOST_PS_DESCRIPTOR_H

#include "host/ps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef Handle PIDescriptorHandle;
typedef struct PIOpaqueReadDescriptor *PIReadDescriptor;
typedef struct PIOpaqueWriteDescriptor *PIWriteDescriptor;

typedef struct PIDescriptorSimpleReference {
  DescriptorTypeID desiredClass;
  DescriptorKeyID keyForm;
  struct _keyData {
    Str255 name;
    int32 index;
    DescriptorTypeID type;
    DescriptorEnumID value;
  } keyData;
} PIDescriptorSimpleReference;

/* Writer. Floats go by pointer; strings are Pascal strings. */
typedef PIWriteDescriptor (*OpenWriteDescriptorProc)(void);
typedef OSErr (*CloseWriteDescriptorProc)(PIWriteDescriptor descriptor,
                                          PIDescriptorHandle *newDescriptor);
typedef OSErr (*PutIntegerProc)(PIWriteDescriptor descriptor, DescriptorKeyID key, int32 value);
typedef OSErr (*PutFloatProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                              const real64 *value);
typedef OSErr (*PutUnitFloatProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                                  DescriptorUnitID unit, const real64 *value);
typedef OSErr (*PutBooleanProc)(PIWriteDescriptor descriptor, DescriptorKeyID key, Boolean value);
typedef OSErr (*PutTextProc)(PIWriteDescriptor descriptor, DescriptorKeyID key, Handle textHandle);
typedef OSErr (*PutAliasProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                              Handle aliasHandle);
typedef OSErr (*PutEnumeratedProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                                   DescriptorTypeID type, DescriptorEnumID value);
typedef OSErr (*PutClassProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                              DescriptorTypeID type);
typedef OSErr (*PutSimpleReferenceProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                                        const PIDescriptorSimpleReference *reference);
typedef OSErr (*PutObjectProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                               DescriptorTypeID type, PIDescriptorHandle handle);
typedef OSErr (*PutCountProc)(PIWriteDescriptor descriptor, DescriptorKeyID key, uint32 count);
typedef OSErr (*PutStringProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                               ConstStr255Param value);
typedef OSErr (*PutScopedClassProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                                    DescriptorTypeID type);
typedef OSErr (*PutScopedObjectProc)(PIWriteDescriptor descriptor, DescriptorKeyID key,
                                     DescriptorTypeID type, PIDescriptorHandle handle);

typedef struct WriteDescriptorProcs {
  int16 writeDescriptorProcsVersion;
  int16 numWriteDescriptorProcs;
  OpenWriteDescriptorProc openWriteDescriptorProc;
  CloseWriteDescriptorProc closeWriteDescriptorProc;
  PutIntegerProc putIntegerProc;
  PutFloatProc putFloatProc;
  PutUnitFloatProc putUnitFloatProc;
  PutBooleanProc putBooleanProc;
  PutTextProc putTextProc;
  PutAliasProc putAliasProc;
  PutEnumeratedProc putEnumeratedProc;
  PutClassProc putClassProc;
  PutSimpleReferenceProc putSimpleReferenceProc;
  PutObjectProc putObjectProc;
  PutCountProc putCountProc;
  PutStringProc putStringProc;
  PutScopedClassProc putScopedClassProc;
  PutScopedObjectProc putScopedObjectProc;
} WriteDescriptorProcs;

/* Reader. getKeyProc answers 0 when no keys remain. A get routine answers
 * paramErr for a value it cannot convert and coercedParamErr (+2) for one it
 * did convert. */
typedef PIReadDescriptor (*OpenReadDescriptorProc)(PIDescriptorHandle descriptor,
                                                   DescriptorKeyIDArray expectedKeys);
typedef OSErr (*CloseReadDescriptorProc)(PIReadDescriptor descriptor);
typedef Boolean (*GetKeyProc)(PIReadDescriptor descriptor, DescriptorKeyID *key,
                              DescriptorTypeID *type, int32 *flags);
typedef OSErr (*GetIntegerProc)(PIReadDescriptor descriptor, int32 *value);
typedef OSErr (*GetFloatProc)(PIReadDescriptor descriptor, real64 *value);
typedef OSErr (*GetUnitFloatProc)(PIReadDescriptor descriptor, DescriptorUnitID *unit,
                                  real64 *value);
typedef OSErr (*GetBooleanProc)(PIReadDescriptor descriptor, Boolean *value);
typedef OSErr (*GetTextProc)(PIReadDescriptor descriptor, Handle *textHandle);
typedef OSErr (*GetAliasProc)(PIReadDescriptor descriptor, Handle *aliasHandle);
typedef OSErr (*GetEnumeratedProc)(PIReadDescriptor descriptor, DescriptorEnumID *value);
typedef OSErr (*GetClassProc)(PIReadDescriptor descriptor, DescriptorTypeID *type);
typedef OSErr (*GetSimpleReferenceProc)(PIReadDescriptor descriptor,
                                        PIDescriptorSimpleReference *reference);
typedef OSErr (*GetObjectProc)(PIReadDescriptor descriptor, DescriptorTypeID *type,
                               PIDescriptorHandle *handle);
typedef OSErr (*GetCountProc)(PIReadDescriptor descriptor, uint32 *count);
typedef OSErr (*GetStringProc)(PIReadDescriptor descriptor, Str255 *value);
typedef OSErr (*GetPinnedIntegerProc)(PIReadDescriptor descriptor, int32 min, int32 max,
                                      int32 *value);
typedef OSErr (*GetPinnedFloatProc)(PIReadDescriptor descriptor, const real64 *min,
                                    const real64 *max, real64 *value);
typedef OSErr (*GetPinnedUnitFloatProc)(PIReadDescriptor descriptor, const real64 *min,
                                        const real64 *max, DescriptorUnitID *unit, real64 *value);

typedef struct ReadDescriptorProcs {
  int16 readDescriptorProcsVersion;
  int16 numReadDescriptorProcs;
  OpenReadDescriptorProc openReadDescriptorProc;
  CloseReadDescriptorProc closeReadDescriptorProc;
  GetKeyProc getKeyProc;
  GetIntegerProc getIntegerProc;
  GetFloatProc getFloatProc;
  GetUnitFloatProc getUnitFloatProc;
  GetBooleanProc getBooleanProc;
  GetTextProc getTextProc;
  GetAliasProc getAliasProc;
  GetEnumeratedProc getEnumeratedProc;
  GetClassProc getClassProc;
  GetSimpleReferenceProc getSimpleReferenceProc;
  GetObjectProc getObjectProc;
  GetCountProc getCountProc;
  GetStringProc getStringProc;
  GetPinnedIntegerProc getPinnedIntegerProc;
  GetPinnedFloatProc getPinnedFloatProc;
  GetPinnedUnitFloatProc getPinnedUnitFloatProc;
} ReadDescriptorProcs;

/* playInfo: plugInDialog{DontDisplay,Display,Silent}; recordInfo:
 * plugInDialog{Optional,Required,None}. On finish the plug-in replaces
 * descriptor with the handle its writer returned. */
typedef struct PIDescriptorParameters {
  int16 descriptorParametersVersion;
  int16 playInfo;
  int16 recordInfo;
  PIDescriptorHandle descriptor;
  WriteDescriptorProcs *writeDescriptorProcs;
  ReadDescriptorProcs *readDescriptorProcs;
} PIDescriptorParameters;

#ifdef __cplusplus
}
#endif

#endif
