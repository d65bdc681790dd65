// The entry point: binds the call to the globals, makes and locks the two
// blocks we keep with the host, dispatches the selector, turns exceptions into
// result codes and unlocks what it locked.
#include "frame/plugin_main.h"

#include <cstdint>

#include "frame/globals.h"
#include "frame/host_services.h"
#include "frame/message.h"
#include "frame/script_parameters.h"
#include "run/do_start.h"

namespace {

// Steps that may fail for lack of memory; a false return has set the result.
bool CreateAndLockBlocks() {
  HandleProcs *procs = gFilterRecord->handleProcs;
  if (procs == nullptr) {
    // Nothing to keep our blocks in: no host we can work with.
    *gResult = errPlugInHostInsufficient;
    return false;
  }
  if (gFilterRecord->parameters == nullptr) {
    gFilterRecord->parameters = procs->newProc(static_cast<int32_t>(sizeof(FilterParameters)));
    if (gFilterRecord->parameters == nullptr) {
      *gResult = memFullErr;
      return false;
    }
  }
  if (*gDataHandle == 0) {
    Handle data = procs->newProc(static_cast<int32_t>(sizeof(FilterData)));
    *gDataHandle = reinterpret_cast<intptr_t>(data);
    if (data == nullptr) {
      *gResult = memFullErr;
      return false;
    }
  }
  gParams = reinterpret_cast<FilterParameters *>(procs->lockProc(gFilterRecord->parameters, 1));
  if (gParams == nullptr) {
    *gResult = memFullErr;
    return false;
  }
  gData =
      reinterpret_cast<FilterData *>(procs->lockProc(reinterpret_cast<Handle>(*gDataHandle), 1));
  if (gData == nullptr) {
    *gResult = memFullErr;
    return false;
  }
  return true;
}

void Dispatch(int16_t selector) {
  switch (selector) {
    case filterSelectorParameters:
      gData->dialogRequested = 1;
      break;
    case filterSelectorPrepare:
      gFilterRecord->bufferSpace = 0;
      gFilterRecord->maxSpace = 0;
      break;
    case filterSelectorStart:
      DoStart();
      break;
    case filterSelectorContinue: {
      // Empty rectangles end the host's continue loop at once: the whole run
      // happened inside the start call.
      const VRect empty = {0, 0, 0, 0};
      SetInRect(empty);
      SetOutRect(empty);
      SetMaskRect(empty);
      break;
    }
    case filterSelectorFinish:
      WriteScriptParameters();
      break;
    default:
      break;
  }
}

// A host status travels as uint32_t and keeps its low 16 bits; anything else
// thrown is reported as bad parameters.
void StoreException(uint32_t status) {
  *gResult = static_cast<int16_t>(status & 0xFFFFu);
}

}  // namespace

extern "C" void PluginMain(int16_t selector, void *paramBlock, intptr_t *data, int16_t *result) {
  gDataHandle = data;
  gFilterRecord = static_cast<FilterRecord *>(paramBlock);
  gResult = result;

  if (selector == filterSelectorAbout) {
    sSPBasic = static_cast<AboutRecord *>(paramBlock)->sSPBasic;
    try {
      DoAbout();
    } catch (uint32_t status) {
      StoreException(status);
    } catch (...) {
      *gResult = filterBadParameters;
    }
    return;
  }

  sSPBasic = gFilterRecord->sSPBasic;
  if (gFilterRecord->bigDocumentData != nullptr) {
    gFilterRecord->bigDocumentData->PluginUsing32BitCoordinates = 1;
  }

  try {
    CreateAndLockBlocks();
    // Any failure so far, or a result the host did not clear: leave at once,
    // without unlocking or releasing; the globals keep what they hold.
    if (*gResult != noErr) return;
    Dispatch(selector);
    PIUSuitesRelease();
  } catch (uint32_t status) {
    StoreException(status);  // suites stay held until the next release or unload
  } catch (...) {
    *gResult = filterBadParameters;
  }

  // Outside the guard: the data block first, then the parameters.
  if (gData != nullptr) {
    gFilterRecord->handleProcs->unlockProc(reinterpret_cast<Handle>(*gDataHandle));
    gData = nullptr;
  }
  if (gParams != nullptr) {
    gFilterRecord->handleProcs->unlockProc(gFilterRecord->parameters);
    gParams = nullptr;
  }
}
