// The host driving an automation plug-in (a probe step) and the real filter:
// messages and globals, the document query, and Play with the filter's
// success, failure, cancel and an event nobody answers.
#include <gtest/gtest.h>

#include <cmath>

#include "emulator/automation/automation_host.h"

namespace hostemu {
namespace {

constexpr DescriptorKeyID kEvent = PS_FOURCC('e', 'v', 'n', 't');
constexpr DescriptorKeyID kOptions = PS_FOURCC('o', 'p', 't', 's');
constexpr DescriptorKeyID kQuery = PS_FOURCC('q', 'u', 'r', 'y');
constexpr DescriptorKeyID kStatus = PS_FOURCC('s', 't', 'a', 't');
constexpr DescriptorKeyID kMessages = PS_FOURCC('m', 's', 'g', 's');
constexpr std::uint32_t kFilterEvent = PS_FOURCC('O', 'r', 't', 'F');

ActionValue integer(std::int64_t v) {
  ActionValue a;
  a.type = typeInteger;
  a.integer = v;
  return a;
}
ActionValue real(double v) {
  ActionValue a;
  a.type = typeFloat;
  a.number = v;
  return a;
}

Document gradient(std::int32_t w, std::int32_t h) {
  Document doc;
  doc.width = w;
  doc.height = h;
  doc.planes.resize(3);
  for (std::size_t p = 0; p < 3; ++p) {
    auto &s = doc.planes[p].samples;
    s.resize(doc.planeBytes());
    for (std::int32_t y = 0; y < h; ++y) {
      for (std::int32_t x = 0; x < w; ++x) {
        s[static_cast<std::size_t>(y * w + x)] =
            static_cast<std::uint8_t>((x * 5 + y * 3 + static_cast<int>(p) * 40) % 256);
      }
    }
  }
  return doc;
}

class AutomationHostTest : public ::testing::Test {
 protected:
  Plugin step{PROBE_STEP_PATH, ModuleKind::Automation};
  Plugin filter{ORTAVEL_PLUGIN_PATH};
  Document doc = gradient(64, 48);
  const Document original = doc;

  std::int64_t got(const DoItResult &r, DescriptorKeyID key) {
    EXPECT_TRUE(r.descriptor);
    const ActionValue *v = r.descriptor ? r.descriptor->find(key) : nullptr;
    EXPECT_NE(v, nullptr) << fourCCText(key);
    return v != nullptr ? v->integer : -999999;
  }
};

TEST_F(AutomationHostTest, LoadsByThePiplAndRefusesTheWrongKind) {
  ASSERT_NE(step.pipl(), nullptr);
  EXPECT_EQ(step.pipl()->kind, fourCC("8LIZ"));
  EXPECT_EQ(step.pipl()->entryPoints.at(fourCC("8664")), "AutoPluginMain");
  EXPECT_NE(step.automationEntry(), nullptr);
  try {
    Plugin wrong(ORTAVEL_PLUGIN_PATH, ModuleKind::Automation);
    FAIL() << "a filter loaded as an automation module";
  } catch (const PluginLoadError &e) {
    EXPECT_NE(std::string(e.what()).find("not an automation module (8LIZ)"), std::string::npos)
        << e.what();
  }
  try {
    Plugin wrong(PROBE_STEP_PATH);
    FAIL() << "an automation module loaded as a filter";
  } catch (const PluginLoadError &e) {
    EXPECT_NE(std::string(e.what()).find("not a filter (8BFM)"), std::string::npos) << e.what();
  }
}

// Reload and Startup come first, the plug-in's globals come back on every
// message, Shutdown and Unload end it.
TEST_F(AutomationHostTest, MessagesInOrderAndGlobalsKept) {
  AutomationHost host(step, {&filter}, doc);
  EXPECT_EQ(host.start(), 0);
  ActionDescriptor in;
  const DoItResult r = host.doIt(&in);
  EXPECT_EQ(r.result, 0);
  EXPECT_EQ(got(r, kMessages), 3);  // Reload, Startup, Do It, counted in its globals
  EXPECT_EQ(r.recordInfo, plugInDialogNone);
  EXPECT_EQ(r.leakedObjects, 0u);
  EXPECT_EQ(host.doIt(&in).descriptor->find(kMessages)->integer, 4);
  EXPECT_EQ(host.stop(), 0);
  std::vector<std::string> order;
  for (const auto &e : host.log().ofKind(LogKind::Selector)) {
    order.push_back(e.field("caller") + "/" + e.field("selector"));
  }
  const std::vector<std::string> expected = {"SP Access/Reload",      "SP Interface/Startup",
                                             "PS Photoshop/Do It",    "PS Photoshop/Do It",
                                             "SP Interface/Shutdown", "SP Access/Unload"};
  EXPECT_EQ(order, expected);
}

TEST_F(AutomationHostTest, GetAnswersForTheTargetDocument) {
  doc.resolutionDpi = 300;
  AutomationOptions options;
  options.title = "Harbour.tif";
  AutomationHost host(step, {&filter}, doc, options);
  host.start();
  ActionDescriptor in;
  in.put(kQuery, integer(1));
  const DoItResult r = host.doIt(&in);
  ASSERT_EQ(got(r, kStatus), 0);
  const ActionDescriptor &d = *r.descriptor;
  EXPECT_EQ(d.find(keyWidth)->unit, unitPixels);
  EXPECT_EQ(d.find(keyWidth)->number, 64.0);
  EXPECT_EQ(d.find(keyHeight)->number, 48.0);
  EXPECT_EQ(d.find(keyResolution)->unit, unitDensity);
  EXPECT_EQ(d.find(keyResolution)->number, 300.0);
  EXPECT_EQ(d.find(keyMode)->code, enumRGBColor);  // image mode 3
  EXPECT_EQ(d.find(keyDepth)->integer, 8);
  EXPECT_EQ(d.find(keyNumberOfChannels)->integer, 3);
  EXPECT_EQ(d.find(keyTitle)->bytes, "Harbour.tif");

  in.put(kQuery, integer(2));
  EXPECT_EQ(host.doIt(&in).descriptor->find(keyNumberOfDocuments)->integer, 1);
}

TEST_F(AutomationHostTest, GetWithoutADocumentFails) {
  AutomationOptions options;
  options.documentOpen = false;
  AutomationHost host(step, {&filter}, doc, options);
  host.start();
  ActionDescriptor in;
  in.put(kQuery, integer(1));
  EXPECT_EQ(got(host.doIt(&in), kStatus), paramErr);
  in.put(kQuery, integer(2));
  EXPECT_EQ(host.doIt(&in).descriptor->find(keyNumberOfDocuments)->integer, 0);
}

// The filter runs on the document with the played keys and writes its own back.
TEST_F(AutomationHostTest, PlayRunsTheFilterAndReturnsItsDescriptor) {
  AutomationHost host(step, {&filter}, doc);
  host.start();
  ActionDescriptor in;
  in.put(kEvent, integer(kFilterEvent));
  in.put(kOptions, integer(plugInDialogSilent));
  in.put(PS_FOURCC('p', 'a', 'K', '1'), real(0.2));
  const DoItResult r = host.doIt(&in);
  EXPECT_EQ(got(r, kStatus), 0);
  // The filter writes back what it used: k1 as played, the rest its defaults.
  EXPECT_EQ(r.descriptor->find(PS_FOURCC('p', 'a', 'K', '1'))->number, 0.2);
  EXPECT_EQ(r.descriptor->find(PS_FOURCC('s', 'c', 'a', 'F'))->number, 1.0);
  ASSERT_EQ(r.plays.size(), 1u);
  EXPECT_EQ(r.plays[0].run.playInfo, plugInDialogSilent);  // options became playInfo
  EXPECT_TRUE(r.documentChanged);
  EXPECT_NE(doc.planes[0].samples, original.planes[0].samples);
  EXPECT_EQ(host.alertCount(), 0u);  // silent: no "execute from the Automation menu"
}

TEST_F(AutomationHostTest, PlayOfAnUnknownEventFails) {
  AutomationHost host(step, {&filter}, doc);
  host.start();
  ActionDescriptor in;
  in.put(kEvent, integer(PS_FOURCC('N', 'o', 'p', 'e')));
  const DoItResult r = host.doIt(&in);
  EXPECT_EQ(got(r, kStatus), paramErr);
  EXPECT_TRUE(r.plays.empty());
  EXPECT_EQ(doc.planes[0].samples, original.planes[0].samples);
}

// A filter that fails or is cancelled: its code is Play's, the document stays.
TEST_F(AutomationHostTest, PlayPassesTheFiltersFailureAndCancelOn) {
  struct Case {
    const char *what;
    HostOptions options;
    std::int64_t expected;
  };
  HostOptions noTiles;
  noTiles.outTileWidth = 0;  // the filter refuses it with filterBadParameters
  HostOptions aborting;
  aborting.inTileWidth = aborting.inTileHeight = aborting.outTileWidth = aborting.outTileHeight =
      16;
  aborting.abortAfterTiles = 1;
  for (const Case &c : {Case{"fails", noTiles, -30100}, Case{"cancelled", aborting, -128}}) {
    SCOPED_TRACE(c.what);
    AutomationOptions options;
    options.filterOptions = c.options;
    AutomationHost host(step, {&filter}, doc, options);
    host.start();
    ActionDescriptor in;
    in.put(kEvent, integer(kFilterEvent));
    in.put(PS_FOURCC('p', 'a', 'K', '1'), real(0.2));
    const DoItResult r = host.doIt(&in);
    EXPECT_EQ(got(r, kStatus), c.expected);
    EXPECT_FALSE(r.documentChanged);
    EXPECT_EQ(doc.planes[0].samples, original.planes[0].samples);
  }
}

}  // namespace
}  // namespace hostemu
