// A tiny automation module the host tests drive. On "Do It" it reads what to
// do from the descriptor it receives:
//   'evnt' (integer): play that event, with a copy of the received descriptor
//                     minus 'evnt'/'opts'/'qury', and options 'opts' (integer);
//                     the filter's result descriptor is handed back for
//                     recording, under 'stat' the Play status;
//   'qury' (integer 1): Get the target document (2: the application) and hand
//                     that back, under 'stat' the Get status.
// It counts every message in a block kept in `globals`, reported under 'msgs'.
#include <cstdint>
#include <cstdlib>

#include "host/photoshop_api.h"

namespace {

constexpr DescriptorKeyID kEvent = PS_FOURCC('e', 'v', 'n', 't');
constexpr DescriptorKeyID kOptions = PS_FOURCC('o', 'p', 't', 's');
constexpr DescriptorKeyID kQuery = PS_FOURCC('q', 'u', 'r', 'y');
constexpr DescriptorKeyID kStatus = PS_FOURCC('s', 't', 'a', 't');
constexpr DescriptorKeyID kMessages = PS_FOURCC('m', 's', 'g', 's');

bool same(const char *a, const char *b) {
  while (*a != '\0' && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

SPErr doIt(SPMessageData *d, PIActionParameters *p, int32 messages) {
  const PSActionDescriptorProcs *desc = nullptr;
  const PSActionControlProcs *control = nullptr;
  const PSActionReferenceProcs *ref = nullptr;
  // The oldest versions with the entries used, as a careful step does.
  if (d->basic->AcquireSuite(kPSActionDescriptorSuite, 2, reinterpret_cast<const void **>(&desc)) ||
      d->basic->AcquireSuite(kPSActionControlSuite, 2, reinterpret_cast<const void **>(&control)) ||
      d->basic->AcquireSuite(kPSActionReferenceSuite, 2, reinterpret_cast<const void **>(&ref))) {
    return errPlugInHostInsufficient;
  }
  PIActionDescriptor in = p->descriptor;
  PIActionDescriptor out = nullptr;
  OSErr status = noErr;
  int32 value = 0;
  Boolean has = 0;
  if (in != nullptr && desc->HasKey(in, kQuery, &has) == noErr && has != 0) {
    desc->GetInteger(in, kQuery, &value);
    PIActionReference r = nullptr;
    ref->Make(&r);
    if (value == 2) {
      ref->PutEnumerated(r, classApplication, typeOrdinal, enumTarget);
    } else {
      ref->PutEnumerated(r, classDocument, typeOrdinal, enumTarget);
    }
    status = control->Get(&out, r);
    ref->Free(r);
  } else if (in != nullptr && desc->GetInteger(in, kEvent, &value) == noErr) {
    int32 options = plugInDialogSilent;
    desc->GetInteger(in, kOptions, &options);
    PIActionDescriptor played = nullptr;
    desc->Copy(in, &played);
    desc->Erase(played, kEvent);
    desc->Erase(played, kOptions);
    status = control->Play(&out, static_cast<DescriptorEventID>(value), played, options);
    desc->Free(played);
  }
  if (out == nullptr) desc->Make(&out);
  desc->PutInteger(out, kStatus, status);
  desc->PutInteger(out, kMessages, messages);
  if (in != nullptr) desc->Free(in);
  p->descriptor = out;
  p->recordInfo = plugInDialogNone;
  d->basic->ReleaseSuite(kPSActionReferenceSuite, 2);
  d->basic->ReleaseSuite(kPSActionControlSuite, 2);
  d->basic->ReleaseSuite(kPSActionDescriptorSuite, 2);
  return noErr;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) SPErr AutoPluginMain(const char *caller,
                                                                       const char *selector,
                                                                       void *message) {
  auto *d = static_cast<SPMessageData *>(message);
  if (d->globals == nullptr) d->globals = std::calloc(1, sizeof(int32));
  auto *count = static_cast<int32 *>(d->globals);
  ++*count;
  if (same(caller, kPSPhotoshopCaller) && same(selector, kPSDoIt)) {
    return doIt(d, static_cast<PSActionsPlugInMessage *>(message)->actionParameters, *count);
  }
  if (same(caller, kSPAccessCaller) && same(selector, kSPAccessUnloadSelector)) {
    std::free(d->globals);
    d->globals = nullptr;
  }
  return kSPNoError;
}
