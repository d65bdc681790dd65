// The action suites an automation plug-in acquires through the basic suite:
// action descriptor (v2-v5), reference (v2, v3), list (v1-v3), action control
// (v2-v6), basic action control (v1-v3), descriptor registry (v1) and the UI
// hooks (v1-v4). They are served while an ActionSuites object is activated
// (the automation host does so around each message it sends); without one the
// basic suite answers for them as before (a table of errors, or a refusal).
//
// Every version of a suite gets the newest table. Entries this host does not
// provide (ZStrings, bookmarks, notifiers, posted commands) answer
// errPlugInHostInsufficient (-30900), never a null slot.
//
// How the entries answer, where hosts may differ:
//  - an object that was never made or was already freed, or a null result
//    pointer: paramErr (-50);
//  - a key that is not there: errMissingParameter (-1715);
//  - a value of another type: paramErr (-50), except these coercions, done
//    silently: GetFloat of an integer or unit float, GetUnitFloat of a float
//    or integer (unit '#Nne'), GetInteger64 of an integer;
//  - a list index past the end: paramErr (-50);
//  - GetString copies at most maxLength - 1 bytes and a terminator;
//  - Play of an event no loaded plug-in answers: paramErr (-50).
// Every call is written to the environment's log.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "emulator/activation_guard.h"
#include "emulator/automation/action_objects.h"
#include "emulator/handles.h"
#include "host/photoshop_api.h"

namespace hostemu {

struct ActionEnvironment {
  std::function<void(std::string)> log;
  // Where AsHandle makes descriptor handles and HandleToDescriptor reads them.
  HandleStore *handles = nullptr;
  // Action control. Play: run `event` with `in` (null: none) and `options`,
  // set `out` to what it hands back; its status is Play's. Get: the
  // descriptor the reference designates.
  std::function<OSErr(std::uint32_t event, const ActionDescriptor *in, std::int32_t options,
                      std::optional<ActionDescriptor> &out)>
      play;
  std::function<OSErr(const ActionReference &reference, ActionDescriptor &out)> get;
  // Runtime ids the host has given string ids before any call (a filter's
  // scope string -> its event), see StringIDToTypeID.
  std::map<std::string, std::uint32_t, std::less<>> stringIds;
  std::intptr_t mainWindow = 0;  // what MainAppWindow answers
};

class ActionSuites {
 public:
  explicit ActionSuites(ActionEnvironment env);
  ~ActionSuites();
  ActionSuites(const ActionSuites &) = delete;
  ActionSuites &operator=(const ActionSuites &) = delete;

  using Activation = ActivationGuard<ActionSuites>;
  [[nodiscard]] Activation activate();
  static ActionSuites *active();

  // Objects handed to the plug-in: a new descriptor it will own, and the
  // contents of one it holds (null when the pointer is not a live descriptor).
  PIActionDescriptor adopt(ActionDescriptor descriptor);
  const ActionDescriptor *descriptor(PIActionDescriptor d) const;
  // Frees a descriptor the plug-in handed back; false when it is not live.
  bool release(PIActionDescriptor d);
  // Descriptors, lists and references made and not freed.
  std::size_t liveObjects() const;

  // The runtime id for a string id (made on first use), and the way back.
  std::uint32_t typeIdFor(std::string_view stringId);
  std::optional<std::string> stringIdFor(std::uint32_t typeId) const;

  struct State;
  State &state() { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

// The table for a suite name and version while an ActionSuites is active,
// else null (basic_suite.cpp asks this first).
const void *activeActionSuiteTable(std::string_view name, std::int32_t version);

}  // namespace hostemu
