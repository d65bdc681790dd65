// The frame's own behaviour on a minimal host: entry and blocks, the
// exception guard, suites, coordinates, the descriptor and the alerts.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>

#include "fake_host.h"
#include "frame/globals.h"
#include "frame/host_services.h"
#include "frame/message.h"
#include "frame/script_parameters.h"

namespace {

constexpr uint32_t K(const char (&c)[5]) {
  return PS_FOURCC(c[0], c[1], c[2], c[3]);
}

class Frame : public ::testing::Test {
 protected:
  void SetUp() override {
    gTestStart = nullptr;
    gAlerts.clear();
  }
  void TearDown() override { gTestStart = nullptr; }
  fake::Host host;
};

// ---- entry, blocks and the guard -------------------------------------------

TEST_F(Frame, BlocksAreMadeOnceLockedPerCallAndUnlockedDataFirst) {
  EXPECT_EQ(host.call(filterSelectorPrepare), 0);
  ASSERT_NE(host.record.parameters, nullptr);
  ASSERT_NE(host.dataWord, 0);
  EXPECT_EQ(host.count("new", std::to_string(sizeof(FilterParameters))), 1);
  EXPECT_EQ(host.count("new", std::to_string(sizeof(FilterData))), 1);
  Handle params = host.record.parameters;
  const intptr_t data = host.dataWord;

  host.events.clear();
  EXPECT_EQ(host.call(filterSelectorParameters), 0);
  EXPECT_EQ(host.count("new"), 0);
  EXPECT_EQ(host.record.parameters, params);
  EXPECT_EQ(host.dataWord, data);
  ASSERT_EQ(host.count("unlock"), 2);
  std::vector<std::string> unlocks;
  for (const auto &e : host.events)
    if (e.op == "unlock") unlocks.push_back(e.what);
  EXPECT_EQ(unlocks, (std::vector<std::string>{"data", "parameters"}));
  EXPECT_EQ(host.lockCount(params), 0);
  EXPECT_EQ(gParams, nullptr);
  EXPECT_EQ(gData, nullptr);
  EXPECT_EQ(reinterpret_cast<FilterData *>(*reinterpret_cast<Handle>(data))->dialogRequested, 1);
}

TEST_F(Frame, ThrownStatusKeepsItsLowHalfAndSkipsTheRelease) {
  gTestStart = [] {
    Handle exif = nullptr;
    PIGetEXIFData(&exif);
    throw uint32_t{0x53214664};  // 'S!Fd'
  };
  EXPECT_EQ(host.call(filterSelectorStart), 0x4664);
  EXPECT_EQ(host.count("acquire", std::string(kPSPropertySuite) + "/1"), 1);
  EXPECT_EQ(host.count("release"), 0);
  EXPECT_EQ(host.count("unlock"), 2);  // still unlocked

  gTestStart = [] { throw std::runtime_error("anything else"); };
  host.result = 0;
  EXPECT_EQ(host.call(filterSelectorStart), -30100);
  // This call threw too, so the suite stays held until a call ends normally.
  EXPECT_EQ(host.count("release"), 0);
  host.result = 0;
  gTestStart = nullptr;
  EXPECT_EQ(host.call(filterSelectorStart), 0);
  EXPECT_EQ(host.count("release", std::string(kPSPropertySuite) + "/1"), 1);
}

TEST_F(Frame, NoBasicSuiteGivesParmCutToSixteenBits) {
  host.useBasicSuite(false);
  gTestStart = [] {
    Handle exif = nullptr;
    PIGetEXIFData(&exif);
  };
  EXPECT_EQ(host.call(filterSelectorStart), 0x726D);
  EXPECT_EQ(host.count("acquire"), 0);
}

TEST_F(Frame, SuitesAreAcquiredOncePerCallAndReleasedAtItsEnd) {
  gTestStart = [] {
    Handle exif = nullptr;
    EXPECT_EQ(PIGetEXIFData(&exif), 0);
    EXPECT_EQ(PIGetEXIFData(&exif), 0);
    SuiteHolderAcquire(&sPSChannelProcs);
  };
  EXPECT_EQ(host.call(filterSelectorStart), 0);
  EXPECT_EQ(host.count("acquire", std::string(kPSPropertySuite) + "/1"), 1);
  EXPECT_EQ(host.count("acquire", std::string(kPSChannelPortsSuite) + "/3"), 1);
  EXPECT_EQ(host.count("property", "8BIM/EXIF/0/nosimple"), 2);
  EXPECT_EQ(host.count("release"), 2);
  // Channel ports come before the property suite in the release order.
  std::vector<std::string> releases;
  for (const auto &e : host.events)
    if (e.op == "release") releases.push_back(e.what);
  EXPECT_EQ(releases[0], std::string(kPSChannelPortsSuite) + "/3");
  EXPECT_EQ(host.call(filterSelectorStart), 0);
  EXPECT_EQ(host.count("acquire", std::string(kPSPropertySuite) + "/1"), 2);
}

TEST_F(Frame, FailedAcquisitionIsKeptInTheHolder) {
  host.suiteFailures[kPSChannelPortsSuite] = 0x21494D50;  // '!IMP'
  gTestStart = [] { SuiteHolderAcquire(&sPSChannelProcs); };
  EXPECT_EQ(host.call(filterSelectorStart), 0x4D50);
  EXPECT_EQ(sPSChannelProcs.error, 0x21494D50);
  EXPECT_EQ(sPSChannelProcs.suite, nullptr);
}

// ---- coordinates --------------------------------------------------------

TEST_F(Frame, ContinueEmptiesTheThirtyTwoBitRectanglesOnly) {
  host.big.inRect32 = {1, 2, 3, 4};
  host.big.outRect32 = {1, 2, 3, 4};
  host.big.maskRect32 = {1, 2, 3, 4};
  host.record.inRect = {5, 6, 7, 8};
  EXPECT_EQ(host.call(filterSelectorContinue), 0);
  EXPECT_EQ(host.big.PluginUsing32BitCoordinates, 1);
  for (const VRect &r : {host.big.inRect32, host.big.outRect32, host.big.maskRect32}) {
    EXPECT_EQ(r.top | r.left | r.bottom | r.right, 0);
  }
  EXPECT_EQ(host.record.inRect.bottom, 7);  // untouched
}

TEST_F(Frame, WithoutBigDocumentTheSixteenBitFieldsAreUsed) {
  host.useBigDocument(false);
  host.record.outRect = {1, 2, 3, 4};
  EXPECT_EQ(host.call(filterSelectorContinue), 0);
  EXPECT_EQ(host.record.outRect.bottom, 0);
  EXPECT_EQ(host.record.outRect.right, 0);

  gFilterRecord = &host.record;
  SetInRect(VRect{32767, 32768, 40000, -40000});
  EXPECT_EQ(host.record.inRect.top, 32767);
  EXPECT_EQ(host.record.inRect.left, -32768);    // 0x8000
  EXPECT_EQ(host.record.inRect.bottom, -25536);  // 40000 - 65536
  EXPECT_EQ(host.record.inRect.right, 25536);    // -40000 + 65536
  host.record.imageSize = {-2, 300};
  EXPECT_EQ(GetImageSize().v, -2);
  EXPECT_EQ(GetImageSize().h, 300);
  // The block without the flag set is not used either.
  host.useBigDocument(true);
  host.big.PluginUsing32BitCoordinates = 0;
  host.big.wholeSize32 = {9, 9};
  host.record.wholeSize = {4, 5};
  EXPECT_EQ(GetWholeSize().h, 5);
}

TEST(HostServices, ModeToSpaceTable) {
  // Modes 0..17 in order, then out of range.
  const int32_t expected[] = {-1, 4, -1, 0, 2, 5, 1, -1, 4, 3, 4, 0, 3, 2, -1, 4, 0, 4};
  for (int16_t mode = 0; mode < 18; ++mode) EXPECT_EQ(CSModeToSpace(mode), expected[mode]) << mode;
  EXPECT_EQ(CSModeToSpace(18), -1);
  EXPECT_EQ(CSModeToSpace(-1), -1);
}

// ---- alerts -------------------------------------------------------------

TEST_F(Frame, MessageFormatsAndKeepsAtMost254Characters) {
  Message("%d lenses, %s", 3, "no dialog");
  ASSERT_EQ(gAlerts.size(), 1u);
  EXPECT_EQ(gAlerts[0].first, "Ortavel Filter");
  EXPECT_EQ(gAlerts[0].second, "3 lenses, no dialog");

  const std::string a254(254, 'a');
  for (size_t n : {253u, 254u, 255u, 256u, 400u}) {
    gAlerts.clear();
    Message("%s", std::string(n, 'a').c_str());
    ASSERT_EQ(gAlerts.size(), 1u);
    EXPECT_EQ(gAlerts[0].second, n < 254 ? std::string(n, 'a') : a254) << n;
  }
}

// ---- the descriptor -----------------------------------------------------

class Script : public Frame {
 protected:
  void SetUp() override {
    Frame::SetUp();
    // A start that writes the defaults and reads the descriptor, as a run does.
    gTestStart = [] {
      *gParams = FilterParameters{};
      gParams->interpolation = 1;
      gParams->scale = 1.0;
      gData->dialogRequested = 1;
      ReadScriptParameters();
      seen = *gParams;
      dialog = gData->dialogRequested;
    };
  }
  static inline FilterParameters seen;
  static inline int dialog;
};

TEST_F(Script, BareInvocationKeepsDefaultsAndTheDialogFlag) {
  EXPECT_EQ(host.call(filterSelectorStart), 0);
  EXPECT_EQ(seen.interpolation, 1);
  EXPECT_EQ(seen.scale, 1.0);
  EXPECT_EQ(dialog, 1);
  EXPECT_EQ(host.count("close"), 0);
}

TEST_F(Script, ValuesClampsAndEnumerations) {
  host.setDescriptor({{K("paK1"), 0.25},
                      {K("paK2"), -0.5},
                      {K("paXC"), 0.125},
                      {K("paYC"), -0.0625},
                      {K("paFR"), -1.0},
                      {K("scaF"), -2.5},
                      {K("intM"), K("la08")},
                      {K("orIM"), K("orBM")},
                      {K("caTo"), int32_t{-3}},
                      {K("caRi"), int32_t{70000}},
                      {K("zzzz"), 9.0}});
  host.descriptorParameters.playInfo = plugInDialogSilent;
  EXPECT_EQ(host.call(filterSelectorStart), 0);
  EXPECT_EQ(seen.k1, 0.25);
  EXPECT_EQ(seen.k2, -0.5);
  EXPECT_EQ(seen.centerX, 0.125);
  EXPECT_EQ(seen.centerY, -0.0625);
  EXPECT_EQ(seen.radiusLimit, 0.0);
  EXPECT_EQ(seen.scale, 2.5);
  EXPECT_EQ(seen.interpolation, 4);
  EXPECT_EQ(seen.orientation, 6);
  EXPECT_EQ(seen.cropTop, -3);
  EXPECT_EQ(seen.cropRight, 70000);
  EXPECT_EQ(dialog, 0);
  EXPECT_EQ(host.descriptorParameters.descriptor, nullptr);
  EXPECT_EQ(host.liveHandles(), 2);  // the two blocks; the descriptor is gone
}

TEST_F(Script, ZeroScaleUnknownCodesNaNAndDuplicates) {
  host.setDescriptor({{K("scaF"), 0.0},
                      {K("intM"), K("la04")},
                      {K("orIM"), K("orXX")},
                      {K("paFR"), std::nan("")},
                      {K("paK1"), 1.0},
                      {K("paK1"), 2.0}});
  host.descriptorParameters.playInfo = plugInDialogDisplay;
  EXPECT_EQ(host.call(filterSelectorStart), 0);
  EXPECT_EQ(seen.scale, 0.0);
  EXPECT_FALSE(std::signbit(seen.scale));
  EXPECT_EQ(seen.interpolation, 1);
  EXPECT_EQ(seen.orientation, 0);
  EXPECT_TRUE(std::isnan(seen.radiusLimit));
  EXPECT_EQ(seen.k1, 2.0);
  EXPECT_EQ(dialog, 1);
}

TEST_F(Script, AddressesAsText) {
  double focal = 0;
  char make[64];
  char text[32];
  std::snprintf(text, sizeof text, "%p", static_cast<void *>(make));
  char focalText[32];
  std::snprintf(focalText, sizeof focalText, "%p", static_cast<void *>(&focal));
  host.setDescriptor({{K("exMa"), std::string(text)},
                      {K("exFo"), std::string(focalText)},
                      {K("exMo"), std::string("")},
                      {K("prCo"), std::string("zz")},
                      {K("prUn"), std::string(255, '7')}});
  EXPECT_EQ(host.call(filterSelectorStart), 0);
  EXPECT_EQ(seen.exifMake, make);
  EXPECT_EQ(seen.exifFocalLength, &focal);
  EXPECT_EQ(seen.exifModel, nullptr);
  EXPECT_EQ(seen.previewCorrected, nullptr);
}

TEST_F(Script, FailingReadEndsTheWalkAndStillDisposes) {
  host.setDescriptor({{K("paK1"), 0.5}, {K("paK2"), 0.75}, {K("paXC"), 0.1}});
  host.readFailures[K("paK2")] = paramErr;
  host.descriptorParameters.playInfo = plugInDialogSilent;
  EXPECT_EQ(host.call(filterSelectorStart), paramErr);
  EXPECT_EQ(seen.k1, 0.5);
  EXPECT_EQ(seen.centerX, 0.0);     // never reached
  EXPECT_EQ(host.count("key"), 3);  // the key after the failure ends it
  EXPECT_EQ(host.count("close"), 1);
  EXPECT_EQ(host.descriptorParameters.descriptor, nullptr);
  EXPECT_EQ(dialog, 1);  // not updated after a failure
}

TEST_F(Script, NoReaderOrWriterIsMissingParameter) {
  host.setDescriptor({});
  host.readerOpens = false;
  EXPECT_EQ(host.call(filterSelectorStart), -1715);
  EXPECT_NE(host.descriptorParameters.descriptor, nullptr);  // left in place
  host.result = 0;
  EXPECT_EQ(host.call(filterSelectorFinish), -1715);
}

}  // namespace
