// The property suite: the document's EXIF block as a complex property, and a
// few simple ones. Properties are read-only here: setting any of them answers
// errPlugInPropertyUndefined.
#include <string>

#include "emulator/suites/suite_host_state.h"

namespace hostemu {
namespace {

std::string fourcc(PIType code) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) {
    const auto c = static_cast<char>((code >> (24 - 8 * i)) & 0xFF);
    text[static_cast<std::size_t>(i)] = (c >= 0x20 && c < 0x7F) ? c : '?';
  }
  return text;
}

OSErr answer(SuiteHostState &state, PIType key, OSErr status) {
  state.log("property get " + fourcc(key) + " -> " + std::to_string(status));
  return status;
}

OSErr getProperty(PIType signature, PIType key, int32 index, intptr_t *simpleProperty,
                  Handle *complexProperty) {
  SuiteHostState *state = activeState();
  if (state == nullptr) return errPlugInHostInsufficient;
  if (signature != kPhotoshopSignature || index != 0) {
    return answer(*state, key, errPlugInPropertyUndefined);
  }
  const Document &doc = state->documentInfo.document();
  if (key == propEXIFData) {
    if (complexProperty == nullptr) return answer(*state, key, paramErr);
    *complexProperty = nullptr;
    // No EXIF block: success with no handle, which callers read as "no data".
    if (doc.exif.empty()) return answer(*state, key, noErr);
    if (!state->env.newHandle) return answer(*state, key, memFullErr);
    *complexProperty = state->env.newHandle(doc.exif);
    return answer(*state, key, *complexProperty ? noErr : memFullErr);
  }
  intptr_t value = 0;
  switch (key) {
    case propImageMode:
      value = doc.imageMode;
      break;
    case propNumberOfChannels:
      value = static_cast<intptr_t>(doc.planes.size());
      break;
    case propDocumentWidth:
      value = doc.width;
      break;
    case propDocumentHeight:
      value = doc.height;
      break;
    default:
      return answer(*state, key, errPlugInPropertyUndefined);
  }
  if (simpleProperty == nullptr) return answer(*state, key, paramErr);
  *simpleProperty = value;
  return answer(*state, key, noErr);
}

OSErr setProperty(PIType, PIType key, int32, intptr_t, Handle) {
  SuiteHostState *state = activeState();
  if (state == nullptr) return errPlugInHostInsufficient;
  state->log("property set " + fourcc(key) + " -> " + std::to_string(errPlugInPropertyUndefined));
  return errPlugInPropertyUndefined;
}

}  // namespace

PropertyProcs makePropertySuite() {
  PropertyProcs procs{};
  procs.propertyProcsVersion = kCurrentPropertyProcsVersion;
  procs.numPropertyProcs = kCurrentPropertyProcsCount;
  procs.getPropertyProc = getProperty;
  procs.setPropertyProc = setProperty;
  return procs;
}

}  // namespace hostemu
