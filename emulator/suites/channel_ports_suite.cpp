// The channel ports: read-only ports onto the document's planes, through the
// suite and through the older direct callbacks (ChannelPortProcs). Reading,
// scaled or not, is real; ports cannot be written, made or disposed of
// ('!IMP'), and no channel operations are offered.
#include "emulator/suites/scaled_read.h"
#include "emulator/suites/suite_host_state.h"

namespace hostemu {
namespace {

// The active state and the plane behind `port`; the status says why not.
struct PortLookup {
  SuiteHostState *state = nullptr;
  int plane = -1;
  SPErr status = kSPNoError;
};

PortLookup lookUp(PIChannelPort port) {
  PortLookup found;
  found.state = activeState();
  if (found.state == nullptr) {
    found.status = kSPBadParameterError;
    return found;
  }
  found.plane = found.state->documentInfo.planeOf(port);
  if (found.plane < 0) found.status = errUnknownPort;
  return found;
}

PlaneView viewOf(const Document &doc, int plane) {
  const Plane &p = doc.planes[static_cast<std::size_t>(plane)];
  // A plane shorter than the document claims cannot be read safely, nor one
  // whose reader stopped short of its last row.
  const bool complete = p.samples.size() >= doc.planeBytes() && awaitRows(doc, doc.height);
  return PlaneView{complete ? p.samples.data() : nullptr, doc.width, doc.height, doc.depth};
}

VRect documentBounds(const Document &doc) {
  return VRect{0, 0, doc.height, doc.width};
}

SPErr countLevels(PIChannelPort port, int32 *count) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  if (count == nullptr) return kSPBadParameterError;
  *count = 1;  // the base level only; scaled reads are computed from it
  return kSPNoError;
}

SPErr getDepth(PIChannelPort port, int32 level, int32 *depth) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  if (depth == nullptr || level != 0) return kSPBadParameterError;
  *depth = found.state->documentInfo.document().depth;
  return kSPNoError;
}

SPErr getDataBounds(PIChannelPort port, int32 level, VRect *bounds) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  if (bounds == nullptr || level != 0) return kSPBadParameterError;
  *bounds = documentBounds(found.state->documentInfo.document());
  return kSPNoError;
}

SPErr getWriteLimit(PIChannelPort port, int32, VRect *) {
  const PortLookup found = lookUp(port);
  return found.status != kSPNoError ? found.status : kSPUnimplementedError;
}

SPErr getTilingGrid(PIChannelPort port, int32 level, VPoint *tileOrigin, VPoint *tileSize) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  if (level != 0) return kSPBadParameterError;
  if (tileOrigin) *tileOrigin = VPoint{0, 0};
  if (tileSize) *tileSize = VPoint{DocumentInfo::kTileSize, DocumentInfo::kTileSize};
  return kSPNoError;
}

SPErr getSupportRect(PIChannelPort, int32, const VRect *, int32 *, VRect *) {
  return kSPUnimplementedError;
}

SPErr getDependentRect(PIChannelPort, int32, const VRect *, int32, VRect *) {
  return kSPUnimplementedError;
}

SPErr canRead(PIChannelPort port, Boolean *result) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  if (const SPErr fault = found.state->entryFault("CanRead")) return fault;
  if (result == nullptr) return kSPBadParameterError;
  *result = 1;
  return kSPNoError;
}

SPErr canWrite(PIChannelPort port, Boolean *result) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  if (result == nullptr) return kSPBadParameterError;
  *result = 0;
  return kSPNoError;
}

SPErr readPixelsFromLevel(PIChannelPort port, int32 level, VRect *bounds,
                          const PixelMemoryDesc *destination) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  if (level != 0 || bounds == nullptr || destination == nullptr) return kSPBadParameterError;
  const Document &doc = found.state->documentInfo.document();
  // The base level is a scaled read at 1:1.
  const PSScaling identity{documentBounds(doc), documentBounds(doc)};
  return readScaledPlane(viewOf(doc, found.plane), bounds, identity, *destination);
}

SPErr writePixelsToBaseLevel(PIChannelPort port, VRect *, const PixelMemoryDesc *) {
  const PortLookup found = lookUp(port);
  return found.status != kSPNoError ? found.status : kSPUnimplementedError;
}

SPErr readScaledPixels(PIChannelPort port, VRect *readRect, const PSScaling *scaling,
                       const PixelMemoryDesc *destination) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return found.status;
  SuiteHostState &state = *found.state;
  SPErr status = state.entryFault("ReadScaledPixels");
  if (status == kSPNoError) {
    if (scaling == nullptr || destination == nullptr || readRect == nullptr) {
      status = kSPBadParameterError;
    } else {
      status = readScaledPlane(viewOf(state.documentInfo.document(), found.plane), readRect,
                               *scaling, *destination);
    }
  }
  state.log("read scaled plane " + std::to_string(found.plane) + " -> " + std::to_string(status));
  return status;
}

SPErr findSourceForScaledRead(PIChannelPort, const VRect *, const PSScaling *, int32, int32 *,
                              VRect *, VRect *) {
  return kSPUnimplementedError;
}

SPErr newPort(PIChannelPort *port, const VRect *, int32, Boolean) {
  if (port) *port = nullptr;
  return kSPUnimplementedError;
}

SPErr disposePort(PIChannelPort *) {
  return kSPUnimplementedError;
}

SPErr supportsOperation(const char *, Boolean *supported) {
  if (supported == nullptr) return kSPBadParameterError;
  *supported = 0;
  return kSPNoError;
}

SPErr applyOperation(const char *, PIChannelPort, PIChannelPort, PIChannelPort, void *, VRect *) {
  return kSPUnimplementedError;
}

SPErr addOperation(const char *, PSChannelPortOperationProc, void *) {
  return kSPUnimplementedError;
}

SPErr removeOperation(const char *, void **) {
  return kSPUnimplementedError;
}

SPErr newCopyOnWrite(PIChannelPort *result, PIChannelPort, VRect *, Boolean) {
  if (result) *result = nullptr;
  return kSPUnimplementedError;
}

SPErr freezePort(PIChannelPort) {
  return kSPUnimplementedError;
}

SPErr restorePort(PIChannelPort, VRect *) {
  return kSPUnimplementedError;
}

// The older direct callbacks answer OSErr; suite errors that do not fit in
// 16 bits become paramErr.
OSErr toOSErr(SPErr status) {
  return status >= -32768 && status <= 32767 ? static_cast<OSErr>(status)
                                             : static_cast<OSErr>(paramErr);
}

OSErr readPixels(ChannelReadPort port, const PSScaling *scaling, const VRect *writeRect,
                 const PixelMemoryDesc *destination, VRect *wroteRect) {
  const PortLookup found = lookUp(port);
  if (found.status != kSPNoError) return toOSErr(found.status);
  if (writeRect == nullptr || destination == nullptr) return paramErr;
  const Document &doc = found.state->documentInfo.document();
  const PSScaling identity{documentBounds(doc), documentBounds(doc)};
  VRect rect = *writeRect;
  const SPErr status =
      readScaledPlane(viewOf(doc, found.plane), &rect, scaling ? *scaling : identity, *destination);
  if (status == kSPNoError && wroteRect != nullptr) *wroteRect = rect;
  found.state->log("read pixels plane " + std::to_string(found.plane) + " -> " +
                   std::to_string(status));
  return toOSErr(status);
}

OSErr writeBasePixels(ChannelWritePort, const VRect *, const PixelMemoryDesc *) {
  return errPlugInHostInsufficient;  // the document is read-only to filters here
}

OSErr readPortForWritePort(ChannelReadPort *readPort, ChannelWritePort) {
  if (readPort) *readPort = nullptr;
  return errUnknownPort;  // there are no write ports
}

}  // namespace

ChannelPortProcs makeChannelPortProcs() {
  ChannelPortProcs procs{};
  procs.channelPortProcsVersion = kCurrentChannelPortProcsVersion;
  procs.numChannelPortProcs = kCurrentChannelPortProcsCount;
  procs.readPixelsProc = readPixels;
  procs.writeBasePixelsProc = writeBasePixels;
  procs.readPortForWritePortProc = readPortForWritePort;
  return procs;
}

PSChannelPortsSuite1 makeChannelPortsSuite() {
  PSChannelPortsSuite1 suite{};
  suite.CountLevels = countLevels;
  suite.GetDepth = getDepth;
  suite.GetDataBounds = getDataBounds;
  suite.GetWriteLimit = getWriteLimit;
  suite.GetTilingGrid = getTilingGrid;
  suite.GetSupportRect = getSupportRect;
  suite.GetDependentRect = getDependentRect;
  suite.CanRead = canRead;
  suite.CanWrite = canWrite;
  suite.ReadPixelsFromLevel = readPixelsFromLevel;
  suite.WritePixelsToBaseLevel = writePixelsToBaseLevel;
  suite.ReadScaledPixels = readScaledPixels;
  suite.FindSourceForScaledRead = findSourceForScaledRead;
  suite.New = newPort;
  suite.Dispose = disposePort;
  suite.SupportsOperation = supportsOperation;
  suite.ApplyOperation = applyOperation;
  suite.AddOperation = addOperation;
  suite.RemoveOperation = removeOperation;
  suite.NewCopyOnWrite = newCopyOnWrite;
  suite.Freeze = freezePort;
  suite.Restore = restorePort;
  return suite;
}

}  // namespace hostemu
