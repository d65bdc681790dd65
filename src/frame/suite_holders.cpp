// The suite holders: each host suite is acquired on first use within a call
// and released at the end of it, so we never keep a host table across calls.
#include <cstdint>

#include "frame/globals.h"
#include "frame/host_services.h"

SuiteHolder sPSActionDescriptor = {nullptr, 2, kPSActionDescriptorSuite, 0};
SuiteHolder sPSActionControl = {nullptr, 2, kPSActionControlSuite, 0};
SuiteHolder sPSActionReference = {nullptr, 3, kPSActionReferenceSuite, 0};
SuiteHolder sPSActionList = {nullptr, 1, kPSActionListSuite, 0};
SuiteHolder sPSRegistry = {nullptr, 1, kPSDescriptorRegistrySuite, 0};
SuiteHolder sPSUIHooks = {nullptr, 1, kPSUIHooksSuite, 0};
SuiteHolder sPSHandle = {nullptr, 2, kPSHandleSuite, 0};
SuiteHolder sASZString = {nullptr, 1, kASZStringSuite, 0};
SuiteHolder sSPAccess = {nullptr, 3, kSPAccessSuite, 0};
SuiteHolder sPSFileList = {nullptr, 4, kPSGetFileListSuite, 0};
SuiteHolder sPSBuffer = {nullptr, 1, kPSBufferSuite, 0};
SuiteHolder sPSChannelProcs = {nullptr, 3, kPSChannelPortsSuite, 0};
SuiteHolder sSPRuntime = {nullptr, 5, kSPRuntimeSuite, 0};
SuiteHolder sPSProperty = {nullptr, 1, kPSPropertySuite, 0};
SuiteHolder sPSAlias = {nullptr, 1, kPSAliasSuite, 0};
SuiteHolder sPSResource = {nullptr, 3, kPSResourceSuite, 0};

namespace {

SuiteHolder *const kHolders[] = {
    &sPSActionDescriptor, &sPSActionControl, &sPSActionReference, &sPSActionList,
    &sPSRegistry,         &sPSUIHooks,       &sPSHandle,          &sASZString,
    &sSPAccess,           &sPSFileList,      &sPSBuffer,          &sPSChannelProcs,
    &sSPRuntime,          &sPSProperty,      &sPSAlias,           &sPSResource,
};

// A call that ended in an exception skipped its release; whatever is still
// held goes back to the host when the module is unloaded.
struct ReleaseAtUnload {
  ~ReleaseAtUnload() { PIUSuitesRelease(); }
} gReleaseAtUnload;

}  // namespace

extern "C" const void *SuiteHolderAcquire(SuiteHolder *holder) {
  if (holder->suite == nullptr) {
    if (sSPBasic == nullptr) throw static_cast<uint32_t>(kSPBadParameterError);
    holder->error = sSPBasic->AcquireSuite(holder->name, holder->version, &holder->suite);
    if (holder->error != kSPNoError) {
      holder->suite = nullptr;  // not ours to release
      throw static_cast<uint32_t>(holder->error);
    }
  }
  return holder->suite;
}

extern "C" void SuiteHolderRelease(SuiteHolder *holder) {
  if (holder->suite != nullptr && holder->name != nullptr && sSPBasic != nullptr) {
    sSPBasic->ReleaseSuite(holder->name, holder->version);
    holder->suite = nullptr;
  }
}

extern "C" void PIUSuitesRelease(void) {
  for (SuiteHolder *holder : kHolders) SuiteHolderRelease(holder);
}
