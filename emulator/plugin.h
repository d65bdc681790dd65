// A filter module loaded into this process, as the platform's hosts load one:
//  - Linux (plugin.cpp): dlopen with RTLD_NOW | RTLD_LOCAL, `PluginMain'
//    resolved, dlclose when the object goes;
//  - Windows (plugin_win.cpp): LoadLibraryW, the PiPL read from the module's
//    resources, which must describe a filter (kind 8BFM), and the entry point
//    it names for x64 resolved; FreeLibrary when the object goes.
// The object also keeps
// what the host keeps for a loaded module between invocations: the data word
// and the handle store its handles live in.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "emulator/handles.h"
#include "emulator/pipl.h"

namespace hostemu {

// void PluginMain(int16 selector, void *paramBlock, intptr_t *data, int16 *result)
using PluginEntry = void (*)(std::int16_t, void *, std::intptr_t *, std::int16_t *);

class PluginLoadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Plugin {
 public:
  // Throws PluginLoadError naming the path and the loader's message.
  explicit Plugin(const std::filesystem::path &path);
  ~Plugin();
  Plugin(const Plugin &) = delete;
  Plugin &operator=(const Plugin &) = delete;

  const std::filesystem::path &path() const { return path_; }
  PluginEntry entry() const { return entry_; }
  // The module's PiPL where the platform's hosts read one (Windows), else null.
  const Pipl *pipl() const { return pipl_ ? &*pipl_ : nullptr; }
  // Its terminology, when the PiPL points to one.
  const Aete *aete() const { return aete_ ? &*aete_ : nullptr; }
  // Another symbol of the module (null when absent), e.g. a test module's hooks.
  void *symbol(const std::string &name) const;
  // The pointer-sized word the host keeps for the module between calls.
  std::intptr_t &data() { return data_; }
  HandleStore &handles() { return *handles_; }

 private:
  struct Closer {
    void operator()(void *h) const;
  };
  std::filesystem::path path_;
  std::unique_ptr<HandleStore> handles_;  // outlives the module's last call
  std::unique_ptr<void, Closer> module_;
  PluginEntry entry_ = nullptr;
  std::optional<Pipl> pipl_;
  std::optional<Aete> aete_;
  std::intptr_t data_ = 0;
};

}  // namespace hostemu
