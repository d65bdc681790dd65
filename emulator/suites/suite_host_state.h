// What the suites' C callbacks work on: the tables handed out, the document
// description, the colour transforms, and the counts and faults of the basic
// suite. One per SuiteHost; the callbacks reach the active one through
// activeState().
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "emulator/suites/document_info.h"
#include "emulator/suites/monitor_rgb.h"
#include "emulator/suites/suite_host.h"
#include "emulator/suites/unimplemented_suite.h"

namespace hostemu {

struct SuiteHostState {
  explicit SuiteHostState(SuiteEnvironment environment);

  SuiteEnvironment env;
  DocumentInfo documentInfo;

  PropertyProcs property{};
  PSChannelPortsSuite1 channelPorts{};
  ChannelPortProcs channelPortProcs{};
  PSColorSpaceSuite1 colorSpace1{};
  PSColorSpaceSuite2 colorSpace2{};
  UnimplementedSuite unimplemented{};

  using SuiteKey = std::pair<std::string, std::int32_t>;
  std::map<SuiteKey, int> acquiredCounts;
  std::map<SuiteKey, int> releasedCounts;
  std::map<std::string, SPErr, std::less<>> suiteFaults;
  std::map<std::string, SPErr, std::less<>> entryFaults;

  void log(std::string line) const;
  // The injected status for this entry, kSPNoError when there is none.
  SPErr entryFault(std::string_view entry) const;
  // The colour transforms, made on first use; nullptr when lcms2 failed.
  const MonitorRgb *monitorRgb();

 private:
  std::unique_ptr<MonitorRgb> monitor_;
  bool monitorFailed_ = false;
};

// The state of the host the callbacks serve, nullptr when none is active.
SuiteHostState *activeState();

// Table builders, one per suite file.
// The basic suite is one process-wide table (see basic_suite.cpp).
SPBasicSuite *sharedBasicSuite();
PropertyProcs makePropertySuite();
PSChannelPortsSuite1 makeChannelPortsSuite();
ChannelPortProcs makeChannelPortProcs();
PSColorSpaceSuite1 makeColorSpaceSuite1();
PSColorSpaceSuite2 makeColorSpaceSuite2();

}  // namespace hostemu
