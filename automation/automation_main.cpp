// The automation module's one entry point. Every message the host may send
// is accepted; those the step has nothing to do for answer 0. No exception
// leaves: a C caller cannot take one.
#include <new>

#include "automation/step.h"
#include "host/photoshop_api.h"

#if defined(_WIN32)
#define ORTAVEL_AUTOMATION_EXPORT __declspec(dllexport)
#else
#define ORTAVEL_AUTOMATION_EXPORT __attribute__((visibility("default")))
#endif

namespace {

bool same(const char *a, const char *b) {
  if (a == nullptr || b == nullptr) return false;
  while (*a != '\0' && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

}  // namespace

extern "C" ORTAVEL_AUTOMATION_EXPORT SPErr AutoPluginMain(const char *caller, const char *selector,
                                                          void *message) {
  try {
    if (message == nullptr) return kSPBadParameterError;
    const auto *data = static_cast<const SPMessageData *>(message);
    if (same(caller, kPSPhotoshopCaller) && same(selector, kPSDoIt)) {
      auto *doIt = static_cast<PSActionsPlugInMessage *>(message);
      return ortavel::automation::doIt(data->basic, doIt->actionParameters);
    }
    if (same(caller, kSPInterfaceCaller) && same(selector, kSPInterfaceAboutSelector)) {
      ortavel::automation::about(data->basic);
    }
    return kSPNoError;
  } catch (const ortavel::automation::StepError &e) {
    return e.status;
  } catch (const std::bad_alloc &) {
    return memFullErr;
  } catch (...) {
    return paramErr;
  }
}
