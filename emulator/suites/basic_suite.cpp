// The basic suite: suites by name and version, counted and logged, and the
// block allocator (the C heap).
//
// Answered with a real table: the basic suite itself (v4), the property suite
// (v1), the channel ports (v2, v3), the older channel-port callbacks (v1),
// the colour space (v1, v2). Answered with
// an all-'!IMP' table (see unimplemented_suite.h): the action descriptor,
// list, reference and control suites, the descriptor registry, ZString, SP
// Access, SP Runtime, GetFileList and the alias utilities, at the versions
// listed below, unless an automation host is serving them (see
// automation/action_suites.h). Refused with 'S!Fd': everything else, notably the handle,
// buffer, resource, UI hooks and image services suites, whose entries hand
// back pointers or handles that an error word cannot stand in for.
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "emulator/automation/action_suites.h"
#include "emulator/suites/suite_host_state.h"

namespace hostemu {
namespace {

enum class Table {
  Basic,
  Property,
  ChannelPorts,
  ChannelPortProcs,
  ColorSpace1,
  ColorSpace2,
  Unimplemented
};

struct KnownSuite {
  std::string_view name;
  std::int32_t minVersion;
  std::int32_t maxVersion;
  Table table;
};

constexpr KnownSuite kKnownSuites[] = {
    {kSPBasicSuite, 4, 4, Table::Basic},
    {kPSPropertySuite, 1, 1, Table::Property},
    {kPSChannelPortsSuite, 2, 3, Table::ChannelPorts},
    {kPSChannelPortProcsSuite, 1, 1, Table::ChannelPortProcs},
    {kPSColorSpaceSuite, 1, 1, Table::ColorSpace1},
    {kPSColorSpaceSuite, 2, 2, Table::ColorSpace2},
    {kPSActionDescriptorSuite, 1, 5, Table::Unimplemented},
    {kPSActionListSuite, 1, 3, Table::Unimplemented},
    {kPSActionReferenceSuite, 1, 3, Table::Unimplemented},
    {kPSActionControlSuite, 1, 6, Table::Unimplemented},
    {kPSDescriptorRegistrySuite, 1, 1, Table::Unimplemented},
    {kASZStringSuite, 1, 2, Table::Unimplemented},
    {kSPAccessSuite, 1, 3, Table::Unimplemented},
    {kSPRuntimeSuite, 1, 5, Table::Unimplemented},
    {kPSGetFileListSuite, 1, 6, Table::Unimplemented},
    {kPSAliasSuite, 1, 2, Table::Unimplemented},
};

const void *findTable(SuiteHostState &state, std::string_view name, std::int32_t version) {
  // An automation plug-in's host serves the action suites and the UI hooks for real.
  if (const void *table = activeActionSuiteTable(name, version)) return table;
  for (const KnownSuite &known : kKnownSuites) {
    if (known.name != name || version < known.minVersion || version > known.maxVersion) continue;
    switch (known.table) {
      case Table::Basic:
        return sharedBasicSuite();
      case Table::Property:
        return &state.property;
      case Table::ChannelPorts:
        return &state.channelPorts;
      case Table::ChannelPortProcs:
        return &state.channelPortProcs;
      case Table::ColorSpace1:
        return &state.colorSpace1;
      case Table::ColorSpace2:
        return &state.colorSpace2;
      case Table::Unimplemented:
        return &state.unimplemented;
    }
  }
  return nullptr;
}

std::string describe(const char *verb, std::string_view name, std::int32_t version, SPErr status) {
  return std::string(verb) + " " + std::string(name) + " v" + std::to_string(version) + " -> " +
         std::to_string(status);
}

SPErr acquireSuite(const char *name, int32 version, const void **suite) {
  SuiteHostState *state = activeState();
  if (suite != nullptr) *suite = nullptr;
  if (state == nullptr) return kSPBadParameterError;
  if (name == nullptr || suite == nullptr) {
    state->log(describe("acquire", name ? name : "(null)", version, kSPBadParameterError));
    return kSPBadParameterError;
  }
  SPErr status = kSPNoError;
  const auto fault = state->suiteFaults.find(std::string_view(name));
  const void *table = findTable(*state, name, version);
  if (fault != state->suiteFaults.end()) {
    status = fault->second;
  } else if (table == nullptr) {
    status = kSPSuiteNotFoundError;
  } else {
    *suite = table;
    ++state->acquiredCounts[{name, version}];
  }
  state->log(describe("acquire", name, version, status));
  return status;
}

SPErr releaseSuite(const char *name, int32 version) {
  SuiteHostState *state = activeState();
  if (state == nullptr) return kSPBadParameterError;
  if (name == nullptr) {
    state->log(describe("release", "(null)", version, kSPBadParameterError));
    return kSPBadParameterError;
  }
  SPErr status = kSPNoError;
  const SuiteHostState::SuiteKey key{name, version};
  const auto held = state->acquiredCounts.find(key);
  const int heldCount = held == state->acquiredCounts.end() ? 0 : held->second;
  const auto gone = state->releasedCounts.find(key);
  const int goneCount = gone == state->releasedCounts.end() ? 0 : gone->second;
  if (findTable(*state, name, version) == nullptr) {
    status = kSPSuiteNotFoundError;
  } else if (heldCount <= goneCount) {
    status = kSPBadParameterError;  // released more often than acquired
  } else {
    ++state->releasedCounts[key];
  }
  state->log(describe("release", name, version, status));
  return status;
}

SPBoolean isEqual(const char *token1, const char *token2) {
  if (token1 == nullptr || token2 == nullptr) return token1 == token2;
  return std::strcmp(token1, token2) == 0;
}

SPErr allocateBlock(size_t size, void **block) {
  if (block == nullptr) return kSPBadParameterError;
  *block = std::malloc(size == 0 ? 1 : size);
  return *block ? kSPNoError : kSPOutOfMemoryError;
}

SPErr freeBlock(void *block) {
  std::free(block);
  return kSPNoError;
}

SPErr reallocateBlock(void *block, size_t newSize, void **newblock) {
  if (newblock == nullptr) return kSPBadParameterError;
  void *moved = std::realloc(block, newSize == 0 ? 1 : newSize);
  if (moved == nullptr) return kSPOutOfMemoryError;  // the old block stays valid
  *newblock = moved;
  return kSPNoError;
}

SPErr undefinedEntry() {
  return kSPUnimplementedError;
}

}  // namespace

SPBasicSuite *sharedBasicSuite() {
  // One table for the whole process: a module that unloads after its host is gone may still
  // release a suite that a failed call left held. With no active host its entries answer 'Parm'.
  static SPBasicSuite suite = [] {
    SPBasicSuite table{};
    table.AcquireSuite = acquireSuite;
    table.ReleaseSuite = releaseSuite;
    table.IsEqual = isEqual;
    table.AllocateBlock = allocateBlock;
    table.FreeBlock = freeBlock;
    table.ReallocateBlock = reallocateBlock;
    table.Undefined = undefinedEntry;
    return table;
  }();
  return &suite;
}

}  // namespace hostemu
