/* The host's automation plug-in interface: the entry point's messages, the
 * action parameters, the terminology property, and the action suites (action
 * control, descriptor, reference and list, basic action control, descriptor
 * registry), the UI hooks and the ZString suite.
 *
 * Layouts: the message records are naturally aligned everywhere; the action
 * parameters and the terminology record are byte-packed on Windows (which
 * only changes their alignment and the terminology's tail padding). Every
 * action-suite entry answers OSErr (16 bits): declaring them wider would read
 * undefined upper bits on x64. Floats go by value here, unlike the filter's
 * descriptor writer. Compiles as C11 and as C++20. */
#ifndef ORTAVEL_HOST_PS_AUTOMATION_H
#define ORTAVEL_HOST_PS_AUTOMATION_H

#include "host/ps_descriptor.h"
#include "host/ps_document.h"
#include "host/ps_suites.h"
#include "host/ps_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Callers and selectors of the entry point. */
#define kSPAccessCaller "SP Access"
#define kSPAccessReloadSelector "Reload"
#define kSPAccessUnloadSelector "Unload"
#define kSPInterfaceCaller "SP Interface"
#define kSPInterfaceStartupSelector "Startup"
#define kSPInterfaceShutdownSelector "Shutdown"
#define kSPInterfaceAboutSelector "About"
#define kSPPropertiesCaller "SP Properties"
#define kSPCacheCaller "SP Cache"
#define kPSPhotoshopCaller "PS Photoshop"
#define kPSDoIt "Do It"
#define kSPValidSPMessageData 0x5350436Bu /* 'SPCk' */

/* Suite versions (names are in ps_constants.h). */
#define kPSActionControlSuiteVersion 6
#define kPSActionControlSuiteVersion2 2
#define kPSBasicActionControlSuite "3eb7c480-8797-11d1-8da7-00c04fd5f7ee"
#define kPSBasicActionControlSuiteVersion 3
#define kPSActionDescriptorSuiteVersion 5
#define kPSActionDescriptorSuiteVersion2 2
#define kPSActionReferenceSuiteVersion 3
#define kPSActionReferenceSuitePrevVersion 2
#define kPSActionListSuiteVersion 3
#define kPSActionListSuiteVersion1 1
#define kPSDescriptorRegistrySuiteVersion 1
#define kPSUIHooksSuiteVersion1 1
#define kPSUIHooksSuiteVersion4 4
#define kASZStringSuiteVersion1 1

/* Dialog options (PIActionParameters, Play's options): plugInDialog... in
 * ps_constants.h, the same values as the filter's descriptor parameters. */

/* PiPL of an automation module. */
#define PIKindAutomation PS_FOURCC('8', 'L', 'I', 'Z')
#define PIHasTerminologyProperty PS_FOURCC('h', 's', 't', 'm')
#define PITerminologyMinSize 15
#define latestActionsPlugInVersion 1

/* Document query terms. */
#define classDocument PS_FOURCC('D', 'c', 'm', 'n')
#define classApplication PS_FOURCC('c', 'a', 'p', 'p')
#define classProperty PS_FOURCC('P', 'r', 'p', 'r')
#define typeOrdinal PS_FOURCC('O', 'r', 'd', 'n')
#define enumTarget PS_FOURCC('T', 'r', 'g', 't')
#define keyWidth PS_FOURCC('W', 'd', 't', 'h')
#define keyHeight PS_FOURCC('H', 'g', 'h', 't')
#define keyResolution PS_FOURCC('R', 's', 'l', 't')
#define keyMode PS_FOURCC('M', 'd', ' ', ' ')
#define keyDepth PS_FOURCC('D', 'p', 't', 'h')
#define keyNumberOfChannels PS_FOURCC('N', 'm', 'b', 'O')
#define keyNumberOfLayers PS_FOURCC('N', 'm', 'b', 'L')
#define keyNumberOfDocuments PS_FOURCC('N', 'm', 'b', 'D')
#define keyTitle PS_FOURCC('T', 't', 'l', ' ')
#define keyDocumentID PS_FOURCC('D', 'o', 'c', 'I')
#define keyMessage PS_FOURCC('M', 's', 'g', 'e')
#define typeColorSpace PS_FOURCC('C', 'l', 'r', 'S')
#define typeSInt64 PS_FOURCC('c', 'o', 'm', 'p')
#define typeAEList PS_FOURCC('l', 'i', 's', 't')
#define typeRawData PS_FOURCC('t', 'd', 't', 'a')
#define typeObjectReference PS_FOURCC('o', 'b', 'j', ' ')
#define typeGlobalObject PS_FOURCC('G', 'l', 'b', 'O')
#define typeGlobalClass PS_FOURCC('G', 'l', 'b', 'C')
#define unitPixels PS_FOURCC('#', 'P', 'x', 'l')
#define unitDistance PS_FOURCC('#', 'R', 'l', 't')
#define unitDensity PS_FOURCC('#', 'R', 's', 'l')
#define unitNone PS_FOURCC('#', 'N', 'n', 'e')
#define formClass PS_FOURCC('C', 'l', 's', 's')
#define formEnumerated PS_FOURCC('E', 'n', 'm', 'r')
#define formIdentifier PS_FOURCC('I', 'd', 'n', 't')
#define formIndex PS_FOURCC('i', 'n', 'd', 'x')
#define formName PS_FOURCC('n', 'a', 'm', 'e')
#define formOffset PS_FOURCC('r', 'e', 'l', 'e')
#define formProperty PS_FOURCC('p', 'r', 'o', 'p')
#define enumBitmap PS_FOURCC('B', 't', 'm', 'p')
#define enumGrayscale PS_FOURCC('G', 'r', 'y', 's')
#define enumIndexedColor PS_FOURCC('I', 'n', 'd', 'l')
#define enumRGBColor PS_FOURCC('R', 'G', 'B', 'C')
#define enumCMYKColor PS_FOURCC('E', 'C', 'M', 'Y')
#define enumHSLColor PS_FOURCC('H', 'S', 'L', 'C')
#define enumHSBColor PS_FOURCC('H', 'S', 'B', 'l')
#define enumMultichannel PS_FOURCC('M', 'l', 't', 'h')
#define enumDuotone PS_FOURCC('D', 't', 'n', ' ')
#define enumLabColor PS_FOURCC('L', 'b', 'C', 'l')
#define enumGray16 PS_FOURCC('G', 'r', 'y', 'X')
#define enumRGB48 PS_FOURCC('R', 'G', 'B', 'F')
#define enumLab48 PS_FOURCC('L', 'b', 'C', 'F')
#define enumCMYK64 PS_FOURCC('C', 'M', 'S', 'F')

typedef struct PIActionDescriptorOpaque *PIActionDescriptor;
typedef struct PIActionListOpaque *PIActionList;
typedef struct PIActionReferenceOpaque *PIActionReference;
typedef struct SPPluginOpaque *SPPluginRef;
typedef const void *CFDataRef; /* bookmarks: Mac only */

typedef uint32 DescriptorEnumTypeID;
typedef int32 PIDialogPlayOptions;
typedef int32 PIDialogRecordOptions;

typedef int32 ASErr;
typedef int32 ASInt32;
typedef int16 ASInt16;
typedef uint32 ASUInt32;
typedef uint16 ASUnicode;
#if defined(_WIN32)
typedef int32 ASBoolean; /* BOOL */
#else
typedef uint8 ASBoolean;
#endif

/* Every message starts with this record. */
typedef struct SPMessageData {
  int32 SPCheck; /* kSPValidSPMessageData when the host filled it */
  SPPluginRef self;
  void *globals; /* the plug-in's; the host keeps what it leaves here */
  SPBasicSuite *basic;
} SPMessageData;

#if defined(_WIN32)
#pragma pack(push, 1)
#endif
typedef struct PIActionParameters {
  PIDialogPlayOptions playInfo;
  PIDialogRecordOptions recordInfo;
  PIActionDescriptor descriptor; /* owned by the host after the call */
} PIActionParameters;

/* Data of the PiPL's 'hstm' property; variable length (the scope string). */
typedef struct PITerminology {
  int32 version;
  OSType classID;
  OSType eventID;
  int16 terminologyID;
  char scopeString[1];
} PITerminology;
#if defined(_WIN32)
#pragma pack(pop)
#endif

/* caller "PS Photoshop", selector "Do It". */
typedef struct PSActionsPlugInMessage {
  SPMessageData d;
  PIActionParameters *actionParameters;
} PSActionsPlugInMessage;

typedef void (*PIEventNotifier)(DescriptorEventID event, PIActionDescriptor descriptor,
                                PIDialogRecordOptions options, void *data);
typedef void (*PICommandNotifier)(uint32 commandID, OSErr result, DescriptorEventID event,
                                  PIActionDescriptor descriptor, PIDialogRecordOptions options,
                                  void *data);
typedef SPErr (*PISuspendProc)(void *data);

/* The automation entry point: SPErr AutoPluginMain(caller, selector, message). */
typedef SPErr (*PIAutomationEntry)(const char *caller, const char *selector, void *message);

/* Action control, version 6; versions 2 and 3 end after MakeStringAlias,
 * version 4 after AddNotifyLevel1. */
typedef struct PSActionControlProcs {
  OSErr (*Play)(PIActionDescriptor *result, DescriptorEventID event, PIActionDescriptor descriptor,
                PIDialogPlayOptions options);
  OSErr (*Get)(PIActionDescriptor *result, PIActionReference reference);
  OSErr (*StringIDToTypeID)(const char *stringID, DescriptorTypeID *typeID);
  OSErr (*TypeIDToStringID)(DescriptorTypeID typeID, char *stringID, uint32 stringLength);
  OSErr (*AddNotify)(SPPluginRef ref, DescriptorEventID event, PIEventNotifier notifier,
                     void *data);
  OSErr (*RemoveNotify)(SPPluginRef ref, DescriptorEventID event);
  OSErr (*SuspendHistory)(PIActionReference reference, PISuspendProc proc, void *procData,
                          ASZString operationName);
  OSErr (*MakeStringAlias)(const char *newStringID, const char *existingStringID);
  OSErr (*AddNotifyLevel1)(SPPluginRef ref, DescriptorEventID event, PIEventNotifier notifier,
                           void *data);
  OSErr (*PostCommand)(SPPluginRef ref, DescriptorEventID event, PIActionDescriptor descriptor,
                       PIDialogPlayOptions options, PICommandNotifier notifier, void *data,
                       uint32 *commandID);
  OSErr (*CancelCommand)(SPPluginRef ref, uint32 commandID);
  OSErr (*ConvertAliasHandleToBookmark)(Handle aliasHandle, CFDataRef *bookmark);
  OSErr (*ConvertBookmarkToAliasHandle)(CFDataRef bookmark, Handle *aliasHandle);
  OSErr (*AddUniversalNotifier)(SPPluginRef ref, DescriptorEventID event, PIEventNotifier notifier,
                                void *data, uint32 options);
  OSErr (*RemoveUniversalNotifier)(SPPluginRef ref, DescriptorEventID event);
} PSActionControlProcs;

/* The subset offered to plug-ins that are not automation modules; version 3
 * (versions 1 and 2 end after MakeStringAlias). */
typedef struct PSBasicActionControlProcs {
  OSErr (*Get)(PIActionDescriptor *result, PIActionReference reference);
  OSErr (*StringIDToTypeID)(const char *stringID, DescriptorTypeID *typeID);
  OSErr (*TypeIDToStringID)(DescriptorTypeID typeID, char *stringID, uint32 stringLength);
  OSErr (*MakeStringAlias)(const char *newStringID, const char *existingStringID);
  OSErr (*ConvertAliasHandleToBookmark)(Handle aliasHandle, CFDataRef *bookmark);
  OSErr (*ConvertBookmarkToAliasHandle)(CFDataRef bookmark, Handle *aliasHandle);
} PSBasicActionControlProcs;

/* Action descriptor, version 5 (version 2: up to GetData, 3: up to GetInteger64). */
typedef struct PSActionDescriptorProcs {
  OSErr (*Make)(PIActionDescriptor *descriptor);
  OSErr (*Free)(PIActionDescriptor descriptor);
  OSErr (*GetType)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorTypeID *type);
  OSErr (*GetKey)(PIActionDescriptor descriptor, uint32 index, DescriptorKeyID *key);
  OSErr (*HasKey)(PIActionDescriptor descriptor, DescriptorKeyID key, Boolean *hasKey);
  OSErr (*GetCount)(PIActionDescriptor descriptor, uint32 *count);
  OSErr (*IsEqual)(PIActionDescriptor descriptor, PIActionDescriptor other, Boolean *isEqual);
  OSErr (*Erase)(PIActionDescriptor descriptor, DescriptorKeyID key);
  OSErr (*Clear)(PIActionDescriptor descriptor);
  OSErr (*PutInteger)(PIActionDescriptor descriptor, DescriptorKeyID key, int32 value);
  OSErr (*PutFloat)(PIActionDescriptor descriptor, DescriptorKeyID key, real64 value);
  OSErr (*PutUnitFloat)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorUnitID unit,
                        real64 value);
  OSErr (*PutString)(PIActionDescriptor descriptor, DescriptorKeyID key, const char *cstrValue);
  OSErr (*PutBoolean)(PIActionDescriptor descriptor, DescriptorKeyID key, Boolean value);
  OSErr (*PutList)(PIActionDescriptor descriptor, DescriptorKeyID key, PIActionList value);
  OSErr (*PutObject)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorClassID type,
                     PIActionDescriptor value);
  OSErr (*PutGlobalObject)(PIActionDescriptor descriptor, DescriptorKeyID key,
                           DescriptorClassID type, PIActionDescriptor value);
  OSErr (*PutEnumerated)(PIActionDescriptor descriptor, DescriptorKeyID key,
                         DescriptorEnumTypeID type, DescriptorEnumID value);
  OSErr (*PutReference)(PIActionDescriptor descriptor, DescriptorKeyID key,
                        PIActionReference value);
  OSErr (*PutClass)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorClassID value);
  OSErr (*PutGlobalClass)(PIActionDescriptor descriptor, DescriptorKeyID key,
                          DescriptorClassID value);
  OSErr (*PutAlias)(PIActionDescriptor descriptor, DescriptorKeyID key, Handle value);
  OSErr (*GetInteger)(PIActionDescriptor descriptor, DescriptorKeyID key, int32 *value);
  OSErr (*GetFloat)(PIActionDescriptor descriptor, DescriptorKeyID key, real64 *value);
  OSErr (*GetUnitFloat)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorUnitID *unit,
                        real64 *value);
  OSErr (*GetStringLength)(PIActionDescriptor descriptor, DescriptorKeyID key,
                           uint32 *stringLength);
  OSErr (*GetString)(PIActionDescriptor descriptor, DescriptorKeyID key, char *cstrValue,
                     uint32 maxLength);
  OSErr (*GetBoolean)(PIActionDescriptor descriptor, DescriptorKeyID key, Boolean *value);
  OSErr (*GetList)(PIActionDescriptor descriptor, DescriptorKeyID key, PIActionList *value);
  OSErr (*GetObject)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorClassID *type,
                     PIActionDescriptor *value);
  OSErr (*GetGlobalObject)(PIActionDescriptor descriptor, DescriptorKeyID key,
                           DescriptorClassID *type, PIActionDescriptor *value);
  OSErr (*GetEnumerated)(PIActionDescriptor descriptor, DescriptorKeyID key,
                         DescriptorEnumTypeID *type, DescriptorEnumID *value);
  OSErr (*GetReference)(PIActionDescriptor descriptor, DescriptorKeyID key,
                        PIActionReference *value);
  OSErr (*GetClass)(PIActionDescriptor descriptor, DescriptorKeyID key, DescriptorClassID *value);
  OSErr (*GetGlobalClass)(PIActionDescriptor descriptor, DescriptorKeyID key,
                          DescriptorClassID *value);
  OSErr (*GetAlias)(PIActionDescriptor descriptor, DescriptorKeyID key, Handle *value);
  OSErr (*HasKeys)(PIActionDescriptor descriptor, DescriptorKeyID *requiredKeys, Boolean *hasKeys);
  OSErr (*PutIntegers)(PIActionDescriptor descriptor, DescriptorKeyID key, uint32 count,
                       int32 *values);
  OSErr (*GetIntegers)(PIActionDescriptor descriptor, DescriptorKeyID key, uint32 count,
                       int32 *value);
  OSErr (*AsHandle)(PIActionDescriptor descriptor, PIDescriptorHandle *value);
  OSErr (*HandleToDescriptor)(PIDescriptorHandle value, PIActionDescriptor *descriptor);
  OSErr (*PutZString)(PIActionDescriptor descriptor, DescriptorKeyID key, ASZString zstring);
  OSErr (*GetZString)(PIActionDescriptor descriptor, DescriptorKeyID key, ASZString *zstring);
  OSErr (*PutData)(PIActionDescriptor descriptor, DescriptorKeyID key, int32 length, void *value);
  OSErr (*GetDataLength)(PIActionDescriptor descriptor, DescriptorKeyID key, int32 *value);
  OSErr (*GetData)(PIActionDescriptor descriptor, DescriptorKeyID key, void *value);
  /* version 3 */
  OSErr (*PutInteger64)(PIActionDescriptor descriptor, DescriptorKeyID key, int64 value);
  OSErr (*GetInteger64)(PIActionDescriptor descriptor, DescriptorKeyID key, int64 *value);
  /* version 5 */
  OSErr (*MakeWithClass)(DescriptorClassID value, PIActionDescriptor *descriptor);
  OSErr (*GetDescriptorClass)(PIActionDescriptor descriptor, DescriptorClassID *value);
  OSErr (*Copy)(PIActionDescriptor descriptor, PIActionDescriptor *copy);
  OSErr (*PutBookmark)(PIActionDescriptor descriptor, DescriptorKeyID key, CFDataRef value);
  OSErr (*GetBookmark)(PIActionDescriptor descriptor, DescriptorKeyID key, CFDataRef *value);
} PSActionDescriptorProcs;

/* Action reference, version 3 (version 2 ends after GetContainer). */
typedef struct PSActionReferenceProcs {
  OSErr (*Make)(PIActionReference *reference);
  OSErr (*Free)(PIActionReference ref);
  OSErr (*GetForm)(PIActionReference ref, DescriptorFormID *value);
  OSErr (*GetDesiredClass)(PIActionReference ref, DescriptorClassID *value);
  OSErr (*PutName)(PIActionReference ref, DescriptorClassID desiredClass, const char *cstrValue);
  OSErr (*PutIndex)(PIActionReference ref, DescriptorClassID desiredClass, uint32 value);
  OSErr (*PutIdentifier)(PIActionReference ref, DescriptorClassID desiredClass, uint32 value);
  OSErr (*PutOffset)(PIActionReference ref, DescriptorClassID desiredClass, int32 value);
  OSErr (*PutEnumerated)(PIActionReference ref, DescriptorClassID desiredClass,
                         DescriptorEnumTypeID type, DescriptorEnumID value);
  OSErr (*PutProperty)(PIActionReference ref, DescriptorClassID desiredClass,
                       DescriptorKeyID value);
  OSErr (*PutClass)(PIActionReference ref, DescriptorClassID desiredClass);
  OSErr (*GetNameLength)(PIActionReference ref, uint32 *stringLength);
  OSErr (*GetName)(PIActionReference ref, char *name, uint32 maxLength);
  OSErr (*GetIndex)(PIActionReference ref, uint32 *value);
  OSErr (*GetIdentifier)(PIActionReference ref, uint32 *value);
  OSErr (*GetOffset)(PIActionReference ref, int32 *value);
  OSErr (*GetEnumerated)(PIActionReference ref, DescriptorEnumTypeID *type,
                         DescriptorEnumID *enumValue);
  OSErr (*GetProperty)(PIActionReference ref, DescriptorKeyID *value);
  OSErr (*GetContainer)(PIActionReference ref, PIActionReference *value);
  /* version 3 */
  OSErr (*PutNameZString)(PIActionReference ref, DescriptorClassID desiredClass, ASZString zstring);
  OSErr (*GetNameZString)(PIActionReference ref, ASZString *zstring);
} PSActionReferenceProcs;

/* Action list, version 3 (version 1 ends after GetZString, 2 after GetInteger64). */
typedef struct PSActionListProcs {
  OSErr (*Make)(PIActionList *actionList);
  OSErr (*Free)(PIActionList actionList);
  OSErr (*GetType)(PIActionList list, uint32 index, DescriptorTypeID *value);
  OSErr (*GetCount)(PIActionList list, uint32 *value);
  OSErr (*PutInteger)(PIActionList list, int32 value);
  OSErr (*PutFloat)(PIActionList list, real64 value);
  OSErr (*PutUnitFloat)(PIActionList list, DescriptorUnitID unit, real64 value);
  OSErr (*PutString)(PIActionList list, const char *cstr);
  OSErr (*PutBoolean)(PIActionList list, Boolean value);
  OSErr (*PutList)(PIActionList list, PIActionList value);
  OSErr (*PutObject)(PIActionList list, DescriptorClassID type, PIActionDescriptor value);
  OSErr (*PutGlobalObject)(PIActionList list, DescriptorClassID type, PIActionDescriptor value);
  OSErr (*PutEnumerated)(PIActionList list, DescriptorEnumTypeID type, DescriptorEnumID value);
  OSErr (*PutReference)(PIActionList list, PIActionReference value);
  OSErr (*PutClass)(PIActionList list, DescriptorClassID value);
  OSErr (*PutGlobalClass)(PIActionList list, DescriptorClassID value);
  OSErr (*PutAlias)(PIActionList list, Handle value);
  OSErr (*GetInteger)(PIActionList list, uint32 index, int32 *value);
  OSErr (*GetFloat)(PIActionList list, uint32 index, real64 *value);
  OSErr (*GetUnitFloat)(PIActionList list, uint32 index, DescriptorUnitID *unit, real64 *value);
  OSErr (*GetStringLength)(PIActionList list, uint32 index, uint32 *stringLength);
  OSErr (*GetString)(PIActionList list, uint32 index, char *cstr, uint32 maxLength);
  OSErr (*GetBoolean)(PIActionList list, uint32 index, Boolean *value);
  OSErr (*GetList)(PIActionList list, uint32 index, PIActionList *actionList);
  OSErr (*GetObject)(PIActionList list, uint32 index, DescriptorClassID *type,
                     PIActionDescriptor *value);
  OSErr (*GetGlobalObject)(PIActionList list, uint32 index, DescriptorClassID *type,
                           PIActionDescriptor *value);
  OSErr (*GetEnumerated)(PIActionList list, uint32 index, DescriptorEnumTypeID *type,
                         DescriptorEnumID *value);
  OSErr (*GetReference)(PIActionList list, uint32 index, PIActionReference *value);
  OSErr (*GetClass)(PIActionList list, uint32 index, DescriptorClassID *value);
  OSErr (*GetGlobalClass)(PIActionList list, uint32 index, DescriptorClassID *value);
  OSErr (*GetAlias)(PIActionList list, uint32 index, Handle *aliasHandle);
  OSErr (*PutIntegers)(PIActionList list, uint32 count, int32 *arg2);
  OSErr (*GetIntegers)(PIActionList list, uint32 count, int32 *value);
  OSErr (*PutData)(PIActionList list, int32 length, void *data);
  OSErr (*GetDataLength)(PIActionList list, uint32 index, int32 *length);
  OSErr (*GetData)(PIActionList list, uint32 index, void *value);
  OSErr (*PutZString)(PIActionList list, ASZString zstring);
  OSErr (*GetZString)(PIActionList list, uint32 index, ASZString *zstring);
  /* version 2 */
  OSErr (*PutInteger64)(PIActionList list, int64 value);
  OSErr (*GetInteger64)(PIActionList list, uint32 index, int64 *value);
  /* version 3 */
  OSErr (*PutBookmark)(PIActionList list, CFDataRef value);
  OSErr (*GetBookmark)(PIActionList list, uint32 index, CFDataRef *bookmark);
} PSActionListProcs;

typedef struct PSDescriptorRegistryProcs {
  OSErr (*Register)(const char *key, PIActionDescriptor descriptor, Boolean isPersistent);
  OSErr (*Erase)(const char *key);
  OSErr (*Get)(const char *key, PIActionDescriptor *descriptor);
} PSDescriptorRegistryProcs;

/* "Photoshop UIHooks Suite for Plug-ins" version 1. */
typedef struct PSUIHooksSuite1 {
  void (*processEvent)(void *event);
  OSErr (*displayPixels)(const struct PSPixelMap *source, const VRect *srcRect, int32 dstRow,
                         int32 dstCol, void *platformContext);
  void (*progressBar)(int32 done, int32 total);
  Boolean (*testAbort)(void);
  intptr_t (*MainAppWindow)(void); /* HWND on Windows */
  SPErr (*SetCursor)(const char *cursorID);
  uint32 (*TickCount)(void);
  SPErr (*GetPluginName)(SPPluginRef plugin, ASZString *name);
} PSUIHooksSuite1;

/* "AS ZString Suite" version 1. */
typedef struct ASZStringSuite1 {
  ASErr (*MakeFromUnicode)(ASUnicode *src, size_t charCount, ASZString *newZString);
  ASErr (*MakeFromCString)(const char *src, size_t byteCount, ASZString *newZString);
  ASErr (*MakeFromPascalString)(const uint8 *src, size_t byteCount, ASZString *newZString);
  ASErr (*MakeRomanizationOfInteger)(ASInt32 value, ASZString *newZString);
  ASErr (*MakeRomanizationOfFixed)(ASInt32 value, ASInt16 places, ASBoolean trim,
                                   ASBoolean isSigned, ASZString *newZString);
  ASErr (*MakeRomanizationOfDouble)(real64 value, ASZString *newZString);
  ASZString (*GetEmpty)(void);
  ASErr (*Copy)(ASZString source, ASZString *copy);
  ASErr (*Replace)(ASZString zstr, ASUInt32 index, ASZString replacement);
  ASErr (*TrimEllipsis)(ASZString zstr);
  ASErr (*TrimSpaces)(ASZString zstr);
  ASErr (*RemoveAccelerators)(ASZString zstr);
  ASErr (*AddRef)(ASZString zstr);
  ASErr (*Release)(ASZString zstr);
  ASBoolean (*IsAllWhiteSpace)(ASZString zstr);
  ASBoolean (*IsEmpty)(ASZString zstr);
  ASBoolean (*WillReplace)(ASZString zstr, ASUInt32 index);
  ASUInt32 (*LengthAsUnicodeCString)(ASZString zstr);
  ASErr (*AsUnicodeCString)(ASZString zstr, ASUnicode *str, ASUInt32 strSize,
                            ASBoolean checkStrSize);
  ASUInt32 (*LengthAsCString)(ASZString zstr);
  ASErr (*AsCString)(ASZString zstr, char *str, ASUInt32 strSize, ASBoolean checkStrSize);
  ASUInt32 (*LengthAsPascalString)(ASZString zstr);
  ASErr (*AsPascalString)(ASZString zstr, char *str, ASUInt32 strBufferSize,
                          ASBoolean checkBufferSize);
} ASZStringSuite1;

#ifdef __cplusplus
}
#endif

#endif
