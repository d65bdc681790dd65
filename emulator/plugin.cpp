#include "emulator/plugin.h"

#include <dlfcn.h>

namespace hostemu {

void Plugin::Closer::operator()(void *h) const {
  if (h != nullptr) dlclose(h);
}

Plugin::Plugin(const std::filesystem::path &path)
    : path_(path), handles_(std::make_unique<HandleStore>()) {
  dlerror();
  void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    const char *why = dlerror();
    throw PluginLoadError("cannot load the filter module " + path.string() + ": " +
                          (why != nullptr ? why : "unknown loader error") +
                          " (check the path and that it is a shared object for this machine)");
  }
  module_.reset(module);
  dlerror();
  void *symbol = dlsym(module, "PluginMain");
  const char *why = dlerror();
  if (symbol == nullptr || why != nullptr) {
    throw PluginLoadError("the module " + path.string() +
                          " does not export PluginMain, so it is not a filter plug-in" +
                          (why != nullptr ? std::string(" (") + why + ")" : std::string()));
  }
  // POSIX guarantees that a data pointer from dlsym converts to a function pointer.
  entry_ = reinterpret_cast<PluginEntry>(symbol);
}

Plugin::~Plugin() = default;

void *Plugin::symbol(const std::string &name) const {
  return dlsym(module_.get(), name.c_str());
}

}  // namespace hostemu
