#include "emulator/alert.h"

#include <cstdio>
#include <string>

#include "emulator/host_impl.h"

namespace hostemu {

AlertSinkGuard *gSink = nullptr;

AlertSinkGuard::AlertSinkGuard(AlertSink sink) : sink_(std::move(sink)), previous_(gSink) {
  gSink = this;
}

AlertSinkGuard::~AlertSinkGuard() {
  gSink = previous_;
}

void AlertSinkGuard::show(const std::string &title, const std::string &text) const {
  if (sink_) sink_(title, text);
}

}  // namespace hostemu

extern "C" void ortavel_host_show_alert(const char *title, const char *text) {
  const std::string t = title != nullptr ? title : "";
  const std::string x = text != nullptr ? text : "";
  hostemu::Host::Impl *impl = hostemu::Host::Impl::active();
  if (impl == nullptr && hostemu::gSink != nullptr) {
    hostemu::gSink->show(t, x);
    return;
  }
  if (impl == nullptr) {
    std::fprintf(stderr, "%s\n%s\n", t.c_str(), x.c_str());
    return;
  }
  impl->note(hostemu::LogKind::Alert, {{"title", t}, {"text", x}});
  if (impl->options.alertCallback) impl->options.alertCallback(t, x);
}
