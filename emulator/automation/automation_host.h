// One emulated host for an automation plug-in, the filters it may play, and
// one open document:
//
//   hostemu::Plugin step(path, hostemu::ModuleKind::Automation);
//   hostemu::Plugin filter(filterPath);
//   hostemu::AutomationHost host(step, {&filter}, doc, options);
//   host.start();                       // "Reload", "Startup"
//   auto r = host.doIt(descriptorIn);   // "Do It": r.result, r.descriptor
//   host.stop();                        // "Shutdown", "Unload" (also on destruction)
//
// How this host answers, where hosts may differ:
//  - The message's `self` is this host, `globals` is kept between messages.
//  - "Do It" gets a copy of the descriptor given (the plug-in owns it from then
//    on); afterwards the host takes what actionParameters->descriptor holds,
//    keeps it as the recording when the call returned 0, and frees it.
//  - Play finds the filter by its terminology: the event id of its 'hstm', or
//    the runtime id StringIDToTypeID gives for its scope string (which is
//    that same event id). The played descriptor becomes the filter's
//    descriptor handle (even when empty; null only when Play got none),
//    options becomes its playInfo, the parameters selector runs only for
//    options 1; the filter's result word is Play's result, and the
//    descriptor it wrote back is Play's result descriptor. The document is
//    changed only when the filter succeeds.
//  - Get answers for the target document (enumerated 'Trgt', index 1 or
//    identifier 1 of class 'Dcmn') and for the application ('capp', the number
//    of documents): width and height as unit floats in pixels ('#Pxl'),
//    resolution in '#Rsl', mode as the colour-space enumeration, depth,
//    channels (the document's planes), layers (0: a flat document), title and
//    document id 1. With no document open, or for anything else, paramErr.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/automation/action_objects.h"
#include "emulator/document.h"
#include "emulator/host.h"
#include "emulator/log.h"
#include "emulator/options.h"
#include "emulator/plugin.h"
#include "host/photoshop_api.h"

namespace hostemu {

struct AutomationOptions {
  // The "Do It" call's playInfo: 1 for a menu invocation, 0 or 2 for a replay.
  std::int32_t playInfo = plugInDialogDisplay;
  // The host for every filter the step plays (playInfo is Play's options).
  HostOptions filterOptions;
  std::string title = "Untitled-1";
  bool documentOpen = true;
  // What the UI hooks' MainAppWindow answers: the window a step's dialog is
  // owned by (an HWND on Windows; 0: none).
  std::intptr_t mainWindow = 0;
  // Called for every alert, the filters' included.
  std::function<void(const std::string &title, const std::string &text)> alertCallback;
};

struct PlayRecord {
  std::uint32_t event = 0;
  std::int32_t options = 0;
  std::optional<Descriptor> descriptorIn;  // the filter's view of what was played
  RunResult run;                           // what the filter did
};

struct DoItResult {
  std::int32_t result = 0;
  // What actionParameters held after the call (nullopt: nothing), its filter
  // form for saving (nullopt as well when it has values a filter cannot hold).
  std::optional<ActionDescriptor> descriptor;
  std::optional<Descriptor> descriptorForFile;
  std::int32_t recordInfo = 0;
  std::vector<PlayRecord> plays;
  std::size_t leakedObjects = 0;  // descriptors, lists, references not freed
  bool documentChanged = false;
};

class AutomationHost {
 public:
  // `filters` may be empty; Play then answers paramErr for every event.
  AutomationHost(Plugin &automation, std::vector<Plugin *> filters, Document &document,
                 AutomationOptions options = {});
  ~AutomationHost();
  AutomationHost(const AutomationHost &) = delete;
  AutomationHost &operator=(const AutomationHost &) = delete;

  // "Reload" then "Startup"; the first non-zero answer, else 0.
  std::int32_t start();
  // "Shutdown" then "Unload", once, if started.
  std::int32_t stop();
  std::int32_t about();
  // One message with an SPMessageData; the plug-in's answer.
  std::int32_t send(const char *caller, const char *selector);
  // "Do It" with a copy of `descriptor` (null: none).
  DoItResult doIt(const ActionDescriptor *descriptor);

  const Log &log() const { return log_; }
  Log &log() { return log_; }
  const Document &document() const { return document_; }
  std::size_t alertCount() const { return log_.count(LogKind::Alert); }

  struct Impl;

 private:
  Plugin &automation_;
  std::vector<Plugin *> filters_;
  Document &document_;
  AutomationOptions options_;
  Log log_;
  std::unique_ptr<Impl> impl_;
};

}  // namespace hostemu
