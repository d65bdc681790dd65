// The host's named suites, as a plug-in reaches them through the basic suite:
// the basic suite itself, the property suite, the channel ports with the
// document description they read from, and the colour-space suite.
//
// The suites' entries are plain C functions without a context argument, so a
// SuiteHost serves them only while it is activated: activate() returns a guard
// that makes this host the one the callbacks see and restores the previous one
// when it goes out of scope. Calls that arrive with no active host fail with
// kSPBadParameterError. One active host per process at a time; the guard is
// meant for the host's own thread (the plug-in calls suites only from there).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "emulator/activation_guard.h"
#include "emulator/document.h"
#include "host/photoshop_api.h"

namespace hostemu {

struct SuiteEnvironment {
  const Document *document = nullptr;
  // A new host handle holding a copy of the bytes; nullptr on failure.
  std::function<Handle(std::span<const std::uint8_t>)> newHandle;
  // Appends one line to the host's log.
  std::function<void(std::string)> log;
};

struct SuiteHostState;  // the tables and everything the callbacks need

class SuiteHost {
 public:
  explicit SuiteHost(SuiteEnvironment env);
  ~SuiteHost();
  SuiteHost(const SuiteHost &) = delete;
  SuiteHost &operator=(const SuiteHost &) = delete;

  // For FilterRecord.sSPBasic and AboutRecord.sSPBasic; valid while this host lives.
  SPBasicSuite *basicSuite();
  // For FilterRecord.documentInfo: built from the document when the host is made.
  ReadImageDocumentDesc *documentInfo();
  // For FilterRecord.channelPortProcs: the older direct read callbacks over
  // the same ports (also served as "Photoshop Channel Ports Suite for Plug-ins" v1).
  ChannelPortProcs *channelPortProcs();

  using Activation = ActivationGuard<SuiteHost>;
  // Makes this host the one the C callbacks serve until the guard is destroyed.
  [[nodiscard]] Activation activate();

  // Successful acquisitions and releases of a suite, over all its versions.
  int acquired(std::string_view name) const;
  int released(std::string_view name) const;
  // The same for one version.
  int acquired(std::string_view name, std::int32_t version) const;
  int released(std::string_view name, std::int32_t version) const;
  // Acquisitions not yet released, over all suites.
  int outstanding() const;

  // Fault injection: from now on acquiring the named suite (any version) answers
  // `status` and no table; kSPNoError lifts the fault.
  void failSuite(std::string_view name, SPErr status);
  // Fault injection for single entries: "CanRead", "ReadScaledPixels" (channel
  // ports) and "ConvertToMonitorRGB" (colour space) answer `status` without
  // doing anything; kSPNoError lifts the fault.
  void failEntry(std::string_view entry, SPErr status);

  // The host the C callbacks currently serve, or nullptr.
  static SuiteHost *active();
  SuiteHostState &state() { return *state_; }

 private:
  std::unique_ptr<SuiteHostState> state_;
};

}  // namespace hostemu
