// What the emulated host cannot reach: the exception guard, the 16-bit
// coordinate cut, the alert's length limit and the descriptor read field by
// field (address keys, enumerations, duplicates). A bare FilterRecord with
// just the callbacks these need; whole invocations run in frame_host.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include "frame/globals.h"
#include "frame/host_services.h"
#include "frame/message.h"
#include "frame/plugin_main.h"
#include "frame/script_parameters.h"
#include "run/do_start.h"

std::function<void()> gTestStart;
std::vector<std::pair<std::string, std::string>> gAlerts;

void DoStart(void) {
  if (gTestStart) gTestStart();
}

extern "C" void ortavel_host_show_alert(const char *title, const char *text) {
  gAlerts.emplace_back(title, text);
}

namespace {

constexpr uint32_t K(const char (&c)[5]) {
  return PS_FOURCC(c[0], c[1], c[2], c[3]);
}

using Value = std::variant<double, int32_t, uint32_t, std::string>;
struct Item {
  uint32_t key;
  Value value;
};

// The host's state; the callbacks have no context argument.
struct FakeHost {
  FilterRecord record{};
  BigDocumentStruct big{};
  PIDescriptorParameters descriptor{};
  HandleProcs handleProcs{};
  SPBasicSuite basic{};
  ReadDescriptorProcs reader{};
  WriteDescriptorProcs writer{};
  intptr_t dataWord = 0;
  int16_t result = 0;
  std::set<Handle> live;
  int unlocks = 0;
  int acquired = 0, released = 0;  // every suite alike
  SPErr refusal = kSPNoError;
  std::vector<Item> items;
  size_t next = 0;
  bool readerOpens = true;
} *host = nullptr;

const Item *current = nullptr;

Handle NewHandle(int32_t size) {
  Handle h = reinterpret_cast<Handle>(new char *[1]);
  *h = new char[size]();
  host->live.insert(h);
  return h;
}
void DisposeHandle(Handle h) {
  if (h == nullptr || host->live.erase(h) == 0) return;
  delete[] * h;
  delete[] reinterpret_cast<char **>(h);
}
template <typename T, typename Out>
OSErr Get(PIReadDescriptor, Out *out) {
  const T *v = std::get_if<T>(&current->value);
  if (v == nullptr) return paramErr;
  if constexpr (std::is_same_v<T, std::string>) {
    (*out)[0] = static_cast<uint8_t>(v->size());
    std::copy(v->begin(), v->end(), *out + 1);
  } else {
    *out = *v;
  }
  return noErr;
}

class Frame : public ::testing::Test {
 protected:
  void SetUp() override {
    host = &h;
    gTestStart = nullptr;
    gAlerts.clear();
    // Alerts look up the host's window in the current record: never a
    // record of an earlier test.
    gFilterRecord = &h.record;
    h.handleProcs.handleProcsVersion = 1;
    h.handleProcs.numHandleProcs = 8;
    h.handleProcs.newProc = NewHandle;
    h.handleProcs.disposeProc = DisposeHandle;
    h.handleProcs.lockProc = [](Handle x, Boolean) -> Ptr { return *x; };
    h.handleProcs.unlockProc = [](Handle) { ++host->unlocks; };
    h.basic.AcquireSuite = [](const char *, int32_t, const void **suite) -> SPErr {
      ++host->acquired;
      *suite = &host->basic;  // any table will do for the holders
      return host->refusal;
    };
    h.basic.ReleaseSuite = [](const char *, int32_t) -> SPErr { return ++host->released, 0; };
    h.reader.openReadDescriptorProc = [](PIDescriptorHandle, DescriptorKeyIDArray) {
      host->next = 0;
      return host->readerOpens ? reinterpret_cast<PIReadDescriptor>(host) : nullptr;
    };
    // As if expected keys were missing: the frame must ignore it.
    h.reader.closeReadDescriptorProc = [](PIReadDescriptor) -> OSErr {
      return errMissingParameter;
    };
    h.reader.getKeyProc = [](PIReadDescriptor, DescriptorKeyID *key, DescriptorTypeID *,
                             int32_t *) -> Boolean {
      if (host->next == host->items.size()) return 0;
      current = &host->items[host->next++];
      *key = current->key;
      return 1;
    };
    h.reader.getFloatProc = Get<double, real64>;
    h.reader.getIntegerProc = Get<int32_t, int32_t>;
    h.reader.getEnumeratedProc = Get<uint32_t, DescriptorEnumID>;
    h.reader.getStringProc = Get<std::string, Str255>;
    h.writer.openWriteDescriptorProc = []() -> PIWriteDescriptor { return nullptr; };
    h.descriptor.readDescriptorProcs = &h.reader;
    h.descriptor.writeDescriptorProcs = &h.writer;
    h.record.handleProcs = &h.handleProcs;
    h.record.descriptorParameters = &h.descriptor;
    h.record.bigDocumentData = &h.big;
    h.record.sSPBasic = &h.basic;
  }
  void TearDown() override {
    gTestStart = nullptr;
    while (!h.live.empty()) DisposeHandle(*h.live.begin());
    host = nullptr;
  }
  int16_t Call(int16_t selector) {
    h.result = 0;
    PluginMain(selector, &h.record, &h.dataWord, &h.result);
    return h.result;
  }
  void SetDescriptor(std::vector<Item> items) {
    h.items = std::move(items);
    h.descriptor.descriptor = NewHandle(1);
  }
  FakeHost h;
};

TEST_F(Frame, GuardKeepsTheLowHalfOfAThrownStatusAndHoldsSuitesUntilANormalEnd) {
  gTestStart = [] {
    SuiteHolderAcquire(&sPSChannelProcs);
    throw uint32_t{0x53214664};  // 'S!Fd'
  };
  EXPECT_EQ(Call(filterSelectorStart), 0x4664);
  // The blocks are unlocked all the same.
  EXPECT_EQ(std::tuple(h.acquired, h.released, h.unlocks), std::tuple(1, 0, 2));

  gTestStart = [] { throw std::runtime_error("anything else"); };
  EXPECT_EQ(Call(filterSelectorStart), -30100);
  EXPECT_EQ(std::tuple(h.released, h.unlocks), std::tuple(0, 4));

  gTestStart = nullptr;
  EXPECT_EQ(Call(filterSelectorStart), 0);
  EXPECT_EQ(std::tuple(h.acquired, h.released), std::tuple(1, 1));

  // A refused acquisition is thrown as its status and kept in the holder.
  h.refusal = 0x21494D50;  // '!IMP'
  gTestStart = [] { SuiteHolderAcquire(&sPSChannelProcs); };
  EXPECT_EQ(Call(filterSelectorStart), 0x4D50);
  EXPECT_EQ(sPSChannelProcs.error, 0x21494D50);
  EXPECT_EQ(sPSChannelProcs.suite, nullptr);
}

TEST_F(Frame, SixteenBitCoordinatesAreCutAndAnUnflaggedBigDocumentIsIgnored) {
  h.record.bigDocumentData = nullptr;
  gFilterRecord = &h.record;
  SetInRect(VRect{32767, 32768, 40000, -40000});
  // 0x8000, 40000 - 65536 and -40000 + 65536.
  const Rect &in = h.record.inRect;
  EXPECT_EQ(std::tuple(in.top, in.left, in.bottom, in.right),
            std::tuple(32767, -32768, -25536, 25536));

  h.record.bigDocumentData = &h.big;
  h.big.PluginUsing32BitCoordinates = 0;
  h.big.wholeSize32 = {9, 9};
  h.record.wholeSize = {4, 5};
  EXPECT_EQ(GetWholeSize().h, 5);
}

TEST_F(Frame, MessageFormatsAndKeepsAtMost254Characters) {
  Message("%d lenses, %s", 3, "no dialog");
  ASSERT_EQ(gAlerts.size(), 1u);
  EXPECT_EQ(gAlerts[0].first, "Ortavel Filter");
  EXPECT_EQ(gAlerts[0].second, "3 lenses, no dialog");
  for (size_t n : {254u, 255u, 400u}) {
    Message("%s", std::string(n, 'a').c_str());
    EXPECT_EQ(gAlerts.back().second, std::string(std::min<size_t>(n, 254), 'a')) << n;
  }
}

// A start that writes the defaults and reads the descriptor, as a run does.
class Script : public Frame {
 protected:
  void SetUp() override {
    Frame::SetUp();
    gTestStart = [] {
      *gParams = FilterParameters{};
      gParams->interpolation = 1;
      gParams->scale = 1.0;
      ReadScriptParameters();
      seen = *gParams;
    };
  }
  FilterParameters Read(std::vector<Item> items) {
    SetDescriptor(std::move(items));
    EXPECT_EQ(Call(filterSelectorStart), 0);
    EXPECT_EQ(h.descriptor.descriptor, nullptr);  // disposed of after the read
    EXPECT_EQ(h.live.size(), 2u);                 // only the two blocks are left
    return seen;
  }
  static inline FilterParameters seen;
};

TEST_F(Script, ValuesClampsEnumerationsAndDuplicates) {
  // Unknown keys are skipped.
  FilterParameters p = Read({{K("zzzz"), 9.0},
                             {K("paK1"), 0.25},
                             {K("paK2"), -0.5},
                             {K("paXC"), 0.125},
                             {K("paYC"), -0.0625},
                             {K("paFR"), -1.0},
                             {K("scaF"), -2.5},
                             {K("intM"), K("la08")},
                             {K("orIM"), K("orBM")},
                             {K("caTo"), int32_t{-3}},
                             {K("caRi"), int32_t{70000}}});
  EXPECT_EQ(std::tuple(p.k1, p.k2, p.centerX, p.centerY, p.radiusLimit, p.scale),
            std::tuple(0.25, -0.5, 0.125, -0.0625, 0.0, 2.5));
  EXPECT_EQ(std::tuple(p.interpolation, p.orientation, p.cropTop, p.cropRight),
            std::tuple(4, 6, -3, 70000));

  // Zero scale stays +0, unknown codes fall back, NaN passes, the later
  // of two duplicates wins.
  p = Read({{K("scaF"), 0.0},
            {K("intM"), K("la04")},
            {K("orIM"), K("orXX")},
            {K("paFR"), std::nan("")},
            {K("paK1"), 1.0},
            {K("paK1"), 2.0}});
  EXPECT_EQ(std::tuple(p.scale, std::signbit(p.scale), p.interpolation, p.orientation, p.k1),
            std::tuple(0.0, false, 1, 0, 2.0));
  EXPECT_TRUE(std::isnan(p.radiusLimit));
}

TEST_F(Script, AddressesAsText) {
  double focal = 0;
  char make[64];
  const auto address = [](const void *at) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", at);
    return std::string(text);
  };
  const FilterParameters p = Read({{K("exMa"), address(make)},
                                   {K("exFo"), address(&focal)},
                                   {K("exMo"), std::string("")},
                                   {K("prCo"), std::string("zz")}});
  EXPECT_EQ(std::tuple(p.exifMake, p.exifFocalLength, p.exifModel, p.previewCorrected),
            std::tuple(make, &focal, nullptr, nullptr));
}

TEST_F(Script, AReaderOrWriterThatWillNotOpenIsAMissingParameter) {
  SetDescriptor({});
  h.readerOpens = false;
  EXPECT_EQ(Call(filterSelectorStart), errMissingParameter);
  EXPECT_NE(h.descriptor.descriptor, nullptr);  // left in place
  EXPECT_EQ(Call(filterSelectorFinish), errMissingParameter);
}

}  // namespace
