/* Numeric constants of the host's filter interface: selectors, result codes,
 * suite errors, image modes, colour spaces, descriptor types, property keys,
 * suite names and versions, and the version words of the callback tables. */
#ifndef ORTAVEL_HOST_PS_CONSTANTS_H
#define ORTAVEL_HOST_PS_CONSTANTS_H

#include "host/ps_types.h"

/* Selectors passed to PluginMain. */
enum {
  filterSelectorAbout = 0,
  filterSelectorParameters = 1,
  filterSelectorPrepare = 2,
  filterSelectorStart = 3,
  filterSelectorContinue = 4,
  filterSelectorFinish = 5
};

/* Result codes for the 16-bit result word (OSErr). */
enum {
  noErr = 0,
  coercedParamErr = 2, /* a descriptor read that converted its value: still non-zero */
  readErr = -19,
  writErr = -20,
  openErr = -23,
  dskFulErr = -34,
  ioErr = -36,
  eofErr = -39,
  fnfErr = -43,
  fLckdErr = -45,
  vLckdErr = -46,
  paramErr = -50,
  memFullErr = -108,
  nilHandleErr = -109,
  memWZErr = -111,
  userCanceledErr = -128,
  errMissingParameter = -1715,
  filterBadParameters = -30100,
  filterBadMode = -30101,
  errPlugInHostInsufficient = -30900,
  errPlugInPropertyUndefined = -30901,
  errHostDoesNotSupportColStep = -30902,
  errInvalidSamplePoint = -30903,
  errReportString = -30904,
  errHostVersionIncompatible = -30905,
  errUnknownPort = -30910,
  errUnsupportedRowBits = -30911,
  errUnsupportedColBits = -30912,
  errUnsupportedBitOffset = -30913,
  errUnsupportedDepth = -30914,
  errUnsupportedDepthConversion = -30915,
  errWrongPlatformFilePath = -30916,
  errIllegalCharInID = -30917
};

/* Suite errors (SPErr, 32-bit). Cut to 16 bits they keep only the low half. */
#define kSPNoError ((SPErr)0)
#define kSPBadParameterError ((SPErr)PS_FOURCC('P', 'a', 'r', 'm'))
#define kSPSuiteNotFoundError ((SPErr)PS_FOURCC('S', '!', 'F', 'd'))
#define kSPUnimplementedError ((SPErr)PS_FOURCC('!', 'I', 'M', 'P'))
#define kSPUserCanceledError ((SPErr)PS_FOURCC('s', 't', 'o', 'p'))
#define kSPOutOfMemoryError ((SPErr)-108)

/* Image modes (FilterRecord.imageMode, ReadImageDocumentDesc.imageMode). */
enum {
  plugInModeBitmap = 0,
  plugInModeGrayScale = 1,
  plugInModeIndexedColor = 2,
  plugInModeRGBColor = 3,
  plugInModeCMYKColor = 4,
  plugInModeHSLColor = 5,
  plugInModeHSBColor = 6,
  plugInModeMultichannel = 7,
  plugInModeDuotone = 8,
  plugInModeLabColor = 9,
  plugInModeGray16 = 10,
  plugInModeRGB48 = 11,
  plugInModeLab48 = 12,
  plugInModeCMYK64 = 13,
  plugInModeDeepMultichannel = 14,
  plugInModeDuotone16 = 15,
  plugInModeRGB96 = 16,
  plugInModeGray32 = 17
};

/* Colour-services spaces. */
enum {
  plugIncolorServicesChosenSpace = -1, /* result only */
  plugIncolorServicesRGBSpace = 0,
  plugIncolorServicesHSBSpace = 1,
  plugIncolorServicesCMYKSpace = 2,
  plugIncolorServicesLabSpace = 3,
  plugIncolorServicesGraySpace = 4,
  plugIncolorServicesHSLSpace = 5,
  plugIncolorServicesXYZSpace = 6
};

/* ColorServicesInfo.selector and the special colours. */
enum {
  plugIncolorServicesChooseColor = 0,
  plugIncolorServicesConvertColor = 1,
  plugIncolorServicesSamplePoint = 2,
  plugIncolorServicesGetSpecialColor = 3
};
enum { plugIncolorServicesForegroundColor = 0, plugIncolorServicesBackgroundColor = 1 };

/* ReadChannelDesc.channelType */
enum {
  ctUnspecified = 0,
  ctRed = 1,
  ctGreen = 2,
  ctBlue = 3,
  ctCyan = 4,
  ctMagenta = 5,
  ctYellow = 6,
  ctBlack = 7,
  ctL = 8,
  ctA = 9,
  ctB = 10,
  ctDuotone = 11,
  ctIndex = 12,
  ctBitmap = 13,
  ctColorSelected = 14,
  ctColorProtected = 15,
  ctTransparency = 16,
  ctLayerMask = 17,
  ctInvertedLayerMask = 18,
  ctSelectionMask = 19,
  ctSpotColor = 20,
  ctVectorMask = 21,
  ctSmartFilterMask = 22
};

/* FilterRecord.filterCase */
enum {
  filterCaseUnsupported = -1,
  filterCaseNotSet = 0,
  filterCaseFlatImageNoSelection = 1,
  filterCaseFlatImageWithSelection = 2,
  filterCaseFloatingSelection = 3,
  filterCaseEditableTransparencyNoSelection = 4,
  filterCaseEditableTransparencyWithSelection = 5,
  filterCaseProtectedTransparencyNoSelection = 6,
  filterCaseProtectedTransparencyWithSelection = 7
};

/* inputPadding / outputPadding / maskPadding: 0..255 fill, or one of these. */
enum {
  plugInWantsEdgeReplication = -1,
  plugInDoesNotWantPadding = -2,
  plugInWantsErrorOnBoundsException = -3
};

/* FilterRecord.samplingSupport */
enum {
  hostDoesNotSupportSampling = 0,
  hostSupportsIntegralSampling = 1,
  hostSupportsFractionalSampling = 2
};

/* FilterRecord.wantLayout */
enum {
  piLayoutTraditional = 0,
  piLayoutRowsColumnsPlanes = 1,
  piLayoutRowsPlanesColumns = 2,
  piLayoutColumnsRowsPlanes = 3,
  piLayoutColumnsPlanesRows = 4,
  piLayoutPlanesRowsColumns = 5,
  piLayoutPlanesColumnsRows = 6
};

/* PIDescriptorParameters.playInfo and .recordInfo */
enum { plugInDialogDontDisplay = 0, plugInDialogDisplay = 1, plugInDialogSilent = 2 };
enum { plugInDialogOptional = 0, plugInDialogRequired = 1, plugInDialogNone = 2 };

/* Flags filled in by the descriptor reader's getKeyProc. */
#define kPIDescriptorFlagEnumerated 0x2000
#define kPIDescriptorFlagList 0x4000
#define kPIDescriptorFlagOptional 0x8000
#define kPIDescriptorFlagObject 0x80000000u
#define kPIDescriptorFlagScoped 0x40000000u
#define kPIDescriptorFlagStringID 0x20000000u

/* Descriptor value types. */
#define typeFloat PS_FOURCC('d', 'o', 'u', 'b')
#define typeInteger PS_FOURCC('l', 'o', 'n', 'g')
#define typeEnumerated PS_FOURCC('e', 'n', 'u', 'm')
#define typeChar PS_FOURCC('T', 'E', 'X', 'T')
#define typeText typeChar
#define typeBoolean PS_FOURCC('b', 'o', 'o', 'l')
#define typeUnitFloat PS_FOURCC('U', 'n', 't', 'F')
#define typeObject PS_FOURCC('O', 'b', 'j', 'c')
#define typeClass PS_FOURCC('t', 'y', 'p', 'e')
#define typeType typeClass
#define typeAlias PS_FOURCC('a', 'l', 'i', 's')
#define typeNull PS_FOURCC('n', 'u', 'l', 'l')

/* Host signature and property keys. */
#define kPhotoshopSignature PS_FOURCC('8', 'B', 'I', 'M')
#define propEXIFData PS_FOURCC('E', 'X', 'I', 'F')
#define propImageMode PS_FOURCC('m', 'o', 'd', 'e')
#define propNumberOfChannels PS_FOURCC('n', 'u', 'c', 'h')
#define propDocumentWidth PS_FOURCC('d', 'o', 'c', 'W')
#define propDocumentHeight PS_FOURCC('d', 'o', 'c', 'H')
#define propTitle PS_FOURCC('t', 'i', 't', 'l')
#define propXMP PS_FOURCC('x', 'm', 'p', 'd')
#define propSerialString PS_FOURCC('s', 's', 't', 'R')
#define propCaption PS_FOURCC('c', 'a', 'p', 't')
#define propCopyright PS_FOURCC('c', 'p', 'y', 'R')

/* Suite names (exact strings) and versions, acquired through the basic suite. */
#define kSPBasicSuite "SP Basic Suite"
#define kSPBasicSuiteVersion 4
#define kPSChannelPortsSuite "Photoshop ChannelPorts Suite for Plug-ins"
#define kPSChannelPortsSuiteVersion2 2
#define kPSChannelPortsSuiteVersion3 3
#define kPSColorSpaceSuite "Photoshop ColorSpace Suite for Plug-ins"
#define kPSColorSpaceSuiteVersion1 1
#define kPSColorSpaceSuiteVersion2 2
#define kPSPropertySuite "Photoshop Property Suite for Plug-ins"
#define kPSPropertySuiteVersion1 1
#define kPSHandleSuite "Photoshop Handle Suite for Plug-ins"
#define kPSHandleSuiteVersion1 1
#define kPSHandleSuiteVersion2 2
#define kPSResourceSuite "Photoshop Resource Suite for Plug-ins"
#define kPSResourceSuiteVersion3 3
#define kPSBufferProcsSuite "Photoshop Buffer Procs for Plug-ins"
#define kPSBufferProcsSuiteVersion2 2
#define kPSBufferSuite "Photoshop Buffer Suite for Plug-ins"
#define kPSBufferSuiteVersion1 1
#define kPSBufferSuiteVersion2 2
#define kPSImageServicesSuite "Photoshop Image Services Suite for Plug-ins"
#define kPSImageServicesSuiteVersion1 1
#define kPSChannelPortProcsSuite "Photoshop Channel Ports Suite for Plug-ins" /* with a space */
#define kPSChannelPortProcsSuiteVersion1 1
#define kPSUIHooksSuite "Photoshop UIHooks Suite for Plug-ins"
#define kPSGetFileListSuite "Photoshop GetFileList Suite for Plug-ins"
#define kPSAliasSuite "Photoshop Alias Utility Suite"
#define kASZStringSuite "AS ZString Suite"
#define kSPAccessSuite "SP Access Suite"
#define kSPRuntimeSuite "SP Runtime Suite"
#define kPSActionDescriptorSuite "df135115-c769-11d0-8079-00c04fd7ec47"
#define kPSActionListSuite "df135116-c769-11d0-8079-00c04fd7ec47"
#define kPSActionReferenceSuite "df135117-c769-11d0-8079-00c04fd7ec47"
#define kPSActionControlSuite "bc1e4d70-f953-11d0-8d9f-00c04fd5f7ee"
#define kPSDescriptorRegistrySuite "61e608b0-40fd-11d1-8da3-00c04fd5f7ee"

/* Version words and entry counts a host puts at the head of each table. */
#define kCurrentHandleProcsVersion 1
#define kCurrentHandleProcsCount 8
#define kCurrentBufferProcsVersion 2
#define kCurrentBufferProcsCount 8
#define kCurrentResourceProcsVersion 3
#define kCurrentResourceProcsCount 4
#define kCurrentImageServicesProcsVersion 1
#define kCurrentImageServicesProcsCount 6
#define kCurrentPropertyProcsVersion 1
#define kCurrentPropertyProcsCount 2
#define kCurrentChannelPortProcsVersion 1
#define kCurrentChannelPortProcsCount 3
#define kCurrentDescriptorParametersVersion 0
#define kCurrentWriteDescriptorProcsVersion 0
#define kCurrentWriteDescriptorProcsCount 16
#define kCurrentReadDescriptorProcsVersion 0
#define kCurrentReadDescriptorProcsCount 18

/* Version ranges of the channel-port document description records. */
#define kCurrentMinVersReadImageDocDesc 0
#define kCurrentMaxVersReadImageDocDesc 6
#define kCurrentMinVersReadChannelDesc 0
#define kCurrentMaxVersReadChannelDesc 5
#define kCurrentMinVersReadLayerDesc 0
#define kCurrentMaxVersReadLayerDesc 3
#define kCurrentMinVersWriteChannelDesc 0
#define kCurrentMaxVersWriteChannelDesc 1

#endif
