#include "emulator/plugin.h"

#include <dlfcn.h>

#include <fstream>
#include <iterator>
#include <vector>

namespace hostemu {

namespace {

// The bytes of a file beside the module, nullopt when there is none.
std::optional<std::vector<std::uint8_t>> besideModule(const std::filesystem::path &module,
                                                      const char *suffix) {
  std::ifstream f(module.string() + suffix, std::ios::binary);
  if (!f) return std::nullopt;
  return std::vector<std::uint8_t>((std::istreambuf_iterator<char>(f)), {});
}

}  // namespace

void Plugin::Closer::operator()(void *h) const {
  if (h != nullptr) dlclose(h);
}

Plugin::Plugin(const std::filesystem::path &path, ModuleKind kind)
    : path_(path), handles_(std::make_unique<HandleStore>()), kind_(kind) {
  dlerror();
  void *module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) {
    const char *why = dlerror();
    throw PluginLoadError("cannot load the plug-in module " + path.string() + ": " +
                          (why != nullptr ? why : "unknown loader error") +
                          " (check the path and that it is a shared object for this machine)");
  }
  module_.reset(module);
  if (const auto bytes = besideModule(path, ".pipl")) {
    try {
      pipl_ = parsePipl(*bytes);
    } catch (const PiplError &e) {
      throw PluginLoadError("the PiPL beside " + path.string() + " is damaged: " + e.what());
    }
    if (pipl_->terminology) {
      if (const auto terms = besideModule(path, ".aete")) {
        try {
          aete_ = parseAete(*terms);
        } catch (const PiplError &e) {
          throw PluginLoadError("the terminology beside " + path.string() +
                                " is damaged: " + e.what());
        }
      }
    }
  }
  resolveEntry(kind == ModuleKind::Filter ? "PluginMain" : "");
}

Plugin::~Plugin() = default;

void *Plugin::symbol(const std::string &name) const {
  return dlsym(module_.get(), name.c_str());
}

}  // namespace hostemu
