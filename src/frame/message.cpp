// Message and DoAbout: the only ways we talk to the user.
#include "frame/message.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "frame/globals.h"
#include "frame/platform_alert.h"
#include "host/ps_types.h"

namespace {
const char kFilterName[] = "Ortavel Filter";
const char kAboutTitle[] = "About Ortavel Filter";
const char kAboutText[] = "Ortavel Filter 1.2.2 (083)";

// The host's platform record, whose window owns our alerts. On the about
// selector gFilterRecord holds the about record, which keeps it elsewhere.
const PlatformData *HostPlatformData(bool about) {
  if (gFilterRecord == nullptr) return nullptr;
  if (about) return reinterpret_cast<const AboutRecord *>(gFilterRecord)->platformData;
  return gFilterRecord->platformData;
}
}  // namespace

extern "C" void Message(const char *format, ...) {
  // A Pascal string: the length byte, then a 255-byte text area that
  // vsnprintf fills with at most 254 characters and a terminator.
  Str255 message = {0};
  char *text = reinterpret_cast<char *>(message + 1);
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(text, 255, format, args);
  va_end(args);
  // A long text claims 255 characters; its last one is the terminator.
  message[0] = static_cast<uint8_t>(length < 0 ? 0 : (length < 256 ? length : 255));

  char shown[256];
  std::memcpy(shown, message + 1, message[0]);
  shown[message[0]] = '\0';
  ShowPlatformAlert(kFilterName, shown, HostPlatformData(false));
}

extern "C" void DoAbout(void) {
  ShowPlatformAlert(kAboutTitle, kAboutText, HostPlatformData(true));
}
