// What both loaders share: the PiPL's kind is checked against what the host
// asked for, and the entry point it names is resolved.
#include "emulator/fourcc.h"
#include "emulator/plugin.h"

namespace hostemu {

void Plugin::resolveEntry(const std::string &fallbackName) {
  const std::string shown = path_.string();
  const bool automation = kind_ == ModuleKind::Automation;
  const char *wantedKind = automation ? "8LIZ" : "8BFM";
  const char *what = automation ? "an automation module" : "a filter";
  std::string name = fallbackName;
  if (pipl_) {
    if (pipl_->kind != fourCC(wantedKind)) {
      throw PluginLoadError("the module " + shown + " is a plug-in of kind '" +
                            fourCCText(pipl_->kind) + "', not " + what + " (" + wantedKind + ")");
    }
    const auto entry = pipl_->entryPoints.find(fourCC("8664"));
    if (entry == pipl_->entryPoints.end() || entry->second.empty()) {
      throw PluginLoadError("the PiPL of " + shown +
                            " names no entry point for x86-64 (property 8664)");
    }
    name = entry->second;
  }
  if (name.empty()) {
    throw PluginLoadError("the module " + shown + " has no PiPL to name its entry point (" + what +
                          " needs one beside it, as " + shown + ".pipl)");
  }
  void *found = symbol(name);
  if (found == nullptr) {
    throw PluginLoadError(
        (pipl_ ? "the PiPL of " + shown + " names the entry point " + name + ", which"
               : "the module " + shown + " does not export " + name + ", so it is not " + what +
                     "; it") +
        std::string(pipl_ ? " the module does not export" : " has no PiPL either"));
  }
  // POSIX and Windows both let a symbol's address stand for the function.
  if (automation) {
    automationEntry_ = reinterpret_cast<AutomationEntry>(found);
  } else {
    entry_ = reinterpret_cast<PluginEntry>(found);
  }
}

}  // namespace hostemu
