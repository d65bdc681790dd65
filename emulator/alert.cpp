#include "emulator/alert.h"

#include <cstdio>
#include <string>

#include "emulator/host_impl.h"

extern "C" void ortavel_host_show_alert(const char *title, const char *text) {
  const std::string t = title != nullptr ? title : "";
  const std::string x = text != nullptr ? text : "";
  hostemu::Host::Impl *impl = hostemu::Host::Impl::active();
  if (impl == nullptr) {
    std::fprintf(stderr, "%s\n%s\n", t.c_str(), x.c_str());
    return;
  }
  impl->note(hostemu::LogKind::Alert, {{"title", t}, {"text", x}});
  if (impl->options.alertCallback) impl->options.alertCallback(t, x);
}
