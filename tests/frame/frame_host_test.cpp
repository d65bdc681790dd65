// The built module under the emulated host: whole invocations, the blocks
// kept with the host, failures of the host's memory, the descriptor written
// back, the dialog request and the suites.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "emulator/host.h"
#include "emulator/suites/suite_host.h"
#include "frame/filter_parameters.h"
#include "host/photoshop_api.h"

namespace {

using hostemu::Descriptor;
using hostemu::fourCC;
using hostemu::Host;
using hostemu::HostOptions;
using hostemu::Plugin;

const char kAutomationHint[] = "This plugin shall be executed from the FILE/Automation menu.";

hostemu::Document SmallRgb() {
  hostemu::Document doc;
  doc.width = 6;
  doc.height = 4;
  doc.depth = 8;
  doc.imageMode = plugInModeRGBColor;
  doc.planes.resize(3);
  for (auto &plane : doc.planes) plane.samples.assign(doc.planeBytes(), 90);
  return doc;
}

std::vector<std::string> Alerts(const Host &host) {
  std::vector<std::string> out;
  for (const auto &e : host.log().ofKind(hostemu::LogKind::Alert))
    out.push_back(e.field("title") + " | " + e.field("text"));
  return out;
}

// The keys of a written descriptor, as text, in order.
std::vector<std::string> Keys(const Descriptor &d) {
  std::vector<std::string> out;
  for (const auto &item : d.items()) out.push_back(hostemu::fourCCText(item.key));
  return out;
}

const std::vector<std::string> kSevenKeys = {"paK1", "paK2", "paXC", "paYC",
                                             "paFR", "scaF", "intM"};

class ModuleUnderHost : public ::testing::Test {
 protected:
  Plugin plugin{ORTAVEL_PLUGIN_PATH};
  hostemu::Document doc = SmallRgb();
};

TEST_F(ModuleUnderHost, AboutAsFirstCallMakesNothing) {
  Host host(plugin, doc);
  EXPECT_EQ(host.about(), 0);
  EXPECT_EQ(plugin.data(), 0);
  EXPECT_EQ(host.handles().aliveCount(), 0u);
  EXPECT_EQ(host.suites().outstanding(), 0);
  EXPECT_EQ(Alerts(host),
            std::vector<std::string>{"About Ortavel Filter | Ortavel Filter 1.2.2 (083)"});
}

// With 32-bit coordinates or without, the first continue empties the rectangles.
TEST_F(ModuleUnderHost, BareInvocationTellsTheUserRecordsTheDefaultsAndEmptiesTheRectangles) {
  for (bool big : {true, false}) {
    SCOPED_TRACE(big);
    HostOptions options;
    options.bigDocument = big;
    Host host(plugin, doc, options);
    const auto r = host.runFilter();
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(Alerts(host),
              std::vector<std::string>{std::string("Ortavel Filter | ") + kAutomationHint});
    ASSERT_TRUE(r.descriptorOut.has_value());
    EXPECT_EQ(Keys(*r.descriptorOut), kSevenKeys);
    EXPECT_EQ(r.descriptorOut->getFloat(fourCC("scaF")), 1.0);
    EXPECT_EQ(r.descriptorOut->getFloat(fourCC("paK1")), 0.0);
    const auto method = r.descriptorOut->getEnumerated(fourCC("intM")).value();
    EXPECT_EQ(std::pair(method.type, method.value), std::pair(fourCC("intT"), fourCC("biCu")));
    EXPECT_EQ(r.recordInfo, 0);
    EXPECT_TRUE(host.leaks().empty());
    EXPECT_EQ(host.suites().outstanding(), 0);
    EXPECT_EQ(r.continueCalls, 1);
    const FilterRecord *rec = host.filterRecord();
    if (big) {
      ASSERT_NE(rec->bigDocumentData, nullptr);
      EXPECT_EQ(rec->bigDocumentData->PluginUsing32BitCoordinates, 1);
      const VRect out = rec->bigDocumentData->outRect32;
      EXPECT_EQ(out.top | out.left | out.bottom | out.right, 0);
    } else {
      EXPECT_EQ(rec->outRect.bottom | rec->outRect.right, 0);
      EXPECT_EQ(rec->inRect.bottom | rec->inRect.right, 0);
    }
  }
}

TEST_F(ModuleUnderHost, DataBlockIsMadeOnceAndKeptWithTheModule) {
  intptr_t first = 0;
  {
    Host host(plugin, doc);
    ASSERT_EQ(host.runFilter().result, 0);
    first = plugin.data();
    ASSERT_NE(first, 0);
  }
  Host host(plugin, doc);
  ASSERT_EQ(host.runFilter().result, 0);
  EXPECT_EQ(plugin.data(), first);
  // A new invocation brings no parameters block: that one is made again.
  int made = 0;
  for (const auto &e : host.log().ofKind(hostemu::LogKind::Handle))
    made += e.field("op") == "new" && e.field("by") == "plugin";
  EXPECT_EQ(made, 1);
  // Every lock was matched by an unlock.
  for (const auto &h : host.handles().alive()) EXPECT_EQ(h.lockCount, 0) << h.role;
}

// A finish on its own writes what the host's block holds; method 2
// (LANCZOS4) and values out of range have no code of their own.
TEST_F(ModuleUnderHost, HostParametersBlockIsUsedAsIsAndMethodsWrittenByTable) {
  const std::pair<int32_t, const char *> cases[] = {
      {4, "la08"}, {2, "biCu"}, {7, "biCu"}, {-1, "biCu"}};
  for (const auto &[method, code] : cases) {
    FilterParameters held{};
    held.interpolation = method;
    held.k1 = 0.5;
    held.scale = 3.0;
    HostOptions options;
    const auto *bytes = reinterpret_cast<const uint8_t *>(&held);
    options.parametersBlock.emplace(bytes, bytes + sizeof held);
    Host host(plugin, doc, options);
    const Handle supplied = host.parametersHandle();
    EXPECT_EQ(host.callSelector(hostemu::kSelectorFinish), 0);
    EXPECT_EQ(host.filterRecord()->parameters, supplied);
    EXPECT_EQ(host.filterRecord()->descriptorParameters->recordInfo, 0);
    const Handle written = host.filterRecord()->descriptorParameters->descriptor;
    ASSERT_NE(written, nullptr);
    const Descriptor out = Descriptor::deserialize(host.handles().bytes(written));
    EXPECT_EQ(Keys(out), kSevenKeys);
    EXPECT_EQ(std::pair(out.getFloat(fourCC("paK1")), out.getFloat(fourCC("scaF"))),
              std::pair(std::optional(0.5), std::optional(3.0)));
    EXPECT_EQ(out.getEnumerated(fourCC("intM")).value().value, fourCC(code)) << method;
  }
}

// A failed new or lock ends the call at once: what was made stays, nothing is
// unlocked or released, and the selector's action is skipped.
TEST_F(ModuleUnderHost, OutOfMemoryLeavesWhatWasMade) {
  struct Case {
    int failNewAt, failLockAt;
    bool parametersMade, dataMade;
    int locksLeft;
  };
  for (const Case c : {Case{1, 0, false, false, 0}, Case{2, 0, true, false, 0},
                       Case{0, 1, true, true, 0}, Case{0, 2, true, true, 1}}) {
    Plugin fresh(ORTAVEL_PLUGIN_PATH);
    HostOptions options;
    options.handleFaults.failNewAt = c.failNewAt;
    options.handleFaults.failLockAt = c.failLockAt;
    Host host(fresh, doc, options);
    host.filterRecord()->maxSpace = 7;
    EXPECT_EQ(host.callSelector(hostemu::kSelectorPrepare), -108);
    EXPECT_EQ(host.filterRecord()->maxSpace, 7);
    EXPECT_EQ(host.filterRecord()->parameters != nullptr, c.parametersMade);
    EXPECT_EQ(fresh.data() != 0, c.dataMade);
    int locks = 0;
    for (const auto &h : host.handles().alive()) locks += h.lockCount;
    EXPECT_EQ(locks, c.locksLeft) << c.failNewAt << "/" << c.failLockAt;
  }
}

// Only an explicit "show dialog" asks for it; the read values are checked in
// frame_unit.
TEST_F(ModuleUnderHost, DialogFollowsPlayInfo) {
  Descriptor in;
  in.putFloat(fourCC("paK1"), 0.25);
  for (int16_t play : {0, 1, 2}) {
    HostOptions options;
    options.playInfo = play;
    Host host(plugin, doc, options);
    const auto r = host.runFilter(in);
    EXPECT_EQ(r.result, 0);
    EXPECT_EQ(Alerts(host).size(), play == 1 ? 1u : 0u) << play;
    EXPECT_TRUE(host.leaks().empty());  // the descriptor read was disposed of
  }
}

TEST_F(ModuleUnderHost, FailingReadStopsTheStartButNotTheFinish) {
  Descriptor in;
  in.putFloat(fourCC("paK1"), 0.125).putFloat(fourCC("paK2"), 0.5).putFloat(fourCC("paXC"), 0.25);
  HostOptions options;
  options.descriptorReadFailures[fourCC("paK2")] = paramErr;
  Host host(plugin, doc, options);
  const auto r = host.runFilter(in);
  EXPECT_EQ(r.result, paramErr);
  EXPECT_EQ(r.failedSelector, hostemu::kSelectorStart);
  ASSERT_TRUE(r.descriptorOut.has_value());  // finish wrote all the same
  EXPECT_EQ(r.descriptorOut->getFloat(fourCC("paK1")), 0.125);
  EXPECT_EQ(r.descriptorOut->getFloat(fourCC("paXC")), 0.0);
  EXPECT_TRUE(host.leaks().empty());
}

TEST_F(ModuleUnderHost, PropertySuiteOncePerCallAndParmWithoutBasicSuite) {
  char make[64] = "";
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<void *>(make));
  Descriptor in;
  in.putString(fourCC("exMa"), address);
  {
    Host host(plugin, doc);
    EXPECT_EQ(host.runFilter(in).result, 0);
    EXPECT_EQ(host.suites().acquired(kPSPropertySuite), 1);
    EXPECT_EQ(host.suites().outstanding(), 0);
  }
  HostOptions options;
  options.basicSuite = false;
  Host host(plugin, doc, options);
  const auto r = host.runFilter(in);
  EXPECT_EQ(r.result, 0x726D);
  EXPECT_EQ(r.failedSelector, hostemu::kSelectorStart);
}

}  // namespace
