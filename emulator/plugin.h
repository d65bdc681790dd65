// A filter module loaded into this process: dlopen with RTLD_NOW | RTLD_LOCAL,
// `PluginMain` resolved, dlclose when the object goes. The object also keeps
// what the host keeps for a loaded module between invocations: the data word
// and the handle store its handles live in.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "emulator/handles.h"

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
  std::intptr_t data_ = 0;
};

}  // namespace hostemu
