// A plug-in module (a filter, or an automation module) loaded into this
// process, as the platform's hosts load one:
//  - Linux (plugin.cpp): dlopen with RTLD_NOW | RTLD_LOCAL; dlclose when the
//    object goes. Shared objects carry no resources, so the PiPL and the
//    terminology lie beside the module, as MODULE.pipl and MODULE.aete in the
//    Windows byte form (the build writes them). With a PiPL, its kind must
//    match and its '8664' entry name (the x86-64 name on both systems) is
//    resolved; without one a filter's `PluginMain' is, and an automation
//    module is refused (it has no fixed entry name).
//  - Windows (plugin_win.cpp): LoadLibraryW, the PiPL read from the module's
//    resources, which must describe a filter (kind 8BFM), and the entry point
//    it names for x64 resolved; FreeLibrary when the object goes. An
//    automation module must be of kind 8LIZ.
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
// int32 AutoPluginMain(const char *caller, const char *selector, void *message)
using AutomationEntry = std::int32_t (*)(const char *, const char *, void *);

enum class ModuleKind { Filter, Automation };

class PluginLoadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Plugin {
 public:
  // Throws PluginLoadError naming the path and the loader's message.
  explicit Plugin(const std::filesystem::path &path, ModuleKind kind = ModuleKind::Filter);
  ~Plugin();
  Plugin(const Plugin &) = delete;
  Plugin &operator=(const Plugin &) = delete;

  const std::filesystem::path &path() const { return path_; }
  ModuleKind kind() const { return kind_; }
  // The filter entry (null for an automation module) and the automation one.
  PluginEntry entry() const { return entry_; }
  AutomationEntry automationEntry() const { return automationEntry_; }
  // The module's PiPL (from its resources on Windows, from MODULE.pipl on
  // Linux), null when it has none.
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
  // Checks the PiPL's kind and resolves the entry point it names (or the
  // default name); throws PluginLoadError.
  void resolveEntry(const std::string &fallbackName);
  ModuleKind kind_;
  PluginEntry entry_ = nullptr;
  AutomationEntry automationEntry_ = nullptr;
  std::optional<Pipl> pipl_;
  std::optional<Aete> aete_;
  std::intptr_t data_ = 0;
};

}  // namespace hostemu
