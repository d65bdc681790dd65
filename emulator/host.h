// One emulated host for one document and one loaded plug-in: fills the
// FilterRecord as a real host does, serves the handle, descriptor,
// advance-state, progress and abort callbacks, and drives the selectors of a
// filter invocation. The document is changed only when the invocation
// succeeds; workingDocument() shows what the filter wrote in any case.
//
//   hostemu::Plugin plugin(path);
//   hostemu::Host host(plugin, doc, options);
//   auto r = host.runFilter(descriptorIn);   // r.result, r.descriptorOut
//   std::cout << host.log().print();
//
// How this host answers, where hosts may differ:
//  - advanceState writes the previous output tile back first, then serves the
//    request. A non-empty rectangle with planes outside 0..planes-1 gets
//    paramErr (-50); an output rectangle outside the image, or an input one
//    while inputPadding is -3 (the default), gets filterBadParameters
//    (-30100); an empty or inverted rectangle, or lo > hi, is "nothing" for
//    that side (null data, 0 row bytes), not an error. Input padding -1
//    replicates edges, 0..255 fills, -2 leaves them unfilled (they read as 0).
//  - inData holds the document as it was when the invocation began; outData
//    holds the working copy (earlier tiles' output included).
//  - After start (and each continue) returns, the last output tile is
//    written back; while any of in/out/mask rectangles is non-empty the host
//    serves it and calls continue, up to HostOptions::continueLimit.
//  - Finish is called after a failed start or continue when
//    HostOptions::finishAfterError is set (the default).
//  - The descriptor the filter leaves in descriptorParameters after finish is
//    decoded into RunResult::descriptorOut and its handle disposed of by the
//    host. Descriptor readers: getFloat accepts an integer or unit float
//    (coercedParamErr, +2), getUnitFloat a float (+2), getInteger a count,
//    getString/getText either kind of text; pinned reads clamp with +2; any
//    other mismatch is paramErr (-50) and the value is left alone. closeRead
//    returns the first error met, else the coercion notice, else 0.
//  - Only one Host per Plugin should be alive at a time (they share the
//    module's handle store and its fault counters).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/descriptor.h"
#include "emulator/document.h"
#include "emulator/handles.h"
#include "emulator/log.h"
#include "emulator/options.h"
#include "emulator/plugin.h"

struct FilterRecord;

namespace hostemu {

class SuiteHost;

// Selector numbers.
enum Selector : std::int16_t {
  kSelectorAbout = 0,
  kSelectorParameters = 1,
  kSelectorPrepare = 2,
  kSelectorStart = 3,
  kSelectorContinue = 4,
  kSelectorFinish = 5,
};

struct SelectorCall {
  std::int16_t selector = 0;
  std::int16_t result = 0;
};

struct RunResult {
  // The first non-zero result of the invocation, 0 when every call succeeded.
  std::int16_t result = 0;
  std::int16_t failedSelector = -1;  // the selector that returned it, -1 none
  std::vector<SelectorCall> calls;   // every PluginMain call in order
  int continueCalls = 0;
  bool continueLimitReached = false;
  bool documentChanged = false;  // the working document was committed
  // descriptorParameters after finish: the descriptor the filter left there
  // (nullopt when it left none), playInfo and recordInfo as it left them.
  std::optional<Descriptor> descriptorOut;
  std::int16_t playInfo = 0;
  std::int16_t recordInfo = 0;
  int tiles = 0;  // output tiles handed out
};

class Host {
 public:
  // Throws std::invalid_argument for a document this host cannot present
  // (no planes, wrong plane sizes, depth not 8/16/32, or too big for 16-bit
  // coordinates when bigDocument is off).
  Host(Plugin &plugin, Document &document, HostOptions options = {});
  ~Host();
  Host(const Host &) = delete;
  Host &operator=(const Host &) = delete;

  // The about selector with an AboutRecord.
  std::int16_t about();
  // parameters (when withParameters), prepare, start, continue until the
  // rectangles are empty, finish. descriptorIn null: no descriptor goes in.
  RunResult runFilter(const Descriptor *descriptorIn = nullptr, bool withParameters = false);
  RunResult runFilter(const Descriptor &descriptorIn, bool withParameters = false) {
    return runFilter(&descriptorIn, withParameters);
  }
  // One PluginMain call on the current FilterRecord, for step-by-step tests.
  // Start and continue also hand out / write back tiles as runFilter does.
  std::int16_t callSelector(std::int16_t selector);

  const Log &log() const { return log_; }
  Log &log() { return log_; }
  HandleStore &handles() { return plugin_.handles(); }
  const HostOptions &options() const { return options_; }
  // What the filter wrote over the document, whole (filled in from the
  // document where it wrote nothing); the document itself when it wrote nothing.
  const Document &workingDocument();
  // The record as the filter sees it (for inspection between steps).
  FilterRecord *filterRecord();
  SuiteHost &suites();
  // The parameters handle kept with the invocation, null when none yet.
  HostHandle parametersHandle() const;
  // Handles alive that the host does not hold (not parameters, data or the
  // outgoing descriptor): what the filter leaked.
  std::vector<HandleInfo> leaks() const;
  // Number of alerts shown so far.
  std::size_t alertCount() const { return log_.count(LogKind::Alert); }

  // Called by the C callbacks of the active host.
  struct Impl;

 private:
  Plugin &plugin_;
  Document &document_;
  Document working_;  // made from document_ when the filter first asks for output
  bool workingMade_ = false;
  HostOptions options_;
  Log log_;
  std::unique_ptr<Impl> impl_;
};

}  // namespace hostemu
