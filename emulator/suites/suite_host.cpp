#include "emulator/suites/suite_host.h"

#include <stdexcept>

#include "emulator/suites/suite_host_state.h"

namespace hostemu {
namespace {

// The callbacks carry no context, so the host they serve is process-wide.
SuiteHost *gActiveHost = nullptr;

const Document &documentOrEmpty(const Document *document) {
  static const Document empty{};
  return document ? *document : empty;
}

}  // namespace

SuiteHostState::SuiteHostState(SuiteEnvironment environment)
    : env(std::move(environment)), documentInfo(documentOrEmpty(env.document)) {
  property = makePropertySuite();
  channelPorts = makeChannelPortsSuite();
  channelPortProcs = makeChannelPortProcs();
  colorSpace1 = makeColorSpaceSuite1();
  colorSpace2 = makeColorSpaceSuite2();
  unimplemented = makeUnimplementedSuite();
}

void SuiteHostState::log(std::string line) const {
  if (env.log) env.log(std::move(line));
}

SPErr SuiteHostState::entryFault(std::string_view entry) const {
  const auto it = entryFaults.find(entry);
  return it == entryFaults.end() ? kSPNoError : it->second;
}

const MonitorRgb *SuiteHostState::monitorRgb() {
  if (!monitor_ && !monitorFailed_) {
    try {
      monitor_ = std::make_unique<MonitorRgb>();
    } catch (const std::exception &e) {
      monitorFailed_ = true;
      log(std::string("colour space: ") + e.what());
    }
  }
  return monitor_.get();
}

SuiteHostState *activeState() {
  return gActiveHost ? &gActiveHost->state() : nullptr;
}

SuiteHost::SuiteHost(SuiteEnvironment env)
    : state_(std::make_unique<SuiteHostState>(std::move(env))) {}

SuiteHost::~SuiteHost() {
  // A guard that outlives its host must not leave the callbacks pointing here.
  if (gActiveHost == this) gActiveHost = nullptr;
}

SPBasicSuite *SuiteHost::basicSuite() {
  return sharedBasicSuite();
}

ReadImageDocumentDesc *SuiteHost::documentInfo() {
  return state_->documentInfo.desc();
}

ChannelPortProcs *SuiteHost::channelPortProcs() {
  return &state_->channelPortProcs;
}

SuiteHost::Activation SuiteHost::activate() {
  return {gActiveHost, this};
}

SuiteHost *SuiteHost::active() {
  return gActiveHost;
}

int SuiteHost::acquired(std::string_view name) const {
  int n = 0;
  for (const auto &[key, count] : state_->acquiredCounts) {
    if (key.first == name) n += count;
  }
  return n;
}

int SuiteHost::released(std::string_view name) const {
  int n = 0;
  for (const auto &[key, count] : state_->releasedCounts) {
    if (key.first == name) n += count;
  }
  return n;
}

int SuiteHost::acquired(std::string_view name, std::int32_t version) const {
  const auto it = state_->acquiredCounts.find({std::string(name), version});
  return it == state_->acquiredCounts.end() ? 0 : it->second;
}

int SuiteHost::released(std::string_view name, std::int32_t version) const {
  const auto it = state_->releasedCounts.find({std::string(name), version});
  return it == state_->releasedCounts.end() ? 0 : it->second;
}

int SuiteHost::outstanding() const {
  int n = 0;
  for (const auto &[key, count] : state_->acquiredCounts) n += count;
  for (const auto &[key, count] : state_->releasedCounts) n -= count;
  return n;
}

void SuiteHost::failSuite(std::string_view name, SPErr status) {
  if (status == kSPNoError) {
    const auto it = state_->suiteFaults.find(name);
    if (it != state_->suiteFaults.end()) state_->suiteFaults.erase(it);
  } else {
    state_->suiteFaults[std::string(name)] = status;
  }
}

void SuiteHost::failEntry(std::string_view entry, SPErr status) {
  if (status == kSPNoError) {
    const auto it = state_->entryFaults.find(entry);
    if (it != state_->entryFaults.end()) state_->entryFaults.erase(it);
  } else {
    state_->entryFaults[std::string(entry)] = status;
  }
}

}  // namespace hostemu
